#include <gmock/gmock.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <boost/filesystem.hpp>
#include <cfenv>
#include <chrono>
#include <cmath>
#include <stdexcept>
#include <thread>

#include "kcommon/filelock.h"
#include "kcommon/kfnp.h"
#include "kcommon/kpmg.h"
#include "support/child.h"
#include "tx_general/rows.h"
#include "txlib/document.h"
#include "txlib/factories.h"

namespace {

using namespace testing_support;
namespace FileLock = korven::common::FileLock;
namespace Issue = tessera::Issue;

/// Does what it is told when it runs.
class Acting : public tessera::Operator {
 public:
  const wchar_t* GetDefaultOperatorName() const override { return L"Acting"; }
  void DeclarePorts() override {
    CreatePort(L"In", tessera::Data::DefaultTypeName(), tessera::PortType::Input)->SetIsOptional(true);
    CreatePort(L"Out", tessera::Data::DefaultTypeName(), tessera::PortType::Output);
  }
  std::function<void(Acting&)> act;
  int runs = 0;

 protected:
  void OnExecute() override {
    ++runs;
    if (act) act(*this);
  }
};

/// A container of that name with an operator inside that acts.
struct Guard {
  explicit Guard(const std::wstring& name, std::function<void(Acting&)> act = {})
      : inner(boost::make_shared<Acting>()) {
    container = boost::dynamic_pointer_cast<tessera::Model>(host.Add(name, L"guard"));
    inner->Initialize();
    inner->SetDisplayName(L"inner");
    inner->act = std::move(act);
    container->AddOperator(inner);
    handle = host.GetModel()->AddOnMessageCallback(
        [this](const auto& op, const auto&, const std::wstring& text, const auto&, Issue::Severity severity) {
          heard.push_back(std::to_wstring(static_cast<int>(severity)) + L" " + op->GetDisplayName() + L": " + text);
        });
  }
  ModelHost host;
  boost::shared_ptr<tessera::Model> container;
  boost::shared_ptr<Acting> inner;
  std::vector<std::wstring> heard;
  tessera::CallbackHandle handle;
};

// Catch Error.

TEST(CatchError, WhateverIsRaisedIsCaught) {
  const std::vector<std::pair<const char*, std::function<void(Acting&)>>> rows = {
      {"an operator's message", [](Acting& op) { op.SetErrorMessage(L"no"); }},
      {"an exception of the engine",
       [](Acting&) { KorvenLog::CPPException<std::runtime_error>(L"file", L"function").Throw(1, L"no"); }},
      {"an exception of the engine with an empty text",
       [](Acting&) { KorvenLog::CPPException<std::runtime_error>(L"file", L"function").Throw(1, L""); }},
      {"a standard exception", [](Acting&) { throw std::runtime_error("no"); }},
      {"another exception", [](Acting&) { throw 5; }},
  };
  for (const auto& [title, act] : rows) {
    SCOPED_TRACE(title);
    Guard guard(L"CatchError", act);
    ASSERT_TRUE(guard.host.Run()) << kstr_ToUtf8(guard.host.Error());
    EXPECT_TRUE(guard.host.Get<bool>(L"guard.ErrorOccurred"));
    EXPECT_EQ(guard.inner->runs, 1);
    EXPECT_TRUE(guard.container->IsExecuted());
    EXPECT_FALSE(guard.inner->IsExecuted());
    EXPECT_TRUE(guard.heard.empty());
  }
}

TEST(CatchError, WithoutAnErrorItIsFalseAndWhatIsSaidPasses) {
  Guard guard(L"CatchError", [](Acting& op) {
    op.SetWarningMessage(L"careful");
    op.SetInfoMessage(L"by the way");
  });
  ASSERT_TRUE(guard.host.Run());
  EXPECT_FALSE(guard.host.Get<bool>(L"guard.ErrorOccurred"));
  EXPECT_THAT(guard.heard, ::testing::ElementsAre(L"1 inner: careful", L"0 inner: by the way"));
}

TEST(CatchError, AnErrorMessageEndsHereAndItsWarningsDoNot) {
  Guard guard(L"CatchError", [](Acting& op) {
    op.SetWarningMessage(L"careful");
    op.SetErrorMessage(L"no");
  });
  ASSERT_TRUE(guard.host.Run());
  EXPECT_THAT(guard.heard, ::testing::ElementsAre(L"1 inner: careful"));
  EXPECT_THAT(guard.host.Messages(Issue::Error), ::testing::ElementsAre(L"no")) << "kept where it was said";
}

TEST(CatchError, FloatingPointStateIsReset) {
  Guard guard(L"CatchError", [](Acting&) {
    std::fesetround(FE_UPWARD);
    throw std::runtime_error("no");
  });
  ASSERT_TRUE(guard.host.Run());
  const int rounding = std::fegetround();
  std::fesetround(FE_TONEAREST);
  EXPECT_EQ(rounding, FE_TONEAREST);
}

TEST(CatchError, ACancelledRunIsNotCaught) {
  Guard guard(L"CatchError", [](Acting& op) {
    op.GetEnvironment()->Cancel();
    op.GetEnvironment()->CheckCancelled();
  });
  EXPECT_FALSE(guard.host.Run());
  EXPECT_EQ(guard.host.Error(), L"The run was cancelled.");
}

TEST(CatchError, WhatFeedsItFromOutsideIsNotCaught) {
  Guard guard(L"CatchError");
  guard.host.Add(L"RequireCondition", L"need");
  guard.host.Set(L"need.ShouldBeTrue", false);
  guard.container->AliasPort(guard.inner->GetPort(L"In"), L"Value");
  guard.host.Connect(L"need.Success", L"guard.Value");
  EXPECT_FALSE(guard.host.Run());
  EXPECT_EQ(guard.inner->runs, 0);
}

TEST(CatchError, RunsAgainAfterAChange) {
  Guard guard(L"CatchError", [](Acting& op) {
    if (!op.GetPort(L"In")->GetData()) op.SetErrorMessage(L"no data");
    op.GetPort(L"Out")->SetData(Value(7));
  });
  guard.container->AliasPort(guard.inner->GetPort(L"In"), L"Value");
  guard.container->AliasPort(guard.inner->GetPort(L"Out"), L"Result");
  ASSERT_TRUE(guard.host.Run());
  EXPECT_TRUE(guard.host.Get<bool>(L"guard.ErrorOccurred"));
  EXPECT_EQ(guard.host.Existing(L"guard.Result"), nullptr);
  guard.host.Set(L"guard.Value", 1);
  ASSERT_TRUE(guard.host.Run());
  EXPECT_FALSE(guard.host.Get<bool>(L"guard.ErrorOccurred"));
  EXPECT_EQ(guard.host.Get<int>(L"guard.Result"), 7);
}

TEST(CatchError, NestsAndKeepsItsInsideInADocument) {
  ModelHost host;
  const auto outer = boost::dynamic_pointer_cast<tessera::Model>(host.Add(L"CatchError", L"outer"));
  const auto inner =
      boost::dynamic_pointer_cast<tessera::Model>(tessera::OperatorFactory::Create(L"VANTIX", L"CatchError"));
  outer->AddOperator(inner);
  const auto need = tessera::OperatorFactory::Create(L"VANTIX", L"RequireCondition");
  inner->AddOperator(need);
  need->GetPort(L"ShouldBeTrue")->SetData(Value(false));
  outer->AliasPort(inner->GetPort(L"ErrorOccurred"), L"Inside");
  for (int round = 0; round < 2; ++round, host.Reopen()) {
    ASSERT_TRUE(host.Run());
    EXPECT_TRUE(host.Get<bool>(L"outer.Inside"));
    EXPECT_FALSE(host.Get<bool>(L"outer.ErrorOccurred")) << "the inner one has it already";
  }
}

TEST(CatchError, ItsOwnOutputStandsForNothingInside) {
  for (const auto& [name, port, expected] : std::vector<std::array<std::string, 3>>{
           {"CatchError", "ErrorOccurred", "output"}, {"Iterator", "ExecutionMethod", "input"}}) {
    const std::string text = R"({"format": "TesseraModelFormat", "version": 1, "operators": [
      {"id": "c", "operator": "VANTIX.)" +
                             name + R"(", "model": {"ports": [{"name": ")" + port + R"(", "alias": "m.Output"}],
       "operators": [{"id": "m", "operator": "VANTIX.Merge"}]}}]})";
    const auto problems = tessera::PlainDocument::Check(text);
    ASSERT_EQ(problems.size(), 1u) << name;
    EXPECT_EQ(problems[0].path, "operators[0].model.ports[0].alias");
    EXPECT_EQ(kstr_ToUtf8(problems[0].text), "found the port \"m.Output\", but the operator \"" + name + "\" has an " +
                                                 expected + " \"" + port + "\" of its own");
  }
}

TEST(CatchError, AnEmptyOneAndOneWithoutItsPort) {
  ModelHost host;
  host.Add(L"CatchError", L"guard");
  ASSERT_TRUE(host.Run());
  EXPECT_FALSE(host.Get<bool>(L"guard.ErrorOccurred"));
  Guard guard(L"CatchError", [](Acting& op) { op.SetErrorMessage(L"no"); });
  guard.container->RemovePort(L"ErrorOccurred");
  EXPECT_TRUE(guard.host.Run());
}

// Require Condition.

TEST(RequireCondition, Rows) {
  const std::wstring standard = L"Required condition not satisfied.";
  const std::vector<Row> rows = {
      {"true", L"RequireCondition", {{L"ShouldBeTrue", Value(true)}}, L"Success", Value(true)},
      {"false", L"RequireCondition", {{L"ShouldBeTrue", Value(false)}}, L"Success", nullptr, standard},
      {"a message",
       L"RequireCondition",
       {{L"ShouldBeTrue", Value(false)}, {L"Message", Value(L"Nö.")}},
       L"Success",
       nullptr,
       L"Nö."},
      {"an unused message",
       L"RequireCondition",
       {{L"ShouldBeTrue", Value(true)}, {L"Message", Value(L"No.")}},
       L"Success",
       Value(true)},
      {"a message that is no text",
       L"RequireCondition",
       {{L"ShouldBeTrue", Value(false)}, {L"Message", List({})}},
       L"Success",
       nullptr,
       standard},
      {"a number as condition", L"RequireCondition", {{L"ShouldBeTrue", Value(2)}}, L"Success", Value(true)},
      {"nothing", L"RequireCondition", {}, L"Success", nullptr, L"Data not found on port(ShouldBeTrue)."},
      {"a text",
       L"RequireCondition",
       {{L"ShouldBeTrue", Value(L"x")}},
       L"Success",
       nullptr,
       L"No appropriate data found on port(ShouldBeTrue)."},
  };
  for (const auto& row : rows) ExpectRow(row);
}

TEST(RequireCondition, AnEmptyMessageIsTheText) {
  ModelHost host;
  host.Add(L"RequireCondition", L"need");
  host.Set(L"need.ShouldBeTrue", false).Set(L"need.Message", L"");
  EXPECT_FALSE(host.Run());
  EXPECT_THAT(host.Messages(Issue::Error), ::testing::ElementsAre(L""));
}

// Lock While Executing.

constexpr int kGot = 0;
constexpr int kRefused = 1;

int AskedByAnother(const std::wstring& file) {
  return Child(
             [&](const auto&) { return FileLock::TryGetExclusiveLock(FileLock::GetLockName(file)) ? kGot : kRefused; })
      .Wait();
}

TEST(LockWhileExecuting, OthersAreKeptOutWhileItRuns) {
  const TemporaryFolder folder;
  const std::wstring file = folder.Write("Bild ü.img", "");
  int during = -1;
  Guard guard(L"LockWhileExecuting", [&](Acting&) { during = AskedByAnother(file); });
  guard.host.Set(L"guard.DatasetReference", File(file));
  ASSERT_TRUE(guard.host.Run()) << kstr_ToUtf8(guard.host.Error());
  EXPECT_EQ(during, kRefused);
  EXPECT_EQ(AskedByAnother(file), kGot);
}

TEST(LockWhileExecuting, AFailureInsidePassesAndFreesTheDataset) {
  const TemporaryFolder folder;
  const std::wstring file = folder.Write("data", "");
  Guard guard(L"LockWhileExecuting", [](Acting& op) { op.SetErrorMessage(L"no"); });
  guard.host.Set(L"guard.DatasetReference", File(file));
  EXPECT_FALSE(guard.host.Run());
  EXPECT_EQ(guard.host.Error(), L"no");
  EXPECT_THAT(guard.heard, ::testing::ElementsAre(L"2 inner: no"));
  EXPECT_FALSE(boost::filesystem::exists(folder.Path() + "/data.lock"));
}

TEST(LockWhileExecuting, ADatasetThatIsLockedFailsAfterTheTimeout) {
  const TemporaryFolder folder;
  const std::wstring file = folder.Write("data", "");
  Child holder([&](const auto& ready) {
    const auto lock = FileLock::TryGetExclusiveLock(file);
    ready();
    ::pause();
    return kGot;
  });
  ASSERT_TRUE(holder.AwaitReady());
  Guard guard(L"LockWhileExecuting");
  guard.host.Set(L"guard.DatasetReference", File(file)).Set(L"guard.Timeout", 0u);
  EXPECT_FALSE(guard.host.Run());
  EXPECT_EQ(guard.host.Error().find(L"The file \"" + file + L"\" is locked by process "), 0u);
  EXPECT_EQ(guard.inner->runs, 0);
  holder.Kill();
  ASSERT_TRUE(guard.host.Run());
  EXPECT_EQ(guard.inner->runs, 1);
}

TEST(LockWhileExecuting, VariablesInThePathAreExpanded) {
  const TemporaryFolder folder;
  folder.Write("data", "");
  ::setenv("GUARDS_TEST_FOLDER", folder.Path().c_str(), 1);
  bool locked = false;
  Guard guard(L"LockWhileExecuting",
              [&](Acting&) { locked = boost::filesystem::exists(folder.Path() + "/data.lock"); });
  guard.host.Set(L"guard.DatasetReference", File(L"$GUARDS_TEST_FOLDER/data"));
  ASSERT_TRUE(guard.host.Run()) << kstr_ToUtf8(guard.host.Error());
  EXPECT_TRUE(locked);
}

TEST(LockWhileExecuting, WithoutADatasetNothingRuns) {
  Guard guard(L"LockWhileExecuting");
  EXPECT_FALSE(guard.host.Run());
  EXPECT_EQ(guard.host.Error(), L"Data not found on port(DatasetReference).");
  EXPECT_EQ(guard.inner->runs, 0);
}

TEST(LockWhileExecuting, TheTimeoutIsThePreference) {
  const auto timeout = [] {
    ModelHost host;
    const auto port = host.Add(L"LockWhileExecuting", L"guard")->GetPort(L"Timeout");
    EXPECT_TRUE(port->IsHidden());
    return tessera::AsDataOf<tessera::UnsignedData>(port->GetData())->GetDataValue();
  };
  EXPECT_EQ(timeout(), 60u);
  kpmg::Value value;
  value.type = KpmgNumber;
  for (const auto& [seconds, expected] : std::vector<std::pair<double, unsigned>>{
           {12.9, 12}, {0.5, 0}, {-3, 0}, {1e30, 4294967295u}, {std::nan(""), 60}}) {
    value.number = seconds;
    kpmg::Set(L"filepref", L"lock_file_timeout", value);
    EXPECT_EQ(timeout(), expected) << seconds;
  }
  value.type = KpmgString;
  kpmg::Set(L"filepref", L"lock_file_timeout", value);
  EXPECT_EQ(timeout(), 60u);
  kpmg::ClearAll();
}

TEST(LockWhileExecuting, SurvivesADocument) {
  const TemporaryFolder folder;
  ModelHost host;
  host.Add(L"LockWhileExecuting", L"guard");
  host.Set(L"guard.DatasetReference", File(folder.Write("data", ""))).Set(L"guard.Timeout", 5u).Reopen();
  EXPECT_EQ(host.Get<unsigned>(L"guard.Timeout"), 5u);
  EXPECT_TRUE(host.PortOf(L"guard.Timeout")->IsHidden());
  EXPECT_TRUE(host.Run());
}

// Models of several threads that lock one dataset run one after the other.
TEST(LockWhileExecuting, ConcurrentRunsWaitForEachOther) {
  const TemporaryFolder folder;
  const std::wstring file = folder.Write("data", "");
  std::atomic<int> inside{0}, most{0};
  std::vector<std::thread> threads;
  for (int number = 0; number < 3; ++number) {
    threads.emplace_back([&] {
      Guard guard(L"LockWhileExecuting", [&](Acting&) {
        most = std::max<int>(most, ++inside);
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        --inside;
      });
      guard.host.Set(L"guard.DatasetReference", File(file));
      EXPECT_TRUE(guard.host.Run());
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(most, 1);
}

// Measure Performance.

TEST(MeasurePerformanceModel, TellsTheSecondsOfItsInside) {
  Guard guard(L"MeasurePerformanceModel", [](Acting&) { std::this_thread::sleep_for(std::chrono::milliseconds(30)); });
  const auto begin = std::chrono::steady_clock::now();
  ASSERT_TRUE(guard.host.Run());
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - begin;
  EXPECT_GE(guard.host.Get<double>(L"guard.DurationInSeconds"), 0.03);
  EXPECT_LE(guard.host.Get<double>(L"guard.DurationInSeconds"), elapsed.count());
}

TEST(MeasurePerformanceModel, AFailurePassesAndLeavesNoDuration) {
  Guard guard(L"MeasurePerformanceModel", [](Acting& op) { op.SetErrorMessage(L"no"); });
  EXPECT_FALSE(guard.host.Run());
  EXPECT_EQ(guard.host.Error(), L"no");
  EXPECT_EQ(guard.host.Existing(L"guard.DurationInSeconds"), nullptr);
}

TEST(MeasurePerformanceModel, ARemovedPortIsWarnedOf) {
  const std::wstring warning = L"DurationInSeconds port removed.  Where should the duration go?";
  Guard guard(L"MeasurePerformanceModel");
  guard.container->RemovePort(L"DurationInSeconds");
  ASSERT_TRUE(guard.host.Run());
  EXPECT_THAT(guard.heard, ::testing::ElementsAre(L"1 guard: " + warning));
  EXPECT_EQ(guard.inner->runs, 1);
  ModelHost host;
  host.Add(L"MeasurePerformanceModel", L"guard")->RemovePort(L"DurationInSeconds");
  host.Reopen();
  EXPECT_EQ(host.Op(L"guard")->GetPort(L"DurationInSeconds"), nullptr) << "a document keeps that it is gone";
  ASSERT_TRUE(host.Run());
  EXPECT_THAT(host.Messages(Issue::Warning), ::testing::ElementsAre(warning));
}

// Operator Not Found.

TEST(OperatorNotFound, FailsWhenItIsReached) {
  ModelHost host;
  const auto op = host.Add(L"OperatorNotFound", L"gone");
  EXPECT_TRUE(op->GetPorts().empty());
  EXPECT_FALSE(host.Run());
  EXPECT_EQ(host.Error(), L"The operator implemenation could not be located!");
}

TEST(OperatorNotFound, IsOnlyAFaultWhereTheRunReachesIt) {
  const std::wstring text =
      L"{\"format\": \"TesseraModelFormat\", \"version\": 1, \"operators\": ["
      L"{\"id\": \"gone\", \"operator\": \"ELSEWHERE.Thing\", \"values\": {\"Size\": 3}, \"strange\": [1]},"
      L"{\"id\": \"choose\", \"operator\": \"VANTIX.IfElse\", \"values\": {\"Test\": true, \"True1\": 5}}],"
      L"\"connections\": [{\"from\": \"gone.Result\", \"to\": \"choose.False1\"}]}";
  const auto model = tessera::ModelFormatFactory::OpenFromBuffer(text, L"");
  model->Execute();
  const auto saved = tessera::ModelFormatFactory::SaveToBuffer(model, L"");
  for (const wchar_t* kept : {L"ELSEWHERE.Thing", L"\"Size\": 3", L"strange", L"gone.Result"})
    EXPECT_NE(saved.find(kept), std::wstring::npos);
  model->GetOperators()[1]->GetPort(L"Test")->SetData(Value(false));
  EXPECT_THROW(model->Execute(), tessera::OperatorException);
}

}  // namespace
