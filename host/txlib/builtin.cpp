#include "txlib/builtin.h"

#include <atomic>
#include <boost/make_shared.hpp>
#include <mutex>

#include "plugin/pluginmanager.h"
#include "txlib/basicdata.h"

namespace Tamrin::Tessera {
namespace {

using korven::plugin::AvailablePluginProxiesFunction;
using korven::plugin::AvailablePluginProxy;
using korven::plugin::IPlugin;

// Registrars run while other static objects are still being made, so the table makes itself.
struct Table {
  std::mutex waitingMutex;  // alone in a registrar, which may run while a library is being loaded
  std::vector<AvailablePluginProxiesFunction> waiting{&TxlibProxies};
  std::recursive_mutex running;  // recursive: a folder's function may need a type of another folder
  std::atomic<bool> done{false};
};

Table& GetTable() {
  static Table table;
  return table;
}

template <typename W>
void Offer(std::vector<boost::shared_ptr<AvailablePluginProxy>>& proxies) {
  const auto make = []() -> boost::shared_ptr<IPlugin> {
    const auto data = boost::make_shared<W>();
    data->Initialize();
    return data;
  };
  proxies.push_back(AvailablePluginProxy::Create(W::DefaultTypeName().Name, make));
}

}  // namespace

BuiltInRegistrar::BuiltInRegistrar(AvailablePluginProxiesFunction function) {
  Table& table = GetTable();
  const std::lock_guard lock(table.waitingMutex);
  table.waiting.push_back(function);
  table.done = false;
}

void EnsureBuiltIns() {
  Table& table = GetTable();
  if (table.done.load(std::memory_order_acquire)) return;
  const std::lock_guard run(table.running);
  std::vector<AvailablePluginProxiesFunction> functions;
  {
    const std::lock_guard lock(table.waitingMutex);
    functions.swap(table.waiting);
  }
  for (const auto function : functions) korven::plugin::PluginManager::Instance().AddBuiltIn(L"tessera", function);
  const std::lock_guard lock(table.waitingMutex);
  table.done.store(table.waiting.empty(), std::memory_order_release);
}

int TxlibProxies(const std::wstring& category, std::vector<boost::shared_ptr<AvailablePluginProxy>>& proxies) {
  if (!category.empty() && category != L"Data") return 0;
  Offer<BoolData>(proxies);
  Offer<IntData>(proxies);
  Offer<UnsignedData>(proxies);
  Offer<DoubleData>(proxies);
  Offer<StringData>(proxies);
  Offer<FileData>(proxies);
  Offer<DirectoryData>(proxies);
  Offer<StringListData>(proxies);
  Offer<DataListData>(proxies);
  Offer<DictionaryData>(proxies);
  return 0;
}

}  // namespace Tamrin::Tessera
