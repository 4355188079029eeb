#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <mutex>
#include <thread>

#include "support/testoperators.h"
#include "txlib/document.h"
#include "txlib/factories.h"

using namespace testsupport;
using tx::RunStep;

namespace {

using Seen = std::vector<std::wstring>;

/// Writes down what it is told.
struct Observer {
  explicit Observer(const boost::shared_ptr<tx::ExecutionEnvironment>& environment) {
    handle = environment->AddStepObserver([this](const boost::shared_ptr<tx::Operator>& op, RunStep step) {
      static const wchar_t* const kNames[] = {L"run ", L"ran ", L"pull ", L"pulled "};
      const std::lock_guard lock(mutex);
      seen.push_back(kNames[static_cast<int>(step)] + op->GetDisplayName());
    });
  }
  std::mutex mutex;
  Seen seen;
  tx::CallbackHandle handle;
};

boost::shared_ptr<tx::DataRequest> Request() {
  const auto request = boost::make_shared<tx::DataRequest>();
  request->Initialize();
  return request;
}

TEST(Observers, SeeRunsAndPulls) {
  const auto model = MakeOperator<tx::Model>();
  const auto first = AddTo<PullAddOne>(*model), second = AddTo<PullAddOne>(*model);
  first->SetDisplayName(L"first");
  second->SetDisplayName(L"second");
  second->ConnectParent(first, L"Out", L"In");
  Observer observer(model->GetEnvironment());
  second->GetPort(L"Out")->GetData(Request());
  EXPECT_THAT(observer.seen, ::testing::ElementsAre(L"pull second", L"pull first", L"pulled first", L"pulled second"));
  observer.seen.clear();
  model->Execute();
  EXPECT_THAT(observer.seen, ::testing::ElementsAre(L"run Model", L"run first", L"ran first", L"run second",
                                                    L"ran second", L"ran Model"));
}

TEST(Observers, APullThatRunsIsSeenAsBoth) {
  const auto op = MakeOperator<AddOne>();
  const auto model = MakeOperator<tx::Model>();
  model->AddOperator(op);
  Observer observer(model->GetEnvironment());
  op->GetPort(L"Out")->GetData(Request());
  EXPECT_THAT(observer.seen, ::testing::ElementsAre(L"pull AddOne", L"run AddOne", L"ran AddOne", L"pulled AddOne"));
}

TEST(Observers, AFailureIsAnEndToo) {
  const auto model = MakeOperator<tx::Model>();
  AddTo<Failing>(*model)->raise = [](Failing& op) { op.SetErrorMessage(L"no"); };
  Observer observer(model->GetEnvironment());
  EXPECT_THROW(model->Execute(), tx::OperatorException);
  EXPECT_THAT(observer.seen,
              ::testing::ElementsAre(L"run Model", L"run Failing operator", L"ran Failing operator", L"ran Model"));
}

TEST(Observers, SeveralAtOnceAndThoseAroundANestedEnvironment) {
  const auto outer = tx::ExecutionEnvironment::Create();
  const auto model = MakeOperator<tx::Model>();
  model->SetEnvironment(tx::ExecutionEnvironment::Create(outer));
  Observer around(outer), one(model->GetEnvironment()), two(model->GetEnvironment());
  int told = 0;
  outer->SetRunObserver([&](const auto&, bool) { ++told; });
  model->Execute();
  const Seen expected{L"run Model", L"ran Model"};
  EXPECT_EQ(around.seen, expected);
  EXPECT_EQ(one.seen, expected);
  EXPECT_EQ(two.seen, expected);
  EXPECT_EQ(told, 2);
  outer->SetRunObserver({});
}

TEST(Observers, EndWithTheirHandle) {
  const auto model = MakeOperator<tx::Model>();
  Observer observer(model->GetEnvironment());
  observer.handle.reset();
  model->Execute();
  EXPECT_TRUE(observer.seen.empty());
}

TEST(Observers, ConcurrentPullsAreAllSeen) {
  const auto model = MakeOperator<tx::Model>();
  const auto op = AddTo<PullAddOne>(*model);
  Observer observer(model->GetEnvironment());
  std::vector<std::thread> threads;
  for (int number = 0; number < 4; ++number) {
    threads.emplace_back([&] {
      for (int round = 0; round < 50; ++round) op->GetPort(L"Out")->GetData(Request());
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(observer.seen.size(), 400U);
  EXPECT_EQ(std::count(observer.seen.begin(), observer.seen.end(), L"pulled AddOne"), 200);
}

TEST(Observers, ComeAndGoWhileThreadsRun) {
  const auto model = MakeOperator<tx::Model>();
  const auto op = AddTo<PullAddOne>(*model);
  std::thread pulling([&] {
    for (int round = 0; round < 500; ++round) op->GetPort(L"Out")->GetData(Request());
  });
  for (int round = 0; round < 50; ++round) {
    const auto handle = model->GetEnvironment()->AddStepObserver([](const auto&, RunStep) {});
    std::this_thread::yield();
  }
  pulling.join();
  EXPECT_EQ(op->pulls, 500);
}

/// Runs copies of a document in place of its own inside, as an iterating operator does.
class Repeating : public tx::Model {
 public:
  const wchar_t* GetDefaultOperatorName() const override { return L"Repeating"; }
  void OnExecute() override {
    container = GetMainProcess()->DeriveNewContainer();
    for (int number = 0; number < 2; ++number) {
      copies.push_back(tx::ModelFormatFactory::OpenFromBuffer(text, L"TesseraModelFormat"));
      copies.back()->SetProcess(container);
      std::thread([&] { copies.back()->Execute(); }).join();
    }
  }
  std::wstring text;
  boost::shared_ptr<tx::Model> container;
  std::vector<boost::shared_ptr<tx::Model>> copies;
};

std::wstring PathText(const tx::Operator& op) {
  std::wstring text;
  for (const auto& step : tx::GetOperatorPath(op)) text += L"/" + (step.isCopy ? L"copy" : step.op->GetDisplayName());
  return text;
}

TEST(OperatorPath, LeadsFromTheOutermostModelInwards) {
  const auto model = MakeOperator<tx::Model>();
  const auto inner = AddTo<tx::Model>(*model);
  inner->SetDisplayName(L"inner");
  const auto op = AddTo<AddOne>(*inner);
  EXPECT_EQ(PathText(*op), L"/inner/AddOne");
  EXPECT_EQ(PathText(*model), L"");
  EXPECT_EQ(PathText(*MakeOperator<AddOne>()), L"");
}

TEST(OperatorPath, CopiesLeadBackToTheOperatorThatRunsThem) {
  const auto model = MakeOperator<tx::Model>();
  const auto group = AddTo<tx::Model>(*model);
  group->SetDisplayName(L"group");
  const auto repeating = AddTo<Repeating>(*group);
  repeating->SetDisplayName(L"Repeating");
  repeating->text =
      L"{\"format\": \"TesseraModelFormat\", \"version\": 1, \"operators\": [{\"id\": \"a\", \"operator\": "
      L"\"VANTIX.Model\", \"model\": {\"operators\": [{\"id\": \"b\", \"operator\": \"VANTIX.Model\"}]}}]}";
  Observer observer(model->GetEnvironment());
  model->Execute();
  const auto b = repeating->copies[1]->GetAllOperators(true).back();
  EXPECT_EQ(PathText(*b), L"/group/Repeating/copy/Model/Model");
  EXPECT_EQ(tx::GetDocumentId(*b), "b");
  EXPECT_EQ(tx::GetDocumentId(*repeating->copies[1]), "");
  EXPECT_EQ(tx::GetDocumentId(*group), "");
  // All that the copies did was seen: two copies of three models each, and the three around them.
  EXPECT_EQ(observer.seen.size(), 18U);
  EXPECT_EQ(repeating->container->GetEnvironment(), model->GetEnvironment());
}

TEST(Model, ATailThatStandsNowhereBecomesAPart) {
  const auto model = MakeOperator<tx::Model>();
  const auto tail = MakeOperator<AddOne>();
  model->AddTail(tail);
  EXPECT_EQ(tail->GetProcess(), model);
  model->Execute();
  EXPECT_EQ(tail->runs, 1);
  model->Clear();
  EXPECT_TRUE(model->GetTails().empty());
  EXPECT_EQ(tail->GetProcess(), nullptr);
}

}  // namespace
