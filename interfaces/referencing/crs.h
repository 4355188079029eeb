#pragma once

#include <boost/shared_ptr.hpp>
#include <string>
#include <vector>

#include "referencing/cs.h"
#include "referencing/datum.h"
#include "referencing/identifiedobject.h"

namespace iso::referencing::crs {

/// A coordinate reference system. Which of the classes below it is follows from who made it: those of registries are
/// single, vertical or compound ones; the projection library's ("KPRJ") are plain ones always. Its first identifier
/// holds the authority and code that it was made from.
class CoordinateReferenceSystem : public IdentifiedObject {
 public:
  /// Never null. That of a compound system has the axes of its parts, one after the other.
  virtual boost::shared_ptr<const cs::CoordinateSystem> getCoordinateSystem() const = 0;
  virtual std::wstring getScope() const { return {}; }
};

using CRSPtr = boost::shared_ptr<const CoordinateReferenceSystem>;

class SingleCRS : public CoordinateReferenceSystem {
 public:
  /// Null where it has none.
  virtual boost::shared_ptr<const datum::Datum> getDatum() const = 0;
};

/// Of one dimension; its datum is a VerticalDatum.
class VerticalCRS : public SingleCRS {};

/// Of the pixels of one image.
class ImageCRS : public SingleCRS {};

class CompoundCRS : public CoordinateReferenceSystem {
 public:
  /// The horizontal one first.
  virtual std::vector<CRSPtr> getComponents() const = 0;
};

/// Makes the coordinate reference systems of one authority. Any thread.
class CRSAuthorityFactory {
 public:
  virtual ~CRSAuthorityFactory() = default;
  virtual std::wstring getAuthority() const = 0;
  /// Never null. Raises KorvenLog::CPPException with authority, code and what is wrong with it; a code that is not
  /// known with the nearest one.
  virtual CRSPtr createCoordinateReferenceSystem(const std::wstring& code) const = 0;
  /// The same, but null for a code that makes none. Raises only where nothing can be made at all, as without the
  /// database of coordinate reference systems.
  virtual CRSPtr tryCreateCoordinateReferenceSystem(const std::wstring& code) const = 0;
};

}  // namespace iso::referencing::crs

namespace korven::raster {

/// Of the cells of one raster.
class GridCRS : public iso::referencing::crs::CoordinateReferenceSystem {};

}  // namespace korven::raster
