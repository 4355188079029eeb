#include <bit>
#include <cstdint>
#include <typeinfo>

#include "itemports.h"

namespace korven::tx_general {

inline constexpr OperatorSheet kFindItem{
    .name = L"FindItem",
    .displayName = L"Find Item",
    .category = L"General|List",
    .description = L"Gets a single item off a list by return a list of indices.",
};

namespace {

/// Compares items with one value by their texts.
class TextMatcher {
 public:
  explicit TextMatcher(const Data& wanted)
      : wanted_(wanted), type_(wanted.GetDataTypeName()), text_(wanted.ToString()) {
    if (typeid(wanted) == typeid(DoubleData)) number_ = &static_cast<const DoubleData&>(wanted).GetDataValue();
  }

  bool IsOfType(const Data& item) const { return typeid(item) == typeid(wanted_) || item.GetDataTypeName() == type_; }

  bool Matches(const Data& item) const {
    // The text of a number tells its bits, but for not-a-number; making a million of them takes long.
    if (number_ && typeid(item) == typeid(DoubleData) && *number_ == *number_) {
      const double other = static_cast<const DoubleData&>(item).GetDataValue();
      return std::bit_cast<std::uint64_t>(other) == std::bit_cast<std::uint64_t>(*number_);
    }
    return item.ToString() == text_;
  }

 private:
  const Data& wanted_;
  const ObjectName type_;
  const std::wstring text_;
  const double* number_ = nullptr;
};

}  // namespace

class FindItem : public Described<kFindItem> {
 public:
  void DeclarePorts() override {
    CreateItemsPort(*this, L"List", PortType::Input);
    CreatePort(L"Item", Data::DefaultTypeName(), PortType::Input);
    Optional(CreatePort(L"AttemptConversion", BoolData::DefaultTypeName(), PortType::Input));
    CreateListPort(*this, L"Indices", PortType::Output, UnsignedData::DefaultTypeName());
  }

 protected:
  void OnExecute() override {
    const auto list = GetPortDataAs<DataList>(RequirePort(*this, L"List"));
    const auto wanted = RequirePort(*this, L"Item")->GetData();
    if (!wanted) SetErrorMessage(L"Item is empty!");
    const bool anyType = ReadPortOr<bool>(*this, L"AttemptConversion", false);
    const TextMatcher matcher(*wanted);
    DataList indices;
    for (std::size_t index = 0; index < list->size(); ++index) {
      const auto& item = (*list)[index];
      if (!item) SetErrorMessage(L"Item is empty!");
      if ((anyType || matcher.IsOfType(*item)) && matcher.Matches(*item)) {
        indices.push_back(MakeData<UnsignedData>(static_cast<unsigned>(index)));
      }
    }
    WritePort(*this, L"Indices", std::move(indices));
  }
};

TX_GENERAL_FACTORY(FindItem)

}  // namespace korven::tx_general
