#include <cpl_string.h>
#include <ogr_srs_api.h>

#include <cstring>

#include "gdalparts.h"
#include "kcommon/kfnp.h"
#include "kcommon/kstr.h"

namespace Tamrin::GdalModule {

namespace {

Kgda_PixelType TypeOf(GDALRasterBandH band) {
  switch (GDALGetRasterDataType(band)) {
    case GDT_Byte: {
      const char* const sign = GDALGetMetadataItem(band, "PIXELTYPE", "IMAGE_STRUCTURE");
      return sign && std::strcmp(sign, "SIGNEDBYTE") == 0 ? KgdaInt8 : KgdaUInt8;
    }
    case GDT_UInt16:
      return KgdaUInt16;
    case GDT_Int16:
      return KgdaInt16;
    case GDT_UInt32:
      return KgdaUInt32;
    case GDT_Int32:
      return KgdaInt32;
    case GDT_Float32:
      return KgdaFloat32;
    case GDT_CInt16:
    case GDT_CFloat32:
      return KgdaComplex64;
    case GDT_CInt32:
    case GDT_CFloat64:
      return KgdaComplex128;
    default:  // whole numbers of 64 bits among them
      return KgdaFloat64;
  }
}

std::optional<double> NoDataOf(GDALRasterBandH band) {
  int has = 0;
  switch (GDALGetRasterDataType(band)) {
    case GDT_Int64: {
      const auto value = GDALGetRasterNoDataValueAsInt64(band, &has);
      return has ? std::optional<double>(static_cast<double>(value)) : std::nullopt;
    }
    case GDT_UInt64: {
      const auto value = GDALGetRasterNoDataValueAsUInt64(band, &has);
      return has ? std::optional<double>(static_cast<double>(value)) : std::nullopt;
    }
    default: {
      const double value = GDALGetRasterNoDataValue(band, &has);
      return has ? std::optional<double>(value) : std::nullopt;
    }
  }
}

TesseraGeospatial::CoordinateReferenceSystemID CrsOf(GDALDatasetH dataset) {
  const OGRSpatialReferenceH known = GDALGetSpatialRef(dataset);
  if (!known) return {};
  const auto id = [](OGRSpatialReferenceH crs) -> TesseraGeospatial::CoordinateReferenceSystemID {
    const char* const authority = OSRGetAuthorityName(crs, nullptr);
    const char* const code = OSRGetAuthorityCode(crs, nullptr);
    if (!authority || !code) return {};
    return {TextOf(authority), TextOf(code)};
  };
  if (const auto named = id(known); !named.GetCode().empty()) return named;
  const std::unique_ptr<void, decltype(&OSRDestroySpatialReference)> copy(OSRClone(known), &OSRDestroySpatialReference);
  return OSRAutoIdentifyEPSG(copy.get()) == OGRERR_NONE ? id(copy.get())
                                                        : TesseraGeospatial::CoordinateReferenceSystemID();
}

/// A file of many rasters shows them as names of their own.
std::wstring SubdatasetsOf(GDALDatasetH dataset) {
  char** const names = GDALGetMetadata(dataset, "SUBDATASETS");
  const int count = CSLCount(names) / 2;
  const char* const first = CSLFetchNameValue(names, "SUBDATASET_1_NAME");
  if (count == 0 || !first) return {};
  return L" It holds " + std::to_wstring(count) + L" rasters of their own names, the first of them \"" + TextOf(first) +
         L"\".";
}

/// All bands have one size in this library; that of the blocks is told by each of them.
RasterBand BandOf(const std::wstring& name, GDALDatasetH dataset, int number) {
  const GDALRasterBandH band = GDALGetRasterBand(dataset, number);
  if (GDALGetRasterBandXSize(band) != GDALGetRasterXSize(dataset) ||
      GDALGetRasterBandYSize(band) != GDALGetRasterYSize(dataset)) {
    Refuse(L"FactsOf", __LINE__,
           L"Band " + std::to_wstring(number) + L" of the raster \"" + name + L"\" has " +
               std::to_wstring(GDALGetRasterBandYSize(band)) + L" rows of " +
               std::to_wstring(GDALGetRasterBandXSize(band)) + L" columns, the raster " +
               std::to_wstring(GDALGetRasterYSize(dataset)) + L" of " + std::to_wstring(GDALGetRasterXSize(dataset)) +
               L"; bands of different sizes make no raster.");
  }
  return {TypeOf(band), TextOf(GDALGetDataTypeName(GDALGetRasterDataType(band))), NoDataOf(band),
          TextOf(GDALGetDescription(band))};
}

/// Elements of which no other type holds more: complex ones stay complex.
Kgda_PixelType CommonType(const std::vector<RasterBand>& bands) {
  bool areSame = true, isComplex = false;
  for (const RasterBand& band : bands) {
    areSame = areSame && band.type == bands.front().type;
    isComplex = isComplex || band.type == KgdaComplex64 || band.type == KgdaComplex128;
  }
  if (areSame) return bands.front().type;
  return isComplex ? KgdaComplex128 : KgdaFloat64;
}

}  // namespace

std::string NativeName(const std::wstring& name) { return kfnp_ToNative(kstr_PathExpand(name)); }

Dataset OpenDataset(const std::wstring& name, const Messages& messages) {
  if (name.empty()) Refuse(L"OpenDataset", __LINE__, L"A raster without a name can't be opened.");
  Dataset dataset(GDALOpenEx(NativeName(name).c_str(), GDAL_OF_RASTER | GDAL_OF_READONLY | GDAL_OF_VERBOSE_ERROR,
                             nullptr, nullptr, nullptr));
  if (!dataset) {
    Refuse(
        L"OpenDataset", __LINE__,
        L"The raster \"" + name + L"\" can't be opened: " + messages.Failure(L"it is in no format that is known here"));
  }
  return dataset;
}

RasterFacts FactsOf(const std::wstring& name, GDALDatasetH dataset) {
  RasterFacts facts;
  facts.format = TextOf(GDALGetDriverShortName(GDALGetDatasetDriver(dataset)));
  facts.rows = GDALGetRasterYSize(dataset);
  facts.columns = GDALGetRasterXSize(dataset);
  const int count = GDALGetRasterCount(dataset);
  if (count == 0 || facts.rows < 1 || facts.columns < 1)
    Refuse(L"FactsOf", __LINE__, L"The raster \"" + name + L"\" has no bands." + SubdatasetsOf(dataset));
  for (int number = 1; number <= count; ++number) facts.bands.push_back(BandOf(name, dataset, number));
  facts.type = CommonType(facts.bands);
  int blockColumns = 0, blockRows = 0;
  GDALGetBlockSize(GDALGetRasterBand(dataset, 1), &blockColumns, &blockRows);
  facts.blockColumns = blockColumns;
  facts.blockRows = blockRows;
  const char* const interleaving = GDALGetMetadataItem(dataset, "INTERLEAVE", "IMAGE_STRUCTURE");
  facts.isPixelInterleaved = count > 1 && interleaving && std::strcmp(interleaving, "PIXEL") == 0;
  facts.crs = CrsOf(dataset);
  std::array<double, 6> transform{};
  if (GDALGetGeoTransform(dataset, transform.data()) == CE_None) facts.transform = transform;
  return facts;
}

GDALDataType GdalTypeOf(Kgda_PixelType type) {
  switch (type) {
    case KgdaUInt16:
      return GDT_UInt16;
    case KgdaInt16:
      return GDT_Int16;
    case KgdaUInt32:
      return GDT_UInt32;
    case KgdaInt32:
      return GDT_Int32;
    case KgdaFloat32:
      return GDT_Float32;
    case KgdaFloat64:
      return GDT_Float64;
    case KgdaComplex64:
      return GDT_CFloat32;
    case KgdaComplex128:
      return GDT_CFloat64;
    default:
      return GDT_Byte;
  }
}

}  // namespace Tamrin::GdalModule
