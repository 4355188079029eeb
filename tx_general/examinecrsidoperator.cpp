#include <stdexcept>
#include <string>

#include "localcrs.h"

namespace korven::tx_general {

inline constexpr OperatorSheet kExamineCRSID{
    .name = L"ExamineCRSID",
    .displayName = L"Examine CRS ID",
    .category = L"General",
    .icon = L"OpCategory_DataGeneration.ico",
    .description = L"Exposes a subset of the parameters that define the CRS that is indicated by the input CRS ID",
    .keywords = L"CRS|Datum|VerticalCRS|VerticalDatum|units|direction|Georeferencing|Coordinate Reference System",
};

namespace {

namespace iso_crs = iso::referencing::crs;
using AxisPtr = boost::shared_ptr<const iso::referencing::cs::CoordinateSystemAxis>;
using SystemPtr = boost::shared_ptr<const iso::referencing::cs::CoordinateSystem>;
using DatumPtr = boost::shared_ptr<const iso::referencing::datum::Datum>;

DataPtr TextOf(const std::wstring& text) { return MakeData<StringData>(text); }

/// Sorts a system into one of the two. What is neither is seen through an adapter.
void GetSingleOrVertical(const CRSPtr& crs, boost::shared_ptr<const iso_crs::SingleCRS>& horizontal,
                         boost::shared_ptr<const iso_crs::VerticalCRS>& vertical) {
  if (boost::dynamic_pointer_cast<const iso_crs::CompoundCRS>(crs))
    throw std::runtime_error("CompoundCRS not yet supported");
  vertical = boost::dynamic_pointer_cast<const iso_crs::VerticalCRS>(crs);
  if (vertical) return;
  horizontal = boost::dynamic_pointer_cast<const iso_crs::SingleCRS>(crs);
  if (horizontal) return;
  if (crs->getCoordinateSystem()->getDimension() == 1)
    vertical = boost::make_shared<LocalVerticalCRSImpl>(crs);
  else
    horizontal = boost::make_shared<LocalSingleCRSImpl>(crs);
}

std::wstring UnitsOfAxis(const AxisPtr& axis) { return axis ? axis->getUnit()->getName() : std::wstring(); }

std::wstring DirectionOfAxis(const AxisPtr& axis) {
  if (!axis) return L"unknown";
  const auto named =
      boost::dynamic_pointer_cast<const coordinateReferencing::AxisDirectionTypeCodeImpl>(axis->getDirection());
  return named ? named->getName() : L"unknown";
}

std::wstring NameOfDatum(const DatumPtr& datum) { return datum ? datum->getName() : L"Undefined"; }

DataPtr DescribeSystem(const SystemPtr& system) {
  DataList axes;
  for (int i = 0; i < system->getDimension(); ++i) {
    const AxisPtr axis = system->getAxis(i);
    Dictionary description;
    description.SetItem(L"Name", TextOf(axis->getName()));
    description.SetItem(L"Unit", TextOf(UnitsOfAxis(axis)));
    description.SetItem(L"Direction", TextOf(DirectionOfAxis(axis)));
    axes.push_back(MakeData<DictionaryData>(std::move(description)));
  }
  Dictionary description;
  description.SetItem(L"Dimension", MakeData<UnsignedData>(static_cast<unsigned>(system->getDimension())));
  description.SetItem(L"Axes", MakeData<DataListData>(std::move(axes)));
  description.SetItem(L"CoordinateSystemType", TextOf(coordinateReferencing::getCSType(system)));
  return MakeData<DictionaryData>(std::move(description));
}

DataPtr DescribeDatum(const DatumPtr& datum, const std::wstring& typeOfCRS) {
  Dictionary description;
  description.SetItem(L"Name", TextOf(NameOfDatum(datum)));
  description.SetItem(L"Type", TextOf(coordinateReferencing::getDatumType(datum)));
  // The same word for every vertical system, whatever its datum is.
  if (typeOfCRS == L"Vertical") description.SetItem(L"VerticalDatumType", TextOf(L"Ellipsoidal"));
  return MakeData<DictionaryData>(std::move(description));
}

Dictionary DescribeCRS(const iso_crs::CoordinateReferenceSystem& crs, const DatumPtr& datum,
                       const std::wstring& typeOfCRS) {
  Dictionary description;
  description.SetItem(L"CoordinateSystem", DescribeSystem(crs.getCoordinateSystem()));
  description.SetItem(L"Datum", DescribeDatum(datum, typeOfCRS));
  description.SetItem(L"CoordinateReferenceSystemType", TextOf(typeOfCRS));
  return description;
}

}  // namespace

class ExamineCRSIDOperator : public Described<kExamineCRSID> {
 public:
  void DeclarePorts() override {
    CreateCRSPort(*this, L"CRS", PortType::Input);
    for (const wchar_t* name :
         {L"HorizontalUnits", L"HorizontalDatum", L"VerticalUnits", L"VerticalAxisDirection", L"VerticalDatum"})
      CreatePort(name, StringData::DefaultTypeName(), PortType::Output);
    CreatePort(L"CRSParameters", DictionaryData::DefaultTypeName(), PortType::Output);
  }

 protected:
  void OnExecute() override {
    const CRSPtr crs = GetPortDataAs<CRSID>(RequirePort(*this, L"CRS"))->CreateCoordinateReferenceSystem();
    if (!crs) return;
    boost::shared_ptr<const iso_crs::SingleCRS> horizontal;
    boost::shared_ptr<const iso_crs::VerticalCRS> vertical;
    GetSingleOrVertical(crs, horizontal, vertical);
    if (horizontal && vertical) throw std::runtime_error("Discrete VerticalCRS not yet supported");
    if (horizontal)
      TellHorizontal(crs, *horizontal);
    else if (vertical)
      TellVertical(vertical);
  }

 private:
  void TellHorizontal(const CRSPtr& crs, const iso_crs::SingleCRS& horizontal) {
    const SystemPtr system = horizontal.getCoordinateSystem();
    const DatumPtr datum = horizontal.getDatum();
    Write(L"HorizontalUnits", UnitsOfAxis(system->getAxis(0)));
    Write(L"HorizontalDatum", NameOfDatum(datum));
    const std::wstring type = coordinateReferencing::getCRSType(crs);
    if (system->getDimension() > 2) {
      const AxisPtr axis = system->getAxis(2);
      const std::wstring units = UnitsOfAxis(axis);
      if (!units.empty()) {
        Write(L"VerticalUnits", units);
        Write(L"VerticalAxisDirection", DirectionOfAxis(axis));
        Write(L"VerticalDatum", type == L"Unknown" ? L"Undefined" : NameOfDatum(LocalVerticalCRSImpl(crs).getDatum()));
      }
    }
    WritePort(*this, L"CRSParameters", DescribeCRS(horizontal, datum, type));
  }

  void TellVertical(const boost::shared_ptr<const iso_crs::VerticalCRS>& vertical) {
    const AxisPtr axis = vertical->getCoordinateSystem()->getAxis(0);
    const DatumPtr datum = vertical->getDatum();
    Write(L"HorizontalUnits", {});
    Write(L"HorizontalDatum", {});
    Write(L"VerticalUnits", UnitsOfAxis(axis));
    Write(L"VerticalAxisDirection", DirectionOfAxis(axis));
    Write(L"VerticalDatum", NameOfDatum(datum));
    WritePort(*this, L"CRSParameters", DescribeCRS(*vertical, datum, coordinateReferencing::getCRSType(vertical)));
  }

  void Write(const wchar_t* port, const std::wstring& text) { WritePort(*this, port, text); }
};

TX_GENERAL_FACTORY(ExamineCRSIDOperator)

}  // namespace korven::tx_general
