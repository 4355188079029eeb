#include "txlib/datajson.h"

#include <limits>
#include <utility>

#include "datajsonparts.h"
#include "jsonlib/widetext.h"
#include "kcommon/kstr.h"
#include "nesting.h"
#include "txlib/conversion.h"

namespace Tamrin::Tessera {
namespace {

using DataPtr = boost::shared_ptr<Data>;

bool Refuse(JsonFault& fault, std::wstring error, std::wstring path = {}) {
  fault.error = std::move(error);
  fault.path = std::move(path);
  return false;
}

bool RefuseNesting(JsonFault& fault) {
  return Refuse(fault,
                L"found values nested more than " + std::to_wstring(kMaxNesting) + L" levels deep, expected less");
}

std::wstring Expected(const std::wstring& type) {
  static const std::pair<const wchar_t*, const wchar_t*> kForms[] = {
      {L"VANTIX.Bool", L"true or false"},
      {L"VANTIX.Int", L"a whole number from -2147483648 to 2147483647"},
      {L"VANTIX.Unsigned", L"a whole number from 0 to 4294967295"},
      {L"VANTIX.Double", L"a number, \"NaN\", \"Infinity\" or \"-Infinity\""},
      {L"VANTIX.String", L"a string"},
      {L"VANTIX.File", L"a string"},
      {L"VANTIX.Directory", L"a string"},
      {L"VANTIX.Password", L"a string"},
      {L"VANTIX.DistanceUnitType", L"a string"},
      {L"VANTIX.VectorFeatureType", L"a string"},
      {L"VANTIX.StringList", L"an array of strings"},
      {L"VANTIX.List", L"an array of typed values and nulls"},
      {L"VANTIX.Dictionary", L"an object of typed values and nulls"}};
  for (const auto& [name, form] : kForms)
    if (type == name) return form;
  return L"a value";
}

bool RefuseValue(const JsonValue& json, const std::wstring& type, JsonFault& fault) {
  return Refuse(fault,
                L"found " + DescribeJson(json) + L", expected " + Expected(type) + L" for type \"" + type + L"\"",
                L".Value");
}

bool RefuseType(const std::wstring& type, JsonFault& fault) {
  std::vector<std::wstring> names;
  for (const ObjectName& name : DataFactory::GetNames()) names.push_back(name.ToString());
  // Also when the namespace was left out, which is too far away for a slip of the pen.
  std::wstring nearest = kstr_NearestName(type, names);
  if (nearest.empty()) nearest = kstr_NearestName(L"VANTIX." + type, names);
  const std::wstring hint = nearest.empty() ? L", expected the name of a data type such as \"VANTIX.Int\""
                                            : L"; did you mean \"" + nearest + L"\"?";
  return Refuse(fault, L"found the unknown type \"" + type + L"\"" + hint, L".Type");
}

bool FillFromJson(const JsonValue& value, const std::wstring& type, Data& data, JsonFault& fault) {
  JsonFaultScope told;
  if (data.FromJSON(value)) return true;
  fault = std::move(told.Get());
  return fault.error.empty() ? RefuseValue(value, type, fault) : At(fault, "Value");
}

bool ReadTyped(const JsonValue& json, DataPtr& data, JsonFault& fault) {
  data.reset();
  if (!IsTypedJson(json))
    return Refuse(fault, L"found " + DescribeJson(json) + L", expected an object with \"Type\" and \"Value\"");
  const JsonValue& typeJson = *json.Find("Type");
  const JsonValue& value = *json.Find("Value");
  if (!typeJson.IsString())
    return Refuse(fault,
                  L"found " + DescribeJson(typeJson) + L", expected the name of a data type such as \"VANTIX.Int\"",
                  L".Type");
  const std::wstring type = typeJson.AsString();
  if (value.IsNull() && type == L"VANTIX.Data") return true;
  if (value.IsNull()) {
    const ObjectName name = ObjectName::FromString(type);
    return DataFactory::Contains(name.Namespace, name.Name) || RefuseType(type, fault);
  }
  if (type == L"VANTIX.Data")
    return Refuse(fault, L"found " + DescribeJson(value) + L", expected null for type \"VANTIX.Data\"", L".Value");
  const DataPtr made = DataFactory::Create(ObjectName::FromString(type));
  if (!made) return RefuseType(type, fault);
  if (!FillFromJson(value, type, *made, fault)) return false;
  data = made;
  return true;
}

DataPtr ReadInteger(const JsonValue& json) {
  const std::int64_t value = json.AsInt64();
  // A literal above the signed 64-bit numbers is clamped here, and so becomes a Double as it should.
  if (value >= std::numeric_limits<int>::min() && value <= std::numeric_limits<int>::max())
    return MakeData<IntData>(static_cast<int>(value));
  if (value >= 0 && value <= std::numeric_limits<unsigned int>::max())
    return MakeData<UnsignedData>(static_cast<unsigned int>(value));
  return MakeData<DoubleData>(json.AsDouble());
}

bool ReadDocument(const JsonValue& json, DataPtr& data, JsonFault& fault);

bool ReadBareList(const JsonValue& json, DataPtr& data, JsonFault& fault) {
  DataList items(json.Count());
  for (std::size_t i = 0; i < items.size(); ++i)
    if (!ReadDocument(json.GetElements()[i], items[i], fault)) return At(fault, i);
  data = MakeData<DataListData>(std::move(items));
  return true;
}

bool ReadBareDictionary(const JsonValue& json, DataPtr& data, JsonFault& fault) {
  Dictionary dictionary;
  for (const JsonValue::Member& member : json.GetMembers()) {
    DataPtr item;
    if (!ReadDocument(member.value, item, fault)) return At(fault, member.key);
    dictionary.SetItem(korven::jsonlib::FromUtf8(member.key), item);
  }
  data = MakeData<DictionaryData>(std::move(dictionary));
  return true;
}

bool ReadDocument(const JsonValue& json, DataPtr& data, JsonFault& fault) {
  data.reset();
  switch (json.Type()) {
    case JsonValueType::Null:
      return true;
    case JsonValueType::Bool:
      data = MakeData<BoolData>(json.AsBool());
      return true;
    case JsonValueType::Int:
    case JsonValueType::Unsigned:
      data = ReadInteger(json);
      return true;
    case JsonValueType::Double:
      data = MakeData<DoubleData>(json.AsDouble());
      return true;
    case JsonValueType::String:
      data = MakeData<StringData>(json.AsString());
      return true;
    default:
      break;
  }
  if (IsTypedJson(json)) return ReadTyped(json, data, fault);
  const NestingGuard level;
  if (NestingGuard::IsTooDeep()) return RefuseNesting(fault);
  return json.IsArray() ? ReadBareList(json, data, fault) : ReadBareDictionary(json, data, fault);
}

bool ReadItem(const JsonValue& json, DataPtr& item, JsonFault& fault) {
  return json.IsNull() || ReadTyped(json, item, fault);
}

bool WriteItem(const DataPtr& item, JsonValue& json) { return !item || DataToTypedJson(item, json); }

}  // namespace

bool ListToJson(const DataListData& list, JsonValue& json) {
  json = JsonValue();
  if (list.HasNoValue()) return true;
  const NestingGuard level;
  if (NestingGuard::IsTooDeep()) return false;
  json = JsonValue(JsonValueType::Array);
  for (const DataPtr& item : list.GetDataValue()) {
    JsonValue element;
    if (!WriteItem(item, element)) return false;
    json.Append(std::move(element));
  }
  return true;
}

bool ListFromJson(const JsonValue& json, DataListData& list, JsonFault& fault) {
  if (json.IsNull()) {
    list.SetDataPointer(nullptr);
    return true;
  }
  if (!json.IsArray()) return false;
  const NestingGuard level;
  if (NestingGuard::IsTooDeep()) return RefuseNesting(fault);
  const auto items = boost::make_shared<DataList>(json.Count());
  for (std::size_t i = 0; i < items->size(); ++i)
    if (!ReadItem(json.GetElements()[i], (*items)[i], fault)) return At(fault, i);
  list.SetDataPointer(items);
  return true;
}

bool DictionaryToJson(const DictionaryData& dictionary, JsonValue& json) {
  json = JsonValue();
  if (dictionary.HasNoValue()) return true;
  const NestingGuard level;
  if (NestingGuard::IsTooDeep()) return false;
  json = JsonValue(JsonValueType::Object);
  for (const auto& [key, item] : dictionary.GetDataValue().GetItems()) {
    JsonValue element;
    if (!WriteItem(item, element)) return false;
    json.Member8(korven::jsonlib::ToUtf8(key)) = std::move(element);
  }
  return true;
}

bool DictionaryFromJson(const JsonValue& json, DictionaryData& dictionary, JsonFault& fault) {
  if (json.IsNull()) {
    dictionary.SetDataPointer(nullptr);
    return true;
  }
  if (!json.IsObject()) return false;
  const NestingGuard level;
  if (NestingGuard::IsTooDeep()) return RefuseNesting(fault);
  const auto items = boost::make_shared<Dictionary>();
  for (const JsonValue::Member& member : json.GetMembers()) {
    DataPtr item;
    if (!ReadItem(member.value, item, fault)) return At(fault, member.key);
    items->SetItem(korven::jsonlib::FromUtf8(member.key), item);
  }
  dictionary.SetDataPointer(items);
  return true;
}

DataPtr DataFromText(const std::wstring& text) {
  JsonValue json;
  DataPtr data;
  JsonFault fault;
  return json.Deserialize(text) && ReadDocument(json, data, fault) ? data : nullptr;
}

bool DataToTypedJson(const DataPtr& data, JsonValue& json) {
  JsonValue value;
  if (data && !data->ToJSON(value)) return false;
  json = JsonValue(JsonValueType::Object);
  json.Member8("Type") = JsonValue((data ? data->GetDataTypeName() : Data::DefaultTypeName()).ToString());
  json.Member8("Value") = std::move(value);
  return true;
}

bool DataFromTypedJson(const JsonValue& json, DataPtr& data, std::wstring& error) {
  JsonFault fault;
  if (ReadTyped(json, data, fault)) return true;
  data.reset();
  // The place is told where it is not plain from the words: inside a list or dictionary.
  const bool isInside = fault.path.find_first_of(L".[", 1) != std::wstring::npos;
  error = isInside ? fault.path.substr(fault.path.front() == L'.') + L": " + fault.error : fault.error;
  return false;
}

bool DataFromDocumentJson(const JsonValue& json, DataPtr& data, std::wstring& error, std::string& path) {
  JsonFault fault;
  if (ReadDocument(json, data, fault)) return true;
  data.reset();
  error = std::move(fault.error);
  path = kstr_ToUtf8(fault.path);
  return false;
}

bool IsTypedJson(const JsonValue& json) {
  return json.IsObject() && json.Count() == 2 && json.Find("Type") && json.Find("Value");
}

}  // namespace Tamrin::Tessera
