#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <memory>

#include "filedescriptor.h"
#include "filefaults.h"
#include "kcommon/kerr.h"
#include "kcommon/kfio.h"
#include "kcommon/kfnp.h"
#include "kcommon/ktxt.h"

namespace {

std::vector<std::wstring> SplitPatterns(const std::wstring& wildcard) {
  std::vector<std::wstring> patterns;
  std::wstring pattern;
  for (const wchar_t c : ktxt_tolower(wildcard) + L";") {
    if (c != L' ' && c != L'\t' && c != L',' && c != L';') {
      pattern += c;
    } else if (!pattern.empty()) {
      patterns.push_back(std::move(pattern));
      pattern.clear();
    }
  }
  return patterns;
}

/// Linear in practice: only the last star is ever tried again, as what an earlier one took can stay.
bool Matches(const std::wstring& name, const std::wstring& pattern) {
  std::size_t n = 0, p = 0, star = std::wstring::npos, resume = 0;
  while (n < name.size()) {
    if (p < pattern.size() && pattern[p] == L'*') {
      star = p++;
      resume = n;
    } else if (p < pattern.size() && (pattern[p] == L'?' || pattern[p] == name[n])) {
      ++p;
      ++n;
    } else if (star != std::wstring::npos) {
      p = star + 1;
      n = ++resume;
    } else {
      return false;
    }
  }
  return pattern.find_first_not_of(L'*', p) == std::wstring::npos;
}

bool MatchesAny(const std::wstring& name, const std::vector<std::wstring>& patterns) {
  const std::wstring lower = ktxt_tolower(name);
  return patterns.empty() ||
         std::any_of(patterns.begin(), patterns.end(), [&](const auto& pattern) { return Matches(lower, pattern); });
}

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
      : patterns_(SplitPatterns(wildcard)), recursive_(recursive), error_(error) {}

  std::vector<std::wstring> Run(const std::wstring& directory) {
    folders_.push_back(directory);
    while (!folders_.empty()) {
      const std::wstring folder = std::move(folders_.back());
      folders_.pop_back();
      ReadFolder(folder);
      RunCancelCheck();
    }
    std::sort(files_.begin(), files_.end());
    return std::move(files_);
  }

 private:
  void ReadFolder(const std::wstring& name) {
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(::opendir(kfnp_ToNative(name).c_str()), ::closedir);
    if (!folder) {
      Record(name, errno);
      return;
    }
    const std::wstring prefix = name.back() == L'/' ? name : name + L"/";
    for (;;) {
      errno = 0;
      const dirent* entry = ::readdir(folder.get());
      if (!entry) break;
      const std::string entryName = entry->d_name;
      if (entryName == "." || entryName == "..") continue;
      const EntryKind kind = KindOf(::dirfd(folder.get()), *entry);
      const std::wstring wideName = kfnp_FromNative(entryName);
      if (kind == EntryKind::Folder && recursive_) folders_.push_back(prefix + wideName);
      if (kind == EntryKind::File && MatchesAny(wideName, patterns_)) files_.push_back(prefix + wideName);
    }
    if (errno != 0) Record(name, errno);
  }

  /// The first failure is the one that is told.
  void Record(const std::wstring& name, int errorNumber) {
    if (!failed_) error_.Log(__LINE__, FileFault(FileAction::ReadFolder, name, errorNumber));
    failed_ = true;
  }

  std::vector<std::wstring> patterns_;
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
