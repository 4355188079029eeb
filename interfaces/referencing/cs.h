#pragma once

#include <boost/shared_ptr.hpp>
#include <string>

#include "referencing/identifiedobject.h"

namespace iso::referencing::cs {

/// Where an axis points. Its words are those of the class that implements it; see AxisDirectionTypeCodeImpl.
class AxisDirection {
 public:
  virtual ~AxisDirection() = default;
};

/// A unit of measure. Names are those of the unit table where it has the unit ("metre", "US survey foot"); see
/// kprj/kprj.h.
class Unit : public IdentifiedObject {
 public:
  /// How many metres, or radians, one is; 0 where that means nothing, as for the unit "other".
  virtual double getFactor() const = 0;
  virtual bool isLinear() const = 0;
  virtual bool isAngular() const = 0;
};

class CoordinateSystemAxis : public IdentifiedObject {
 public:
  virtual std::wstring getAbbreviation() const = 0;
  /// Never null.
  virtual boost::shared_ptr<const Unit> getUnit() const = 0;
  /// May be null.
  virtual boost::shared_ptr<const AxisDirection> getDirection() const = 0;
};

/// The axes in the order of the coordinates.
class CoordinateSystem : public IdentifiedObject {
 public:
  virtual int getDimension() const = 0;
  /// `index` from 0; null outside the dimension.
  virtual boost::shared_ptr<const CoordinateSystemAxis> getAxis(int index) const = 0;
};

class CartesianCS : public CoordinateSystem {};
/// Latitude, longitude and, where it has three axes, the height above the ellipsoid.
class EllipsoidalCS : public CoordinateSystem {};
class SphericalCS : public CoordinateSystem {};
class VerticalCS : public CoordinateSystem {};

}  // namespace iso::referencing::cs
