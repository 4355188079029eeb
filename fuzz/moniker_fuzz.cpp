#include "crstexts.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return fuzzing::CheckCode(L"GeoKey Moniker", data, size);
}
