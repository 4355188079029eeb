#pragma once

#include <boost/shared_ptr.hpp>
#include <string>
#include <vector>

#include "plugin/availablepluginproxy.h"

namespace Tamrin::Tessera {

/// What the engine's own types say of themselves.
constexpr const wchar_t* kEngineProvider = L"Tessera";
constexpr const wchar_t* kEngineVersion = L"0.1.0";

/// Offers the value types of this folder, by the signature that plug-ins have.
int TxlibProxies(const std::wstring& category,
                 std::vector<boost::shared_ptr<korven::plugin::AvailablePluginProxy>>& proxies);

/// Enters a folder's types into the table of built-ins, as a static object:
///   static const BuiltInRegistrar kRegistrar(&TxbasiclibProxies);
/// Nothing is made at load; the function is called by EnsureBuiltIns.
class BuiltInRegistrar {
 public:
  explicit BuiltInRegistrar(korven::plugin::AvailablePluginProxiesFunction function);
};

/// Hands all built-in types to the plug-in manager, on first need, each once. Every factory calls it before it
/// asks the manager. Any thread; cheap once done.
void EnsureBuiltIns();

}  // namespace Tamrin::Tessera
