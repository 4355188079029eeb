#include "korvenlog/log.h"
#include "tx_general/rows.h"
#include "txlib/document.h"

namespace {

using namespace testing_support;
using Expected = std::vector<std::wstring>;

/// Passes its input on and counts its runs; without input it gives 7.
class Probe : public tessera::Operator {
 public:
  const wchar_t* GetDefaultOperatorName() const override { return L"Probe"; }
  void DeclarePorts() override {
    CreatePort(L"In", tessera::Data::DefaultTypeName(), tessera::PortType::Input)->SetIsOptional(true);
    CreatePort(L"Out", tessera::Data::DefaultTypeName(), tessera::PortType::Output);
  }
  int runs = 0;

 protected:
  void OnExecute() override {
    ++runs;
    const auto data = GetPort(L"In")->GetData();
    GetPort(L"Out")->SetData(data ? data : Value(7));
  }
};

boost::shared_ptr<Probe> AddProbe(ModelHost& host, const std::wstring& id, const DataPtr& data = nullptr) {
  const auto probe = boost::make_shared<Probe>();
  probe->Initialize();
  host.Adopt(probe, id);
  if (data) host.Set(id + L".In", data);
  return probe;
}

struct TruthRow {
  const char* title;
  DataPtr test;
  bool expected;
};

std::vector<TruthRow> TruthRows() {
  return {{"nothing", nullptr, false},
          {"true", Value(true), true},
          {"false", Value(false), false},
          {"int 0", Value(0), false},
          {"int -3", Value(-3), true},
          {"unsigned 0", Value(0u), false},
          {"unsigned beyond int", Value(4000000000u), true},
          {"0.0", Value(0.0), false},
          {"-0.0", Value(-0.0), false},
          {"1.0", Value(1.0), true},
          {"a fraction is 0 as an integer", Value(0.5), false},
          {"a double beyond int", Value(1e12), true},
          {"text", Value(L"false"), true},
          {"empty text", Value(L""), true},
          {"empty list", List({}), true},
          {"text without value", boost::make_shared<tessera::StringData>(), true}};
}

TEST(IfElse, BranchByTheTest) {
  for (const auto& row : TruthRows()) {
    SCOPED_TRACE(row.title);
    ModelHost host;
    host.Add(L"IfElse", L"if");
    const auto yes = AddProbe(host, L"yes", Value(L"yes")), no = AddProbe(host, L"no", Value(L"no"));
    host.Connect(L"yes.Out", L"if.True1").Connect(L"no.Out", L"if.False1");
    host.Set(L"if.Test", row.test);
    ASSERT_TRUE(host.Run()) << kstr_ToUtf8(host.Error());
    EXPECT_EQ(host.Get<std::wstring>(L"if.Output1"), row.expected ? L"yes" : L"no");
    EXPECT_EQ(yes->runs, row.expected ? 1 : 0);
    EXPECT_EQ(no->runs, row.expected ? 0 : 1);
  }
}

TEST(IfElse, TestMayComeFromAnOperatorAndChainsRunWhole) {
  ModelHost host;
  host.Add(L"IfElse", L"if");
  const auto test = AddProbe(host, L"test", Value(1));
  const auto first = AddProbe(host, L"first", Value(L"x")), second = AddProbe(host, L"second");
  const auto other = AddProbe(host, L"other"), otherSecond = AddProbe(host, L"otherSecond");
  host.Connect(L"test.Out", L"if.Test").Connect(L"first.Out", L"second.In").Connect(L"second.Out", L"if.True1");
  host.Connect(L"other.Out", L"otherSecond.In").Connect(L"otherSecond.Out", L"if.False1");
  ASSERT_TRUE(host.Run());
  EXPECT_EQ(host.Get<std::wstring>(L"if.Output1"), L"x");
  EXPECT_EQ(test->runs, 1);
  EXPECT_EQ(first->runs + second->runs, 2);
  EXPECT_EQ(other->runs + otherSecond->runs, 0);
}

TEST(IfElse, OrderOnlyParentsRunFirst) {
  ModelHost host;
  const auto op = host.Add(L"IfElse", L"if");
  const auto parent = AddProbe(host, L"parent");
  op->AddParent(parent);
  ASSERT_TRUE(host.Run());
  EXPECT_EQ(parent->runs, 1);
}

TEST(IfElse, SetsAreWalkedInOrder) {
  ModelHost host;
  const auto op = host.Add(L"IfElse", L"if");
  op->AddExpansionPorts();
  EXPECT_EQ(PortNames(*op), (Expected{L"Test", L"True1", L"True2", L"False1", L"False2", L"Output1", L"Output2"}));
  op->AddExpansionPorts();
  EXPECT_EQ(PortNames(*op), (Expected{L"Test", L"True1", L"True2", L"True3", L"False1", L"False2", L"False3",
                                      L"Output1", L"Output2", L"Output3"}));
  host.Set(L"if.Test", true);
  for (int set = 1; set <= 3; ++set) host.Set(L"if.True" + std::to_wstring(set), set);
  ASSERT_TRUE(host.Run());
  for (int set = 1; set <= 3; ++set) EXPECT_EQ(host.Get<int>(L"if.Output" + std::to_wstring(set)), set);
  for (const auto& port : op->GetPorts()) EXPECT_TRUE(port->IsOptional());
  host.Reopen();
  EXPECT_EQ(host.Op(L"if")->GetPorts().size(), 10u);
  ASSERT_TRUE(host.Run());
  EXPECT_EQ(host.Get<int>(L"if.Output3"), 3);
}

TEST(IfElse, LastSetStays) {
  ModelHost host;
  const auto op = host.Add(L"IfElse", L"if");
  op->AddExpansionPorts();
  op->RemoveExpansionPorts();
  op->RemoveExpansionPorts();
  EXPECT_EQ(PortNames(*op), (Expected{L"Test", L"True1", L"False1", L"Output1"}));
  op->AddExpansionPorts();
  EXPECT_EQ(PortNames(*op), (Expected{L"Test", L"True1", L"True2", L"False1", L"False2", L"Output1", L"Output2"}));
  EXPECT_TRUE(op->IsExpandible());
}

TEST(IfElse, SetWithoutConnectionGivesNoData) {
  ModelHost host;
  host.Add(L"IfElse", L"if")->AddExpansionPorts();
  host.Set(L"if.Test", true).Set(L"if.True1", 1).Set(L"if.False2", 2);
  ASSERT_TRUE(host.Run());
  EXPECT_EQ(host.Get<int>(L"if.Output1"), 1);
  EXPECT_EQ(host.Existing(L"if.Output2"), nullptr);
}

TEST(IfElse, TestIsEvaluatedAnewByEachRun) {
  ModelHost host;
  host.Add(L"IfElse", L"if");
  host.Set(L"if.True1", L"yes").Set(L"if.False1", L"no");
  for (const bool test : {true, false, true}) {
    host.Set(L"if.Test", test);
    ASSERT_TRUE(host.Run());
    EXPECT_EQ(host.Get<std::wstring>(L"if.Output1"), test ? L"yes" : L"no");
  }
}

TEST(IfElse, PullsFollowTheLastTest) {
  ModelHost host;
  const auto op = host.Add(L"IfElse", L"if");
  op->AddExpansionPorts();
  host.Set(L"if.Test", true).Set(L"if.True1", L"yes").Set(L"if.True2", L"yes2").Set(L"if.False1", L"no");
  DataPtr data;
  ASSERT_TRUE(host.Pull(L"if.Output1", data));
  ExpectSame(data, Value(L"no"));
  op->Execute();
  ASSERT_TRUE(host.Pull(L"if.Output1", data));
  ExpectSame(data, Value(L"yes"));
  ASSERT_TRUE(host.Pull(L"if.Output2", data));
  ExpectSame(data, Value(L"yes2"));
}

TEST(IfElse, FailuresOfTheChosenBranchPassThrough) {
  for (const bool test : {true, false}) {
    ModelHost host;
    host.Add(L"IfElse", L"if");
    host.Add(L"RequireCondition", L"guard");
    host.Set(L"guard.ShouldBeTrue", false).Set(L"guard.Message", L"guarded").Set(L"if.Test", test);
    host.Connect(L"guard.Success", L"if.True1");
    EXPECT_EQ(host.Run(), !test);
    EXPECT_EQ(host.Error(), test ? L"guarded" : L"");
  }
}

TEST(IfElse, DebugLogNamesTheBranch) {
  static Expected lines;
  KorvenLog::Log::SetSink(
      [](const std::wstring& channel, KorvenLog::Level, const std::wstring& text) {
        if (channel == L"tessera.plugins.general.IfElse") lines.push_back(text);
      },
      KorvenLog::Level::Debug);
  ModelHost host;
  host.Add(L"IfElse", L"choose");
  host.Set(L"choose.Test", true).Run();
  host.Set(L"choose.Test", false).Run();
  KorvenLog::Log::SetSink([](const std::wstring&, KorvenLog::Level, const std::wstring&) {}, KorvenLog::Level::Error);
  EXPECT_EQ(lines, (Expected{L"choose executing TRUE branch.", L"choose executing FALSE branch."}));
}

TEST(Merge, Rows) {
  ExpectRows({
      {"first", L"Merge", {{L"Input1", Value(1)}, {L"Input2", Value(2)}}, L"Output", Value(1)},
      {"second where the first is empty", L"Merge", {{L"Input2", Value(L"b")}}, L"Output", Value(L"b")},
      {"all empty", L"Merge", {}, L"Output", nullptr},
  });
}

TEST(Merge, InputsGrowBehindTheOutputAndShrinkToOne) {
  ModelHost host;
  const auto op = host.Add(L"Merge", L"merge");
  op->AddExpansionPorts();
  EXPECT_EQ(PortNames(*op), (Expected{L"Input1", L"Input2", L"Output", L"Input3"}));
  host.Set(L"merge.Input3", L"third");
  ASSERT_TRUE(host.Run());
  EXPECT_EQ(host.Get<std::wstring>(L"merge.Output"), L"third");
  for (int removal = 0; removal < 4; ++removal) op->RemoveExpansionPorts();
  EXPECT_EQ(PortNames(*op), (Expected{L"Input1", L"Output"}));
  EXPECT_TRUE(op->IsExpandible());
}

std::string MergeDocument(const std::string& rest) {
  return R"({"format": "TesseraModelFormat", "version": 1, "operators": [{"id": "m", "operator": "VANTIX.Merge", )" +
         rest + "}]}";
}

TEST(Merge, DocumentsAddNoInputsForANameThatNeverComes) {
  for (const char* name : {"Input", "Input0", "Input99999"}) {
    SCOPED_TRACE(name);
    const auto problems =
        tessera::PlainDocument::Check(MergeDocument(R"("values": {")" + std::string(name) + R"(": 1, "Other": 1})"));
    ASSERT_EQ(problems.size(), 2u);
    EXPECT_EQ(problems[1].text,
              L"found the unknown port \"Other\" of the operator \"Merge\"; its ports are \"Input1\", \"Input2\", "
              L"\"Output\", \"Input3\", \"Input4\"");
  }
}

TEST(Merge, DocumentsAddInputsUpToTheirNumber) {
  const auto model = tessera::PlainDocument::Open(MergeDocument(R"("values": {"Input7": 1, "Input5": 2})"));
  EXPECT_EQ(PortNames(*model->GetOperators()[0]).size(), 8u);
  EXPECT_NE(tessera::PlainDocument::Save(model).find(R"("expansions": 5)"), std::string::npos);
}

TEST(Merge, DocumentsCountTheInputsThatWereTakenAway) {
  const std::string text = tessera::PlainDocument::Save(
      tessera::PlainDocument::Open(MergeDocument(R"("expansions": -5, "values": {"Input3": 1})")));
  EXPECT_NE(text.find(R"("expansions": 1)"), std::string::npos) << text;
  EXPECT_EQ(tessera::PlainDocument::Save(tessera::PlainDocument::Open(text)), text);
}

TEST(Merge, PassesTheSameValueOn) {
  ModelHost host;
  host.Add(L"Merge", L"merge");
  const auto value = List({Value(1)});
  host.Set(L"merge.Input2", value);
  ASSERT_TRUE(host.Run());
  EXPECT_EQ(host.Existing(L"merge.Output"), value);
  DataPtr pulled;
  ASSERT_TRUE(host.Pull(L"merge.Output", pulled));
  EXPECT_EQ(pulled, value);
}

TEST(IfProcess, InputGoesToOneOutput) {
  for (const auto& row : TruthRows()) {
    SCOPED_TRACE(row.title);
    ModelHost host;
    host.Add(L"If", L"if");
    host.Set(L"if.Test", row.test).Set(L"if.Input", L"value");
    ASSERT_TRUE(host.Run());
    ExpectSame(host.Existing(row.expected ? L"if.True" : L"if.False"), Value(L"value"));
    EXPECT_EQ(host.Existing(row.expected ? L"if.False" : L"if.True"), nullptr);
  }
}

TEST(IfProcess, MergeJoinsItsSides) {
  for (const bool test : {true, false}) {
    ModelHost host;
    host.Add(L"If", L"if");
    host.Add(L"Merge", L"merge");
    host.Set(L"if.Test", test).Set(L"if.Input", 5);
    host.Connect(L"if.True", L"merge.Input1").Connect(L"if.False", L"merge.Input2");
    ASSERT_TRUE(host.Run());
    EXPECT_EQ(host.Get<int>(L"merge.Output"), 5);
  }
}

}  // namespace
