#include "kcommon/kprc.h"

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <memory>
#include <system_error>
#include <thread>
#include <utility>

#include "filedescriptor.h"
#include "kcommon/kerr.h"
#include "kcommon/kfnp.h"
#include "kcommon/kstr.h"

namespace {

constexpr int kCheckMilliseconds = 50;
/// What a program that is asked to end may take for its cleaning up.
constexpr auto kPatience = std::chrono::seconds(5);
constexpr auto kCheckInterval = std::chrono::milliseconds(kCheckMilliseconds);
constexpr std::size_t kBlockSize = 1 << 16;
constexpr int kLargestPipe = 1 << 20;
constexpr std::size_t kMostBlocks = kLargestPipe / kBlockSize;

using Clock = std::chrono::steady_clock;

void Require(int error, const std::string& what) {
  if (error != 0) throw std::system_error(error, std::generic_category(), what);
}

class Pipe {
 public:
  Pipe() { Require(::pipe2(ends_, O_CLOEXEC) == 0 ? 0 : errno, "a pipe"); }
  ~Pipe() {
    ::close(ends_[0]);
    CloseWriting();
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;
  int Reading() const { return ends_[0]; }
  int Writing() const { return ends_[1]; }
  void CloseWriting() {
    if (ends_[1] >= 0) ::close(ends_[1]);
    ends_[1] = -1;
  }

 private:
  int ends_[2] = {-1, -1};
};

/// What a program writes, read without waiting for it.
class Reading {
 public:
  enum class Found { Bytes, Nothing, End };

  Reading(int file, std::function<void(std::string_view)> take)
      : file_(file), take_(std::move(take)), block_(new char[kBlockSize]) {
    ::fcntl(file_, F_SETFL, O_NONBLOCK);
  }
  Found ReadBlock() {
    const ssize_t count = ::read(file_, block_.get(), kBlockSize);
    if (count < 0) return errno == EINTR || errno == EAGAIN ? Found::Nothing : Found::End;
    if (count == 0) return Found::End;
    // One who writes this much is kept waiting less by a larger pipe.
    if (count == kBlockSize && !std::exchange(isEnlarged_, true)) ::fcntl(file_, F_SETPIPE_SZ, kLargestPipe);
    take_({block_.get(), static_cast<std::size_t>(count)});
    return Found::Bytes;
  }

 private:
  const int file_;
  const std::function<void(std::string_view)> take_;
  const std::unique_ptr<char[]> block_;
  bool isEnlarged_ = false;
};

bool HasEnded(pid_t process, int& status) {
  const pid_t ended = ::waitpid(process, &status, WNOHANG);
  // Whoever ignores SIGCHLD never learns how its programs ended.
  if (ended < 0 && errno != EINTR) Require(errno, "the end of a program");
  return ended == process;
}

int StatusOf(int status) { return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status); }

std::atomic<int> endings{0};
struct Ending {
  Ending() { ++endings; }
  ~Ending() { --endings; }
  Ending(const Ending&) = delete;
  Ending& operator=(const Ending&) = delete;
};

/// Its group is there as long as its own end has not been taken notice of, so that no other group is hit.
bool IsZombie(pid_t process) {
  siginfo_t info{};
  return ::waitid(P_PID, static_cast<id_t>(process), &info, WEXITED | WNOHANG | WNOWAIT) == 0 && info.si_pid == process;
}

/// The group of a process in /proc/PID/stat, and whether it still does something; 0 where it is gone.
pid_t LivingGroupOf(const std::string& process) {
  char text[512] = {};
  const int file = ::open(("/proc/" + process + "/stat").c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) return 0;
  const ssize_t count = ::read(file, text, sizeof text - 1);
  ::close(file);
  const char* const name = count > 0 ? std::strrchr(text, ')') : nullptr;  // which may hold blanks and brackets
  char state = 0;
  int parent = 0, group = 0;
  if (!name || std::sscanf(name + 1, " %c %d %d", &state, &parent, &group) != 3) return 0;
  return state == 'Z' || state == 'X' ? 0 : group;
}

bool HasLivingMembers(pid_t group) {
  const std::unique_ptr<DIR, int (*)(DIR*)> processes(::opendir("/proc"), ::closedir);
  if (!processes) return false;
  while (const dirent* entry = ::readdir(processes.get())) {
    if (entry->d_name[0] >= '1' && entry->d_name[0] <= '9' && LivingGroupOf(entry->d_name) == group) return true;
  }
  return false;
}

/// Its members are given the time to clean up, also those that outlive the one that leads it.
void EndGroup(pid_t process) {
  const Ending ending;
  ::kill(-process, SIGTERM);
  const auto latest = Clock::now() + kPatience;
  auto pause = std::chrono::milliseconds(2);
  while (Clock::now() < latest && (!IsZombie(process) || HasLivingMembers(process))) {
    std::this_thread::sleep_for(pause);
    pause = std::min(pause * 2, std::chrono::milliseconds(50));
  }
  ::kill(-process, SIGKILL);
  int status = 0;
  while (::waitpid(process, &status, 0) < 0 && errno == EINTR) continue;
}

/// Tells of a process's end where the system can; not open otherwise.
FileDescriptor OpenProcess(pid_t process) {
  return FileDescriptor(static_cast<int>(::syscall(SYS_pidfd_open, process, 0)));
}

/// Waits without asking again and again where the system tells of a process's end.
void WaitUntil(pid_t process, int& status, const std::function<void()>& check) {
  const FileDescriptor file = OpenProcess(process);
  while (!HasEnded(process, status)) {
    pollfd waiting{file.Get(), POLLIN, 0};
    ::poll(&waiting, 1, !file.IsOpen() ? 5 : check ? kCheckMilliseconds : -1);
    if (check) check();
  }
}

/// Reads until the process has ended. It may close its output long before, or leave it open to one that goes on.
void ReadUntil(pid_t process, int& status, int pipe, Reading& reading, const std::function<void()>& check) {
  const FileDescriptor file = OpenProcess(process);
  auto checked = Clock::now();
  for (bool isOpen = true;;) {
    const auto found = isOpen ? reading.ReadBlock() : Reading::Found::Nothing;
    isOpen = isOpen && found != Reading::Found::End;
    const bool isDue = Clock::now() - checked >= kCheckInterval;
    if (found == Reading::Found::Bytes && !isDue) continue;
    if (found != Reading::Found::Bytes) {
      pollfd waiting[] = {{isOpen ? pipe : -1, POLLIN, 0}, {file.Get(), POLLIN, 0}};
      ::poll(waiting, 2, !file.IsOpen() ? 5 : check ? kCheckMilliseconds : -1);
    }
    if (isDue) {
      if (check) check();
      checked = Clock::now();
    }
    if (HasEnded(process, status)) return;
  }
}

}  // namespace

int kprc_ProcessCapture(const Kprc_CaptureRequest& request, std::string& output, int* signal) {
  output.clear();
  Pipe pipe;
  Kprc_StartRequest start{request.program, request.arguments};
  start.output = start.errors = pipe.Writing();
  start.signalAtEnd = SIGTERM;
  const pid_t process = kprc_ProcessStart(start);
  pipe.CloseWriting();
  int status = 0;
  Reading reading(
      pipe.Reading(), request.take ? request.take : [&](std::string_view bytes) { output += bytes; });
  try {
    ReadUntil(process, status, pipe.Reading(), reading, request.check);
  } catch (...) {
    EndGroup(process);
    throw;
  }
  // What the pipe still holds, and not what one that goes on behind the program writes into it without end.
  for (std::size_t blocks = 0; blocks < kMostBlocks && reading.ReadBlock() == Reading::Found::Bytes; ++blocks) continue;
  if (signal) *signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
  return StatusOf(status);
}

int kprc_ProcessRun(const std::wstring& program, const std::vector<std::wstring>& arguments,
                    const ProcessStartInfo& info, KerrException& error) {
  Kprc_StartRequest request{kfnp_ToNative(program), {}};
  for (const std::wstring& argument : arguments) request.arguments.push_back(kfnp_ToNative(argument));
  for (const std::wstring& variable : info.GetVariables()) request.variables.push_back(kfnp_ToNative(variable));
  // Standard output is for what the caller has to say.
  request.output = STDERR_FILENO;
  request.signalAtEnd = SIGTERM;
  pid_t process = 0;
  try {
    process = kprc_ProcessStart(request);
  } catch (const std::system_error& failure) {
    error.Log(__LINE__, kstr_FromUtf8Lossy(failure.what()));
    return -1;
  }
  int status = 0;
  try {
    WaitUntil(process, status, info.GetCheck());
  } catch (...) {
    EndGroup(process);
    throw;
  }
  return StatusOf(status);
}

bool kprc_IsEnding() { return endings != 0; }
