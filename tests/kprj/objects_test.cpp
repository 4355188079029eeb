#include <gtest/gtest.h>

#include "kcommon/kerr.h"
#include "korvenlog/exception.h"
#include "kprj/korvendatum.h"
#include "referencing/crstypes.h"
#include "registry.h"

namespace {

using iso::referencing::crs::CompoundCRS;
using iso::referencing::crs::CRSPtr;
using iso::referencing::crs::SingleCRS;
using iso::referencing::crs::VerticalCRS;
using registry::Crs;
using registry::Translate;

std::wstring AxesOf(const CRSPtr& crs) {
  const auto cs = crs->getCoordinateSystem();
  std::wstring text;
  for (int i = 0; i < cs->getDimension(); ++i) {
    const auto axis = cs->getAxis(i);
    const auto* direction =
        dynamic_cast<const coordinateReferencing::AxisDirectionTypeCodeImpl*>(axis->getDirection().get());
    text += (i ? L", " : L"") + axis->getName() + L" " + (direction ? direction->getName() : L"?") + L" " +
            axis->getUnit()->getName();
  }
  EXPECT_FALSE(cs->getAxis(-1));
  EXPECT_FALSE(cs->getAxis(cs->getDimension()));
  return text;
}

std::wstring DatumOf(const CRSPtr& crs) {
  const auto single = boost::dynamic_pointer_cast<const SingleCRS>(crs);
  return single && single->getDatum() ? single->getDatum()->getName() : L"";
}

/// The interfaces in the order in which they are asked for.
std::wstring FormOf(const CRSPtr& crs) {
  if (boost::dynamic_pointer_cast<const CompoundCRS>(crs)) return L"compound";
  if (boost::dynamic_pointer_cast<const VerticalCRS>(crs)) return L"vertical";
  return boost::dynamic_pointer_cast<const SingleCRS>(crs) ? L"single" : L"plain";
}

struct Row {
  const wchar_t* authority;
  const wchar_t* code;
  const wchar_t* form;
  const wchar_t* type;
  const wchar_t* csType;
  const wchar_t* datum;
  const wchar_t* axes;
};

TEST(Objects, OfRegistries) {
  const Row rows[] = {
      {L"EPSG", L"4326", L"single", L"Geographic", L"Ellipsoidal", L"World Geodetic System 1984",
       L"Geodetic latitude north degree, Geodetic longitude east degree"},
      {L"EPSG", L"4979", L"single", L"Geographic", L"Ellipsoidal", L"World Geodetic System 1984",
       L"Geodetic latitude north degree, Geodetic longitude east degree, Ellipsoidal height up metre"},
      {L"EPSG", L"2263", L"single", L"Projected", L"Cartesian", L"North American Datum 1983",
       L"Easting east US survey foot, Northing north US survey foot"},
      {L"EPSG", L"4807", L"single", L"Geographic", L"Ellipsoidal", L"Nouvelle Triangulation Francaise (Paris)",
       L"Geodetic latitude north grad, Geodetic longitude east grad"},
      {L"EPSG", L"5773", L"vertical", L"Vertical", L"Vertical", L"EGM96 geoid", L"Gravity-related height up metre"},
      {L"EPSG", L"5831", L"vertical", L"Vertical", L"Vertical", L"Instantaneous Water Level", L"Depth down metre"},
      {L"EPSG", L"7405", L"compound", L"Compound", L"Cartesian", L"",
       L"Easting east metre, Northing north metre, Gravity-related height up metre"},
      {L"EPSG", L"4978", L"single", L"Geocentric", L"Cartesian", L"World Geodetic System 1984",
       L"Geocentric X geocentricX metre, Geocentric Y geocentricY metre, Geocentric Z geocentricZ metre"},
      {L"ESRI", L"54009", L"single", L"Projected", L"Cartesian", L"World Geodetic System 1984",
       L"Easting east metre, Northing north metre"},
      {L"ESRI", L"115700", L"vertical", L"Vertical", L"Vertical", L"D_WGS_1984", L"Ellipsoidal height up metre"},
      {L"OGC", L"CRS84", L"single", L"Geographic", L"Ellipsoidal", L"World Geodetic System 1984",
       L"Geodetic longitude east degree, Geodetic latitude north degree"},
      {L"IAU", L"49902", L"single", L"Geodetic", L"Spherical", L"Mars (2015)",
       L"Planetocentric latitude north degree, Planetocentric longitude east degree"},
      {L"IGNF", L"LAMB93", L"single", L"Projected", L"Cartesian", L"Reseau geodesique francais 1993",
       L"Easting east metre, Northing north metre"},
  };
  for (const Row& row : rows) {
    const CRSPtr crs = Crs(row.authority, row.code);
    const std::string what = kstr_ToUtf8(row.code);
    EXPECT_EQ(FormOf(crs), row.form) << what;
    EXPECT_EQ(coordinateReferencing::getCRSType(crs), row.type) << what;
    EXPECT_EQ(coordinateReferencing::getCSType(crs->getCoordinateSystem()), row.csType) << what;
    if (std::wstring(row.code) != L"LAMB93" && std::wstring(row.code) != L"49902") {
      EXPECT_EQ(DatumOf(crs), row.datum) << what;
      EXPECT_EQ(AxesOf(crs), row.axes) << what;
    } else {
      EXPECT_NE(DatumOf(crs), L"") << what;
      EXPECT_EQ(crs->getCoordinateSystem()->getDimension(), 2) << what;
    }
    ASSERT_EQ(crs->getIdentifiers().size(), 1U);
    EXPECT_EQ(crs->getIdentifiers()[0], (iso::referencing::Identifier{row.authority, row.code}));
    EXPECT_EQ(Crs(row.authority, row.code), crs) << "made once";
  }
}

TEST(Objects, DatumsAndUnitsHaveTheirKinds) {
  const auto datumType = [](const wchar_t* code) {
    return coordinateReferencing::getDatumType(
        boost::dynamic_pointer_cast<const SingleCRS>(Crs(L"EPSG", code))->getDatum());
  };
  EXPECT_EQ(datumType(L"4326"), L"Geodetic");
  EXPECT_EQ(datumType(L"5773"), L"Vertical");
  const auto unit = Crs(L"EPSG", L"4979")->getCoordinateSystem()->getAxis(0)->getUnit();
  EXPECT_TRUE(unit->isAngular());
  EXPECT_FALSE(unit->isLinear());
  EXPECT_NEAR(unit->getFactor(), 0.0174532925199433, 1e-15);
  EXPECT_TRUE(Crs(L"EPSG", L"4979")->getCoordinateSystem()->getAxis(2)->getUnit()->isLinear());
  const auto identifiers = Crs(L"EPSG", L"2263")->getCoordinateSystem()->getAxis(0)->getUnit()->getIdentifiers();
  EXPECT_EQ(identifiers, (std::vector<iso::referencing::Identifier>{{L"EPSG", L"9003"}}));
}

TEST(Objects, ACompoundHasItsRegisteredParts) {
  const auto compound = boost::dynamic_pointer_cast<const CompoundCRS>(Crs(L"EPSG", L"7405"));
  ASSERT_TRUE(compound);
  const auto parts = compound->getComponents();
  ASSERT_EQ(parts.size(), 2U);
  EXPECT_EQ(parts[0]->getIdentifiers()[0].code, L"27700");
  EXPECT_EQ(FormOf(parts[0]), L"single");
  EXPECT_EQ(parts[1]->getIdentifiers()[0].code, L"5701");
  EXPECT_EQ(FormOf(parts[1]), L"vertical");
  EXPECT_TRUE(coordinateReferencing::isProjectedCRS(compound));
  EXPECT_FALSE(coordinateReferencing::isGeographicCRS(compound));
}

TEST(Objects, OfTheProjectionLibraryArePlain) {
  const std::pair<const wchar_t*, const wchar_t*> rows[] = {
      {L"4326", L"Geographic"}, {L"4979", L"Geographic"}, {L"32633", L"Projected"}, {L"5773", L"Vertical"},
      {L"7405", L"Projected"},  {L"9707", L"Geographic"}, {L"4978", L"Geocentric"}};
  for (const auto& [code, type] : rows) {
    const CRSPtr crs = Crs(L"KPRJ", Translate(L"EPSG", code, L"KPRJ"));
    EXPECT_EQ(FormOf(crs), L"plain") << kstr_ToUtf8(code);
    EXPECT_EQ(coordinateReferencing::getCRSType(crs), type) << kstr_ToUtf8(code);
    EXPECT_EQ(AxesOf(crs), AxesOf(Crs(L"EPSG", code)));
  }
}

TEST(Objects, TextsAndMonikersAreSingleIn2DAndOverAnEllipsoid) {
  const std::pair<const wchar_t*, const wchar_t*> rows[] = {
      {L"4326", L"single"}, {L"4979", L"single"}, {L"32633", L"single"}, {L"5773", L"plain"}, {L"7405", L"plain"}};
  for (const wchar_t* authority : {L"PRJ", L"GeoKey Moniker"})
    for (const auto& [code, form] : rows)
      EXPECT_EQ(FormOf(Crs(authority, Translate(L"EPSG", code, authority))), form) << kstr_ToUtf8(code);
}

TEST(Objects, TheUnknownOnes) {
  for (const wchar_t* code : {kprj::kUnknown1D, kprj::kUnknown2D, kprj::kUnknown3D}) {
    const CRSPtr crs = Crs(L"KPRJ", code);
    EXPECT_EQ(FormOf(crs), L"plain");
    EXPECT_EQ(coordinateReferencing::getCRSType(crs), L"Unknown");
    EXPECT_EQ(registry::CodeOf(crs), code);
    EXPECT_EQ(crs->getCoordinateSystem()->getAxis(0)->getUnit()->getName(), L"other");
    for (const wchar_t* to : {L"EPSG", L"PRJ", L"GeoKey Moniker"}) EXPECT_EQ(Translate(L"KPRJ", code, to), L"");
  }
  EXPECT_EQ(AxesOf(Crs(L"KPRJ", kprj::kUnknown3D)), L"X unknown other, Y unknown other, Height unknown other");
}

TEST(Objects, ACodeThatMakesNoneIsToldWithTheNearest) {
  const struct {
    const wchar_t* authority;
    const wchar_t* code;
    const wchar_t* words;
  } rows[] = {
      {L"EPSG", L"432600",
       L"The authority \"EPSG\" has no coordinate reference system with the code \"432600\"; the nearest known one is "
       L"\""},
      {L"EPSG", L"04326",
       L"has no coordinate reference system with the code \"04326\"; the nearest known one is \"4326\"."},
      {L"EPSG", L" 4326", L"the nearest known one is \"4326\"."},
      {L"EPSG", L"WGS 84", L"has no coordinate reference system with the code \"WGS 84\""},
      {L"EPSG", L"", L"has no coordinate reference system with the code \"\""},
      {L"ESRI", L"5400", L"The authority \"ESRI\" has no"},
      {L"KPRJ", L"nonsense",
       L"The code \"nonsense\" of the authority \"KPRJ\" makes no coordinate reference system: it begins neither with"},
      {L"GeoKey Moniker", L"1024=1",
       L"makes no coordinate reference system: the key 3072 is missing, or no code of EPSG."},
      {L"PRJ", L"/nowhere/x.prj", L"it is neither the text of a projection file nor the name of a file that is there."},
  };
  for (const auto& row : rows) {
    const std::wstring words = coordinateReferencing::ExplainMissingCRS(row.authority, row.code);
    EXPECT_NE(words.find(row.words), std::wstring::npos) << kstr_ToUtf8(words);
    const auto factory = coordinateReferencing::ReferencingFactoryFinder::getCRSAuthorityFactory(row.authority);
    EXPECT_FALSE(factory->tryCreateCoordinateReferenceSystem(row.code));
    EXPECT_THROW(factory->createCoordinateReferenceSystem(row.code), KorvenLog::Exception);
  }
  EXPECT_EQ(coordinateReferencing::ExplainMissingCRS(L"EPSG", L"4326"), L"");
}

TEST(Datums, AreKnownByAnyName) {
  const auto& manager = KorvenDatum::DatumManager::GetInstance();
  const struct {
    const wchar_t* name;
    int type;
    const wchar_t* base;
    const wchar_t* spheroid;
  } rows[] = {
      {L"World Geodetic System 1984", 0, L"World Geodetic System 1984", L"WGS 84"},
      {L"D_WGS_1984", 0, L"World Geodetic System 1984", L"WGS 84"},
      {L"North American Datum 1983", 0, L"North American Datum 1983", L"GRS 1980"},
      {L"Ordnance Survey of Great Britain 1936", 0, L"Ordnance Survey of Great Britain 1936", L"Airy 1830"},
      {L"EGM96 geoid", 1, L"", L""},
      {L"North American Vertical Datum 1988", 1, L"", L""},
      {L"Unknown", 2, L"", L""},
      {L"", 2, L"", L""},
  };
  KerrException error(L"test", L"Datums");
  for (const auto& row : rows) {
    EXPECT_EQ(manager.GetDatumType(row.name), row.type) << kstr_ToUtf8(row.name);
    EXPECT_EQ(manager.GetBaseEllipsoidDatumName(row.name), row.base) << kstr_ToUtf8(row.name);
    EXPECT_EQ(kprj_GetSpheroidNameByDatumName(kint_GetInit(), row.name, error), row.spheroid) << kstr_ToUtf8(row.name);
  }
  EXPECT_FALSE(error.IsPending());
}

}  // namespace
