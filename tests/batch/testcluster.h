#pragma once

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

/// A Slurm cluster on this machine, for all tests of the program that ask for it; it goes with the program.
class TestCluster {
 public:
  /// Started on first need; SLURM_CONF leads to it then.
  static const TestCluster& Get() {
    static const TestCluster cluster;
    return cluster;
  }
  /// Why there is none; empty where there is.
  const std::string& Missing() const { return missing_; }

 private:
  TestCluster() {
    int in[2], out[2];
    if (::pipe2(in, O_CLOEXEC) != 0 || ::pipe2(out, O_CLOEXEC) != 0) std::abort();
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
    const char* words[] = {"python3", "-B", SLURM_CLUSTER, nullptr};
    const int failure =
        ::posix_spawnp(&process_, words[0], &actions, nullptr, const_cast<char* const*>(words), ::environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(in[0]);
    ::close(out[1]);
    held_ = in[1];
    std::string said;
    char c = 0;
    while (failure == 0 && ::read(out[0], &c, 1) == 1 && c != '\n') said += c;
    ::close(out[0]);
    const std::string conf = "SLURM_CONF=";
    if (said.compare(0, conf.size(), conf) != 0) {
      missing_ = said.empty() ? "the cluster did not start" : said;
      return;
    }
    ::setenv("SLURM_CONF", said.c_str() + conf.size(), 1);
    ::setenv("PATH", (std::string(std::getenv("PATH")) + ":/usr/sbin:/sbin").c_str(), 1);
  }
  ~TestCluster() {
    ::close(held_);
    if (process_ > 0) ::waitpid(process_, nullptr, 0);
  }
  TestCluster(const TestCluster&) = delete;
  TestCluster& operator=(const TestCluster&) = delete;

  pid_t process_ = -1;
  int held_ = -1;
  std::string missing_;
};
