// Any text is refused with its faults or opens, and what opens saves to a text that stays the same.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "txlib/document.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using namespace Tamrin::Tessera;
  const std::string_view text(reinterpret_cast<const char*>(bytes), size);
  try {
    const std::string once = PlainDocument::Save(PlainDocument::Open(text));
    if (PlainDocument::Save(PlainDocument::Open(once)) != once) std::abort();
  } catch (const DocumentException&) {
    if (PlainDocument::Check(text).empty()) std::abort();
  }
  return 0;
}
