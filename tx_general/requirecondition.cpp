#include "support.h"

namespace korven::tx_general {

inline constexpr OperatorSheet kRequireCondition{
    .name = L"RequireCondition",
    .displayName = L"Require Condition",
    .category = L"Conditional",
    .icon = L"sign_warning.ico",
    .description = L"The Require Condition operator determines if a set condition is met.",
    .keywords = L"Test|Warning|Error|Assert",
    .usableInExpression = false,
};

class RequireCondition : public Described<kRequireCondition> {
 public:
  void DeclarePorts() override {
    CreatePort(L"ShouldBeTrue", BoolData::DefaultTypeName(), PortType::Input);
    Optional(CreatePort(L"Message", StringData::DefaultTypeName(), PortType::Input));
    CreatePort(L"Success", BoolData::DefaultTypeName(), PortType::Output);
  }

 protected:
  void OnExecute() override {
    if (!ReadPort<bool>(*this, L"ShouldBeTrue")) {
      SetErrorMessage(ReadPortOr<std::wstring>(*this, L"Message", L"Required condition not satisfied."));
    }
    WritePort(*this, L"Success", true);
  }
};

TX_GENERAL_FACTORY(RequireCondition)

}  // namespace korven::tx_general
