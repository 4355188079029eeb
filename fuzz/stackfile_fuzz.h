#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "kcommon/kerr.h"
#include "kcommon/kgda.h"

namespace fuzzing {

/// What is read is written as text that reads back as the same text; what isn't read is told with its place.
inline int CheckStackText(const std::uint8_t* data, std::size_t size, KgdaBaseDataStack::Kind kind) {
  using enum Kgda_PlainText;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  for (const Kgda_PlainText plain : {Numbers, Texts, Complex, Colors}) {
    KerrException error(L"fuzz", L"CheckStackText");
    const KgdaBaseDataStack stack = kgda_BaseDataStackFromAscii(text, L"input", kind, plain, error);
    if (error.IsPending()) {
      if (error.get_What().empty()) std::abort();
      continue;
    }
    const std::string written = kgda_BaseDataStackToAscii(stack, error);
    const KgdaBaseDataStack back = kgda_BaseDataStackFromAscii(written, L"written", kind, plain, error);
    if (error.IsPending() || kgda_BaseDataStackToAscii(back, error) != written) std::abort();
  }
  return 0;
}

}  // namespace fuzzing
