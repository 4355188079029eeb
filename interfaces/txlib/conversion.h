#pragma once

#include <boost/shared_ptr.hpp>
#include <map>
#include <string>
#include <vector>

#include "plugin/iplugin.h"
#include "txlib/data.h"

namespace Tamrin::Tessera {

/// Slots of a conversion, in order. Stateless; may be used from any thread.
class ConversionPart {
 public:
  virtual std::wstring ToString() const { return std::wstring(); }
  virtual void Hook() {}
  virtual const wchar_t* Name() const = 0;
  virtual const wchar_t* FromType() const = 0;  ///< "*" for any
  virtual const wchar_t* FromNamespace() const = 0;
  virtual const wchar_t* ToType() const = 0;
  virtual const wchar_t* ToNamespace() const = 0;
  /// A new value, or null where the value can't be turned. Never changes its source.
  virtual boost::shared_ptr<Data> Convert(boost::shared_ptr<Data> source) const = 0;
  virtual ~ConversionPart() = default;
};

/// Turns a value of one type into a new value of another.
class Conversion : public ConversionPart, public korven::plugin::IPlugin {
 public:
  const wchar_t* Name() const override = 0;
  std::wstring Description() const override;
  std::wstring Provider() const override;
  std::wstring Version() const override;
  std::map<std::wstring, boost::shared_ptr<korven::plugin::PluginTypeInfo>> TypeInfo() const override;
};

/// The conversions of all plug-ins and of the data layer. Any thread.
class ConversionFactory {
 public:
  /// Exact source type first, then a conversion from any ("*"); null where there is none.
  static boost::shared_ptr<Conversion> Create(const std::wstring& fromNamespace, const std::wstring& fromName,
                                              const std::wstring& toNamespace, const std::wstring& toName);
  static bool ConversionExists(const std::wstring& fromNamespace, const std::wstring& fromName,
                               const std::wstring& toNamespace, const std::wstring& toName);
};

/// The value types by name. Any thread.
class DataFactory {
 public:
  /// A new value, initialised; null for an unknown name.
  static boost::shared_ptr<Data> Create(const ObjectName& name);
  static bool Contains(const std::wstring& nameSpace, const std::wstring& name);
  /// All names, the engine's own first.
  static std::vector<ObjectName> GetNames();
};

}  // namespace Tamrin::Tessera
