#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <boost/filesystem.hpp>
#include <cerrno>
#include <limits>
#include <memory>

#include "filedescriptor.h"
#include "kcommon/kfio.h"
#include "kcommon/kfnp.h"
#include "linktarget.h"
#include "unfinishedfile.h"

namespace {

constexpr std::size_t kBlockSize = 1 << 18;
constexpr std::size_t kMostAtOnce = 1 << 27;  // between two looks at whether the run was cancelled

int WriteAll(int file, const char* bytes, std::size_t count, off_t at) {
  while (count > 0) {
    const ssize_t written = ::pwrite(file, bytes, count, at);
    if (written < 0 && errno != EINTR) return errno;
    if (written <= 0) continue;
    bytes += written;
    at += written;
    count -= static_cast<std::size_t>(written);
  }
  return 0;
}

/// The bytes from `begin` to `end`, or to the end of the file. Zero, or the error number.
int CopyThroughMemory(int from, int to, off_t begin, off_t end) {
  const std::unique_ptr<char[]> block(new char[kBlockSize]);
  while (begin < end) {
    const ssize_t count =
        ::pread(from, block.get(), std::min<std::size_t>(kBlockSize, static_cast<std::size_t>(end - begin)), begin);
    if (count < 0 && errno != EINTR) return errno;
    if (count == 0) return 0;
    if (count < 0) continue;
    if (const int failure = WriteAll(to, block.get(), static_cast<std::size_t>(count), begin)) return failure;
    begin += count;
    RunCancelCheck();
  }
  return 0;
}

int CopyRange(int from, int to, off_t begin, off_t end) {
  while (begin < end) {
    off_t source = begin, target = begin;
    const ssize_t count = ::copy_file_range(
        from, &source, to, &target, std::min<std::size_t>(kMostAtOnce, static_cast<std::size_t>(end - begin)), 0);
    // Not every file system can, nor every pair of them.
    if (count < 0 && errno != EINTR)
      return errno == ENOSPC || errno == EIO ? errno : CopyThroughMemory(from, to, begin, end);
    if (count == 0) return CopyThroughMemory(from, to, begin, end);
    if (count > 0) begin += count;
    RunCancelCheck();
  }
  return 0;
}

/// Shares the blocks where the file system can; else copies what is not a hole.
int CopyContents(int from, int to, off_t size) {
  // Files that the system makes up claim to be empty.
  if (size == 0) return CopyThroughMemory(from, to, 0, std::numeric_limits<off_t>::max());
  if (::ioctl(to, FICLONE, from) == 0) return 0;
  for (off_t place = 0; place < size;) {
    off_t data = ::lseek(from, place, SEEK_DATA);
    if (data < 0 && errno == ENXIO) break;
    if (data < 0) data = place;
    off_t hole = ::lseek(from, data, SEEK_HOLE);
    if (hole <= data) hole = size;
    if (const int failure = CopyRange(from, to, data, std::min(hole, size))) return failure;
    place = hole;
  }
  struct stat status {};
  if (::fstat(to, &status) != 0) return errno;
  return status.st_size < size && ::ftruncate(to, size) != 0 ? errno : 0;
}

/// Zero, or the error number.
int Copy(const std::string& from, std::string to) {
  const FileDescriptor source(::open(from.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat status {
  }, old{};
  if (!source.IsOpen() || ::fstat(source.Get(), &status) != 0) return errno;
  if (!S_ISREG(status.st_mode)) return S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
  const bool exists = ::stat(to.c_str(), &old) == 0;
  if (!exists && errno != ENOENT) return errno;
  if (exists && old.st_dev == status.st_dev && old.st_ino == status.st_ino) return 0;
  if (exists && !S_ISREG(old.st_mode)) return S_ISDIR(old.st_mode) ? EISDIR : EEXIST;
  // The folder alone would let a write-protected file be replaced.
  if (exists && ::access(to.c_str(), W_OK) != 0) return errno;
  if (const int failure = FollowLinks(to)) return failure;
  UnfinishedFile copy(FolderPart(to), 0600);
  FileDescriptor& file = copy.GetFile();
  if (!file.IsOpen()) return errno;
  if (const int failure = CopyContents(source.Get(), file.Get(), status.st_size)) return failure;
  // Who owns the file decides who may change it; only the superuser may give one away.
  if (exists && ::fchown(file.Get(), old.st_uid, old.st_gid) != 0 && errno != EPERM) return errno;
  // The bits that lend the owner's rights are not copied to another owner.
  if (::fchmod(file.Get(), status.st_mode & 0777) != 0) return errno;
  const timespec times[] = {status.st_atim, status.st_mtim};
  if (::futimens(file.Get(), times) != 0 || !file.Close()) return errno;
  return copy.RenameTo(to);
}

}  // namespace

namespace kfio {

void CopyFile(const std::wstring& from, const std::wstring& to) {
  const bool isName = from.find(L'\0') == std::wstring::npos && to.find(L'\0') == std::wstring::npos;
  const std::string source = kfnp_ToNative(from), target = kfnp_ToNative(to);
  if (const int failure = isName ? Copy(source, target) : EINVAL) {
    throw boost::filesystem::filesystem_error("boost::filesystem::copy_file", source, target,
                                              {failure, boost::system::generic_category()});
  }
}

}  // namespace kfio
