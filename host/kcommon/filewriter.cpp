#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <optional>

#include "filedescriptor.h"
#include "filefaults.h"
#include "kcommon/kerr.h"
#include "kcommon/kfio.h"
#include "kcommon/kfnp.h"
#include "linktarget.h"
#include "unfinishedfile.h"

namespace {

constexpr std::size_t kBlockSize = 1 << 20;

std::wstring WriteFault(const std::wstring& name, int errorNumber) {
  return FileFault(FileAction::WriteFile, name, errorNumber);
}

/// Zero, or the error number.
int WriteBlocks(int file, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(file, bytes.data(), std::min(bytes.size(), kBlockSize));
    if (count < 0 && errno != EINTR) return errno;
    if (count > 0) bytes.remove_prefix(static_cast<std::size_t>(count));
    if (!bytes.empty()) RunCancelCheck();
  }
  return 0;
}

/// The number in the names by which a process reaches what it has open. Opening such a name would begin at the
/// start of the file once more, over what stands there.
std::optional<int> OpenFileNumber(const std::string& path) {
  if (path == "/dev/stdout") return STDOUT_FILENO;
  if (path == "/dev/stderr") return STDERR_FILENO;
  for (const std::string_view folder : {"/dev/fd/", "/proc/self/fd/"}) {
    if (path.compare(0, folder.size(), folder) != 0) continue;
    const std::string digits = path.substr(folder.size());
    if (digits.empty() || digits.size() > 6 || digits.find_first_not_of("0123456789") != std::string::npos) continue;
    return std::atoi(digits.c_str());
  }
  return std::nullopt;
}

void WriteStraight(const std::wstring& name, int file, const std::string& bytes, KerrException& scope) {
  FileDescriptor target(file);
  if (!target.IsOpen()) scope.Throw(__LINE__, WriteFault(name, errno));
  if (const int failure = WriteBlocks(target.Get(), bytes)) scope.Throw(__LINE__, WriteFault(name, failure));
  if (!target.Close()) scope.Throw(__LINE__, WriteFault(name, errno));
}

void Replace(const std::wstring& name, const std::string& path, const struct stat* old, const std::string& bytes,
             KerrException& scope) {
  // The folder alone would let a write-protected file be replaced.
  if (old && ::access(path.c_str(), W_OK) != 0) scope.Throw(__LINE__, WriteFault(name, errno));
  UnfinishedFile temporary(FolderPart(path), old ? 0600 : 0666);
  FileDescriptor& file = temporary.GetFile();
  if (!file.IsOpen()) scope.Throw(__LINE__, WriteFault(name, errno));
  if (const int failure = WriteBlocks(file.Get(), bytes)) scope.Throw(__LINE__, WriteFault(name, failure));
  if (old) {
    // The owner first, as a change of owner drops permissions; only the superuser may give files away.
    const bool ownerKept = ::fchown(file.Get(), old->st_uid, old->st_gid) == 0;
    const mode_t kept = ownerKept ? 07777 : 0777;
    if (::fchmod(file.Get(), old->st_mode & kept) != 0) scope.Throw(__LINE__, WriteFault(name, errno));
  }
  if (!file.Close()) scope.Throw(__LINE__, WriteFault(name, errno));
  if (const int failure = temporary.RenameTo(path)) scope.Throw(__LINE__, WriteFault(name, failure));
}

void Write(const std::wstring& name, const std::string& bytes, KerrException& scope) {
  std::string path = kfnp_ToNative(name);
  if (path.empty()) scope.Throw(__LINE__, WriteFault(name, ENOENT));
  if (path.find('\0') != std::string::npos) scope.Throw(__LINE__, WriteFault(name, EINVAL));
  if (const auto number = OpenFileNumber(path)) {
    WriteStraight(name, ::fcntl(*number, F_DUPFD_CLOEXEC, 0), bytes, scope);
    return;
  }
  struct stat status {};
  const bool exists = ::stat(path.c_str(), &status) == 0;
  if (!exists && errno != ENOENT) scope.Throw(__LINE__, WriteFault(name, errno));
  if (exists ? S_ISDIR(status.st_mode) : path.back() == '/') scope.Throw(__LINE__, WriteFault(name, EISDIR));
  if (exists && !S_ISREG(status.st_mode)) {
    WriteStraight(name, ::open(path.c_str(), O_WRONLY | O_CLOEXEC), bytes, scope);
    return;
  }
  if (const int failure = FollowLinks(path)) scope.Throw(__LINE__, WriteFault(name, failure));
  Replace(name, path, exists ? &status : nullptr, bytes, scope);
}

}  // namespace

namespace kfio {

void WriteFile(const std::wstring& name, const std::wstring& text) {
  KerrException scope(L"kcommon\\kfio", L"kfio::WriteFile");
  Write(name, kstr_ToUtf8(text), scope);
}

void WriteBytes(const std::wstring& name, const std::string& bytes) {
  KerrException scope(L"kcommon\\kfio", L"kfio::WriteBytes");
  Write(name, bytes, scope);
}

}  // namespace kfio
