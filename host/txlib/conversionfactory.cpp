#include "catalogueindex.h"
#include "plugin/plugintypeinfo.h"
#include "txlib/conversion.h"

namespace Tamrin::Tessera {
namespace {

using ConversionPtr = boost::shared_ptr<Conversion>;

void Append(std::wstring& key, const std::wstring& nameSpace, const std::wstring& name) {
  key.append(nameSpace).append(1, L'.').append(name);
}

bool ReadConversion(const korven::plugin::PluginManager::Entry& entry, std::wstring& key, ConversionPtr& row) {
  row = boost::dynamic_pointer_cast<Conversion>(entry.proxy->CreateInstance());
  if (!row) return false;
  Append(key, row->FromNamespace(), row->FromType());
  key.append(1, L'|');
  Append(key, row->ToNamespace(), row->ToType());
  return true;
}

}  // namespace

std::wstring Conversion::Description() const {
  return std::wstring(FromNamespace()) + L"." + FromType() + L" to " + ToNamespace() + L"." + ToType();
}

std::wstring Conversion::Provider() const { return kEngineProvider; }

std::wstring Conversion::Version() const { return kEngineVersion; }

std::map<std::wstring, boost::shared_ptr<korven::plugin::PluginTypeInfo>> Conversion::TypeInfo() const {
  const auto info = boost::make_shared<korven::plugin::PluginTypeInfo>();
  info->SetProperty(L"FromNamespace", FromNamespace());
  info->SetProperty(L"FromType", FromType());
  info->SetProperty(L"ToNamespace", ToNamespace());
  info->SetProperty(L"ToType", ToType());
  return {{L"Conversion", info}};
}

// A conversion has no state, so the one instance that told its types serves every caller.
boost::shared_ptr<Conversion> ConversionFactory::Create(const std::wstring& fromNamespace, const std::wstring& fromName,
                                                        const std::wstring& toNamespace, const std::wstring& toName) {
  static auto& index = *new CatalogueIndex<ConversionPtr>(L"Conversion", &ReadConversion);
  thread_local std::wstring key;
  const auto setKey = [&](const std::wstring& nameSpace, const std::wstring& name) {
    key.clear();
    Append(key, nameSpace, name);
    key.append(1, L'|');
    Append(key, toNamespace, toName);
  };
  ConversionPtr conversion;
  setKey(fromNamespace, fromName);
  if (index.Find(key, conversion)) return conversion;
  // Looked up again also where the list has not grown: another thread may have read it since. The key is set anew,
  // as types made meanwhile on this thread may have asked for conversions of their own.
  index.Refresh();
  setKey(fromNamespace, fromName);
  if (index.Find(key, conversion)) return conversion;
  setKey(L"*", L"*");
  index.Find(key, conversion);
  return conversion;
}

bool ConversionFactory::ConversionExists(const std::wstring& fromNamespace, const std::wstring& fromName,
                                         const std::wstring& toNamespace, const std::wstring& toName) {
  return Create(fromNamespace, fromName, toNamespace, toName) != nullptr;
}

}  // namespace Tamrin::Tessera
