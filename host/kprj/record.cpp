#include "record.h"

#include "datums.h"
#include "kcommon/kstr.h"
#include "referencing/authority.h"
#include "unittable.h"

namespace kprj {

using proj::CsKind;
using proj::Facts;
using proj::Kind;

Record::Record(const Record& other, std::wstring newAuthority, std::wstring newCode, Form newForm)
    : authority(std::move(newAuthority)),
      code(std::move(newCode)),
      form(newForm),
      typeWord(other.typeWord),
      facts(other.facts),
      source(other.source),
      text(other.text) {
  const std::lock_guard lock(other.mutex_);
  parts_ = other.parts_;
}

const Parts& Record::GetParts() const {
  const std::lock_guard lock(mutex_);
  if (!parts_) parts_ = PartsOf(source);
  return *parts_;
}

std::wstring Record::Key() const {
  const bool isFile = !text.empty();
  return authority + L'\n' + (isFile ? kstr_FromUtf8Lossy(text) : code);
}

RecordPtr RecordOf(const iso::referencing::crs::CRSPtr& crs) {
  if (!crs) return nullptr;
  if (const auto* own = dynamic_cast<const RecordHolder*>(crs.get())) return own->GetRecord();
  for (const auto& identifier : crs->getIdentifiers()) {
    const auto factory =
        coordinateReferencing::ReferencingFactoryFinder::tryGetCRSAuthorityFactory(identifier.authority);
    const auto made = factory ? factory->tryCreateCoordinateReferenceSystem(identifier.code) : nullptr;
    if (const auto* own = dynamic_cast<const RecordHolder*>(made.get())) return own->GetRecord();
  }
  return nullptr;
}

std::wstring PlainTypeWordOf(const Facts& facts) {
  if (facts.kind != Kind::Compound) return TypeWordOf(facts);
  return facts.csKind == CsKind::Ellipsoidal ? L"Geographic" : L"Projected";
}

std::wstring TypeWordOf(const Facts& facts) {
  switch (facts.kind) {
    case Kind::Geographic2D:
    case Kind::Geographic3D:
      return L"Geographic";
    case Kind::Projected:
      return L"Projected";
    case Kind::Geocentric:
      return L"Geocentric";
    case Kind::Geodetic:
      return L"Geodetic";
    case Kind::Vertical:
      return L"Vertical";
    case Kind::Compound:
      return L"Compound";
    case Kind::Other:
      break;
  }
  return L"Unknown";
}

Form FormOf(const Facts& facts) {
  if (facts.kind == Kind::Vertical) return Form::Vertical;
  return facts.kind == Kind::Compound ? Form::Compound : Form::Single;
}

void NormalizeUnits(Facts& facts) {
  for (std::size_t i = 0; i < facts.axes.size(); ++i) {
    const bool angular = facts.csKind == CsKind::Ellipsoidal || facts.csKind == CsKind::Spherical;
    Normalize(facts.axes[i].unit, angular && i < 2);
  }
}

ProjectionPtr MakeProjection(proj::Horizontal horizontal) {
  auto projection = std::make_shared<Kprj_MapProjection>();
  NormalizeUnits(horizontal.facts);
  projection->angular = horizontal.facts.csKind == CsKind::Ellipsoidal;
  if (!horizontal.facts.axes.empty()) projection->unit = horizontal.facts.axes[0].unit;
  Kprj_ProParameters& record = projection->parameters;
  record.name = kstr_FromUtf8Lossy(horizontal.facts.name);
  record.method = kstr_FromUtf8Lossy(horizontal.method);
  for (const proj::Parameter& parameter : horizontal.parameters)
    record.parameters.push_back(
        {kstr_FromUtf8Lossy(parameter.name), parameter.value, kstr_FromUtf8Lossy(parameter.unit.name)});
  record.spheroid = {kstr_FromUtf8Lossy(horizontal.ellipsoid), horizontal.semiMajorAxis, horizontal.semiMinorAxis,
                     kstr_FromUtf8Lossy(horizontal.facts.datumName)};
  record.unitsName = kstr_FromUtf8Lossy(projection->unit.name);
  const KnownUnit* const known = FindUnit(record.unitsName);
  if (!known || !SameSize(projection->unit.factor, known->factor)) record.unitsFactor = projection->unit.factor;
  record.definition = horizontal.facts.json;
  projection->horizontal = std::move(horizontal);
  return projection;
}

proj::Unit UnitOfElevation(const Kprj_ElevationInfo& elevation) {
  const KnownUnit* const known = elevation.unitsFactor > 0 ? nullptr : FindUnit(elevation.unitsName);
  if (known) return UnitOf(*known);
  return {kstr_ToUtf8(elevation.unitsName), elevation.unitsFactor, {}, {}};
}

Kprj_ElevationInfo ElevationOf(proj::Vertical vertical) {
  Normalize(vertical.unit, false);
  Kprj_ElevationInfo elevation;
  elevation.datumName = kstr_FromUtf8Lossy(vertical.datumName);
  elevation.spheroidName = kstr_FromUtf8Lossy(vertical.ellipsoid);
  elevation.unitsName = kstr_FromUtf8Lossy(vertical.unit.name);
  elevation.elevationType = vertical.down ? KprjDepth : KprjHeight;
  const KnownUnit* const known = FindUnit(elevation.unitsName);
  if (!known || !SameSize(vertical.unit.factor, known->factor)) elevation.unitsFactor = vertical.unit.factor;
  return elevation;
}

Parts PartsOf(const proj::Source& source) {
  Parts parts;
  if (source.IsEmpty()) return parts;
  proj::Split split = proj::GetCalls().SplitSystem(source);
  if (split.vertical) {
    // What is read from a text carries no sign that its datum is a geodetic one but the name.
    if (split.vertical->ellipsoid.empty() && !source.IsRegistered())
      split.vertical->ellipsoid = Datums::Get().FindSpheroid(split.vertical->datumName);
    parts.elevation = ElevationOf(std::move(*split.vertical));
  }
  if (split.horizontal) {
    parts.projection = MakeProjection(std::move(*split.horizontal));
    parts.units = parts.projection->parameters.unitsName;
  }
  return parts;
}

}  // namespace kprj
