#pragma once

#include <map>
#include <string>
#include <vector>

#include "plugin/availablepluginproxy.h"
#include "plugin/plugintypeinfo.h"

/// A type whose Provider tells which library made it.
class Thing : public korven::plugin::IPlugin {
 public:
  Thing(const wchar_t* name, const wchar_t* provider) : name_(name), provider_(provider) {}
  const wchar_t* Name() const override { return name_; }
  std::wstring Description() const override { return L"A thing of the tests."; }
  std::wstring Provider() const override { return provider_; }
  std::wstring Version() const override { return L"1"; }
  std::map<std::wstring, boost::shared_ptr<korven::plugin::PluginTypeInfo>> TypeInfo() const override { return {}; }

 private:
  const wchar_t* name_;
  const wchar_t* provider_;
};

using Proxies = std::vector<boost::shared_ptr<korven::plugin::AvailablePluginProxy>>;

inline void Offer(Proxies& proxies, const wchar_t* name, const wchar_t* provider) {
  const auto factory = [name, provider]() -> boost::shared_ptr<korven::plugin::IPlugin> {
    return boost::make_shared<Thing>(name, provider);
  };
  proxies.push_back(korven::plugin::AvailablePluginProxy::Create(name, factory));
}
