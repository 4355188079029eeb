#include <gtest/gtest.h>

#include <exception>
#include <vector>

#include "support/testoperators.h"

using namespace testsupport;

namespace {

TEST(Execution, ParentsRunOnceAheadOfTheOperator) {
  const auto first = MakeOperator<AddOne>(), left = MakeOperator<AddOne>(), right = MakeOperator<AddOne>();
  left->ConnectParent(first, L"Out", L"In");
  right->ConnectParent(left, L"Out", L"In");
  right->AddParent(first);
  right->Execute();
  EXPECT_EQ(Number(right->GetPort(L"Out")), 3);
  EXPECT_EQ(first->runs, 1);
  EXPECT_EQ(left->runs, 1);
}

TEST(Execution, ADiamondRunsEachOperatorOnce) {
  const auto model = MakeOperator<tx::Model>();
  const auto top = AddTo<AddOne>(*model), a = AddTo<AddOne>(*model), b = AddTo<AddOne>(*model);
  const auto end = AddTo<AddOne>(*model);
  a->ConnectParent(top, L"Out", L"In");
  b->ConnectParent(a, L"Out", L"In");
  end->ConnectParent(b, L"Out", L"In");
  end->AddParent(a);  // asked for ahead of b, which needs it too
  end->AddParent(top);
  model->Execute();
  EXPECT_EQ(Number(end->GetPort(L"Out")), 4);
  for (const auto& op : {top, a, b, end}) EXPECT_EQ(op->runs, 1);
}

TEST(Execution, AnExecutedOperatorLeavesItsOutputsAlone) {
  const auto op = MakeOperator<AddOne>();
  op->Execute();
  const auto before = op->GetPort(L"Out")->GetExistingData();
  op->Execute();
  EXPECT_EQ(op->GetPort(L"Out")->GetExistingData(), before);
  EXPECT_EQ(op->runs, 1);
}

TEST(Execution, ADeactivatedOperatorDoesNothing) {
  const auto op = MakeOperator<AddOne>();
  EXPECT_TRUE(op->IsActive());
  op->DeactivateOperator();
  op->Execute();
  EXPECT_FALSE(op->IsActive());
  EXPECT_EQ(op->runs, 0);
  EXPECT_EQ(op->GetPort(L"Out")->GetData(), nullptr);
}

TEST(Execution, OrderOnlyParentsRunFirst) {
  const auto first = MakeOperator<AddOne>(), second = MakeOperator<AddOne>();
  second->AddParent(first);
  EXPECT_EQ(second->GetParentsWithoutConnection().size(), 1U);
  second->Execute();
  EXPECT_TRUE(first->IsExecuted());
}

TEST(Execution, ChangedInputInvalidatesDownstream) {
  const auto model = MakeOperator<tx::Model>();
  const auto first = AddTo<AddOne>(*model), second = AddTo<AddOne>(*model), aside = AddTo<AddOne>(*model);
  second->ConnectParent(first, L"Out", L"In");
  std::vector<std::wstring> told;
  auto handle = second->AddOnInvalidateCallback([&](const auto& op) { told.push_back(op->GetOperatorName()); });
  model->Execute();
  first->GetPort(L"In")->SetData(NumberData(10));
  EXPECT_FALSE(first->IsExecuted());
  EXPECT_FALSE(second->IsExecuted());
  EXPECT_FALSE(model->IsExecuted());
  EXPECT_TRUE(aside->IsExecuted());
  EXPECT_EQ(second->GetPort(L"Out")->GetExistingData(), nullptr) << "a result of other inputs is no result";
  EXPECT_EQ(told.size(), 1U);
  model->Execute();
  EXPECT_EQ(Number(second->GetPort(L"Out")), 12);
  EXPECT_EQ(aside->runs, 1);
  handle.reset();
  first->GetPort(L"In")->SetData(NumberData(20));
  EXPECT_EQ(told.size(), 1U) << "the callback went with its handle";
}

TEST(Execution, NewConnectionInvalidates) {
  const auto first = MakeOperator<AddOne>(), second = MakeOperator<AddOne>();
  second->Execute();
  second->ConnectParent(first, L"Out", L"In");
  EXPECT_FALSE(second->IsExecuted());
  EXPECT_EQ(Number(second->GetPort(L"Out")), 2);
  tx::Operator::DisconnectPort(second->GetPort(L"In"));
  EXPECT_EQ(Number(second->GetPort(L"Out")), 1);
}

TEST(Execution, TenThousandTimesTenLongChainRuns) {
  const auto model = MakeOperator<tx::Model>();
  boost::shared_ptr<AddOne> last;
  constexpr int kLength = 100000;
  for (int i = 0; i < kLength; ++i) {
    const auto next = AddTo<AddOne>(*model);
    if (last) next->ConnectParent(last, L"Out", L"In");
    last = next;
  }
  model->Execute();
  EXPECT_EQ(Number(last->GetPort(L"Out")), kLength);
  model->GetOperators().front()->GetPort(L"In")->SetData(NumberData(5));
  EXPECT_EQ(Number(last->GetPort(L"Out")), kLength + 5);
}

TEST(Execution, ACycleIsAMessage) {
  const auto a = MakeOperator<AddOne>(), b = MakeOperator<AddOne>();
  a->SetDisplayName(L"First");
  b->SetDisplayName(L"Second");
  a->ConnectParent(b, L"Out", L"In");
  b->ConnectParent(a, L"Out", L"In");
  try {
    a->Execute();
    FAIL() << "ran a cycle";
  } catch (const tx::OperatorException& problem) {
    EXPECT_NE(problem.get_What().find(L"needs its own result"), std::wstring::npos);
    EXPECT_NE(problem.get_What().find(L"Second"), std::wstring::npos);
  }
}

TEST(Execution, AFailureKeepsTypeTextAndOperator) {
  const auto model = MakeOperator<tx::Model>();
  const auto inner = AddTo<tx::Model>(*model);
  const auto failing = AddTo<Failing>(*inner);
  failing->raise = [](Failing&) { throw std::out_of_range("of a library"); };
  try {
    model->Execute();
    FAIL() << "nothing was raised";
  } catch (const std::out_of_range& problem) {
    EXPECT_STREQ(problem.what(), "of a library");
    EXPECT_EQ(tx::ExecutionEnvironment::GetFailedOperator(std::current_exception()), L"Failing operator");
  }
  EXPECT_FALSE(model->IsExecuted());
  failing->raise.clear();
  model->Execute();
  EXPECT_EQ(failing->runs, 2) << "a failed operator runs again";
}

TEST(Execution, AnOperatorThatFailsLeavesNoOutput) {
  const auto op = MakeOperator<Failing>();
  op->raise = [](Failing& self) {
    tx::WritePort<double>(self, L"Out", 7);
    self.SetErrorMessage(L"half way");
  };
  EXPECT_THROW(op->Execute(), tx::OperatorException);
  EXPECT_EQ(op->GetPort(L"Out")->GetExistingData(), nullptr);
}

TEST(Execution, CancelEndsTheRunAtTheNextOperator) {
  const auto model = MakeOperator<tx::Model>();
  const auto first = AddTo<Failing>(*model);
  const auto second = AddTo<AddOne>(*model);
  second->ConnectParent(first, L"Out", L"In");
  first->raise = [&](Failing&) { model->GetEnvironment()->Cancel(); };
  EXPECT_THROW(model->Execute(), tx::CancelledException);
  EXPECT_EQ(second->runs, 0);
}

TEST(Execution, NestedEnvironmentsTakeFromTheirParent) {
  const auto outer = tx::ExecutionEnvironment::Create();
  const auto inner = tx::ExecutionEnvironment::Create(outer);
  outer->SetNumThreads(7);
  EXPECT_EQ(inner->GetNumThreads(), 7U);
  inner->SetNumThreads(0);
  EXPECT_EQ(inner->GetNumThreads(), 0U);
  outer->Cancel();
  EXPECT_TRUE(inner->IsCancelled());
  EXPECT_THROW(inner->CheckCancelled(), tx::CancelledException);
}

TEST(Execution, TheNearestModelFromAFileTellsTheFolder) {
  const auto outer = MakeOperator<tx::Model>();
  const auto inner = AddTo<tx::Model>(*outer);
  const auto op = AddTo<AddOne>(*inner);
  EXPECT_EQ(op->GetDocumentFolder(), L"");
  outer->SetDocumentFolder(L"/somewhere");
  EXPECT_EQ(op->GetDocumentFolder(), L"/somewhere");
  inner->SetDocumentFolder(L"/else where/ö");
  EXPECT_EQ(op->GetDocumentFolder(), L"/else where/ö");
  EXPECT_EQ(outer->GetDocumentFolder(), L"/somewhere");
}

TEST(Execution, AnObserverSeesWorkBeginAndEnd) {
  const auto model = MakeOperator<tx::Model>();
  AddTo<AddOne>(*model);
  std::vector<std::pair<std::wstring, bool>> seen;
  model->GetEnvironment()->SetRunObserver(
      [&](const auto& op, bool finished) { seen.emplace_back(op->GetOperatorName(), finished); });
  model->Execute();
  const std::vector<std::pair<std::wstring, bool>> expected{
      {L"Model", false}, {L"AddOne", false}, {L"AddOne", true}, {L"Model", true}};
  EXPECT_EQ(seen, expected);
}

/// Runs its "Chosen" input's operator alone.
class Chooser : public tx::Operator {
 public:
  const wchar_t* GetDefaultOperatorName() const override { return L"Chooser"; }
  void DeclarePorts() override {
    CreatePort(L"Chosen", tx::Data::DefaultTypeName(), tx::PortType::Input);
    CreatePort(L"Other", tx::Data::DefaultTypeName(), tx::PortType::Input);
  }
  void ExecuteParents() override {
    std::vector<boost::shared_ptr<tx::PortConnection>> in, out;
    GetConnectedPorts(GetPort(L"Chosen"), in, out)->TryGetOperator()->Execute();
    parentsRunHere = GetPort(L"Chosen")->GetExistingData() != nullptr;
  }
  bool parentsRunHere = false;
};

TEST(Execution, AnOperatorMayDecideWhichParentsRun) {
  const auto chosen = MakeOperator<AddOne>(), other = MakeOperator<AddOne>(), deep = MakeOperator<AddOne>();
  const auto chooser = MakeOperator<Chooser>();
  chosen->ConnectParent(deep, L"Out", L"In");
  chooser->ConnectParent(chosen, L"Out", L"Chosen");
  chooser->ConnectParent(other, L"Out", L"Other");
  chooser->Execute();
  EXPECT_EQ(deep->runs, 1);
  EXPECT_TRUE(chooser->parentsRunHere);
  EXPECT_EQ(other->runs, 0);
}

}  // namespace
