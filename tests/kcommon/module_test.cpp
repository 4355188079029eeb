#include "kcommon/module.h"

#include <gtest/gtest.h>

#include "kcommon/kstr.h"
#include "korvenlog/exception.h"

namespace {

TEST(Module, OneThatIsMissingIsToldWithItsFileAndTheReason) {
  for (int attempt = 0; attempt < 2; ++attempt) {
    try {
      korven::common::LoadModule("nobody-has-this");
      FAIL() << "a module that doesn't exist was loaded";
    } catch (const KorvenLog::Exception& failure) {
      const std::wstring text = failure.get_What();
      EXPECT_NE(text.find(L"/modules/libtessera_nobody-has-this.so\" can't be loaded: "), std::wstring::npos)
          << kstr_ToUtf8(text);
      EXPECT_NE(text.find(L"No such file"), std::wstring::npos) << kstr_ToUtf8(text);
    }
  }
}

}  // namespace
