#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "korvenlog/exception.h"
#include "kprj/korvendatum.h"

using KorvenDatum::WorldCoordinateSystem;

/// What is read is written as a file that reads as the same; what isn't read is told with its file.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  std::string written;
  try {
    written = WorldCoordinateSystem::Parse(text, L"input").Format();
  } catch (const KorvenLog::Exception& failure) {
    if (failure.get_What().find(L"\"input\"") == std::wstring::npos) std::abort();
    return 0;
  }
  if (WorldCoordinateSystem::Parse(written, L"written").Format() != written) std::abort();
  return 0;
}
