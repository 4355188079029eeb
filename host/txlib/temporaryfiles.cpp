#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <mutex>
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
constexpr int kTries = 10;

std::mutex foldersMutex;
bool leaving = false;
// Both are still there when the last models die at exit.
std::set<fs::path>& Folders() {
  static auto* const folders = new std::set<fs::path>();
  return *folders;
}
std::multiset<std::wstring>& Files() {
  static auto* const files = new std::multiset<std::wstring>();
  return *files;
}

/// An open lock file, locked; -1 where another process holds it or it can't be made.
int LockFolder(const fs::path& folder, int flags) {
  const int file = ::open((folder / kLockName).c_str(), flags | O_RDWR | O_CLOEXEC | O_NOFOLLOW, 0600);
  if (file < 0) return -1;
  if (::flock(file, LOCK_EX | LOCK_NB) == 0) return file;
  ::close(file);
  return -1;
}

/// Folders that a killed process left: theirs is the lock that nobody holds.
void RemoveStale(const fs::path& root) {
  std::error_code error;
  for (fs::directory_iterator entry(root, fs::directory_options::skip_permission_denied, error), end;
       !error && entry != end; entry.increment(error)) {
    const fs::path path = entry->path();
    if (path.filename().native().rfind(kPrefix, 0) != 0 || !entry->is_directory(error)) continue;
    const int lock = LockFolder(path, 0);
    if (lock < 0) continue;
    std::error_code ignored;
    fs::remove_all(path, ignored);
    ::close(lock);
  }
}

/// Another thread may make files in it at this time: then the folder is not empty when its turn comes.
void RemoveFolder(const fs::path& folder) {
  std::error_code error;
  for (int i = 0; i < kTries; ++i) {
    fs::remove_all(folder, error);
    if (error != std::errc::directory_not_empty) return;
  }
}

fs::path MakeFolder(const fs::path& root) {
  std::string pattern = (root / (std::string(kPrefix) + std::to_string(::getpid()) + "-XXXXXX")).native();
  if (!::mkdtemp(pattern.data())) {
    throw std::runtime_error("A temporary folder could not be made in " + root.native() + ": " +
                             std::generic_category().message(errno) + ".");
  }
  return pattern;
}

}  // namespace

CallbackHandle TemporaryFolder::Create(std::wstring& name) {
  std::error_code error;
  const fs::path root = fs::temp_directory_path(error);
  if (error) throw std::runtime_error("There is no folder for temporary files: " + error.message() + ".");
  static std::once_flag once;
  std::call_once(once, [&] { RemoveStale(root); });

  const std::lock_guard making(foldersMutex);
  if (leaving) throw std::runtime_error("The program is about to end: there are no more temporary folders.");
  fs::path folder;
  int lock = -1;
  // Whoever looks for what killed processes left may come between the making and the locking, and take it away.
  for (int tries = 0; tries < kTries; ++tries) {
    folder = MakeFolder(root);
    lock = LockFolder(folder, O_CREAT);
    struct stat facts {};
    if (lock < 0 ? fs::exists(folder, error) : ::fstat(lock, &facts) == 0 && facts.st_nlink > 0) break;
    if (lock >= 0) ::close(lock);
  }
  Folders().insert(folder);
  name = kfnp_FromNative(folder.native());
  return CallbackHandle(new int(lock), [folder](int* held) {
    RemoveFolder(folder);
    if (*held >= 0) ::close(*held);
    delete held;
    const std::lock_guard guard(foldersMutex);
    Folders().erase(folder);
  });
}

void TemporaryFolder::RemoveAll() {
  const std::lock_guard guard(foldersMutex);
  leaving = true;
  for (const fs::path& folder : Folders()) RemoveFolder(folder);
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
