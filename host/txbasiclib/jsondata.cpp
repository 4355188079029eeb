#include <algorithm>
#include <limits>

#include "kcommon/kstr.h"
#include "wrapperparts.h"

namespace Tamrin::TesseraBasic {
namespace {

using tessera::Data;
using tessera::DataRef;
using tessera::JsonValue;

/// By text: order and repetition of keys count, so that the order is total.
int OrderOfJson(const JsonValue& a, const JsonValue& b) { return OrderOf(a.SerializeUtf8(), b.SerializeUtf8()); }

/// The JSON form of a value that is assigned into a document; null for none.
JsonValue JsonOf(const boost::shared_ptr<Data>& data) {
  JsonValue json;
  return data && data->ToJSON(json) ? json : JsonValue();
}

}  // namespace

std::wstring JsonData::ToString() const { return HasNoValue() ? std::wstring() : GetDataValue().Serialize(); }

boost::shared_ptr<Data> JsonData::Clone() const { return CopyOf(*this); }

bool JsonData::FromString(const std::wstring& text) {
  JsonValue json;
  if (!json.Deserialize(text)) return false;
  SetDataPointer(boost::make_shared<JsonValue>(std::move(json)));
  return true;
}

bool JsonData::ToJSON(JsonValue& json) const {
  json = HasNoValue() ? JsonValue() : GetDataValue();
  return true;
}

bool JsonData::FromJSON(const JsonValue& json) {
  SetDataPointer(boost::make_shared<JsonValue>(json));
  return true;
}

std::uint64_t JsonData::SizeInBytes() const {
  return sizeof(JsonData) + (HasNoValue() ? 0 : sizeof(JsonValue) + GetDataValue().SerializeUtf8().size());
}

std::vector<std::wstring> JsonData::GetKeys() const {
  std::vector<std::wstring> keys;
  if (HasNoValue()) return keys;
  const JsonValue& json = GetDataValue();
  for (const auto& member : json.GetMembers()) keys.push_back(kstr_FromUtf8Lossy(member.key));
  return keys;
}

DataRef JsonData::operator[](std::int32_t index) {
  if (index < 0 || index >= Count() || !GetDataValue().IsArray()) return {};
  JsonValue* json = &GetDataValue();
  const JsonValue& element = json->GetElements()[static_cast<std::size_t>(index)];
  return DataRef(tessera::MakeData<JsonData>(element),
                 [json, index](const boost::shared_ptr<Data>& data) { (*json)[index] = JsonOf(data); });
}

DataRef JsonData::operator[](const std::wstring& key) {
  if (HasNoValue() || !GetDataValue().IsObject()) return {};
  JsonValue* json = &GetDataValue();
  const JsonValue* member = json->Find(kstr_ToUtf8(key));
  return DataRef(member ? tessera::MakeData<JsonData>(*member) : nullptr,
                 [json, key](const boost::shared_ptr<Data>& data) { json->Set(kstr_ToUtf8(key), JsonOf(data)); });
}

std::int32_t JsonData::Count() const {
  constexpr unsigned kMost = std::numeric_limits<std::int32_t>::max();
  return HasNoValue() ? 0 : static_cast<std::int32_t>(std::min(GetDataValue().Count(), kMost));
}

TESSERA_ORDER(JsonData, &OrderOfJson)

}  // namespace Tamrin::TesseraBasic
