#include "stackfile_fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return fuzzing::CheckStackText(data, size, KgdaBaseDataStack::KindTable);
}
