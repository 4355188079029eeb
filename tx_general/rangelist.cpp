#include "itemports.h"

namespace korven::tx_general {

inline constexpr OperatorSheet kRangeList{
    .name = L"RangeList",
    .displayName = L"Range List",
    .category = L"General",
    .description = L"Constructs a list of one or more Ranges.",
};

class RangeList : public Described<kRangeList> {
 public:
  void DeclarePorts() override {
    SetExpandible(true);
    AddExpansionPorts();
    CreatePort(L"Output", RangeListData::DefaultTypeName(), PortType::Output);
  }

  void AddExpansionPorts() override {
    const auto port = CreatePort(ranges_.Next(), RangeData::DefaultTypeName(), PortType::Input);
    port->AddExtraSupportedType(DataListData::DefaultTypeName());
    port->SetAttribute(L"ListDataType", MakeData<StringData>(RangeData::DefaultTypeName().ToString()));
  }

  void RemoveExpansionPorts() override {
    if (ranges_.Drop(0)) RemovePort(ranges_.Name(ranges_.GetCount() + 1));
  }

 protected:
  void OnExecute() override {
    std::vector<RangeClass> ranges;
    for (unsigned number = 1; const auto port = GetPort(ranges_.Name(number)); ++number) AppendRanges(port, ranges);
    if (ranges.empty()) SetErrorMessage(L"Could not determine ranges!");
    WritePort(*this, L"Output", std::move(ranges));
  }

 private:
  static bool AppendRange(const DataPtr& data, std::vector<RangeClass>& ranges) {
    const auto range = AsDataOf<RangeData>(data);
    if (!range || range->HasNoValue()) return false;
    ranges.push_back(range->GetDataValue());
    return true;
  }

  void AppendRanges(const PortPtr& port, std::vector<RangeClass>& ranges) {
    const auto data = port->GetData();
    if (AppendRange(data, ranges)) return;
    const auto list = AsDataOf<DataListData>(data);
    if (!list || list->HasNoValue()) {
      SetErrorMessage(L"Invalid data on port " + port->GetDisplayName() + L" for operator " + GetDisplayName() + L".");
    }
    for (const auto& item : list->GetDataValue()) {
      if (!AppendRange(item, ranges)) SetErrorMessage(L"Non-Range data found on list.");
    }
  }

  NumberedPorts ranges_{L"Range"};
};

TX_GENERAL_FACTORY(RangeList)

}  // namespace korven::tx_general
