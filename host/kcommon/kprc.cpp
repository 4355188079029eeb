#include "kcommon/kprc.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <system_error>
#include <thread>

#include "kcommon/kerr.h"
#include "kcommon/kfnp.h"
#include "kcommon/kstr.h"

namespace {

constexpr int kCheckMilliseconds = 50;
/// What a program that is asked to end may take for its cleaning up.
constexpr auto kCapturePatience = std::chrono::seconds(2);
constexpr auto kRunPatience = std::chrono::seconds(5);
constexpr std::size_t kBlockSize = 1 << 14;
constexpr std::size_t kMostBlocks = (1 << 20) / kBlockSize;  ///< the largest pipe

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

/// Reads what is there. False at the end of what is written.
bool ReadSome(int file, std::string& output) {
  char block[kBlockSize];
  const ssize_t count = ::read(file, block, sizeof block);
  if (count > 0) output.append(block, static_cast<std::size_t>(count));
  return count > 0 || (count < 0 && (errno == EINTR || errno == EAGAIN));
}

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

void EndGroup(pid_t process, std::chrono::milliseconds patience) {
  const Ending ending;
  ::kill(-process, SIGTERM);
  const auto latest = std::chrono::steady_clock::now() + patience;
  while (!IsZombie(process) && std::chrono::steady_clock::now() < latest)
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  ::kill(-process, SIGKILL);
  int status = 0;
  while (::waitpid(process, &status, 0) < 0 && errno == EINTR) continue;
}

/// Waits without asking again and again where the system tells of a process's end.
void WaitUntil(pid_t process, int& status, const std::function<void()>& check) {
  const int file = static_cast<int>(::syscall(SYS_pidfd_open, process, 0));
  struct Closer {
    int file;
    ~Closer() {
      if (file >= 0) ::close(file);
    }
  } const closer{file};
  while (!HasEnded(process, status)) {
    pollfd waiting{file, POLLIN, 0};
    ::poll(&waiting, 1, file < 0 ? 5 : check ? kCheckMilliseconds : -1);
    if (check) check();
  }
}

}  // namespace

int kprc_ProcessCapture(const Kprc_CaptureRequest& request, std::string& output) {
  output.clear();
  Pipe pipe;
  Kprc_StartRequest start{request.program, request.arguments};
  start.output = start.errors = pipe.Writing();
  const pid_t process = kprc_ProcessStart(start);
  pipe.CloseWriting();
  ::fcntl(pipe.Reading(), F_SETFL, O_NONBLOCK);
  int status = 0;
  try {
    // A program may close its output long before it ends, or leave it open to one that goes on behind it.
    for (bool isOpen = true;;) {
      pollfd waiting{isOpen ? pipe.Reading() : -1, POLLIN, 0};
      const bool isReady = ::poll(&waiting, 1, isOpen ? kCheckMilliseconds : 5) > 0;
      if (isReady) isOpen = ReadSome(pipe.Reading(), output);
      if (request.check) request.check();
      if (HasEnded(process, status)) break;
    }
  } catch (...) {
    EndGroup(process, kCapturePatience);
    throw;
  }
  // What the pipe still holds, and not what one that goes on behind the program writes into it without end.
  for (std::size_t blocks = 0, before = output.size() + 1; blocks < kMostBlocks && before != output.size(); ++blocks) {
    before = output.size();
    ReadSome(pipe.Reading(), output);
  }
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
    EndGroup(process, kRunPatience);
    throw;
  }
  return StatusOf(status);
}

bool kprc_IsEnding() { return endings != 0; }
