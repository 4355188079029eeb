#include <boost/make_shared.hpp>

#include "kcommon/kstr.h"
#include "parts.h"
#include "record.h"
#include "referencing/crstypes.h"
#include "registries.h"

namespace kprj {

namespace {

namespace crs = iso::referencing::crs;
namespace cs = iso::referencing::cs;
namespace datum = iso::referencing::datum;
using iso::referencing::Identifier;

std::wstring Wide(const std::string& text) { return kstr_FromUtf8Lossy(text); }

class AxisUnit final : public cs::Unit {
 public:
  AxisUnit(const proj::Unit& unit, bool angular) : unit_(unit), angular_(angular) {}
  std::wstring getName() const override { return Wide(unit_.name); }
  std::vector<Identifier> getIdentifiers() const override {
    if (unit_.authority.empty()) return {};
    return {{Wide(unit_.authority), Wide(unit_.code)}};
  }
  double getFactor() const override { return unit_.factor; }
  bool isLinear() const override { return unit_.factor > 0 && !angular_; }
  bool isAngular() const override { return unit_.factor > 0 && angular_; }

 private:
  proj::Unit unit_;
  bool angular_;
};

class SystemAxis final : public cs::CoordinateSystemAxis {
 public:
  SystemAxis(const proj::Axis& axis, bool angular)
      : name_(Wide(axis.name)),
        abbreviation_(Wide(axis.abbreviation)),
        unit_(boost::make_shared<AxisUnit>(axis.unit, angular)),
        direction_(boost::make_shared<coordinateReferencing::AxisDirectionTypeCodeImpl>(Wide(axis.direction))) {}
  std::wstring getName() const override { return name_; }
  std::wstring getAbbreviation() const override { return abbreviation_; }
  boost::shared_ptr<const cs::Unit> getUnit() const override { return unit_; }
  boost::shared_ptr<const cs::AxisDirection> getDirection() const override { return direction_; }

 private:
  std::wstring name_;
  std::wstring abbreviation_;
  boost::shared_ptr<const cs::Unit> unit_;
  boost::shared_ptr<const cs::AxisDirection> direction_;
};

template <typename Interface>
class SystemOf final : public Interface {
 public:
  explicit SystemOf(const proj::Facts& facts) : name_(Wide(facts.name)) {
    const bool angular = facts.csKind == proj::CsKind::Ellipsoidal || facts.csKind == proj::CsKind::Spherical;
    for (std::size_t i = 0; i < facts.axes.size(); ++i)
      axes_.push_back(boost::make_shared<SystemAxis>(facts.axes[i], angular && i < 2));
  }
  std::wstring getName() const override { return name_; }
  int getDimension() const override { return static_cast<int>(axes_.size()); }
  boost::shared_ptr<const cs::CoordinateSystemAxis> getAxis(int index) const override {
    return index >= 0 && index < getDimension() ? axes_[static_cast<std::size_t>(index)] : nullptr;
  }

 private:
  std::wstring name_;
  std::vector<boost::shared_ptr<const cs::CoordinateSystemAxis>> axes_;
};

boost::shared_ptr<const cs::CoordinateSystem> MakeCs(const proj::Facts& facts) {
  switch (facts.csKind) {
    case proj::CsKind::Cartesian:
      return boost::make_shared<SystemOf<cs::CartesianCS>>(facts);
    case proj::CsKind::Ellipsoidal:
      return boost::make_shared<SystemOf<cs::EllipsoidalCS>>(facts);
    case proj::CsKind::Spherical:
      return boost::make_shared<SystemOf<cs::SphericalCS>>(facts);
    case proj::CsKind::Vertical:
      return boost::make_shared<SystemOf<cs::VerticalCS>>(facts);
    case proj::CsKind::Other:
      break;
  }
  return boost::make_shared<SystemOf<cs::CoordinateSystem>>(facts);
}

template <typename Interface>
class NamedDatum final : public Interface {
 public:
  explicit NamedDatum(std::wstring name) : name_(std::move(name)) {}
  std::wstring getName() const override { return name_; }

 private:
  std::wstring name_;
};

/// Shows a record through an interface of a coordinate reference system.
template <typename Interface>
class CrsOf : public Interface, public RecordHolder, public coordinateReferencing::TypedCRS {
 public:
  explicit CrsOf(RecordPtr record) : record_(std::move(record)), cs_(MakeCs(record_->facts)) {}
  std::wstring getName() const override { return Wide(record_->facts.name); }
  std::vector<Identifier> getIdentifiers() const override { return {{record_->authority, record_->code}}; }
  boost::shared_ptr<const cs::CoordinateSystem> getCoordinateSystem() const override { return cs_; }
  std::wstring getTypeWord() const override { return record_->typeWord; }
  const RecordPtr& GetRecord() const override { return record_; }

 private:
  RecordPtr record_;
  boost::shared_ptr<const cs::CoordinateSystem> cs_;
};

template <typename Interface, typename DatumInterface>
class WithDatum final : public CrsOf<Interface> {
 public:
  explicit WithDatum(const RecordPtr& record) : CrsOf<Interface>(record) {
    if (!record->facts.datumName.empty())
      datum_ = boost::make_shared<NamedDatum<DatumInterface>>(Wide(record->facts.datumName));
  }
  boost::shared_ptr<const datum::Datum> getDatum() const override { return datum_; }

 private:
  boost::shared_ptr<const datum::Datum> datum_;
};

class CompoundOf final : public CrsOf<crs::CompoundCRS> {
 public:
  using CrsOf::CrsOf;
  std::vector<crs::CRSPtr> getComponents() const override {
    const Parts& parts = GetRecord()->GetParts();
    std::vector<crs::CRSPtr> components;
    if (parts.projection)
      components.push_back(MakeSystemObject(RegistryForm(BuildRecord(parts.projection, parts.units, nullptr))));
    if (parts.elevation)
      components.push_back(MakeSystemObject(RegistryForm(BuildRecord(nullptr, {}, &*parts.elevation))));
    return components;
  }
};

}  // namespace

crs::CRSPtr MakeSystemObject(RecordPtr record) {
  switch (record->form) {
    case Form::Single:
      return boost::make_shared<WithDatum<crs::SingleCRS, datum::GeodeticDatum>>(record);
    case Form::Vertical:
      return boost::make_shared<WithDatum<crs::VerticalCRS, datum::VerticalDatum>>(record);
    case Form::Compound:
      return boost::make_shared<CompoundOf>(std::move(record));
    case Form::Plain:
      break;
  }
  return boost::make_shared<CrsOf<crs::CoordinateReferenceSystem>>(std::move(record));
}

}  // namespace kprj
