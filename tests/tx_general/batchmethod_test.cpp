#include <gmock/gmock.h>
#include <sys/stat.h>

#include <boost/algorithm/string/predicate.hpp>
#include <boost/algorithm/string/replace.hpp>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <optional>

#include "kcommon/kfnp.h"
#include "kcommon/kpmg.h"
#include "korvenlog/exception.h"
#include "tx_general/iteratorloop.h"
#include "txbasiclib/basicvalues.h"
#include "txlib/factories.h"
#include "txlib/jsonvalue.h"

// The method that hands iterations to the batch manager, with a shell in the place of the installation's that notes
// what it is given and puts down the outputs that a test asks for.
namespace {

using namespace testing_support;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

const wchar_t* const kBatch = L"OutOfProcessBatch";

constexpr const char* kShell = R"SHELL(#!/bin/sh
cd "$BATCH_TEST"
printf '%s\n' "$@" > call
list=$(printf '%s' "$2" | sed 's/.*-bls "\([^"]*\)".*/\1/')
stem=${list%.bls}
printf '%s' "$stem" > stem
mkdir files
cp "$stem"* files
i=0
while [ -e "out-$i" ]; do cp "out-$i" "$stem-Outputs-$i.json"; i=$((i + 1)); done
exit ${BATCH_STATUS:-0}
)SHELL";

std::string Output(const std::string& name, const std::string& data) {
  return R"({"Outputs": [{"Name": "Other", "Data": null}, {"Name": ")" + name + R"(", "Data": )" + data + "}]}";
}

class BatchMethod : public ::testing::Test {
 protected:
  BatchMethod() {
    folder_.Write("shell", kShell);
    ::chmod((folder_.Path() + "/shell").c_str(), 0700);
    ::setenv("ComSpec", (folder_.Path() + "/shell").c_str(), 1);
    ::setenv("BATCH_TEST", folder_.Path().c_str(), 1);
    ::unsetenv("BATCH_STATUS");
    kpmg::ClearAll();
  }
  ~BatchMethod() override {
    ::unsetenv("ComSpec");
    kpmg::ClearAll();
  }
  void WillWrite(const std::vector<std::string>& outputs) {
    for (std::size_t i = 0; i < outputs.size(); ++i) folder_.Write("out-" + std::to_string(i), outputs[i]);
  }
  void WillGive(int count) {
    std::vector<std::string> outputs;
    for (int i = 0; i < count; ++i)
      outputs.push_back(Output("Out", R"({"Type": "VANTIX.Int", "Value": )" + std::to_string(i * 10) + "}"));
    WillWrite(outputs);
  }
  std::string Stem() const { return folder_.Read("stem"); }
  std::string Name() const { return std::filesystem::path(Stem()).filename().string(); }
  /// What the shell found beside the model.
  std::string Seen(const std::string& ending) const { return folder_.Read("files/" + Name() + ending); }
  /// Text of the exception that a run ends with.
  static std::string Failure(Loop& loop) {
    try {
      loop.host.GetModel()->Execute();
      return "nothing was raised";
    } catch (const KorvenLog::Exception& error) {
      return kstr_ToUtf8(error.get_What());
    } catch (const std::exception& error) {
      return error.what();
    }
  }

  const TemporaryFolder folder_;
};

TEST_F(BatchMethod, FilesAndCallOfARun) {
  WillGive(2);
  const auto before = std::time(nullptr);
  Loop loop(kBatch);
  loop.host.Set(L"each.Second", L"x");
  EXPECT_EQ(loop.RunWith(Numbers(2)), L"[0, 10]");
  const std::string home = std::getenv("VANTIX_HOME"), stem = Stem(), archm = std::getenv("ARCHM");
  const std::string call = folder_.Read("call");
  const std::string begin = "/C\n\"set VANTIX_BATCH_RUN=1 && set VANTIX_BATCH_SUBMITTIME=";
  ASSERT_TRUE(boost::starts_with(call, begin)) << call;
  const auto submitted = std::stoll(call.substr(begin.size()));
  EXPECT_GE(submitted, before);
  EXPECT_LE(submitted, std::time(nullptr));
  EXPECT_EQ(call.substr(begin.size() + std::to_string(submitted).size()),
            " && " + home + "\\bin\\" + archm + "\\batchprocess.exe -bcf \"" + home +
                "\\etc\\models\\IteratorExecutionMethodOutOfProcessBatch.bcf\" -bls \"" + stem +
                ".bls\" -simul 1 -logfile \"" + stem + ".log\"\"\n");
  EXPECT_EQ(Name(), kstr_ToUtf8(L"Model-IteratorExecutionMethodOutOfProcessBatch"));

  const auto line = [&stem](const std::string& i) {
    return "'" + stem + ".tsmx'\t'" + stem + "-Inputs-" + i + ".json'\t'" + stem + "-Outputs-" + i + ".json'\t2\r\n";
  };
  EXPECT_EQ(Seen(".bls"), "MODEL_FILENAME\tINPUTS_FILENAME\tOUTPUTS_FILENAME\tCONCURRENCY\r\n" + line("0") + line("1"));
  EXPECT_EQ(Seen("-Inputs-1.json"), R"({
  "Inputs": [
    {
      "Name": "In",
      "Data": {
        "Type": "VANTIX.Int",
        "Value": 1
      }
    },
    {
      "Name": "Second",
      "Data": {
        "Type": "VANTIX.String",
        "Value": "x"
      }
    }
  ],
  "Method": "Synchronous"
})");
  tessera::JsonValue model;
  ASSERT_TRUE(model.DeserializeUtf8(Seen(".tsmx"), false, nullptr));
  EXPECT_EQ(model[L"operator"].AsString(), L"VANTIX.Iterator");
  EXPECT_TRUE(model[L"attributes"][L"IteratorExecutionMethodModel"].AsBool());
}

TEST_F(BatchMethod, FilesGoWithTheModel) {
  WillGive(2);
  std::string folder;
  {
    Loop loop(kBatch);
    loop.RunWith(Numbers(2));
    folder = std::filesystem::path(Stem()).parent_path().string();
    EXPECT_TRUE(std::filesystem::exists(Stem() + "-Outputs-1.json"));
  }
  EXPECT_FALSE(std::filesystem::exists(folder));
}

TEST_F(BatchMethod, LinesEndAsThePreferenceSays) {
  const std::vector<std::tuple<std::wstring, std::string, bool>> rows = {
      {L"windows", "\r\n", false}, {L"Windows", "\r\n", false}, {L"unix", "\n", false},
      {L"UNIX", "\n", false},      {L"50% mac", "\r\n", true},  {L"", "\r\n", true}};
  for (const auto& [value, end, told] : rows) {
    SCOPED_TRACE(kstr_ToUtf8(value));
    std::filesystem::remove_all(folder_.Path() + "/files");
    kpmg::Set(L"batch", L"line_termination", {KpmgEnum, value});
    WillGive(1);
    Loop loop(kBatch);
    const LogLines lines;
    loop.RunWith(Numbers(1));
    const std::string list = Seen(".bls");
    EXPECT_TRUE(boost::ends_with(list, "'\t2" + end));
    EXPECT_EQ(list.find('\r') != std::string::npos, end == "\r\n");
    EXPECT_THAT(list, HasSubstr("\tCONCURRENCY" + end + "'"));
    const auto said = lines.Get();
    const auto warning = value + L": Unrecognized Line Termination for Output Batch Files value. Assuming 'windows'";
    EXPECT_EQ(std::count(said.begin(), said.end(), warning), told ? 1 : 0);
  }
}

TEST_F(BatchMethod, PreferencesOfAnotherTypeAreRefused) {
  kpmg::Set(L"batch", L"line_termination", {KpmgNumber, {}, 1.0});
  Loop loop(kBatch);
  loop.host.Set(L"each.In", Numbers(1));
  EXPECT_THAT(Failure(loop), HasSubstr("batch:line_termination"));
}

TEST_F(BatchMethod, JobsAtATimeAreCutToAWholeNumber) {
  kpmg::Set(L"batch", L"num_simul_cmd_sets", {KpmgNumber, {}, 2.9});
  WillGive(1);
  Loop loop(kBatch);
  const LogLines lines;
  loop.RunWith(Numbers(1));
  EXPECT_THAT(folder_.Read("call"), HasSubstr(" -simul 2 "));
  EXPECT_THAT(lines.Get(), ::testing::Contains(L"Batch processing 2 at a time."));
}

TEST_F(BatchMethod, LogWithThreads) {
  WillGive(2);
  Loop loop(kBatch, 1);
  const LogLines lines;
  EXPECT_EQ(loop.RunWith(Numbers(2)), L"[0, 10]");
  EXPECT_THAT(lines.Get(),
              ElementsAre(L"Concurrency is 1.", L"Preparing Inputs.", L"Iteration 1(1) of 2", L"Iteration 2(2) of 2",
                          L"Batch processing 1 at a time.", L"Batch processing complete", L"Gathering Outputs.",
                          L"Iteration 1(1) of 2", L"Iteration 2(2) of 2", L"Iterations complete"));
}

TEST_F(BatchMethod, LogWithoutThreads) {
  WillGive(2);
  Loop loop(kBatch, 0);
  const LogLines lines;
  EXPECT_EQ(loop.RunWith(Numbers(2)), L"[0, 10]");
  EXPECT_THAT(lines.Get(),
              ElementsAre(L"Concurrency is zero.", L"Preparing Inputs.", L"Iteration 1(1) of 2", L"Iteration 2(2) of 2",
                          L"Batch processing 1 at a time.", L"Batch processing complete", L"Gathering Outputs.",
                          L"Iteration 3(1) of 2", L"Iteration 4(2) of 2"));
  EXPECT_TRUE(boost::ends_with(Seen(".bls"), "\t0\r\n"));
}

TEST_F(BatchMethod, CommonItemsAreInEveryInputFile) {
  WillGive(3);
  Loop loop(kBatch);
  loop.host.Set(L"each.Second", NumberList({7}));
  loop.RunWith(List({Value(1), nullptr, Value(3)}));
  for (const char* i : {"0", "1", "2"}) {
    tessera::JsonValue inputs;
    ASSERT_TRUE(inputs.DeserializeUtf8(Seen(std::string("-Inputs-") + i + ".json"), false, nullptr));
    EXPECT_EQ(inputs[L"Inputs"][1][L"Data"].SerializeUtf8(), R"({"Type":"VANTIX.Int","Value":7})");
  }
  tessera::JsonValue empty;
  ASSERT_TRUE(empty.DeserializeUtf8(Seen("-Inputs-1.json"), false, nullptr));
  EXPECT_EQ(empty[L"Inputs"][0][L"Data"].SerializeUtf8(), R"({"Type":"VANTIX.Data","Value":null})");
}

TEST_F(BatchMethod, ValuesWithoutJsonAreRefusedBeforeAnythingStarts) {
  for (const unsigned threads : {0u, 2u}) {
    Loop loop(kBatch, threads);
    loop.host.Set(L"each.In", List({Value(1), tessera::MakeData<Tamrin::TesseraBasic::PasswordData>(L"x")}));
    try {
      loop.host.GetModel()->Execute();
      ADD_FAILURE() << "nothing was raised";
    } catch (const KorvenLog::Exception& error) {
      EXPECT_EQ(error.get_What(), L"Data not JSONable!");
      EXPECT_EQ(error.get_LineNum(), 48);
    }
    EXPECT_FALSE(std::filesystem::exists(folder_.Path() + "/call"));
  }
}

TEST_F(BatchMethod, ItemsWithoutValueKeepTheirPlaces) {
  const std::string null = Output("Out", R"({"Type": "VANTIX.Int", "Value": null})");
  WillWrite({null, Output("Out", R"({"Type": "VANTIX.String", "Value": "gr\u00fcn"})"), null,
             Output("Out", R"({"Type": "", "Value": null})")});
  Loop loop(kBatch);
  EXPECT_EQ(loop.RunWith(Numbers(4)), L"[-, gr\u00fcn, -, -]");
}

TEST_F(BatchMethod, OutputsThatCannotBeTaken) {
  const std::vector<std::pair<std::optional<std::string>, std::string>> rows = {
      {std::nullopt, "Outputs are NULL"},
      {"", "Outputs are NULL"},
      {"[1]", "Outputs are NULL"},
      {R"({"Outputs": null})", "Outputs are NULL"},
      {R"({"Outputs": [{"Name": "Out")", "Outputs are NULL"},
      {R"({"Outputs": []})", "Unable to find data in outputs"},
      {R"({"Outputs": [{"Name": "out", "Data": {"Type": "VANTIX.Int", "Value": 1}}]})",
       "Unable to find data in outputs"},
      {Output("Out", "null"), "Unable to find data in outputs"},
      {Output("Out", R"({"Type": "Int", "Value": 1})"), "Invalid full name format."},
      {Output("Out", R"({"Type": "", "Value": 1})"), "Invalid full name format."},
      {Output("Out", R"({"Value": 1})"), "Invalid full name format."}};
  for (const unsigned threads : {0u, 2u}) {
    for (const auto& [text, told] : rows) {
      SCOPED_TRACE(text.value_or("no file"));
      std::filesystem::remove_all(folder_.Path() + "/files");
      std::filesystem::remove(folder_.Path() + "/out-0");
      if (text) WillWrite({*text});
      Loop loop(kBatch, threads);
      loop.host.Set(L"each.In", Numbers(1));
      EXPECT_EQ(Failure(loop), told);
      EXPECT_FALSE(loop.host.Existing(L"each.Out"));
    }
  }
}

TEST_F(BatchMethod, UnknownTypesAndValuesTheyCannotReadAreTold) {
  for (const char* data : {R"({"Type": "VANTIX.NoSuch", "Value": 1})", R"({"Type": "VANTIX.Int", "Value": "x"})"}) {
    std::filesystem::remove_all(folder_.Path() + "/files");
    WillWrite({Output("Out", data)});
    Loop loop(kBatch);
    loop.host.Set(L"each.In", Numbers(1));
    EXPECT_THAT(Failure(loop), HasSubstr("VANTIX."));
  }
}

TEST_F(BatchMethod, AManagerThatFailsEndsTheRun) {
  ::setenv("BATCH_STATUS", "1", 1);
  WillGive(1);
  Loop loop(kBatch);
  loop.host.Set(L"each.In", Numbers(1));
  const LogLines lines;
  EXPECT_THROW(loop.host.GetModel()->Execute(), tessera::OperatorException);
  EXPECT_THAT(lines.Get(), ::testing::Not(::testing::Contains(L"Gathering Outputs.")));
  ::unsetenv("BATCH_STATUS");
}

TEST_F(BatchMethod, NoShell) {
  for (const bool isSet : {false, true}) {
    isSet ? ::setenv("ComSpec", "", 1) : ::unsetenv("ComSpec");
    Loop loop(kBatch);
    loop.host.Set(L"each.In", Numbers(1));
    EXPECT_EQ(Failure(loop), "Cannot find shell command");
  }
  ::setenv("ComSpec", "/nowhere/shell", 1);
  Loop loop(kBatch);
  loop.host.Set(L"each.In", Numbers(1));
  EXPECT_EQ(Failure(loop), "/nowhere/shell: No such file or directory");
}

/// The method by itself, as an iterator would set it up.
struct Direct {
  explicit Direct(unsigned count, const std::vector<std::wstring>& outputs) {
    container->Initialize();
    loop.Each()->SetExecuted(true);  // as a parent it would be run first
    method = tessera::OperatorFactory::Create(L"VANTIX", L"IteratorExecutionMethodOutOfProcessBatch");
    method->SetProcess(container);
    tessera::WritePort(*method, L"Model",
                       tessera::ModelFormatFactory::SaveToBuffer(loop.Each(), L"TesseraModelFormat"));
    tessera::WritePort(*method, L"CommonInputDataCount", count);
    tessera::WritePort(*method, L"InputData", tessera::Dictionary());
    tessera::WritePort(*method, L"OutputPortNames", outputs);
  }
  Loop loop;
  boost::shared_ptr<tessera::Model> container = boost::make_shared<tessera::Model>();
  OperatorPtr method;
};

TEST_F(BatchMethod, WithoutAnIterator) {
  Direct direct(1, {});
  EXPECT_THROW(direct.method->Execute(), tessera::OperatorException);
  ASSERT_EQ(direct.method->GetMessages().size(), 1u);
  EXPECT_EQ(direct.method->GetMessages().front().text, L"Could not determing owning iterator.");
}

TEST_F(BatchMethod, NoIterations) {
  Direct direct(0, {L"Out", L"More"});
  direct.method->AddParent(direct.loop.Each());
  const LogLines lines;
  direct.method->Execute();
  EXPECT_THAT(lines.Get(), ElementsAre(L"Iteration count is zero."));
  EXPECT_FALSE(std::filesystem::exists(folder_.Path() + "/call"));
  const auto results = tessera::ReadPort<tessera::Dictionary>(*direct.method, L"OutputData");
  EXPECT_EQ(Text(results.Find(L"Out")) + Text(results.Find(L"More")), L"[][]");
}

TEST_F(BatchMethod, WithoutOutputsNothingIsGathered) {
  Direct direct(2, {});
  direct.method->AddParent(direct.loop.Each());
  direct.method->Execute();
  tessera::JsonValue inputs;
  ASSERT_TRUE(inputs.DeserializeUtf8(Seen("-Inputs-0.json"), false, nullptr));
  EXPECT_EQ(inputs[L"Method"].AsString(), L"Asynchronous");
  EXPECT_EQ(tessera::ReadPort<tessera::Dictionary>(*direct.method, L"OutputData").GetKeys().size(), 0u);
}

TEST_F(BatchMethod, InputsOfAnyShape) {
  const auto run = [this](const DataPtr& in, unsigned count) {
    Direct direct(count, {});
    tessera::Dictionary inputs;
    inputs.SetItem(L"In", in);
    tessera::WritePort(*direct.method, L"InputData", inputs);
    direct.method->AddParent(direct.loop.Each());
    std::filesystem::remove_all(folder_.Path() + "/files");
    direct.method->Execute();
    tessera::JsonValue last;
    if (count > 0) last.DeserializeUtf8(Seen("-Inputs-" + std::to_string(count - 1) + ".json"), false, nullptr);
    return last[L"Inputs"][0][L"Data"].SerializeUtf8();
  };
  EXPECT_EQ(run(NumberList({7, 8}), 3), R"({"Type":"VANTIX.Int","Value":7})");
  EXPECT_EQ(run(Value(5), 2), R"({"Type":"VANTIX.Int","Value":5})");
  EXPECT_EQ(run(nullptr, 2), R"({"Type":"VANTIX.Data","Value":null})");
  EXPECT_NO_THROW(run(List({}), 0));
  try {
    run(List({}), 1);
    ADD_FAILURE() << "nothing was raised";
  } catch (const tessera::OperatorException& error) {
    EXPECT_EQ(error.get_What(), L"Empty list on input.");
  }
}

TEST_F(BatchMethod, FailuresOfThreadsNameTheOperator) {
  WillWrite({"{}", "{}"});
  for (const unsigned threads : {0u, 2u}) {
    SCOPED_TRACE(threads);
    std::filesystem::remove_all(folder_.Path() + "/files");
    Loop loop(kBatch, threads);
    loop.host.Set(L"each.In", Numbers(2));
    try {
      loop.host.GetModel()->Execute();
      ADD_FAILURE() << "nothing was raised";
    } catch (const std::runtime_error& error) {
      EXPECT_STREQ(error.what(), "Outputs are NULL");
      EXPECT_EQ(tessera::ExecutionEnvironment::GetFailedOperator(std::current_exception()),
                L"IteratorExecutionMethodOutOfProcessBatch");
    }
  }
}

TEST_F(BatchMethod, DisplayNamesBecomePartsOfFileNames) {
  Direct direct(1, {});
  direct.container->SetDisplayName(L"Gr\u00fcn/\"$HOME\" 'x'");
  direct.method->SetDisplayName(std::wstring(300, L'\u65e5'));
  direct.method->AddParent(direct.loop.Each());
  direct.method->Execute();
  EXPECT_EQ(Name(), kstr_ToUtf8(L"Gr\u00fcn___HOME_ _x_-" + std::wstring(40, L'\u65e5')));
}

}  // namespace
