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

/// What is empty counts as not set.
void SetDefault(const char* name, const std::string& value) {
  const char* const known = std::getenv(name);
  if (!known || !*known) ::setenv(name, value.c_str(), 1);
}

}  // namespace

void PrepareInstallation() {
  struct utsname system {};
  ::uname(&system);
  SetDefault("ARCHM", std::string("linux-") + system.machine);
  char* const folder = ::realpath(EngineFolder().c_str(), nullptr);
  if (!folder) return;
  const std::string home = ParentOf(ParentOf(folder));
  std::free(folder);
  SetDefault("VANTIX_HOME", home);
  // An empty one is told when it is needed.
  ::setenv("ComSpec", (home + "/bin/" + std::getenv("ARCHM") + "/comspec").c_str(), 0);
}

}  // namespace korven::common
