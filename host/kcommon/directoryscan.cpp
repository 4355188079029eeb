#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <functional>
#include <memory>

#include "filedescriptor.h"
#include "filefaults.h"
#include "kcommon/kerr.h"
#include "kcommon/kfio.h"
#include "kcommon/kfnp.h"
#include "wildcard.h"

namespace {

enum class EntryKind { File, Folder, Other };

EntryKind KindOf(int folder, const dirent& entry) {
  if (entry.d_type == DT_REG) return EntryKind::File;
  if (entry.d_type == DT_DIR) return EntryKind::Folder;
  struct stat status {};
  if (::fstatat(folder, entry.d_name, &status, AT_SYMLINK_NOFOLLOW) != 0) return EntryKind::Other;
  // Links to folders are not followed, so that links that lead back end nowhere.
  if (S_ISDIR(status.st_mode)) return EntryKind::Folder;
  if (S_ISLNK(status.st_mode) && ::fstatat(folder, entry.d_name, &status, 0) != 0) return EntryKind::Other;
  return S_ISREG(status.st_mode) ? EntryKind::File : EntryKind::Other;
}

class Scan {
 public:
  Scan(const std::wstring& wildcard, bool recursive, KerrException& error)
      : wildcard_(wildcard), recursive_(recursive), error_(error) {}

  std::vector<std::wstring> Run(const std::wstring& directory) {
    folders_.push_back(directory);
    while (!folders_.empty()) {
      const std::wstring folder = std::move(folders_.back());
      folders_.pop_back();
      ReadFolder(folder);
      RunCancelCheck();
    }
    return std::move(files_);
  }

 private:
  void ReadFolder(const std::wstring& name) {
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(::opendir(kfnp_ToNative(name).c_str()), ::closedir);
    if (!folder) {
      Record(name, errno);
      return;
    }
    std::vector<std::wstring> files, folders;
    for (std::size_t count = 1;; ++count) {
      errno = 0;
      const dirent* entry = ::readdir(folder.get());
      if (!entry) break;
      if (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0) continue;
      const EntryKind kind = KindOf(::dirfd(folder.get()), *entry);
      if (count % 4096 == 0) RunCancelCheck();
      if (kind != EntryKind::File && !(kind == EntryKind::Folder && recursive_)) continue;
      std::wstring wideName = kfnp_FromNative(entry->d_name);
      if (kind == EntryKind::Folder)
        folders.push_back(std::move(wideName));
      else if (wildcard_.Matches(wideName))
        files.push_back(std::move(wideName));
    }
    if (errno != 0) Record(name, errno);
    const std::wstring prefix = name.back() == L'/' ? name : name + L"/";
    std::sort(files.begin(), files.end());
    for (const auto& file : files) files_.push_back(prefix + file);
    // The stack gives the last one first.
    std::sort(folders.begin(), folders.end(), std::greater<>());
    for (const auto& below : folders) folders_.push_back(prefix + below);
  }

  /// The first failure is the one that is told.
  void Record(const std::wstring& name, int errorNumber) {
    if (!failed_) error_.Log(__LINE__, FileFault(FileAction::ReadFolder, name, errorNumber));
    failed_ = true;
  }

  const Wildcard wildcard_;
  bool recursive_;
  KerrException& error_;
  bool failed_ = false;
  std::vector<std::wstring> folders_;
  std::vector<std::wstring> files_;
};

}  // namespace

Kstr_StringList* kfio_DirectoryScanRecursive(int /*flags*/, const std::wstring& directory, const std::wstring& wildcard,
                                             int /*filesOnly*/, bool recursive, KerrException& error) {
  return new Kstr_StringList{Scan(wildcard, recursive, error).Run(directory)};
}
