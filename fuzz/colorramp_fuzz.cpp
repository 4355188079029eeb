#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "kcommon/kerr.h"
#include "kcommon/kramp.h"

/// Whatever is read is a table of colours whose channels lie between 0 and 1.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  KerrException error(L"fuzz", L"LLVMFuzzerTestOneInput");
  const KgdaBaseDataStack ramp = ColorRampFromText({reinterpret_cast<const char*>(data), size}, L"input", error);
  if (error.IsPending()) {
    if (error.get_What().empty()) std::abort();
    return 0;
  }
  if (!ramp.IsColor()) std::abort();
  for (std::size_t i = 0; i < ramp.GetLayerCount(); ++i) {
    for (std::int32_t row = 0; row < ramp.GetLayer(i).rows; ++row) {
      const double value = kgda_ElementAsDouble(ramp.GetLayer(i), row, 0);
      if (!(value >= 0 && value <= 1)) std::abort();
    }
  }
  return 0;
}
