#pragma once

#include <boost/shared_ptr.hpp>
#include <map>
#include <string>

#include "plugin/iplugin.h"
#include "txlib/data.h"

namespace Tamrin::Tessera {

/// A request that is pulled through a graph. Belongs to the thread that pulls it.
class DataRequest : public korven::plugin::IPlugin {
 public:
  /// To be called once, after the object is wrapped.
  void Initialize() {}
  /// Null for a key that is not set.
  boost::shared_ptr<Data> GetAttribute(const std::wstring& key) const;
  void SetAttribute(const std::wstring& key, const boost::shared_ptr<Data>& value);
  /// What of a whole value is asked for: the value itself, or the item that a request for one item means. Used where
  /// nobody upstream can make that item alone.
  virtual boost::shared_ptr<Data> SelectFrom(const boost::shared_ptr<Data>& whole);

  const wchar_t* Name() const override { return L"DataRequest"; }
  std::wstring Description() const override;
  std::wstring Provider() const override;
  std::wstring Version() const override;
  std::map<std::wstring, boost::shared_ptr<korven::plugin::PluginTypeInfo>> TypeInfo() const override;

 private:
  std::map<std::wstring, boost::shared_ptr<Data>> attributes_;
};

}  // namespace Tamrin::Tessera
