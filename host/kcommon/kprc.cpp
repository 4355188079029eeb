#include "kcommon/kprc.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <system_error>
#include <thread>

namespace {

constexpr int kCheckMilliseconds = 50;
/// What a program that is asked to end may take for its cleaning up.
constexpr auto kPatience = std::chrono::seconds(2);
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

pid_t Start(const Kprc_CaptureRequest& request, const Pipe& pipe) {
  std::vector<char*> words{const_cast<char*>(request.program.c_str())};
  for (const std::string& argument : request.arguments) words.push_back(const_cast<char*>(argument.c_str()));
  words.push_back(nullptr);
  posix_spawn_file_actions_t files;
  Require(::posix_spawn_file_actions_init(&files), request.program);
  ::posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  ::posix_spawn_file_actions_adddup2(&files, pipe.Writing(), STDOUT_FILENO);
  ::posix_spawn_file_actions_adddup2(&files, pipe.Writing(), STDERR_FILENO);
  // The caller may hold signals back or ignore them; the program starts as from a shell.
  posix_spawnattr_t attributes;
  ::posix_spawnattr_init(&attributes);
  sigset_t none, all;
  ::sigemptyset(&none);
  ::sigfillset(&all);
  ::posix_spawnattr_setsigmask(&attributes, &none);
  ::posix_spawnattr_setsigdefault(&attributes, &all);
  ::posix_spawnattr_setpgroup(&attributes, 0);
  ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP);
  pid_t process = 0;
  const int error = ::posix_spawn(&process, request.program.c_str(), &files, &attributes, words.data(), ::environ);
  ::posix_spawnattr_destroy(&attributes);
  ::posix_spawn_file_actions_destroy(&files);
  Require(error, request.program);
  return process;
}

/// Reads what is there. False at the end of what is written.
bool ReadSome(int file, std::string& output) {
  char block[kBlockSize];
  const ssize_t count = ::read(file, block, sizeof block);
  if (count > 0) output.append(block, static_cast<std::size_t>(count));
  return count > 0 || (count < 0 && (errno == EINTR || errno == EAGAIN));
}

bool HasEnded(pid_t process, int& status) { return ::waitpid(process, &status, WNOHANG) == process; }

void EndGroup(pid_t process) {
  ::kill(-process, SIGTERM);
  int status = 0;
  const auto latest = std::chrono::steady_clock::now() + kPatience;
  bool ended = HasEnded(process, status);
  while (!ended && std::chrono::steady_clock::now() < latest) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    ended = HasEnded(process, status);
  }
  ::kill(-process, SIGKILL);
  while (!ended && ::waitpid(process, &status, 0) < 0 && errno == EINTR) continue;
}

}  // namespace

int kprc_ProcessCapture(const Kprc_CaptureRequest& request, std::string& output) {
  output.clear();
  Pipe pipe;
  const pid_t process = Start(request, pipe);
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
    EndGroup(process);
    throw;
  }
  // What the pipe still holds, and not what one that goes on behind the program writes into it without end.
  for (std::size_t blocks = 0, before = output.size() + 1; blocks < kMostBlocks && before != output.size(); ++blocks) {
    before = output.size();
    ReadSome(pipe.Reading(), output);
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}
