#pragma once

#include <string>

#include "kprj/kprj.h"
#include "referencing/crs.h"

namespace kprj {

constexpr const wchar_t* kUnknown1D = L"VANTIX/Predefined/Coordinate Reference Systems/1D/Unknown";
constexpr const wchar_t* kUnknown2D = L"VANTIX/Predefined/Coordinate Reference Systems/2D/Unknown";
constexpr const wchar_t* kUnknown3D = L"VANTIX/Predefined/Coordinate Reference Systems/3D/Unknown";

/// The factory of the authority "KPRJ", which takes systems apart and puts them together:
///   boost::dynamic_pointer_cast<kprj::ICRSFactory>(ReferencingFactoryFinder::getCRSAuthorityFactory(L"KPRJ", nullptr))
/// Any thread.
class ICRSFactory : public iso::referencing::crs::CRSAuthorityFactory {
 public:
  /// The parts may be null or empty, but not all of them. Units are those of the projection, others of the unit list or
  /// "other"; without a projection the system is a local one. The result is "KPRJ"'s: a named one where a registry has
  /// it, one of the three unknown ones, else a transient one whose code holds the whole definition.
  /// Raises KorvenLog::CPPException where the parts don't fit: units that are not known (with the nearest), angular
  /// units for a map projection, a unit without a place to go.
  virtual iso::referencing::crs::CRSPtr CreateCRSFromParts(const Kprj_MapProjection* projection,
                                                           const std::wstring& units,
                                                           const Kprj_ElevationInfo* elevation) const = 0;
  /// A part that the system lacks is left empty; so are all of a geocentric or spherical one, and of null. Also of
  /// systems that other factories made, as far as their identifiers lead back to them.
  virtual void SplitCRS(const iso::referencing::crs::CRSPtr& crs, ProjectionHolder& projection, std::wstring& units,
                        ElevationHolder& elevation) const = 0;
};

}  // namespace kprj
