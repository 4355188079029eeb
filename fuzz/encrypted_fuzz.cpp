// Any text is refused or opens as a model that hides its inside. A text whose first line is "contents" stands for a
// document that has the rest as its contents under a right check value, so that what lies behind that is reached.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "formatconstants.h"
#include "jsonlib/value.h"
#include "kcommon/hash.h"
#include "kcommon/kstr.h"
#include "korvenlog/exception.h"
#include "txlib/factories.h"

namespace {

constexpr std::string_view kContents = "contents\n";
constexpr const wchar_t* kFormat = L"EncryptedTesseraModelFormat";

std::wstring DocumentOf(std::string_view bytes) {
  std::wstring text = kstr_FromUtf8Lossy(bytes);
  if (bytes.substr(0, kContents.size()) != kContents) return text;
  korven::jsonlib::Value root;
  const std::wstring contents = text.substr(kContents.size(), text.find_last_not_of(L'\n') + 1 - kContents.size());
  root[L"Contents"].append(contents);
  root[L"Magic"] =
      korven::common::Hash::CalculateSHA1(contents + korven::tx_general::FormatConstants::kCheckSalt).ToString();
  return korven::jsonlib::StyledWriter().write(root);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using namespace Tamrin::Tessera;
  const std::wstring text = DocumentOf({reinterpret_cast<const char*>(bytes), size});
  try {
    const auto model = ModelFormatFactory::OpenFromBuffer(text, kFormat);
    if (model->AllowsReflection()) std::abort();
    if (ModelFormatFactory::OpenFromBuffer(ModelFormatFactory::SaveToBuffer(model, kFormat), L"")->AllowsReflection())
      std::abort();
  } catch (const KorvenLog::Exception& exception) {
    // Without the plug-in there would be nothing to test.
    if (exception.get_What().find(L"no document format") != std::wstring::npos) std::abort();
  }
  return 0;
}
