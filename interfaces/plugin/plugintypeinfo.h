#pragma once

#include <map>
#include <string>
#include <utility>

namespace korven::plugin {

/// A set of named text properties of a registered type, such as "Namespace", "ObjectName" or "Keywords".
/// Immutable once shared; may then be read from any thread.
class PluginTypeInfo {
 public:
  /// Empty text for a key that is not set.
  std::wstring GetProperty(const std::wstring& key) const {
    const auto found = properties_.find(key);
    return found == properties_.end() ? std::wstring() : found->second;
  }
  void SetProperty(const std::wstring& key, std::wstring value) { properties_[key] = std::move(value); }

 private:
  std::map<std::wstring, std::wstring> properties_;
};

}  // namespace korven::plugin
