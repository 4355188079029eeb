#include "parts.h"

#include "altering.h"
#include "facts.h"

using kprj::proj::Build;
using kprj::proj::CsKind;
using kprj::proj::DatumRow;
using kprj::proj::Facts;
using kprj::proj::Horizontal;
using kprj::proj::Kind;
using kprj::proj::Parameter;
using kprj::proj::Split;
using kprj::proj::Unit;
using kprj::proj::Vertical;

namespace {

std::optional<DatumRow> RowOf(const PJ* datum) {
  if (!datum) return std::nullopt;
  return DatumRow{WithoutEnsemble(TextOf(::proj_get_name(datum))), EllipsoidNameOf(datum)};
}

/// ESRI's vertical datums of heights over an ellipsoid carry the geodetic datum in their code.
std::optional<DatumRow> DatumInCode(const std::string& code) {
  constexpr std::string_view start = "from_geogdatum_";
  const std::size_t end = code.rfind('_');
  if (!code.starts_with(start) || end < start.size()) return std::nullopt;
  const std::string authority = code.substr(start.size(), end - start.size());
  const std::string number = code.substr(end + 1);
  for (const PJ_CATEGORY category : {PJ_CATEGORY_DATUM, PJ_CATEGORY_DATUM_ENSEMBLE}) {
    const Object datum(::proj_create_from_database(Context(), authority.c_str(), number.c_str(), category, 0, nullptr));
    if (datum) return RowOf(datum.get());
  }
  return std::nullopt;
}

bool IsEllipsoidalHeight(const std::string& axis) {
  constexpr std::string_view name = "llipsoidal height";
  return axis.size() == name.size() + 1 && axis.ends_with(name);
}

void AddConversion(const PJ* system, Horizontal& part) {
  PJ_CONTEXT* const context = Context();
  const Object base(::proj_crs_get_geodetic_crs(context, system));
  if (base) {
    part.baseAuthority = IdAuthorityOf(base.get());
    part.baseCode = IdCodeOf(base.get());
  }
  const Object conversion(::proj_crs_get_coordoperation(context, system));
  if (!conversion) return;
  const char *name, *authority, *code;
  if (::proj_coordoperation_get_method_info(context, conversion.get(), &name, &authority, &code)) {
    part.method = TextOf(name);
    if (TextOf(authority) == "EPSG") part.methodCode = TextOf(code);
  }
  const int count = ::proj_coordoperation_get_param_count(context, conversion.get());
  for (int i = 0; i < count; ++i) {
    Parameter parameter;
    const char *text, *unit, *unitAuthority, *unitCode, *category;
    if (!::proj_coordoperation_get_param(context, conversion.get(), i, &name, &authority, &code, &parameter.value,
                                         &text, &parameter.unit.factor, &unit, &unitAuthority, &unitCode, &category))
      continue;
    parameter.name = TextOf(name);
    if (TextOf(authority) == "EPSG") parameter.code = TextOf(code);
    parameter.unit.name = TextOf(unit);
    parameter.unit.authority = TextOf(unitAuthority);
    parameter.unit.code = TextOf(unitCode);
    parameter.angular = TextOf(category) == "angular";
    parameter.linear = TextOf(category) == "linear";
    part.parameters.push_back(std::move(parameter));
  }
}

Horizontal HorizontalOf(const PJ* system) {
  Horizontal part;
  part.facts = FactsOf(system);
  // Made by the database an object carries its right identifier; made of a text it may carry any.
  part.source.json = part.facts.json;
  if (part.facts.kind == Kind::Projected) {
    AddConversion(system, part);
  } else {
    part.baseAuthority = part.facts.authority;
    part.baseCode = part.facts.code;
  }
  const Object ellipsoid(::proj_get_ellipsoid(Context(), system));
  if (ellipsoid) {
    part.ellipsoid = TextOf(::proj_get_name(ellipsoid.get()));
    ::proj_ellipsoid_get_parameters(Context(), ellipsoid.get(), &part.semiMajorAxis, &part.semiMinorAxis, nullptr,
                                    nullptr);
  }
  return part;
}

void SplitSingle(const PJ* system, Split& split) {
  const Kind kind = KindOf(system);
  if (kind == Kind::Vertical) {
    split.vertical = VerticalOf(system);
    return;
  }
  if (kind != Kind::Geographic2D && kind != Kind::Geographic3D && kind != Kind::Projected) return;
  CsKind csKind = CsKind::Other;
  const auto axes = AxesOf(system, csKind);
  if (axes.size() < 3) {
    split.horizontal = HorizontalOf(system);
    return;
  }
  const Object flat = Demoted(system);
  if (!flat) return;
  split.horizontal = HorizontalOf(flat.get());
  split.vertical = Vertical{split.horizontal->facts.datumName, split.horizontal->ellipsoid, axes[2].unit,
                            axes[2].direction == "down"};
}

std::string NameWith(const PJ* system, const std::string& what) {
  return TextOf(::proj_get_name(system)) + " (" + what + ")";
}

/// A height over the system's own ellipsoid on top of it.
Object WithEllipsoidalHeight(const PJ* system, const Unit& unit) {
  if (unit.factor == 1) return Promoted(system);
  const bool projected = KindOf(system) == Kind::Projected;
  const Object base = projected ? Object(::proj_crs_get_geodetic_crs(Context(), system)) : nullptr;
  if (projected && !base) return nullptr;
  const Object promoted = Promoted(projected ? base.get() : system);
  if (!promoted) return nullptr;
  Object altered = InUnit(promoted.get(), unit, false);
  if (!altered) return nullptr;
  const std::string name = NameWith(system, "height in " + unit.name);
  // The unit of a projected system in 3D would change on all three axes.
  return projected ? Projected3D(name, system, altered.get()) : Renamed(altered.get(), name);
}

Object VerticalFor(const Build& build) {
  if (build.verticalWkt.empty()) return MakeSystem(build.vertical);
  ForgetWords();
  return Object(::proj_create_from_wkt(Context(), build.verticalWkt.c_str(), nullptr, nullptr, nullptr));
}

Object Built(const Build& build) {
  const bool vertical = build.elevation == Build::Elevation::System;
  if (build.horizontal.IsEmpty()) return vertical ? VerticalFor(build) : nullptr;
  Object system = MakeSystem(build.horizontal);
  if (system && build.unit) {
    const Object altered = InUnit(system.get(), *build.unit, build.angular);
    // The old name would stand for the old unit, and the system be taken for it.
    system = altered ? Renamed(altered.get(), NameWith(system.get(), build.unit->name)) : nullptr;
  }
  if (!system || build.elevation == Build::Elevation::None) return system;
  if (!vertical) return WithEllipsoidalHeight(system.get(), build.verticalUnit);
  const Object height = VerticalFor(build);
  if (!height) return nullptr;
  return Compound(TextOf(::proj_get_name(system.get())) + " + " + TextOf(::proj_get_name(height.get())), system.get(),
                  height.get());
}

}  // namespace

Vertical VerticalOf(const PJ* system) {
  Vertical part;
  CsKind kind = CsKind::Other;
  const auto axes = AxesOf(system, kind);
  if (!axes.empty()) {
    part.unit = axes[0].unit;
    part.down = axes[0].direction == "down";
  }
  const Object datum(::proj_crs_get_datum_forced(Context(), system));
  if (!datum) return part;
  part.datumName = TextOf(::proj_get_name(datum.get()));
  auto geodetic = DatumInCode(IdCodeOf(datum.get()));
  if (!geodetic && !axes.empty() && IsEllipsoidalHeight(axes[0].name)) geodetic = ResolvedGeodeticDatum(part.datumName);
  if (geodetic) {
    part.datumName = geodetic->name;
    part.ellipsoid = geodetic->ellipsoid;
  }
  return part;
}

Split SplitOf(Object system) {
  Split split;
  if (!system) return split;
  if (KindOf(system.get()) != Kind::Compound) {
    SplitSingle(system.get(), split);
    return split;
  }
  for (int part = 0;; ++part) {
    const Object sub = WithoutTie(Object(::proj_crs_get_sub_crs(Context(), system.get(), part)));
    if (!sub) return split;
    SplitSingle(sub.get(), split);
  }
}

std::optional<DatumRow> ResolvedGeodeticDatum(const std::string& name) {
  if (name.empty()) return std::nullopt;
  constexpr PJ_TYPE types[] = {PJ_TYPE_GEODETIC_REFERENCE_FRAME, PJ_TYPE_DATUM_ENSEMBLE};
  for (const PJ_TYPE& type : types) {
    const ObjectList found(::proj_create_from_name(Context(), nullptr, name.c_str(), &type, 1, 0, 2, nullptr));
    if (!found) continue;
    for (int i = 0; i < ::proj_list_get_count(found.get()); ++i) {
      const Object datum(::proj_list_get(Context(), found.get(), i));
      const auto row = RowOf(datum.get());
      // There are ensembles of vertical datums too.
      if (row && !row->ellipsoid.empty()) return row;
    }
  }
  return std::nullopt;
}

bool BuildOf(const Build& build, Facts& facts, std::string& reason) {
  const Object system = Built(build);
  if (!system) {
    reason = LastWords();
    return false;
  }
  facts = FactsOf(system.get());
  const std::size_t expected =
      (build.horizontal.IsEmpty() ? 0 : 2) + (build.elevation == Build::Elevation::None ? 0 : 1);
  if (facts.axes.size() != expected) {
    reason = "the result has " + std::to_string(facts.axes.size()) + " axes, expected " + std::to_string(expected);
    return false;
  }
  return true;
}
