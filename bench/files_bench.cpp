// External programs and files, next to the programs of the system that do the same.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <boost/shared_ptr.hpp>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "kcommon/kerr.h"
#include "kcommon/kfio.h"
#include "kcommon/kfnp.h"
#include "kcommon/kprc.h"
#include "kcommon/kstr.h"
#include "txlib/basicdata.h"
#include "txlib/factories.h"
#include "txlib/operator.h"

namespace {

namespace fs = std::filesystem;
using namespace Tamrin::Tessera;

class Folder {
 public:
  Folder() : path_(fs::temp_directory_path() / ("tessera-files-bench-" + std::to_string(getpid()))) {
    fs::create_directories(path_);
  }
  ~Folder() { fs::remove_all(path_); }
  std::string operator/(const std::string& name) const { return (path_ / name).string(); }

 private:
  fs::path path_;
};

/// A file of that many megabytes of lines with a letter beyond ASCII here and there.
std::string MakeText(const Folder& folder, const std::string& name, int megabytes) {
  std::string block;
  while (block.size() < (1 << 20))
    block += "A line of text, gr\xC3\xBC\xC3\x9F and all, of some eighty characters as they come.\n";
  std::ofstream stream(folder / name, std::ios::binary);
  for (int i = 0; i < megabytes; ++i) stream.write(block.data(), 1 << 20);
  return folder / name;
}

/// Reads what a program writes through a pipe, and waits for it. Negative where it fails.
long Spawn(const std::vector<std::string>& words) {
  std::vector<char*> arguments;
  for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) return -1;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, ends[1], STDERR_FILENO);
  pid_t child = 0;
  const int started = ::posix_spawnp(&child, arguments[0], &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  ::close(ends[1]);
  long size = 0;
  const std::unique_ptr<char[]> block(new char[1 << 16]);
  for (ssize_t count; started == 0 && (count = ::read(ends[0], block.get(), 1 << 16)) > 0;) size += count;
  ::close(ends[0]);
  int status = -1;
  return started == 0 && ::waitpid(child, &status, 0) == child && status == 0 ? size : -1;
}

void RepeatSpawn(benchmark::State& state, const std::vector<std::string>& words) {
  for (auto _ : state) {
    if (Spawn(words) >= 0) continue;
    state.SkipWithError((words[0] + " could not be run").c_str());
    break;
  }
}

void Repeat(benchmark::State& state, const boost::shared_ptr<Operator>& op) {
  kerr_SetSessionLogSink({});
  for (auto _ : state) {
    op->SetExecuted(false);
    op->Execute();
  }
}

boost::shared_ptr<Operator> Program(const std::wstring& executable, const std::wstring& arguments) {
  const auto op = OperatorFactory::Create(L"VANTIX", L"CommandLine");
  op->SetAttribute(L"Executable", MakeData<StringData>(executable));
  op->SetAttribute(L"ArgumentExpression", MakeData<StringData>(arguments));
  return op;
}

void SpawnTrue(benchmark::State& state) { RepeatSpawn(state, {"/bin/true"}); }
BENCHMARK(SpawnTrue)->UseRealTime()->Unit(benchmark::kMicrosecond)->Iterations(1500);

/// Asked: at most 1.2 of it.
void CommandLineTrue(benchmark::State& state) {
  Repeat(state, Program(L"/bin/true", L""));
  state.SetLabel("vs SpawnTrue/iterations:1500/real_time");
}
BENCHMARK(CommandLineTrue)->UseRealTime()->Unit(benchmark::kMicrosecond)->Iterations(1500);

/// Sixteen times 64 MB.
std::vector<std::string> ReadAGigabyte(const Folder& folder) {
  std::vector<std::string> words{"cat"};
  words.insert(words.end(), 16, MakeText(folder, "part", 64));
  return words;
}

void CatAGigabyte(benchmark::State& state) {
  const Folder folder;
  RepeatSpawn(state, ReadAGigabyte(folder));
}
BENCHMARK(CatAGigabyte)->UseRealTime()->Unit(benchmark::kMillisecond)->Iterations(3);

/// Asked: at most two of it.
void CaptureAGigabyte(benchmark::State& state) {
  const Folder folder;
  auto words = ReadAGigabyte(folder);
  Kprc_CaptureRequest request{"/bin/cat", {words.begin() + 1, words.end()}, {}, {}};
  std::size_t size = 0;
  request.take = [&size](std::string_view bytes) { size += bytes.size(); };
  for (auto _ : state) {
    std::string unused;
    kprc_ProcessCapture(request, unused);
  }
  if (size != static_cast<std::size_t>(state.iterations()) << 30) state.SkipWithError("not all of it came");
  state.SetLabel("vs CatAGigabyte/iterations:3/real_time");
}
BENCHMARK(CaptureAGigabyte)->UseRealTime()->Unit(benchmark::kMillisecond)->Iterations(3);

/// The same as wide text on a port: most of it is the time that the system takes for four gigabytes of memory.
void CommandLineCatAGigabyte(benchmark::State& state) {
  const Folder folder;
  std::wstring arguments;
  const auto words = ReadAGigabyte(folder);
  for (std::size_t i = 1; i < words.size(); ++i) arguments += L" " + kfnp_FromNative(words[i]);
  Repeat(state, Program(L"cat", arguments));
  state.SetLabel("vs CatAGigabyte/iterations:3/real_time");
}
BENCHMARK(CommandLineCatAGigabyte)->UseRealTime()->Unit(benchmark::kMillisecond)->Iterations(3);

void MakeFiles(const Folder& folder) {
  for (int i = 0; i < 100'000; ++i)
    ::close(
        ::open((folder / ("some name " + std::to_string(i) + ".tif")).c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0666));
}

void FindFiles(benchmark::State& state) {
  const Folder folder;
  MakeFiles(folder);
  RepeatSpawn(state, {"find", folder / "", "-type", "f", "-iname", "*5*.tif"});
}
BENCHMARK(FindFiles)->UseRealTime()->Unit(benchmark::kMillisecond);

/// Asked: at most 1.5 of it.
void ListFiles(benchmark::State& state) {
  const Folder folder;
  MakeFiles(folder);
  const auto op = OperatorFactory::Create(L"VANTIX", L"MultiFilenameInput");
  op->GetPort(L"Directory")->SetData(MakeData<DirectoryData>(kfnp_FromNative(folder / "")));
  op->GetPort(L"Wildcard")->SetData(MakeData<StringData>(L"*5*.tif"));
  Repeat(state, op);
  state.SetLabel("vs FindFiles/real_time");
}
BENCHMARK(ListFiles)->UseRealTime()->Unit(benchmark::kMillisecond);

void IconvText(benchmark::State& state) {
  const Folder folder;
  const std::string text = MakeText(folder, "text", 500);
  RepeatSpawn(state, {"iconv", "-f", "UTF-8", "-t", "UTF-32LE", "-o", folder / "out", text});
}
BENCHMARK(IconvText)->UseRealTime()->Unit(benchmark::kMillisecond)->Iterations(3);

/// Asked: at most one of it.
void ReadText(benchmark::State& state) {
  const Folder folder;
  const auto op = OperatorFactory::Create(L"VANTIX", L"TextFileInput");
  op->GetPort(L"Filename")->SetData(MakeData<FileData>(kfnp_FromNative(MakeText(folder, "text", 500))));
  Repeat(state, op);
  state.SetLabel("vs IconvText/iterations:3/real_time");
}
BENCHMARK(ReadText)->UseRealTime()->Unit(benchmark::kMillisecond)->Iterations(3);

void CpFile(benchmark::State& state) {
  const Folder folder;
  const std::string file = MakeText(folder, "file", 500);
  for (auto _ : state) {
    if (Spawn({"cp", "-p", file, folder / "copy"}) < 0) state.SkipWithError("cp could not be run");
    state.PauseTiming();
    fs::remove(folder / "copy");
    state.ResumeTiming();
  }
}
BENCHMARK(CpFile)->UseRealTime()->Unit(benchmark::kMillisecond)->Iterations(5);

/// Asked: at most 1.1 of it.
void CopyFile(benchmark::State& state) {
  const Folder folder;
  const auto op = OperatorFactory::Create(L"VANTIX", L"CopyFileToDirectory");
  op->GetPort(L"FilenameIn")->SetData(MakeData<FileData>(kfnp_FromNative(MakeText(folder, "file", 500))));
  op->GetPort(L"OutputDirectory")->SetData(MakeData<DirectoryData>(kfnp_FromNative(folder / "to")));
  for (auto _ : state) {
    op->SetExecuted(false);
    op->Execute();
    state.PauseTiming();
    fs::remove(folder / "to/file");
    state.ResumeTiming();
  }
  state.SetLabel("vs CpFile/iterations:5/real_time");
}
BENCHMARK(CopyFile)->UseRealTime()->Unit(benchmark::kMillisecond)->Iterations(5);

}  // namespace
