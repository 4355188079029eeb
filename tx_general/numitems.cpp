#include <algorithm>

#include "itemports.h"
#include "txlib/dataref.h"

namespace korven::tx_general {

inline constexpr OperatorSheet kNumItems{
    .name = L"NumItems",
    .displayName = L"Num Items",
    .category = L"List",
    .description = L"Returns the number of items in a list.",
};

class NumItems : public Described<kNumItems> {
 public:
  void DeclarePorts() override {
    CreateItemsPort(*this, L"List", PortType::Input);
    CreatePort(L"NumItems", UnsignedData::DefaultTypeName(), PortType::Output);
  }

 protected:
  void OnExecute() override {
    const auto list = GetPortDataAs<DataList>(RequirePort(*this, L"List"));
    WritePort(*this, L"NumItems", static_cast<unsigned>(list->size()));
  }
};

TX_GENERAL_FACTORY(NumItems)

inline constexpr OperatorSheet kHasEmptyItems{
    .name = L"HasEmptyItems",
    .description = L"Determines whether a list contains any empty items.",
};

class HasEmptyItems : public Described<kHasEmptyItems> {
 public:
  void DeclarePorts() override {
    CreateItemsPort(*this, L"List", PortType::Input);
    CreatePort(L"Result", BoolData::DefaultTypeName(), PortType::Output);
  }

 protected:
  void OnExecute() override {
    // The value's own items are looked at, so it need not be a list.
    const DataRef value(RequirePort(*this, L"List")->GetData());
    if (value.IsNull()) SetErrorMessage(L"Null input.");
    bool found = false;
    for (std::int32_t index = 0; !found && index < value.Count(); ++index) found = value[index].IsNull();
    WritePort(*this, L"Result", found);
  }
};

TX_GENERAL_FACTORY(HasEmptyItems)

inline constexpr OperatorSheet kIsEmpty{
    .name = L"IsEmpty",
    .displayName = L"Is Empty",
    .category = L"Relational",
};

class IsEmpty : public Described<kIsEmpty> {
 public:
  void DeclarePorts() override {
    Optional(CreatePort(L"Data", Data::DefaultTypeName(), PortType::Input));
    CreatePort(L"IsEmpty", BoolData::DefaultTypeName(), PortType::Output);
  }

 protected:
  void OnExecute() override { WritePort(*this, L"IsEmpty", RequirePort(*this, L"Data")->GetData() == nullptr); }
};

TX_GENERAL_FACTORY(IsEmpty)

}  // namespace korven::tx_general
