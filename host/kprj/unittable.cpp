#include "unittable.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <string_view>
#include <unordered_map>

#include "kcommon/kerr.h"
#include "kcommon/kstr.h"

namespace kprj {

namespace {

constexpr KnownUnit kUnits[] = {
#define UNIT(name, authority, code, factor, kind, esriName, aliases) \
  {name, authority, code, factor, kind, esriName, aliases},
#include "units.inc"
#undef UNIT
};

constexpr std::string_view kOther = "other";

std::string Folded(std::string_view name) {
  std::string text;
  for (const char c : name)
    if (std::string_view(" _-.'").find(c) == std::string_view::npos)
      text += c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  return text;
}

using Names = std::unordered_map<std::string, const KnownUnit*>;

Names MakeNames() {
  Names names;
  // Canonical names first: no alias takes one.
  for (const KnownUnit& unit : kUnits) names.emplace(Folded(unit.name), &unit);
  for (const KnownUnit& unit : kUnits) {
    if (*unit.esriName) names.emplace(Folded(unit.esriName), &unit);
    std::string_view rest = unit.aliases;
    while (!rest.empty()) {
      const std::size_t end = std::min(rest.find('|'), rest.size());
      names.emplace(Folded(rest.substr(0, end)), &unit);
      rest.remove_prefix(std::min(end + 1, rest.size()));
    }
  }
  return names;
}

const KnownUnit* FindUnit(std::string_view name) {
  static const Names& names = *new Names(MakeNames());
  const auto found = names.find(Folded(name));
  return found == names.end() ? nullptr : found->second;
}

}  // namespace

const KnownUnit* FindUnit(const std::wstring& nameOrAlias) { return FindUnit(kstr_ToUtf8(nameOrAlias)); }

const KnownUnit* FindUnitByCode(const std::string& authority, const std::string& code) {
  const auto* found = std::find_if(std::begin(kUnits), std::end(kUnits), [&](const KnownUnit& unit) {
    return authority == unit.authority && code == unit.code;
  });
  return found == std::end(kUnits) ? nullptr : found;
}

proj::Unit UnitOf(const KnownUnit& known) { return {known.name, known.factor, known.authority, known.code}; }

bool IsOther(const std::wstring& name) { return Folded(kstr_ToUtf8(name)) == kOther; }

bool SameSize(double one, double other) { return std::abs(one - other) <= 1e-9 * std::abs(other); }

void Normalize(proj::Unit& unit, bool angular) {
  const Kprj_UnitKind kind = angular ? KprjUnitAngular : KprjUnitLinear;
  const auto fits = [&](const KnownUnit& known) { return known.kind == kind && SameSize(unit.factor, known.factor); };
  const KnownUnit* found = FindUnit(unit.name);
  if (!found || !fits(*found)) {
    found = std::find_if(std::begin(kUnits), std::end(kUnits), fits);
    if (found == std::end(kUnits)) {
      // A name of the table with another size would say what is not so; the identifier too.
      unit.authority.clear();
      unit.code.clear();
      return;
    }
  }
  unit.name = found->name;
  unit.authority = found->authority;
  unit.code = found->code;
}

std::string EsriUnitName(const std::string& name, double factor) {
  const KnownUnit* const found = FindUnit(std::string_view(name));
  return found && *found->esriName && SameSize(factor, found->factor) ? found->esriName : std::string();
}

std::wstring UnknownUnit(const std::wstring& name, int kinds) {
  std::wstring text = L"No unit has the name \"" + name + L"\"";
  const std::wstring nearest = kstr_NearestName(name, kprj_GetUnitNames(kinds));
  if (!nearest.empty()) text += L"; the nearest known one is \"" + nearest + L"\"";
  return text + L".";
}

}  // namespace kprj

int kprj_IsLinearUnitByName(const std::wstring& name, KerrException& /*error*/) {
  const kprj::KnownUnit* const unit = kprj::FindUnit(name);
  return unit && unit->kind == KprjUnitLinear ? 1 : 0;
}

int kprj_IsAngularUnitByName(const std::wstring& name, KerrException& /*error*/) {
  const kprj::KnownUnit* const unit = kprj::FindUnit(name);
  return unit && unit->kind == KprjUnitAngular ? 1 : 0;
}

const std::wstring& kprj_UnitsNameOther() {
  static const std::wstring& other = *new std::wstring(L"other");
  return other;
}

std::vector<std::wstring> kprj_GetUnitNames(int kinds) {
  std::vector<std::wstring> names;
  for (const kprj::KnownUnit& unit : kprj::kUnits)
    if (kinds & unit.kind) names.push_back(kstr_Widen(unit.name));
  if (kinds & KprjUnitOther) names.push_back(kprj_UnitsNameOther());
  return names;
}

std::wstring kprj_GetUnitName(const std::wstring& nameOrAlias) {
  if (kprj::IsOther(nameOrAlias)) return kprj_UnitsNameOther();
  const kprj::KnownUnit* const unit = kprj::FindUnit(nameOrAlias);
  return unit ? kstr_Widen(unit->name) : std::wstring();
}
