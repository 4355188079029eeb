#include <boost/make_shared.hpp>

#include "rasteroperators.h"
#include "txlib/builtin.h"
#include "txlib/conversion.h"

/// What this room offers of rasters, by name.
namespace Tamrin::TesseraGeospatial {
namespace {

using korven::plugin::AvailablePluginProxy;
using korven::plugin::IPlugin;
using Tessera::Data;

/// A name becomes a raster, and a raster its name. Nothing is opened.
class NameConversion : public Tessera::Conversion {
 public:
  NameConversion(const wchar_t* name, const wchar_t* from, const wchar_t* to) : name_(name), from_(from), to_(to) {}
  const wchar_t* Name() const override { return name_; }
  const wchar_t* FromType() const override { return from_; }
  const wchar_t* FromNamespace() const override { return L"VANTIX"; }
  const wchar_t* ToType() const override { return to_; }
  const wchar_t* ToNamespace() const override { return L"VANTIX"; }
  boost::shared_ptr<Data> Convert(boost::shared_ptr<Data> source) const override {
    if (const auto raster = boost::dynamic_pointer_cast<RasterData>(source)) {
      if (raster->HasNoValue()) return nullptr;
      return Tessera::MakeData<Tessera::FileData>(raster->GetDataValue().GetName());
    }
    const auto text = boost::dynamic_pointer_cast<Tessera::StringData>(source);
    if (!text || text->HasNoValue() || text->GetDataValue().empty()) return nullptr;
    return MakeRasterData(text->GetDataValue());
  }

 private:
  const wchar_t* name_;
  const wchar_t* from_;
  const wchar_t* to_;
};

constexpr const wchar_t* kConversions[][3] = {
    {L"FileToRaster", L"File", L"Raster"},
    {L"StringToRaster", L"String", L"Raster"},
    {L"RasterToFile", L"Raster", L"File"},
};

template <typename Class>
boost::shared_ptr<IPlugin> Make() {
  return boost::make_shared<Class>();
}

int RasterProxies(const std::wstring& category, std::vector<boost::shared_ptr<AvailablePluginProxy>>& proxies) {
  const auto isAsked = [&category](const wchar_t* name) { return category.empty() || category == name; };
  if (isAsked(L"Operator")) {
    proxies.push_back(AvailablePluginProxy::Create(L"RasterFileInput", &Make<RasterFileInput>));
    proxies.push_back(AvailablePluginProxy::Create(L"RasterFileOutput", &Make<RasterFileOutput>));
    proxies.push_back(AvailablePluginProxy::Create(L"RasterInformation", &Make<RasterInformation>));
    proxies.push_back(AvailablePluginProxy::Create(L"Statistics", &Make<Statistics>));
  }
  if (isAsked(L"Conversion")) {
    for (const auto& row : kConversions) {
      proxies.push_back(AvailablePluginProxy::Create(row[0], [&row]() -> boost::shared_ptr<IPlugin> {
        return boost::make_shared<NameConversion>(row[0], row[1], row[2]);
      }));
    }
  }
  if (isAsked(L"Data")) proxies.push_back(AvailablePluginProxy::Create(L"Raster", &Make<RasterData>));
  return 0;
}

const Tessera::BuiltInRegistrar kRegistrar(&RasterProxies);

}  // namespace
}  // namespace Tamrin::TesseraGeospatial
