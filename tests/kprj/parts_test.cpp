#include <gtest/gtest.h>

#include "kcommon/kerr.h"
#include "korvenlog/exception.h"
#include "referencing/crstypes.h"
#include "registry.h"

namespace {

using iso::referencing::crs::CRSPtr;
using registry::CodeOf;
using registry::Crs;
using registry::Kprj;
using registry::Translate;

struct Parts {
  kprj::ProjectionHolder projection;
  std::wstring units = L"left over";
  kprj::ElevationHolder elevation{new Kprj_ElevationInfo};

  Parts(const wchar_t* authority, const std::wstring& code) : Parts(Crs(authority, code)) {}
  explicit Parts(const CRSPtr& crs) { Kprj()->SplitCRS(crs, projection, units, elevation); }

  std::wstring ProjectionName() const {
    const auto* record = kprj_MapProjectionCSRGet(projection.get(), L"Kprj_ProParameters");
    return record ? record->name : L"-";
  }
  std::wstring ElevationText() const {
    if (!elevation) return L"-";
    return elevation->datumName + L"|" + elevation->spheroidName + L"|" + elevation->unitsName + L"|" +
           std::to_wstring(elevation->elevationType);
  }
};

CRSPtr Build(const Parts& horizontal, const std::wstring& units, const Kprj_ElevationInfo* elevation) {
  return Kprj()->CreateCRSFromParts(horizontal.projection.get(), units, elevation);
}

std::wstring EpsgOf(const CRSPtr& crs) { return Translate(L"KPRJ", CodeOf(crs), L"EPSG"); }

TEST(Split, PartsOfKnownSystems) {
  const struct {
    const wchar_t* authority;
    const wchar_t* code;
    const wchar_t* projection;
    const wchar_t* units;
    const wchar_t* elevation;
  } rows[] = {
      {L"EPSG", L"4326", L"WGS 84", L"degree", L"-"},
      {L"EPSG", L"4979", L"WGS 84", L"degree", L"World Geodetic System 1984|WGS 84|metre|0"},
      {L"EPSG", L"32633", L"WGS 84 / UTM zone 33N", L"metre", L"-"},
      {L"EPSG", L"2263", L"NAD83 / New York Long Island (ftUS)", L"US survey foot", L"-"},
      {L"EPSG", L"4807", L"NTF (Paris)", L"grad", L"-"},
      {L"EPSG", L"5773", L"-", L"", L"EGM96 geoid||metre|0"},
      {L"EPSG", L"5703", L"-", L"", L"North American Vertical Datum 1988||metre|0"},
      {L"EPSG", L"6360", L"-", L"", L"North American Vertical Datum 1988||US survey foot|0"},
      {L"EPSG", L"5831", L"-", L"", L"Instantaneous Water Level||metre|1"},
      {L"EPSG", L"7405", L"OSGB36 / British National Grid", L"metre", L"Ordnance Datum Newlyn||metre|0"},
      {L"ESRI", L"115700", L"-", L"", L"World Geodetic System 1984|WGS 84|metre|0"},
      {L"EPSG", L"4978", L"-", L"", L"-"},
      {L"IAU_2015", L"49902", L"-", L"", L"-"},
      {L"KPRJ", kprj::kUnknown1D, L"-", L"", L"Unknown||other|2"},
      {L"KPRJ", kprj::kUnknown2D, L"-", L"other", L"-"},
      {L"KPRJ", kprj::kUnknown3D, L"-", L"other", L"Unknown||other|2"},
  };
  for (const auto& row : rows) {
    const Parts parts(row.authority, row.code);
    EXPECT_EQ(parts.ProjectionName(), row.projection) << kstr_ToUtf8(row.code);
    EXPECT_EQ(parts.units, row.units) << kstr_ToUtf8(row.code);
    EXPECT_EQ(parts.ElevationText(), row.elevation) << kstr_ToUtf8(row.code);
  }
  const Parts none{CRSPtr()};
  EXPECT_EQ(none.ProjectionName() + none.units + none.ElevationText(), L"--");
}

TEST(Split, TheRecordOfAProjection) {
  const Parts parts(L"EPSG", L"32633");
  EXPECT_FALSE(kprj_MapProjectionCSRGet(parts.projection.get(), L"Other"));
  EXPECT_FALSE(kprj_MapProjectionCSRGet(nullptr, L"Kprj_ProParameters"));
  const auto* record = kprj_MapProjectionCSRGet(parts.projection.get(), L"Kprj_ProParameters");
  ASSERT_TRUE(record);
  EXPECT_EQ(record->method, L"Transverse Mercator");
  ASSERT_EQ(record->parameters.size(), 5U);
  EXPECT_EQ(record->parameters[1].name, L"Longitude of natural origin");
  EXPECT_EQ(record->parameters[1].value, 15);
  EXPECT_EQ(record->parameters[1].unitsName, L"degree");
  EXPECT_EQ(record->parameters[3].value, 500000);
  EXPECT_EQ(record->spheroid.name, L"WGS 84");
  EXPECT_EQ(record->spheroid.semiMajorAxis, 6378137);
  EXPECT_NEAR(record->spheroid.semiMinorAxis, 6356752.314245, 1e-6);
  EXPECT_EQ(record->spheroid.datumName, L"World Geodetic System 1984");
  EXPECT_EQ(record->unitsName, L"metre");
  KerrException error(L"test", L"Record");
  const kprj::ProParametersHolder copy(kprj_ProParametersCopy(record, error));
  EXPECT_EQ(copy->definition, record->definition);
  EXPECT_FALSE(kprj_ProParametersCopy(nullptr, error));
  EXPECT_TRUE(error.IsPending());
}

TEST(Build, WhatARegistryHasIsItsOwnAgain) {
  const Parts utm(L"EPSG", L"32633"), wgs(L"EPSG", L"4326"), grid(L"EPSG", L"27700"), long_island(L"EPSG", L"2263");
  const Parts egm(L"EPSG", L"5773"), newlyn(L"EPSG", L"5701"), ellipsoidal(L"ESRI", L"115700");
  Parts navd(L"EPSG", L"5703");
  EXPECT_EQ(CodeOf(Build(utm, L"metre", nullptr)),
            L"VANTIX/Predefined/Coordinate Reference Systems/2D/EPSG Projected/"
            L"WGS 84 %2F UTM zone 33N [EPSG:32633]");
  EXPECT_EQ(EpsgOf(Build(grid, grid.units, newlyn.elevation.get())), L"7405");
  EXPECT_EQ(EpsgOf(Build(wgs, wgs.units, egm.elevation.get())), L"9707");
  EXPECT_EQ(EpsgOf(Build(wgs, wgs.units, ellipsoidal.elevation.get())), L"4979");
  KerrException error(L"test", L"Build");
  kprj_ElevationInfoUnitSet(navd.elevation.get(), L"us-ft", error);
  EXPECT_EQ(EpsgOf(Build(long_island, long_island.units, navd.elevation.get())), L"8767");
  EXPECT_EQ(EpsgOf(Kprj()->CreateCRSFromParts(nullptr, L"", navd.elevation.get())), L"6360");
  kprj_ElevationInfoUnitSet(navd.elevation.get(), L"foot", error);
  EXPECT_EQ(EpsgOf(Kprj()->CreateCRSFromParts(nullptr, L"", navd.elevation.get())), L"8228");
  EXPECT_FALSE(error.IsPending());
}

TEST(Build, OtherUnitsMakeAnotherSystem) {
  const Parts long_island(L"EPSG", L"2263"), utm(L"EPSG", L"32633"), california(L"EPSG", L"2226");
  EXPECT_EQ(EpsgOf(Build(long_island, L"metre", nullptr)), L"32118");
  EXPECT_EQ(EpsgOf(Build(california, L"Meter", nullptr)), L"26942");
  EXPECT_EQ(EpsgOf(Build(Parts(L"EPSG", L"32118"), L"US survey foot", nullptr)), L"2263");
  EXPECT_EQ(EpsgOf(Build(long_island, L"foot", nullptr)), L"");
  const CRSPtr feet = Build(utm, L"US survey foot", nullptr);
  EXPECT_EQ(EpsgOf(feet), L"");
  EXPECT_EQ(feet->getName(), L"WGS 84 / UTM zone 33N (US survey foot)");
  EXPECT_EQ(feet->getCoordinateSystem()->getAxis(0)->getUnit()->getName(), L"US survey foot");
  const Parts again(feet);
  EXPECT_EQ(again.units, L"US survey foot");
  EXPECT_EQ(again.ProjectionName(), L"WGS 84 / UTM zone 33N") << "the projection stays in its own units";
  const CRSPtr grads = Build(Parts(L"EPSG", L"4326"), L"grad", nullptr);
  EXPECT_EQ(grads->getCoordinateSystem()->getAxis(1)->getUnit()->getName(), L"grad");
  EXPECT_EQ(EpsgOf(grads), L"");
}

TEST(Build, HeightsAndDepthsInOtherUnits) {
  KerrException error(L"test", L"Build");
  const Parts utm(L"EPSG", L"32633"), wgs(L"EPSG", L"4326");
  for (const Parts* horizontal : {&utm, &wgs}) {
    Parts height(L"ESRI", L"115700");
    kprj_ElevationInfoUnitSet(height.elevation.get(), L"Foot_US", error);
    const CRSPtr crs = Build(*horizontal, horizontal->units, height.elevation.get());
    const auto cs = crs->getCoordinateSystem();
    ASSERT_EQ(cs->getDimension(), 3);
    EXPECT_EQ(cs->getAxis(0)->getUnit()->getName(), horizontal->units);
    EXPECT_EQ(cs->getAxis(2)->getUnit()->getName(), L"US survey foot");
    EXPECT_EQ(Parts(crs).ElevationText(), L"World Geodetic System 1984|WGS 84|US survey foot|0");
    EXPECT_EQ(EpsgOf(crs), L"");
    const Parts read(Crs(L"KPRJ", CodeOf(crs)));
    EXPECT_EQ(read.ElevationText(), Parts(crs).ElevationText());
  }
  Parts meanSea(L"EPSG", L"5715");
  kprj_ElevationInfoUnitSet(meanSea.elevation.get(), L"foot", error);
  EXPECT_EQ(EpsgOf(Kprj()->CreateCRSFromParts(nullptr, L"", meanSea.elevation.get())), L"8051");
  Parts depth(L"EPSG", L"5831");
  kprj_ElevationInfoUnitSet(depth.elevation.get(), L"fathom", error);
  const CRSPtr fathoms = Kprj()->CreateCRSFromParts(nullptr, L"", depth.elevation.get());
  EXPECT_EQ(coordinateReferencing::getCRSType(fathoms), L"Vertical");
  EXPECT_EQ(Parts(fathoms).ElevationText(), L"Instantaneous Water Level||fathom|1");
  EXPECT_FALSE(error.IsPending());
}

TEST(Build, DepthsBelowAnEllipsoid) {
  Parts height(L"ESRI", L"115700");
  height.elevation->elevationType = KprjDepth;
  const CRSPtr crs = Build(Parts(L"EPSG", L"4326"), L"degree", height.elevation.get());
  const Parts again(Crs(L"KPRJ", CodeOf(crs)));
  EXPECT_EQ(again.ElevationText(), L"World Geodetic System 1984|WGS 84|metre|1");
  const Parts text(Crs(L"PRJ", Translate(L"KPRJ", CodeOf(crs), L"PRJ")));
  EXPECT_EQ(text.ElevationText(), L"World Geodetic System 1984|WGS 84|metre|1");
}

TEST(Build, LocalSystems) {
  KerrException error(L"test", L"Build");
  const auto kprj = Kprj();
  Parts unknown(L"KPRJ", kprj::kUnknown1D);
  EXPECT_EQ(CodeOf(kprj->CreateCRSFromParts(nullptr, L"other", nullptr)), kprj::kUnknown2D);
  EXPECT_EQ(CodeOf(kprj->CreateCRSFromParts(nullptr, L"other", unknown.elevation.get())), kprj::kUnknown3D);
  EXPECT_EQ(CodeOf(kprj->CreateCRSFromParts(nullptr, L"", unknown.elevation.get())), kprj::kUnknown1D);

  kprj_ElevationInfoUnitSet(unknown.elevation.get(), L"metre", error);
  const struct {
    CRSPtr crs;
    const wchar_t* type;
    int dimension;
  } rows[] = {
      {kprj->CreateCRSFromParts(nullptr, L"", unknown.elevation.get()), L"Vertical", 1},
      {kprj->CreateCRSFromParts(nullptr, L"foot", nullptr), L"Engineering", 2},
      {kprj->CreateCRSFromParts(nullptr, L"foot", unknown.elevation.get()), L"Engineering", 3},
      {Build(Parts(L"EPSG", L"32633"), L"metre", unknown.elevation.get()), L"Projected", 3},
      {Build(Parts(L"EPSG", L"4326"), L"other", nullptr), L"Geographic", 2},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(coordinateReferencing::getCRSType(row.crs), row.type);
    EXPECT_EQ(row.crs->getCoordinateSystem()->getDimension(), row.dimension);
    EXPECT_EQ(EpsgOf(row.crs), L"");
    EXPECT_EQ(Translate(L"KPRJ", CodeOf(row.crs), L"PRJ"), L"");
    const CRSPtr read = Crs(L"KPRJ", CodeOf(row.crs));
    EXPECT_EQ(coordinateReferencing::getCRSType(read), row.type);
    EXPECT_EQ(Parts(read).ElevationText(), Parts(row.crs).ElevationText());
    EXPECT_EQ(Parts(read).units, Parts(row.crs).units);
  }
}

TEST(Build, PartsThatDoNotFitAreTold) {
  const auto words = [](const Parts* horizontal, const wchar_t* units, const Kprj_ElevationInfo* elevation) {
    try {
      Kprj()->CreateCRSFromParts(horizontal ? horizontal->projection.get() : nullptr, units, elevation);
    } catch (const KorvenLog::Exception& failure) {
      return failure.get_What();
    }
    return std::wstring();
  };
  const Parts utm(L"EPSG", L"32633"), wgs(L"EPSG", L"4326");
  EXPECT_EQ(words(nullptr, L"", nullptr),
            L"A coordinate reference system can't be made of nothing: no projection, units or elevation.");
  EXPECT_EQ(words(&utm, L"metr", nullptr), L"No unit has the name \"metr\"; the nearest known one is \"metre\".");
  EXPECT_EQ(words(nullptr, L"foott", nullptr), L"No unit has the name \"foott\"; the nearest known one is \"foot\".");
  EXPECT_EQ(words(&utm, L"degree", nullptr),
            L"The unit \"degree\" measures angles; the coordinates of \"WGS 84 / UTM zone 33N\" are lengths.");
  EXPECT_EQ(words(&wgs, L"foot", nullptr),
            L"The unit \"foot\" measures lengths; the coordinates of \"WGS 84\" are angles.");
  const Kprj_ElevationInfo angular{L"EGM96 geoid", L"", L"degree", KprjHeight, 0};
  EXPECT_EQ(words(&wgs, L"degree", &angular), L"The unit \"degree\" measures angles; heights and depths are lengths.");
  const Kprj_ElevationInfo strange{L"EGM96 geoid", L"", L"cubits", KprjHeight, 0};
  EXPECT_NE(words(&wgs, L"degree", &strange).find(L"No unit has the name \"cubits\""), std::wstring::npos);
}

TEST(Build, UnitsOfNoListKeepTheirSize) {
  const Parts parts(
      L"PRJ",
      L"PROJCS[\"Own\",GEOGCS[\"GCS_WGS_1984\",DATUM[\"D_WGS_1984\",SPHEROID[\"WGS_1984\",6378137.0,"
      L"298.257223563]],PRIMEM[\"Greenwich\",0.0],UNIT[\"Degree\",0.0174532925199433]],"
      L"PROJECTION[\"Transverse_Mercator\"],PARAMETER[\"False_Easting\",0.0],PARAMETER[\"False_Northing\","
      L"0.0],PARAMETER[\"Central_Meridian\",15.0],PARAMETER[\"Scale_Factor\",1.0],PARAMETER["
      L"\"Latitude_Of_Origin\",0.0],UNIT[\"Cubit\",0.4572]],VERTCS[\"h\",VDATUM[\"Own\"],PARAMETER["
      L"\"Vertical_Shift\",0.0],PARAMETER[\"Direction\",1.0],UNIT[\"Cubit\",0.4572]]");
  EXPECT_EQ(parts.units, L"Cubit");
  EXPECT_EQ(parts.ElevationText(), L"Own||Cubit|0");
  const CRSPtr built = Build(parts, parts.units, parts.elevation.get());
  const CRSPtr read = Crs(L"KPRJ", CodeOf(built));
  for (const int axis : {0, 1, 2})
    EXPECT_EQ(read->getCoordinateSystem()->getAxis(axis)->getUnit()->getFactor(), 0.4572);
}

}  // namespace
