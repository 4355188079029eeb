// All calls of PROJ's experimental interface stand here: they may change with its next version.
#include "altering.h"

#include <proj_experimental.h>

namespace {

using kprj::proj::Unit;
using kprj::proj::UserProjection;

struct Name {
  const char* code;
  const char* name;
};

constexpr Name kMethods[] = {
    {"9807", "Transverse Mercator"},
    {"9808", "Transverse Mercator (South Orientated)"},
    {"9804", "Mercator (variant A)"},
    {"9805", "Mercator (variant B)"},
    {"9801", "Lambert Conic Conformal (1SP)"},
    {"9802", "Lambert Conic Conformal (2SP)"},
    {"9822", "Albers Equal Area"},
    {"9820", "Lambert Azimuthal Equal Area"},
    {"9806", "Cassini-Soldner"},
    {"9809", "Oblique Stereographic"},
    {"9810", "Polar Stereographic (variant A)"},
    {"9829", "Polar Stereographic (variant B)"},
    {"9818", "American Polyconic"},
    {"1028", "Equidistant Cylindrical"},
    {"9815", "Hotine Oblique Mercator (variant B)"},
    {"9811", "New Zealand Map Grid"},
};

enum class Measure { Length, Angle, Scale };
struct ParameterName {
  const char* code;
  const char* name;
  Measure measure;
};

constexpr ParameterName kParameters[] = {
    {"8801", "Latitude of natural origin", Measure::Angle},
    {"8802", "Longitude of natural origin", Measure::Angle},
    {"8805", "Scale factor at natural origin", Measure::Scale},
    {"8806", "False easting", Measure::Length},
    {"8807", "False northing", Measure::Length},
    {"8811", "Latitude of projection centre", Measure::Angle},
    {"8812", "Longitude of projection centre", Measure::Angle},
    {"8813", "Azimuth of initial line", Measure::Angle},
    {"8814", "Angle from Rectified to Skew Grid", Measure::Angle},
    {"8815", "Scale factor on initial line", Measure::Scale},
    {"8816", "Easting at projection centre", Measure::Length},
    {"8817", "Northing at projection centre", Measure::Length},
    {"8821", "Latitude of false origin", Measure::Angle},
    {"8822", "Longitude of false origin", Measure::Angle},
    {"8823", "Latitude of 1st standard parallel", Measure::Angle},
    {"8824", "Latitude of 2nd standard parallel", Measure::Angle},
    {"8826", "Easting at false origin", Measure::Length},
    {"8827", "Northing at false origin", Measure::Length},
    {"8832", "Latitude of standard parallel", Measure::Angle},
    {"8833", "Longitude of origin", Measure::Angle},
};

constexpr double kDegree = 0.017453292519943295;

const char* OrNull(const std::string& text) { return text.empty() ? nullptr : text.c_str(); }

template <typename Table>
auto Find(const Table& table, const std::string& code) -> decltype(&table[0]) {
  for (const auto& row : table)
    if (code == row.code) return &row;
  return nullptr;
}

bool Describe(const UserProjection& projection, std::vector<PJ_PARAM_DESCRIPTION>& parameters) {
  for (const auto& [code, value] : projection.parameters) {
    const ParameterName* const known = Find(kParameters, code);
    if (!known) return false;
    PJ_PARAM_DESCRIPTION parameter{known->name, "EPSG", code.c_str(), value, "unity", 1.0, PJ_UT_SCALE};
    if (known->measure == Measure::Length) {
      parameter.unit_name = projection.unit.name.c_str();
      parameter.unit_conv_factor = projection.unit.factor;
      parameter.unit_type = PJ_UT_LINEAR;
    } else if (known->measure == Measure::Angle) {
      parameter.unit_name = "degree";
      parameter.unit_conv_factor = kDegree;
      parameter.unit_type = PJ_UT_ANGULAR;
    }
    parameters.push_back(parameter);
  }
  return true;
}

}  // namespace

Object Demoted(const PJ* system) { return Object(::proj_crs_demote_to_2D(Context(), nullptr, system)); }
Object Promoted(const PJ* system) { return Object(::proj_crs_promote_to_3D(Context(), nullptr, system)); }

Object InUnit(const PJ* system, const Unit& unit, bool angular) {
  const auto alter = angular ? &::proj_crs_alter_cs_angular_unit : &::proj_crs_alter_cs_linear_unit;
  return Object(alter(Context(), system, unit.name.c_str(), unit.factor, OrNull(unit.authority), OrNull(unit.code)));
}

Object Renamed(const PJ* system, const std::string& name) {
  return Object(::proj_alter_name(Context(), system, name.c_str()));
}

Object Compound(const std::string& name, PJ* horizontal, PJ* vertical) {
  return Object(::proj_create_compound_crs(Context(), name.c_str(), horizontal, vertical));
}

Object Projected3D(const std::string& name, const PJ* projected, const PJ* geographic3D) {
  return Object(::proj_crs_create_projected_3D_crs_from_2D(Context(), name.c_str(), projected, geographic3D));
}

Object UserProjected(const UserProjection& projection) {
  PJ_CONTEXT* const context = Context();
  const Object base = MakeSystem({"EPSG", projection.baseCode, {}});
  const Name* const method = Find(kMethods, projection.methodCode);
  std::vector<PJ_PARAM_DESCRIPTION> parameters;
  if (!base || !method || !Describe(projection, parameters)) return nullptr;
  const Object conversion(::proj_create_conversion(context, projection.name.c_str(), nullptr, nullptr, method->name,
                                                   "EPSG", method->code, static_cast<int>(parameters.size()),
                                                   parameters.data()));
  const Object cs(::proj_create_cartesian_2D_cs(context, PJ_CART2D_EASTING_NORTHING, projection.unit.name.c_str(),
                                                projection.unit.factor));
  if (!conversion || !cs) return nullptr;
  return Object(::proj_create_projected_crs(context, projection.name.c_str(), base.get(), conversion.get(), cs.get()));
}
