#include <gtest/gtest.h>

#include "jsonlib/value.h"
#include "kcommon/kerr.h"
#include "kcommon/scratchfolder.h"
#include "korvenlog/exception.h"
#include "kprj/korvendatum.h"
#include "kprj/moniker.h"
#include "registry.h"

namespace {

using korven::jsonlib::Reader;
using korven::jsonlib::Value;
using KorvenDatum::WorldCoordinateSystem;
using registry::Crs;

struct Parts {
  kprj::ProjectionHolder projection;
  std::wstring units;
  kprj::ElevationHolder elevation;
  explicit Parts(const wchar_t* code, const wchar_t* authority = L"EPSG") {
    registry::Kprj()->SplitCRS(Crs(authority, code), projection, units, elevation);
  }
  const Kprj_ProParameters* Record() const { return kprj_MapProjectionCSRGet(projection.get(), L"Kprj_ProParameters"); }
};

Value Json(const std::string& text) {
  Value value;
  Reader reader;
  EXPECT_TRUE(reader.parseUtf8(text, value)) << text;
  return value;
}

template <typename Action>
std::wstring WordsOf(Action action) {
  try {
    action();
  } catch (const KorvenLog::Exception& failure) {
    return failure.get_What();
  }
  return {};
}

Kprj_ProjectionLibrary* OneItem(const Parts& parts, const std::wstring& units, KerrException& error) {
  kprj::ProjectionLibraryHolder library(kprj_ProjectionLibraryCreate(error));
  kprj_ProjectionLibrarySetTitle(library.get(), L"EPSG Projected", error);
  kprj_ProjectionLibraryAddItem(
      library.get(),
      kprj_ProjectionItemCreateWithUnits(L"an \u00ef\u00f1tem", L"alias", kprj_ProParametersCopy(parts.Record(), error),
                                         units, error),
      error);
  return library.release();
}

TEST(Plb, ALibraryReadsBack) {
  const ScratchFolder folder;
  KerrException error(L"test", L"Plb");
  const Parts parts(L"32633");
  const kprj::ProjectionLibraryHolder library(OneItem(parts, L"metre", error));
  const std::wstring name = folder.Wide("x.plb");
  kprj_ProjectionLibraryWrite(library.get(), name, error);
  ASSERT_FALSE(error.IsPending()) << kstr_ToUtf8(error.get_What());
  EXPECT_EQ(folder.EntryCount(), 1U);

  const Value json = Json(folder.Bytes("x.plb"));
  EXPECT_EQ(json[L"format"].asString(), L"vantix-plb");
  EXPECT_EQ(json[L"version"].asInt(), 1);
  EXPECT_EQ(json[L"title"].asString(), L"EPSG Projected");
  const Value& item = json[L"items"][0];
  EXPECT_EQ(item[L"name"].asString(), L"an \u00ef\u00f1tem");
  EXPECT_EQ(item[L"alias"].asString(), L"alias");
  EXPECT_EQ(item[L"units"][L"name"].asString(), L"metre");
  EXPECT_EQ(item[L"units"][L"class"].asString(), L"linear");
  EXPECT_EQ(item[L"units"][L"toSI"].asDouble(), 1);
  EXPECT_EQ(item[L"projection"][L"type"].asString(), L"ProjectedCRS");

  const kprj::ProjectionLibraryHolder back(kprj_ProjectionLibraryRead(name, error));
  ASSERT_TRUE(back) << kstr_ToUtf8(error.get_What());
  ASSERT_EQ(back->items.size(), 1U);
  EXPECT_EQ(back->title, library->title);
  EXPECT_EQ(back->items[0]->name, library->items[0]->name);
  EXPECT_EQ(back->items[0]->unitsName, L"metre");
  EXPECT_EQ(back->items[0]->parameters->definition, parts.Record()->definition);
  EXPECT_EQ(kprj_ProjectionLibraryFormat(*back), folder.Bytes("x.plb"));
}

TEST(Plb, WhatCannotBeAnItemIsTold) {
  KerrException error(L"test", L"Plb");
  const Parts parts(L"4326");
  EXPECT_FALSE(
      kprj_ProjectionItemCreateWithUnits(L"n", L"n", kprj_ProParametersCopy(parts.Record(), error), L"degre", error));
  EXPECT_EQ(error.get_What(), L"No unit has the name \"degre\"; the nearest known one is \"degree\".");
  error.Clear();
  EXPECT_FALSE(kprj_ProjectionItemCreateWithUnits(L"n", L"n", nullptr, L"metre", error));
  EXPECT_EQ(error.get_What(), L"The item \"n\" of a projection library needs a projection.");
  error.Clear();
  for (const wchar_t* units : {L"degree", L"grad", L"other"}) {
    const kprj::ProjectionLibraryHolder library(OneItem(parts, units, error));
    const std::string text = kprj_ProjectionLibraryFormat(*library);
    const kprj::ProjectionLibraryHolder back(kprj_ProjectionLibraryParse(text, L"x", error));
    ASSERT_TRUE(back) << kstr_ToUtf8(error.get_What());
    EXPECT_EQ(back->items[0]->unitsName, units);
  }
}

TEST(Wcs, SystemsReadBack) {
  const ScratchFolder folder;
  const struct {
    const wchar_t* authority;
    const wchar_t* code;
  } rows[] = {{L"EPSG", L"7405"}, {L"EPSG", L"4979"},          {L"EPSG", L"8767"},         {L"EPSG", L"5831"},
              {L"EPSG", L"4326"}, {L"KPRJ", kprj::kUnknown3D}, {L"KPRJ", kprj::kUnknown1D}};
  for (const auto& row : rows) {
    const Parts parts(row.code, row.authority);
    const std::wstring name = folder.Wide("x.wcs");
    WorldCoordinateSystem(parts.projection.get(), parts.units, parts.elevation.get()).WriteToWCSFile(name);
    const WorldCoordinateSystem back = WorldCoordinateSystem::ReadFromWCSFile(name);
    EXPECT_EQ(back.Format(), folder.Bytes("x.wcs"));
    const auto crs = registry::Kprj()->CreateCRSFromParts(back.GetProjection(), back.GetUnits(), back.GetElevation());
    EXPECT_EQ(registry::Translate(L"KPRJ", registry::CodeOf(crs), row.authority), row.code);
  }
}

TEST(Wcs, TheForm) {
  const Parts parts(L"8767");
  const Value json = Json(WorldCoordinateSystem(parts.projection.get(), parts.units, parts.elevation.get()).Format());
  EXPECT_EQ(json[L"format"].asString(), L"vantix-wcs");
  EXPECT_EQ(json[L"units"][L"name"].asString(), L"US survey foot");
  EXPECT_NEAR(json[L"units"][L"toSI"].asDouble(), 0.304800609601219, 1e-15);
  EXPECT_EQ(json[L"elevation"][L"datum"].asString(), L"North American Vertical Datum 1988");
  EXPECT_EQ(json[L"elevation"][L"type"].asString(), L"Height");
  EXPECT_EQ(json[L"elevation"][L"units"][L"class"].asString(), L"linear");
  const Value empty = Json(WorldCoordinateSystem(nullptr, L"", nullptr).Format());
  for (const wchar_t* key : {L"projection", L"units", L"elevation"}) {
    EXPECT_TRUE(empty.isMember(key));
    EXPECT_TRUE(empty[key].isNull());
  }
}

TEST(Wcs, UnitsOfTheirOwnKeepTheirSize) {
  const std::string metre = WorldCoordinateSystem(nullptr, L"metre", nullptr).Format();
  const std::size_t begin = metre.find("{\n    \"name\": \"metre\""), end = metre.find("}", begin);
  ASSERT_NE(begin, std::string::npos);
  const auto with = [&](const std::string& unit) { return metre.substr(0, begin) + unit + metre.substr(end + 1); };
  const struct {
    const char* name;
    const char* size;
    double written;
  } rows[] = {{"pace", "0.12345678901234567", 0.12345678901234567}, {"foot", "0.5", 0.5}, {"foot", "0.3048", 0.3048}};
  for (const auto& row : rows) {
    const auto system = WorldCoordinateSystem::Parse(
        with(std::string("{\"name\": \"") + row.name + "\", \"toSI\": " + row.size + "}"), L"F");
    const Value unit = Json(system.Format())[L"units"];
    EXPECT_EQ(kstr_ToUtf8(unit[L"name"].asString()), row.name);
    EXPECT_EQ(unit[L"toSI"].asDouble(), row.written) << row.name;
    EXPECT_EQ(WorldCoordinateSystem::Parse(system.Format(), L"F").Format(), system.Format());
  }
}

TEST(Wcs, TheUnitOfTheProjectionIsAsInIt) {
  // An axis whose unit has more digits than PROJ writes.
  std::string text = WorldCoordinateSystem(Parts(L"32633").projection.get(), L"metre", nullptr).Format();
  const std::string unit = "\"unit\": \"metre\"";
  for (std::size_t at = text.find(unit); at != std::string::npos; at = text.find(unit, at + 1))
    text.replace(at, unit.size(),
                 R"("unit": {"type": "LinearUnit", "name": "pace", "conversion_factor": 5.304800609601219})");
  text.replace(text.rfind("\"metre\""), 7, "\"pace\"");
  const std::string written = WorldCoordinateSystem::Parse(text, L"F").Format();
  EXPECT_EQ(Json(written)[L"units"][L"toSI"].asDouble(), 5.30480060960122);
  EXPECT_EQ(WorldCoordinateSystem::Parse(written, L"F").Format(), written);
}

TEST(Wcs, ARemarkLeavesTheDatabaseInUse) {
  const std::string text = WorldCoordinateSystem(Parts(L"4326").projection.get(), L"degree", nullptr).Format();
  const auto with = [](std::string all, const std::string& from, const std::string& to) {
    const std::size_t at = all.find(from);
    EXPECT_NE(at, std::string::npos);
    return all.replace(at, from.size(), to);
  };
  const std::string scope = "\"scope\"", remark = R"("remarks": "PROJ CRS string: +proj=longlat", "scope")";
  const auto read = WorldCoordinateSystem::Parse(with(text, scope, remark), L"F");
  EXPECT_EQ(read.Format().find("proj\\u003d"), std::string::npos);
  EXPECT_NE(read.Format().find("+proj=longlat"), std::string::npos);
  // The database tells that this datum of the ensemble has another ellipsoid.
  const std::string odd = with(text, "\"code\": 1156", "\"code\": 1157");
  for (const std::string& each : {odd, with(odd, scope, remark)})
    EXPECT_NE(WordsOf([&] { WorldCoordinateSystem::Parse(each, L"F"); }), L"");
}

TEST(Wcs, UnitsWithoutASizeAreNotWritten) {
  const ScratchFolder folder;
  const std::wstring name = folder.Wide("x.wcs");
  for (const bool isElevation : {false, true}) {
    const Kprj_ElevationInfo elevation{L"EGM96 geoid", L"", L"parsec", KprjHeight, 0};
    const std::wstring told = WordsOf([&] {
      WorldCoordinateSystem(nullptr, isElevation ? L"metre" : L"parsec", isElevation ? &elevation : nullptr)
          .WriteToWCSFile(name);
    });
    EXPECT_NE(told.find(L"\"parsec\""), std::wstring::npos) << kstr_ToUtf8(told);
    EXPECT_FALSE(std::filesystem::exists(folder / "x.wcs"));
  }
}

TEST(Csf, MonikersReadBack) {
  const ScratchFolder folder;
  for (const wchar_t* moniker : {L"1024=1;3072=32633", L"1024=1;3072=32633;4096=5773", L"1024=9;3071=1"}) {
    const bool known = std::wstring(moniker) != L"1024=9;3071=1";
    const std::wstring name = folder.Wide("x.csf");
    kprj::WriteMonikerToCSF(moniker, name);
    const Value json = Json(folder.Bytes("x.csf"));
    EXPECT_EQ(json[L"format"].asString(), L"vantix-csf");
    EXPECT_EQ(json[L"moniker"].asString(), moniker);
    EXPECT_EQ(json.isMember(L"wkt2"), known);
    if (known) {
      EXPECT_EQ(kprj::ReadMonikerFromCSF(name), moniker);
      EXPECT_EQ(json[L"name"].asString().find(L"WGS 84 / UTM zone 33N"), 0U);
    }
  }
}

TEST(Files, WhatIsNoSuchFileIsToldWithWhatWasExpected) {
  const std::string wcs = WorldCoordinateSystem(nullptr, L"metre", nullptr).Format();
  const auto changed = [](std::string text, const std::string& from, const std::string& to) {
    const std::size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    return text.replace(at, from.size(), to);
  };
  const std::pair<std::string, const wchar_t*> rows[] = {
      {"", L"The file \"F\" can't be read: line 1"},
      {"[]", L"it is no JSON object"},
      {wcs.substr(0, wcs.size() / 2), L"line "},
      {changed(wcs, "vantix-wcs", "vantix-plb"), L"its \"format\" is \"vantix-plb\", expected \"vantix-wcs\""},
      {changed(wcs, "\"version\": 1", "\"version\": 2"), L"its \"version\" is 2, expected 1"},
      {changed(wcs, "\"version\": 1", "\"version\": \"1\""), L"its \"version\" is 0, expected 1"},
      {changed(wcs, "\"toSI\": 1", "\"toSI\": 0"), L"the size \"toSI\" of its unit \"metre\" is not larger than 0"},
      {changed(wcs, "\"projection\": null", "\"projection\": {}"), L"no horizontal coordinate reference system"},
      {changed(wcs, "\"elevation\": null", "\"elevation\": {}"), L"no texts \"datum\" and \"type\""},
      {changed(wcs, "\"elevation\": null", "\"elevation\": " + std::string(70, '[') + std::string(70, ']')),
       L"nested more than 64 levels deep"},
      {wcs + "x", L"line "},
      {"\xFF{}", L"line 1"},
  };
  for (const auto& [text, words] : rows) {
    const std::wstring told = WordsOf([&text = text] { WorldCoordinateSystem::Parse(text, L"F"); });
    EXPECT_NE(told.find(words), std::wstring::npos) << kstr_ToUtf8(told);
  }
  EXPECT_EQ(WorldCoordinateSystem::Parse(changed(wcs, "\"version\"", "\"later\": 5, \"version\""), L"F").GetUnits(),
            L"metre")
      << "unknown keys are left alone";
  EXPECT_NE(WordsOf([] { kprj::ParseCSF("{\"format\":\"vantix-csf\",\"version\":1}", L"F"); }).find(L"\"moniker\""),
            std::wstring::npos);
  KerrException error(L"test", L"Files");
  EXPECT_FALSE(kprj_ProjectionLibraryParse("{\"format\":\"vantix-plb\",\"version\":1,\"title\":\"t\",\"items\":[{}]}",
                                           L"F", error));
  EXPECT_NE(error.get_What().find(L"item 1: it has no text \"name\""), std::wstring::npos)
      << kstr_ToUtf8(error.get_What());
}

TEST(Files, AFileThatCannotBeWrittenIsToldWithItsPath) {
  const ScratchFolder folder;
  const std::wstring name = folder.Wide("missing/x.out");
  const Parts parts(L"32633");
  KerrException error(L"test", L"Files");
  const kprj::ProjectionLibraryHolder library(OneItem(parts, L"metre", error));
  kprj_ProjectionLibraryWrite(library.get(), name, error);
  const std::wstring rows[] = {
      error.get_What(),
      WordsOf([&] { WorldCoordinateSystem(nullptr, L"metre", nullptr).WriteToWCSFile(name); }),
      WordsOf([&] { kprj::WriteMonikerToCSF(L"1024=1;3072=32633", name); }),
      WordsOf([&] { kprj::ReadMonikerFromCSF(name); }),
      WordsOf([&] { WorldCoordinateSystem::ReadFromWCSFile(name); }),
  };
  for (const std::wstring& words : rows) {
    EXPECT_NE(words.find(name), std::wstring::npos) << kstr_ToUtf8(words);
    EXPECT_NE(words.find(L"does not exist"), std::wstring::npos) << kstr_ToUtf8(words);
  }
}

}  // namespace
