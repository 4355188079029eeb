#include <fcntl.h>
#include <sys/file.h>
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

std::mutex foldersMutex;
std::set<fs::path>& Folders() {
  static auto* const folders = new std::set<fs::path>();  // still there when the last models die at exit
  return *folders;
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

void RemoveFolder(const fs::path& folder) {
  std::error_code ignored;
  fs::remove_all(folder, ignored);
}

}  // namespace

CallbackHandle TemporaryFolder::Create(std::wstring& name) {
  std::error_code error;
  const fs::path root = fs::temp_directory_path(error);
  if (error) throw std::runtime_error("There is no folder for temporary files: " + error.message() + ".");
  static std::once_flag once;
  std::call_once(once, [&] { RemoveStale(root); });

  std::string pattern = (root / (std::string(kPrefix) + std::to_string(::getpid()) + "-XXXXXX")).native();
  if (!::mkdtemp(pattern.data())) {
    throw std::runtime_error("A temporary folder could not be made in " + root.native() + ": " +
                             std::generic_category().message(errno) + ".");
  }
  const fs::path folder(pattern);
  const int lock = LockFolder(folder, O_CREAT);
  {
    const std::lock_guard guard(foldersMutex);
    Folders().insert(folder);
  }
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
  for (const fs::path& folder : Folders()) RemoveFolder(folder);
}

std::wstring Model::GetTemporaryDirectory() {
  const std::lock_guard lock(modelState_->temporaryMutex);
  if (modelState_->temporaryDirectory.empty()) {
    modelState_->temporaryFolderHandle = TemporaryFolder::Create(modelState_->temporaryDirectory);
  }
  return modelState_->temporaryDirectory;
}

std::wstring Model::GenerateTemporaryFileName(const std::wstring& prefix, const std::wstring& extension) {
  const std::wstring folder = GetTemporaryDirectory();
  const std::lock_guard lock(modelState_->temporaryMutex);
  const std::wstring stem = prefix.empty() ? L"temporary" : prefix;
  return folder + L"/" + stem + std::to_wstring(++modelState_->nextTemporary) + extension;
}

void Model::RegisterTemporaryFile(const std::wstring& name) {
  const std::lock_guard lock(modelState_->temporaryMutex);
  modelState_->temporaryFiles.push_back(name);
}

ModelState::~ModelState() {
  for (const std::wstring& file : temporaryFiles) {
    std::error_code ignored;
    fs::remove(kfnp_ToNative(file), ignored);
  }
}

}  // namespace Tamrin::Tessera
