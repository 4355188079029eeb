#include <gtest/gtest.h>

#include "support/modelhost.h"
#include "txlib/factories.h"

// The class of the methods has no header: a further class made from it is a part of its source.
#include "../../tx_general/iteratormethods.cpp"
#include "../../tx_general/iteratorparts.cpp"

namespace {

using namespace testing_support;

constexpr tessera::OperatorSheet kOther{.name = L"IteratorExecutionMethodOther"};
class OtherMethod : public tessera::Described<kOther, korven::tx_general::IEMInProcess> {};

TEST(IteratorMethods, AnotherNameIsNoMethod) {
  ModelHost host;
  const auto iterator = boost::dynamic_pointer_cast<tessera::Model>(host.Add(L"Iterator", L"each"));
  const auto method = boost::make_shared<OtherMethod>();
  method->Initialize();
  tessera::WritePort(*method, L"Model", tessera::ModelFormatFactory::SaveToBuffer(iterator, L"TesseraModelFormat"));
  tessera::WritePort(*method, L"CommonInputDataCount", 1u);
  tessera::WritePort(*method, L"InputData", tessera::Dictionary());
  tessera::WritePort(*method, L"OutputPortNames", std::vector<std::wstring>());
  iterator->SetExecuted(true);
  method->AddParent(iterator);
  try {
    method->Execute();
    ADD_FAILURE() << "nothing was raised";
  } catch (const tessera::OperatorException& error) {
    EXPECT_EQ(error.get_What(), L"Unhandled specialization.");
  }
  EXPECT_FALSE(method->GetPort(L"OutputData")->GetExistingData());
}

TEST(IteratorMethods, AnOwnerWithoutTheInputIsNotAskedForIt) {
  const auto chooser = boost::make_shared<korven::tx_general::StreamChooser>(nullptr, 1);
  chooser->Initialize();
  const auto output = chooser->GetPort(L"Output");
  output->SetData(Value(7));
  const auto request = boost::make_shared<tessera::DataRequest>();
  request->Initialize();
  const auto answer = output->GetData(request);
  ASSERT_TRUE(answer);
  EXPECT_EQ(answer->GetDataValue<int>(), 7);
}

}  // namespace
