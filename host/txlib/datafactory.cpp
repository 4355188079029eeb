#include <algorithm>
#include <array>

#include "catalogueindex.h"
#include "txlib/basicdata.h"
#include "txlib/conversion.h"

namespace Tamrin::Tessera {
namespace {

using Maker = boost::shared_ptr<Data> (*)();
using ProxyPtr = boost::shared_ptr<korven::plugin::AvailablePluginProxy>;

template <typename W>
boost::shared_ptr<Data> Make() {
  const auto data = boost::make_shared<W>();
  data->Initialize();
  return data;
}

struct OwnType {
  const wchar_t* name;
  Maker make;
};

// The types of this folder are there without any plug-in being looked for.
constexpr std::array<OwnType, 10> kOwnTypes = {{{L"Bool", &Make<BoolData>},
                                                {L"Int", &Make<IntData>},
                                                {L"Unsigned", &Make<UnsignedData>},
                                                {L"Double", &Make<DoubleData>},
                                                {L"String", &Make<StringData>},
                                                {L"File", &Make<FileData>},
                                                {L"Directory", &Make<DirectoryData>},
                                                {L"StringList", &Make<StringListData>},
                                                {L"List", &Make<DataListData>},
                                                {L"Dictionary", &Make<DictionaryData>}}};

Maker FindOwn(const std::wstring& nameSpace, const std::wstring& name) {
  if (nameSpace != L"VANTIX") return nullptr;
  const auto found = std::find_if(kOwnTypes.begin(), kOwnTypes.end(), [&](const OwnType& t) { return name == t.name; });
  return found == kOwnTypes.end() ? nullptr : found->make;
}

bool ReadType(const korven::plugin::PluginManager::Entry& entry, std::wstring& key, ProxyPtr& row) {
  const auto data = boost::dynamic_pointer_cast<Data>(entry.proxy->CreateInstance());
  if (!data) return false;
  key = data->GetDataTypeName().ToString();
  row = entry.proxy;
  return true;
}

ProxyPtr FindProxy(const std::wstring& nameSpace, const std::wstring& name) {
  static auto& index = *new CatalogueIndex<ProxyPtr>(L"Data", &ReadType);
  const std::wstring key = nameSpace + L"." + name;
  ProxyPtr proxy;
  if (index.Find(key, proxy)) return proxy;
  // Looked up again also where the list has not grown: another thread may have read it since.
  index.Refresh();
  index.Find(key, proxy);
  return proxy;
}

}  // namespace

boost::shared_ptr<Data> DataFactory::Create(const ObjectName& name) {
  if (const Maker make = FindOwn(name.Namespace, name.Name)) return make();
  const ProxyPtr proxy = FindProxy(name.Namespace, name.Name);
  if (!proxy) return nullptr;
  const auto data = boost::dynamic_pointer_cast<Data>(proxy->CreateInstance());
  if (data) data->Initialize();
  return data;
}

bool DataFactory::Contains(const std::wstring& nameSpace, const std::wstring& name) {
  return FindOwn(nameSpace, name) || FindProxy(nameSpace, name);
}

std::vector<ObjectName> DataFactory::GetNames() {
  EnsureBuiltIns();
  auto entries = korven::plugin::PluginManager::Instance().List(L"Data");
  std::stable_partition(entries.begin(), entries.end(), [](const auto& entry) { return entry.plugin == L"tessera"; });
  std::vector<ObjectName> names;
  for (const OwnType& type : kOwnTypes) names.emplace_back(L"VANTIX", type.name);
  for (const auto& entry : entries) {
    const std::wstring& registered = entry.proxy->GetName();
    ObjectName name = registered.find(L'.') == std::wstring::npos ? ObjectName(L"VANTIX", registered)
                                                                  : ObjectName::FromString(registered);
    if (std::find(names.begin(), names.end(), name) == names.end()) names.push_back(std::move(name));
  }
  return names;
}

}  // namespace Tamrin::Tessera
