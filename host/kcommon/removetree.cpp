#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <boost/filesystem.hpp>
#include <cerrno>
#include <memory>
#include <utility>
#include <vector>

#include "filedescriptor.h"
#include "kcommon/kfio.h"
#include "kcommon/kfnp.h"

namespace {

constexpr std::size_t kMostOpen = 64;  // folders, of which a path may have thousands
constexpr int kFolderFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

struct Folder {
  std::string name;  ///< within the one above
  dev_t device = 0;
  ino_t number = 0;
  std::unique_ptr<DIR, int (*)(DIR*)> entries{nullptr, ::closedir};
  bool hasChanged = false;  ///< since its entries were begun
};

/// Empties a folder. Each step goes from one open folder to a name within it, so that nobody who puts a link into a
/// path meanwhile leads it elsewhere.
class Removal {
 public:
  /// Zero, or the error number. GetPlace then tells where.
  int Run(const FileDescriptor& above, const std::string& name) {
    int failure = Enter(above.Get(), name);
    while (failure == 0 && !folders_.empty()) {
      const std::string entry = NextEntry();
      failure = entry.empty() ? Leave(above.Get()) : Remove(entry);
      if (++steps_ % 256 == 0) RunCancelCheck();
    }
    return failure;
  }
  std::string GetPlace() const {
    std::string place;
    for (std::size_t i = 1; i < folders_.size(); ++i) place += "/" + folders_[i].name;
    return last_.empty() ? place : place + "/" + last_;
  }

 private:
  int Enter(int above, const std::string& name) {
    const int number = ::openat(above, name.c_str(), kFolderFlags);
    if (number < 0) return errno;
    Folder folder;
    folder.name = name;
    if (const int failure = Open(folder, number)) return failure;
    struct stat status {};
    if (::fstat(number, &status) != 0) return errno;
    folder.device = status.st_dev;
    folder.number = status.st_ino;
    folders_.push_back(std::move(folder));
    if (folders_.size() > kMostOpen) folders_[folders_.size() - kMostOpen - 1].entries.reset();
    return 0;
  }

  static int Open(Folder& folder, int number) {
    folder.entries.reset(::fdopendir(number));
    if (folder.entries) return 0;
    const int failure = errno;
    ::close(number);
    return failure;
  }

  int Current() const { return ::dirfd(folders_.back().entries.get()); }

  /// Empty at the end. Some file systems leave entries out where others are taken away meanwhile: a folder that has
  /// changed is read once more.
  std::string NextEntry() {
    Folder& folder = folders_.back();
    for (;;) {
      while (const dirent* entry = ::readdir(folder.entries.get())) {
        const std::string name = entry->d_name;
        if (name != "." && name != "..") return name;
      }
      if (!std::exchange(folder.hasChanged, false)) return {};
      ::rewinddir(folder.entries.get());
    }
  }

  int Remove(const std::string& name) {
    folders_.back().hasChanged = true;
    last_ = name;
    if (::unlinkat(Current(), name.c_str(), 0) == 0 || errno == ENOENT) return 0;
    const int failure = errno;
    struct stat status {};
    if (::fstatat(Current(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) return errno == ENOENT ? 0 : errno;
    if (!S_ISDIR(status.st_mode)) return failure;
    last_.clear();
    return Enter(Current(), name);
  }

  /// Goes up to the folder above and takes the emptied one away.
  int Leave(int above) {
    const std::string name = folders_.back().name;
    last_.clear();
    if (folders_.size() > 1) {
      Folder& upper = folders_[folders_.size() - 2];
      if (!upper.entries) {
        const int number = ::openat(Current(), "..", kFolderFlags);
        struct stat status {};
        if (number < 0) return errno;
        if (const int failure = Open(upper, number)) return failure;
        if (::fstat(number, &status) != 0) return errno;
        // It was moved elsewhere, and what is above it now is none of ours.
        if (status.st_dev != upper.device || status.st_ino != upper.number) return ENOENT;
      }
      above = ::dirfd(upper.entries.get());
      upper.hasChanged = true;
    }
    if (::unlinkat(above, name.c_str(), AT_REMOVEDIR) != 0 && errno != ENOENT) return errno;
    folders_.pop_back();
    return 0;
  }

  std::vector<Folder> folders_;
  std::string last_;
  unsigned steps_ = 0;
};

bool IsRoot(const std::string& path) {
  struct stat named {
  }, root{};
  return ::stat(path.c_str(), &named) == 0 && ::stat("/", &root) == 0 && named.st_dev == root.st_dev &&
         named.st_ino == root.st_ino;
}

/// Zero, or the error number. `place` becomes where it was.
int RemoveTree(std::string path, std::string& place) {
  // With a slash behind it a link would be the folder that it leads to.
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  place = path;
  struct stat status {};
  if (path.empty() || (::lstat(path.c_str(), &status) != 0 && (errno == ENOENT || errno == ENOTDIR))) return 0;
  if (::lstat(path.c_str(), &status) != 0) return errno;
  if (!S_ISDIR(status.st_mode)) return ::unlink(path.c_str()) == 0 ? 0 : errno;
  const std::size_t slash = path.rfind('/');
  const std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
  if (IsRoot(path)) return EBUSY;
  if (name == "." || name == "..") return EINVAL;
  const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
  const FileDescriptor above(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!above.IsOpen()) return errno;
  Removal removal;
  const int failure = removal.Run(above, name);
  if (failure != 0) place += removal.GetPlace();
  return failure;
}

}  // namespace

namespace kfio {

void RemoveAll(const std::wstring& name) {
  std::string place = kfnp_ToNative(name);
  const int failure = name.find(L'\0') == std::wstring::npos ? RemoveTree(place, place) : EINVAL;
  if (failure != 0) {
    throw boost::filesystem::filesystem_error("boost::filesystem::remove_all", place,
                                              {failure, boost::system::generic_category()});
  }
}

}  // namespace kfio
