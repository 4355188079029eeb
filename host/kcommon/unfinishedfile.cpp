#include "unfinishedfile.h"

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <thread>
#include <utility>

#include "kcommon/kfio.h"
#include "kcommon/kfnp.h"
#include "kcommon/unfinishedfolder.h"

namespace {

constexpr const char* kPrefix = ".tessera-";

constexpr const char* kFile = ".tmp";
constexpr const char* kFolder = ".dir";

std::string NameOf(pid_t process, unsigned number, const std::string& kind) {
  return kPrefix + std::to_string(process) + "-" + std::to_string(number) + kind;
}

/// The files and folders of this process. One is made, renamed and removed under the mutex, so that whoever holds it
/// knows of all there are.
struct Registry {
  std::mutex mutex;
  std::set<std::string> paths;
  std::set<std::string> cleanFolders;
  unsigned counter = 0;
};

/// Never destroyed: a process may be left while others of its threads write.
Registry& TheRegistry() {
  static Registry& registry = *new Registry;
  return registry;
}

/// The process in a name of NameOf; 0 where it is another name.
pid_t ProcessIn(const std::string& name) {
  int process = 0;
  unsigned number = 0;
  if (std::sscanf(name.c_str(), ".tessera-%9d-%9u", &process, &number) != 2 || process <= 0) return 0;
  return name == NameOf(process, number, kFile) || name == NameOf(process, number, kFolder) ? process : 0;
}

/// A process of that number may run on another machine that shares the folder: what it makes is locked.
bool IsLocked(int folder, const std::string& name) {
  constexpr int kFlags = O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
  int number = ::openat(folder, name.c_str(), kFlags | O_RDWR);
  if (number < 0) number = ::openat(folder, name.c_str(), kFlags | O_RDONLY);
  const FileDescriptor file(number);
  return !file.IsOpen() || ::flock(file.Get(), LOCK_EX | LOCK_NB) != 0;
}

void RemoveTree(const std::string& path) {
  std::error_code ignored;
  std::filesystem::remove_all(path, ignored);
}

void RemoveStale(const std::string& folder) {
  const std::unique_ptr<DIR, int (*)(DIR*)> entries(::opendir(folder.empty() ? "." : folder.c_str()), ::closedir);
  if (!entries) return;
  const int number = ::dirfd(entries.get());
  while (const dirent* entry = ::readdir(entries.get())) {
    const std::string name = entry->d_name;
    const pid_t process = ProcessIn(name);
    if (process == 0 || ::kill(process, 0) == 0 || errno != ESRCH) continue;
    if (IsLocked(number, name) || ::unlinkat(number, name.c_str(), 0) == 0 || errno != EISDIR) continue;
    RemoveTree(folder + name);
  }
}

/// A name of this process in the folder, for `make` to make; it gives a descriptor, and errno where that is none. What
/// processes left there that are gone is taken away first, once.
FileDescriptor MakeLocked(const std::string& folder, const char* kind, std::string& path,
                          const std::function<int(const std::string&)>& make) {
  Registry& registry = TheRegistry();
  bool isNewFolder = false;
  {
    const std::lock_guard lock(registry.mutex);
    isNewFolder = registry.cleanFolders.insert(folder).second;
  }
  if (isNewFolder) RemoveStale(folder);
  const std::lock_guard lock(registry.mutex);
  for (;;) {
    std::string name = folder + NameOf(::getpid(), registry.counter++, kind);
    // Noted before it is made: afterwards memory might give out.
    const auto noted = registry.paths.insert(name).first;
    const int made = make(name);
    if (made >= 0) {
      ::flock(made, LOCK_EX | LOCK_NB);
      path = std::move(name);
      return FileDescriptor(made);
    }
    const int failure = errno;
    registry.paths.erase(noted);
    errno = failure;
    // A name that is taken is what a killed process of the same number left.
    if (failure != EEXIST) return FileDescriptor(made);
  }
}

int MakeFolder(const std::string& path) {
  if (::mkdir(path.c_str(), 0777) != 0) return -1;
  const int folder = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (folder >= 0) return folder;
  const int failure = errno;
  ::rmdir(path.c_str());
  errno = failure;
  return -1;
}

}  // namespace

UnfinishedFile::UnfinishedFile(const std::string& folder, mode_t mode)
    : file_(MakeLocked(folder, kFile, path_, [mode](const std::string& path) {
        return ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
      })) {}

UnfinishedFile::~UnfinishedFile() {
  if (path_.empty()) return;
  Registry& registry = TheRegistry();
  const std::lock_guard lock(registry.mutex);
  ::unlink(path_.c_str());
  registry.paths.erase(path_);
}

int UnfinishedFile::RenameTo(const std::string& path) {
  Registry& registry = TheRegistry();
  const std::lock_guard lock(registry.mutex);
  if (::rename(path_.c_str(), path.c_str()) != 0) return errno;
  registry.paths.erase(path_);
  path_.clear();
  return 0;
}

UnfinishedFolder::UnfinishedFolder(const std::wstring& target) {
  const std::string native = kfnp_ToNative(target);
  lock_ = MakeLocked(native.substr(0, native.rfind('/') + 1), kFolder, path_, MakeFolder).Release();
  if (lock_ < 0) failure_ = errno;
}

UnfinishedFolder::~UnfinishedFolder() {
  const FileDescriptor held(lock_);
  if (path_.empty()) return;
  Registry& registry = TheRegistry();
  const std::lock_guard lock(registry.mutex);
  RemoveTree(path_);
  registry.paths.erase(path_);
}

namespace kfio {

void AbandonWrites() {
  constexpr int kTries = 20;
  Registry& registry = TheRegistry();
  // A disk that hangs must not keep the process from its end.
  bool isHeld = false;
  for (int i = 0; i < kTries && !(isHeld = registry.mutex.try_lock()); ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  if (!isHeld) return;
  for (const std::string& path : registry.paths) RemoveTree(path);
  // The mutex stays locked: nothing is made or renamed any more.
}

}  // namespace kfio
