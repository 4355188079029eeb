#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "batch/localexecutor.h"
#include "batch/slurmexecutor.h"
#include "rundirectory.h"

namespace korven::batch {

namespace {

constexpr int kFailed = 1;

std::string EnvironmentText(const char* name) {
  const char* const text = std::getenv(name);
  return text ? text : "";
}

/// A task that is cancelled has its lines signalled along with it, in any order: a line that the signal ended has not
/// failed. True where the signal has come for this process as well, within a while.
bool IsCancelled() {
  sigset_t stops;
  ::sigemptyset(&stops);
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) ::sigaddset(&stops, number);
  constexpr timespec kWhile{0, 300'000'000};
  const int number = ::sigtimedwait(&stops, nullptr, &kWhile);
  if (number > 0) ::kill(::getpid(), number);  // for whoever waits for it
  return number > 0;
}

}  // namespace

int RunSlurmTask(const std::string& directory, unsigned round, const std::string& jobName) {
  const RunDirectory files(directory);
  const std::string node = EnvironmentText("SLURMD_NODENAME");
  if (files.ReadJobName() != jobName) {
    std::printf("%s: %s: the directory is another run's by now\n", node.c_str(), jobName.c_str());
    return kFailed;
  }
  const std::size_t task = std::strtoul(EnvironmentText("SLURM_ARRAY_TASK_ID").c_str(), nullptr, 10);
  const std::string folder = files.ReadWorkingFolder();
  if (::chdir(folder.c_str()) != 0) {
    std::printf("%s: %s: %s\n", node.c_str(), folder.c_str(), std::strerror(errno));
    return kFailed;
  }
  const Commands commands = files.ReadCommands();
  std::vector<CommandLine> lines;
  for (const std::size_t number : files.ReadRound(round).LinesOf(task)) {
    // An earlier attempt did finish it, before its node was lost.
    if (::access(files.ResultFile(round, number).c_str(), F_OK) == 0) continue;
    if (number < commands.size() && !commands[number].empty()) lines.push_back({number, commands[number], {}});
  }
  bool allDone = true;
  ExecutorRun run;
  run.begun = [&node](const CommandLine& line) {
    std::printf("%s: line %zu\n", node.c_str(), line.number);
    std::fflush(stdout);
  };
  run.ended = [&](const LineEnd& end) {
    if (end.failure.rfind("signal ", 0) == 0 && IsCancelled()) return;
    allDone = allDone && end.failure.empty();
    files.WriteResult(round, {end.line->number, end.failure, end.seconds, node, end.output, end.errors});
  };
  const int number = RunLocally(lines, run);
  if (number != 0) return 128 + number;
  return allDone ? 0 : kFailed;
}

}  // namespace korven::batch
