#include "jsonforms.h"
#include "kcommon/kerr.h"
#include "kprj/kprj.h"
#include "unittable.h"

namespace {

/// False with the failure in `error`.
bool CheckUnits(const std::wstring& units, KerrException& error) {
  if (kprj::IsOther(units)) return true;
  const kprj::KnownUnit* const known = kprj::FindUnit(units);
  if (known && known->kind == KprjUnitLinear) return true;
  error.Log(__LINE__, known ? L"The unit \"" + units + L"\" measures angles; heights and depths are lengths."
                            : kprj::UnknownUnit(units, KprjUnitLinear | KprjUnitOther));
  return false;
}

}  // namespace

Kprj_ElevationInfo* kprj_ElevationInfoCreateByName(const std::wstring& spheroid, const std::wstring& datum,
                                                   const std::wstring& units, const std::wstring& type,
                                                   KerrException& error) {
  const auto known = kprj::ElevationTypeOf(type);
  if (!known) {
    error.Log(__LINE__, L"The elevation type is \"" + type + L"\", expected \"Height\", \"Depth\" or \"Unknown\".");
    return nullptr;
  }
  if (!CheckUnits(units, error)) return nullptr;
  return new Kprj_ElevationInfo{datum, spheroid, kprj_GetUnitName(units), *known, 0};
}

void kprj_ElevationInfoUnitSet(Kprj_ElevationInfo* elevation, const std::wstring& units, KerrException& error) {
  if (!CheckUnits(units, error)) return;
  elevation->unitsName = kprj_GetUnitName(units);
  elevation->unitsFactor = 0;
}

void kprj_ElevationInfoFree(Kprj_ElevationInfo* elevation) { delete elevation; }
