#include <string>
#include <string_view>
#include <vector>

#include "itemports.h"
#include "txbasiclib/datapath.h"
#include "txlib/dataref.h"

namespace korven::tx_general {

namespace DataPath = Tamrin::TesseraBasic::DataPath;

inline constexpr OperatorSheet kDictionaryItem{
    .name = L"DictionaryItem",
    .displayName = L"Dictionary Item",
    .category = L"Dictionary",
};

class DictionaryItem : public Described<kDictionaryItem> {
 public:
  void DeclarePorts() override {
    SetExpandible(true);
    CreatePort(L"Dictionary", DictionaryData::DefaultTypeName(), PortType::Input);
    Hidden(Optional(CreatePort(L"AllowMissingItem", BoolData::DefaultTypeName(), PortType::Input)));
    SetUIProvider(L"SelectDictionaryItemsDialog", L"VANTIX");
    AddExpansionPorts();
  }

  void AddExpansionPorts() override {
    CreatePort(names_.Next(), StringData::DefaultTypeName(), PortType::Input);
    CreatePort(items_.Next(), Data::DefaultTypeName(), PortType::Output);
  }

  void RemoveExpansionPorts() override {
    if (!names_.Drop(0) || !items_.Drop(0)) return;
    RemovePort(names_.Name(names_.GetCount() + 1));
    RemovePort(items_.Name(items_.GetCount() + 1));
  }

 protected:
  void OnExecute() override {
    const auto dictionary = RequirePort(*this, L"Dictionary")->GetData();
    const bool allowMissing = ReadPortOr<bool>(*this, L"AllowMissingItem", false);
    std::vector<std::wstring> paths;
    for (unsigned number = 1; GetPort(names_.Name(number)); ++number) {
      paths.push_back(ReadPort<std::wstring>(*this, names_.Name(number)));
      if (!allowMissing && !DataPath::IsValidPath(dictionary, paths.back())) {
        SetErrorMessage(L"Item " + paths.back() + L" does not exist.");
      }
    }
    for (std::size_t index = 0; index < paths.size(); ++index) {
      const auto item = DataPath::GetDataByPath(dictionary, paths[index]).AsDataOrNull();
      RequirePort(*this, items_.Name(static_cast<unsigned>(index + 1)))->SetData(item);
    }
  }

  using Operator::Apply;
  void Apply(const PortPtr& port, const RequestPtr& request) override {
    const bool allowMissing = ReadPortOr<bool>(*this, L"AllowMissingItem", false);
    const std::wstring number = port->GetName().substr(std::wstring_view(L"Item").size());
    const auto path = ReadPort<std::wstring>(*this, L"Name" + number);
    const auto step = DataPath::CreateDataRequest(path, request);
    const auto item = step ? RequirePort(*this, L"Dictionary")->GetData(step) : nullptr;
    if (!item && !allowMissing) SetErrorMessage(L"Requested data is missing.");
    port->SetData(item, request);
  }

 private:
  NumberedPorts names_{L"Name"};
  NumberedPorts items_{L"Item"};
};

TX_GENERAL_FACTORY(DictionaryItem)

}  // namespace korven::tx_general
