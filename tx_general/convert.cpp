#include <cmath>
#include <typeindex>
#include <typeinfo>
#include <unordered_map>

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

/// Builds the JSON of a value, and knows by then which types are only texts.
class JsonMaker {
 public:
  /// False where the value is nested too deep.
  bool Fill(const DataPtr& data, unsigned depth, JsonValue& json) {
    json = JsonValue();
    if (!data) return true;
    if (depth > kDeepestJson) return false;
    const Data& value = *data;
    // The same as by its keys below, without a handle for each.
    if (typeid(value) == typeid(DictionaryData) && !value.HasNoValue()) {
      const auto& items = static_cast<const DictionaryData&>(value).GetDataValue().GetItems();
      if (!items.empty()) return FillMembers(items, depth, json);
    }
    const auto keys = data->GetKeys();
    if (!keys.empty()) {
      std::vector<Dictionary::Item> items;
      for (const auto& key : keys) items.emplace_back(key, (*data)[key].AsDataOrNull());
      return FillMembers(items, depth, json);
    }
    const std::int32_t count = data->Count();
    if (count < 1) {
      json = OfSingle(data);
      return true;
    }
    json = JsonValue(JsonValueType::Array);
    for (std::int32_t index = 0; index < count; ++index) {
      JsonValue element;
      if (!Fill((*data)[index].AsDataOrNull(), depth + 1, element)) return false;
      json.Append(std::move(element));
    }
    return true;
  }

 private:
  bool FillMembers(const std::vector<Dictionary::Item>& items, unsigned depth, JsonValue& json) {
    json = JsonValue(JsonValueType::Object);
    json.Set("__keys__", JsonValue(JsonValueType::Array));
    JsonValue order(JsonValueType::Array);
    for (const auto& [key, item] : items) {
      const std::string name = kstr_ToUtf8(key);
      JsonValue member;
      if (!Fill(item, depth + 1, member)) return false;
      json.Set(name, std::move(member));
      order.Append(JsonValue::FromUtf8(name));
    }
    json.Set("__keys__", std::move(order));
    return true;
  }

  JsonValue OfSingle(const DataPtr& data) {
    const Data& value = *data;
    if (value.HasNoValue() || IsOnlyText(value)) return JsonValue(data->ToString());
    if (typeid(value) == typeid(IntData)) return JsonValue(static_cast<const IntData&>(value).GetDataValue());
    const auto real = AsDataOf<DoubleData>(data);
    if (real) {
      // A number is asked for its integer only where it is whole.
      const double number = real->GetDataValue();
      if (std::isnan(number) || number != std::trunc(number)) return JsonValue(number);
    }
    if (const auto whole = AsDataOf<IntData>(data)) return JsonValue(whole->GetDataValue());
    if (real) return JsonValue(real->GetDataValue());
    if (const auto truth = AsDataOf<BoolData>(data)) return JsonValue(truth->GetDataValue());
    return JsonValue(data->ToString());
  }

  /// True where the type is not converted to a number or a truth value at all.
  bool IsOnlyText(const Data& value) {
    const auto [found, isNew] = onlyText_.try_emplace(typeid(value), false);
    if (!isNew) return found->second;
    const auto converts = [&](const ObjectName& type) {
      return value.GetDataTypeName() == type ||
             ConversionFactory::ConversionExists(value.GetTypeNamespace(), value.GetTypeName(), type.Namespace,
                                                 type.Name);
    };
    found->second = !converts(DoubleData::DefaultTypeName()) && !converts(IntData::DefaultTypeName()) &&
                    !converts(BoolData::DefaultTypeName());
    return found->second;
  }

  std::unordered_map<std::type_index, bool> onlyText_;
};

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
  if (!JsonMaker().Fill(source, 0, json)) return nullptr;
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
