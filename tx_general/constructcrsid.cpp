#include <optional>
#include <stdexcept>
#include <string>

#include "crsports.h"
#include "kcommon/kerr.h"
#include "kcommon/kstr.h"
#include "kprj/korvendatum.h"
#include "referencing/crstypes.h"
#include "txgeospatiallib/crsutils.h"
#include "txlib/factories.h"

namespace korven::tx_general {

inline constexpr OperatorSheet kConstructCRSID{
    .name = L"ConstructCRSID",
    .displayName = L"Construct CRS ID",
    .category = L"General",
    .icon = L"OpCategory_DataGeneration.ico",
    .description =
        L"Construct a CRS ID from Horizontal, Vertical, identifiers and/or units and/or authority translation",
    .keywords =
        L"CRS|HorizontalCRS|VerticalCRS|VerticalDatum|GeodeticDatum|units|authority|Coordinate Reference System",
    .usableInExpression = false,
};

namespace {

constexpr const wchar_t* kConstructSource = L"tx_general\\constructcrsid";
constexpr const wchar_t* kHorizontalUnitsProvider = L"ConstructCRSIDHorizontalUnitsPortProvider";

/// Kinds of Tamrin::TesseraGeospatial::CRSUtils::GetUnitNames.
constexpr int kUnitsOfGeographic = 10;
constexpr int kUnitsOfProjected = 12;
constexpr int kAllUnits = 14;

DataPtr UnitNameList(int kind) {
  return MakeData<StringListData>(Tamrin::TesseraGeospatial::CRSUtils::GetUnitNames(kind));
}

bool IsLinearUnit(const std::wstring& name, KerrException& error) {
  const bool isLinear = kprj_IsLinearUnitByName(name, error) == 1;
  error.Check(__LINE__);
  return isLinear;
}

bool IsAngularUnit(const std::wstring& name, KerrException& error) {
  const bool isAngular = kprj_IsAngularUnitByName(name, error) == 1;
  error.Check(__LINE__);
  return isAngular;
}

std::optional<CRSID> TranslateToAuthority(const CRSID& id, const std::wstring& authority, bool insist) {
  if (id.GetAuthority() == authority) return id;
  const std::wstring code = TranslatedCode(id, authority);
  if (!code.empty()) return CRSID(authority, code);
  if (insist)
    throw std::runtime_error(kstr_ToUtf8(L"Unable to translate CRS code " + id.GetCode() + L" (authority " +
                                         id.GetAuthority() + L") to authority " + authority));
  return std::nullopt;
}

/// Gives the elevation these units. An empty one becomes that of the unknown vertical system first.
void SetVUnits(kprj::ElevationHolder& elevation, const std::wstring& units, const kprj::ICRSFactory& factory) {
  KerrException error(kConstructSource, L"`anonymous-namespace'::SetVUnits");
  if (!elevation) {
    kprj::ProjectionHolder projection;
    std::wstring horizontalUnits;
    factory.SplitCRS(factory.createCoordinateReferenceSystem(kprj::kUnknown1D), projection, horizontalUnits, elevation);
  }
  kprj_ElevationInfoUnitSet(elevation.get(), units, error);
  error.Check(__LINE__);
}

const wchar_t* WordOfElevationType(std::int32_t type) {
  return type == KprjHeight ? L"Height" : type == KprjDepth ? L"Depth" : L"Unknown";
}

/// Heights over an ellipsoid are those over the ellipsoid of the horizontal datum: an elevation that says otherwise is
/// replaced, and a note for the user comes back. Empty where all is well.
std::wstring PossiblyCorrectElevInfoForEllipsoidalHeight(kprj::ElevationHolder& elevation,
                                                         const kprj::ProjectionHolder& projection) {
  KerrException error(kConstructSource, L"`anonymous-namespace'::PossiblyCorrectElevInfoForEllipsoidalHeight");
  if (!projection) return {};
  const auto& datums = KorvenDatum::DatumManager::GetInstance();
  if (datums.GetDatumType(elevation->datumName) != KorvenDatum::DatumManager::Ellipsoidal) return {};
  const auto* parameters = kprj_MapProjectionCSRGet(projection.get(), L"Kprj_ProParameters");
  if (!parameters) return {};
  const std::wstring base = datums.GetBaseEllipsoidDatumName(parameters->spheroid.datumName);
  if (base.empty() || base == elevation->datumName) return {};

  const std::wstring spheroid = kprj_GetSpheroidNameByDatumName(kint_GetInit(), base, error);
  error.Check(__LINE__);
  std::wstring note = L"The specified vertical ellispoidal datum (" + elevation->datumName +
                      L") does not match the horizontal base ellipsoidal datum (" + base +
                      L") which will be retained in the constructed 3D CRSID;" +
                      L" ellipsoidal heights will be based on " + spheroid;
  elevation.reset(kprj_ElevationInfoCreateByName(spheroid, base, elevation->unitsName,
                                                 WordOfElevationType(elevation->elevationType), error));
  error.Check(__LINE__);
  return note;
}

}  // namespace

class ConstructCRSID : public Described<kConstructCRSID> {
 public:
  void DeclarePorts() override {
    CreateCRSInput(L"HorizontalCRS", L"2D");
    CreateUnitsInput(L"HorizontalUnits", kAllUnits)->SetUIProvider(kHorizontalUnitsProvider, L"VANTIX");
    CreateCRSInput(L"VerticalCRS", L"1D");
    CreateUnitsInput(L"VerticalUnits", kUnitsOfProjected);
    Hidden(Optional(CreatePort(L"Authority", StringData::DefaultTypeName(), PortType::Input)));
    CreateCRSPort(*this, L"CRS", PortType::Output);
  }

 protected:
  void OnExecute() override {
    KerrException error(kConstructSource, L"korven::tx_general::ConstructCRSID::OnExecute");
    const Inputs inputs = ReadInputs();
    if (inputs.verticalUnits && IsAngularUnit(*inputs.verticalUnits, error))
      error.Throw(__LINE__, L"VerticalUnits is invalid!");
    const auto factory = PartsFactory();
    kprj::ProjectionHolder projection;
    const std::wstring units = HorizontalStage(inputs, *factory, projection, error);
    kprj::ElevationHolder elevation;
    VerticalStage(inputs, *factory, projection, elevation);
    const CRSID candidate(factory->CreateCRSFromParts(projection.get(), units, elevation.get()));
    const auto id = ChooseAuthority(candidate, inputs);
    RequirePort(*this, L"CRS")->SetData(id ? MakeData<CRSIDData>(*id) : nullptr);
  }

 private:
  struct Inputs {
    boost::shared_ptr<CRSID> horizontal;
    boost::shared_ptr<CRSID> vertical;
    std::optional<std::wstring> horizontalUnits;
    std::optional<std::wstring> verticalUnits;
    std::optional<std::wstring> authority;
  };

  void CreateCRSInput(const wchar_t* name, const wchar_t* dimension) {
    Optional(CreateCRSPort(*this, name, PortType::Input))->SetAttribute(L"Dimension", MakeData<StringData>(dimension));
  }

  PortPtr CreateUnitsInput(const wchar_t* name, int kind) {
    const auto port = Optional(CreatePort(name, StringData::DefaultTypeName(), PortType::Input));
    port->SetAttribute(L"AcceptableValues", UnitNameList(kind));
    return port;
  }

  std::optional<std::wstring> ReadText(const wchar_t* port) {
    const DataPtr data = RequirePort(*this, port)->GetData();
    return data ? std::optional(data->ToString()) : std::nullopt;
  }

  /// Data that is no identifier counts as none, but is told.
  boost::shared_ptr<CRSID> ReadId(const wchar_t* name) {
    const PortPtr& port = RequirePort(*this, name);
    auto id = GetPortDataAs<CRSID>(port, true);
    if (!id && port->GetData())
      SetWarningMessage(L"No appropriate data found on port(" + port->GetDisplayName() + L").");
    return id;
  }

  Inputs ReadInputs() {
    return {ReadId(L"HorizontalCRS"), ReadId(L"VerticalCRS"), ReadText(L"HorizontalUnits"), ReadText(L"VerticalUnits"),
            ReadText(L"Authority")};
  }

  /// The warning tells what the error that follows does not.
  CRSPtr CreateOrWarn(const CRSID& id) {
    CRSPtr crs = id.CreateCoordinateReferenceSystem();
    if (!crs) SetWarningMessage(WhyMissing(id));
    return crs;
  }

  [[noreturn]] void RefuseHorizontalUnits(const std::wstring& units, KerrException& error) {
    if (kprj_GetUnitName(units).empty()) {
      const std::wstring nearest = kstr_NearestName(units, kprj_GetUnitNames(kAllUnits));
      SetWarningMessage(L"No unit has the name \"" + units + L"\"" +
                        (nearest.empty() ? L"." : L"; the nearest known one is \"" + nearest + L"\"."));
    }
    error.Throw(__LINE__, L"HorizontalUnits is invalid!");
  }

  /// Gives the units, and the projection where there is a horizontal system.
  std::wstring HorizontalStage(const Inputs& inputs, const kprj::ICRSFactory& factory,
                               kprj::ProjectionHolder& projection, KerrException& error) {
    std::wstring units;
    if (inputs.horizontal) {
      kprj::ElevationHolder dropped;
      factory.SplitCRS(CreateOrWarn(*inputs.horizontal), projection, units, dropped);
      if (units.empty()) throw std::runtime_error("Improper HorizontalCRS specified");
    }
    if (inputs.horizontalUnits) {
      const std::wstring& wanted = *inputs.horizontalUnits;
      const bool isInvalid =
          inputs.horizontal ? IsLinearUnit(wanted, error) != IsLinearUnit(units, error) : IsAngularUnit(wanted, error);
      if (isInvalid) RefuseHorizontalUnits(wanted, error);
      if (wanted.empty()) throw std::runtime_error("Unable to copy horizontal units");
      return wanted;
    }
    if (inputs.horizontal || inputs.vertical || inputs.verticalUnits) return units;
    return kprj_UnitsNameOther();
  }

  void VerticalStage(const Inputs& inputs, const kprj::ICRSFactory& factory, const kprj::ProjectionHolder& projection,
                     kprj::ElevationHolder& elevation) {
    if (inputs.vertical) {
      kprj::ProjectionHolder dropped;
      std::wstring droppedUnits;
      factory.SplitCRS(CreateOrWarn(*inputs.vertical), dropped, droppedUnits, elevation);
      if (!elevation) throw std::runtime_error("Improper VerticalCRS specified");
      const std::wstring note = PossiblyCorrectElevInfoForEllipsoidalHeight(elevation, projection);
      if (!note.empty()) SetInfoMessage(note);
    }
    if (inputs.verticalUnits)
      SetVUnits(elevation, *inputs.verticalUnits, factory);
    else if (!inputs.vertical && !inputs.horizontal && !inputs.horizontalUnits)
      SetVUnits(elevation, kprj_UnitsNameOther(), factory);
  }

  static std::optional<CRSID> ChooseAuthority(const CRSID& candidate, const Inputs& inputs) {
    if (inputs.authority) return TranslateToAuthority(candidate, *inputs.authority, false);
    const auto authorityOf = [](const boost::shared_ptr<CRSID>& id) {
      return id ? id->GetAuthority() : std::wstring();
    };
    for (const std::wstring& authority :
         {authorityOf(inputs.horizontal), authorityOf(inputs.vertical), std::wstring(L"GeoKey Moniker")}) {
      if (authority.empty()) continue;
      if (auto id = TranslateToAuthority(candidate, authority, false)) return id;
    }
    return TranslateToAuthority(candidate, L"KPRJ", true);
  }
};

TX_GENERAL_FACTORY(ConstructCRSID)

/// Offers the units that go with the horizontal system of the operator.
class ConstructCRSIDHorizontalUnitsPortProvider : public UIProvider {
 public:
  const wchar_t* Name() const override { return kHorizontalUnitsProvider; }
  using UIProvider::ShowDialog;
  bool ShowDialog(const PortPtr& port) override {
    KerrException error(kConstructSource, L"korven::tx_general::ConstructCRSIDHorizontalUnitsPortProvider::ShowDialog");
    AttributeMap attributes = port->GetAttributeMap();
    attributes[L"AcceptableValues"] = UnitNameList(KindOfUnits(*port));
    DataPtr chosen;
    const bool isAccepted = UIProviderFactory::ShowDialog(StringData::DefaultTypeName(), port->GetName(),
                                                          port->GetData(), attributes, chosen);
    error.Check(__LINE__);
    if (isAccepted) port->SetData(chosen);
    return isAccepted;
  }

 private:
  static int KindOfUnits(const Port& port) {
    const auto op = port.TryGetOperator();
    const auto id = op ? GetPortDataAs<CRSID>(RequirePort(*op, L"HorizontalCRS"), true) : nullptr;
    const CRSPtr crs = id ? id->CreateCoordinateReferenceSystem() : nullptr;
    if (!crs) return kAllUnits;
    if (coordinateReferencing::isGeographicCRS(crs)) return kUnitsOfGeographic;
    return coordinateReferencing::isProjectedCRS(crs) ? kUnitsOfProjected : kAllUnits;
  }
};

TX_GENERAL_FACTORY(ConstructCRSIDHorizontalUnitsPortProvider)

}  // namespace korven::tx_general
