// Lists of lines and iterations in processes of their own, next to bare ways to run the same programs.
#include "batch_bench.h"

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
#include <iterator>
#include <string>
#include <vector>

#include "kcommon/kerr.h"
#include "kcommon/kfio.h"
#include "kcommon/kfnp.h"
#include "txlib/datajson.h"
#include "txlib/factories.h"
#include "txlib/model.h"
#include "txlib/portaccess.h"

namespace {

namespace tx = Tamrin::Tessera;
namespace fs = std::filesystem;
using namespace batch_bench;

constexpr int kLines = 500;

/// 500 processes of /bin/true, two at a time, started barely.
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
BENCHMARK(SpawnLines)->UseRealTime()->Unit(benchmark::kMillisecond);

/// The same by the batch manager. Asked: at most 0.15 ms a line above SpawnLines.
void ManagerOverLines(benchmark::State& state) {
  const Folder folder;
  const Words call = {kManager,
                      "-bcf",
                      folder.Write("job.bcf", R"({"command": ["/bin/true"]})"),
                      "-bls",
                      folder.Write("list.bls", ListOf(kLines)),
                      "-simul",
                      "2",
                      "-logfile",
                      folder.Path() + "/log"};
  Repeat(state, kLines, [&call] { return Succeeds(Start(call)); });
  state.SetLabel("vs SpawnLines/real_time");
}
BENCHMARK(ManagerOverLines)->UseRealTime()->Unit(benchmark::kMillisecond);

constexpr int kIterations = 1000;

std::string IteratorDocument(const std::string& items) {
  return R"({"format": "TesseraModelFormat", "version": 1,
  "ports": [{"name": "In", "alias": "each.In", "value": )" +
         items + R"(}, {"name": "Out", "alias": "each.Out"}],
  "operators": [{"id": "each", "operator": "VANTIX.Iterator", "values": {"ExecutionMethod": "OutOfProcessBatch"}, "model":
  {"ports": [{"name": "In", "alias": "keep.Input1"}, {"name": "Out", "alias": "keep.Output1"}], "operators":
  [{"id": "keep", "operator": "VANTIX.Report", "values": {"ToSessionLog": false, "ConfigString": ""}}]}}]})";
}

/// The files of a run of the iterator, kept for whoever runs the same command lines.
bool KeepFiles(const Folder& folder, const std::string& document) {
  const std::string shell =
      folder.Write("shell",
                   "#!/bin/sh\nlist=$(printf %s \"$2\" | sed 's/.*-bls \"\\([^\"]*\\)\".*/\\1/')\n"
                   "cp -r \"${list%/*}\" '" +
                       folder.Path() + "/kept'\nexit 1\n");
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

/// The processes of a thousand empty iterations, started by xargs, two at a time.
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

/// The same by an iterator. Asked: at most 1.15 of XargsOverIterations.
void IterateInProcesses(benchmark::State& state) {
  const Folder folder;
  const std::string document = folder.Write("m.tsmx", IteratorDocument(IteratorItems()));
  Repeat(state, kIterations, [&document] {
    return Succeeds(Start({TESSERA_PROGRAM, "run", document, "--quiet", "--pref", "batch/num_simul_cmd_sets=2"}));
  });
  state.SetLabel("vs XargsOverIterations/iterations:1/real_time");
}
BENCHMARK(IterateInProcesses)->UseRealTime()->Unit(benchmark::kMillisecond)->Iterations(1);

/// A shell that copies each input file's item to the output file.
std::string WriteShell(const Folder& folder) {
  const std::string shell = folder.Write(
      "shell",
      "#!/usr/bin/python3\nimport sys\nlist = sys.argv[2].split('-bls \"')[1].split('\"')[0]\n"
      "for line in open(list).read().splitlines()[1:]:\n"
      "    given, made = [word[1:-1] for word in line.split('\\t')[1:3]]\n"
      "    text = open(given).read()\n"
      "    at = text.index('\"In\"')\n"
      "    open(made, 'w').write('{\"Outputs\": [{\"Name\": \"Out\"' + text[at + 4:text.rindex(']')] + ']}')\n");
  ::chmod(shell.c_str(), 0700);
  return shell;
}

/// The same files of items of 1 kB, written and read barely around the same shell. What they take is the file system's:
/// one that skips the places of files that were deleted a moment ago takes ten times as long as others.
void FilesOfIterations(benchmark::State& state) {
  const Folder folder;
  const std::string shell = WriteShell(folder);
  const auto name = [&folder](const char* kind, int i) { return folder.Path() + kind + std::to_string(i) + ".json"; };
  const std::string before =
                        R"({"Inputs":[{"Name":"In","Data":{"Type":"VANTIX.String","Value":")" + std::string(1000, 'x'),
                    after = R"("}}],"Method":"Synchronous"})";
  Repeat(state, kIterations, [&] {
    std::string list = "MODEL_FILENAME\tINPUTS_FILENAME\tOUTPUTS_FILENAME\tCONCURRENCY\n";
    for (int i = 0; i < kIterations; ++i) {
      const std::string input = name("/Inputs-", i);
      std::ofstream(input, std::ios::binary) << before << i << after;
      list += "'model'\t'" + input + "'\t'" + name("/Outputs-", i) + "'\t2\n";
    }
    bool good = Succeeds(Start({shell, "/C", "-bls \"" + folder.Write("list", list) + "\""}));
    for (int i = 0; i < kIterations; ++i) {
      std::ifstream stream(name("/Outputs-", i), std::ios::binary);
      good = !std::string(std::istreambuf_iterator<char>(stream), {}).empty() && good;
    }
    return good;
  });
}
BENCHMARK(FilesOfIterations)->UseRealTime()->Unit(benchmark::kMillisecond);

/// An iterator by the batch method. Everything but the processes is in it.
boost::shared_ptr<tx::Model> OpenIterator(const Folder& folder) {
  kerr_SetSessionLogSink({});
  ::setenv("ComSpec", WriteShell(folder).c_str(), 1);
  const std::string text = IteratorDocument("[]");
  return tx::ModelFormatFactory::OpenFromBuffer(std::wstring(text.begin(), text.end()), L"TesseraModelFormat");
}

/// Files for items of 1 kB, and what comes back. Asked: under 100 us an iteration, FilesOfIterations in it.
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
  state.SetLabel("vs FilesOfIterations/real_time");
}
BENCHMARK(PrepareAndGather)->UseRealTime()->Unit(benchmark::kMillisecond);

constexpr int kTableRows = 4'000'000;

/// A table whose JSON has about 100 MB.
boost::shared_ptr<tx::Data> BigTable() {
  std::string text = R"({"Type": "VANTIX.Table", "Value": {"NumberType": 10, "Values": [0)";
  for (int i = 1; i < kTableRows; ++i) text += "," + std::to_string(i) + ".1428571428571";
  tx::JsonValue json;
  boost::shared_ptr<tx::Data> data;
  std::wstring error;
  if (!json.DeserializeUtf8(text + "]}}", false, nullptr) || !tx::DataFromTypedJson(json, data, error)) std::abort();
  return data;
}

/// A table as JSON: turned into text, written, read and turned back, once.
void WriteAndReadTable(benchmark::State& state) {
  const Folder folder;
  const auto table = BigTable();
  const std::wstring file = kfnp_FromNative(folder.Path() + "/table.json");
  Repeat(state, 1, [&] {
    tx::JsonValue json, read;
    if (!tx::DataToTypedJson(table, json)) return false;
    kfio::WriteBytes(file, json.SerializeUtf8(true));
    boost::shared_ptr<tx::Data> again;
    std::wstring error;
    return read.DeserializeUtf8(kfio::ReadBytes(file), false, nullptr) && tx::DataFromTypedJson(read, again, error);
  });
}
BENCHMARK(WriteAndReadTable)->UseRealTime()->Unit(benchmark::kMillisecond)->Iterations(1);

/// An iteration over such a table. Asked: at most 2 of WriteAndReadTable. The process has the table as its input and
/// gives the number of its rows.
void TableAsInput(benchmark::State& state) {
  kerr_SetSessionLogSink({});
  const Folder folder;
  ::setenv("ComSpec", (fs::path(TESSERA_PROGRAM).parent_path() / "comspec").c_str(), 1);
  const std::string text = R"({"format": "TesseraModelFormat", "version": 1,
  "ports": [{"name": "In", "alias": "each.In"}, {"name": "Out", "alias": "each.Out"}],
  "operators": [{"id": "each", "operator": "VANTIX.Iterator", "values": {"ExecutionMethod": "OutOfProcessBatch"}, "model":
  {"ports": [{"name": "In", "alias": "eq.Data"}, {"name": "Out", "alias": "eq.IsEmpty"}], "operators":
  [{"id": "eq", "operator": "VANTIX.IsEmpty"}]}}]})";
  const auto model =
      tx::ModelFormatFactory::OpenFromBuffer(std::wstring(text.begin(), text.end()), L"TesseraModelFormat");
  const auto table = BigTable();
  Repeat(state, 1, [&] {
    model->GetPort(L"In")->SetData(tx::MakeData<tx::DataListData>(tx::DataList{table}));
    model->Execute();
    return model->GetPort(L"Out")->GetExistingData() != nullptr;
  });
  ::unsetenv("ComSpec");
  state.SetLabel("vs WriteAndReadTable/iterations:1/real_time");
}
BENCHMARK(TableAsInput)->UseRealTime()->Unit(benchmark::kMillisecond)->Iterations(1);

}  // namespace
