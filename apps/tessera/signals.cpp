#include "signals.h"

#include <dirent.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <mutex>
#include <string>
#include <thread>

#include "kcommon/filelock.h"
#include "kcommon/kfio.h"
#include "kcommon/kprc.h"
#include "progress.h"

namespace TesseraProgram {

using Tamrin::Tessera::ExecutionEnvironment;

namespace {

constexpr auto kPatience = std::chrono::milliseconds(500);
constexpr auto kMostPatience = std::chrono::seconds(6);
std::atomic<int> received{0};
std::mutex environmentMutex;
boost::shared_ptr<ExecutionEnvironment>& Environment() {
  static auto& environment = *new boost::shared_ptr<ExecutionEnvironment>;
  return environment;
}

sigset_t MakeSignals() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGINT);
  sigaddset(&set, SIGTERM);
  // Whoever has it ignored, as nohup does, wants the run to outlive its terminal.
  struct sigaction hangup {};
  if (::sigaction(SIGHUP, nullptr, &hangup) == 0 && hangup.sa_handler != SIG_IGN) sigaddset(&set, SIGHUP);
  return set;
}

const sigset_t& Signals() {
  static const sigset_t set = MakeSignals();
  return set;
}

template <typename Visit>
void ForEachIn(const std::string& folder, const Visit& visit) {
  DIR* const entries = ::opendir(folder.c_str());
  if (!entries) return;
  while (const dirent* entry = ::readdir(entries)) visit(std::string(entry->d_name));
  ::closedir(entries);
}

void EndChildren() {
  ForEachIn("/proc/self/task", [](const std::string& thread) {
    std::ifstream children("/proc/self/task/" + thread + "/children");
    for (pid_t child = 0; children >> child;) {
      // A child that leads a group takes its own children with it.
      if (::getpgid(child) == child) ::kill(-child, SIGKILL);
      ::kill(child, SIGKILL);
    }
  });
}

void Watch() {
  int number = 0;
  while (::sigwait(&Signals(), &number) != 0) {
  }
  received = number;
  {
    const std::lock_guard lock(environmentMutex);
    if (Environment()) Environment()->Cancel();
  }
  std::this_thread::sleep_for(kPatience);
  // A program that was started is given the time to end what it started itself.
  const auto latest = std::chrono::steady_clock::now() + kMostPatience;
  while (kprc_IsEnding() && std::chrono::steady_clock::now() < latest) std::this_thread::sleep_for(kPatience);
  Progress::Wipe();
  EndChildren();
  kfio::AbandonWrites();
  korven::common::FileLock::ReleaseAll();
  ExecutionEnvironment::RemoveTemporaryFolders();
  ::_exit(128 + number);
}

}  // namespace

SignalWatch::SignalWatch() {
  ::pthread_sigmask(SIG_BLOCK, &Signals(), nullptr);
  ::signal(SIGCHLD, SIG_DFL);  // ignored, it would take the exit statuses of started programs with it
  std::thread(&Watch).detach();
}

void SignalWatch::SetEnvironment(const boost::shared_ptr<ExecutionEnvironment>& environment) {
  const std::lock_guard lock(environmentMutex);
  Environment() = environment;
  if (environment && received) environment->Cancel();
}

int SignalWatch::Received() { return received; }

void SignalWatch::LeaveIfSignalled() {
  if (!received) return;
  std::fflush(stdout);
  std::fflush(stderr);
  EndChildren();
  korven::common::FileLock::ReleaseAll();
  ExecutionEnvironment::RemoveTemporaryFolders();
  ::_exit(128 + received);
}

}  // namespace TesseraProgram
