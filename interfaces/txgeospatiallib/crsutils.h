#pragma once

#include <string>
#include <vector>

namespace Tamrin::TesseraGeospatial::CRSUtils {

/// Names of units: 10 for those of a geographic system, 12 for those of a projected or vertical one, 14 for all.
/// "other" is the last of each. Costs nothing: no library or database is opened.
std::vector<std::wstring> GetUnitNames(int kind);

}  // namespace Tamrin::TesseraGeospatial::CRSUtils

namespace korven::tx_geosupport::CRSUtils {

/// Codes of the authority "GeoKey Moniker" and .csf files; the contracts are those of kprj/moniker.h.
bool CSSSupportsMoniker(const std::wstring& moniker);
std::wstring AdjustMonikerForCSS(const std::wstring& moniker);
void WriteMonikerToCSF(const std::wstring& moniker, const std::wstring& fileName);
std::wstring ReadMonikerFromCSF(const std::wstring& fileName);

}  // namespace korven::tx_geosupport::CRSUtils
