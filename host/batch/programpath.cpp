#include "programpath.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <string_view>

namespace korven::batch {

std::string FindAlongPath(const std::string& name) {
  const char* const path = std::getenv("PATH");
  std::string_view rest = path ? path : "/usr/bin:/bin";
  for (bool more = true; more;) {
    const std::size_t colon = rest.find(':');
    const std::string folder(rest.substr(0, colon));
    const std::string file = (folder.empty() ? "." : folder) + "/" + name;
    struct stat facts {};
    if (::stat(file.c_str(), &facts) == 0 && !S_ISDIR(facts.st_mode) && ::access(file.c_str(), X_OK) == 0) return file;
    more = colon != std::string_view::npos;
    if (more) rest.remove_prefix(colon + 1);
  }
  return {};
}

}  // namespace korven::batch
