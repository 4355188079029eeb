#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <boost/filesystem.hpp>
#include <cerrno>

#include "filefaults.h"
#include "kcommon/kerr.h"
#include "kcommon/kfio.h"
#include "kcommon/kflt.h"
#include "kcommon/kfnp.h"

namespace {

/// Native form; a failure, and empty, where it is no name at all.
std::string CheckedNative(const std::wstring& name, KerrException& error) {
  if (name.find(L'\0') == std::wstring::npos) return kfnp_ToNative(name);
  error.Log(__LINE__, L"A file name holds a null character.");
  return {};
}

}  // namespace

bool kfio_FileExists(const std::wstring& name, KerrException& error) {
  struct stat status {};
  const std::string path = CheckedNative(name, error);
  return !path.empty() && ::stat(path.c_str(), &status) == 0;
}

bool kfio_DirectoryIsWritable(const std::wstring& directory, KerrException& error) {
  const std::string path = directory.empty() ? "." : CheckedNative(directory, error);
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode) &&
         ::faccessat(AT_FDCWD, path.c_str(), W_OK | X_OK, AT_EACCESS) == 0;
}

std::wstring kfio_DirectoryGetTemporary(KerrException& error) {
  boost::system::error_code code;
  const auto path = boost::filesystem::temp_directory_path(code);
  if (code) error.Log(__LINE__, L"There is no folder for temporary files: " + ErrorText(code.value()) + L".");
  return kfnp_FromNative(path.native());
}

void kfio_MaybeMakeDir(const std::wstring& name, KerrException& error) {
  const std::string path = CheckedNative(name, error);
  if (error.IsPending()) return;
  boost::system::error_code code;
  if (path.empty())
    code.assign(ENOENT, boost::system::generic_category());
  else
    boost::filesystem::create_directories(path, code);
  struct stat status {};
  // Another may have made it meanwhile, and a file of that name is told as what it is.
  const bool isThere = ::stat(path.c_str(), &status) == 0;
  if (isThere && S_ISDIR(status.st_mode)) return;
  const int failure = isThere ? EEXIST : code ? code.value() : EIO;
  error.Log(__LINE__, FileFault(FileAction::MakeFolder, name, failure));
}

void kflt_ForceFileDeleteIfExists(const std::wstring& name) {
  KerrException scope(L"kcommon\\kflt", L"kflt_ForceFileDeleteIfExists");
  const std::string path = CheckedNative(name, scope);
  scope.Check(__LINE__);
  struct stat status {};
  if (::lstat(path.c_str(), &status) != 0) return;
  if (S_ISLNK(status.st_mode) && ::stat(path.c_str(), &status) != 0) status.st_mode = S_IFREG;
  if (!S_ISREG(status.st_mode)) return;
  if (::unlink(path.c_str()) != 0 && errno != ENOENT)
    scope.Throw(__LINE__, FileFault(FileAction::DeleteFile, name, errno));
}
