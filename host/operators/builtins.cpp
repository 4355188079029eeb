#include <boost/make_shared.hpp>
#include <string>
#include <vector>

#include "eq.h"
#include "txlib/builtin.h"
#include "txlib/model.h"

namespace Tamrin::TesseraBasic {
namespace {

using korven::plugin::AvailablePluginProxy;

template <typename Class>
boost::shared_ptr<korven::plugin::IPlugin> Make() {
  return boost::make_shared<Class>();
}

int OperatorProxies(const std::wstring& category, std::vector<boost::shared_ptr<AvailablePluginProxy>>& proxies) {
  if (!category.empty() && category != L"Operator") return 0;
  proxies.push_back(AvailablePluginProxy::Create(L"Model", &Make<tessera::Model>));
  proxies.push_back(AvailablePluginProxy::Create(L"Eq", &Make<Eq>));
  return 0;
}

const tessera::BuiltInRegistrar kRegistrar(&OperatorProxies);

}  // namespace
}  // namespace Tamrin::TesseraBasic
