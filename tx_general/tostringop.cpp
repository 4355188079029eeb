#include "support.h"

namespace korven::tx_general {

inline constexpr OperatorSheet kToStringOp{
    .name = L"ToString",
    .displayName = L"To String",
    .category = L"String",
};

class ToStringOp : public Described<kToStringOp> {
 public:
  void DeclarePorts() override {
    CreatePort(L"Data", Data::DefaultTypeName(), PortType::Input);
    CreatePort(L"String", StringData::DefaultTypeName(), PortType::Output);
  }

 protected:
  void OnExecute() override {
    const auto data = RequirePort(*this, L"Data")->GetData();
    if (!data) SetErrorMessage(L"No input.");
    WritePort(*this, L"String", data->ToString());
  }
};

TX_GENERAL_FACTORY(ToStringOp)

}  // namespace korven::tx_general
