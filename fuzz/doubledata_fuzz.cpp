#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "kcommon/kerr.h"
#include "kcommon/kstr.h"
#include "txlib/basicdata.h"

namespace {

// What was accepted, or any value at all, reads back the same from its text; of not-a-number only that it is none.
void CheckText(double value) {
  const Tamrin::Tessera::DoubleData data(value);
  Tamrin::Tessera::DoubleData copy;
  if (!copy.FromString(data.ToString())) std::abort();
  const double read = copy.GetDataValue();
  if (std::isnan(value) ? !std::isnan(read) : std::bit_cast<std::uint64_t>(read) != std::bit_cast<std::uint64_t>(value))
    std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  kerr_SetSessionLogSink([](const std::wstring&) {});
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(bytes), size);
  const double old = 7;
  Tamrin::Tessera::DoubleData data(old);
  if (data.FromString(kstr_FromUtf8Lossy(text)))
    CheckText(data.GetDataValue());
  else if (data.GetDataValue() != old)
    std::abort();
  if (size >= sizeof(double)) {
    double value = 0;
    std::memcpy(&value, bytes, sizeof(value));
    CheckText(value);
  }
  return 0;
}
