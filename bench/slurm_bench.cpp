// Lists on a Slurm cluster of this machine's own, next to the same scripts started by hand.
#include <chrono>
#include <thread>

#include "batch/testcluster.h"
#include "batch_bench.h"

namespace {

using namespace batch_bench;

bool IsMissing(benchmark::State& state) {
  const std::string& why = TestCluster::Get().Missing();
  if (!why.empty()) state.SkipWithError(why.c_str());
  return !why.empty();
}

/// The manager over so many lines of /bin/true, 12 at a time.
Words CallOf(const Folder& folder, const std::string& executor, std::size_t lines, int perTask) {
  folder.Write("preferences.json", R"({"batch": {"executor": {"Type": "enumeration", "Value": ")" + executor +
                                       R"("}, "slurm_lines_per_task": {"Type": "number", "Value": )" +
                                       std::to_string(perTask) + "}}}");
  ::setenv("TESSERA_PREFERENCES", (folder.Path() + "/preferences.json").c_str(), 1);
  return {kManager,
          "-bcf",
          folder.Write("job.bcf", R"({"command": ["/bin/true"]})"),
          "-bls",
          folder.Write("list.bls", ListOf(lines)),
          "-simul",
          "12",
          "-logfile",
          folder.Path() + "/log"};
}

constexpr int kFew = 120, kPerTask = 10, kMany = 1000;

/// 120 trivial lines as an array of 12 tasks.
void ArrayByHand(benchmark::State& state) {
  if (IsMissing(state)) return;
  const Folder folder;
  const std::string script = folder.Write("task.sh",
                                          "#!/bin/sh\nfor i in 0 1 2 3 4 5 6 7 8 9; do /bin/true; done\n"
                                          "touch \"$1/done-$SLURM_ARRAY_TASK_ID\"\n");
  Repeat(state, kFew, [&] {
    for (int i = 0; i < kFew / kPerTask; ++i) ::unlink((folder.Path() + "/done-" + std::to_string(i)).c_str());
    if (!Succeeds(Start({"sbatch", "--output=/dev/null", "--array=0-11%12", script, folder.Path()}))) return false;
    for (int i = 0; i < kFew / kPerTask; ++i) {
      while (::access((folder.Path() + "/done-" + std::to_string(i)).c_str(), F_OK) != 0)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
  });
}
BENCHMARK(ArrayByHand)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1)
    ->Repetitions(5)
    ->ReportAggregatesOnly();

/// The same by the batch manager. Asked: at most 1.5 of ArrayByHand.
void ManagerInBlocksOfTen(benchmark::State& state) {
  if (IsMissing(state)) return;
  const Folder folder;
  const Words call = CallOf(folder, "slurm", kFew, kPerTask);
  Repeat(state, kFew, [&call] { return Succeeds(Start(call)); });
  ::unsetenv("TESSERA_PREFERENCES");
  state.SetLabel("vs ArrayByHand/iterations:1/repeats:5/real_time");
}
BENCHMARK(ManagerInBlocksOfTen)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1)
    ->Repetitions(5)
    ->ReportAggregatesOnly();

/// 1,000 trivial lines by the batch manager, here and in blocks that it chooses. Asked of the second: under 10 ms a
/// line above the first.
void ManagerOverManyLines(benchmark::State& state, const char* executor) {
  if (IsMissing(state)) return;
  const Folder folder;
  const Words call = CallOf(folder, executor, kMany, 0);
  Repeat(state, kMany, [&call] { return Succeeds(Start(call)); });
  ::unsetenv("TESSERA_PREFERENCES");
}
BENCHMARK_CAPTURE(ManagerOverManyLines, local, "local")->UseRealTime()->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK_CAPTURE(ManagerOverManyLines, slurm, "slurm")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1)
    ->Repetitions(5)
    ->ReportAggregatesOnly();

}  // namespace
