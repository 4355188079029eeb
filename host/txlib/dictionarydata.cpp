#include <algorithm>
#include <limits>

#include "datajsonparts.h"
#include "datatext.h"
#include "txlib/basicdata.h"
#include "txlib/dataref.h"
#include "txlib/jsonvalue.h"

namespace Tamrin::Tessera {

std::wstring DictionaryData::ToString() const { return ContainedText(*this); }

std::wstring DictionaryData::ToString(unsigned depth, bool& multiline) const {
  return IndentedText(*this, depth, multiline);
}

std::wstring DictionaryData::ToShortString() const { return ShortContainerText(*this); }

std::wstring DictionaryData::ToReportString() const { return ContainerReport(*this); }

bool DictionaryData::FromString(const std::wstring& text) {
  const auto dictionary = boost::dynamic_pointer_cast<DictionaryData>(DataFromText(text));
  if (!dictionary) return false;
  SetDataPointer(dictionary->GetDataPointer());
  return true;
}

bool DictionaryData::ToJSON(JsonValue& json) const { return DictionaryToJson(*this, json); }

bool DictionaryData::FromJSON(const JsonValue& json) {
  JsonFault fault;
  return DictionaryFromJson(json, *this, fault) || RefuseJson(std::move(fault));
}

boost::shared_ptr<Data> DictionaryData::Clone() const { return CloneContainer(*this); }

bool DictionaryData::operator>(const boost::shared_ptr<Data>& other) const {
  return !other || CompareData(*this, *other) > 0;
}

bool DictionaryData::operator<(const boost::shared_ptr<Data>& other) const {
  return other && CompareData(*this, *other) < 0;
}

std::uint64_t DictionaryData::SizeInBytes() const { return ContainerSize(*this); }

std::vector<std::wstring> DictionaryData::GetKeys() const {
  return HasNoValue() ? std::vector<std::wstring>() : GetDataValue().GetKeys();
}

DataRef DictionaryData::operator[](std::int32_t index) {
  if (index < 0 || index >= Count()) return {};
  return (*this)[GetDataValue().GetItems()[static_cast<std::size_t>(index)].first];
}

DataRef DictionaryData::operator[](const std::wstring& key) {
  // A look at a key must not make a value, so the dictionary comes with the first assignment.
  const auto set = [this, key](const boost::shared_ptr<Data>& data) {
    if (HasNoValue()) SetDataPointer(boost::make_shared<Dictionary>());
    GetDataValue().SetItem(key, data);
  };
  return DataRef(HasNoValue() ? nullptr : GetDataValue().Find(key), set);
}

std::int32_t DictionaryData::Count() const {
  constexpr std::size_t kMost = std::numeric_limits<std::int32_t>::max();
  return HasNoValue() ? 0 : static_cast<std::int32_t>(std::min(GetDataValue().GetItems().size(), kMost));
}

bool DictionaryData::Erase(std::int32_t index) {
  if (index < 0 || index >= Count()) return false;
  const std::wstring key = GetDataValue().GetItems()[static_cast<std::size_t>(index)].first;
  return GetDataValue().Erase(key);
}

bool DictionaryData::Erase(const std::wstring& key) { return !HasNoValue() && GetDataValue().Erase(key); }

namespace DictionaryUtils {

std::wstring ToString(const boost::shared_ptr<Data>& data) { return data ? data->ToString() : std::wstring(); }

std::wstring ToReportString(const boost::shared_ptr<Data>& data) {
  return data ? data->ToReportString() : std::wstring();
}

}  // namespace DictionaryUtils
}  // namespace Tamrin::Tessera
