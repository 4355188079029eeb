#include "kcommon/installation.h"

#include <sys/utsname.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <string>

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
  char own[PATH_MAX] = {};
  const ssize_t size = ::readlink("/proc/self/exe", own, sizeof own - 1);
  if (size <= 0) return;
  const std::string folder = ParentOf(std::string(own, static_cast<std::size_t>(size)));
  ::setenv("VANTIX_HOME", ParentOf(ParentOf(folder)).c_str(), 0);
  ::setenv("ComSpec", (folder + "/comspec").c_str(), 0);
}

}  // namespace korven::common
