#include "txlib/datarequest.h"

#include "plugin/plugintypeinfo.h"
#include "txlib/builtin.h"

namespace Tamrin::Tessera {

boost::shared_ptr<Data> DataRequest::GetAttribute(const std::wstring& key) const {
  const auto found = attributes_.find(key);
  return found == attributes_.end() ? nullptr : found->second;
}

void DataRequest::SetAttribute(const std::wstring& key, const boost::shared_ptr<Data>& value) {
  attributes_[key] = value;
}

boost::shared_ptr<Data> DataRequest::SelectFrom(const boost::shared_ptr<Data>& whole) { return whole; }

std::wstring DataRequest::Description() const { return L"A request that is pulled through a model"; }

std::wstring DataRequest::Provider() const { return kEngineProvider; }

std::wstring DataRequest::Version() const { return kEngineVersion; }

std::map<std::wstring, boost::shared_ptr<korven::plugin::PluginTypeInfo>> DataRequest::TypeInfo() const {
  const auto info = boost::make_shared<korven::plugin::PluginTypeInfo>();
  info->SetProperty(L"ObjectName", Name());
  return {{L"DataRequest", info}};
}

}  // namespace Tamrin::Tessera
