#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "kcommon/kfnp.h"
#include "support/testoperators.h"
#include "txlib/document.h"

using namespace testsupport;

namespace {

TEST(Model, AliasesLeadThroughAnyDepth) {
  const auto outer = MakeOperator<tx::Model>();
  boost::shared_ptr<tx::Model> holder = outer;
  std::vector<boost::shared_ptr<tx::Model>> models{outer};
  for (int depth = 0; depth < 20; ++depth) models.push_back(AddTo<tx::Model>(*models.back()));
  const auto op = AddTo<AddOne>(*models.back());
  auto in = op->GetPort(L"In"), out = op->GetPort(L"Out");
  for (auto model = models.rbegin(); model != models.rend(); ++model) {
    in = (*model)->AliasPort(in, L"Number");
    out = (*model)->AliasPort(out, L"Result");
  }
  EXPECT_TRUE(in->AliasesInnerPort(op->GetPort(L"In")));
  EXPECT_FALSE(in->AliasesInnerPort(op->GetPort(L"Out")));
  EXPECT_TRUE(op->GetPort(L"In")->IsAliasedPort());
  EXPECT_EQ(in->GetDisplayName(), L"Number");
  in->SetData(NumberData(41));
  EXPECT_EQ(Number(out), 42);
  in->SetData(NumberData(1));
  EXPECT_FALSE(op->IsExecuted()) << "a value set outside reaches the operator inside";
  EXPECT_EQ(Number(out), 2);
  EXPECT_EQ(outer->GetAllOperators(false).size(), 1U);
  EXPECT_EQ(outer->GetAllOperators(true).size(), 21U);
}

TEST(Model, AnInnerValueShowsWhereTheModelHasNone) {
  const auto model = MakeOperator<tx::Model>();
  const auto op = AddTo<AddOne>(*model);
  const auto port = model->AliasPort(op->GetPort(L"In"), L"In");
  const auto out = model->AliasPort(op->GetPort(L"Out"), L"Out");
  op->GetPort(L"In")->SetData(NumberData(5));
  EXPECT_EQ(Number(out), 6);
  port->SetData(NumberData(8));
  EXPECT_EQ(Number(out), 9);
  port->SetData(nullptr);
  EXPECT_EQ(Number(out), 6);
}

TEST(Model, APortShowsWhatStandsFurtherIn) {
  const auto model = MakeOperator<tx::Model>();
  const auto middle = AddTo<tx::Model>(*model);
  const auto op = AddTo<AddOne>(*middle);
  const auto inner = op->GetPort(L"In");
  const auto port = model->AliasPort(middle->AliasPort(inner, L"In"), L"In");
  EXPECT_FALSE(port->GetData());
  inner->SetDefaultData(NumberData(4));
  EXPECT_EQ(Number(port), 4);
  EXPECT_EQ(Number(middle->GetPort(L"In")), 4);
  inner->SetData(NumberData(5));
  EXPECT_EQ(Number(port), 5);
  port->SetDefaultData(NumberData(6));
  EXPECT_EQ(Number(port), 5) << "a default stands above no value";
  middle->GetPort(L"In")->SetData(NumberData(7));
  EXPECT_EQ(Number(port), 7);
  const auto request = boost::make_shared<tx::DataRequest>();
  request->Initialize();
  EXPECT_EQ(port->GetData(request)->GetDataValue<int>(), 7);
}

TEST(Model, WhatFeedsAnInnerPortInsideIsNotThePortsOwn) {
  const auto model = MakeOperator<tx::Model>();
  const auto first = AddTo<AddOne>(*model), second = AddTo<AddOne>(*model);
  const auto port = model->AliasPort(second->GetPort(L"In"), L"In");
  second->GetPort(L"In")->SetData(NumberData(5));
  tx::Operator::ConnectPort(first->GetPort(L"Out"), second->GetPort(L"In"));
  EXPECT_FALSE(port->GetData());
}

TEST(Model, ADefaultThatIsTakenAwayTakesAwayWhatStandsFurtherIn) {
  const auto model = MakeOperator<tx::Model>();
  const auto op = AddTo<AddOne>(*model);
  const auto inner = op->GetPort(L"In");
  inner->SetDefaultData(NumberData(4));
  inner->SetData(NumberData(5));
  const auto port = model->AliasPort(inner, L"In");
  port->SetDefaultData(nullptr);
  EXPECT_FALSE(port->GetData());
  EXPECT_FALSE(port->GetDefaultData());
  EXPECT_FALSE(inner->GetData());
  port->SetData(NumberData(6));
  EXPECT_EQ(Number(inner), 6);
  port->SetData(nullptr);
  EXPECT_FALSE(inner->GetData());
  port->SetDefaultData(NumberData(7));
  EXPECT_EQ(Number(inner), 5);
}

TEST(Model, OnePortFeedsSeveralInnerPorts) {
  const auto model = MakeOperator<tx::Model>();
  const auto a = AddTo<AddOne>(*model), b = AddTo<AddOne>(*model);
  model->AliasPort(a->GetPort(L"In"), L"In");
  const auto port = model->AliasPort(b->GetPort(L"In"), L"In");
  EXPECT_EQ(port->GetInnerAliasedPorts().size(), 2U);
  port->SetData(NumberData(3));
  model->Execute();
  EXPECT_EQ(Number(a->GetPort(L"Out")), 4);
  EXPECT_EQ(Number(b->GetPort(L"Out")), 4);
}

TEST(Model, ASubModelTakesPartInConnections) {
  const auto model = MakeOperator<tx::Model>();
  const auto before = AddTo<AddOne>(*model), after = AddTo<AddOne>(*model);
  const auto inner = AddTo<tx::Model>(*model);
  const auto op = AddTo<AddOne>(*inner);
  inner->AliasPort(op->GetPort(L"In"), L"In");
  inner->AliasPort(op->GetPort(L"Out"), L"Out");
  inner->ConnectParent(before, L"Out", L"In");
  after->ConnectParent(inner, L"Out", L"In");
  model->Execute();
  EXPECT_EQ(Number(after->GetPort(L"Out")), 3);
  before->GetPort(L"In")->SetData(NumberData(10));
  EXPECT_FALSE(op->IsExecuted());
  EXPECT_FALSE(after->IsExecuted());
  model->Execute();
  EXPECT_EQ(Number(after->GetPort(L"Out")), 13);
  EXPECT_EQ(op->GetMainProcess(), model);
  EXPECT_EQ(op->GetProcess(), inner);
}

TEST(Model, TailsDecideWhatRuns) {
  const auto model = MakeOperator<tx::Model>();
  const auto a = AddTo<AddOne>(*model), b = AddTo<AddOne>(*model);
  model->AddTail(a);
  model->Execute();
  EXPECT_EQ(a->runs, 1);
  EXPECT_EQ(b->runs, 0);
}

TEST(Model, ItselfAsAPartIsRefused) {
  const auto model = MakeOperator<tx::Model>();
  const auto inner = AddTo<tx::Model>(*model);
  EXPECT_THROW(inner->AddOperator(model), std::invalid_argument);
  EXPECT_THROW(model->AddOperator(model), std::invalid_argument);
  EXPECT_THROW(model->AddOperator(nullptr), std::invalid_argument);
}

std::string RaisedByAdding(tx::Model& model, const boost::shared_ptr<tx::Model>& part) {
  try {
    model.AddOperator(part);
  } catch (const std::invalid_argument& exception) {
    return exception.what();
  }
  return {};
}

constexpr const char* kTooDeep =
    "The model Part can't be a part of Whole: models would be nested more than 1000 levels deep.";

boost::shared_ptr<tx::Model> NamedModel(const wchar_t* name) {
  const auto model = MakeOperator<tx::Model>();
  model->SetDisplayName(name);
  return model;
}

TEST(Model, NestingFromOutsideInHasALimit) {
  const auto outermost = NamedModel(L"Whole");
  std::vector<boost::shared_ptr<tx::Model>> models{outermost};
  int refused = 0;
  for (int i = 0; i < 10'000; ++i) {
    const auto part = NamedModel(L"Part");
    models.back()->SetDisplayName(L"Whole");
    const std::string text = RaisedByAdding(*models.back(), part);
    if (text.empty()) {
      models.push_back(part);
      continue;
    }
    ++refused;
    EXPECT_EQ(text, kTooDeep);
    EXPECT_EQ(part->GetProcess(), nullptr);
  }
  EXPECT_EQ(models.size(), 1001U);
  EXPECT_EQ(refused, 9000);
  const auto op = AddTo<AddOne>(*models.back());
  auto out = op->GetPort(L"Out");
  for (auto model = models.rbegin(); model != models.rend(); ++model) out = (*model)->AliasPort(out, L"Out");
  EXPECT_EQ(outermost->GetAllOperators(true).size(), 1001U);
  models.clear();
  outermost->Execute();
  EXPECT_EQ(Number(out), 1);
  op->Invalidate();
  EXPECT_EQ(Number(out), 1) << "pulled";
  EXPECT_EQ(op->runs, 2);
  outermost->RemoveOperator(outermost->GetOperators().front());
  EXPECT_TRUE(outermost->GetOperators().empty()) << "the rest has gone";
}

TEST(Model, NestingFromInsideOutHasALimit) {
  auto whole = NamedModel(L"Part");
  int refused = 0;
  for (int i = 0; i < 10'000; ++i) {
    const auto around = NamedModel(L"Whole");
    const std::string text = RaisedByAdding(*around, whole);
    if (text.empty()) {
      whole = around;
      whole->SetDisplayName(L"Part");
      continue;
    }
    ++refused;
    EXPECT_EQ(text, kTooDeep);
    EXPECT_TRUE(around->GetOperators().empty());
  }
  EXPECT_EQ(refused, 9000);
  EXPECT_EQ(whole->GetAllOperators(true).size(), 1000U);
  whole->Execute();
  EXPECT_TRUE(whole->IsExecuted());
  const auto reopened = tx::PlainDocument::Open(tx::PlainDocument::Save(whole));
  EXPECT_EQ(reopened->GetAllOperators(true).size(), 1000U);
}

TEST(Model, TheLimitOfNestingIsOfBothSidesAndOfNow) {
  const auto chain = [](int levels, std::vector<boost::shared_ptr<tx::Model>>& models) {
    models.assign(1, NamedModel(L"Part"));
    for (int i = 1; i < levels; ++i) models.push_back(AddTo<tx::Model>(*models.back()));
    models.back()->SetDisplayName(L"Whole");
  };
  std::vector<boost::shared_ptr<tx::Model>> upper, lower;
  chain(501, upper);
  chain(501, lower);
  EXPECT_EQ(RaisedByAdding(*upper.back(), lower.front()), kTooDeep);
  lower[499]->RemoveOperator(lower[500]);
  EXPECT_EQ(RaisedByAdding(*upper.back(), lower.front()), "") << "500 levels are left";
  EXPECT_EQ(upper.front()->GetAllOperators(true).size(), 1000U);
  EXPECT_EQ(RaisedByAdding(*lower[498], lower[499]), "") << "it is there already";
}

TEST(Model, RemovingAnOperatorTakesItsConnectionsAndAliases) {
  const auto model = MakeOperator<tx::Model>();
  const auto a = AddTo<AddOne>(*model), b = AddTo<AddOne>(*model);
  b->ConnectParent(a, L"Out", L"In");
  model->AliasPort(a->GetPort(L"In"), L"In");
  model->RemoveOperator(a);
  EXPECT_EQ(model->GetPort(L"In"), nullptr);
  EXPECT_EQ(b->GetPort(L"In")->GetIncomingConnection(), nullptr);
  EXPECT_EQ(a->GetProcess(), nullptr);
  model->Execute();
  EXPECT_EQ(Number(b->GetPort(L"Out")), 1);
}

TEST(Model, TemporaryFilesGoWithTheModel) {
  std::string folder, registered;
  {
    const auto model = MakeOperator<tx::Model>();
    const auto first = model->GenerateTemporaryFileName(L"", L".txt");
    const auto second = model->GenerateTemporaryFileName(L"", L".txt");
    EXPECT_NE(first, second);
    EXPECT_TRUE(first.ends_with(L".txt"));
    folder = kfnp_ToNative(model->GetTemporaryDirectory());
    std::ofstream(kfnp_ToNative(first)) << "text";
    EXPECT_TRUE(std::filesystem::exists(kfnp_ToNative(first)));
    EXPECT_FALSE(std::filesystem::exists(kfnp_ToNative(second))) << "the name alone is made";
    registered = std::filesystem::temp_directory_path() / ("registered-" + std::to_string(::getpid()));
    std::ofstream(registered) << "text";
    model->RegisterTemporaryFile(kfnp_FromNative(registered));
  }
  EXPECT_FALSE(std::filesystem::exists(folder));
  EXPECT_FALSE(std::filesystem::exists(registered));
}

TEST(Model, ADerivedContainerSharesTheEnvironment) {
  const auto model = MakeOperator<tx::Model>();
  const auto container = model->DeriveNewContainer();
  model->GetEnvironment()->SetNumThreads(3);
  EXPECT_EQ(container->GetNumThreads(), 3U);
  EXPECT_TRUE(container->GetOperators().empty());
}

TEST(Model, MessagesAreRelayedOutwards) {
  const auto model = MakeOperator<tx::Model>();
  const auto inner = AddTo<tx::Model>(*model);
  const auto op = AddTo<Failing>(*inner);
  op->raise = [](Failing& self) {
    self.SetInfoMessage(L"info");
    self.SetWarningMessage(L"warning");
    self.SetErrorMessage(L"error");
  };
  std::vector<std::pair<std::wstring, int>> told;
  const auto handle =
      model->AddOnMessageCallback([&](const auto& source, const auto&, const auto& text, const auto&, auto severity) {
        EXPECT_EQ(source, op);
        told.emplace_back(text, severity);
      });
  EXPECT_THROW(model->Execute(), tx::OperatorException);
  const std::vector<std::pair<std::wstring, int>> expected{{L"info", 0}, {L"warning", 1}, {L"error", 2}};
  EXPECT_EQ(told, expected);
  EXPECT_EQ(op->GetMessages().size(), 3U);
  model->ClearMessageQueue();
  EXPECT_TRUE(op->GetMessages().empty());
}

TEST(Model, ProgressIsRelayedAndCanBeSwitchedOff) {
  const auto model = MakeOperator<tx::Model>();
  const auto op = AddTo<AddOne>(*model);
  std::vector<double> told;
  const auto handle = model->AddOnProgressCallback([&](const auto&, double percent) { told.push_back(percent); });
  for (const double percent : {-5.0, 50.0, 250.0}) op->SetProgress(percent);
  EXPECT_EQ(told, (std::vector<double>{0, 50, 100}));
  model->SetReportProgress(false);
  op->SetProgress(75);
  EXPECT_EQ(told.size(), 3U);
}

}  // namespace
