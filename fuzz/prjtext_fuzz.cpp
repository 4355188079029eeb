#include "crstexts.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // Other codes are names of files.
  const std::string text(reinterpret_cast<const char*>(data), size);
  for (const char* start : {"PROJCS[", "GEOGCS[", "VERTCS["})
    if (text.starts_with(start)) return fuzzing::CheckCode(L"PRJ", data, size);
  return 0;
}
