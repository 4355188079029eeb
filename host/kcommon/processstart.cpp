#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>

#include "kcommon/kprc.h"

namespace {

/// What the new process needs; made before it is there, since between vfork and exec it shares this one's memory.
struct Plan {
  const Kprc_StartRequest& request;
  char* const* words;
  char* const* environment;
  pid_t parent;
  int nothing;  ///< /dev/null
};

/// A file that lies on a standard number could be covered by another, or be closed at the exec: it moves up first.
int MoveUp(int file) { return file >= 0 && file <= STDERR_FILENO ? ::fcntl(file, F_DUPFD_CLOEXEC, 3) : file; }

/// In the new process. Gives what failed.
int Become(const Plan& plan) {
  if (plan.request.ownGroup && ::setpgid(0, 0) != 0) return errno;
  if (plan.request.signalAtEnd != 0) {
    ::prctl(PR_SET_PDEATHSIG, plan.request.signalAtEnd);
    if (::getppid() != plan.parent) return ESRCH;  // it ended before that
  }
  const int output = MoveUp(plan.request.output), errors = MoveUp(plan.request.errors);
  if (::dup2(MoveUp(plan.nothing), STDIN_FILENO) < 0) return errno;
  if (output >= 0 && ::dup2(output, STDOUT_FILENO) < 0) return errno;
  if (errors >= 0 && ::dup2(errors, STDERR_FILENO) < 0) return errno;
  // The caller may hold signals back or ignore them; the program starts as from a shell.
  struct sigaction standard {};
  standard.sa_handler = SIG_DFL;
  for (int number = 1; number < NSIG; ++number) ::sigaction(number, &standard, nullptr);
  sigset_t none;
  ::sigemptyset(&none);
  ::sigprocmask(SIG_SETMASK, &none, nullptr);
  ::execve(plan.words[0], plan.words, plan.environment);
  return errno;
}

/// Apart, so that the new process, which uses the same stack, changes nothing that the caller keeps there.
__attribute__((noinline)) pid_t Start(const Plan& plan, int telling) {
  const pid_t process = ::vfork();
  if (process == 0) {
    const int failure = Become(plan);
    // By a file, since a sanitizer may make a fork of it, whose memory is its own.
    [[maybe_unused]] const ssize_t told = ::write(telling, &failure, sizeof failure);
    ::_exit(127);
  }
  return process;
}

/// This process's environment with the request's variables in it.
std::vector<char*> EnvironmentFor(const Kprc_StartRequest& request) {
  std::vector<char*> all;
  const auto isReplaced = [&request](const char* known) {
    return std::any_of(request.variables.begin(), request.variables.end(), [known](const std::string& variable) {
      return variable.compare(0, variable.find('=') + 1, known, 0, std::strcspn(known, "=") + 1) == 0;
    });
  };
  for (char* const* known = ::environ; known && *known; ++known) {
    if (!isReplaced(*known)) all.push_back(*known);
  }
  for (const std::string& variable : request.variables) all.push_back(const_cast<char*>(variable.c_str()));
  all.push_back(nullptr);
  return all;
}

/// Closed when it goes.
struct File {
  int number = -1;
  ~File() {
    if (number >= 0) ::close(number);
  }
};

}  // namespace

int kprc_ProcessStart(const Kprc_StartRequest& request) {
  std::vector<char*> words{const_cast<char*>(request.program.c_str())};
  for (const std::string& argument : request.arguments) words.push_back(const_cast<char*>(argument.c_str()));
  words.push_back(nullptr);
  const std::vector<char*> own = request.variables.empty() ? std::vector<char*>() : EnvironmentFor(request);
  char* const* const environment = own.empty() ? ::environ : own.data();
  const File nothing{::open("/dev/null", O_RDONLY | O_CLOEXEC)};
  if (nothing.number < 0) throw std::system_error(errno, std::generic_category(), "/dev/null");
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) throw std::system_error(errno, std::generic_category(), "a pipe");
  const File told{ends[0]};
  File telling{::fcntl(ends[1], F_DUPFD_CLOEXEC, 3)};  // out of the way of the standard files
  ::close(ends[1]);
  // No handler of this process may run in the new one.
  sigset_t all, before;
  ::sigfillset(&all);
  ::pthread_sigmask(SIG_SETMASK, &all, &before);
  const pid_t process = Start({request, words.data(), environment, ::getpid(), nothing.number}, telling.number);
  int failure = process < 0 ? errno : 0;
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
  if (process > 0) {
    ::close(std::exchange(telling.number, -1));
    // Nothing comes where the program has begun: the exec closes the other end.
    ssize_t count = 0;
    while ((count = ::read(told.number, &failure, sizeof failure)) < 0 && errno == EINTR) continue;
    if (count != static_cast<ssize_t>(sizeof failure)) return process;
    while (::waitpid(process, nullptr, 0) < 0 && errno == EINTR) continue;
  }
  throw std::system_error(failure, std::generic_category(), request.program);
}
