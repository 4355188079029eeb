#include <algorithm>
#include <cmath>
#include <typeinfo>

#include "datatext.h"
#include "nesting.h"
#include "txlib/basicdata.h"

namespace Tamrin::Tessera {
namespace {

template <typename T>
int Order(const T& first, const T& second) {
  return first < second ? -1 : second < first ? 1 : 0;
}

int OrderNumbers(double first, double second) {
  if (std::isnan(first) || std::isnan(second)) return Order(std::isnan(first), std::isnan(second));
  return Order(first, second);
}

bool ReadDouble(const Data& data, double& value) {
  const std::type_info& type = typeid(data);
  if (type == typeid(DoubleData))
    value = static_cast<const DoubleData&>(data).GetDataValue();
  else if (type == typeid(IntData))
    value = static_cast<const IntData&>(data).GetDataValue();
  else if (type == typeid(UnsignedData))
    value = static_cast<const UnsignedData&>(data).GetDataValue();
  else if (type == typeid(BoolData))
    value = static_cast<const BoolData&>(data).GetDataValue();
  else
    return false;
  return true;
}

int OrderLists(const DataList& first, const DataList& second) {
  const std::size_t common = std::min(first.size(), second.size());
  for (std::size_t i = 0; i < common; ++i) {
    if (const int order = CompareData(first[i], second[i])) return order;
  }
  return Order(first.size(), second.size());
}

int OrderDictionaries(const Dictionary& first, const Dictionary& second) {
  const auto& items = first.GetItems();
  const auto& others = second.GetItems();
  const std::size_t common = std::min(items.size(), others.size());
  for (std::size_t i = 0; i < common; ++i) {
    if (const int order = Order(items[i].first, others[i].first)) return order;
    if (const int order = CompareData(items[i].second, others[i].second)) return order;
  }
  return Order(items.size(), others.size());
}

int OrderValues(const Data& first, const Data& second) {
  if (const auto* text = dynamic_cast<const StringData*>(&first)) {
    const auto* other = dynamic_cast<const StringData*>(&second);
    if (other) return Order(text->GetDataValue(), other->GetDataValue());
  }
  if (const int order = Order(first.GetDataTypeName(), second.GetDataTypeName())) return order;
  if (const auto* list = dynamic_cast<const DataListData*>(&first))
    return OrderLists(list->GetDataValue(), static_cast<const DataListData&>(second).GetDataValue());
  if (const auto* texts = dynamic_cast<const StringListData*>(&first))
    return Order(texts->GetDataValue(), static_cast<const StringListData&>(second).GetDataValue());
  if (const auto* dictionary = dynamic_cast<const DictionaryData*>(&first))
    return OrderDictionaries(dictionary->GetDataValue(), static_cast<const DictionaryData&>(second).GetDataValue());
  return first < second.SharedThis() ? -1 : first > second.SharedThis() ? 1 : 0;
}

}  // namespace

int CompareData(const Data& first, const Data& second) {
  double number = 0, other = 0;
  const bool firstIsNumber = ReadDouble(first, number);
  const bool secondIsNumber = ReadDouble(second, other);
  if (firstIsNumber && secondIsNumber) return OrderNumbers(number, other);
  const bool firstHas = !first.HasNoValue(), secondHas = !second.HasNoValue();
  if (!firstHas || !secondHas) return Order(firstHas, secondHas);
  if (firstIsNumber || secondIsNumber) return firstIsNumber ? -1 : 1;
  const NestingGuard level;
  return NestingGuard::IsTooDeep() ? 0 : OrderValues(first, second);
}

int CompareData(const boost::shared_ptr<Data>& first, const boost::shared_ptr<Data>& second) {
  if (!first || !second) return Order(first != nullptr, second != nullptr);
  return CompareData(*first, *second);
}

}  // namespace Tamrin::Tessera
