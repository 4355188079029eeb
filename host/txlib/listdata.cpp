#include <algorithm>
#include <limits>

#include "datajsonparts.h"
#include "datatext.h"
#include "txlib/basicdata.h"
#include "txlib/dataref.h"
#include "txlib/jsonvalue.h"

namespace Tamrin::Tessera {
namespace {

template <typename T>
std::int32_t CountOf(const DataT<std::vector<T>>& list) {
  constexpr std::size_t kMost = std::numeric_limits<std::int32_t>::max();
  return list.HasNoValue() ? 0 : static_cast<std::int32_t>(std::min(list.GetDataValue().size(), kMost));
}

template <typename T>
bool IsInside(const DataT<std::vector<T>>& list, std::int32_t index) {
  return index >= 0 && index < CountOf(list);
}

template <typename T>
bool EraseAt(const DataT<std::vector<T>>& list, std::int32_t index) {
  if (!IsInside(list, index)) return false;
  list.GetDataValue().erase(list.GetDataValue().begin() + index);
  return true;
}

}  // namespace

// A list of texts.

std::wstring StringListData::ToString() const { return ContainedText(*this); }

std::wstring StringListData::ToShortString() const { return ShortContainerText(*this); }

std::wstring StringListData::ToReportString() const { return ContainerReport(*this); }

bool StringListData::FromString(const std::wstring& text) {
  JsonValue json;
  return json.Deserialize(text) && json.IsArray() && FromJSON(json);
}

bool StringListData::ToJSON(JsonValue& json) const {
  json = JsonValue();
  if (HasNoValue()) return true;
  json = JsonValue(JsonValueType::Array);
  for (const std::wstring& text : GetDataValue()) json.Append(JsonValue(text));
  return true;
}

bool StringListData::FromJSON(const JsonValue& json) {
  if (json.IsNull()) {
    SetDataPointer(nullptr);
    return true;
  }
  if (!json.IsArray()) return false;
  const auto texts = boost::make_shared<std::vector<std::wstring>>();
  texts->reserve(json.Count());
  for (const JsonValue& element : json.GetElements()) {
    if (!element.IsString()) return RefuseJson(element, L"a string") || RefusedAt(texts->size());
    texts->push_back(element.AsString());
  }
  SetDataPointer(texts);
  return true;
}

boost::shared_ptr<Data> StringListData::Clone() const {
  if (HasNoValue()) return boost::make_shared<StringListData>();
  return MakeData<StringListData>(GetDataValue());
}

bool StringListData::operator>(const boost::shared_ptr<Data>& other) const {
  return !other || CompareData(*this, *other) > 0;
}

bool StringListData::operator<(const boost::shared_ptr<Data>& other) const {
  return other && CompareData(*this, *other) < 0;
}

std::uint64_t StringListData::SizeInBytes() const {
  std::uint64_t size = sizeof(StringListData);
  if (HasNoValue()) return size;
  size += sizeof(std::vector<std::wstring>);
  for (const std::wstring& text : GetDataValue()) size += sizeof(std::wstring) + text.size() * sizeof(wchar_t);
  return size;
}

DataRef StringListData::operator[](std::int32_t index) {
  if (!IsInside(*this, index)) return {};
  auto* texts = &GetDataValue();
  return DataRef(MakeData<StringData>((*texts)[index]), [texts, index](const boost::shared_ptr<Data>& data) {
    (*texts)[index] = data ? data->ToString() : std::wstring();
  });
}

std::int32_t StringListData::Count() const { return CountOf(*this); }

bool StringListData::Erase(std::int32_t index) { return EraseAt(*this, index); }

// A list of values.

DataListData::~DataListData() {
  if (value_.use_count() == 1) ReleaseValues(std::move(*value_));
}

std::wstring DataListData::ToString() const { return ContainedText(*this); }

std::wstring DataListData::ToString(unsigned depth, bool& multiline) const {
  return IndentedText(*this, depth, multiline);
}

std::wstring DataListData::ToShortString() const { return ShortContainerText(*this); }

std::wstring DataListData::ToReportString() const { return ContainerReport(*this); }

bool DataListData::FromString(const std::wstring& text) {
  const auto list = boost::dynamic_pointer_cast<DataListData>(DataFromText(text));
  if (!list) return false;
  SetDataPointer(list->GetDataPointer());
  return true;
}

bool DataListData::ToJSON(JsonValue& json) const { return ListToJson(*this, json); }

bool DataListData::FromJSON(const JsonValue& json) {
  JsonFault fault;
  return ListFromJson(json, *this, fault) || RefuseJson(std::move(fault));
}

boost::shared_ptr<Data> DataListData::Clone() const { return CloneContainer(*this); }

bool DataListData::operator>(const boost::shared_ptr<Data>& other) const {
  return !other || CompareData(*this, *other) > 0;
}

bool DataListData::operator<(const boost::shared_ptr<Data>& other) const {
  return other && CompareData(*this, *other) < 0;
}

std::uint64_t DataListData::SizeInBytes() const { return ContainerSize(*this); }

DataRef DataListData::operator[](std::int32_t index) {
  if (!IsInside(*this, index)) return {};
  auto* items = &GetDataValue();
  return DataRef((*items)[index], [items, index](const boost::shared_ptr<Data>& data) { (*items)[index] = data; });
}

std::int32_t DataListData::Count() const { return CountOf(*this); }

bool DataListData::Erase(std::int32_t index) { return EraseAt(*this, index); }

}  // namespace Tamrin::Tessera
