#include <mutex>
#include <shared_mutex>
#include <unordered_map>

#include "operatormaker.h"
#include "plugin/pluginmanager.h"
#include "txlib/builtin.h"
#include "txlib/factories.h"
#include "txlib/model.h"

namespace Tamrin::Tessera {

namespace {

using korven::plugin::AvailablePluginProxy;
using korven::plugin::PluginManager;
using korven::plugin::PluginTypeInfo;

constexpr const wchar_t* kCategory = L"Operator";

boost::shared_ptr<Operator> Make(AvailablePluginProxy& proxy) {
  auto made = boost::dynamic_pointer_cast<Operator>(proxy.CreateInstance());
  if (made) made->Initialize();
  return made;
}

/// The plain container is in no catalogue.
boost::shared_ptr<Operator> MakePlainModel() {
  const auto model = boost::make_shared<Model>();
  model->Initialize();
  return model;
}

using ProxyPtr = boost::shared_ptr<AvailablePluginProxy>;

/// Names that were found once: a name that is taken stays with who took it.
class FoundProxies {
 public:
  static FoundProxies& Instance() {
    static FoundProxies& found = *new FoundProxies;
    return found;
  }
  ProxyPtr Find(const std::wstring& dotted) const {
    const std::shared_lock lock(mutex_);
    const auto found = proxies_.find(dotted);
    return found == proxies_.end() ? nullptr : found->second;
  }
  void Keep(const std::wstring& dotted, const ProxyPtr& proxy) {
    const std::unique_lock lock(mutex_);
    proxies_.try_emplace(dotted, proxy);
  }

 private:
  mutable std::shared_mutex mutex_;
  std::unordered_map<std::wstring, ProxyPtr> proxies_;
};

/// An operator is registered under its dotted name, or under its plain one in whatever namespace it says.
ProxyPtr FindProxy(const std::wstring& nameSpace, const std::wstring& name) {
  const std::wstring dotted = nameSpace + L"." + name;
  if (const auto known = FoundProxies::Instance().Find(dotted)) return known;
  EnsureBuiltIns();
  PluginManager& manager = PluginManager::Instance();
  for (const std::wstring& registered : {dotted, name}) {
    const auto proxy = manager.Find(kCategory, registered);
    const auto made = proxy ? Make(*proxy) : nullptr;
    if (!made || made->GetOperatorNamespace() != nameSpace) continue;
    FoundProxies::Instance().Keep(dotted, proxy);
    return proxy;
  }
  return nullptr;
}

using Facts = std::vector<boost::shared_ptr<PluginTypeInfo>>;

std::unordered_map<std::wstring, Facts> CollectPrototypes() {
  std::unordered_map<std::wstring, Facts> byPrototype;
  for (const auto& entry : PluginManager::Instance().List(kCategory)) {
    // Not initialised: the constructor says all that is wanted here, and an Iterator declares by this very table.
    const auto op = boost::dynamic_pointer_cast<Operator>(entry.proxy->CreateInstance());
    if (!op || op->GetPrototype().empty()) continue;
    const auto info = boost::make_shared<PluginTypeInfo>();
    info->SetProperty(L"Namespace", op->GetOperatorNamespace());
    info->SetProperty(L"ObjectName", op->GetOperatorName());
    info->SetProperty(L"DisplayName", op->GetDisplayName());
    info->SetProperty(L"Keywords", op->GetKeywords());
    info->SetProperty(L"Description", op->GetDescription());
    info->SetProperty(L"DisplayCategory", op->GetDisplayCategory());
    info->SetProperty(L"Icon", op->GetIcon());
    byPrototype[op->GetPrototype()].push_back(info);
  }
  return byPrototype;
}

}  // namespace

OperatorMaker FindOperatorMaker(const std::wstring& nameSpace, const std::wstring& name) {
  if (const auto proxy = FindProxy(nameSpace, name)) return [proxy] { return Make(*proxy); };
  return nameSpace == L"VANTIX" && name == L"Model" ? &MakePlainModel : OperatorMaker();
}

boost::shared_ptr<Operator> OperatorFactory::Create(const std::wstring& nameSpace, const std::wstring& name) {
  const auto proxy = FindProxy(nameSpace, name);
  return proxy ? Make(*proxy) : nullptr;
}

bool OperatorFactory::Contains(const std::wstring& nameSpace, const std::wstring& name) {
  return FindProxy(nameSpace, name) != nullptr;
}

Facts OperatorFactory::GetPluginTypeInfoByPrototype(const std::wstring& prototype) {
  EnsureBuiltIns();
  static std::mutex mutex;
  static std::unordered_map<std::wstring, Facts> known;
  static std::size_t knownOperators = 0;
  const std::lock_guard lock(mutex);
  const std::size_t operators = PluginManager::Instance().List(kCategory).size();
  if (operators != knownOperators) {  // a plug-in may have been loaded since
    known = CollectPrototypes();
    knownOperators = operators;
  }
  const auto found = known.find(prototype);
  return found == known.end() ? Facts() : found->second;
}

std::vector<std::wstring> OperatorFactory::GetNames() {
  EnsureBuiltIns();
  std::vector<std::wstring> names;
  for (const auto& entry : PluginManager::Instance().List(kCategory)) {
    const std::wstring& name = entry.proxy->GetName();
    names.push_back(name.find(L'.') == std::wstring::npos ? L"VANTIX." + name : name);
  }
  return names;
}

}  // namespace Tamrin::Tessera
