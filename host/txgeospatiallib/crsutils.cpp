#include "txgeospatiallib/crsutils.h"

#include "kprj/kprj.h"
#include "kprj/moniker.h"

std::vector<std::wstring> Tamrin::TesseraGeospatial::CRSUtils::GetUnitNames(int kind) {
  return kprj_GetUnitNames(kind);
}

namespace korven::tx_geosupport::CRSUtils {

bool CSSSupportsMoniker(const std::wstring& moniker) { return kprj::IsMonikerForCSF(moniker); }
std::wstring AdjustMonikerForCSS(const std::wstring& moniker) { return kprj::AdjustMonikerForCSF(moniker); }
void WriteMonikerToCSF(const std::wstring& moniker, const std::wstring& fileName) {
  kprj::WriteMonikerToCSF(moniker, fileName);
}
std::wstring ReadMonikerFromCSF(const std::wstring& fileName) { return kprj::ReadMonikerFromCSF(fileName); }

}  // namespace korven::tx_geosupport::CRSUtils
