#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <boost/make_shared.hpp>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <new>
#include <set>
#include <stdexcept>
#include <system_error>

#include "enginestate.h"
#include "kcommon/kfnp.h"
#include "txlib/model.h"

namespace fs = std::filesystem;

namespace Tamrin::Tessera {

namespace {

constexpr const char* kPrefix = "tessera-";
constexpr const char* kLockName = ".in-use";

std::mutex foldersMutex;
bool leaving = false;
// Both are still there when the last models die at exit.
std::set<std::string>& Folders() {
  static auto* const folders = new std::set<std::string>();
  return *folders;
}
std::multiset<std::wstring>& Files() {
  static auto* const files = new std::multiset<std::wstring>();
  return *files;
}

/// An open lock file, locked; -1 and errno where another process holds it or it can't be made.
int LockFolder(const std::string& folder, int flags) {
  const int file = ::open((folder + "/" + kLockName).c_str(), flags | O_RDWR | O_CLOEXEC | O_NOFOLLOW, 0600);
  if (file < 0) return -1;
  if (::flock(file, LOCK_EX | LOCK_NB) == 0) return file;
  const int error = errno;
  ::close(file);
  errno = error;
  return -1;
}

/// True for a folder of Create whose process is gone, as far as this machine knows.
bool IsOfEndedProcess(const std::string& name) {
  int process = 0;
  if (std::sscanf(name.c_str(), "tessera-%9d-", &process) != 1 || process <= 0) return false;
  return ::kill(process, 0) != 0 && errno == ESRCH;
}

/// Another thread may make files in it at this time: then the folder is not empty when its turn comes. Nor does a
/// moment without memory let it stay.
void RemoveFolder(const std::string& folder) noexcept {
  constexpr int kTries = 10;
  // One in which nothing was made goes without a file that is opened, of which there may be none left.
  if (::rmdir(folder.c_str()) == 0) return;
  for (int i = 0; i < kTries; ++i) {
    try {
      std::error_code error;
      fs::remove_all(folder, error);
      if (error != std::errc::directory_not_empty && error != std::errc::not_enough_memory) return;
    } catch (const std::bad_alloc&) {  // NOLINT: tried again
    }
  }
}

/// Folders that a killed process left: theirs is the lock that nobody holds. One that was killed before it had the
/// lock, or in the middle of removing the folder, left none.
void RemoveStale(const fs::path& root) {
  std::error_code error;
  for (fs::directory_iterator entry(root, fs::directory_options::skip_permission_denied, error), end;
       !error && entry != end; entry.increment(error)) {
    const fs::path path = entry->path();
    const std::string name = path.filename().native();
    if (name.rfind(kPrefix, 0) != 0 || !entry->is_directory(error)) continue;
    const int lock = LockFolder(path.native(), IsOfEndedProcess(name) ? O_CREAT : 0);
    if (lock < 0) continue;
    RemoveFolder(path.native());
    ::close(lock);
  }
}

/// What is made of it goes with it.
struct HeldFolder {
  std::string name;
  int lock = -1;
  bool isMade = false;
  HeldFolder() = default;
  HeldFolder(const HeldFolder&) = delete;
  HeldFolder& operator=(const HeldFolder&) = delete;
  ~HeldFolder() { Drop(); }
  void Drop() {
    // The file of the lock may be the only one left to read the folder with. Whoever then takes the folder for a
    // leftover does no more than this does.
    if (lock >= 0) ::close(lock);
    if (isMade) RemoveFolder(name);
    isMade = false;
    lock = -1;
    const std::lock_guard guard(foldersMutex);
    Folders().erase(name);
  }
};

[[noreturn]] void RaiseNoFolder(const std::string& root, int error) {
  throw std::runtime_error("A temporary folder could not be made in " + root + ": " +
                           std::generic_category().message(error) + ".");
}

/// File systems without locks are used without: then nobody else has them either.
bool IsWithoutLocks(int error) { return error == ENOLCK || error == EOPNOTSUPP || error == ENOSYS || error == EINVAL; }

}  // namespace

CallbackHandle TemporaryFolder::Create(std::wstring& name) {
  std::error_code error;
  const fs::path root = fs::temp_directory_path(error);
  if (error) throw std::runtime_error("There is no folder for temporary files: " + error.message() + ".");
  static std::once_flag once;
  std::call_once(once, [&] { RemoveStale(root); });

  const auto held = boost::make_shared<HeldFolder>();
  for (bool isLocked = false; !isLocked;) {
    const std::string pattern = (root / (std::string(kPrefix) + std::to_string(::getpid()) + "-XXXXXX")).native();
    held->Drop();
    held->name = pattern;
    const std::lock_guard making(foldersMutex);
    if (leaving) throw std::runtime_error("The program is about to end: there are no more temporary folders.");
    if (!::mkdtemp(held->name.data())) RaiseNoFolder(root.native(), errno);
    held->isMade = true;
    held->lock = LockFolder(held->name, O_CREAT);
    // A program on another machine, which can't see this process, may just be taking it for a leftover.
    struct stat facts {};
    const int failure = held->lock < 0 ? errno : 0;
    const bool isTaken = failure == 0 ? ::fstat(held->lock, &facts) == 0 && facts.st_nlink == 0
                                      : failure == EWOULDBLOCK || failure == ENOENT;
    if (failure != 0 && !isTaken && !IsWithoutLocks(failure)) RaiseNoFolder(root.native(), failure);
    isLocked = !isTaken;
    if (isLocked) Folders().insert(held->name);
  }
  name = kfnp_FromNative(held->name);
  return held;
}

void TemporaryFolder::RemoveAll() {
  const std::lock_guard guard(foldersMutex);
  leaving = true;
  for (const std::string& folder : Folders()) RemoveFolder(folder);
  for (const std::wstring& file : Files()) ::unlink(kfnp_ToNative(file).c_str());
}

ModelState::Temporaries& ModelState::GetTemporaries() {
  if (Temporaries* const known = temporaries_.load()) return *known;
  auto made = std::make_unique<Temporaries>();
  Temporaries* none = nullptr;
  if (temporaries_.compare_exchange_strong(none, made.get())) return *made.release();
  return *none;  // another thread was first
}

std::wstring Model::GetTemporaryDirectory() {
  ModelState::Temporaries& temporaries = modelState_->GetTemporaries();
  const std::lock_guard lock(temporaries.mutex);
  if (temporaries.directory.empty()) temporaries.folderHandle = TemporaryFolder::Create(temporaries.directory);
  return temporaries.directory;
}

std::wstring Model::GenerateTemporaryFileName(const std::wstring& prefix, const std::wstring& extension) {
  const std::wstring folder = GetTemporaryDirectory();
  ModelState::Temporaries& temporaries = modelState_->GetTemporaries();
  const std::lock_guard lock(temporaries.mutex);
  const std::wstring stem = prefix.empty() ? L"temporary" : prefix;
  return folder + L"/" + stem + std::to_wstring(++temporaries.next) + extension;
}

void Model::RegisterTemporaryFile(const std::wstring& name) {
  ModelState::Temporaries& temporaries = modelState_->GetTemporaries();
  const std::lock_guard lock(temporaries.mutex);
  temporaries.files.push_back(name);
  const std::lock_guard guard(foldersMutex);
  Files().insert(name);
}

ModelState::~ModelState() {
  const std::unique_ptr<Temporaries> temporaries(temporaries_.load());
  if (!temporaries) return;
  for (const std::wstring& file : temporaries->files) {
    std::error_code ignored;
    fs::remove(kfnp_ToNative(file), ignored);
    const std::lock_guard guard(foldersMutex);
    if (const auto entry = Files().find(file); entry != Files().end()) Files().erase(entry);
  }
}

}  // namespace Tamrin::Tessera
