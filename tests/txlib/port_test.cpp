#include <gtest/gtest.h>

#include <thread>

#include "support/testoperators.h"

using namespace testsupport;

namespace {

std::vector<std::wstring> Names(const tx::Operator& op) {
  std::vector<std::wstring> names;
  for (const auto& port : op.GetPorts()) names.push_back(port->GetName());
  return names;
}

TEST(Ports, AnUnknownNameGivesNull) { EXPECT_EQ(MakeOperator<AddOne>()->GetPort(L"Nothing"), nullptr); }

TEST(Ports, APositionShiftsLaterPorts) {
  const auto op = MakeOperator<AddOne>();
  op->CreatePort(L"Between", tx::Data::DefaultTypeName(), tx::PortType::Input, 1);
  EXPECT_EQ(Names(*op), (std::vector<std::wstring>{L"In", L"Between", L"Out"}));
  op->CreatePort(L"Last", tx::Data::DefaultTypeName(), tx::PortType::Setting, 99);
  EXPECT_EQ(Names(*op).back(), L"Last");
}

TEST(Ports, ANameIsTakenOnce) {
  const auto op = MakeOperator<AddOne>();
  EXPECT_THROW(op->CreatePort(L"In", tx::Data::DefaultTypeName(), tx::PortType::Input), std::invalid_argument);
}

TEST(Ports, ManyPortsAreFoundByName) {
  const auto op = MakeOperator<AddOne>();
  for (int i = 0; i < 100; ++i) {
    op->CreatePort(op->GetNewPortName(L"More"), tx::Data::DefaultTypeName(), tx::PortType::Input);
  }
  EXPECT_EQ(op->GetPort(L"More57")->GetName(), L"More57");
  EXPECT_TRUE(op->RemovePort(L"More57"));
  EXPECT_FALSE(op->RemovePort(L"More57"));
  EXPECT_EQ(op->GetPort(L"More57"), nullptr);
  op->ClearPorts();
  EXPECT_TRUE(op->GetPorts().empty());
  try {
    op->Execute();
    ADD_FAILURE() << "ran without its ports";
  } catch (const tx::OperatorException& problem) {
    EXPECT_EQ(problem.get_What(), L"There is no port named In.");
  }
}

TEST(Ports, AnOutlivedPortIsHarmless) {
  auto op = MakeOperator<AddOne>();
  const auto port = op->GetPort(L"Out");
  op.reset();
  EXPECT_EQ(port->TryGetOperator(), nullptr);
  EXPECT_EQ(port->GetData(), nullptr);
  port->SetData(NumberData(1));
}

TEST(Ports, DefaultsShowUntilAValueIsSet) {
  const auto op = MakeOperator<AddOne>();
  const auto port = op->CreatePort(L"Flag", tx::PortType::Input, tx::MakeData<tx::BoolData>(true));
  EXPECT_EQ(port->GetSupportedDataTypes().front().ToString(), L"VANTIX.Bool");
  EXPECT_TRUE(*tx::GetPortDataAs<bool>(port));
  port->SetData(tx::MakeData<tx::BoolData>(false));
  EXPECT_FALSE(*tx::GetPortDataAs<bool>(port));
  port->SetData(nullptr);
  EXPECT_TRUE(*tx::GetPortDataAs<bool>(port));
}

TEST(Ports, AttributesComeInPairs) {
  const auto op = MakeOperator<AddOne>();
  const boost::shared_ptr<tx::Data> filter = tx::MakeData<tx::StringData>(L"*.txt");
  const boost::shared_ptr<tx::Data> input = tx::MakeData<tx::BoolData>(true);
  const auto port = op->CreatePortWithAttributes(L"File", tx::FileData::DefaultTypeName(), tx::PortType::Input,
                                                 L"FileFilter", &filter, L"Input", &input, nullptr);
  EXPECT_EQ(port->GetAttribute(L"FileFilter"), filter);
  EXPECT_EQ(port->GetAttribute(L"Input"), input);
  EXPECT_EQ(port->GetAttribute(L"Kind"), nullptr);
  EXPECT_EQ(port->GetAttributeMap().size(), 2U);
}

TEST(Ports, SupportedTypes) {
  const auto op = MakeOperator<AddOne>();
  const auto port = op->GetPort(L"In");
  const tx::ObjectName text = tx::StringData::DefaultTypeName();
  EXPECT_FALSE(port->SupportsType(text));
  port->AddExtraSupportedType(text);
  EXPECT_TRUE(port->SupportsType(text));
  port->AddExcludedType(text);
  EXPECT_FALSE(port->SupportsType(text));
  port->SetSupportedTypes({tx::Data::DefaultTypeName()});
  EXPECT_TRUE(port->SupportsType(tx::BoolData::DefaultTypeName()));
}

TEST(Ports, TextIsReadByTheFirstType) {
  const auto op = MakeOperator<AddOne>();
  EXPECT_TRUE(op->GetPort(L"In")->SetDataFromString(L"2.5"));
  EXPECT_FALSE(op->GetPort(L"In")->SetDataFromString(L"two"));
  EXPECT_EQ(Number(op->GetPort(L"Out")), 3.5);
}

struct ReadCase {
  const char* name;
  boost::shared_ptr<tx::Data> data;
  const wchar_t* message;
};

TEST(Ports, RequiredReadsSayWhatIsMissing) {
  const auto noValue = boost::make_shared<tx::StringData>();
  const ReadCase cases[] = {{"nothing", nullptr, L"Data not found on port(Shown name)."},
                            {"other type", NumberData(1), L"No appropriate data found on port(Shown name)."},
                            {"no value", noValue, L"Null data found on port(Shown name)."}};
  for (const auto& row : cases) {
    SCOPED_TRACE(row.name);
    const auto op = MakeOperator<AddOne>();
    const auto port = op->CreatePort(L"Text", tx::StringData::DefaultTypeName(), tx::PortType::Input);
    port->SetDisplayName(L"Shown name");
    port->SetData(row.data);
    try {
      tx::GetPortDataAs<std::wstring>(port);
      ADD_FAILURE() << "no message";
    } catch (const tx::OperatorException& problem) {
      EXPECT_EQ(problem.get_What(), row.message);
    }
    EXPECT_EQ(tx::GetPortDataAs<std::wstring>(port, true), nullptr);
  }
}

TEST(Ports, ConnectionsNeedAnOutputAndAnInput) {
  const auto a = MakeOperator<AddOne>(), b = MakeOperator<AddOne>();
  EXPECT_THROW(tx::Operator::ConnectPort(a->GetPort(L"In"), b->GetPort(L"In")), std::invalid_argument);
  EXPECT_THROW(tx::Operator::ConnectPort(a->GetPort(L"Out"), b->GetPort(L"Out")), std::invalid_argument);
  EXPECT_THROW(b->ConnectParent(a, L"Nothing", L"In"), std::invalid_argument);
  const auto connection = b->ConnectParent(a, L"Out", L"In");
  EXPECT_EQ(connection->GetSource(), a->GetPort(L"Out"));
  EXPECT_EQ(connection->GetDestination(), b->GetPort(L"In"));
}

TEST(Pull, ARequestTravelsUpWithoutTheExecutedFlag) {
  const auto a = MakeOperator<PullAddOne>(), b = MakeOperator<PullAddOne>();
  b->ConnectParent(a, L"Out", L"In");
  for (int i = 1; i <= 3; ++i) {
    const auto request = boost::make_shared<tx::DataRequest>();
    request->Initialize();
    const auto answer = tx::AsDataOf<tx::DoubleData>(b->GetPort(L"Out")->GetData(request));
    EXPECT_EQ(answer->GetDataValue(), 2);
    EXPECT_EQ(a->pulls, i);
  }
  EXPECT_FALSE(a->IsExecuted());
  EXPECT_EQ(b->GetPort(L"Out")->GetExistingData(), nullptr);
}

TEST(Pull, AnOperatorWithoutAnswerOfItsOwnIsExecuted) {
  const auto a = MakeOperator<AddOne>();
  const auto b = MakeOperator<PullAddOne>();
  b->ConnectParent(a, L"Out", L"In");
  const auto request = boost::make_shared<tx::DataRequest>();
  EXPECT_EQ(tx::AsDataOf<tx::DoubleData>(b->GetPort(L"Out")->GetData(request))->GetDataValue(), 2);
  EXPECT_EQ(a->runs, 1);
}

TEST(PullConcurrency, TwoThreadsPullOneGraph) {
  for (int round = 0; round < 50; ++round) {
    const auto model = MakeOperator<tx::Model>();
    const auto source = AddTo<AddOne>(*model), other = AddTo<AddOne>(*model);
    const auto left = AddTo<PullAddOne>(*model), right = AddTo<PullAddOne>(*model);
    other->ConnectParent(source, L"Out", L"In");
    left->ConnectParent(other, L"Out", L"In");
    right->ConnectParent(source, L"Out", L"In");
    double results[2] = {};
    const boost::shared_ptr<tx::Operator> ends[2] = {left, right};
    std::vector<std::thread> threads;
    for (int i = 0; i < 2; ++i) {
      threads.emplace_back([&, i] {
        for (int pull = 0; pull < 20; ++pull) {
          const auto request = boost::make_shared<tx::DataRequest>();
          results[i] = tx::AsDataOf<tx::DoubleData>(ends[i]->GetPort(L"Out")->GetData(request))->GetDataValue();
        }
      });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(results[0], 3);
    EXPECT_EQ(results[1], 2);
    EXPECT_EQ(source->runs, 1);
  }
}

}  // namespace
