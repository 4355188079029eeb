#pragma once

#include <string>

#include "kprj/crsfactory.h"
#include "referencing/authority.h"
#include "tx_general/values.h"
#include "txgeospatiallib/coordinatereferencesystemid.h"

/// Coordinate reference systems for tests, in the fewest letters.
namespace testing_support {

using CrsId = ::Tamrin::TesseraGeospatial::CoordinateReferenceSystemID;

inline DataPtr Crs(const wchar_t* authority, const std::wstring& code) { return Value(CrsId(authority, code)); }
inline DataPtr Epsg(const wchar_t* code) { return Crs(L"EPSG", code); }

constexpr const wchar_t* kUtm33 =
    L"VANTIX/Predefined/Coordinate Reference Systems/2D/EPSG Projected/WGS 84 %2F UTM zone 33N [EPSG:32633]";
constexpr const wchar_t* kGeographicText =
    L"GEOGCS[\"GCS_WGS_1984\",DATUM[\"D_WGS_1984\",SPHEROID[\"WGS_1984\",6378137.0,298.257223563]],"
    L"PRIMEM[\"Greenwich\",0.0],UNIT[\"Degree\",0.0174532925199433]]";

/// The code of a system of the projection library that has nothing but this elevation.
inline std::wstring ElevationCode(const std::wstring& datum, const std::wstring& spheroid, const std::wstring& units,
                                  const std::wstring& type) {
  return L"VANTIX/Transient/Coordinate Reference Systems/1D/{\"v\":1,\"e\":{\"d\":\"" + datum + L"\",\"s\":\"" +
         spheroid + L"\",\"u\":\"" + units + L"\",\"t\":\"" + type + L"\"}}";
}

/// Systems that no registry has, of the authority "Test", which RegisterTestSystems makes known: "Grid", "Image",
/// "Single" (2D, its axes point in directions of a class of their own, no datum), "Borrowed" (identified as EPSG:2263),
/// "Line" (plain, 1D).
void RegisterTestSystems();

}  // namespace testing_support
