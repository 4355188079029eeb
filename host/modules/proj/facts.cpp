#include "facts.h"

#include <iterator>

using kprj::proj::Axis;
using kprj::proj::CsKind;
using kprj::proj::Facts;
using kprj::proj::Kind;

Kind KindOf(const PJ* system) {
  switch (::proj_get_type(system)) {
    case PJ_TYPE_GEOGRAPHIC_2D_CRS:
      return Kind::Geographic2D;
    case PJ_TYPE_GEOGRAPHIC_3D_CRS:
      return Kind::Geographic3D;
    case PJ_TYPE_PROJECTED_CRS:
      return Kind::Projected;
    case PJ_TYPE_GEOCENTRIC_CRS:
      return Kind::Geocentric;
    case PJ_TYPE_GEODETIC_CRS:
      return Kind::Geodetic;
    case PJ_TYPE_VERTICAL_CRS:
      return Kind::Vertical;
    case PJ_TYPE_COMPOUND_CRS:
      return Kind::Compound;
    default:
      return Kind::Other;
  }
}

std::string WithoutEnsemble(std::string name) {
  constexpr std::string_view ending = " ensemble";
  if (name.ends_with(ending)) name.resize(name.size() - ending.size());
  return name;
}

std::string DatumNameOf(const PJ* system) {
  if (KindOf(system) == Kind::Compound) {
    const Object first(::proj_crs_get_sub_crs(Context(), system, 0));
    return first ? DatumNameOf(first.get()) : std::string();
  }
  const Object datum(::proj_crs_get_datum_forced(Context(), system));
  return datum ? WithoutEnsemble(TextOf(::proj_get_name(datum.get()))) : std::string();
}

std::string EllipsoidNameOf(const PJ* object) {
  const Object ellipsoid(::proj_get_ellipsoid(Context(), object));
  return ellipsoid ? TextOf(::proj_get_name(ellipsoid.get())) : std::string();
}

std::string JsonOf(const PJ* system) {
  const char* const options[] = {"MULTILINE=NO", "SCHEMA=", nullptr};
  return TextOf(::proj_as_projjson(Context(), system, options));
}

std::string IdAuthorityOf(const PJ* object) { return TextOf(::proj_get_id_auth_name(object, 0)); }
std::string IdCodeOf(const PJ* object) { return TextOf(::proj_get_id_code(object, 0)); }

std::string CodeIn(const PJ* object, const std::string& authority) {
  for (int i = 0; const char* const name = ::proj_get_id_auth_name(object, i); ++i)
    if (authority == name) return TextOf(::proj_get_id_code(object, i));
  return {};
}

namespace {

CsKind KindOfCs(PJ_COORDINATE_SYSTEM_TYPE type) {
  switch (type) {
    case PJ_CS_TYPE_CARTESIAN:
      return CsKind::Cartesian;
    case PJ_CS_TYPE_ELLIPSOIDAL:
      return CsKind::Ellipsoidal;
    case PJ_CS_TYPE_SPHERICAL:
      return CsKind::Spherical;
    case PJ_CS_TYPE_VERTICAL:
      return CsKind::Vertical;
    default:
      return CsKind::Other;
  }
}

}  // namespace

std::vector<Axis> AxesOf(const PJ* system, CsKind& kind) {
  PJ_CONTEXT* const context = Context();
  std::vector<Axis> axes;
  if (KindOf(system) == Kind::Compound) {
    for (int part = 0;; ++part) {
      const Object sub(::proj_crs_get_sub_crs(context, system, part));
      if (!sub) return axes;
      CsKind kindOfPart = CsKind::Other;
      std::vector<Axis> more = AxesOf(sub.get(), kindOfPart);
      if (part == 0) kind = kindOfPart;
      axes.insert(axes.end(), std::make_move_iterator(more.begin()), std::make_move_iterator(more.end()));
    }
  }
  const Object cs(::proj_crs_get_coordinate_system(context, system));
  if (!cs) return axes;
  kind = KindOfCs(::proj_cs_get_type(context, cs.get()));
  const int count = ::proj_cs_get_axis_count(context, cs.get());
  for (int i = 0; i < count; ++i) {
    const char *name, *abbreviation, *direction, *unit, *unitAuthority, *unitCode;
    double factor;
    if (!::proj_cs_get_axis_info(context, cs.get(), i, &name, &abbreviation, &direction, &factor, &unit, &unitAuthority,
                                 &unitCode))
      continue;
    axes.push_back({TextOf(name),
                    TextOf(abbreviation),
                    TextOf(direction),
                    {TextOf(unit), factor, TextOf(unitAuthority), TextOf(unitCode)}});
  }
  return axes;
}

Facts FactsOf(const PJ* system) {
  Facts facts;
  facts.kind = KindOf(system);
  facts.axes = AxesOf(system, facts.csKind);
  facts.name = TextOf(::proj_get_name(system));
  facts.datumName = DatumNameOf(system);
  facts.authority = IdAuthorityOf(system);
  facts.code = IdCodeOf(system);
  facts.json = JsonOf(system);
  facts.deprecated = ::proj_is_deprecated(system) != 0;
  return facts;
}
