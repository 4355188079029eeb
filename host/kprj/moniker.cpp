#include "kprj/moniker.h"

#include <cmath>

#include "datums.h"
#include "indexes.h"
#include "kcommon/kstr.h"
#include "monikertext.h"
#include "parts.h"
#include "translate.h"
#include "unittable.h"

namespace kprj {

using proj::GetCalls;
using proj::Kind;

namespace {

constexpr double kDegree = 0.017453292519943295;

// --- Reading

/// EPSG's system under a key. Null with the reason.
RecordPtr SystemOfKey(const Moniker& moniker, int key, std::wstring& reason) {
  const int code = moniker.GetInt(key);
  if (code < kSmallestCode || code >= kUserDefined) {
    reason = L"the key " + std::to_wstring(key) + L" is missing, or no code of EPSG";
    return nullptr;
  }
  return NamedRecord("EPSG", std::to_string(code), reason);
}

ProjectionPtr ReadUserProjection(const Moniker& moniker, std::wstring& reason) {
  const MonikerMethod* const method = FindMonikerMethod(moniker);
  if (!method) {
    reason = L"no method has the number " + moniker.GetText(KeyMethod) + L" and the parameters that are given";
    return nullptr;
  }
  const KnownUnit* const unit = FindUnitByCode("EPSG", kstr_ToUtf8(moniker.GetText(KeyLinearUnit)));
  const RecordPtr base = SystemOfKey(moniker, KeyGeographic, reason);
  if (!base || !unit || unit->kind != KprjUnitLinear || base->facts.kind != Kind::Geographic2D) {
    if (reason.empty()) reason = L"the keys 2048 and 3076 are not a geographic system and a linear unit of EPSG";
    return nullptr;
  }
  proj::UserProjection projection;
  projection.name = moniker.Has(KeyName) ? kstr_ToUtf8(moniker.GetText(KeyName)) : "unnamed";
  projection.baseCode = base->source.code;
  projection.methodCode = method->code;
  projection.unit = UnitOf(*unit);
  for (std::size_t i = 0; i < method->count; ++i)
    projection.parameters.emplace_back(method->parameters[i].code, moniker.GetNumber(method->parameters[i].key));
  proj::Facts facts;
  std::string words;
  if (!GetCalls().BuildUserProjection(projection, facts, words)) {
    reason = kstr_FromUtf8Lossy(words);
    return nullptr;
  }
  proj::Split split = GetCalls().SplitSystem({{}, {}, facts.json});
  if (split.horizontal) return MakeProjection(std::move(*split.horizontal));
  reason = L"its parameters make no projection";
  return nullptr;
}

bool ReadElevationDatum(const Moniker& moniker, Kprj_ElevationInfo& elevation, std::wstring& reason) {
  const int datum = moniker.GetInt(KeyVerticalDatum);
  if (datum == kUserDefined) {
    elevation.datumName = L"Unknown";
    return true;
  }
  const auto* row = VerticalIndex::Of("EPSG").FindDatumCode(std::to_string(datum));
  if (!row) {
    reason = L"the key 4098 is no vertical datum of EPSG";
    return false;
  }
  elevation.datumName = kstr_FromUtf8Lossy(row->vertical.datumName);
  return true;
}

bool ReadElevation(const Moniker& moniker, Kprj_ElevationInfo& elevation, std::wstring& reason) {
  const bool byCode = moniker.GetInt(KeyVertical) != kUserDefined;
  if (byCode) {
    const RecordPtr system = SystemOfKey(moniker, KeyVertical, reason);
    if (!system) return false;
    const Parts& parts = system->GetParts();
    if (!parts.elevation || system->facts.kind == Kind::Compound || moniker.Has(KeyVerticalDatum)) {
      reason = L"the key 4096 is neither a vertical nor a geographic 3D system, or 4098 stands beside it";
      return false;
    }
    elevation = *parts.elevation;
  } else if (!ReadElevationDatum(moniker, elevation, reason)) {
    return false;
  }
  if (moniker.Has(KeyVerticalUnit)) {
    const KnownUnit* const unit = FindUnitByCode("EPSG", kstr_ToUtf8(moniker.GetText(KeyVerticalUnit)));
    if (!unit || unit->kind != KprjUnitLinear) {
      reason = L"the key 4099 is no linear unit of EPSG";
      return false;
    }
    elevation.unitsName = kstr_Widen(unit->name);
    elevation.unitsFactor = 0;
  }
  const int type = moniker.Has(KeyElevationType) ? moniker.GetInt(KeyElevationType) : elevation.elevationType;
  if (elevation.unitsName.empty() || (byCode && moniker.Has(KeyElevationType)) || type > KprjElevationUnknown) {
    reason = L"the keys of its vertical part don't go together";
    return false;
  }
  elevation.elevationType = type;
  return true;
}

/// The keys that say something are all used, so that none is passed over.
bool HasStrayKeys(const Moniker& moniker, bool user) {
  const int model = moniker.GetInt(KeyModel);
  const bool vertical = moniker.Has(KeyVertical);
  std::size_t expected = 1;
  if (model == ModelGeographic) expected += 1;
  if (model == ModelProjected && !user) expected += 1;
  if (user) expected += 5 + FindMonikerMethod(moniker)->count + (moniker.Has(KeyName) ? 1 : 0);
  if (vertical)
    for (const int key : {KeyVertical, KeyVerticalDatum, KeyVerticalUnit, KeyElevationType})
      if (moniker.Has(key)) ++expected;
  return moniker.Count() != expected;
}

ProjectionPtr ReadHorizontal(const Moniker& moniker, RecordPtr& whole, std::wstring& reason) {
  const int model = moniker.GetInt(KeyModel);
  if (model == ModelProjected && moniker.GetInt(KeyProjected) == kUserDefined) {
    if (moniker.GetInt(KeyProjection) == kUserDefined) return ReadUserProjection(moniker, reason);
    reason = L"the key 3074 is not 32767";
    return nullptr;
  }
  const RecordPtr system = SystemOfKey(moniker, model == ModelProjected ? KeyProjected : KeyGeographic, reason);
  if (!system) return nullptr;
  const Kind kind = system->facts.kind;
  const bool is3D = kind == Kind::Geographic3D && !moniker.Has(KeyVertical);
  const bool fits = model == ModelProjected ? kind == Kind::Projected && system->facts.axes.size() == 2
                                            : kind == Kind::Geographic2D || is3D;
  if (!fits) {
    reason = L"EPSG:" + kstr_FromUtf8Lossy(system->source.code) + L" is not what its key is for";
    return nullptr;
  }
  if (is3D) whole = system;
  return system->GetParts().projection;
}

}  // namespace

RecordPtr ReadMonikerCode(const std::wstring& code, std::wstring& reason) {
  const auto moniker = Moniker::Parse(code, reason);
  if (!moniker) return nullptr;
  const int model = moniker->GetInt(KeyModel);
  if (model < ModelVertical || model > ModelGeographic) {
    reason = L"the key 1024 is not 0, 1 or 2";
    return nullptr;
  }
  RecordPtr whole;
  ProjectionPtr projection;
  if (model != ModelVertical) {
    projection = ReadHorizontal(*moniker, whole, reason);
    if (!projection) return nullptr;
  }
  const bool user = model == ModelProjected && moniker->GetInt(KeyProjected) == kUserDefined;
  Kprj_ElevationInfo elevation;
  const bool vertical = moniker->Has(KeyVertical);
  if (vertical && !ReadElevation(*moniker, elevation, reason)) return nullptr;
  if (HasStrayKeys(*moniker, user) || (!projection && !vertical)) {
    reason = L"some of its keys don't go together";
    return nullptr;
  }
  if (!whole)
    whole = TryBuildRecord(projection, projection ? projection->parameters.unitsName : std::wstring(),
                           vertical ? &elevation : nullptr, reason);
  if (!whole) return nullptr;
  const bool single = projection && (!vertical || whole->facts.kind == Kind::Geographic3D);
  return std::make_shared<Record>(*whole, kMonikerAuthority, code, single ? Form::Single : Form::Plain);
}

// --- Writing

namespace {

bool AddUserProjection(const RecordPtr& system, const Kprj_MapProjection& projection, Moniker& moniker) {
  const auto& axes = projection.horizontal.facts.axes;
  const MonikerMethod* const method = FindMonikerMethod(projection.horizontal.methodCode);
  const proj::Unit& unit = system->facts.axes[0].unit;
  if (!method || axes.size() != 2 || axes[0].direction != "east" || axes[1].direction != "north" ||
      unit.authority != "EPSG" || projection.horizontal.parameters.size() != method->count)
    return false;
  const int base = KeyCode(GetCalls().FindBase(system->source));
  if (base == 0) return false;
  proj::UserProjection user{system->facts.name, std::to_string(base), method->code, unit, {}};
  for (std::size_t i = 0; i < method->count; ++i) {
    const MonikerParameter& wanted = method->parameters[i];
    const proj::Parameter* found = nullptr;
    for (const proj::Parameter& parameter : projection.horizontal.parameters)
      if (parameter.code == wanted.code) found = &parameter;
    if (!found) return false;
    const double per = found->linear ? unit.factor : found->angular ? kDegree : 1.0;
    // Where the unit is the same already, dividing would spoil the last digit.
    const double value = SameSize(found->unit.factor, per) ? found->value : found->value * found->unit.factor / per;
    user.parameters.emplace_back(wanted.code, value);
    moniker.SetNumber(wanted.key, value);
  }
  proj::Facts built;
  std::string words;
  if (!GetCalls().BuildUserProjection(user, built, words) ||
      !GetCalls().AreEquivalent(system->source, {{}, {}, built.json}, true))
    return false;
  moniker.SetInt(KeyModel, ModelProjected);
  moniker.SetText(KeyName, kstr_FromUtf8Lossy(system->facts.name));
  moniker.SetInt(KeyGeographic, base);
  moniker.SetInt(KeyProjected, kUserDefined);
  moniker.SetInt(KeyProjection, kUserDefined);
  moniker.SetInt(KeyMethod, method->number);
  moniker.SetInt(KeyLinearUnit, KeyCode(unit.code));
  return true;
}

bool AddHorizontal(const RecordPtr& system, const Parts& parts, Moniker& moniker) {
  const int code = KeyCode(FindRegistryCode(system, "EPSG"));
  if (code != 0) {
    const bool projected = system->facts.kind == Kind::Projected;
    moniker.SetInt(KeyModel, projected ? ModelProjected : ModelGeographic);
    moniker.SetInt(projected ? KeyProjected : KeyGeographic, code);
    return true;
  }
  return system->facts.kind == Kind::Projected && AddUserProjection(system, *parts.projection, moniker);
}

bool AddVerticalUnit(const Kprj_ElevationInfo& elevation, Moniker& moniker) {
  const proj::Unit unit = UnitOfElevation(elevation);
  if (unit.authority != "EPSG") return false;
  moniker.SetInt(KeyVerticalUnit, KeyCode(unit.code));
  return true;
}

bool AddElevation(const RecordPtr& horizontal, const Kprj_ElevationInfo& elevation, Moniker& moniker) {
  if (!elevation.spheroidName.empty()) {
    if (!horizontal || elevation.elevationType != KprjHeight ||
        !IsOverOwnEllipsoid(horizontal->facts.datumName, elevation))
      return false;
    // By the registry's form of the horizontal part: a text says too little to be found in it.
    const bool user = moniker.GetInt(KeyProjected) == kUserDefined || !moniker.Has(KeyProjected);
    const int base = moniker.GetInt(user ? KeyGeographic : KeyProjected);
    const int code = KeyCode(GetCalls().FindGeographic3D({"EPSG", std::to_string(base), {}}));
    if (code == 0) return false;
    moniker.SetInt(KeyVertical, code);
    return UnitOfElevation(elevation).code == "9001" || AddVerticalUnit(elevation, moniker);
  }
  if (const auto known = FindVertical(elevation, "EPSG"); known && known->authority == "EPSG") {
    const int code = KeyCode(known->code);
    if (code != 0) moniker.SetInt(KeyVertical, code);
    if (code != 0) return true;
  }
  int datum = kUserDefined;
  if (elevation.datumName != L"Unknown") {
    const auto* row = VerticalIndex::Of("EPSG").FindDatum(elevation.datumName, elevation.elevationType == KprjDepth);
    datum = row && row->datumAuthority == "EPSG" ? KeyCode(row->datumCode) : 0;
  }
  if (datum == 0 || !AddVerticalUnit(elevation, moniker)) return false;
  moniker.SetInt(KeyVertical, kUserDefined);
  moniker.SetInt(KeyVerticalDatum, datum);
  if (elevation.elevationType != KprjHeight) moniker.SetInt(KeyElevationType, elevation.elevationType);
  return true;
}

}  // namespace

std::wstring MonikerOf(const RecordPtr& record) {
  const Parts& parts = record->GetParts();
  Moniker moniker;
  if (!parts.projection) {
    if (!parts.units.empty() || !parts.elevation || !AddElevation(nullptr, *parts.elevation, moniker)) return {};
    moniker.SetInt(KeyModel, ModelVertical);
    return moniker.ToText();
  }
  if (IsOther(parts.units)) return {};
  if (record->facts.kind == Kind::Geographic3D && !record->source.IsEmpty()) {
    if (const int code = KeyCode(FindRegistryCode(record, "EPSG"))) {
      moniker.SetInt(KeyModel, ModelGeographic);
      moniker.SetInt(KeyGeographic, code);
      return moniker.ToText();
    }
  }
  const RecordPtr horizontal = HorizontalOf(record);
  if (!horizontal || !AddHorizontal(horizontal, parts, moniker)) return {};
  if (parts.elevation && !AddElevation(horizontal, *parts.elevation, moniker)) return {};
  return moniker.ToText();
}

}  // namespace kprj
