#include "linktarget.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace {

constexpr int kMostLinks = 40;

}  // namespace

std::string FolderPart(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
}

int FollowLinks(std::string& path) {
  for (int links = 0; links < kMostLinks; ++links) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0) return errno == ENOENT ? 0 : errno;
    if (!S_ISLNK(status.st_mode)) return 0;
    std::string target(4096, '\0');
    const ssize_t size = ::readlink(path.c_str(), target.data(), target.size());
    if (size < 0) return errno;
    target.resize(static_cast<std::size_t>(size));
    path = target.compare(0, 1, "/") == 0 ? target : FolderPart(path) + target;
  }
  return ELOOP;
}
