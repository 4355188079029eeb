// Whole processes: the start-up of the program next to that of one that does nothing, and to a program of rasters.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

const std::string kFolder =
    (std::filesystem::temp_directory_path() / ("tessera-bench-" + std::to_string(getpid()))).string();

struct Folder {
  Folder() { std::filesystem::create_directories(kFolder); }
  ~Folder() { std::filesystem::remove_all(kFolder); }
} const kKeeper;

std::string Write(const std::string& name, const std::string& text) {
  const std::string path = kFolder + "/" + name;
  std::ofstream(path) << text;
  return path;
}

/// False where the program can't be started or fails.
bool Run(const std::vector<std::string>& words) {
  std::vector<char*> arguments;
  for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  for (const int stream : {STDOUT_FILENO, STDERR_FILENO})
    posix_spawn_file_actions_addopen(&actions, stream, "/dev/null", O_WRONLY, 0);
  pid_t child = 0;
  const int started = posix_spawnp(&child, arguments[0], &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  int status = -1;
  return started == 0 && waitpid(child, &status, 0) == child && status == 0;
}

void Repeat(benchmark::State& state, const std::vector<std::string>& words) {
  for (auto _ : state) {
    if (Run(words)) continue;
    state.SkipWithError((words[0] + " could not be run").c_str());
    break;
  }
}

void HelloProcess(benchmark::State& state) { Repeat(state, {HELLO_PROGRAM}); }
BENCHMARK(HelloProcess)->UseRealTime()->Unit(benchmark::kMicrosecond);

std::vector<std::string> ThreeOperators() {
  const std::string document = Write("three.tsmx", R"({"format": "TesseraModelFormat", "version": 1,
  "operators": [{"id": "a", "operator": "VANTIX.ToString", "values": {"Data": 1.5}},
                {"id": "b", "operator": "VANTIX.ToString"}, {"id": "c", "operator": "VANTIX.ToString"}],
  "connections": [{"from": "a.String", "to": "b.Data"}, {"from": "b.String", "to": "c.Data"}],
  "ports": [{"name": "Out", "alias": "c.String"}]})");
  return {TESSERA_PROGRAM, "run", document};
}

/// Asked: at most five of the program that does nothing.
void RunThreeOperators(benchmark::State& state) {
  Repeat(state, ThreeOperators());
  state.SetLabel("vs HelloProcess/real_time");
}
BENCHMARK(RunThreeOperators)->UseRealTime()->Unit(benchmark::kMicrosecond);

/// Names of units are built in: no library or database is opened for them.
void AskForUnits(benchmark::State& state) {
  Repeat(state, {FIRST_CRS_PROGRAM, "units"});
  state.SetLabel("vs HelloProcess/real_time");
}
BENCHMARK(AskForUnits)->UseRealTime()->Unit(benchmark::kMicrosecond);

void FirstCrsOfProj(benchmark::State& state) { Repeat(state, {FIRST_PROJ_PROGRAM}); }
BENCHMARK(FirstCrsOfProj)->UseRealTime()->Unit(benchmark::kMicrosecond);

void FirstCrs(benchmark::State& state) {
  Repeat(state, {FIRST_CRS_PROGRAM, "crs"});
  state.SetLabel("vs FirstCrsOfProj/real_time");
}
BENCHMARK(FirstCrs)->UseRealTime()->Unit(benchmark::kMicrosecond);

/// Asked: at least four of RunThreeOperators.
void TranslateSmallRaster(benchmark::State& state) {
  std::string grid = "ncols 16\nnrows 16\nxllcorner 0\nyllcorner 0\ncellsize 1\n";
  for (int i = 0; i < 256; ++i) grid += std::to_string(i) + (i % 16 == 15 ? "\n" : " ");
  Repeat(state, {"gdal_translate", "-q", Write("small.asc", grid), kFolder + "/small.tif"});
  state.SetLabel("vs RunThreeOperators/real_time");
}
BENCHMARK(TranslateSmallRaster)->UseRealTime()->Unit(benchmark::kMicrosecond);

}  // namespace
