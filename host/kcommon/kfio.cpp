#include "kcommon/kfio.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <mutex>

#include "filedescriptor.h"
#include "filefaults.h"
#include "kcommon/kerr.h"
#include "kcommon/kfnp.h"
#include "textdecoder.h"

namespace {

constexpr off_t kBlockSize = 1 << 20;
constexpr off_t kSmallestBlock = 1 << 16;

struct CancelCheck {
  std::mutex mutex;
  std::function<void()> check;
};

CancelCheck& TheCancelCheck() {
  static CancelCheck& check = *new CancelCheck;
  return check;
}

std::wstring ReadFault(const std::wstring& name, int errorNumber) {
  return FileFault(FileAction::ReadFile, name, errorNumber);
}

/// Gives the bytes to `take`, block by block, until it has enough.
template <typename Take>
void ReadBlocks(const std::wstring& name, KerrException& scope, Take take) {
  if (name.find(L'\0') != std::wstring::npos) scope.Throw(__LINE__, ReadFault(name, EINVAL));
  const FileDescriptor file(::open(kfnp_ToNative(name).c_str(), O_RDONLY | O_CLOEXEC));
  if (!file.IsOpen()) scope.Throw(__LINE__, ReadFault(name, errno));
  struct stat status {};
  if (::fstat(file.Get(), &status) != 0) scope.Throw(__LINE__, ReadFault(name, errno));
  if (S_ISDIR(status.st_mode)) scope.Throw(__LINE__, ReadFault(name, EISDIR));
  // One byte more than the file has, so that a small one is read in one go; files of /proc claim to be empty.
  const off_t wanted = S_ISREG(status.st_mode) ? status.st_size + 1 : kBlockSize;
  std::string block(static_cast<std::size_t>(std::clamp(wanted, kSmallestBlock, kBlockSize)), '\0');
  for (;;) {
    const ssize_t count = ::read(file.Get(), block.data(), block.size());
    if (count < 0 && errno != EINTR) scope.Throw(__LINE__, ReadFault(name, errno));
    if (count == 0) return;
    if (count > 0 && !take(std::string_view(block.data(), static_cast<std::size_t>(count)))) return;
    RunCancelCheck();
  }
}

}  // namespace

void RunCancelCheck() {
  std::function<void()> check;
  {
    CancelCheck& current = TheCancelCheck();
    const std::lock_guard lock(current.mutex);
    check = current.check;
  }
  if (check) check();
}

namespace kfio {

void SetCancelCheck(std::function<void()> check) {
  CancelCheck& current = TheCancelCheck();
  const std::lock_guard lock(current.mutex);
  current.check.swap(check);
}

std::wstring ReadFile(const std::wstring& name) { return ReadFile(name, 0, -1); }

std::wstring ReadFile(const std::wstring& name, std::int32_t offset, std::int32_t size) {
  KerrException scope(L"kcommon\\kfio", L"kfio::ReadFile");
  if (offset < 0) {
    scope.Throw(__LINE__, L"The offset " + std::to_wstring(offset) + L" into the file \"" + name + L"\" is negative.");
  }
  TextDecoder decoder(offset, size);
  ReadBlocks(name, scope, [&](std::string_view block) { return decoder.Feed(block); });
  decoder.Finish();
  if (!decoder.GetFault().empty()) scope.Throw(__LINE__, L"The file \"" + name + L"\": " + decoder.GetFault() + L".");
  return decoder.TakeText();
}

std::string ReadBytes(const std::wstring& name) {
  KerrException scope(L"kcommon\\kfio", L"kfio::ReadBytes");
  std::string bytes;
  ReadBlocks(name, scope, [&](std::string_view block) {
    bytes += block;
    return true;
  });
  return bytes;
}

}  // namespace kfio
