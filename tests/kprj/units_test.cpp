#include <gtest/gtest.h>
#include <proj.h>

#include <algorithm>
#include <map>

#include "kcommon/kerr.h"
#include "kprj/kprj.h"
#include "registry.h"
#include "unittable.h"

namespace {

using kprj::FindUnit;

TEST(Units, NamesByKind) {
  const auto linear = kprj_GetUnitNames(KprjUnitLinear | KprjUnitOther);
  const auto angular = kprj_GetUnitNames(KprjUnitAngular | KprjUnitOther);
  const auto all = kprj_GetUnitNames(14);
  EXPECT_EQ(linear.size(), 53U);
  EXPECT_EQ(angular.size(), 11U);
  EXPECT_EQ(all.size(), 63U);
  EXPECT_EQ(std::vector(linear.begin(), linear.begin() + 3),
            (std::vector<std::wstring>{L"metre", L"foot", L"US survey foot"}));
  EXPECT_EQ(std::vector(angular.begin(), angular.begin() + 3),
            (std::vector<std::wstring>{L"degree", L"radian", L"grad"}));
  for (const auto* names : {&linear, &angular, &all}) {
    EXPECT_EQ(names->back(), L"other");
    EXPECT_EQ(std::set<std::wstring>(names->begin(), names->end()).size(), names->size());
  }
  EXPECT_EQ(kprj_GetUnitNames(0), std::vector<std::wstring>());
}

/// The built-in table says what the database says, but for one size that is wrong there.
TEST(Units, AreThoseOfTheDatabase) {
  const registry::Proj proj;
  int count = 0;
  PROJ_UNIT_INFO** const list = ::proj_get_units_from_database(proj.Context(), nullptr, nullptr, 0, &count);
  std::size_t seen = 0;
  for (int i = 0; i < count; ++i) {
    const PROJ_UNIT_INFO& info = *list[i];
    const bool linear = std::string(info.category) == "linear";
    const bool angular = std::string(info.category) == "angular";
    if ((!linear && !angular) || !(info.conv_factor > 0) || std::string(info.code) == "9122") continue;
    ++seen;
    const kprj::KnownUnit* const known = kprj::FindUnitByCode(info.auth_name, info.code);
    ASSERT_TRUE(known) << info.name;
    EXPECT_STREQ(known->name, info.name);
    EXPECT_EQ(known->kind, linear ? KprjUnitLinear : KprjUnitAngular) << info.name;
    const double expected = std::string(info.name) == "decimeter" ? 0.1 : info.conv_factor;
    EXPECT_NEAR(known->factor / expected, 1, 1e-13) << info.name;
    if (info.proj_short_name && std::string(info.code) != "IND_CH") {
      EXPECT_EQ(FindUnit(kstr_Widen(info.proj_short_name)), known) << info.proj_short_name;
    }
  }
  ::proj_unit_list_destroy(list);
  EXPECT_EQ(seen + 1, kprj_GetUnitNames(14).size());
}

TEST(Units, AreFoundByAliasesInAnySpelling) {
  const std::map<std::wstring, std::wstring> rows{{L"Meter", L"metre"},
                                                  {L"METRES", L"metre"},
                                                  {L"m", L"metre"},
                                                  {L"US_survey_foot", L"US survey foot"},
                                                  {L"us-ft", L"US survey foot"},
                                                  {L"Foot_US", L"US survey foot"},
                                                  {L"US survey feet", L"US survey foot"},
                                                  {L"feet", L"foot"},
                                                  {L"international foot", L"foot"},
                                                  {L"Clarkes foot", L"Clarke's foot"},
                                                  {L"Yard_Indian", L"Indian yard"},
                                                  {L"km", L"kilometre"},
                                                  {L"deg", L"degree"},
                                                  {L"degree (supplier to define representation)", L"degree"},
                                                  {L"gon", L"grad"},
                                                  {L"Gradian", L"grad"},
                                                  {L"Other", L"other"},
                                                  {L"furlong", L""},
                                                  {L"", L""}};
  for (const auto& [name, canonical] : rows) EXPECT_EQ(kprj_GetUnitName(name), canonical) << kstr_ToUtf8(name);
}

TEST(Units, Classes) {
  KerrException error(L"test", L"Classes");
  for (const wchar_t* name : {L"metre", L"us-ft", L"Foot_Clarke"}) {
    EXPECT_EQ(kprj_IsLinearUnitByName(name, error), 1);
    EXPECT_EQ(kprj_IsAngularUnitByName(name, error), 0);
  }
  for (const wchar_t* name : {L"degree", L"gon", L"arc-second"}) {
    EXPECT_EQ(kprj_IsLinearUnitByName(name, error), 0);
    EXPECT_EQ(kprj_IsAngularUnitByName(name, error), 1);
  }
  for (const wchar_t* name : {L"other", L"", L"furlong", L"metre per second"}) {
    EXPECT_EQ(kprj_IsLinearUnitByName(name, error), 0);
    EXPECT_EQ(kprj_IsAngularUnitByName(name, error), 0);
  }
  EXPECT_EQ(kprj_UnitsNameOther(), L"other");
  EXPECT_FALSE(error.IsPending());
}

TEST(Units, AnAxisUnitIsNamedByTheTable) {
  const auto named = [](const char* name, double factor, bool angular) {
    kprj::proj::Unit unit{name, factor, "X", "1"};
    kprj::Normalize(unit, angular);
    return unit;
  };
  EXPECT_EQ(named("Foot_US", 0.3048006096012192, false).name, "US survey foot");
  EXPECT_EQ(named("Meter", 1, false).code, "9001");
  EXPECT_EQ(named("Degree", 0.017453292519943295, true).name, "degree");
  EXPECT_EQ(named("my own foot", 0.3048, false).name, "foot") << "by its size";
  EXPECT_EQ(named("Cubit", 0.4572, false).name, "Cubit");
  EXPECT_EQ(named("Cubit", 0.4572, false).code, "") << "whose number it was is not known";
  EXPECT_EQ(named("metre", 2, false).name, "metre");
  EXPECT_EQ(named("radian", 1, false).name, "metre") << "of two kinds with one size";
}

TEST(Units, EsriNames) {
  EXPECT_EQ(kprj::EsriUnitName("US survey foot", 0.304800609601219), "Foot_US");
  EXPECT_EQ(kprj::EsriUnitName("Clarke's foot", 0.3047972654), "Foot_Clarke");
  EXPECT_EQ(kprj::EsriUnitName("metre", 1), "Meter");
  EXPECT_EQ(kprj::EsriUnitName("foot", 0.31), "") << "another size";
  EXPECT_EQ(kprj::EsriUnitName("Cubit", 0.4572), "");
}

TEST(Elevation, Records) {
  KerrException error(L"test", L"Records");
  const kprj::ElevationHolder made(
      kprj_ElevationInfoCreateByName(L"GRS 1980", L"North American Datum 1983", L"Foot_US", L"depth", error));
  ASSERT_TRUE(made);
  EXPECT_EQ(made->datumName, L"North American Datum 1983");
  EXPECT_EQ(made->spheroidName, L"GRS 1980");
  EXPECT_EQ(made->unitsName, L"US survey foot");
  EXPECT_EQ(made->elevationType, KprjDepth);
  kprj_ElevationInfoUnitSet(made.get(), L"other", error);
  EXPECT_EQ(made->unitsName, L"other");
  EXPECT_FALSE(error.IsPending());

  kprj_ElevationInfoUnitSet(made.get(), L"metr", error);
  EXPECT_EQ(error.get_What(), L"No unit has the name \"metr\"; the nearest known one is \"metre\".");
  EXPECT_EQ(made->unitsName, L"other");
  error.Clear();
  kprj_ElevationInfoUnitSet(made.get(), L"degree", error);
  EXPECT_EQ(error.get_What(), L"The unit \"degree\" measures angles; heights and depths are lengths.");
  error.Clear();
  EXPECT_FALSE(kprj_ElevationInfoCreateByName(L"", L"d", L"metre", L"Altitude", error));
  EXPECT_EQ(error.get_What(), L"The elevation type is \"Altitude\", expected \"Height\", \"Depth\" or \"Unknown\".");
  kprj_ElevationInfoFree(nullptr);
}

}  // namespace
