#pragma once

#include <grp.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <exception>
#include <functional>

namespace testing_support {

/// Another process, which runs a function of the test and ends with the status that it gives.
class Child {
 public:
  /// `ready`, called in the child, lets AwaitReady go on.
  using Body = std::function<int(const std::function<void()>& ready)>;
  static constexpr int kRaised = 99;

  explicit Child(const Body& body) {
    if (::pipe(pipe_) != 0) throw std::runtime_error("no pipe");
    process_ = ::fork();
    if (process_ != 0) {
      ::close(pipe_[1]);
      return;
    }
    int status = kRaised;
    try {
      status = body([this] { [[maybe_unused]] const auto written = ::write(pipe_[1], "r", 1); });
    } catch (...) {
    }
    ::_exit(status);
  }
  ~Child() {
    if (process_ > 0) Kill();
    ::close(pipe_[0]);
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  pid_t Process() const { return process_; }
  /// False where the child ended without having been ready.
  bool AwaitReady() {
    char byte = 0;
    return ::read(pipe_[0], &byte, 1) == 1;
  }
  /// Its status, or -1 where a signal ended it.
  int Wait() {
    int status = 0;
    ::waitpid(process_, &status, 0);
    process_ = 0;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
  /// At once, without a chance to clean up.
  void Kill() {
    ::kill(process_, SIGKILL);
    Wait();
  }

 private:
  int pipe_[2] = {-1, -1};
  pid_t process_ = 0;
};

/// For a child: from here on permissions count, whoever started the tests.
inline void BecomeNobody() {
  if (::geteuid() != 0) return;
  constexpr unsigned kNobody = 65534;
  if (::setgroups(0, nullptr) != 0 || ::setgid(kNobody) != 0 || ::setuid(kNobody) != 0) ::_exit(98);
}

}  // namespace testing_support
