#include "kcommon/installation.h"

#include <sys/utsname.h>

#include <cstdlib>
#include <string>

#include "enginefolder.h"

namespace korven::common {

namespace {

std::string ParentOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? std::string() : path.substr(0, slash);
}

}  // namespace

void PrepareInstallation() {
  struct utsname system {};
  ::uname(&system);
  ::setenv("ARCHM", (std::string("linux-") + system.machine).c_str(), 0);
  char* const folder = ::realpath(EngineFolder().c_str(), nullptr);
  if (!folder) return;
  const std::string home = ParentOf(ParentOf(folder));
  std::free(folder);
  ::setenv("VANTIX_HOME", home.c_str(), 0);
  ::setenv("ComSpec", (home + "/bin/" + std::getenv("ARCHM") + "/comspec").c_str(), 0);
}

}  // namespace korven::common
