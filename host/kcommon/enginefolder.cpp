#include "enginefolder.h"

#include <dlfcn.h>

std::string EngineFolder() {
  Dl_info own{};
  if (::dladdr(reinterpret_cast<const void*>(&EngineFolder), &own) == 0 || !own.dli_fname) return {};
  const std::string library = own.dli_fname;
  return library.substr(0, library.rfind('/') + 1);
}
