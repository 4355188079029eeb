#include <boost/make_shared.hpp>
#include <cstddef>
#include <string>
#include <vector>

#include "plugin/availablepluginproxy.h"
#include "support.h"
#include "txbasiclib/basedatastackutils.h"
#include "txbasiclib/basicvalues.h"
#include "txbasiclib/ifprocess.h"
#include "txbasiclib/requests.h"
#include "txlib/operatornotfound.h"

namespace korven::tx_general {

#define PLUGIN(name, Class) PluginPtr Make##Class();
#define HOST_PLUGIN(name, Class)
#include "operators.inc"
#define PLUGIN(name, Class) PluginPtr Make##Class();
#define HOST_PLUGIN(name, Class)
#include "conversions.inc"
PluginPtr MakeEncryptedTesseraModelFormat();
PluginPtr MakeConstructCRSIDHorizontalUnitsPortProvider();

namespace {

using Proxies = std::vector<boost::shared_ptr<korven::plugin::AvailablePluginProxy>>;

struct CatalogueRow {
  const wchar_t* name;
  PluginPtr (*make)();
};

template <typename Class>
PluginPtr MakeOfHost() {
  return boost::make_shared<Class>();
}

/// Values and requests want to be initialised once they are wrapped.
template <typename Class>
PluginPtr MakeInitialized() {
  const auto made = boost::make_shared<Class>();
  made->Initialize();
  return made;
}

#define PLUGIN(name, Class) {name, &Make##Class},
#define HOST_PLUGIN(name, Class) {name, &MakeOfHost<Class>},

constexpr CatalogueRow kOperators[] = {
#include "operators.inc"
};

#define PLUGIN(name, Class) {name, &Make##Class},
#define HOST_PLUGIN(name, Class) {name, &MakeOfHost<Class>},

constexpr CatalogueRow kConversions[] = {
#include "conversions.inc"
};

namespace basic = Tamrin::TesseraBasic;
constexpr CatalogueRow kData[] = {
    {L"AttributeTable", &MakeInitialized<basic::AttributeTableData>},
    {L"BaseDataStack", &MakeInitialized<basic::BaseDataStackData>},
    {L"Color", &MakeInitialized<basic::ColorData>},
    {L"DateTime", &MakeInitialized<basic::DateTimeData>},
    {L"DistanceUnitType", &MakeInitialized<basic::DistanceUnitTypeData>},
    {L"Range", &MakeInitialized<basic::RangeData>},
    {L"RangeList", &MakeInitialized<basic::RangeListData>},
    {L"Json", &MakeInitialized<basic::JsonData>},
    {L"Scalar", &MakeInitialized<basic::ScalarData>},
    {L"SimpleDataType", &MakeInitialized<basic::SimpleDataTypeData>},
    {L"Table", &MakeInitialized<basic::TableData>},
    {L"VectorFeatureType", &MakeInitialized<basic::VectorFeatureTypeData>},
    {L"VANTIX.NumberType", &MakeInitialized<basic::NumberTypeData>},
    {L"Password", &MakeInitialized<basic::PasswordData>},
};

constexpr CatalogueRow kDataRequests[] = {
    {L"DirectedDataRequest", &MakeInitialized<basic::DirectedDataRequest>},
};

constexpr CatalogueRow kModelFormats[] = {
    {L"EncryptedTesseraModelFormat", &MakeEncryptedTesseraModelFormat},
};

constexpr CatalogueRow kUIProviders[] = {
    {L"ConstructCRSIDHorizontalUnitsPortProvider", &MakeConstructCRSIDHorizontalUnitsPortProvider},
};

template <std::size_t Count>
void AppendBlock(const std::wstring& asked, const wchar_t* category, const CatalogueRow (&rows)[Count],
                 Proxies& proxies) {
  if (!asked.empty() && asked != category) return;
  for (const CatalogueRow& row : rows) {
    proxies.push_back(korven::plugin::AvailablePluginProxy::Create(row.name, row.make));
  }
}

}  // namespace
}  // namespace korven::tx_general

extern "C" __attribute__((visibility("default"))) int GetAvailablePluginProxiesOfType(
    const std::wstring& category, std::vector<boost::shared_ptr<korven::plugin::AvailablePluginProxy>>& proxies) {
  using namespace korven::tx_general;
  AppendBlock(category, L"Operator", kOperators, proxies);
  AppendBlock(category, L"Conversion", kConversions, proxies);
  AppendBlock(category, L"Data", kData, proxies);
  AppendBlock(category, L"DataRequest", kDataRequests, proxies);
  AppendBlock(category, L"ModelFormat", kModelFormats, proxies);
  AppendBlock(category, L"UIProvider", kUIProviders, proxies);
  return 0;
}
