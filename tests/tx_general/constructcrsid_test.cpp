#include <gmock/gmock.h>

#include "tx_general/crsvalues.h"
#include "tx_general/stackvalues.h"

namespace {

using namespace testing_support;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

/// What lies on the inputs; null and empty: nothing.
struct Parts {
  DataPtr horizontal = {};
  DataPtr vertical = {};
  const wchar_t* horizontalUnits = nullptr;
  const wchar_t* verticalUnits = nullptr;
  const wchar_t* authority = nullptr;
};

std::vector<std::pair<std::wstring, DataPtr>> InputsOf(const Parts& parts) {
  std::vector<std::pair<std::wstring, DataPtr>> inputs;
  const auto add = [&](const wchar_t* port, const DataPtr& data) {
    if (data) inputs.emplace_back(port, data);
  };
  const auto text = [](const wchar_t* units) { return units ? Value(units) : nullptr; };
  add(L"HorizontalCRS", parts.horizontal);
  add(L"HorizontalUnits", text(parts.horizontalUnits));
  add(L"VerticalCRS", parts.vertical);
  add(L"VerticalUnits", text(parts.verticalUnits));
  add(L"Authority", text(parts.authority));
  return inputs;
}

Row Builds(const char* title, const Parts& parts, const DataPtr& expected) {
  return {title, L"ConstructCRSID", InputsOf(parts), L"CRS", expected};
}

Row Refuses(const char* title, const Parts& parts, const wchar_t* error) {
  return {title, L"ConstructCRSID", InputsOf(parts), L"CRS", nullptr, error};
}

constexpr const wchar_t* kUsFoot = L"US survey foot";

TEST(ConstructCRSID, HorizontalRows) {
  ExpectRows({
      Builds("geographic", {.horizontal = Epsg(L"4326")}, Epsg(L"4326")),
      Builds("projected", {.horizontal = Epsg(L"32633")}, Epsg(L"32633")),
      Builds("to metres", {.horizontal = Epsg(L"2263"), .horizontalUnits = L"metre"}, Epsg(L"32118")),
      Builds("by an alias", {.horizontal = Epsg(L"2263"), .horizontalUnits = L"Meters"}, Epsg(L"32118")),
      Builds("to feet", {.horizontal = Epsg(L"32118"), .horizontalUnits = kUsFoot}, Epsg(L"2263")),
      Builds("its own units", {.horizontal = Epsg(L"2263"), .horizontalUnits = kUsFoot}, Epsg(L"2263")),
      Builds("its elevation is ignored", {.horizontal = Epsg(L"4979")}, Epsg(L"4326")),
      Builds("a compound's too", {.horizontal = Epsg(L"7405")}, Epsg(L"27700")),
      Builds("of another registry", {.horizontal = Crs(L"ESRI", L"54009")}, Crs(L"ESRI", L"54009")),
      Builds("of the projection library", {.horizontal = Crs(L"KPRJ", kUtm33)}, Crs(L"KPRJ", kUtm33)),
      Builds("text", {.horizontal = Crs(L"PRJ", kGeographicText)}, Crs(L"PRJ", kGeographicText)),
  });
}

/// Lengths of the projection are in the units that it is given.
TEST(ConstructCRSID, AMonikerHoldsWhatNoRegistryHas) {
  ModelHost host;
  Prepare(host, Builds("", {.horizontal = Epsg(L"32633"), .horizontalUnits = kUsFoot}, nullptr));
  ASSERT_TRUE(host.Run()) << kstr_ToUtf8(host.Error());
  const CrsId id = host.Get<CrsId>(L"op.CRS");
  EXPECT_EQ(id.GetAuthority(), L"GeoKey Moniker");
  const std::wstring code = id.GetCode(), before = L";3080=15;3081=0;3082=", behind = L";3083=0;3092=0.9996";
  EXPECT_THAT(code, StartsWith(L"1024=1;1026=WGS 84 / UTM zone 33N (US survey foot);2048=4326;3072=32767;3074=32767;"
                               L"3075=1;3076=9003" +
                               before));
  EXPECT_THAT(code, ::testing::EndsWith(behind));
  const std::size_t at = code.find(before) + before.size();
  EXPECT_NEAR(std::stod(code.substr(at)), 500000 * 3937.0 / 1200, 1e-8);
}

TEST(ConstructCRSID, VerticalRows) {
  ExpectRows({
      Builds("vertical", {.vertical = Epsg(L"5773")}, Epsg(L"5773")),
      Builds("in other units", {.vertical = Epsg(L"5703"), .verticalUnits = kUsFoot}, Epsg(L"6360")),
      Builds("of a compound", {.vertical = Epsg(L"7405")}, Epsg(L"5701")),
      Builds("a depth stays one", {.vertical = Epsg(L"5715"), .verticalUnits = L"foot"}, Epsg(L"8051")),
  });
}

TEST(ConstructCRSID, CombinedRows) {
  RegisterTestSystems();
  const DataPtr nad88 = Epsg(L"5703");
  ExpectRows({
      Builds("a code of both", {.horizontal = Epsg(L"4326"), .vertical = Epsg(L"5773")}, Epsg(L"9707")),
      Builds("another", {.horizontal = Epsg(L"27700"), .vertical = Epsg(L"5701")}, Epsg(L"7405")),
      Builds("units find the code", {.horizontal = Epsg(L"2263"), .vertical = nad88, .verticalUnits = kUsFoot},
             Epsg(L"8767")),
      Builds("no code, but a moniker", {.horizontal = Epsg(L"32633"), .vertical = Epsg(L"5773")},
             Crs(L"GeoKey Moniker", L"1024=1;3072=32633;4096=5773")),
      Builds("height over the ellipsoid", {.horizontal = Epsg(L"4326"), .vertical = Crs(L"ESRI", L"115700")},
             Epsg(L"4979")),
      Builds("that of a 3D system", {.horizontal = Epsg(L"4326"), .vertical = Epsg(L"4979")}, Epsg(L"4979")),
      Builds("the vertical authority, where the horizontal one has no code",
             {.horizontal = Crs(L"Test", L"Borrowed"), .vertical = nad88, .verticalUnits = kUsFoot}, Epsg(L"8767")),
      Builds("neither has one", {.horizontal = Crs(L"Test", L"Borrowed"), .horizontalUnits = L"metre"},
             Crs(L"GeoKey Moniker", L"1024=1;3072=32118")),
  });
}

TEST(ConstructCRSID, AuthorityRows) {
  ExpectRows({
      Builds("the candidate's own", {.horizontal = Epsg(L"32633"), .authority = L"KPRJ"}, Crs(L"KPRJ", kUtm33)),
      Builds("a moniker", {.horizontal = Epsg(L"32633"), .authority = L"GeoKey Moniker"},
             Crs(L"GeoKey Moniker", L"1024=1;3072=32633")),
      Builds("a registry", {.horizontal = Crs(L"PRJ", kGeographicText), .authority = L"EPSG"}, Epsg(L"4326")),
      Builds("one without a code", {.horizontal = Crs(L"ESRI", L"54009"), .authority = L"EPSG"}, nullptr),
      Builds("one that nobody knows", {.horizontal = Epsg(L"4326"), .authority = L"ESPG"}, nullptr),
      Builds("an empty one", {.horizontal = Epsg(L"4326"), .authority = L""}, nullptr),
  });
}

TEST(ConstructCRSID, LocalRows) {
  ExpectRows({
      Builds("nothing", {}, Crs(L"KPRJ", kprj::kUnknown3D)),
      Builds("no horizontal unit", {.horizontalUnits = L"other"}, Crs(L"KPRJ", kprj::kUnknown2D)),
      Builds("no vertical unit", {.verticalUnits = L"other"}, Crs(L"KPRJ", kprj::kUnknown1D)),
      Builds("neither", {.horizontalUnits = L"other", .verticalUnits = L"other"}, Crs(L"KPRJ", kprj::kUnknown3D)),
  });
}

TEST(ConstructCRSID, RefusedRows) {
  constexpr const wchar_t* kNoHorizontalUnits = L"HorizontalUnits is invalid!";
  constexpr const wchar_t* kNoVerticalUnits = L"VerticalUnits is invalid!";
  constexpr const wchar_t* kNoHorizontal = L"Improper HorizontalCRS specified";
  constexpr const wchar_t* kNoVertical = L"Improper VerticalCRS specified";
  constexpr const wchar_t* kNoCopy = L"Unable to copy horizontal units";
  ExpectRaised({
      Refuses("angular vertical units", {.verticalUnits = L"degree"}, kNoVerticalUnits),
      Refuses("before all else", {.horizontal = Epsg(L"99999"), .verticalUnits = L"grad"}, kNoVerticalUnits),
      Refuses("angles for a map", {.horizontal = Epsg(L"32633"), .horizontalUnits = L"degree"}, kNoHorizontalUnits),
      Refuses("lengths for angles", {.horizontal = Epsg(L"4326"), .horizontalUnits = L"metre"}, kNoHorizontalUnits),
      Refuses("angles for nothing", {.horizontalUnits = L"degree"}, kNoHorizontalUnits),
      Refuses("no unit for a map", {.horizontal = Epsg(L"32633"), .horizontalUnits = L"other"}, kNoHorizontalUnits),
      Refuses("empty units for a map", {.horizontal = Epsg(L"32633"), .horizontalUnits = L""}, kNoHorizontalUnits),
      Refuses("empty units for angles", {.horizontal = Epsg(L"4326"), .horizontalUnits = L""}, kNoCopy),
      Refuses("empty units", {.horizontalUnits = L""}, kNoCopy),
      Refuses("vertical as horizontal", {.horizontal = Epsg(L"5773")}, kNoHorizontal),
      Refuses("geocentric", {.horizontal = Epsg(L"4978")}, kNoHorizontal),
      Refuses("no such code", {.horizontal = Epsg(L"99999")}, kNoHorizontal),
      Refuses("a code with a zero in front", {.horizontal = Epsg(L"04326")}, kNoHorizontal),
      Refuses("no such authority", {.horizontal = Crs(L"ESPG", L"4326")}, kNoHorizontal),
      Refuses("no such file", {.horizontal = Crs(L"PRJ", L"/nowhere/x.prj")}, kNoHorizontal),
      Refuses("text that ends early", {.horizontal = Crs(L"PRJ", L"GEOGCS[\"x\"")}, kNoHorizontal),
      Refuses("text with more behind it", {.horizontal = Crs(L"PRJ", kGeographicText + std::wstring(L" x"))},
              kNoHorizontal),
      Refuses("an empty id", {.horizontal = Crs(L"", L"")}, kNoHorizontal),
      Refuses("horizontal as vertical", {.vertical = Epsg(L"32633")}, kNoVertical),
      Refuses("no such vertical code", {.vertical = Epsg(L"99999")}, kNoVertical),
      Refuses("a code cut short",
              {.vertical = Crs(L"KPRJ", L"VANTIX/Transient/Coordinate Reference Systems/1D/{\"v\":1,\"e\":")},
              kNoVertical),
  });
}

/// The error and the warnings of a run that fails.
std::pair<std::wstring, std::vector<std::wstring>> FailureOf(const Parts& parts) {
  ModelHost host;
  Prepare(host, Builds("", parts, nullptr));
  EXPECT_FALSE(host.Run());
  EXPECT_EQ(host.Existing(L"op.CRS"), nullptr);
  return {host.Error(), host.Messages(tessera::Issue::Warning)};
}

TEST(ConstructCRSID, AWarningTellsWhyASystemIsImproper) {
  EXPECT_THAT(FailureOf({.horizontal = Epsg(L"99999")}).second, ElementsAre(HasSubstr(L"99999")));
  EXPECT_THAT(FailureOf({.vertical = Crs(L"ESPG", L"5773")}).second,
              ElementsAre(::testing::AllOf(HasSubstr(L"\"ESPG\""), HasSubstr(L"\"EPSG\""))));
  EXPECT_THAT(FailureOf({.horizontal = Epsg(L"5773")}).second, IsEmpty()) << "a system that is there";
  const TemporaryFolder folder;
  const std::wstring file = folder.Write("latin.prj", "GEOGCS[\"N\xE4m\"]");
  EXPECT_THAT(FailureOf({.horizontal = Crs(L"PRJ", file)}).second, ElementsAre(HasSubstr(L"UTF-8")));
}

TEST(ConstructCRSID, WhatIsNoIdentifierCountsAsNoneAndIsTold) {
  for (const wchar_t* port : {L"HorizontalCRS", L"VerticalCRS"}) {
    ModelHost host;
    host.Add(L"ConstructCRSID", L"op");
    host.Set(std::wstring(L"op.") + port, L"4326");
    ASSERT_TRUE(host.Run()) << kstr_ToUtf8(host.Error());
    EXPECT_EQ(host.Existing(L"op.CRS")->ToString(), Crs(L"KPRJ", kprj::kUnknown3D)->ToString());
    EXPECT_THAT(host.Messages(tessera::Issue::Warning),
                ElementsAre(L"No appropriate data found on port(" + std::wstring(port) + L")."));
  }
}

TEST(ConstructCRSID, AnUnknownUnitIsToldWithTheNearest) {
  const auto onMap = FailureOf({.horizontal = Epsg(L"32633"), .horizontalUnits = L"metter"});
  EXPECT_EQ(onMap.first, L"HorizontalUnits is invalid!");
  EXPECT_THAT(onMap.second, ElementsAre(L"No unit has the name \"metter\"; the nearest known one is \"metre\"."));
  EXPECT_THAT(FailureOf({.horizontal = Epsg(L"32633"), .horizontalUnits = L"other"}).second, IsEmpty());
  for (const Parts& parts : {Parts{.horizontalUnits = L"metter"}, Parts{.verticalUnits = L"metter"}}) {
    const auto [error, warnings] = FailureOf(parts);
    EXPECT_THAT(error, ::testing::AllOf(HasSubstr(L"\"metter\""), HasSubstr(L"\"metre\"")));
    EXPECT_THAT(warnings, IsEmpty());
  }
  EXPECT_THAT(FailureOf({.horizontal = Epsg(L"4326"), .horizontalUnits = L"degre"}).first, HasSubstr(L"\"degree\""));
}

/// Builds and examines in one model.
struct Built {
  explicit Built(const Parts& parts) {
    Prepare(host, Builds("", parts, nullptr));
    host.Add(L"ExamineCRSID", L"look");
    host.Connect(L"op.CRS", L"look.CRS");
    EXPECT_TRUE(host.Run()) << kstr_ToUtf8(host.Error());
  }
  std::wstring Text(const wchar_t* port) const {
    const DataPtr data = host.Existing(std::wstring(L"look.") + port);
    return data ? data->ToString() : L"-";
  }
  std::wstring Vertical() const {
    return Text(L"VerticalUnits") + L", " + Text(L"VerticalAxisDirection") + L", " + Text(L"VerticalDatum");
  }
  std::vector<std::wstring> Notes() const { return host.Messages(tessera::Issue::Information); }
  ModelHost host;
};

TEST(ConstructCRSID, OnlyVerticalUnitsGiveAFrameThatNobodyKnows) {
  const Built built({.verticalUnits = L"foot", .authority = L"KPRJ"});
  EXPECT_THAT(built.host.Existing(L"op.CRS")->ToString(), StartsWith(L"KPRJ:VANTIX/Transient/"));
  EXPECT_EQ(built.Text(L"HorizontalUnits"), L"");
  EXPECT_EQ(built.Vertical(), L"foot, unknown, Unknown");
}

TEST(ConstructCRSID, OnlyHorizontalUnitsGiveAPlane) {
  const Built built({.horizontalUnits = L"foot", .authority = L"KPRJ"});
  EXPECT_EQ(built.Text(L"HorizontalUnits"), L"foot");
  EXPECT_EQ(built.Text(L"HorizontalDatum"), L"Undefined");
  EXPECT_EQ(built.Vertical(), L"-, -, -");
}

TEST(ConstructCRSID, HeightsOverAnotherEllipsoidAreCorrectedWithANote) {
  const Built built({.horizontal = Epsg(L"4269"), .vertical = Crs(L"ESRI", L"115700"), .authority = L"KPRJ"});
  EXPECT_THAT(built.Notes(),
              ElementsAre(L"The specified vertical ellispoidal datum (World Geodetic System 1984) does not match the "
                          L"horizontal base ellipsoidal datum (North American Datum 1983) which will be retained in "
                          L"the constructed 3D CRSID; ellipsoidal heights will be based on GRS 1980"));
  EXPECT_EQ(built.Vertical(), L"metre, up, North American Datum 1983");
}

TEST(ConstructCRSID, HeightsOverTheSameEllipsoidNeedNoNote) {
  const Built same({.horizontal = Epsg(L"32633"), .vertical = Crs(L"ESRI", L"115700"), .authority = L"KPRJ"});
  EXPECT_THAT(same.Notes(), IsEmpty());
  EXPECT_EQ(same.Vertical(), L"metre, up, World Geodetic System 1984");
  const Built gravity({.horizontal = Epsg(L"4269"), .vertical = Epsg(L"5773"), .authority = L"KPRJ"});
  EXPECT_THAT(gravity.Notes(), IsEmpty()) << "heights over a geoid go with any ellipsoid";
  EXPECT_EQ(gravity.Vertical(), L"metre, up, EGM96 geoid");
}

TEST(ConstructCRSID, TheTypeOfAnElevationOutlivesTheCorrection) {
  const auto on = [](const wchar_t* type, const wchar_t* units) {
    return Built({.horizontal = Epsg(L"4269"),
                  .vertical = Crs(L"KPRJ", ElevationCode(L"World Geodetic System 1984", L"WGS 84", L"foot", type)),
                  .verticalUnits = units,
                  .authority = L"KPRJ"});
  };
  EXPECT_EQ(on(L"Height", nullptr).Vertical(), L"foot, up, North American Datum 1983");
  EXPECT_EQ(on(L"Depth", nullptr).Vertical(), L"foot, down, North American Datum 1983");
  EXPECT_EQ(on(L"Unknown", nullptr).Vertical(), L"foot, unknown, North American Datum 1983");
  EXPECT_EQ(on(L"Depth", kUsFoot).Vertical(), L"US survey foot, down, North American Datum 1983");
}

TEST(ConstructCRSID, AnythingIsReadFromItsFile) {
  const TemporaryFolder folder;
  const std::wstring file = folder.Write("x.prj", kstr_ToUtf8(kGeographicText) + "\n");
  ExpectRow(Builds("file", {.horizontal = Crs(L"PRJ", file), .authority = L"EPSG"}, Epsg(L"4326")));
}

}  // namespace
