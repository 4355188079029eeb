#include "txgeospatiallib/coordinatereferencesystemid.h"

#include <boost/make_shared.hpp>

#include "referencing/authority.h"
#include "txlib/builtin.h"
#include "txlib/comparedata.h"
#include "txlib/jsonfault.h"
#include "txlib/jsonvalue.h"

namespace Tamrin::TesseraGeospatial {

using Tessera::Data;
using Tessera::JsonValue;

namespace {

using korven::plugin::AvailablePluginProxy;

constexpr const wchar_t* kAuthority = L"Authority";
constexpr const wchar_t* kCode = L"Code";

int Offer(const std::wstring& category, std::vector<boost::shared_ptr<AvailablePluginProxy>>& proxies) {
  if (!category.empty() && category != L"Data") return 0;
  proxies.push_back(AvailablePluginProxy::Create(CoordinateReferenceSystemIDData::DefaultTypeName().Name,
                                                 []() -> boost::shared_ptr<korven::plugin::IPlugin> {
                                                   return boost::make_shared<CoordinateReferenceSystemIDData>();
                                                 }));
  return 0;
}

const Tessera::BuiltInRegistrar kRegistrar(&Offer);

}  // namespace

CoordinateReferenceSystemID::CoordinateReferenceSystemID(const iso::referencing::crs::CRSPtr& crs) {
  const auto identifiers = crs ? crs->getIdentifiers() : std::vector<iso::referencing::Identifier>();
  if (identifiers.empty()) return;
  authority_ = identifiers.front().authority;
  code_ = identifiers.front().code;
}

iso::referencing::crs::CRSPtr CoordinateReferenceSystemID::CreateCoordinateReferenceSystem() const {
  using coordinateReferencing::ReferencingFactoryFinder;
  const auto factory = ReferencingFactoryFinder::tryGetCRSAuthorityFactory(authority_);
  return factory ? factory->tryCreateCoordinateReferenceSystem(code_) : nullptr;
}

std::wstring CoordinateReferenceSystemID::ToString() const {
  return authority_.empty() && code_.empty() ? std::wstring() : authority_ + L":" + code_;
}

bool CoordinateReferenceSystemID::FromString(const std::wstring& text) {
  const std::size_t colon = text.find(L':');
  if (colon == std::wstring::npos || colon == 0 || colon + 1 == text.size()) return false;
  authority_ = text.substr(0, colon);
  code_ = text.substr(colon + 1);
  return true;
}

std::wstring CoordinateReferenceSystemIDData::ToString() const { return GetDataValue().ToString(); }

boost::shared_ptr<Data> CoordinateReferenceSystemIDData::Clone() const {
  return Tessera::MakeData<CoordinateReferenceSystemIDData>(GetDataValue());
}

bool CoordinateReferenceSystemIDData::operator>(const boost::shared_ptr<Data>& other) const {
  if (!other) return true;
  const auto* same = dynamic_cast<const CoordinateReferenceSystemIDData*>(other.get());
  return same ? GetDataValue() > same->GetDataValue() : Tessera::CompareData(*this, *other) > 0;
}

bool CoordinateReferenceSystemIDData::operator<(const boost::shared_ptr<Data>& other) const {
  if (!other) return false;
  const auto* same = dynamic_cast<const CoordinateReferenceSystemIDData*>(other.get());
  return same ? GetDataValue() < same->GetDataValue() : Tessera::CompareData(*this, *other) < 0;
}

bool CoordinateReferenceSystemIDData::FromString(const std::wstring& text) {
  CoordinateReferenceSystemID id;
  if (!id.FromString(text)) return false;
  SetDataPointer(boost::make_shared<CoordinateReferenceSystemID>(id));
  return true;
}

bool CoordinateReferenceSystemIDData::ToJSON(JsonValue& json) const {
  json = JsonValue(Tessera::JsonValueType::Object);
  json[kAuthority] = JsonValue(GetDataValue().GetAuthority());
  json[kCode] = JsonValue(GetDataValue().GetCode());
  return true;
}

bool CoordinateReferenceSystemIDData::FromJSON(const JsonValue& json) {
  const JsonValue& authority = json[kAuthority];
  const JsonValue& code = json[kCode];
  for (const auto& [key, member] : {std::pair("Authority", &authority), {"Code", &code}})
    if (!member->IsString()) return Tessera::RefuseJsonMember(json, key, L"a string");
  SetDataPointer(boost::make_shared<CoordinateReferenceSystemID>(authority.AsString(), code.AsString()));
  return true;
}

std::uint64_t CoordinateReferenceSystemIDData::SizeInBytes() const {
  const CoordinateReferenceSystemID& id = GetDataValue();
  return sizeof(CoordinateReferenceSystemIDData) + sizeof id +
         (id.GetAuthority().size() + id.GetCode().size()) * sizeof(wchar_t);
}

std::vector<std::wstring> CoordinateReferenceSystemIDData::GetKeys() const { return {kAuthority, kCode}; }

Tessera::DataRef CoordinateReferenceSystemIDData::operator[](const std::wstring& key) {
  const CoordinateReferenceSystemID& id = GetDataValue();
  if (key == kAuthority) return Tessera::DataRef(Tessera::MakeData<Tessera::StringData>(id.GetAuthority()));
  if (key == kCode) return Tessera::DataRef(Tessera::MakeData<Tessera::StringData>(id.GetCode()));
  return {};
}

}  // namespace Tamrin::TesseraGeospatial
