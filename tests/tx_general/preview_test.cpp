#include <gmock/gmock.h>

#include "tx_general/rows.h"

namespace {

using namespace testing_support;
using Names = std::vector<std::wstring>;

TEST(Preview, TheNewestPortStandsFirst) {
  ModelHost host;
  const auto op = host.Add(L"Preview", L"view");
  EXPECT_TRUE(op->IsExpandible());
  EXPECT_EQ(PortNames(*op), Names{L"Input1"});
  op->AddExpansionPorts();
  op->AddExpansionPorts();
  EXPECT_EQ(PortNames(*op), (Names{L"Input3", L"Input2", L"Input1"}));
  op->RemoveExpansionPorts();
  EXPECT_EQ(PortNames(*op), (Names{L"Input2", L"Input1"}));
  op->AddExpansionPorts();
  EXPECT_EQ(PortNames(*op), (Names{L"Input3", L"Input2", L"Input1"})) << "the number is free again";
}

TEST(Preview, TheLastPortStays) {
  ModelHost host;
  const auto op = host.Add(L"Preview", L"view");
  op->RemoveExpansionPorts();
  EXPECT_EQ(PortNames(*op), Names{L"Input1"});
}

TEST(Preview, ANumberThatIsTakenIsPassedOver) {
  ModelHost host;
  const auto op = host.Add(L"Preview", L"view");
  op->AddExpansionPorts();
  op->RemovePort(L"Input1");
  op->AddExpansionPorts();
  EXPECT_EQ(PortNames(*op), (Names{L"Input3", L"Input2"}));
}

bool WasExecuted(ModelHost& host, const std::wstring& port) {
  const auto said = host.PortOf(port)->GetAttribute(L"ParentOperatorExecuted");
  return tessera::AsDataOf<tessera::BoolData>(said)->GetDataValue();
}

TEST(Preview, InputsTellWhetherTheyWereReady) {
  ModelHost host;
  const auto op = host.Add(L"Preview", L"view");
  op->AddExpansionPorts();
  op->AddExpansionPorts();
  host.Add(L"ToString", L"early");
  host.Add(L"ToString", L"late");
  host.Set(L"early.Data", 1).Set(L"late.Data", 2);
  host.Connect(L"early.String", L"view.Input1").Connect(L"late.String", L"view.Input2");
  EXPECT_EQ(host.PortOf(L"view.Input1")->GetAttribute(L"ParentOperatorExecuted"), nullptr);
  host.Op(L"early")->Execute();
  ASSERT_TRUE(host.Run());
  EXPECT_TRUE(WasExecuted(host, L"view.Input1"));
  EXPECT_FALSE(WasExecuted(host, L"view.Input2"));
  EXPECT_FALSE(WasExecuted(host, L"view.Input3"));
  EXPECT_TRUE(host.Op(L"late")->IsExecuted()) << "it is drawn in";
  EXPECT_EQ(host.Get<std::wstring>(L"view.Input2"), L"2");
  // The attribute is of the run: another one says it anew.
  op->Invalidate();
  ASSERT_TRUE(host.Run());
  EXPECT_TRUE(WasExecuted(host, L"view.Input2"));
}

TEST(Preview, AnAliasedInputIsLeftAlone) {
  ModelHost host;
  const auto op = host.Add(L"Preview", L"view");
  host.GetModel()->AliasPort(op->GetPort(L"Input1"), L"Shown");
  ASSERT_TRUE(host.Run());
  EXPECT_EQ(op->GetPort(L"Input1")->GetAttribute(L"ParentOperatorExecuted"), nullptr);
}

TEST(Preview, TakesEveryTypeAndNothing) {
  for (const auto& data : {Value(5), Value(L"text"), List({}), DataPtr()}) {
    ModelHost host;
    host.Add(L"Preview", L"view");
    host.Set(L"view.Input1", data);
    EXPECT_TRUE(host.Run());
  }
}

TEST(Preview, PortsSurviveADocument) {
  ModelHost host;
  host.Add(L"Preview", L"view")->AddExpansionPorts();
  host.Set(L"view.Input2", 5).Reopen();
  EXPECT_EQ(PortNames(*host.Op(L"view")), (Names{L"Input2", L"Input1"}));
  EXPECT_EQ(host.Get<int>(L"view.Input2"), 5);
}

}  // namespace
