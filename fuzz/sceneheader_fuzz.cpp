// Any file is read into a dictionary or refused with a message; what was read survives a second reading.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <string>

#include "kcommon/kfnp.h"
#include "korvenlog/exception.h"
#include "txlib/basicdata.h"
#include "txlib/factories.h"
#include "txlib/portaccess.h"

namespace {

using namespace Tamrin::Tessera;

/// The text of the dictionary, or of the message; empty for a file that is no header.
std::wstring Read(const std::wstring& file) {
  const auto reader = OperatorFactory::Create(L"VANTIX", L"DictionaryInputHDR");
  if (!reader) std::abort();  // without the plug-in there would be nothing to test
  reader->GetPort(L"Filename")->SetData(MakeData<FileData>(file));
  try {
    reader->Execute();
  } catch (const KorvenLog::Exception& exception) {
    if (exception.get_What().empty()) std::abort();
    return exception.get_What();
  }
  const auto read = AsDataOf<DictionaryData>(reader->GetPort(L"Dictionary")->GetExistingData());
  if (!read) return {};
  if (read->GetKeys().size() != static_cast<std::size_t>(read->Count())) std::abort();
  return read->ToString();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string name = "/tmp/tessera-fuzz-" + std::to_string(getpid()) + ".hdr";
  std::ofstream(name, std::ios::binary).write(reinterpret_cast<const char*>(bytes), static_cast<std::streamsize>(size));
  const std::wstring file = kfnp_FromNative(name);
  const bool isSame = Read(file) == Read(file);
  ::unlink(name.c_str());
  if (!isSame) std::abort();
  return 0;
}
