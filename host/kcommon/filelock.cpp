#include "kcommon/filelock.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <boost/make_shared.hpp>
#include <cerrno>
#include <cstdlib>
#include <map>
#include <mutex>
#include <utility>

#include "filedescriptor.h"
#include "filefaults.h"
#include "filenames.h"
#include "kcommon/kerr.h"
#include "kcommon/kfio.h"
#include "kcommon/kfnp.h"
#include "kcommon/kimg.h"
#include "kcommon/kpmg.h"
#include "kcommon/kstr.h"

namespace fs = std::filesystem;

namespace korven::common::FileLock {

namespace {

constexpr const char* kExtension = ".lock";
constexpr mode_t kMode = 0666;
constexpr int kFlags = O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;

struct Held {
  int file = -1;
  unsigned count = 0;
  pid_t process = 0;  ///< a child that was forked off doesn't have what its parent has
};

struct Table {
  std::mutex mutex;
  std::map<std::string, Held> locks;  ///< by the path of the lock file
};

// Never destroyed: locks of static objects may be given back late.
Table& TheTable() {
  static Table& table = *new Table;
  return table;
}

bool IsRefused(int error) { return error == EACCES || error == EPERM || error == EROFS; }

/// The lock file, made where it is missing; -1 and errno. Shared folders refuse to open another user's file as if it
/// were to be made, and one that can only be read can be locked all the same.
int OpenLockFile(const std::string& path) {
  for (;;) {
    int file = ::open(path.c_str(), O_RDWR | kFlags);
    if (file < 0 && errno == ENOENT) {
      file = ::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | kFlags, kMode);
      if (file < 0 && errno == EEXIST) continue;
    } else if (file < 0 && IsRefused(errno)) {
      const int refused = errno;
      file = ::open(path.c_str(), O_RDONLY | kFlags);
      if (file < 0) errno = refused;
    }
    return file;
  }
}

bool IsFileAt(int file, const std::string& path) {
  struct stat open {
  }, named{};
  return ::fstat(file, &open) == 0 && ::stat(path.c_str(), &named) == 0 && open.st_dev == named.st_dev &&
         open.st_ino == named.st_ino;
}

std::string HostName() {
  char name[256] = {};
  return ::gethostname(name, sizeof name - 1) == 0 ? name : "";
}

/// For those who wait. Where it can't be written they wait without knowing for whom.
void WriteHolder(int file) {
  const std::string text = std::to_string(::getpid()) + " " + HostName() + "\n";
  if (::ftruncate(file, 0) != 0) return;
  if (::pwrite(file, text.data(), text.size(), 0) < 0) return;
}

/// An open file with the lock; -1 where another has it.
int LockFile(const std::string& path, const std::wstring& name, KerrException& scope) {
  const auto fault = [&](int error) {
    scope.Throw(__LINE__, L"The file \"" + name + L"\" can't be locked: its lock file \"" + kfnp_FromNative(path) +
                              L"\" can't be used: " + ErrorText(error) + L".");
  };
  for (;;) {
    FileDescriptor file(OpenLockFile(path));
    if (!file.IsOpen()) fault(errno);
    struct stat status {};
    if (::fstat(file.Get(), &status) != 0) fault(errno);
    if (!S_ISREG(status.st_mode)) fault(EINVAL);
    int locked = 0;
    do {
      locked = ::flock(file.Get(), LOCK_EX | LOCK_NB);
    } while (locked != 0 && errno == EINTR);
    if (locked != 0 && errno != EWOULDBLOCK) fault(errno);
    if (locked != 0) return -1;
    // The holder before may have taken the file away between its opening and its locking here.
    if (!IsFileAt(file.Get(), path)) continue;
    WriteHolder(file.Get());
    return file.Release();
  }
}

/// The file goes while it is still locked, so that nobody who locks it after has one without a name.
void Drop(const std::string& path, const Held& held) {
  if (held.process == ::getpid() && IsFileAt(held.file, path)) ::unlink(path.c_str());
  ::close(held.file);
}

class TableLock : public UniqueLock {
 public:
  explicit TableLock(std::string path) : path_(std::move(path)) {}
  ~TableLock() override {
    if (!isCounted_) return;
    Table& table = TheTable();
    const std::lock_guard guard(table.mutex);
    const auto held = table.locks.find(path_);
    if (held == table.locks.end() || --held->second.count != 0) return;
    Drop(path_, held->second);
    table.locks.erase(held);
  }
  /// From here on it is one of the holders.
  void Count() { isCounted_ = true; }

 private:
  const std::string path_;
  bool isCounted_ = false;
};

std::wstring ProxyFolder(KerrException& error) {
  const std::wstring said = kpmg_GetStringPreference(L"filepref", L"default_proxy_path", L"", error);
  error.Check(__LINE__);
  const std::wstring folder = said.empty() ? kfio_DirectoryGetTemporary(error) : kstr_PathExpand(said);
  error.Check(__LINE__);
  return folder;
}

std::wstring ProgramOf(pid_t process) {
  const FileDescriptor file(::open(("/proc/" + std::to_string(process) + "/comm").c_str(), O_RDONLY | O_CLOEXEC));
  char name[64] = {};
  if (!file.IsOpen() || ::read(file.Get(), name, sizeof name - 1) <= 0) return {};
  std::string text(name);
  while (!text.empty() && text.back() == '\n') text.pop_back();
  return L" (" + kstr_FromUtf8Lossy(text) + L")";
}

}  // namespace

boost::shared_ptr<UniqueLock> TryGetExclusiveLock(const std::wstring& name) {
  KerrException scope(L"kcommon\\filelock", L"korven::common::FileLock::TryGetExclusiveLock");
  if (name.empty()) scope.Throw(__LINE__, L"The file name is empty.");
  const std::string path = CanonicalPath(name).native() + kExtension;
  const auto made = boost::make_shared<TableLock>(path);
  Table& table = TheTable();
  const std::lock_guard guard(table.mutex);
  const auto [entry, isNew] = table.locks.try_emplace(path);
  Held& held = entry->second;
  if (!isNew && held.process != ::getpid()) {
    Drop(path, held);
    held = {};
  }
  if (held.count == 0) {
    // The place is there before the lock is, which then can't be left without one.
    try {
      held = {LockFile(path, name, scope), 0, ::getpid()};
    } catch (...) {
      table.locks.erase(entry);
      throw;
    }
  }
  if (held.file < 0) {
    table.locks.erase(entry);
    return nullptr;
  }
  ++held.count;
  made->Count();
  return made;
}

std::wstring GetLockName(const std::wstring& file) {
  KerrException error(L"kcommon\\filelock", L"korven::common::FileLock::GetLockName");
  const fs::path path = CanonicalPath(file);
  const fs::path folder = path.parent_path();
  const bool isWritable = kfio_DirectoryIsWritable(kfnp_FromNative(folder.native()), error);
  error.Check(__LINE__);
  // One that is there already can be locked by all who can read it, and is what they wait for.
  const bool isHere =
      isWritable || ::access((path.native() + kExtension).c_str(), R_OK) == 0 || !fs::is_directory(folder);
  if (isHere) return kfnp_FromNative(path.native());
  std::wstring proxy;
  kimg_FileProxyNameGenerate(file, proxy);
  return kstr_Sprintf(L"%s/%s", {ProxyFolder(error), proxy});
}

std::wstring GetHolder(const std::wstring& name) {
  const std::string path = CanonicalPath(name).native() + kExtension;
  const FileDescriptor file(::open(path.c_str(), O_RDONLY | kFlags));
  char text[512] = {};
  if (!file.IsOpen() || ::read(file.Get(), text, sizeof text - 1) <= 0) return {};
  char* end = nullptr;
  const auto process = static_cast<pid_t>(std::strtol(text, &end, 10));
  if (process <= 0 || *end != ' ') return {};
  std::string host(end + 1);
  host.erase(std::min(host.find('\n'), host.size()));
  const std::wstring number = L"process " + std::to_wstring(process);
  if (host != HostName()) return number + L" on " + kstr_FromUtf8Lossy(host);
  if (process == ::getpid()) return L"this process";
  // What stands there may be of a holder that was killed, while the one that came after could not write.
  if (::kill(process, 0) != 0 && errno == ESRCH) return {};
  return number + ProgramOf(process);
}

void ReleaseAll() {
  Table& table = TheTable();
  const std::lock_guard guard(table.mutex);
  for (const auto& [path, held] : table.locks) Drop(path, held);
  table.locks.clear();
}

}  // namespace korven::common::FileLock
