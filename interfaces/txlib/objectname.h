#pragma once

#include <string>
#include <utility>

namespace Tamrin::Tessera {

/// Namespace and name of a type. Equal when both are, case included.
struct ObjectName {
  std::wstring Namespace;
  std::wstring Name;

  ObjectName() = default;
  ObjectName(std::wstring nameSpace, std::wstring name) : Namespace(std::move(nameSpace)), Name(std::move(name)) {}
  /// "VANTIX.Table"
  std::wstring ToString() const { return Namespace + L"." + Name; }
  /// Split at the first full stop; without one the namespace is empty.
  static ObjectName FromString(const std::wstring& text) {
    const auto stop = text.find(L'.');
    return stop == std::wstring::npos ? ObjectName(std::wstring(), text)
                                      : ObjectName(text.substr(0, stop), text.substr(stop + 1));
  }
  friend bool operator==(const ObjectName&, const ObjectName&) = default;
  friend auto operator<=>(const ObjectName&, const ObjectName&) = default;
};

}  // namespace Tamrin::Tessera
