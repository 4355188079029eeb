#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "kcommon/kerr.h"
#include "kprj/kprj.h"

/// What is read is written as a file that reads as the same; what isn't read is told with its file.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  KerrException error(L"fuzz", L"LLVMFuzzerTestOneInput");
  const kprj::ProjectionLibraryHolder library(kprj_ProjectionLibraryParse(text, L"input", error));
  if (!library) {
    if (error.get_What().find(L"\"input\"") == std::wstring::npos) std::abort();
    return 0;
  }
  const std::string written = kprj_ProjectionLibraryFormat(*library);
  const kprj::ProjectionLibraryHolder back(kprj_ProjectionLibraryParse(written, L"written", error));
  if (!back || kprj_ProjectionLibraryFormat(*back) != written) std::abort();
  return 0;
}
