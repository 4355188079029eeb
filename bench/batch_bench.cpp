// Lists of lines and iterations in processes of their own, next to bare ways to run the same programs.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "kcommon/kerr.h"
#include "kcommon/kfio.h"
#include "kcommon/kfnp.h"
#include "kcommon/kgda.h"
#include "kcommon/kpmg.h"
#include "txbasiclib/basicvalues.h"
#include "txbasiclib/table.h"
#include "txlib/datajson.h"
#include "txlib/factories.h"
#include "txlib/model.h"
#include "txlib/portaccess.h"

namespace {

namespace tx = Tamrin::Tessera;
namespace fs = std::filesystem;
using Words = std::vector<std::string>;

const std::string kHome = fs::path(TESSERA_PROGRAM).parent_path().parent_path().parent_path();
const std::string kManager = fs::path(TESSERA_PROGRAM).parent_path() / "batchprocess.exe";

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

pid_t Start(const Words& words, int input = -1) {
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

bool Succeeds(pid_t child) {
  int status = -1;
  return child > 0 && ::waitpid(child, &status, 0) == child && status == 0;
}

std::string ListOf(std::size_t count, const std::string& column = "A") {
  std::string text = column + "\n";
  for (std::size_t i = 0; i < count; ++i) text += std::to_string(i) + "\n";
  return text;
}

void Repeat(benchmark::State& state, std::int64_t items, const std::function<bool()>& work) {
  for (auto _ : state) {
    if (work()) continue;
    state.SkipWithError("could not be run");
    break;
  }
  state.SetItemsProcessed(state.iterations() * items);
}

constexpr int kLines = 500;

void SpawnLines(benchmark::State& state) {
  Repeat(state, kLines, [] {
    int started = 0, running = 0;
    bool good = true;
    while (started < kLines || running > 0) {
      for (; running < 2 && started < kLines; ++started, ++running) good = Start({"/bin/true"}) > 0 && good;
      int status = 0;
      good = ::wait(&status) > 0 && status == 0 && good;
      --running;
    }
    return good;
  });
}
BENCHMARK(SpawnLines)->UseRealTime()->Unit(benchmark::kMillisecond)->Repetitions(3)->ReportAggregatesOnly();

/// Asked: at most 0.15 ms a line above SpawnLines.
void ManagerOverLines(benchmark::State& state) {
  const Folder folder;
  const Words call = {kManager, "-bcf", folder.Write("job.bcf", R"({"command": ["/bin/true"]})"),
                      "-bls",   folder.Write("list.bls", ListOf(kLines)),
                      "-simul", "2",
                      "-logfile", folder.Path() + "/log"};
  Repeat(state, kLines, [&call] { return Succeeds(Start(call)); });
  state.SetLabel("vs SpawnLines/real_time");
}
BENCHMARK(ManagerOverLines)->UseRealTime()->Unit(benchmark::kMillisecond)->Repetitions(3)->ReportAggregatesOnly();

constexpr int kIterations = 1000;

std::string IteratorDocument(const std::string& items) {
  return R"({"format": "TesseraModelFormat", "version": 1,
  "ports": [{"name": "In", "alias": "each.In", "value": )" + items + R"(}, {"name": "Out", "alias": "each.Out"}],
  "operators": [{"id": "each", "operator": "VANTIX.Iterator", "values": {"ExecutionMethod": "OutOfProcessBatch"}, "model":
  {"ports": [{"name": "In", "alias": "keep.Input1"}, {"name": "Out", "alias": "keep.Output1"}], "operators":
  [{"id": "keep", "operator": "VANTIX.Report", "values": {"ToSessionLog": false, "ConfigString": ""}}]}}]})";
}

/// The files of a run of the iterator, kept for whoever runs the same command lines.
bool KeepFiles(const Folder& folder, const std::string& document) {
  const std::string shell = folder.Write("shell", "#!/bin/sh\nlist=$(printf %s \"$2\" | sed 's/.*-bls \"\\([^\"]*\\)\".*/\\1/')\n"
                                                  "cp -r \"${list%/*}\" '" + folder.Path() + "/kept'\nexit 1\n");
  ::chmod(shell.c_str(), 0700);
  const char* const before = std::getenv("ComSpec");
  const std::string old = before ? before : "";
  ::setenv("ComSpec", shell.c_str(), 1);
  Succeeds(Start({TESSERA_PROGRAM, "run", document, "--quiet"}));
  before ? ::setenv("ComSpec", old.c_str(), 1) : ::unsetenv("ComSpec");
  return fs::exists(folder.Path() + "/kept");
}

std::string IteratorItems() {
  std::string items = "[0";
  for (int i = 1; i < kIterations; ++i) items += "," + std::to_string(i);
  return items + "]";
}

void XargsOverIterations(benchmark::State& state) {
  const Folder folder;
  const std::string document = folder.Write("m.tsmx", IteratorDocument(IteratorItems()));
  if (!KeepFiles(folder, document)) {
    state.SkipWithError("the iterator could not be run");
    return;
  }
  const std::string stem = folder.Path() + "/kept/Model-IteratorExecutionMethodOutOfProcessBatch";
  std::string words;
  for (int i = 0; i < kIterations; ++i) {
    const std::string number = std::to_string(i);
    words += stem + ".tsmx --inputs " + stem + "-Inputs-" + number + ".json --outputs " + stem + "-Outputs-" + number +
             ".json --threads 2 --progress none\n";
  }
  const std::string list = folder.Write("words", words);
  Repeat(state, kIterations, [&list] {
    const int input = ::open(list.c_str(), O_RDONLY | O_CLOEXEC);
    const bool good = Succeeds(Start({"xargs", "-P2", "-L1", TESSERA_PROGRAM, "run"}, input));
    ::close(input);
    return good;
  });
}
BENCHMARK(XargsOverIterations)->UseRealTime()->Unit(benchmark::kMillisecond)->Iterations(1);

/// Asked: at most 1.15 of XargsOverIterations.
void IterateInProcesses(benchmark::State& state) {
  const Folder folder;
  const std::string document = folder.Write("m.tsmx", IteratorDocument(IteratorItems()));
  Repeat(state, kIterations, [&document] {
    return Succeeds(Start({TESSERA_PROGRAM, "run", document, "--quiet", "--pref", "batch/num_simul_cmd_sets=2"}));
  });
  state.SetLabel("vs XargsOverIterations/iterations:1/real_time");
}
BENCHMARK(IterateInProcesses)->UseRealTime()->Unit(benchmark::kMillisecond)->Iterations(1);

/// An iterator by the batch method, with a shell that copies each input file's item to the output file. Everything but
/// the processes is in it.
boost::shared_ptr<tx::Model> OpenIterator(const Folder& folder) {
  kerr_SetSessionLogSink({});
  ::setenv("ComSpec",
           folder.Write("shell", "#!/usr/bin/python3\nimport json, sys\nlist = sys.argv[2].split('-bls \"')[1].split('\"')[0]\n"
                                 "for line in open(list).read().splitlines()[1:]:\n"
                                 "    given, made = [word[1:-1] for word in line.split('\\t')[1:3]]\n"
                                 "    text = open(given).read()\n"
                                 "    at = text.index('\"In\"')\n"
                                 "    open(made, 'w').write('{\"Outputs\": [{\"Name\": \"Out\"' + text[at + 4:text.rindex(']')] + ']}')\n")
               .c_str(),
           1);
  ::chmod((folder.Path() + "/shell").c_str(), 0700);
  const std::string text = IteratorDocument("[]");
  return tx::ModelFormatFactory::OpenFromBuffer(std::wstring(text.begin(), text.end()), L"TesseraModelFormat");
}

/// Asked: under 100 us an iteration, the copying by the shell of about 20 us in it.
void PrepareAndGather(benchmark::State& state) {
  const Folder folder;
  const char* const before = std::getenv("ComSpec");
  const std::string old = before ? before : "";
  const auto model = OpenIterator(folder);
  tx::DataList items;
  for (int i = 0; i < kIterations; ++i)
    items.push_back(tx::MakeData<tx::StringData>(std::wstring(1000, L'x') + std::to_wstring(i)));
  model->GetEnvironment()->SetNumThreads(2);
  Repeat(state, kIterations, [&] {
    model->GetPort(L"In")->SetData(tx::MakeData<tx::DataListData>(items));
    model->Execute();
    return model->GetPort(L"Out")->GetExistingData() != nullptr;
  });
  before ? ::setenv("ComSpec", old.c_str(), 1) : ::unsetenv("ComSpec");
}
BENCHMARK(PrepareAndGather)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace
