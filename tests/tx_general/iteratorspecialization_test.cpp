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

}  // namespace
