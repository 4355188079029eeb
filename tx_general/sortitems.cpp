#include <algorithm>
#include <cmath>
#include <numeric>
#include <typeinfo>
#include <utility>

#include "itemports.h"

namespace korven::tx_general {

inline constexpr OperatorSheet kSortItems{
    .name = L"SortItems",
    .displayName = L"Sort Items",
    .category = L"Data Generation",
    .description = L"Sorts tables and lists",
};

namespace {

using ItemIndices = std::vector<unsigned>;

bool ReadNumberOf(const Data& item, double& number) {
  const std::type_info& type = typeid(item);
  if (type == typeid(DoubleData))
    number = static_cast<const DoubleData&>(item).GetDataValue();
  else if (type == typeid(IntData))
    number = static_cast<const IntData&>(item).GetDataValue();
  else if (type == typeid(UnsignedData))
    number = static_cast<const UnsignedData&>(item).GetDataValue();
  else if (type == typeid(BoolData))
    number = static_cast<const BoolData&>(item).GetDataValue();
  else
    return false;
  return true;
}

/// Sorts a list of nothing but numbers and empty items. The numbers then lie side by side, and have the order that the
/// values themselves give, with not-a-number above all others. False where there is something else, and the indices
/// are as they were.
bool SortNumbers(const DataList& items, bool descending, ItemIndices& indices) {
  std::vector<std::pair<double, unsigned>> keys;
  keys.reserve(items.size());
  ItemIndices empty;
  for (unsigned index = 0; index < items.size(); ++index) {
    double number = 0;
    if (!items[index]) {
      empty.push_back(index);
    } else if (ReadNumberOf(*items[index], number)) {
      keys.emplace_back(number, index);
    } else {
      return false;
    }
  }
  const auto isBelow = [](double a, double b) { return a < b || (std::isnan(b) && !std::isnan(a)); };
  if (descending) {
    std::stable_sort(keys.begin(), keys.end(), [&](const auto& a, const auto& b) { return isBelow(b.first, a.first); });
  } else {
    std::stable_sort(keys.begin(), keys.end(), [&](const auto& a, const auto& b) { return isBelow(a.first, b.first); });
  }
  auto next = indices.begin();
  if (!descending) next = std::copy(empty.begin(), empty.end(), next);
  next = std::transform(keys.begin(), keys.end(), next, [](const auto& key) { return key.second; });
  if (descending) std::copy(empty.begin(), empty.end(), next);
  return true;
}

void SortValues(const DataList& items, bool descending, ItemIndices& indices) {
  std::stable_sort(indices.begin(), indices.end(), [&](unsigned first, unsigned second) {
    const DataPtr& a = items[first];
    const DataPtr& b = items[second];
    // Ascending puts the empty items first, descending last.
    if (!a || !b) return descending ? a && !b : !a && b;
    return descending ? *a > b : *a < b;
  });
}

ItemIndices SortedIndices(const DataList& items, const std::wstring& order) {
  ItemIndices indices(items.size());
  std::iota(indices.begin(), indices.end(), 0u);
  const bool descending = order == L"Descending";
  if (!descending && order != L"Ascending") return indices;
  if (!SortNumbers(items, descending, indices)) SortValues(items, descending, indices);
  return indices;
}

}  // namespace

class SortItems : public Described<kSortItems> {
 public:
  void DeclarePorts() override {
    CreateItemsOrTablePort(*this, L"DataIn", PortType::Input);
    Optional(CreatePort(L"Order", PortType::Input, MakeData<StringData>(L"Ascending")))
        ->SetAttribute(L"AcceptableValues", MakeData<StringListData>({L"Descending", L"Ascending"}));
    CreateItemsOrTablePort(*this, L"DataOut", PortType::Output);
    Hidden(CreateListPort(*this, L"Indices", PortType::Output, UnsignedData::DefaultTypeName()));
  }

 protected:
  void OnExecute() override {
    const auto order = ReadPortOr<std::wstring>(*this, L"Order", L"Ascending");
    const auto input = ReadItems(*this);
    const auto indices = SortedIndices(*input.items, order);
    // Copied in the order in which they lie and moved from there: to count a holder more here and there in memory takes
    // longer than the sort.
    DataList items = *input.items;
    DataList sorted, origins;
    sorted.reserve(indices.size());
    origins.reserve(indices.size());
    for (const unsigned index : indices) {
      sorted.push_back(std::move(items[index]));
      origins.push_back(MakeData<UnsignedData>(index));
    }
    if (input.IsTable()) {
      // Colours come out in the order of the input, which is wanted.
      WriteTable(*this, std::move(sorted), input.items->front(), *input.items);
    } else {
      WritePort(*this, L"DataOut", std::move(sorted));
    }
    WritePort(*this, L"Indices", std::move(origins));
  }
};

TX_GENERAL_FACTORY(SortItems)

}  // namespace korven::tx_general
