#pragma once

#include <string>
#include <vector>

#include "kprj/kprj.h"
#include "projcalls.h"

namespace kprj {

/// A unit of the table, which is built in. Names are ASCII.
struct KnownUnit {
  const char* name;
  const char* authority;
  const char* code;
  double factor;
  Kprj_UnitKind kind;
  const char* esriName;  ///< empty where ESRI's texts write the name itself
  const char* aliases;   ///< joined by "|"
};

/// Null for a name that is not known; the unit "other" is in no table.
const KnownUnit* FindUnit(const std::wstring& nameOrAlias);
const KnownUnit* FindUnitByCode(const std::string& authority, const std::string& code);
proj::Unit UnitOf(const KnownUnit& known);
bool IsOther(const std::wstring& name);
/// Names the unit by the table where name and size agree, else by its size; a size that is not in the table stays.
void Normalize(proj::Unit& unit, bool angular);
/// As ESRI's texts write the unit; empty where the table has none of this name and size.
std::string EsriUnitName(const std::string& name, double factor);
/// `No unit has the name "metr"; the nearest known one is "metre".`
std::wstring UnknownUnit(const std::wstring& name, int kinds);
bool SameSize(double one, double other);

}  // namespace kprj
