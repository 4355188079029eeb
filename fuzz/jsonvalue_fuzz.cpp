#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "txlib/jsonvalue.h"

/// What parses, however leniently, is written as strict JSON that gives an equal value.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using Tamrin::Tessera::JsonValue;
  JsonValue value;
  std::string error;
  if (!value.DeserializeUtf8({reinterpret_cast<const char*>(data), size}, true, &error)) {
    if (error.empty()) __builtin_trap();
    return 0;
  }
  for (const bool styled : {false, true}) {
    JsonValue back;
    if (!back.DeserializeUtf8(value.SerializeUtf8(styled), false, &error)) __builtin_trap();
    if (back != value) __builtin_trap();
  }
  return 0;
}
