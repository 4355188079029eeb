#pragma once

#include <boost/shared_ptr.hpp>
#include <string>
#include <vector>

#include "plugin/availablepluginproxy.h"

namespace korven::plugin {

/// Loads plug-in libraries and keeps their proxies, category by category. All operations may be called from
/// any thread. Libraries stay loaded until the process ends.
class PluginManager {
 public:
  struct Entry {
    boost::shared_ptr<AvailablePluginProxy> proxy;
    std::wstring plugin;  ///< file name of the library; "tessera" for the engine's own types
  };

  /// The process's manager. Made on first use; the folders are searched on the first look-up:
  /// $VANTIX_HOME/lib/$ARCHM/plugins (libtx_general.so ahead of the others, which come in the order of their
  /// names), then each folder of VANTIX_PLUGIN_PATH, separated by colons.
  static PluginManager& Instance();

  /// Loads one library. False where it can't be loaded or has no export: the reason is in GetProblems().
  bool Load(const std::string& file);
  /// Adds the types of code that is linked in.
  void AddBuiltIn(const std::wstring& plugin, AvailablePluginProxiesFunction function);

  /// Proxy of that category and registered name, or null. Exact match.
  boost::shared_ptr<AvailablePluginProxy> Find(const std::wstring& category, const std::wstring& name);
  /// All entries of a category in the order in which the plug-ins gave them. A name that is taken already is
  /// left out and told in GetProblems() with both libraries.
  std::vector<Entry> List(const std::wstring& category);
  /// "Operator", "Conversion", "Data", "DataRequest", "ModelFormat", "UIProvider".
  static const std::vector<std::wstring>& Categories();
  /// What went wrong while plug-ins were loaded, one text each, in order.
  std::vector<std::wstring> GetProblems();

 private:
  PluginManager();
  ~PluginManager();
  struct State;
  State* state_;
};

}  // namespace korven::plugin
