#include "kcommon/module.h"

#include <dlfcn.h>

#include <stdexcept>
#include <string>

#include "kcommon/kstr.h"
#include "korvenlog/exception.h"

namespace korven::common {

namespace {

[[noreturn]] void Refuse(const std::string& file, const char* reason) {
  KorvenLog::CPPException<std::runtime_error>(L"kcommon\\module", L"korven::common::LoadModule")
      .Throw(__LINE__, L"The module \"" + kstr_FromUtf8Lossy(file) + L"\" can't be loaded: " +
                           kstr_FromUtf8Lossy(reason ? reason : "no reason given"));
}

// From the library's own place, so that programs that link the engine need no variables set.
std::string FolderOfModules() {
  Dl_info own{};
  if (::dladdr(reinterpret_cast<const void*>(&FolderOfModules), &own) == 0 || !own.dli_fname) return "modules/";
  const std::string library = own.dli_fname;
  return library.substr(0, library.rfind('/') + 1) + "modules/";
}

}  // namespace

const void* LoadModule(const char* name) {
  const std::string file = FolderOfModules() + "libtessera_" + name + ".so";
  // Loading what is there already counts a use and is cheap. Never closed: heavy libraries register calls for the end
  // of threads and of the process.
  void* const module = ::dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!module) Refuse(file, ::dlerror());
  const auto function = reinterpret_cast<const void* (*)()>(::dlsym(module, "TesseraModule"));
  if (!function) Refuse(file, "it has no function \"TesseraModule\"");
  return function();
}

}  // namespace korven::common
