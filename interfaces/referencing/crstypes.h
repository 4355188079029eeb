#pragma once

#include <string>
#include <utility>

#include "referencing/crs.h"

namespace coordinateReferencing {

/// A direction that is named by a code: "north", "east", "south", "west", "up", "down", "geocentricX", "unknown" …
class AxisDirectionTypeCodeImpl : public iso::referencing::cs::AxisDirection {
 public:
  explicit AxisDirectionTypeCodeImpl(std::wstring codeName) : codeName_(std::move(codeName)) {}
  const std::wstring& getName() const { return codeName_; }

 private:
  std::wstring codeName_;
};

/// A coordinate reference system that says its own type word. Those of this engine do; a class that wraps one of them
/// passes its word on.
class TypedCRS {
 public:
  virtual ~TypedCRS() = default;
  virtual std::wstring getTypeWord() const = 0;
};

/// "Geographic", "Projected", "Geocentric", "Geodetic", "Vertical", "Compound", "Engineering", "Image", "Grid" or
/// "Unknown": what a TypedCRS says, else by the interfaces that the system shows. A plain system of 3 dimensions has
/// the word of its horizontal part. "Unknown" for null.
std::wstring getCRSType(const iso::referencing::crs::CRSPtr& crs);
/// "Cartesian", "Ellipsoidal", "Spherical", "Vertical" or "Unknown".
std::wstring getCSType(const boost::shared_ptr<const iso::referencing::cs::CoordinateSystem>& cs);
/// "Geodetic", "Vertical", "Engineering", "Image" or "Unknown".
std::wstring getDatumType(const boost::shared_ptr<const iso::referencing::datum::Datum>& datum);

/// Whether horizontal coordinates are latitude and longitude; of a compound system its first part's are asked for.
bool isGeographicCRS(const iso::referencing::crs::CRSPtr& crs);
/// Whether horizontal coordinates are those of a map projection.
bool isProjectedCRS(const iso::referencing::crs::CRSPtr& crs);

}  // namespace coordinateReferencing
