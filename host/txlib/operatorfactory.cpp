#include <mutex>
#include <unordered_map>

#include "plugin/pluginmanager.h"
#include "txlib/builtin.h"
#include "txlib/factories.h"

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

/// An operator is registered under its dotted name, or under its plain one in whatever namespace it says.
boost::shared_ptr<Operator> CreateFromManager(const std::wstring& nameSpace, const std::wstring& name) {
  EnsureBuiltIns();
  PluginManager& manager = PluginManager::Instance();
  for (const std::wstring& registered : {nameSpace + L"." + name, name}) {
    const auto proxy = manager.Find(kCategory, registered);
    if (!proxy) continue;
    const auto made = Make(*proxy);
    if (made && made->GetOperatorNamespace() == nameSpace) return made;
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

boost::shared_ptr<Operator> OperatorFactory::Create(const std::wstring& nameSpace, const std::wstring& name) {
  return CreateFromManager(nameSpace, name);
}

bool OperatorFactory::Contains(const std::wstring& nameSpace, const std::wstring& name) {
  return Create(nameSpace, name) != nullptr;
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
