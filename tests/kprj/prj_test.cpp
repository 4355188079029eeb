#include <gtest/gtest.h>

#include "kcommon/scratchfolder.h"
#include "registry.h"

namespace {

using coordinateReferencing::ExplainMissingCRS;
using registry::Crs;
using registry::Translate;

const std::wstring kWgs84 =
    L"GEOGCS[\"GCS_WGS_1984\",DATUM[\"D_WGS_1984\",SPHEROID[\"WGS_1984\",6378137.0,"
    L"298.257223563]],PRIMEM[\"Greenwich\",0.0],UNIT[\"Degree\",0.0174532925199433]]";

TEST(Prj, UnitsAreNamedAsEsriDoes) {
  EXPECT_EQ(Translate(L"EPSG", L"4326", L"PRJ"), kWgs84);
  const std::wstring feet = Translate(L"EPSG", L"2263", L"PRJ");
  EXPECT_NE(feet.find(L"UNIT[\"Foot_US\",0.304800609601219]]"), std::wstring::npos) << kstr_ToUtf8(feet);
  EXPECT_EQ(Translate(L"PRJ", feet, L"EPSG"), L"2263");
  std::wstring epsgNamed = feet;
  epsgNamed.replace(epsgNamed.find(L"Foot_US"), 7, L"US survey foot");
  EXPECT_EQ(Translate(L"PRJ", epsgNamed, L"EPSG"), L"2263") << "either name is read";
  EXPECT_NE(Translate(L"EPSG", L"4979", L"PRJ").find(L"LINUNIT[\"Meter\",1.0]"), std::wstring::npos);
  EXPECT_EQ(Translate(L"EPSG", L"5773", L"PRJ").find(L"VERTCS[\"EGM96_Geoid\","), 0U);
  EXPECT_EQ(Translate(L"EPSG", L"4978", L"PRJ"), L"");
}

TEST(Prj, HeightsOverTheEllipsoidKeepTheirUnit) {
  const auto kprj = registry::Kprj();
  kprj::ProjectionHolder projection, none;
  kprj::ElevationHolder elevation;
  std::wstring units, ignored;
  kprj->SplitCRS(Crs(L"EPSG", L"32633"), projection, units, elevation);
  kprj->SplitCRS(Crs(L"ESRI", L"115700"), none, ignored, elevation);
  elevation->unitsName = L"US survey foot";
  const auto crs = kprj->CreateCRSFromParts(projection.get(), units, elevation.get());
  const std::wstring text = Translate(L"KPRJ", registry::CodeOf(crs), L"PRJ");
  const std::wstring tail =
      L",VERTCS[\"WGS_1984\",DATUM[\"D_WGS_1984\",SPHEROID[\"WGS_1984\",6378137.0,298.257223563]],PARAMETER["
      L"\"Vertical_Shift\",0.0],PARAMETER[\"Direction\",1.0],UNIT[\"Foot_US\",0.304800609601219]]";
  EXPECT_TRUE(text.ends_with(tail)) << kstr_ToUtf8(text);
  const auto back = Crs(L"PRJ", text);
  ASSERT_EQ(back->getCoordinateSystem()->getDimension(), 3);
  EXPECT_EQ(back->getCoordinateSystem()->getAxis(2)->getUnit()->getName(), L"US survey foot");
  kprj->SplitCRS(back, projection, units, elevation);
  EXPECT_EQ(elevation->datumName, L"World Geodetic System 1984");
  EXPECT_EQ(elevation->spheroidName, L"WGS 84");
  EXPECT_EQ(elevation->elevationType, KprjHeight);
  EXPECT_EQ(Translate(L"PRJ", text, L"GeoKey Moniker"), L"1024=1;3072=32633;4096=4979;4099=9003");
}

TEST(Prj, TextsThatAreNoneAreTold) {
  const auto with = [](std::wstring text, const std::wstring& from, const std::wstring& to) {
    const std::size_t at = text.find(from);
    EXPECT_NE(at, std::wstring::npos) << kstr_ToUtf8(from);
    return text.replace(at, from.size(), to);
  };
  const std::wstring utm = Translate(L"EPSG", L"32633", L"PRJ");
  const std::wstring egm = Translate(L"EPSG", L"5773", L"PRJ");
  for (const std::wstring& text : {
           kWgs84 + L"]",
           kWgs84 + L" and more",
           kWgs84.substr(0, kWgs84.size() - 1),
           kWgs84.substr(0, 20),
           with(kWgs84, L"0.0174532925199433", L"0"),
           with(kWgs84, L"0.0174532925199433", L"abc"),
           with(kWgs84, L",UNIT[\"Degree\",0.0174532925199433]", L""),
           with(utm, L"Transverse_Mercator", L"Trans_Merc_Of_Mine"),
           with(utm, L"Central_Meridian", L"Centrl_Meridian"),
           with(utm, L"UNIT[\"Meter\",1.0]", L"UNIT[\"Meter\",-1.0]"),
           with(egm, L"\"Vertical_Shift\",0.0", L"\"Vertical_Shift\",1.5"),
           std::wstring(L"PROJCS["),
           L"GEOGCS[" + std::wstring(3000, L'['),
           std::wstring(L"projcs[\"a path, for its case\"]"),
       }) {
    EXPECT_NE(ExplainMissingCRS(L"PRJ", text), L"") << kstr_ToUtf8(text.substr(0, 300));
    EXPECT_EQ(Translate(L"PRJ", text, L"EPSG"), L"");
  }
  EXPECT_EQ(ExplainMissingCRS(L"PRJ", kWgs84 + L" \r\n"), L"") << "blanks at the end are nothing";
}

TEST(Prj, MethodsThatAreWrittenAndNotReadAreFoundByTheirText) {
  for (const wchar_t* code : {L"2218", L"5224", L"22700", L"32600"}) {
    const std::wstring text = Translate(L"EPSG", code, L"PRJ");
    ASSERT_NE(text, L"") << kstr_ToUtf8(code);
    EXPECT_EQ(Translate(L"PRJ", text, L"EPSG"), code);
  }
  const std::wstring text = Translate(L"ESRI", L"54050", L"PRJ");
  EXPECT_EQ(Translate(L"PRJ", text, L"ESRI"), L"54050");
}

TEST(Prj, AProjectionThatNobodyHasKeepsItsParameters) {
  const std::wstring own =
      L"PROJCS[\"Mine\"," + kWgs84 +
      L",PROJECTION[\"Transverse_Mercator\"],PARAMETER[\"False_Easting\",1000.0],PARAMETER["
      L"\"False_Northing\",2000.0],PARAMETER[\"Central_Meridian\",12.5],PARAMETER[\"Scale_Factor\","
      L"0.999],PARAMETER[\"Latitude_Of_Origin\",7.0],UNIT[\"Meter\",1.0]]";
  EXPECT_EQ(Translate(L"PRJ", own, L"EPSG"), L"");
  EXPECT_EQ(Translate(L"PRJ", own, L"GeoKey Moniker"),
            L"1024=1;1026=Mine;2048=4326;3072=32767;3074=32767;3075=1;3076=9001;3080=12.5;3081=7;3082=1000;3083=2000;"
            L"3092=0.999");
  const std::wstring kprj = Translate(L"PRJ", own, L"KPRJ");
  EXPECT_EQ(kprj.find(L"VANTIX/Transient/Coordinate Reference Systems/2D/"), 0U);
  EXPECT_EQ(Translate(L"KPRJ", kprj, L"PRJ"), own);
  EXPECT_EQ(Translate(L"PRJ", kWgs84, L"KPRJ"), Translate(L"EPSG", L"4326", L"KPRJ"))
      << "but what a registry has is named";
}

TEST(Prj, Files) {
  const ScratchFolder folder;
  const std::wstring good = folder.Make("good.prj", "\xEF\xBB\xBF" + kstr_ToUtf8(kWgs84) + "\n");
  EXPECT_EQ(registry::CodeOf(Crs(L"PRJ", good)), good) << "it is called by its path";
  EXPECT_EQ(Translate(L"PRJ", good, L"EPSG"), L"4326");
  const std::pair<std::wstring, const wchar_t*> rows[] = {
      {folder.Make("latin1.prj",
                   "GEOGCS[\"Gr\xFC\xDF"
                   "e\"]"),
       L"the file is no UTF-8: byte 10"},
      {folder.Make("other.prj", "LOCAL_CS[\"x\"]"), L"the file begins neither with PROJCS["},
      {folder.Make("lower.prj", "geogcs[\"x\"]"), L"the file begins neither with PROJCS["},
      {folder.Make("empty.prj", ""), L"the file begins neither with PROJCS["},
      {folder.Make("cut.prj", kstr_ToUtf8(kWgs84).substr(0, 60)), L"makes no coordinate reference system"},
      {folder.Wide("missing.prj"), L"neither the text of a projection file nor the name of a file that is there"},
      {folder.Wide(""), L"neither the text of a projection file nor the name of a file that is there"},
      {std::wstring(L"a\0b", 3), L"neither the text"},
  };
  for (const auto& [path, words] : rows) {
    const std::wstring text = ExplainMissingCRS(L"PRJ", path);
    EXPECT_NE(text.find(words), std::wstring::npos) << kstr_ToUtf8(text);
  }
  folder.Make("good.prj", kstr_ToUtf8(Translate(L"EPSG", L"32633", L"PRJ")));
  EXPECT_EQ(Translate(L"PRJ", good, L"EPSG"), L"32633") << "a file that has changed is read anew";
}

}  // namespace
