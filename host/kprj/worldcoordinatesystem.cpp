#include <charconv>

#include "jsonforms.h"
#include "kcommon/kerr.h"
#include "kcommon/kfio.h"
#include "kcommon/kstr.h"
#include "kprj/korvendatum.h"
#include "unittable.h"

namespace KorvenDatum {

using korven::jsonlib::StyledWriter;
using korven::jsonlib::Value;

namespace {

constexpr const wchar_t* kFormat = L"vantix-wcs";

/// PROJ writes the numbers of a definition with 15 digits. A size of the projection's unit that had more would be
/// another than the one in the projection once the file is read.
double AsInDefinitions(double factor) {
  char digits[32];
  const auto written = std::to_chars(digits, digits + sizeof digits, factor, std::chars_format::general, 15);
  std::from_chars(digits, written.ptr, factor);
  return factor;
}

/// A unit without a size would not be read again.
Value RequireSize(Value unit) {
  if (!kprj::IsOther(unit[L"name"].asString()) && !(unit[L"toSI"].asDouble() > 0)) {
    KerrException error(L"kprj\\worldcoordinatesystem", L"KorvenDatum::WorldCoordinateSystem::Format");
    error.Throw(__LINE__,
                kprj::UnknownUnit(unit[L"name"].asString(), KprjUnitAngular | KprjUnitLinear | KprjUnitOther));
  }
  return unit;
}

/// `factor` is 0 but for the unit of a file that no list has with this size.
Value HorizontalUnits(const Kprj_MapProjection* projection, const std::wstring& units, double factor) {
  if (projection && units == projection->parameters.unitsName)
    return kprj::UnitValue(units, AsInDefinitions(projection->unit.factor), projection->angular);
  const kprj::KnownUnit* const known = kprj::FindUnit(units);
  return RequireSize(
      kprj::UnitValue(units, factor > 0 || !known ? factor : known->factor, known && known->kind == KprjUnitAngular));
}

Value ElevationValue(const Kprj_ElevationInfo& elevation) {
  Value value(Value::objectValue);
  value[L"datum"] = elevation.datumName;
  value[L"spheroid"] = elevation.spheroidName;
  value[L"type"] = kprj::ElevationWord(elevation.elevationType);
  value[L"units"] = RequireSize(kprj::UnitValue(elevation.unitsName, kprj::UnitOfElevation(elevation).factor, false));
  return value;
}

/// Null with the reason.
Kprj_ElevationInfo* ReadElevation(const Value& value, std::wstring& reason) {
  const Value& type = value[L"type"];
  if (!value[L"datum"].isString() || !type.isString()) {
    reason = L"its elevation has no texts \"datum\" and \"type\"";
    return nullptr;
  }
  const auto known = kprj::ElevationTypeOf(type.asString());
  if (!known) {
    reason = L"its elevation type is \"" + type.asString() + L"\", expected \"Height\", \"Depth\" or \"Unknown\"";
    return nullptr;
  }
  const auto unit = kprj::ReadUnit(value[L"units"], reason);
  if (!unit) return nullptr;
  return new Kprj_ElevationInfo{value[L"datum"].asString(), value[L"spheroid"].asString(), unit->name, *known,
                                unit->factor};
}

}  // namespace

WorldCoordinateSystem::WorldCoordinateSystem(const Kprj_MapProjection* projection, const std::wstring& units,
                                             const Kprj_ElevationInfo* elevation)
    : projection_(projection ? new Kprj_MapProjection(*projection) : nullptr),
      units_(units),
      elevation_(elevation ? new Kprj_ElevationInfo(*elevation) : nullptr) {}

WorldCoordinateSystem::~WorldCoordinateSystem() = default;
WorldCoordinateSystem::WorldCoordinateSystem(WorldCoordinateSystem&&) noexcept = default;
WorldCoordinateSystem& WorldCoordinateSystem::operator=(WorldCoordinateSystem&&) noexcept = default;

std::string WorldCoordinateSystem::Format() const {
  Value root(Value::objectValue);
  root[L"format"] = kFormat;
  root[L"version"] = 1;
  root[L"projection"] = projection_ ? kprj::ProjectionValue(projection_->parameters.definition) : Value();
  root[L"units"] = units_.empty() ? Value() : HorizontalUnits(projection_.get(), units_, unitsFactor_);
  root[L"elevation"] = elevation_ ? ElevationValue(*elevation_) : Value();
  return StyledWriter().writeUtf8(root);
}

void WorldCoordinateSystem::WriteToWCSFile(const std::wstring& fileName) const { kfio::WriteBytes(fileName, Format()); }

WorldCoordinateSystem WorldCoordinateSystem::Parse(std::string_view text, const std::wstring& source) {
  KerrException error(L"kprj\\worldcoordinatesystem", L"KorvenDatum::WorldCoordinateSystem::Parse");
  const Value root = kprj::ReadDocument(text, kFormat, source, error);
  WorldCoordinateSystem system(nullptr, {}, nullptr);
  std::wstring reason;
  if (!root[L"projection"].isNull()) {
    const kprj::ProjectionPtr projection = kprj::ReadProjection(root[L"projection"], reason);
    if (projection) system.projection_.reset(new Kprj_MapProjection(*projection));
  }
  if (reason.empty() && !root[L"units"].isNull()) {
    if (const auto unit = kprj::ReadUnit(root[L"units"], reason)) {
      system.units_ = unit->name;
      system.unitsFactor_ = unit->factor;
    }
  }
  if (reason.empty() && !root[L"elevation"].isNull())
    system.elevation_.reset(ReadElevation(root[L"elevation"], reason));
  if (!reason.empty()) kprj::RefuseDocument(error, __LINE__, source, reason);
  return system;
}

WorldCoordinateSystem WorldCoordinateSystem::ReadFromWCSFile(const std::wstring& fileName) {
  return Parse(kfio::ReadBytes(fileName), fileName);
}

}  // namespace KorvenDatum
