#include <gmock/gmock.h>

#include "localcrs.h"
#include "tx_general/crsvalues.h"
#include "tx_general/stackvalues.h"

namespace {

using namespace testing_support;
using namespace korven::tx_general;
using Parts = std::vector<std::wstring>;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr const wchar_t* kPorts[] = {L"HorizontalUnits", L"HorizontalDatum", L"VerticalUnits", L"VerticalAxisDirection",
                                     L"VerticalDatum"};
constexpr const wchar_t* kWgs84 = L"World Geodetic System 1984";

struct Finding {
  const char* title;
  DataPtr crs;
  Parts texts;  ///< of the five ports; two of them: the others have no data
};

/// The model in which the operator looks at a system.
struct Look {
  explicit Look(const DataPtr& crs) {
    host.Add(L"ExamineCRSID", L"op");
    if (crs) host.Set(L"op.CRS", crs);
    isDone = host.Run();
  }
  Parts Texts() const {
    Parts texts;
    for (const wchar_t* port : kPorts)
      if (const DataPtr data = host.Existing(std::wstring(L"op.") + port)) texts.push_back(data->ToString());
    return texts;
  }
  tessera::Dictionary Parameters() const { return host.Get<tessera::Dictionary>(L"op.CRSParameters"); }
  ModelHost host;
  bool isDone;
};

std::vector<Finding> Findings() {
  const std::wstring at3D = L"VANTIX/Transient/Coordinate Reference Systems/3D/";
  return {
      {"geographic", Epsg(L"4326"), {L"degree", kWgs84}},
      {"geographic 3D", Epsg(L"4979"), {L"degree", kWgs84, L"metre", L"up", kWgs84}},
      {"projected", Epsg(L"32633"), {L"metre", kWgs84}},
      {"projected in feet", Epsg(L"2263"), {L"US survey foot", L"North American Datum 1983"}},
      {"of Paris", Epsg(L"4807"), {L"grad", L"Nouvelle Triangulation Francaise (Paris)"}},
      {"of another registry", Crs(L"ESRI", L"54009"), {L"metre", kWgs84}},
      {"text", Crs(L"PRJ", kGeographicText), {L"degree", kWgs84}},
      {"moniker", Crs(L"GeoKey Moniker", L"1024=1;3072=32633"), {L"metre", kWgs84}},
      {"vertical", Epsg(L"5773"), {L"", L"", L"metre", L"up", L"EGM96 geoid"}},
      {"depth", Epsg(L"5831"), {L"", L"", L"metre", L"down", L"Instantaneous Water Level"}},
      {"geocentric", Epsg(L"4978"), {L"metre", kWgs84, L"metre", L"geocentricZ", L"Undefined"}},
      {"plain 1D",
       Crs(L"KPRJ", ElevationCode(L"EGM96 geoid", L"", L"foot", L"Depth")),
       {L"", L"", L"foot", L"down", L"EGM96 geoid"}},
      {"plain 2D", Crs(L"KPRJ", kUtm33), {L"metre", kWgs84}},
      {"plain 3D, local",
       Crs(L"KPRJ", at3D + L"{\"v\":1,\"u\":\"foot\",\"e\":{\"d\":\"EGM96 geoid\",\"s\":\"\",\"u\":\"metre\",\"t\":"
                           L"\"Height\"}}"),
       {L"foot", L"Undefined", L"metre", L"up", L"EGM96 geoid"}},
      {"unknown 1D", Crs(L"KPRJ", kprj::kUnknown1D), {L"", L"", L"other", L"unknown", L"Unknown"}},
      {"unknown 2D", Crs(L"KPRJ", kprj::kUnknown2D), {L"other", L"Undefined"}},
      {"unknown 3D", Crs(L"KPRJ", kprj::kUnknown3D), {L"other", L"Undefined", L"other", L"unknown", L"Undefined"}},
  };
}

TEST(ExamineCRSID, TextsOnPorts) {
  for (const Finding& finding : Findings()) {
    SCOPED_TRACE(finding.title);
    const Look look(finding.crs);
    EXPECT_TRUE(look.isDone) << kstr_ToUtf8(look.host.Error());
    EXPECT_EQ(look.Texts(), finding.texts);
  }
}

/// Each port on its own, pulled, from a document, in threads.
TEST(ExamineCRSID, Rows) {
  std::vector<Row> rows;
  for (const Finding& finding : Findings())
    for (std::size_t i = 0; i < std::size(kPorts); ++i)
      rows.push_back({finding.title,
                      L"ExamineCRSID",
                      {{L"CRS", finding.crs}},
                      kPorts[i],
                      i < finding.texts.size() ? Value(finding.texts[i]) : nullptr});
  ExpectRows(rows);
}

/// The dictionary in one line: system type, axes, datum, its type, "+VerticalDatumType", type of the whole.
std::string Line(const tessera::Dictionary& parameters) {
  const auto at = [](const DataPtr& data, const wchar_t* key) {
    return data->GetDataValue<tessera::Dictionary>().Find(key);
  };
  const DataPtr system = parameters.Find(L"CoordinateSystem"), datum = parameters.Find(L"Datum");
  EXPECT_EQ(at(system, L"Dimension")->GetDataTypeName().ToString(), L"VANTIX.Unsigned");
  std::wstring line = at(system, L"CoordinateSystemType")->ToString() + L" " + at(system, L"Dimension")->ToString();
  for (const DataPtr& axis : at(system, L"Axes")->GetDataValue<tessera::DataList>())
    line += L" | " + at(axis, L"Name")->ToString() + L", " + at(axis, L"Unit")->ToString() + L", " +
            at(axis, L"Direction")->ToString();
  line += L" | " + at(datum, L"Name")->ToString() + L" (" + at(datum, L"Type")->ToString() + L")";
  if (const DataPtr vertical = at(datum, L"VerticalDatumType")) line += L" + " + vertical->ToString();
  return kstr_ToUtf8(line + L" | " + parameters.Find(L"CoordinateReferenceSystemType")->ToString());
}

TEST(ExamineCRSID, Parameters) {
  const struct {
    DataPtr crs;
    const char* line;
  } rows[] = {
      {Epsg(L"32633"),
       "Cartesian 2 | Easting, metre, east | Northing, metre, north | World Geodetic System 1984 (Geodetic) | "
       "Projected"},
      {Crs(L"KPRJ", kUtm33),
       "Cartesian 2 | Easting, metre, east | Northing, metre, north | World Geodetic System 1984 (Geodetic) | "
       "Projected"},
      {Epsg(L"4979"),
       "Ellipsoidal 3 | Geodetic latitude, degree, north | Geodetic longitude, degree, east | "
       "Ellipsoidal height, metre, up | World Geodetic System 1984 (Geodetic) | Geographic"},
      {Epsg(L"5773"),
       "Vertical 1 | Gravity-related height, metre, up | EGM96 geoid (Vertical) + Ellipsoidal | Vertical"},
      {Epsg(L"5831"),
       "Vertical 1 | Depth, metre, down | Instantaneous Water Level (Vertical) + Ellipsoidal | Vertical"},
      {Epsg(L"4978"),
       "Cartesian 3 | Geocentric X, metre, geocentricX | Geocentric Y, metre, geocentricY | "
       "Geocentric Z, metre, geocentricZ | World Geodetic System 1984 (Geodetic) | Geocentric"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(kstr_ToUtf8(row.crs->ToString()));
    EXPECT_EQ(Line(Look(row.crs).Parameters()), row.line);
  }
}

TEST(ExamineCRSID, KeysOfParametersInOrder) {
  const tessera::Dictionary parameters = Look(Epsg(L"5773")).Parameters();
  EXPECT_THAT(parameters.GetKeys(), ElementsAre(L"CoordinateSystem", L"Datum", L"CoordinateReferenceSystemType"));
  const auto keys = [&](const wchar_t* key) {
    return parameters.Find(key)->GetDataValue<tessera::Dictionary>().GetKeys();
  };
  EXPECT_THAT(keys(L"CoordinateSystem"), ElementsAre(L"Dimension", L"Axes", L"CoordinateSystemType"));
  EXPECT_THAT(keys(L"Datum"), ElementsAre(L"Name", L"Type", L"VerticalDatumType"));
}

/// Type word of the whole and of the datum.
TEST(ExamineCRSID, WordsOfPlainSystems) {
  const auto words = [](const wchar_t* code) {
    const tessera::Dictionary parameters = Look(Crs(L"KPRJ", code)).Parameters();
    const auto datum = parameters.Find(L"Datum")->GetDataValue<tessera::Dictionary>();
    return Parts{parameters.Find(L"CoordinateReferenceSystemType")->ToString(),
                 datum.Contains(L"VerticalDatumType") ? datum.Find(L"VerticalDatumType")->ToString() : L"-"};
  };
  EXPECT_THAT(words(ElevationCode(L"EGM96 geoid", L"", L"foot", L"Depth").c_str()),
              ElementsAre(L"Vertical", L"Ellipsoidal"));
  EXPECT_THAT(words(L"VANTIX/Transient/Coordinate Reference Systems/2D/{\"v\":1,\"u\":\"metre\"}"),
              ElementsAre(L"Engineering", L"-"));
  for (const wchar_t* code : {kprj::kUnknown1D, kprj::kUnknown2D, kprj::kUnknown3D})
    EXPECT_THAT(words(code), ElementsAre(L"Unknown", L"-"));
}

TEST(ExamineCRSID, CompoundSystemsAreRefused) {
  constexpr const wchar_t* kRefusal = L"CompoundCRS not yet supported";
  ExpectRaised({{"EPSG", L"ExamineCRSID", {{L"CRS", Epsg(L"7405")}}, L"HorizontalUnits", nullptr, kRefusal},
                {"moniker", L"ExamineCRSID", {{L"CRS", Crs(L"EPSG", L"9707")}}, L"CRSParameters", nullptr, kRefusal}});
  ModelHost host;
  host.Add(L"ConstructCRSID", L"build");
  host.Add(L"ExamineCRSID", L"op");
  host.Set(L"build.HorizontalCRS", Epsg(L"27700")).Set(L"build.VerticalCRS", Epsg(L"5701"));
  host.Connect(L"build.CRS", L"op.CRS");
  ExpectFailure(host, kRefusal);
  EXPECT_EQ(host.Existing(L"build.CRS")->ToString(), L"EPSG:7405");
}

TEST(ExamineCRSID, WhatCannotBeMadeGivesNothingAndNoMessage) {
  for (const DataPtr& crs :
       {Epsg(L"99999"), Crs(L"Nobody", L"1"), Crs(L"", L""), Crs(L"PRJ", L"GEOGCS[\"x\""),
        Crs(L"PRJ", L"/no/where.prj"), Crs(L"KPRJ", L"VANTIX/Transient/Coordinate Reference Systems/2D/{\"v\":1,"),
        Crs(L"GeoKey Moniker", L"1024=1;nonsense")}) {
    SCOPED_TRACE(kstr_ToUtf8(crs->ToString()));
    const Look look(crs);
    EXPECT_TRUE(look.isDone) << kstr_ToUtf8(look.host.Error());
    EXPECT_THAT(look.Texts(), IsEmpty());
    EXPECT_EQ(look.host.Existing(L"op.CRSParameters"), nullptr);
    EXPECT_THAT(look.host.Op(L"op")->GetMessages(), IsEmpty());
  }
}

TEST(ExamineCRSID, OutputsOfAnEarlierRunGo) {
  ModelHost host;
  host.Add(L"ExamineCRSID", L"op");
  host.Set(L"op.CRS", Epsg(L"4979"));
  ASSERT_TRUE(host.Run());
  EXPECT_NE(host.Existing(L"op.VerticalUnits"), nullptr);
  host.Set(L"op.CRS", Epsg(L"4326"));
  ASSERT_TRUE(host.Run());
  EXPECT_EQ(host.Existing(L"op.VerticalUnits"), nullptr);
  EXPECT_EQ(host.Existing(L"op.HorizontalUnits")->ToString(), L"degree");
}

TEST(ExamineCRSID, RequiredInput) {
  ExpectRow({"none", L"ExamineCRSID", {}, L"HorizontalUnits", nullptr, L"Data not found on port(CRS)."});
}

TEST(ExamineCRSID, SystemsOfOtherAuthors) {
  RegisterTestSystems();
  const Look single(Crs(L"Test", L"Single"));
  EXPECT_EQ(single.Texts(), (Parts{L"furlong", L"Undefined"}));
  EXPECT_THAT(
      Line(single.Parameters()),
      ::testing::HasSubstr("2 | Test axis, furlong, unknown | Test axis, furlong, unknown | Undefined (Unknown)"))
      << "a direction of a class of its own has no word";
  const Look line(Crs(L"Test", L"Line"));
  EXPECT_EQ(line.Texts(), (Parts{L"", L"", L"furlong", L"unknown", L"Undefined"}));
}

CRSPtr Make(const wchar_t* authority, const std::wstring& code) {
  return CrsId(authority, code).CreateCoordinateReferenceSystem();
}

TEST(LocalCRS, ForwardsIdentityCoordinateSystemAndTypeWord) {
  const CRSPtr crs = Make(L"KPRJ", kUtm33);
  ASSERT_TRUE(crs);
  const auto single = boost::make_shared<LocalSingleCRSImpl>(crs);
  EXPECT_EQ(single->getName(), crs->getName());
  EXPECT_EQ(single->getIdentifiers(), crs->getIdentifiers());
  EXPECT_EQ(single->getCoordinateSystem(), crs->getCoordinateSystem());
  EXPECT_EQ(coordinateReferencing::getCRSType(single), L"Projected");
  const auto vertical = boost::make_shared<LocalVerticalCRSImpl>(Make(L"KPRJ", kprj::kUnknown1D));
  EXPECT_EQ(coordinateReferencing::getCRSType(vertical), L"Unknown");
}

TEST(LocalCRS, DatumsKnowTheirNamesAlone) {
  const auto geodetic = LocalSingleCRSImpl(Make(L"KPRJ", kUtm33)).getDatum();
  ASSERT_TRUE(geodetic);
  EXPECT_TRUE(boost::dynamic_pointer_cast<const iso::referencing::datum::GeodeticDatum>(geodetic));
  EXPECT_EQ(geodetic->getName(), kWgs84);
  EXPECT_THAT(geodetic->getIdentifiers(), IsEmpty());
  const auto vertical = LocalVerticalCRSImpl(Make(L"EPSG", L"7405")).getDatum();
  ASSERT_TRUE(vertical);
  EXPECT_TRUE(boost::dynamic_pointer_cast<const iso::referencing::datum::VerticalDatum>(vertical));
  EXPECT_EQ(vertical->getName(), L"Ordnance Datum Newlyn");
  EXPECT_EQ(vertical->getRemarks(), L"");
  EXPECT_EQ(LocalSingleCRSImpl(Make(L"KPRJ", kprj::kUnknown2D)).getDatum(), nullptr);
  EXPECT_EQ(LocalVerticalCRSImpl(Make(L"EPSG", L"32633")).getDatum(), nullptr);
}

}  // namespace
