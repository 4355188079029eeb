#include <cmath>

#include "kcommon/kstr.h"
#include "korvenlog/exception.h"
#include "support.h"
#include "txbasiclib/basicvalues.h"
#include "txlib/conversion.h"
#include "txlib/dataref.h"
#include "txlib/jsonvalue.h"

namespace korven::tx_general {

inline constexpr OperatorSheet kConvert{
    .name = L"Convert",
    .displayName = L"Convert",
    .category = L"General",
    .icon = L"DataInput.ico",
    .description = L"Convert data to a specified data type.",
    .keywords = L"Datatype",
    .registeredName = L"VANTIX.Convert",
};

namespace {

/// Deeper values have no JSON here, so that none can run a thread out of its stack.
constexpr unsigned kDeepestJson = 1000;

ObjectName SplitTypeName(const std::wstring& text) {
  const auto stop = text.find(L'.');
  if (stop == std::wstring::npos) return {std::wstring(), text};
  if (stop == 0 || stop + 1 == text.size() || text.find(L'.', stop + 1) != std::wstring::npos) {
    KorvenLog::CPPException<std::runtime_error>(L"tx_general\\convert", L"korven::tx_general::Convert::OnExecute")
        .Throw(__LINE__, L"Invalid full name format.");
  }
  return {text.substr(0, stop), text.substr(stop + 1)};
}

/// Completes a name without a namespace; false where no type or more than one has the name.
bool FindType(ObjectName& name) {
  if (!name.Namespace.empty()) return DataFactory::Contains(name.Namespace, name.Name);
  unsigned found = 0;
  for (const auto& known : DataFactory::GetNames()) {
    if (known.Name != name.Name) continue;
    name.Namespace = known.Namespace;
    ++found;
  }
  return found == 1;
}

JsonValue JsonOfSingle(const DataPtr& data) {
  if (data->HasNoValue()) return JsonValue(data->ToString());
  // What is no number at all is told by its texts alone; a number is asked for its integer only where it is whole.
  const auto real = AsDataOf<DoubleData>(data);
  if (real) {
    const double value = real->GetDataValue();
    if (std::isnan(value) || value != std::trunc(value)) return JsonValue(value);
  }
  if (const auto whole = AsDataOf<IntData>(data)) return JsonValue(whole->GetDataValue());
  if (real) return JsonValue(real->GetDataValue());
  if (const auto truth = AsDataOf<BoolData>(data)) return JsonValue(truth->GetDataValue());
  return JsonValue(data->ToString());
}

/// False where the value is nested too deep.
bool FillJson(const DataPtr& data, unsigned depth, JsonValue& json) {
  json = JsonValue();
  if (!data) return true;
  if (depth > kDeepestJson) return false;
  const auto keys = data->GetKeys();
  if (!keys.empty()) {
    json = JsonValue(JsonValueType::Object);
    json.Set("__keys__", JsonValue(JsonValueType::Array));
    JsonValue order(JsonValueType::Array);
    for (const auto& key : keys) {
      JsonValue member;
      if (!FillJson((*data)[key].AsDataOrNull(), depth + 1, member)) return false;
      json.Set(kstr_ToUtf8(key), std::move(member));
      order.Append(JsonValue(key));
    }
    json.Set("__keys__", std::move(order));
    return true;
  }
  const std::int32_t count = data->Count();
  if (count < 1) {
    json = JsonOfSingle(data);
    return true;
  }
  json = JsonValue(JsonValueType::Array);
  for (std::int32_t index = 0; index < count; ++index) {
    JsonValue element;
    if (!FillJson((*data)[index].AsDataOrNull(), depth + 1, element)) return false;
    json.Append(std::move(element));
  }
  return true;
}

/// Null where the value has no keys.
DataPtr DictionaryOf(Data& source) {
  const auto keys = source.GetKeys();
  if (keys.empty()) return nullptr;
  Dictionary dictionary;
  for (const auto& key : keys) {
    if (const auto item = source[key].AsDataOrNull()) dictionary.SetItem(key, item->Clone());
  }
  return MakeData<DictionaryData>(std::move(dictionary));
}

DataPtr ConvertedTo(const DataPtr& source, const ObjectName& target) {
  if (source->GetDataTypeName() == target) return source;
  if (const auto converted = source->ConvertTo(target)) return converted;
  if (target == DictionaryData::DefaultTypeName()) return DictionaryOf(*source);
  if (target != Tamrin::TesseraBasic::JsonData::DefaultTypeName()) return nullptr;
  JsonValue json;
  if (!FillJson(source, 0, json)) return nullptr;
  return MakeData<Tamrin::TesseraBasic::JsonData>(std::move(json));
}

}  // namespace

class Convert : public Described<kConvert> {
 public:
  void DeclarePorts() override {
    CreatePort(L"Input", Data::DefaultTypeName(), PortType::Input);
    CreatePort(L"DataType", StringData::DefaultTypeName(), PortType::Input);
    Hidden(Optional(CreatePort(L"AllowEmptyOutput", PortType::Input, MakeData<BoolData>(false))));
    CreatePort(L"Output", Data::DefaultTypeName(), PortType::Output);
  }

 protected:
  void OnExecute() override {
    const auto input = RequirePort(*this, L"Input")->GetData();
    if (!input) SetErrorMessage(L"Input is empty.");
    const auto dataType = ReadPort<std::wstring>(*this, L"DataType");
    const bool allowEmpty = ReadPort<bool>(*this, L"AllowEmptyOutput");
    ObjectName target = SplitTypeName(dataType);
    if (!FindType(target)) SetErrorMessage(L"Could not find unique data type in the factory.");
    const auto result = ConvertedTo(input, target);
    if (!result && !allowEmpty) {
      SetErrorMessage(L"Could not convert " + input->GetDataTypeName().ToString() + L" to " + dataType + L".");
    }
    RequirePort(*this, L"Output")->SetData(result);
  }
};

TX_GENERAL_FACTORY(Convert)

}  // namespace korven::tx_general
