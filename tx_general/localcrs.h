#pragma once

#include <string>
#include <utility>
#include <vector>

#include "crsports.h"
#include "referencing/crstypes.h"

/// Systems of the projection library are plain ones. These classes give them the interfaces by which a system tells
/// its datum. Immutable, like what they wrap.
namespace korven::tx_general {

/// A datum that knows only its name.
template <typename Base>
class LocalDatumImpl : public Base {
 public:
  explicit LocalDatumImpl(std::wstring name) : name_(std::move(name)) {}
  std::wstring getName() const override { return name_; }

 private:
  std::wstring name_;
};
using LocalGeodeticDatumImpl = LocalDatumImpl<iso::referencing::datum::GeodeticDatum>;
using LocalVerticalDatumImpl = LocalDatumImpl<iso::referencing::datum::VerticalDatum>;

/// What is forwarded to the wrapped system: its identity, coordinate system and type word.
template <typename Base>
class LocalCRSImpl : public Base, public coordinateReferencing::TypedCRS {
 public:
  std::wstring getName() const override { return crs_->getName(); }
  std::vector<iso::referencing::Identifier> getIdentifiers() const override { return crs_->getIdentifiers(); }
  boost::shared_ptr<const iso::referencing::cs::CoordinateSystem> getCoordinateSystem() const override {
    return crs_->getCoordinateSystem();
  }
  std::wstring getTypeWord() const override { return coordinateReferencing::getCRSType(crs_); }

 protected:
  explicit LocalCRSImpl(CRSPtr crs) : crs_(std::move(crs)) {
    std::wstring units;
    PartsFactory()->SplitCRS(crs_, projection_, units, elevation_);
  }

  CRSPtr crs_;
  kprj::ProjectionHolder projection_;
  kprj::ElevationHolder elevation_;
};

/// A system of two or more dimensions. Its datum is that of the spheroid of its projection; null without one.
class LocalSingleCRSImpl : public LocalCRSImpl<iso::referencing::crs::SingleCRS> {
 public:
  explicit LocalSingleCRSImpl(CRSPtr crs) : LocalCRSImpl(std::move(crs)) {}
  boost::shared_ptr<const iso::referencing::datum::Datum> getDatum() const override {
    const auto* parameters = kprj_MapProjectionCSRGet(projection_.get(), L"Kprj_ProParameters");
    if (!parameters) return nullptr;
    return boost::make_shared<LocalGeodeticDatumImpl>(parameters->spheroid.datumName);
  }
};

/// A system of one dimension, or the vertical part of one of three. Null is the datum of what has no elevation.
class LocalVerticalCRSImpl : public LocalCRSImpl<iso::referencing::crs::VerticalCRS> {
 public:
  explicit LocalVerticalCRSImpl(CRSPtr crs) : LocalCRSImpl(std::move(crs)) {}
  boost::shared_ptr<const iso::referencing::datum::Datum> getDatum() const override {
    if (!elevation_) return nullptr;
    return boost::make_shared<LocalVerticalDatumImpl>(elevation_->datumName);
  }
};

}  // namespace korven::tx_general
