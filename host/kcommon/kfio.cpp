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

/// An open file or pipe whose bytes are given block by block, and once more where that is asked for.
class Source {
 public:
  Source(const std::wstring& name, KerrException& scope)
      : name_(name), scope_(scope), file_(Open(name, scope)), keeps_(false) {
    struct stat status {};
    if (::fstat(file_.Get(), &status) != 0) scope.Throw(__LINE__, ReadFault(name, errno));
    if (S_ISDIR(status.st_mode)) scope.Throw(__LINE__, ReadFault(name, EISDIR));
    size_ = S_ISREG(status.st_mode) ? status.st_size : 0;
    isRegular_ = S_ISREG(status.st_mode);
  }

  /// Of a regular file.
  off_t GetSize() const { return size_; }
  /// A pipe's bytes are to be kept for a second reading.
  void Keep() { keeps_ = !isRegular_; }
  void Rewind() {
    if (isRegular_ && ::lseek(file_.Get(), 0, SEEK_SET) != 0) scope_.Throw(__LINE__, ReadFault(name_, errno));
    keeps_ = false;
  }
  /// Until `take` has enough and gives false.
  template <typename Take>
  void ReadBlocks(Take take) {
    // What was kept comes first.
    if (!keeps_ && !kept_.empty() && !take(std::string_view(kept_))) return;
    // One byte more than the file has, so that a small one is read in one go; files of /proc claim to be empty.
    const off_t wanted = isRegular_ ? size_ + 1 : kBlockSize;
    std::string block(static_cast<std::size_t>(std::clamp(wanted, kSmallestBlock, kBlockSize)), '\0');
    for (;;) {
      const ssize_t count = ::read(file_.Get(), block.data(), block.size());
      if (count < 0 && errno != EINTR) scope_.Throw(__LINE__, ReadFault(name_, errno));
      if (count == 0) return;
      const std::string_view bytes(block.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
      if (keeps_) kept_ += bytes;
      if (count > 0 && !take(bytes)) return;
      RunCancelCheck();
    }
  }

 private:
  static int Open(const std::wstring& name, KerrException& scope) {
    if (name.find(L'\0') != std::wstring::npos) scope.Throw(__LINE__, ReadFault(name, EINVAL));
    const int file = ::open(kfnp_ToNative(name).c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0) scope.Throw(__LINE__, ReadFault(name, errno));
    return file;
  }

  const std::wstring& name_;
  KerrException& scope_;
  const FileDescriptor file_;
  bool isRegular_ = false;
  bool keeps_;
  off_t size_ = 0;
  std::string kept_;
};

TextDecoder Decode(Source& source, TextDecoder decoder) {
  decoder.Expect(source.GetSize());
  source.ReadBlocks([&](std::string_view block) { return decoder.Feed(block); });
  decoder.Finish();
  return decoder;
}

[[noreturn]] void RaiseTextFault(const std::wstring& name, const TextDecoder& decoder, KerrException& scope) {
  scope.Throw(__LINE__, L"The file \"" + name + L"\": " + decoder.GetFault() + L".");
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
  Source source(name, scope);
  source.Keep();
  TextDecoder decoder = Decode(source, TextDecoder(offset, size));
  if (decoder.GetFault().empty()) return decoder.TakeText();
  if (decoder.IsMarked()) RaiseTextFault(name, decoder, scope);
  source.Rewind();
  return Decode(source, TextDecoder(offset, size, TextDecoder::Reading::Windows1252)).TakeText();
}

std::wstring ReadUnicodeFile(const std::wstring& name) {
  KerrException scope(L"kcommon\\kfio", L"kfio::ReadUnicodeFile");
  Source source(name, scope);
  TextDecoder decoder = Decode(source, TextDecoder(0, -1));
  if (!decoder.GetFault().empty()) RaiseTextFault(name, decoder, scope);
  return decoder.TakeText();
}

std::string ReadBytes(const std::wstring& name) {
  KerrException scope(L"kcommon\\kfio", L"kfio::ReadBytes");
  std::string bytes;
  Source(name, scope).ReadBlocks([&](std::string_view block) {
    bytes += block;
    return true;
  });
  return bytes;
}

}  // namespace kfio
