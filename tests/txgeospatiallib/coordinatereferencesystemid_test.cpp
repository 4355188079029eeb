#include "txgeospatiallib/coordinatereferencesystemid.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "kcommon/kerr.h"
#include "kcommon/kstr.h"
#include "kprj/kprj.h"
#include "referencing/crstypes.h"
#include "txbasiclib/basicvalues.h"
#include "txgeospatiallib/crsutils.h"
#include "txlib/comparedata.h"
#include "txlib/conversion.h"
#include "txlib/datajson.h"
#include "txlib/dataref.h"

namespace {

namespace tx = Tamrin::Tessera;
using Tamrin::TesseraGeospatial::CoordinateReferenceSystemID;
using Tamrin::TesseraGeospatial::CoordinateReferenceSystemIDData;
using DataPtr = boost::shared_ptr<tx::Data>;

boost::shared_ptr<CoordinateReferenceSystemIDData> Make(const std::wstring& authority, const std::wstring& code) {
  return tx::MakeData<CoordinateReferenceSystemIDData>({authority, code});
}

tx::JsonValue Json(const std::string& text) {
  tx::JsonValue json;
  EXPECT_TRUE(json.DeserializeUtf8(text, false, nullptr)) << text;
  return json;
}

TEST(CrsId, TheTypeIsBuiltIn) {
  const auto data = tx::DataFactory::Create({L"VANTIX", L"CoordinateReferenceSystemID"});
  ASSERT_TRUE(data);
  EXPECT_EQ(data->GetDataTypeName(), CoordinateReferenceSystemIDData::DefaultTypeName());
  EXPECT_EQ(std::wstring(data->Name()), L"CoordinateReferenceSystemID");
  EXPECT_FALSE(data->HasNoValue());
  EXPECT_EQ(data->ToString(), L"");
  EXPECT_EQ(data->GetDataValue<CoordinateReferenceSystemID>(), CoordinateReferenceSystemID());
}

TEST(CrsId, Texts) {
  const struct {
    const wchar_t* text;
    bool reads;
    const wchar_t* authority;
    const wchar_t* code;
  } rows[] = {{L"EPSG:4326", true, L"EPSG", L"4326"},
              {L"KPRJ:a:b:c", true, L"KPRJ", L"a:b:c"},
              {L"PRJ:C:\\x.prj", true, L"PRJ", L"C:\\x.prj"},
              {L"\u00e4:\u00f6 \u00fc", true, L"\u00e4", L"\u00f6 \u00fc"},
              {L"", false, L"", L""},
              {L"EPSG", false, L"", L""},
              {L":4326", false, L"", L""},
              {L"EPSG:", false, L"", L""}};
  for (const auto& row : rows) {
    CoordinateReferenceSystemIDData data(CoordinateReferenceSystemID(L"OLD", L"1"));
    EXPECT_EQ(data.FromString(row.text), row.reads);
    EXPECT_EQ(data.GetDataValue().GetAuthority(), row.reads ? row.authority : L"OLD");
    EXPECT_EQ(data.GetDataValue().GetCode(), row.reads ? row.code : L"1");
    EXPECT_EQ(data.ToString(), row.reads ? row.text : L"OLD:1");
  }
}

TEST(CrsId, JsonForm) {
  const auto data = Make(L"EPSG", L"32632");
  tx::JsonValue json;
  ASSERT_TRUE(tx::DataToTypedJson(data, json));
  EXPECT_EQ(json.SerializeUtf8(),
            R"({"Type":"VANTIX.CoordinateReferenceSystemID","Value":{"Authority":"EPSG","Code":"32632"}})");
  DataPtr back;
  std::wstring error;
  ASSERT_TRUE(tx::DataFromTypedJson(json, back, error));
  EXPECT_EQ(back->ToString(), L"EPSG:32632");
  for (const char* bad : {"null", "5", "\"EPSG:4326\"", "[]", "{}", R"({"Authority":"EPSG"})", R"({"Code":"1"})",
                          R"({"Authority":"EPSG","Code":4326})"}) {
    EXPECT_FALSE(data->FromJSON(Json(bad))) << bad;
    EXPECT_EQ(data->ToString(), L"EPSG:32632") << bad;
  }
  const CoordinateReferenceSystemIDData empty;
  ASSERT_TRUE(empty.ToJSON(json));
  ASSERT_TRUE(data->FromJSON(json));
  EXPECT_EQ(data->GetDataValue(), CoordinateReferenceSystemID());
}

TEST(CrsId, KeysLeadToTexts) {
  const auto data = Make(L"ESRI", L"54009");
  EXPECT_EQ(data->GetKeys(), (std::vector<std::wstring>{L"Authority", L"Code"}));
  EXPECT_EQ((*data)[L"Authority"].ToString(), L"ESRI");
  EXPECT_EQ((*data)[L"Code"].ToString(), L"54009");
  EXPECT_TRUE((*data)[L"code"].IsNull());
}

TEST(CrsId, ACloneIsAValueOfItsOwn) {
  const auto data = Make(L"EPSG", L"1");
  const auto copy = boost::dynamic_pointer_cast<CoordinateReferenceSystemIDData>(data->Clone());
  ASSERT_TRUE(copy);
  copy->GetDataValue().SetAuthority(L"ESRI");
  copy->GetDataValue().SetCode(L"2");
  EXPECT_EQ(data->ToString(), L"EPSG:1");
  EXPECT_EQ(copy->ToString(), L"ESRI:2");
  copy->SetDataPointer(nullptr);
  EXPECT_FALSE(copy->HasNoValue()) << "it is a value type";
}

TEST(CrsId, OrderAndSize) {
  const DataPtr rising[] = {tx::MakeData<tx::IntData>(5), tx::MakeData<Tamrin::TesseraBasic::ColorData>({}),
                            Make(L"EPSG", L"1"),          Make(L"EPSG", L"2"),
                            Make(L"ESRI", L"0"),          tx::MakeData<tx::StringData>(L"A")};
  const std::size_t count = std::size(rising);
  for (std::size_t i = 0; i < count; ++i) {
    for (std::size_t j = 0; j < count; ++j) {
      const int order = tx::CompareData(rising[i], rising[j]);
      EXPECT_EQ(order < 0, i < j) << i << " " << j;
      EXPECT_EQ(order > 0, i > j) << i << " " << j;
      EXPECT_EQ(*rising[i] < rising[j], i < j) << i << " " << j;
      EXPECT_EQ(*rising[i] > rising[j], i > j) << i << " " << j;
    }
    EXPECT_TRUE(*rising[2] > DataPtr());
    EXPECT_FALSE(*rising[2] < DataPtr());
  }
  EXPECT_EQ(Make(L"EPSG", L"32632")->SizeInBytes() - Make(L"", L"")->SizeInBytes(), 9 * sizeof(wchar_t));
}

TEST(CrsId, LeadsToItsSystemAndBack) {
  const CoordinateReferenceSystemID id(L"EPSG", L"32633");
  const auto crs = id.CreateCoordinateReferenceSystem();
  ASSERT_TRUE(crs);
  EXPECT_EQ(crs->getName(), L"WGS 84 / UTM zone 33N");
  EXPECT_EQ(CoordinateReferenceSystemID(crs), id);
  EXPECT_EQ(id.CreateCoordinateReferenceSystem(), crs) << "made once";
  EXPECT_EQ(CoordinateReferenceSystemID(nullptr), CoordinateReferenceSystemID());
  EXPECT_EQ(coordinateReferencing::getCRSType(crs), L"Projected");
}

TEST(CrsId, OneThatNamesNothingGivesNoSystem) {
  for (const auto& [authority, code] : std::vector<std::pair<std::wstring, std::wstring>>{{L"", L""},
                                                                                          {L"EPSG", L""},
                                                                                          {L"EPSG", L"99999"},
                                                                                          {L"NOBODY", L"1"},
                                                                                          {L"PRJ", L"PROJCS["},
                                                                                          {L"PRJ", L"/none.prj"}})
    EXPECT_FALSE(CoordinateReferenceSystemID(authority, code).CreateCoordinateReferenceSystem())
        << kstr_ToUtf8(authority + L":" + code);
}

TEST(CrsUtils, UnitNames) {
  namespace CRSUtils = Tamrin::TesseraGeospatial::CRSUtils;
  const auto geographic = CRSUtils::GetUnitNames(10);
  const auto linear = CRSUtils::GetUnitNames(12);
  const auto all = CRSUtils::GetUnitNames(14);
  EXPECT_EQ(geographic.front(), L"degree");
  EXPECT_EQ(linear.front(), L"metre");
  EXPECT_EQ(all.size(), geographic.size() + linear.size() - 1);
  for (const auto* names : {&geographic, &linear, &all}) EXPECT_EQ(names->back(), L"other");
}

bool IsLoaded(const std::string& library) {
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);)
    if (line.find(library) != std::string::npos) return true;
  return false;
}

TEST(CrsUtils, DISABLED_UnitsInAFreshProcess) {
  KerrException error(L"test", L"Units");
  EXPECT_EQ(Tamrin::TesseraGeospatial::CRSUtils::GetUnitNames(14).size(), 63U);
  EXPECT_EQ(kprj_IsLinearUnitByName(L"us-ft", error), 1);
  EXPECT_FALSE(IsLoaded("libproj")) << "unit names are built in";
  EXPECT_FALSE(CoordinateReferenceSystemID(L"KPRJ", L"nonsense").CreateCoordinateReferenceSystem());
  EXPECT_FALSE(IsLoaded("libproj")) << "nor is it needed to see that a code is none";
  EXPECT_TRUE(CoordinateReferenceSystemID(L"EPSG", L"4326").CreateCoordinateReferenceSystem());
  EXPECT_TRUE(IsLoaded("libproj"));
}

TEST(CrsUtils, UnitNamesLoadNoLibrary) {
  const std::string program = std::filesystem::read_symlink("/proc/self/exe").string();
  const std::string command =
      "'" + program +
      "' --gtest_also_run_disabled_tests --gtest_brief=1 --gtest_filter='*DISABLED_UnitsIn*' >/dev/null";
  EXPECT_EQ(std::system(command.c_str()), 0);
}

TEST(CrsUtils, Monikers) {
  namespace CRSUtils = korven::tx_geosupport::CRSUtils;
  const std::wstring feet = L"1024=1;3072=32633;4096=4979;4099=9003";
  EXPECT_FALSE(CRSUtils::CSSSupportsMoniker(feet));
  EXPECT_EQ(CRSUtils::AdjustMonikerForCSS(feet), L"1024=1;3072=32633");
  EXPECT_TRUE(CRSUtils::CSSSupportsMoniker(L"1024=1;3072=32633"));
  const std::filesystem::path file =
      std::filesystem::temp_directory_path() / ("tessera-" + std::to_string(::getpid()) + ".csf");
  const std::wstring name = kstr_FromUtf8Lossy(file.string());
  CRSUtils::WriteMonikerToCSF(L"1024=1;3072=32633", name);
  EXPECT_EQ(CRSUtils::ReadMonikerFromCSF(name), L"1024=1;3072=32633");
  std::filesystem::remove(file);
}

}  // namespace
