#include "kcommon/module.h"

#include <dlfcn.h>

#include <stdexcept>
#include <string>

#include "enginefolder.h"
#include "kcommon/kstr.h"
#include "korvenlog/exception.h"

namespace korven::common {

namespace {

[[noreturn]] void Refuse(const std::string& file, const char* reason) {
  KorvenLog::CPPException<std::runtime_error>(L"kcommon\\module", L"korven::common::LoadModule")
      .Throw(__LINE__, L"The module \"" + kstr_FromUtf8Lossy(file) + L"\" can't be loaded: " +
                           kstr_FromUtf8Lossy(reason ? reason : "no reason given"));
}

}  // namespace

const void* LoadModule(const char* name) {
  const std::string file = EngineFolder() + "modules/libtessera_" + name + ".so";
  // Loading what is there already counts a use and is cheap. Never closed: heavy libraries register calls for the end
  // of threads and of the process.
  void* const module = ::dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!module) Refuse(file, ::dlerror());
  const auto function = reinterpret_cast<const void* (*)()>(::dlsym(module, "TesseraModule"));
  if (!function) Refuse(file, "it has no function \"TesseraModule\"");
  return function();
}

}  // namespace korven::common
