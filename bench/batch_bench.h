#pragma once

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

// What the benchmarks of lists share.
namespace batch_bench {

namespace fs = std::filesystem;
using Words = std::vector<std::string>;

inline const std::string kManager = fs::path(TESSERA_PROGRAM).parent_path() / "batchprocess.exe";

/// A folder that goes with the benchmark.
class Folder {
 public:
  Folder() {
    std::string name = (fs::temp_directory_path() / "tessera-bench-batch-XXXXXX").string();
    if (!::mkdtemp(name.data())) std::abort();
    path_ = name;
  }
  ~Folder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  std::string Write(const std::string& name, const std::string& text) const {
    std::ofstream(path_ + "/" + name, std::ios::binary) << text;
    return path_ + "/" + name;
  }
  const std::string& Path() const { return path_; }

 private:
  std::string path_;
};

inline pid_t Start(const Words& words, int input = -1) {
  std::vector<char*> arguments;
  for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  if (input >= 0) posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
  for (const int stream : {STDOUT_FILENO, STDERR_FILENO})
    posix_spawn_file_actions_addopen(&actions, stream, "/dev/null", O_WRONLY, 0);
  pid_t child = 0;
  const int failure = posix_spawnp(&child, arguments[0], &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  return failure == 0 ? child : -1;
}

inline bool Succeeds(pid_t child) {
  int status = -1;
  return child > 0 && ::waitpid(child, &status, 0) == child && status == 0;
}

inline std::string ListOf(std::size_t count, const std::string& column = "A") {
  std::string text = column + "\n";
  for (std::size_t i = 0; i < count; ++i) text += std::to_string(i) + "\n";
  return text;
}

inline void Repeat(benchmark::State& state, std::int64_t items, const std::function<bool()>& work) {
  for (auto _ : state) {
    if (work()) continue;
    state.SkipWithError("could not be run");
    break;
  }
  state.SetItemsProcessed(state.iterations() * items);
}

}  // namespace batch_bench
