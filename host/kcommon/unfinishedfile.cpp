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
#include <memory>
#include <mutex>
#include <set>
#include <thread>

#include "kcommon/kfio.h"

namespace {

constexpr const char* kPrefix = ".tessera-";

std::string NameOf(pid_t process, unsigned number) {
  return kPrefix + std::to_string(process) + "-" + std::to_string(number) + ".tmp";
}

/// The files of this process. A file is made, renamed and removed under the mutex, so that whoever holds it
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
  if (std::sscanf(name.c_str(), ".tessera-%9d-%9u.tmp", &process, &number) != 2) return 0;
  return process > 0 && name == NameOf(process, number) ? process : 0;
}

/// A process of that number may run on another machine that shares the folder: its file is locked.
bool IsLocked(int folder, const std::string& name) {
  constexpr int kFlags = O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
  int number = ::openat(folder, name.c_str(), kFlags | O_RDWR);
  if (number < 0) number = ::openat(folder, name.c_str(), kFlags | O_RDONLY);
  const FileDescriptor file(number);
  return !file.IsOpen() || ::flock(file.Get(), LOCK_EX | LOCK_NB) != 0;
}

void RemoveStale(const std::string& folder) {
  const std::unique_ptr<DIR, int (*)(DIR*)> entries(::opendir(folder.empty() ? "." : folder.c_str()), ::closedir);
  if (!entries) return;
  const int number = ::dirfd(entries.get());
  while (const dirent* entry = ::readdir(entries.get())) {
    const std::string name = entry->d_name;
    const pid_t process = ProcessIn(name);
    if (process == 0 || ::kill(process, 0) == 0 || errno != ESRCH) continue;
    if (!IsLocked(number, name)) ::unlinkat(number, name.c_str(), 0);
  }
}

}  // namespace

UnfinishedFile::UnfinishedFile(const std::string& folder, mode_t mode) : file_(Make(folder, mode)) {}

UnfinishedFile::~UnfinishedFile() {
  if (!made_) return;
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
  made_ = false;
  return 0;
}

int UnfinishedFile::Make(const std::string& folder, mode_t mode) {
  Registry& registry = TheRegistry();
  bool isNewFolder = false;
  {
    const std::lock_guard lock(registry.mutex);
    isNewFolder = registry.cleanFolders.insert(folder).second;
  }
  if (isNewFolder) RemoveStale(folder);
  const std::lock_guard lock(registry.mutex);
  for (;;) {
    path_ = folder + NameOf(::getpid(), registry.counter++);
    const int file = ::open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
    // A name that is taken is what a killed process of the same number left.
    if (file < 0 && errno == EEXIST) continue;
    made_ = file >= 0;
    if (!made_) return file;
    ::flock(file, LOCK_EX | LOCK_NB);
    registry.paths.insert(path_);
    return file;
  }
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
  for (const std::string& path : registry.paths) ::unlink(path.c_str());
  // The mutex stays locked: nothing is made or renamed any more.
}

}  // namespace kfio
