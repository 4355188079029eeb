#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "kcommon/kprc.h"

namespace {

/// What the new process needs; made before it is there, since between vfork and exec it shares this one's memory.
struct Plan {
  const Kprc_StartRequest& request;
  char* const* words;
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
  ::execve(plan.words[0], plan.words, ::environ);
  return errno;
}

/// Apart, so that the new process, which uses the same stack, changes nothing that the caller keeps there.
__attribute__((noinline)) pid_t Start(const Plan& plan, volatile int& failure) {
  const pid_t process = ::vfork();
  if (process == 0) {
    failure = Become(plan);
    ::_exit(127);
  }
  if (process < 0) failure = errno;
  return process;
}

}  // namespace

int kprc_ProcessStart(const Kprc_StartRequest& request) {
  std::vector<char*> words{const_cast<char*>(request.program.c_str())};
  for (const std::string& argument : request.arguments) words.push_back(const_cast<char*>(argument.c_str()));
  words.push_back(nullptr);
  const int nothing = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
  if (nothing < 0) throw std::system_error(errno, std::generic_category(), "/dev/null");
  // No handler of this process may run in the new one.
  sigset_t all, before;
  ::sigfillset(&all);
  ::pthread_sigmask(SIG_SETMASK, &all, &before);
  volatile int failure = 0;
  const pid_t process = Start({request, words.data(), ::getpid(), nothing}, failure);
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
  ::close(nothing);
  if (failure == 0) return process;
  while (process > 0 && ::waitpid(process, nullptr, 0) < 0 && errno == EINTR) continue;
  throw std::system_error(failure, std::generic_category(), request.program);
}
