#include "itemports.h"
#include "txbasiclib/basedatastackutils.h"

namespace korven::tx_general {

inline constexpr OperatorSheet kArrangeItems{
    .name = L"ArrangeItems",
    .displayName = L"Arrange Items",
    .category = L"Table|List",
    .description = L"Given a list of values and a list of indices, create a new list.",
    .keywords = L"Table|List|Slice|Sort",
};

class ArrangeItems : public Described<kArrangeItems> {
 public:
  void DeclarePorts() override {
    CreateItemsOrTablePort(*this, L"DataIn", PortType::Input);
    CreatePort(L"RangeList", RangeListData::DefaultTypeName(), PortType::Input);
    CreateItemsOrTablePort(*this, L"DataOut", PortType::Output);
  }

 protected:
  void OnExecute() override {
    const auto input = ReadItems(*this);
    const auto indices = Tamrin::TesseraBasic::RangeListHelper::GetRangeListFromPortAsUnsignedList(
        RequirePort(*this, L"RangeList"), 0, static_cast<unsigned>(input.items->size() - 1));
    DataList arranged;
    arranged.reserve(indices.size());
    for (const unsigned index : indices) arranged.push_back((*input.items)[index]);
    if (arranged.empty()) SetErrorMessage(L"Could not determine range.");
    if (!input.IsTable()) return WritePort(*this, L"DataOut", std::move(arranged));
    WriteTable(*this, arranged, arranged.front(), arranged);
  }
};

TX_GENERAL_FACTORY(ArrangeItems)

}  // namespace korven::tx_general
