#include "itemports.h"

namespace korven::tx_general {

inline constexpr OperatorSheet kStringList{
    .name = L"StringList",
    .displayName = L"String List",
    .category = L"List",
    .description = L"The String List operator takes in N strings and creates a string list of those items.",
    .registeredName = L"VANTIX.StringList",
};

class StringList : public Described<kStringList> {
 public:
  void DeclarePorts() override {
    SetExpandible(true);
    Optional(CreatePort(L"StringListIn", StringListData::DefaultTypeName(), PortType::Input));
    AddExpansionPorts();
    CreatePort(L"StringListOut", StringListData::DefaultTypeName(), PortType::Output);
  }

  void AddExpansionPorts() override { CreatePort(strings_.Next(), StringData::DefaultTypeName(), PortType::Input); }

  void RemoveExpansionPorts() override {
    if (strings_.Drop(1)) RemovePort(strings_.Name(strings_.GetCount() + 1));
  }

 protected:
  void OnExecute() override {
    auto texts = ReadPortOr<std::vector<std::wstring>>(*this, L"StringListIn", {});
    for (unsigned number = 1; number <= strings_.GetCount(); ++number) {
      texts.push_back(ReadPort<std::wstring>(*this, strings_.Name(number)));
    }
    WritePort(*this, L"StringListOut", std::move(texts));
  }

 private:
  NumberedPorts strings_{L"String"};
};

TX_GENERAL_FACTORY(StringList)

}  // namespace korven::tx_general
