#pragma once

#include <boost/shared_ptr.hpp>
#include <map>
#include <string>

namespace korven::plugin {

class PluginTypeInfo;

/// Second base of every class that a plug-in offers by name.
/// The six operations stand in this order in every plug-in binary; none may be moved.
class IPlugin {
 public:
  /// Name under which the class is registered, in the registered form (plain, dotted or conversion key).
  /// The text lives as long as the plug-in is loaded.
  virtual const wchar_t* Name() const = 0;
  virtual std::wstring Description() const = 0;
  virtual std::wstring Provider() const = 0;
  virtual std::wstring Version() const = 0;
  /// Property-set name to property set.
  virtual std::map<std::wstring, boost::shared_ptr<PluginTypeInfo>> TypeInfo() const = 0;
  virtual ~IPlugin() = default;
};

}  // namespace korven::plugin
