#pragma once

#include <boost/function.hpp>
#include <boost/make_shared.hpp>
#include <boost/shared_ptr.hpp>
#include <string>
#include <utility>
#include <vector>

#include "plugin/iplugin.h"

namespace korven::plugin {

/// One type that a plug-in offers: its registered name and the factory that makes a fresh instance.
/// The factory may be called from any thread.
class AvailablePluginProxy {
 public:
  using Factory = boost::function<boost::shared_ptr<IPlugin>()>;

  static boost::shared_ptr<AvailablePluginProxy> Create(const std::wstring& name, const Factory& factory) {
    return boost::make_shared<AvailablePluginProxy>(name, factory);
  }
  AvailablePluginProxy(std::wstring name, Factory factory) : name_(std::move(name)), factory_(std::move(factory)) {}

  const std::wstring& GetName() const { return name_; }
  boost::shared_ptr<IPlugin> CreateInstance() const { return factory_(); }

 private:
  std::wstring name_;
  Factory factory_;
};

/// Signature of "GetAvailablePluginProxiesOfType", the one function that a plug-in exports with C linkage.
/// Appends the proxies of a category (all of them for the empty text) to the list; the result is 0.
using AvailablePluginProxiesFunction = int (*)(const std::wstring& category,
                                               std::vector<boost::shared_ptr<AvailablePluginProxy>>& proxies);

}  // namespace korven::plugin
