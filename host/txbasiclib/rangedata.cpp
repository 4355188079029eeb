#include <algorithm>
#include <limits>

#include "kcommon/kstr.h"
#include "stackjson.h"
#include "txlib/jsonfault.h"
#include "wrapperparts.h"

namespace Tamrin::TesseraBasic {
namespace {

using tessera::Data;
using tessera::JsonValue;
namespace JsonValueType = tessera::JsonValueType;

std::wstring TextOf(const RangeClass& range) {
  const std::wstring start = kstr_ShortestDouble(range.GetStart());
  const std::wstring end = kstr_ShortestDouble(range.GetEnd());
  return start == end ? start : start + L":" + end;
}

bool FromText(std::wstring_view text, RangeClass& range) {
  const std::size_t colon = text.find(L':');
  double start = 0;
  if (!ReadDouble(text.substr(0, colon), start)) return false;
  double end = start;
  if (colon != std::wstring_view::npos && !ReadDouble(text.substr(colon + 1), end)) return false;
  range = RangeClass(start, end);
  return true;
}

bool ListFromText(std::wstring_view text, RangeVector& ranges) {
  RangeVector read;
  if (!TrimBlanks(text).empty()) {
    for (;;) {
      const std::size_t comma = text.find(L',');
      RangeClass range;
      if (!FromText(text.substr(0, comma), range)) return false;
      read.push_back(range);
      if (comma == std::wstring_view::npos) break;
      text.remove_prefix(comma + 1);
    }
  }
  ranges = std::move(read);
  return true;
}

JsonValue RangeToJson(const RangeClass& range) {
  JsonValue json(JsonValueType::Object);
  json.Set("Start", DoubleToJson(range.GetStart()));
  json.Set("End", DoubleToJson(range.GetEnd()));
  return json;
}

bool RangeFromJson(const JsonValue& json, RangeClass& range) {
  double start = 0, end = 0;
  if (!DoubleMember(json, "Start", start) || !DoubleMember(json, "End", end)) return false;
  range = RangeClass(start, end);
  return true;
}

bool ListFromJson(const JsonValue& json, RangeVector& ranges) {
  if (!json.IsArray()) return tessera::RefuseJson(json, L"an array of ranges");
  for (const JsonValue& element : json.GetElements()) {
    RangeClass range;
    if (!RangeFromJson(element, range)) return tessera::RefusedAt(ranges.size());
    ranges.push_back(range);
  }
  return true;
}

int OrderOfRanges(const RangeClass& a, const RangeClass& b) {
  const int order = OrderOfNumbers(a.GetStart(), b.GetStart());
  return order ? order : OrderOfNumbers(a.GetEnd(), b.GetEnd());
}

int OrderOfLists(const RangeVector& a, const RangeVector& b) {
  for (std::size_t i = 0; i < std::min(a.size(), b.size()); ++i)
    if (const int order = OrderOfRanges(a[i], b[i])) return order;
  return OrderOf(a.size(), b.size());
}

}  // namespace

std::wstring RangeData::ToString() const { return HasNoValue() ? std::wstring() : TextOf(GetDataValue()); }

boost::shared_ptr<Data> RangeData::Clone() const { return CopyOf(*this); }

bool RangeData::FromString(const std::wstring& text) {
  RangeClass range;
  if (!FromText(text, range)) return false;
  SetDataPointer(boost::make_shared<RangeClass>(range));
  return true;
}

bool RangeData::ToJSON(JsonValue& json) const {
  json = HasNoValue() ? JsonValue() : RangeToJson(GetDataValue());
  return true;
}

bool RangeData::FromJSON(const JsonValue& json) { return ReadJson(*this, json, &RangeFromJson); }

std::uint64_t RangeData::SizeInBytes() const { return sizeof(RangeData) + (HasNoValue() ? 0 : sizeof(RangeClass)); }

std::vector<std::wstring> RangeData::GetKeys() const { return RangeClass().GetKeys(); }

tessera::DataRef RangeData::operator[](const std::wstring& key) {
  if (HasNoValue()) return {};
  return tessera::DataRef(static_cast<const RangeClass&>(GetDataValue())[key]);
}

TESSERA_ORDER(RangeData, &OrderOfRanges)

std::wstring RangeListData::ToString() const {
  std::wstring text;
  if (HasNoValue()) return text;
  for (const RangeClass& range : GetDataValue()) {
    if (!text.empty()) text += L',';
    text += TextOf(range);
  }
  return text;
}

boost::shared_ptr<Data> RangeListData::Clone() const { return CopyOf(*this); }

bool RangeListData::FromString(const std::wstring& text) {
  RangeVector ranges;
  if (!ListFromText(text, ranges)) return false;
  SetDataPointer(boost::make_shared<RangeVector>(std::move(ranges)));
  return true;
}

bool RangeListData::ToJSON(JsonValue& json) const {
  json = JsonValue();
  if (HasNoValue()) return true;
  json = JsonValue(JsonValueType::Array);
  for (const RangeClass& range : GetDataValue()) json.Append(RangeToJson(range));
  return true;
}

bool RangeListData::FromJSON(const JsonValue& json) { return ReadJson(*this, json, &ListFromJson); }

std::uint64_t RangeListData::SizeInBytes() const {
  if (HasNoValue()) return sizeof(RangeListData);
  return sizeof(RangeListData) + sizeof(RangeVector) + GetDataValue().size() * sizeof(RangeClass);
}

tessera::DataRef RangeListData::operator[](std::int32_t index) {
  if (index < 0 || index >= Count()) return {};
  auto* ranges = &GetDataValue();
  const auto place = static_cast<std::size_t>(index);
  return tessera::DataRef(tessera::MakeData<RangeData>((*ranges)[place]),
                          [ranges, place](const boost::shared_ptr<Data>& data) {
                            const auto range = boost::dynamic_pointer_cast<RangeData>(data);
                            if (range && !range->HasNoValue()) (*ranges)[place] = range->GetDataValue();
                          });
}

std::int32_t RangeListData::Count() const {
  constexpr std::size_t kMost = std::numeric_limits<std::int32_t>::max();
  return HasNoValue() ? 0 : static_cast<std::int32_t>(std::min(GetDataValue().size(), kMost));
}

TESSERA_ORDER(RangeListData, &OrderOfLists)

}  // namespace Tamrin::TesseraBasic
