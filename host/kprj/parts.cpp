#include "parts.h"

#include <algorithm>
#include <stdexcept>

#include "datums.h"
#include "kcommon/kstr.h"
#include "korvenlog/exception.h"
#include "kprj/crsfactory.h"
#include "kprjcode.h"
#include "registries.h"
#include "unittable.h"

namespace kprj {

using proj::Build;
using proj::CsKind;
using proj::Facts;
using proj::GetCalls;
using proj::Kind;
using proj::Source;
using proj::Unit;

namespace {

/// Parts that don't fit; not shown outside.
struct Unfit {
  int line;
  std::wstring text;
};

[[noreturn]] void Refuse(int line, const std::wstring& text) { throw Unfit{line, text}; }

constexpr const wchar_t* kUnknownDatum = L"Unknown";

/// What the horizontal axes are measured in.
struct HorizontalUnits {
  bool native = false;
  bool other = false;
  Unit unit;
};

HorizontalUnits UnitsOf(const ProjectionPtr& projection, const std::wstring& name) {
  HorizontalUnits units;
  if (projection && (name.empty() || name == projection->parameters.unitsName)) {
    units.native = true;
    units.unit = projection->unit;
    return units;
  }
  if (IsOther(name)) {
    units.other = true;
    units.unit.name = kstr_ToUtf8(kprj_UnitsNameOther());
    return units;
  }
  const KnownUnit* const known = FindUnit(name);
  if (!known) Refuse(__LINE__, UnknownUnit(name, KprjUnitAngular | KprjUnitLinear | KprjUnitOther));
  units.unit = UnitOf(*known);
  if (!projection) return units;
  if ((known->kind == KprjUnitAngular) != projection->angular)
    Refuse(__LINE__, L"The unit \"" + name + L"\" measures " + (projection->angular ? L"lengths" : L"angles") +
                         L"; the coordinates of \"" + projection->parameters.name + L"\" are " +
                         (projection->angular ? L"angles." : L"lengths."));
  units.native = known->name == projection->unit.name && SameSize(known->factor, projection->unit.factor);
  return units;
}

Kprj_ElevationInfo Checked(const Kprj_ElevationInfo& given) {
  Kprj_ElevationInfo elevation = given;
  if (elevation.datumName.empty()) elevation.datumName = kUnknownDatum;
  if (elevation.unitsFactor > 0) return elevation;
  if (IsOther(elevation.unitsName)) {
    elevation.unitsName = kprj_UnitsNameOther();
    return elevation;
  }
  const KnownUnit* const known = FindUnit(elevation.unitsName);
  if (!known) Refuse(__LINE__, UnknownUnit(elevation.unitsName, KprjUnitLinear | KprjUnitOther));
  if (known->kind != KprjUnitLinear)
    Refuse(__LINE__, L"The unit \"" + elevation.unitsName + L"\" measures angles; heights and depths are lengths.");
  elevation.unitsName = kstr_Widen(known->name);
  return elevation;
}

std::shared_ptr<Record> NewRecord(Facts facts, Source source) {
  auto record = std::make_shared<Record>();
  record->authority = kKprj;
  record->typeWord = PlainTypeWordOf(facts);
  record->facts = std::move(facts);
  record->source = std::move(source);
  return record;
}

RecordPtr Transient(std::shared_ptr<Record> record, Parts parts) {
  record->code = TransientCode(parts, record->facts.axes.size());
  record->SetParts(std::move(parts));
  return record;
}

bool IsUnknown(const Parts& parts) {
  const auto& elevation = parts.elevation;
  return !parts.projection && (parts.units.empty() || IsOther(parts.units)) &&
         (!elevation || (elevation->datumName == kUnknownDatum && elevation->spheroidName.empty() &&
                         IsOther(elevation->unitsName) && elevation->elevationType == KprjElevationUnknown));
}

void AddLocalAxes(const Parts& parts, const HorizontalUnits& units, Facts& facts) {
  const bool horizontal = parts.projection || !parts.units.empty();
  if (horizontal && !parts.projection)
    for (const char* name : {"X", "Y"}) facts.axes.push_back({name, name, "unknown", units.unit});
  for (proj::Axis& axis : facts.axes) axis.unit = units.unit;
  if (!parts.elevation) return;
  const std::int32_t type = parts.elevation->elevationType;
  const std::string name = type == KprjDepth ? "Depth" : "Height";
  facts.axes.push_back({name, name.substr(0, 1),
                        type == KprjHeight  ? "up"
                        : type == KprjDepth ? "down"
                                            : "unknown",
                        UnitOfElevation(*parts.elevation)});
}

/// What PROJ can't express: axes without a unit or a direction, a datum that nobody knows.
RecordPtr LocalRecord(Parts parts, const HorizontalUnits& units) {
  const bool unknown = IsUnknown(parts);
  Facts facts;
  if (parts.projection) {
    facts = parts.projection->horizontal.facts;
    facts.authority.clear();
    facts.code.clear();
    facts.json.clear();
  } else {
    facts.csKind = parts.units.empty() ? CsKind::Vertical : CsKind::Cartesian;
    facts.name = unknown ? "Unknown" : "Local";
  }
  AddLocalAxes(parts, units, facts);
  auto record = NewRecord(std::move(facts), {});
  const std::size_t dimension = record->facts.axes.size();
  if (!parts.projection) record->typeWord = unknown ? L"Unknown" : dimension == 1 ? L"Vertical" : L"Engineering";
  if (!unknown) return Transient(std::move(record), std::move(parts));
  record->code = dimension == 1 ? kUnknown1D : dimension == 2 ? kUnknown2D : kUnknown3D;
  record->SetParts(std::move(parts));
  return record;
}

std::string Quoted(const std::string& text) {
  std::string quoted = "\"";
  for (const char c : text) {
    if (c == '"') quoted += '"';
    quoted += c;
  }
  return quoted + '"';
}

/// The one form in which PROJ makes a system of depths.
std::string VerticalWkt(const Kprj_ElevationInfo& elevation) {
  const bool down = elevation.elevationType == KprjDepth;
  const proj::VerticalRow* row = nullptr;
  for (const char* registry : kSearched)
    if (!row) row = VerticalIndex::Of(registry).FindDatum(elevation.datumName, down);
  const Unit unit = UnitOfElevation(elevation);
  const std::string datum = kstr_ToUtf8(elevation.datumName);
  const bool ellipsoidal = !elevation.spheroidName.empty();
  const std::string name = row && row->vertical.down == down ? row->name : datum + (down ? " depth" : " height");
  std::string id;
  if (row && !ellipsoidal) id = ",ID[" + Quoted(row->datumAuthority) + "," + Quoted(row->datumCode) + "]";
  std::string unitId;
  if (!unit.code.empty()) unitId = ",ID[" + Quoted(unit.authority) + "," + Quoted(unit.code) + "]";
  const char* const axis = down          ? "depth (D)\",down"
                           : ellipsoidal ? "ellipsoidal height (h)\",up"
                                         : "gravity-related height (H)\",up";
  return "VERTCRS[" + Quoted(name + " (" + unit.name + ")") + ",VDATUM[" + Quoted(datum) + id +
         "],CS[vertical,1],AXIS[\"" + axis + ",LENGTHUNIT[" + Quoted(unit.name) + "," +
         kstr_ToUtf8(kstr_ShortestDouble(unit.factor)) + unitId + "]]]";
}

/// Its identifier, where the registry has just this under it.
std::optional<RegistryCode> Verified(const Facts& facts) {
  if (facts.authority.empty() || facts.code.empty()) return std::nullopt;
  if (!GetCalls().AreEquivalent({{}, {}, facts.json}, {facts.authority, facts.code, {}}, false)) return std::nullopt;
  return RegistryCode{facts.authority, facts.code};
}

std::optional<RegistryCode> CodeOfHorizontal(const Kprj_MapProjection& projection) {
  const Source& source = projection.horizontal.source;
  if (source.IsRegistered() && !source.code.empty()) return RegistryCode{source.authority, source.code};
  return Verified(projection.horizontal.facts);
}

Source SourceOf(const Kprj_MapProjection& projection) {
  const Source& source = projection.horizontal.source;
  return source.IsRegistered() && !source.code.empty() ? source : Source{{}, {}, projection.parameters.definition};
}

std::optional<RegistryCode> CodeOfCompound(const RegistryCode& horizontal, const RegistryCode& vertical) {
  for (const std::string& registry : {horizontal.authority, vertical.authority, std::string("EPSG")}) {
    const auto* row =
        CompoundIndex::Of(registry).Find(horizontal.authority, horizontal.code, vertical.authority, vertical.code);
    if (row) return RegistryCode{registry, row->code};
  }
  return std::nullopt;
}

/// What a registry has under the parts, without building it.
std::optional<RegistryCode> CodeOfParts(const Parts& parts, const HorizontalUnits& units,
                                        const std::optional<RegistryCode>& vertical) {
  if (!parts.projection) return vertical;
  if (!units.native || (parts.elevation && !vertical)) return std::nullopt;
  const auto horizontal = CodeOfHorizontal(*parts.projection);
  if (!horizontal || !parts.elevation) return horizontal;
  return CodeOfCompound(*horizontal, *vertical);
}

Build RequestOf(const Parts& parts, const HorizontalUnits& units, bool ellipsoidal,
                const std::optional<RegistryCode>& vertical) {
  Build build;
  if (parts.projection) {
    build.horizontal = SourceOf(*parts.projection);
    build.angular = parts.projection->angular;
    if (!units.native) build.unit = units.unit;
  }
  if (!parts.elevation) return build;
  if (ellipsoidal) {
    build.elevation = Build::Elevation::Ellipsoidal;
    build.verticalUnit = UnitOfElevation(*parts.elevation);
    return build;
  }
  build.elevation = Build::Elevation::System;
  if (vertical)
    build.vertical = {vertical->authority, vertical->code, {}};
  else
    build.verticalWkt = VerticalWkt(*parts.elevation);
  return build;
}

RecordPtr RecordOfParts(Parts parts, const HorizontalUnits& units) {
  const bool ellipsoidal = parts.projection && parts.elevation &&
                           IsOverOwnEllipsoid(parts.projection->horizontal.facts.datumName, *parts.elevation);
  std::optional<RegistryCode> vertical;
  if (parts.elevation && !ellipsoidal) {
    const auto horizontal = parts.projection ? parts.projection->horizontal.source.authority : std::string();
    vertical = FindVertical(*parts.elevation, horizontal);
  }
  std::wstring reason;
  if (const auto known = CodeOfParts(parts, units, vertical))
    if (RecordPtr named = NamedRecord(known->authority, known->code, reason)) return named;
  Facts facts;
  std::string words;
  if (!GetCalls().BuildSystem(RequestOf(parts, units, ellipsoidal, vertical), facts, words))
    Refuse(__LINE__, L"The parts make no coordinate reference system: " + kstr_FromUtf8Lossy(words) + L".");
  if (const auto known = Verified(facts))
    if (RecordPtr named = NamedRecord(known->authority, known->code, reason)) return named;
  NormalizeUnits(facts);
  Source source{{}, {}, facts.json};
  return Transient(NewRecord(std::move(facts), std::move(source)), std::move(parts));
}

}  // namespace

bool IsLocal(const Kprj_ElevationInfo& elevation) {
  return elevation.datumName.empty() || elevation.datumName == kUnknownDatum ||
         (elevation.elevationType != KprjHeight && elevation.elevationType != KprjDepth) ||
         (elevation.unitsFactor == 0 && IsOther(elevation.unitsName));
}

std::optional<RegistryCode> FindVertical(const Kprj_ElevationInfo& elevation, const std::string& first) {
  const auto find = [&elevation](const std::string& registry) -> std::optional<RegistryCode> {
    const auto* row = VerticalIndex::Of(registry).Find(elevation);
    return row ? std::optional(RegistryCode{registry, row->code}) : std::nullopt;
  };
  const bool searched = std::find(std::begin(kSearched), std::end(kSearched), first) != std::end(kSearched);
  if (searched)
    if (auto found = find(first)) return found;
  for (const char* registry : kSearched)
    if (auto found = find(registry)) return found;
  return std::nullopt;
}

RecordPtr UnknownRecord(int dimension) {
  HorizontalUnits units;
  units.other = true;
  units.unit.name = kstr_ToUtf8(kprj_UnitsNameOther());
  Parts parts;
  if (dimension > 1) parts.units = kprj_UnitsNameOther();
  if (dimension != 2)
    parts.elevation = Kprj_ElevationInfo{kUnknownDatum, {}, kprj_UnitsNameOther(), KprjElevationUnknown, 0};
  return LocalRecord(std::move(parts), units);
}

RecordPtr NamedRecord(const std::string& authority, const std::string& code, std::wstring& reason) {
  Facts facts;
  std::string words;
  if (RegistryOf(kstr_FromUtf8Lossy(authority)) != authority || !IsPlainCode(code) ||
      !GetCalls().Describe({authority, code, {}}, facts, words)) {
    reason = L"\"" + kstr_FromUtf8Lossy(authority) + L"\" has no coordinate reference system \"" +
             kstr_FromUtf8Lossy(code) + L"\"";
    return nullptr;
  }
  NormalizeUnits(facts);
  std::wstring named = NamedCode(facts, authority, code);
  auto record = NewRecord(std::move(facts), {authority, code, {}});
  record->code = std::move(named);
  return record;
}

namespace {

RecordPtr Built(const ProjectionPtr& projection, const std::wstring& unitsName, const Kprj_ElevationInfo* elevation) {
  if (!projection && unitsName.empty() && !elevation)
    Refuse(__LINE__, L"A coordinate reference system can't be made of nothing: no projection, units or elevation.");
  Parts parts{projection, {}, {}};
  if (elevation) parts.elevation = Checked(*elevation);
  HorizontalUnits units;
  if (projection || !unitsName.empty()) {
    units = UnitsOf(projection, unitsName);
    parts.units = kstr_FromUtf8Lossy(units.unit.name);
  }
  const bool local = elevation && IsLocal(*parts.elevation);
  if (local || units.other || (!projection && !unitsName.empty())) return LocalRecord(std::move(parts), units);
  return RecordOfParts(std::move(parts), units);
}

}  // namespace

RecordPtr BuildRecord(const ProjectionPtr& projection, const std::wstring& units, const Kprj_ElevationInfo* elevation) {
  try {
    return Built(projection, units, elevation);
  } catch (const Unfit& unfit) {
    KorvenLog::CPPException<std::runtime_error>(L"kprj\\parts", L"kprj::ICRSFactory::CreateCRSFromParts")
        .Throw(unfit.line, unfit.text);
  }
}

RecordPtr TryBuildRecord(const ProjectionPtr& projection, const std::wstring& units,
                         const Kprj_ElevationInfo* elevation, std::wstring& reason) {
  try {
    return Built(projection, units, elevation);
  } catch (const Unfit& unfit) {
    reason = unfit.text;
    return nullptr;
  }
}

}  // namespace kprj
