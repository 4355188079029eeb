#include "support.h"

namespace korven::tx_general {

inline constexpr OperatorSheet kDataInformation{
    .name = L"DataInformation",
    .displayName = L"Data Information",
    .category = L"General",
    .description = L"Provide basic information about a data stream.",
    .keywords = L"Data|Information|Type|Namespace",
};

class DataInformation : public Described<kDataInformation> {
 public:
  void DeclarePorts() override {
    CreatePort(L"Data", Data::DefaultTypeName(), PortType::Input);
    CreatePort(L"DataTypeNamespace", StringData::DefaultTypeName(), PortType::Output);
    CreatePort(L"DataTypeName", StringData::DefaultTypeName(), PortType::Output);
  }

 protected:
  void OnExecute() override {
    const auto data = RequirePort(*this, L"Data")->GetData();
    if (!data) SetErrorMessage(L"Data is empty.");
    const Data& value = *data;
    WritePort<std::wstring>(*this, L"DataTypeNamespace", value.GetTypeNamespace());
    WritePort<std::wstring>(*this, L"DataTypeName", value.GetTypeName());
  }
};

TX_GENERAL_FACTORY(DataInformation)

}  // namespace korven::tx_general
