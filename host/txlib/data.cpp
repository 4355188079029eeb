#include "txlib/data.h"

#include <algorithm>
#include <stdexcept>

#include "datatext.h"
#include "kcommon/kerr.h"
#include "kcommon/kstr.h"
#include "plugin/plugintypeinfo.h"
#include "txlib/basicdata.h"
#include "txlib/builtin.h"
#include "txlib/conversion.h"
#include "txlib/dataref.h"
#include "txlib/jsonvalue.h"

namespace Tamrin::Tessera {
namespace {

// Every data part is one of a Data; the two are separate only for the order of their slots.
const Data& AsWhole(const DataPart& part) { return dynamic_cast<const Data&>(part); }

std::wstring TypeText(const DataPart& part) {
  return ObjectName(part.GetTypeNamespace(), part.GetTypeName()).ToString();
}

}  // namespace

std::wstring DataPart::ToString() const { return HasNoValue() ? std::wstring() : TypeText(*this); }

const wchar_t* DataPart::GetTypeNamespace() const { return L"VANTIX"; }

const wchar_t* DataPart::GetTypeName() const { return L"Data"; }

boost::shared_ptr<Data> DataPart::Clone() const {
  const auto copy = DataFactory::Create({GetTypeNamespace(), GetTypeName()});
  if (!copy) return HasNoValue() ? boost::make_shared<Data>() : boost::shared_ptr<Data>();
  JsonValue json;
  return HasNoValue() || (ToJSON(json) && copy->FromJSON(json)) ? copy : nullptr;
}

boost::shared_ptr<Data> DataPart::ConvertTo(const ObjectName& target) const {
  const auto conversion = ConversionFactory::Create(GetTypeNamespace(), GetTypeName(), target.Namespace, target.Name);
  return conversion ? conversion->Convert(AsWhole(*this).SharedThis()) : nullptr;
}

bool DataPart::HasNoValue() const { return true; }

std::vector<std::wstring> DataPart::GetKeys() const { return {}; }

DataRef DataPart::operator[](std::int32_t) { return {}; }

DataRef DataPart::operator[](const std::wstring&) { return {}; }

std::int32_t DataPart::Count() const { return 0; }

bool DataPart::Erase(std::int32_t) { return false; }

bool DataPart::Erase(const std::wstring&) { return false; }

void DataPart::AssignFrom(const boost::shared_ptr<Data>&) {}

bool DataPart::operator>(const boost::shared_ptr<Data>&) const { return false; }

bool DataPart::operator<(const boost::shared_ptr<Data>&) const { return false; }

// The JSON form loses nothing, where the text forms of some types round or leave out.
bool DataPart::ToSerializedString(std::wstring& type, std::wstring& text) const {
  JsonValue json;
  if (!ToJSON(json)) return false;
  type = TypeText(*this);
  text = json.Serialize();
  return true;
}

bool DataPart::FromSerializedString(const std::wstring& type, const std::wstring& text) {
  JsonValue json;
  return type == TypeText(*this) && json.Deserialize(text) && FromJSON(json);
}

std::wstring DataPart::ToString(unsigned depth, bool& multiline) const {
  return IndentedText(AsWhole(*this), depth, multiline);
}

bool DataPart::FromString(const std::wstring&) { return false; }

std::wstring DataPart::ToShortString() const { return ShortLine(ToString()); }

std::wstring DataPart::ToReportString() const { return ToString(); }

bool DataPart::ToJSON(JsonValue& json) const {
  if (!HasNoValue()) return false;
  json = JsonValue();
  return true;
}

bool DataPart::FromJSON(const JsonValue&) { return false; }

std::wstring DataPart::GetHelpLink() const { return {}; }

std::uint64_t DataPart::SizeInBytes() const { return sizeof(Data); }

std::wstring Data::Description() const { return L"Value of type " + GetDataTypeName().ToString(); }

std::wstring Data::Provider() const { return kEngineProvider; }

std::wstring Data::Version() const { return kEngineVersion; }

std::map<std::wstring, boost::shared_ptr<korven::plugin::PluginTypeInfo>> Data::TypeInfo() const {
  const auto info = boost::make_shared<korven::plugin::PluginTypeInfo>();
  info->SetProperty(L"Namespace", GetTypeNamespace());
  info->SetProperty(L"ObjectName", GetTypeName());
  return {{L"Data", info}};
}

std::int32_t Data::AsInt() const { return GetDataValue<std::int32_t>(); }

namespace detail {

void RaiseNoValue(const char* templateName, const std::type_info& type) {
  KerrException(L"txlib\\datat", kstr_Widen(templateName))
      .Throw(48, L"There is no data currently set on wrapper for type " + kstr_Widen(type.name()));
}

void RaiseGetDataValue(int line, const wchar_t* text) {
  KorvenLog::CPPException<std::runtime_error>(L"txlib\\data", L"Tamrin::Tessera::Data::GetDataValue").Throw(line, text);
}

}  // namespace detail
}  // namespace Tamrin::Tessera
