#include "referencing/crstypes.h"

namespace coordinateReferencing {

using iso::referencing::crs::CRSPtr;
namespace crs = iso::referencing::crs;
namespace cs = iso::referencing::cs;
namespace datum = iso::referencing::datum;

namespace {

template <typename T, typename From>
bool Is(const boost::shared_ptr<const From>& object) {
  return dynamic_cast<const T*>(object.get()) != nullptr;
}

/// Of a system that doesn't say it: by its axes.
std::wstring WordOfAxes(const CRSPtr& system) {
  const std::wstring type = getCSType(system->getCoordinateSystem());
  if (type == L"Ellipsoidal") return L"Geographic";
  if (type == L"Spherical") return L"Geodetic";
  if (type == L"Cartesian") return L"Projected";
  return type;
}

bool HasWord(const CRSPtr& system, const wchar_t* word, const wchar_t* csWord) {
  if (!system) return false;
  const std::wstring type = getCRSType(system);
  return type == L"Compound" ? getCSType(system->getCoordinateSystem()) == csWord : type == word;
}

}  // namespace

std::wstring getCRSType(const CRSPtr& system) {
  if (!system) return L"Unknown";
  if (const auto* typed = dynamic_cast<const TypedCRS*>(system.get())) return typed->getTypeWord();
  if (Is<crs::CompoundCRS>(system)) return L"Compound";
  if (Is<crs::VerticalCRS>(system)) return L"Vertical";
  if (Is<crs::ImageCRS>(system)) return L"Image";
  if (Is<korven::raster::GridCRS>(system)) return L"Grid";
  if (const auto* single = dynamic_cast<const crs::SingleCRS*>(system.get()))
    if (getDatumType(single->getDatum()) == L"Engineering") return L"Engineering";
  return WordOfAxes(system);
}

std::wstring getCSType(const boost::shared_ptr<const cs::CoordinateSystem>& system) {
  if (Is<cs::CartesianCS>(system)) return L"Cartesian";
  if (Is<cs::EllipsoidalCS>(system)) return L"Ellipsoidal";
  if (Is<cs::SphericalCS>(system)) return L"Spherical";
  if (Is<cs::VerticalCS>(system)) return L"Vertical";
  return L"Unknown";
}

std::wstring getDatumType(const boost::shared_ptr<const datum::Datum>& object) {
  if (Is<datum::GeodeticDatum>(object)) return L"Geodetic";
  if (Is<datum::VerticalDatum>(object)) return L"Vertical";
  if (Is<datum::EngineeringDatum>(object)) return L"Engineering";
  if (Is<datum::ImageDatum>(object)) return L"Image";
  return L"Unknown";
}

bool isGeographicCRS(const CRSPtr& system) { return HasWord(system, L"Geographic", L"Ellipsoidal"); }
bool isProjectedCRS(const CRSPtr& system) { return HasWord(system, L"Projected", L"Cartesian"); }

}  // namespace coordinateReferencing
