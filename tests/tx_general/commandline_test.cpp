#include <signal.h>

#include <boost/filesystem.hpp>
#include <cstdlib>
#include <thread>

#include "kcommon/kerr.h"
#include "kcommon/kfnp.h"
#include "kcommon/kpmg.h"
#include "tx_general/rows.h"
#include "txbasiclib/basicvalues.h"
#include "txbasiclib/executableoperator.h"

namespace {

using namespace testing_support;
using Tamrin::TesseraBasic::ExecutableOperator;
using Words = std::vector<std::wstring>;

/// A description of ports: "Name Namespace.Type direction", and " file" behind it for a file that is written.
DataPtr Ports(const Words& ports) {
  tessera::JsonValue list(tessera::JsonValueType::Array);
  for (const auto& port : ports) {
    const std::size_t first = port.find(L' '), second = port.find(L' ', first + 1), stop = port.find(L'.', first);
    tessera::JsonValue entry(tessera::JsonValueType::Object);
    entry[L"Name"] = tessera::JsonValue(port.substr(0, first));
    entry[L"SupportedDataNamespace"] = tessera::JsonValue(port.substr(first + 1, stop - first - 1));
    entry[L"SupportedDataName"] = tessera::JsonValue(port.substr(stop + 1, second - stop - 1));
    entry[L"Type"] = tessera::JsonValue(std::stoi(port.substr(second + 1)));
    entry[L"OutputFile"] = tessera::JsonValue(port.ends_with(L" file"));
    list.Append(entry);
  }
  return tessera::MakeData<Tamrin::TesseraBasic::JsonData>(list);
}

class CommandLineTest : public ::testing::Test {
 protected:
  CommandLineTest() {
    kerr_SetSessionLogSink([this](const std::wstring& line) { log_.push_back(line); });
  }
  ~CommandLineTest() override {
    kerr_SetSessionLogSink([](const std::wstring&) {});
  }

  OperatorPtr Add(const std::wstring& executable, const std::wstring& arguments, const Words& ports = {}) {
    const auto op = host_.Add(L"CommandLine", L"cmd");
    op->SetAttribute(L"Executable", Value(executable));
    op->SetAttribute(L"ArgumentExpression", Value(arguments));
    if (!ports.empty()) op->SetAttribute(L"PortInformation", Ports(ports));
    op->Configure();
    return op;
  }
  std::wstring LineOf(const OperatorPtr& op) { return dynamic_cast<ExecutableOperator&>(*op).GetArguments(); }
  /// The line of an expression with the ports In, Two (which has a blank), Empty and the output Out.
  std::wstring Line(const std::wstring& expression) {
    if (!line_) {
      line_ = Add(L"true", L"",
                  {L"In VANTIX.String 0", L"Two VANTIX.File 0", L"a VANTIX.String 0", L"b VANTIX.String 0",
                   L"gr\u00f6\u00dfe_2 VANTIX.Int 0", L"Empty VANTIX.String 0", L"None VANTIX.String 0",
                   L"Out VANTIX.File 1 file", L"OutName VANTIX.String 0"});
      host_.Set(L"cmd.In", L"/data/in put.tar.gz").Set(L"cmd.Two", File(L"t w"));
      host_.Set(L"cmd.a", L"A").Set(L"cmd.b", L"B").Set(L"cmd.gr\u00f6\u00dfe_2", 7).Set(L"cmd.Empty", L"");
    }
    line_->SetAttribute(L"ArgumentExpression", Value(expression));
    return LineOf(line_);
  }
  /// The name that a pattern of the output Out gives.
  std::wstring Expand(const std::wstring& pattern) {
    Line(L"");
    host_.Set(L"cmd.OutName", pattern.c_str());
    const std::wstring line = Line(L"x$Out");
    if (line.size() > 1 && line.front() == L'"') return line.substr(2, line.size() - 3);
    return line.substr(1);
  }
  Words Warnings() { return host_.Messages(tessera::Issue::Warning); }

  ModelHost host_;
  OperatorPtr line_;
  Words log_;
};

std::wstring NoValue(const std::wstring& name) {
  return L"Possible value replacement failure.  No value located for " + name + L", so $" + name +
         L" will be sent on the command line.";
}

TEST_F(CommandLineTest, FixedPorts) {
  const auto op = host_.Add(L"CommandLine", L"cmd");
  EXPECT_EQ(PortNames(*op), (Words{L"SearchPath", L"ReturnCode", L"ConsoleOutput"}));
  const auto search = op->GetPort(L"SearchPath");
  EXPECT_TRUE(search->IsOptional() && search->IsHidden() && search->IsInput());
  ASSERT_EQ(search->GetSupportedDataTypes().size(), 2U);
  EXPECT_EQ(search->GetSupportedDataTypes()[0].ToString(), L"VANTIX.Directory");
  const auto list = search->GetSupportedDataTypes()[1];
  EXPECT_EQ(search->GetDataTypeAttribute(list, L"ListDataType")->ToString(), L"VANTIX.Directory");
  EXPECT_FALSE(op->GetPort(L"ReturnCode")->IsHidden());
  EXPECT_TRUE(op->GetPort(L"ConsoleOutput")->IsHidden());
  EXPECT_FALSE(op->GetDefaultIsUsableInExpression());
}

TEST_F(CommandLineTest, PortsComeFromTheConfiguration) {
  const auto op = Add(L"true", L"",
                      {L"In VANTIX.String 0", L"Out VANTIX.File 1 file", L"Any . 0", L"Kept VANTIX.Int 2",
                       L"ReturnCode VANTIX.String 0"});
  op->Configure();
  EXPECT_EQ(PortNames(*op), (Words{L"SearchPath", L"ReturnCode", L"ConsoleOutput", L"In", L"Out", L"Any", L"Kept"}));
  EXPECT_TRUE(op->GetPort(L"ReturnCode")->IsOutput()) << "one that is there is left alone";
  const auto output = op->GetPort(L"Out");
  EXPECT_TRUE(output->IsOutput());
  EXPECT_EQ(output->GetSupportedDataTypes()[0].ToString(), L"VANTIX.File");
  EXPECT_EQ(output->GetAttribute(L"Input")->ToString(), L"false");
  EXPECT_EQ(op->GetPort(L"In")->GetAttribute(L"Input"), nullptr);
  EXPECT_EQ(op->GetPort(L"Any")->GetSupportedDataTypes()[0].ToString(), L"VANTIX.Data");
  EXPECT_EQ(op->GetPort(L"Kept")->GetPortType(), tessera::PortType::Setting);
}

TEST_F(CommandLineTest, ADescriptionMayBeAnObjectAndItsFaultsAreTold) {
  const auto configure = [](const std::wstring& json) {
    ModelHost host;
    const auto op = host.Add(L"CommandLine", L"cmd");
    tessera::JsonValue value;
    EXPECT_TRUE(value.Deserialize(json));
    op->SetAttribute(L"PortInformation", tessera::MakeData<Tamrin::TesseraBasic::JsonData>(value));
    try {
      op->Configure();
    } catch (const tessera::OperatorException& exception) {
      return exception.get_What();
    }
    return std::to_wstring(op->GetPorts().size());
  };
  EXPECT_EQ(configure(LR"({"a": {"Name": "One", "Type": 0}, "b": {"Name": "Two"}})"), L"5");
  EXPECT_EQ(configure(L"[]"), L"3");
  EXPECT_EQ(configure(LR"([{"Name": "A", "Type": 1}, {"Type": 0}])"), L"PortInformation[1] has no Name.");
  EXPECT_EQ(configure(LR"([{"Name": "A", "Type": 7}])"),
            L"The Type of the port \"A\" in PortInformation is 7; expected 0 for an input, 1 for an output or 2 for a "
            L"setting.");
}

TEST_F(CommandLineTest, Lines) {
  const struct {
    std::wstring expression;
    std::wstring line;
  } rows[] = {
      {L"", L""},
      {L" \t\n ", L""},
      {L"a  b\tc", L"a b c"},
      {L"\"a b\" c", L"\"a b\" c"},
      {L"\"ab\" c", L"ab c"},
      {L"-out=\"a b\" c", L"-out=\"a b\" c"},
      {L"-out=\"a b\"c", L"-out=\"a b\" c"},
      {L"\"\"", L""},
      {L"a \"\" b", L"a  b"},
      {L"\"a b", L"\"a b\""},
      {L"x\"a b", L"x\"a b"},
      {L"$In", L"\"/data/in put.tar.gz\""},
      {L"\"$In x\"", L"\"/data/in put.tar.gz x\""},
      {L"-i=\"$In\"", L"-i=\"/data/in put.tar.gz\""},
      {L"pre$a", L"preA"},
      {L"$a.txt $a-$b", L"A.txt A-B"},
      {L"$a$b", L"B"},
      {L"$$a", L"A"},
      {L"$", L""},
      {L"x$ $a$ y", L"x  y"},
      {L"$a$", L""},
      {L"$gr\u00f6\u00dfe_2!", L"7!"},
      {L"$TEMP $Default_Data $DEFAULT_OUTPUT $command_name", L"TEMP Default_Data DEFAULT_OUTPUT command_name"},
  };
  for (const auto& row : rows) EXPECT_EQ(Line(row.expression), row.line) << kstr_ToUtf8(row.expression);
  EXPECT_EQ(Warnings(), Words{});
}

TEST_F(CommandLineTest, WhatHasNoValueIsSentAsItStandsWithAWarning) {
  EXPECT_EQ(Line(L"$missing.txt $None $Empty $(In) $DEFAULT_INPUT $Out"),
            L"$missing.txt $None $Empty $(In) $DEFAULT_INPUT $Out");
  EXPECT_EQ(Warnings(), (Words{NoValue(L"missing"), NoValue(L"None"), NoValue(L"Empty"), NoValue(L""),
                               NoValue(L"DEFAULT_INPUT"), NoValue(L"Out")}));
}

TEST_F(CommandLineTest, WithoutAnExpressionTheLineIsEmpty) {
  const auto op = host_.Add(L"CommandLine", L"cmd");
  EXPECT_EQ(LineOf(op), L"");
  EXPECT_EQ(dynamic_cast<ExecutableOperator&>(*op).GetExecutable(), L"");
}

class Preference {
 public:
  Preference(const wchar_t* category, const wchar_t* name, const std::wstring& text)
      : category_(category), name_(name) {
    had_ = kpmg::Get(category, name, old_);
    kpmg::Value value;
    value.type = KpmgString;
    value.text = text;
    kpmg::Set(category, name, value);
  }
  ~Preference() {
    old_.type = had_ ? old_.type : KpmgString;
    kpmg::Set(category_, name_, old_);
  }
  Preference(const Preference&) = delete;
  Preference& operator=(const Preference&) = delete;

 private:
  const wchar_t* category_;
  const wchar_t* name_;
  kpmg::Value old_;
  bool had_;
};

TEST_F(CommandLineTest, Patterns) {
  ::setenv("COMMAND_LINE_TEST", "/from/env", 1);
  const Preference input(L"ksc", L"default_data_path", L"$COMMAND_LINE_TEST/in");
  const Preference output(L"ksc", L"default_output_path", L"${COMMAND_LINE_TEST}/out");
  Line(L"");
  line_->SetDisplayName(L"My Tool");
  host_.Set(L"cmd.b", L"DEFAULT_INPUT");
  const std::wstring temporary = host_.GetModel()->GetTemporaryDirectory();
  const struct {
    std::wstring pattern;
    std::wstring name;
  } rows[] = {
      {L"plain.txt", L"plain.txt"},
      {L"a$$b", L"a$b"},
      {L"$x", L"$x"},
      {L"$", L""},
      {L"a$", L"a"},
      {L"a$(In", L"a"},
      {L"a$(In.Ext", L"a"},
      {L"$(a)", L"A"},
      {L"$(missing)x$(None)", L"x"},
      {L"$(In)", L"/data/in put.tar.gz"},
      {L"$(In.Ext)", L".gz"},
      {L"$(In.root)", L"in put.tar"},
      {L"$(In.NAME)", L"in put.tar.gz"},
      {L"$(In.Path)", L"/data/"},
      {L"$(In.Other)", L""},
      {L"$(In.a.b)", L""},
      {L"$(In.Path)$(In.Root)_2$(In.Ext)", L"/data/in put.tar_2.gz"},
      {L"$(temp)/x", temporary + L"/x"},
      {L"$(TEMP.Name)/x", temporary + L"/x"},
      {L"$(Default_Output)/x", L"/from/env/out/x"},
      {L"$(COMMAND_NAME)", L"My Tool"},
      {L"$(DEFAULT_DATA)", L"DEFAULT_DATA"},
      {L"$(DEFAULT_INPUT)", L""},
      {L"$(b)", L"/from/env/in"},
      {L"$(Two.)x", L"t wx"},
      // The part of the one before is left over where a name has none of its own.
      {L"$(In.Ext)$(In)", L".gz.gz"},
      {L"$(In.Ext)$(In.)", L".gz/data/in put.tar.gz"},
      {L"$((In)", L""},
      {L"\u00fc$(a)\u4e2d", L"\u00fcA\u4e2d"},
  };
  for (const auto& row : rows)
    EXPECT_EQ(Expand(row.pattern), row.name.empty() ? L"$Out" : row.name) << kstr_ToUtf8(row.pattern);
}

TEST_F(CommandLineTest, PatternsThatReachThemselvesNameTheirCircle) {
  const auto op = Add(L"true", L"$One",
                      {L"One VANTIX.File 1 file", L"OneName VANTIX.String 0", L"Two VANTIX.File 1 file",
                       L"TwoName VANTIX.String 0", L"Start VANTIX.File 1 file", L"StartName VANTIX.String 0"});
  host_.Set(L"cmd.StartName", L"$(One)").Set(L"cmd.OneName", L"$(Two.Root).a").Set(L"cmd.TwoName", L"$(One).b");
  EXPECT_FALSE(host_.Run());
  EXPECT_EQ(host_.Error(), L"The file name patterns of these ports lead in a circle: One, Two, One.");
  host_.Set(L"cmd.TwoName", L"$(Two)");
  EXPECT_FALSE(host_.Run());
  EXPECT_EQ(host_.Error(), L"The file name patterns of these ports lead in a circle: Two, Two.");
  host_.Set(L"cmd.TwoName", L"two").Set(L"cmd.OneName", L"/nowhere/$(Two.Root).a");
  EXPECT_TRUE(host_.Run()) << kstr_ToUtf8(host_.Error());
  EXPECT_EQ(host_.Existing(L"cmd.Start")->ToString(), L"/nowhere/two.a");
}

TEST_F(CommandLineTest, PatternsThatGrowWithoutEndAreEnded) {
  Words ports;
  for (int i = 0; i < 41; ++i) {
    ports.push_back(L"P" + std::to_wstring(i) + L" VANTIX.File 1 file");
    ports.push_back(L"P" + std::to_wstring(i) + L"Name VANTIX.String 0");
  }
  Add(L"true", L"", ports);
  for (int i = 0; i < 40; ++i) {
    const std::wstring next = L"$(P" + std::to_wstring(i + 1) + L")";
    host_.Set(L"cmd.P" + std::to_wstring(i) + L"Name", next + next);
  }
  host_.Set(L"cmd.P40Name", std::wstring(1000, L'x'));
  EXPECT_FALSE(host_.Run());
  EXPECT_NE(host_.Error().find(L" is longer than 1048576 characters."), std::wstring::npos);
}

TEST_F(CommandLineTest, SearchPaths) {
  const auto op = Add(L"true", L"");
  const auto path = [&] { return dynamic_cast<ExecutableOperator&>(*op).GetSearchPath(); };
  EXPECT_EQ(path(), L"");
  op->SetAttribute(L"SearchPath", Value(L"/attribute"));
  EXPECT_EQ(path(), L"/attribute");
  host_.Set(L"cmd.SearchPath", Directory(L"/one"));
  EXPECT_EQ(path(), L"/one;/attribute");
  host_.Set(L"cmd.SearchPath", List({Directory(L"/one"), Value(5), nullptr, Value(L"/text"), Directory(L"/two")}));
  EXPECT_EQ(path(), L"/one;/text;/two;/attribute");
  op->SetAttribute(L"SearchPath", Value(L""));
  EXPECT_EQ(path(), L"/one;/text;/two");
}

/// What a program that prints its arguments, each in brackets, was given.
TEST_F(CommandLineTest, EveryValueArrivesAsTheOneArgumentThatItWas) {
  const Words values = {L"plain",
                        L"two words",
                        L" blanks  around ",
                        L"tab\tand\nline",
                        L"say \"hi there\" now",
                        L"\"quoted\"",
                        L"5\" disk",
                        L"{\"a\": \"b c\"}",
                        L"$HOME `id` $(id) ; rm -rf * | & > < ~ ! # \\ '",
                        L"-n",
                        L"gr\u00f6\u00dfe \u4e2d\u6587 \U0001F600",
                        L"no \xDCFF utf8",
                        L"\u00a0\u2003wide blanks"};
  Words ports;
  std::wstring expression = L"[%s]\\n ";
  for (std::size_t i = 0; i < values.size(); ++i) {
    ports.push_back(L"V" + std::to_wstring(i) + L" VANTIX.String 0");
    expression += L" $V" + std::to_wstring(i);
  }
  Add(L"printf", expression + L" \"\" end", ports);
  std::wstring expected;
  for (std::size_t i = 0; i < values.size(); ++i) {
    host_.Set(L"cmd.V" + std::to_wstring(i), values[i]);
    expected += L"[" + values[i] + L"]\n";
  }
  ASSERT_TRUE(host_.Run()) << kstr_ToUtf8(host_.Error());
  // The byte that is no UTF-8 was given as it was; as text it is what stands for such bytes.
  expected.replace(expected.find(L'\xDCFF'), 1, L"\uFFFD");
  EXPECT_EQ(host_.Get<std::wstring>(L"cmd.ConsoleOutput"), expected + L"[]\n[end]\n");
}

TEST_F(CommandLineTest, ReturnCodeAndConsoleOutput) {
  Add(L"sh", L"-c \"echo out; echo err >&2; exit 3\"");
  ASSERT_TRUE(host_.Run()) << kstr_ToUtf8(host_.Error());
  EXPECT_EQ(host_.Get<std::int32_t>(L"cmd.ReturnCode"), 3);
  EXPECT_EQ(host_.Existing(L"cmd.ReturnCode")->GetDataTypeName().ToString(), L"VANTIX.Int");
  EXPECT_EQ(host_.Get<std::wstring>(L"cmd.ConsoleOutput"), L"out\nerr\n");
  EXPECT_EQ(log_, (Words{L"out", L"err"}));
  EXPECT_EQ(Warnings(), Words{});
}

TEST_F(CommandLineTest, ASignalIsAWarning) {
  Add(L"sh", L"-c \"kill -15 0\"");  // the group, which is the program's own
  ASSERT_TRUE(host_.Run()) << kstr_ToUtf8(host_.Error());
  EXPECT_EQ(host_.Get<std::int32_t>(L"cmd.ReturnCode"), 128 + SIGTERM);
  ASSERT_FALSE(Warnings().empty());
  EXPECT_TRUE(Warnings().back().ends_with(L" was ended by signal 15 (Terminated)."));
}

TEST_F(CommandLineTest, WhatIsNotThereEndsTheRun) {
  Add(L"no-such-program", L"");
  EXPECT_FALSE(host_.Run());
  EXPECT_EQ(host_.Error(), L"The program \"no-such-program\" was not found; looked in PATH.");
}

TEST_F(CommandLineTest, OutputsAreFilesThatTheProgramWrites) {
  const TemporaryFolder folder;
  folder.Write("in put.txt", "some text");
  Add(L"cp", L"$In $Out",
      {L"In VANTIX.File 0", L"Out VANTIX.File 1 file", L"OutName VANTIX.String 0", L"Plain VANTIX.String 1"});
  host_.Set(L"cmd.In", File(folder.WidePath() + L"/in put.txt")).Set(L"cmd.OutName", L"$(In.Path)out $(In.Root).dat");
  for (const bool isAgain : {false, true}) {
    if (isAgain) host_.Reopen();
    ASSERT_TRUE(host_.Run()) << kstr_ToUtf8(host_.Error());
    EXPECT_EQ(host_.Get<std::int32_t>(L"cmd.ReturnCode"), 0);
    EXPECT_EQ(host_.Existing(L"cmd.Out")->GetDataTypeName().ToString(), L"VANTIX.File");
    EXPECT_EQ(host_.Existing(L"cmd.Out")->ToString(), folder.WidePath() + L"/out in put.dat");
    EXPECT_EQ(folder.Read("out in put.dat"), "some text");
    EXPECT_EQ(host_.Existing(L"cmd.Plain"), nullptr);
  }
}

TEST_F(CommandLineTest, OldOutputsGoEvenWhereTheProgramDoesNotStart) {
  const TemporaryFolder folder;
  const std::wstring old = folder.Write("old.txt", "old");
  const std::wstring real = folder.Write("real.txt", "real");
  boost::filesystem::create_symlink("real.txt", folder.Path() + "/link.txt");
  Add(L"no-such-program", L"",
      {L"Out VANTIX.File 1 file", L"OutName VANTIX.String 0", L"Other VANTIX.File 1 file",
       L"OtherName VANTIX.String 0"});
  host_.Set(L"cmd.OutName", old).Set(L"cmd.OtherName", folder.WidePath() + L"/link.txt");
  EXPECT_FALSE(host_.Run());
  EXPECT_FALSE(boost::filesystem::exists(kfnp_ToNative(old)));
  EXPECT_FALSE(boost::filesystem::exists(boost::filesystem::symlink_status(folder.Path() + "/link.txt")));
  EXPECT_EQ(folder.Read("real.txt"), "real");
}

TEST_F(CommandLineTest, AProgramThatMayNotStartLeavesTheFilesAlone) {
  const TemporaryFolder folder;
  const std::wstring old = folder.Write("old.txt", "old");
  const Preference folders(L"external", L"folders", L"/nowhere");
  Add(L"true", L"", {L"Out VANTIX.File 1 file", L"OutName VANTIX.String 0"});
  host_.Set(L"cmd.OutName", old);
  EXPECT_FALSE(host_.Run());
  EXPECT_NE(host_.Error().find(L" may not be started: it lies in none of the folders of the preference "),
            std::wstring::npos);
  EXPECT_EQ(folder.Read("old.txt"), "old");
}

TEST_F(CommandLineTest, PulledAndInThreads) {
  std::vector<std::thread> threads;
  std::vector<std::wstring> outputs(4);
  for (std::size_t i = 0; i < outputs.size(); ++i) {
    threads.emplace_back([&outputs, i] {
      ModelHost host;
      const auto op = host.Add(L"CommandLine", L"cmd");
      op->SetAttribute(L"Executable", Value(L"sh"));
      op->SetAttribute(L"ArgumentExpression", Value(L"-c \"sleep 0.05; echo " + std::to_wstring(i) + L"\""));
      DataPtr data;
      if (host.Pull(L"cmd.ConsoleOutput", data)) outputs[i] = data->ToString();
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(outputs, (Words{L"0\n", L"1\n", L"2\n", L"3\n"}));
}

}  // namespace
