#include <gtest/gtest.h>

#include "kprj/moniker.h"
#include "kprjcode.h"
#include "monikertext.h"
#include "referencing/crstypes.h"
#include "registry.h"

namespace {

using coordinateReferencing::AuthorityCode;
using coordinateReferencing::ExplainMissingCRS;
using iso::referencing::crs::CRSPtr;
using registry::CodeOf;
using registry::Crs;
using registry::Kprj;
using registry::Translate;

constexpr const wchar_t* kMoniker = L"GeoKey Moniker";

/// The code that holds the definition, also of what a registry has.
std::wstring TransientOf(const wchar_t* authority, const std::wstring& code) {
  const auto* holder = dynamic_cast<const kprj::RecordHolder*>(Crs(authority, code).get());
  const kprj::RecordPtr& record = holder->GetRecord();
  return kprj::TransientCode(record->GetParts(), record->facts.axes.size());
}

TEST(KprjCode, NamedOnesSayWhatTheyAre) {
  const std::pair<const wchar_t*, const wchar_t*> rows[] = {
      {L"4326", L"2D/EPSG Geographic/WGS 84 [EPSG:4326]"},
      {L"4979", L"3D/EPSG Geographic/WGS 84 [EPSG:4979]"},
      {L"32633", L"2D/EPSG Projected/WGS 84 %2F UTM zone 33N [EPSG:32633]"},
      {L"5773", L"1D/EPSG Vertical/EGM96 height [EPSG:5773]"},
      {L"7405", L"3D/EPSG Compound/OSGB36 %2F British National Grid + ODN height [EPSG:7405]"},
      {L"4978", L"3D/EPSG Other/WGS 84 [EPSG:4978]"},
      {L"8352", L"2D/EPSG Projected/S-JTSK [JTSK03] %2F Krovak [EPSG:8352]"},
  };
  for (const auto& [code, expected] : rows) {
    const std::wstring named = Translate(L"EPSG", code, L"KPRJ");
    EXPECT_EQ(named, std::wstring(L"VANTIX/Predefined/Coordinate Reference Systems/") + expected);
    EXPECT_EQ(Translate(L"KPRJ", named, L"EPSG"), code);
  }
  EXPECT_EQ(AuthorityCode(Translate(L"IAU", L"49900", L"KPRJ")).fullParent(),
            L"VANTIX/Predefined/Coordinate Reference Systems/2D/IAU_2015 Geographic");
}

TEST(KprjCode, OfANamedOneTheBracketCounts) {
  const std::wstring old = L"VANTIX/Predefined/Coordinate Reference Systems/2D/Old Title/A name of old [EPSG:32633]";
  EXPECT_EQ(Translate(L"KPRJ", old, L"EPSG"), L"32633");
  EXPECT_EQ(CodeOf(Crs(L"KPRJ", old)), old);
}

TEST(KprjCode, TransientOnesHoldTheWholeDefinition) {
  for (const wchar_t* code :
       {L"4326", L"4979", L"32633", L"2263", L"4807", L"5773", L"5831", L"7405", L"8767", L"9895"}) {
    const std::wstring transient = TransientOf(L"EPSG", code);
    EXPECT_EQ(transient.find(L"VANTIX/Transient/Coordinate Reference Systems/"), 0U);
    EXPECT_EQ(std::count(transient.begin(), transient.end(), L'/'), 4) << "one element";
    EXPECT_EQ(Translate(L"KPRJ", transient, L"EPSG"), code);
    EXPECT_EQ(TransientOf(L"KPRJ", transient), transient) << "the text is stable";
    EXPECT_EQ(Translate(L"KPRJ", transient, L"KPRJ"), transient);
  }
  const std::wstring vertical = TransientOf(L"EPSG", L"5773");
  EXPECT_EQ(AuthorityCode(vertical).baseSelf(),
            L"{\"v\":1,\"e\":{\"d\":\"EGM96 geoid\",\"s\":\"\",\"u\":\"metre\",\"t\":\"Height\"}}");
}

TEST(KprjCode, BadOnesAreToldWithTheirFault) {
  const std::wstring good = TransientOf(L"EPSG", L"32633");
  const std::wstring start = L"VANTIX/Transient/Coordinate Reference Systems/";
  const std::pair<std::wstring, const wchar_t*> rows[] = {
      {L"", L"it begins neither with"},
      {start, L"expected 1D, 2D or 3D"},
      {start + L"4D/{}", L"found \"4D\", expected 1D, 2D or 3D"},
      {start + L"2D/", L"found"},
      {start + L"2D/{}", L"another version than 1"},
      {start + L"2D/{\"v\":2}", L"another version than 1"},
      {start + L"2D/{\"v\":1}", L"can't be made of nothing"},
      {start + L"2D/{\"v\":1,\"h\":5}", L"its projection is no object"},
      {start + L"2D/{\"v\":1,\"h\":{}}", L"no horizontal coordinate reference system"},
      {start + L"2D/{\"v\":1,\"u\":7}", L"its units are no text"},
      {start + L"2D/{\"v\":1,\"u\":\"metr\"}", L"the nearest known one is \"metre\""},
      {start + L"1D/{\"v\":1,\"e\":{\"d\":\"x\"}}", L"its elevation has no text \"s\""},
      {start + L"1D/{\"v\":1,\"e\":{\"d\":\"x\",\"s\":\"\",\"u\":\"metre\",\"t\":\"Up\"}}",
       L"its elevation type is \"Up\""},
      {start + L"3D/{\"v\":1,\"u\":\"metre\"}", L"it stands under 3D, and has 2D"},
      {start + L"2D/" + std::wstring(100, L'['), L"nested more than 64 levels deep"},
      {L"VANTIX/Predefined/Coordinate Reference Systems/2D/EPSG Projected/x", L"doesn't end in [AUTHORITY:CODE]"},
      {L"VANTIX/Predefined/Coordinate Reference Systems/2D/a/x [EPSG:1]",
       L"\"EPSG\" has no coordinate reference system \"1\""},
      {L"VANTIX/Predefined/Coordinate Reference Systems/2D/a/x [epsg:4326]", L"\"epsg\" has no"},
      {L"VANTIX/Predefined/Coordinate Reference Systems/3D/a/x [EPSG:4326]", L"it stands under 3D, and has 2D"},
  };
  for (const auto& [code, words] : rows) {
    const std::wstring text = ExplainMissingCRS(L"KPRJ", code);
    EXPECT_NE(text.find(words), std::wstring::npos) << kstr_ToUtf8(text);
  }
  // Cut short anywhere it is refused with words.
  for (std::size_t size = 0; size < good.size(); size += 37)
    EXPECT_NE(ExplainMissingCRS(L"KPRJ", good.substr(0, size)), L"") << size;
}

TEST(KprjCode, AForeignIdentifierIsFoundOut) {
  std::wstring code = TransientOf(L"EPSG", L"32633");
  const std::wstring own = L"\"code\":32633";
  ASSERT_NE(code.rfind(own), std::wstring::npos);
  code.replace(code.rfind(own), own.size(), L"\"code\":32634");
  EXPECT_EQ(Translate(L"KPRJ", code, L"EPSG"), L"32633");
}

TEST(Moniker, OfKnownSystems) {
  const struct {
    const wchar_t* authority;
    const wchar_t* code;
    const wchar_t* moniker;
  } rows[] = {
      {L"EPSG", L"4326", L"1024=2;2048=4326"},
      {L"EPSG", L"4979", L"1024=2;2048=4979"},
      {L"EPSG", L"32633", L"1024=1;3072=32633"},
      {L"EPSG", L"5773", L"1024=0;4096=5773"},
      {L"EPSG", L"7405", L"1024=1;3072=27700;4096=5701"},
      {L"EPSG", L"9895", L""},
      {L"EPSG", L"4978", L""},
      {L"EPSG", L"900913", L""},
      {L"ESRI", L"54009", L""},
      {L"ESRI", L"115700", L""},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(Translate(row.authority, row.code, kMoniker), row.moniker) << kstr_ToUtf8(row.code);
    const std::wstring back = *row.moniker ? Translate(kMoniker, row.moniker, L"EPSG") : std::wstring();
    EXPECT_EQ(back, *row.moniker ? row.code : L"");
  }
}

CRSPtr Together(const wchar_t* horizontal, const wchar_t* units, const wchar_t* authority, const wchar_t* vertical,
                const wchar_t* verticalUnits, int type = KprjHeight) {
  kprj::ProjectionHolder projection, none;
  kprj::ElevationHolder elevation;
  std::wstring own, ignored;
  if (horizontal) Kprj()->SplitCRS(Crs(L"EPSG", horizontal), projection, own, elevation);
  if (authority) Kprj()->SplitCRS(Crs(authority, vertical), none, ignored, elevation);
  if (verticalUnits) elevation->unitsName = verticalUnits;
  if (elevation && type != KprjHeight) elevation->elevationType = type;
  return Kprj()->CreateCRSFromParts(projection.get(), units ? units : own, elevation.get());
}

TEST(Moniker, OfBuiltSystems) {
  const struct {
    CRSPtr crs;
    const wchar_t* moniker;
  } rows[] = {
      {Together(L"32633", nullptr, L"EPSG", L"5773", nullptr), L"1024=1;3072=32633;4096=5773"},
      {Together(L"32633", nullptr, L"ESRI", L"115700", nullptr), L"1024=1;3072=32633;4096=4979"},
      {Together(L"32633", nullptr, L"ESRI", L"115700", L"US survey foot"), L"1024=1;3072=32633;4096=4979;4099=9003"},
      {Together(L"4326", nullptr, L"ESRI", L"115700", L"foot"), L"1024=2;2048=4326;4096=4979;4099=9002"},
      {Together(L"32633", nullptr, L"EPSG", L"5773", L"foot"), L"1024=1;3072=32633;4096=32767;4098=5171;4099=9002"},
      {Together(nullptr, nullptr, L"EPSG", L"5831", L"fathom"), L"1024=0;4096=32767;4098=5113;4099=9014;32768=1"},
      {Together(L"32633", nullptr, L"KPRJ", kprj::kUnknown1D, L"metre", KprjElevationUnknown),
       L"1024=1;3072=32633;4096=32767;4098=32767;4099=9001;32768=2"},
      {Together(L"32633", L"US survey foot", nullptr, nullptr, nullptr),
       L"1024=1;1026=WGS 84 / UTM zone 33N (US survey foot);2048=4326;3072=32767;3074=32767;3075=1;3076=9003;3080=15;"
       L"3081=0;3082=1640416.6666666667;3083=0;3092=0.9996"},
      {Together(L"4326", L"grad", nullptr, nullptr, nullptr), L""},
      {Together(L"32633", L"other", nullptr, nullptr, nullptr), L""},
      {Together(L"4326", nullptr, L"ESRI", L"115700", nullptr, KprjDepth), L""},
  };
  for (const auto& row : rows) {
    const std::wstring moniker = Translate(L"KPRJ", CodeOf(row.crs), kMoniker);
    EXPECT_EQ(moniker, row.moniker);
    // PROJ keeps 15 digits of a parameter that has been written.
    const std::size_t exact = std::min(std::wstring(row.moniker).find(L"6667;"), std::wstring(row.moniker).size());
    if (moniker.empty()) continue;
    // What the moniker makes is the same system again.
    EXPECT_EQ(Translate(kMoniker, moniker, kMoniker), moniker);
    const CRSPtr back = Crs(kMoniker, moniker);
    EXPECT_EQ(back->getCoordinateSystem()->getDimension(), row.crs->getCoordinateSystem()->getDimension());
    EXPECT_EQ(Translate(L"KPRJ", Translate(kMoniker, moniker, L"KPRJ"), kMoniker).substr(0, exact),
              moniker.substr(0, exact));
    for (int axis = 0; axis < back->getCoordinateSystem()->getDimension(); ++axis)
      EXPECT_EQ(back->getCoordinateSystem()->getAxis(axis)->getUnit()->getName(),
                row.crs->getCoordinateSystem()->getAxis(axis)->getUnit()->getName());
  }
}

/// Systems of ESRI that EPSG doesn't have, every fourth: to see that takes PROJ 30 to 60 ms each.
TEST(Moniker, ProjectionsByTheirParametersAreTheSame) {
  std::vector<registry::Entry> entries;
  std::size_t at = 0;
  for (const registry::Entry& entry : registry::Proj().Systems("ESRI"))
    if (!entry.deprecated && entry.type == PJ_TYPE_PROJECTED_CRS && ++at % 4 == 0) entries.push_back(entry);
  std::mutex mutex;
  std::set<std::wstring> methods;
  std::size_t written = 0;
  registry::ForAll(entries, [&](const registry::Entry& entry) {
    const std::wstring moniker = Translate(L"ESRI", entry.code, kMoniker);
    if (moniker.empty()) return;
    const CRSPtr back = Crs(kMoniker, moniker);
    EXPECT_EQ(back->getCoordinateSystem()->getAxis(0)->getUnit()->getName(),
              Crs(L"ESRI", entry.code)->getCoordinateSystem()->getAxis(0)->getUnit()->getName());
    const std::lock_guard lock(mutex);
    ++written;
    const std::size_t method = moniker.find(L";3075=");
    if (method != std::wstring::npos)
      methods.insert(moniker.substr(method + 6, moniker.find(L';', method + 1) - method - 6));
  });
  EXPECT_GE(written * 10, entries.size() * 7) << "nearly three of four can be written";
  EXPECT_GE(methods.size(), 4U);
}

TEST(Moniker, TextsThatAreNoneAreTold) {
  const std::pair<const wchar_t*, const wchar_t*> rows[] = {
      {L"", L"expected KEY=VALUE"},
      {L"1024", L"found \"1024\", expected KEY=VALUE"},
      {L"1024=1;", L"found \"\", expected KEY=VALUE"},
      {L"1024=7", L"the key 1024 is not 0, 1 or 2"},
      {L"1024=+1;3072=32633", L"expected a number from 0 to 65535"},
      {L"01024=1;3072=32633", L"expected KEY=VALUE"},
      {L"3072=32633;1024=1", L"the key 1024 stands behind 3072; keys rise"},
      {L"1024=1;1024=1", L"keys rise"},
      {L"1024=1;3071=5", L"the key 3071 is not known"},
      {L"1024=1;3072=4326", L"EPSG:4326 is not what its key is for"},
      {L"1024=2;2048=32633", L"EPSG:32633 is not what its key is for"},
      {L"1024=1;3072=99", L"no code of EPSG"},
      {L"1024=1;2048=4326;3072=32633", L"don't go together"},
      {L"1024=0", L"don't go together"},
      {L"1024=0;4096=4326", L"neither a vertical nor a geographic 3D system"},
      {L"1024=0;4096=32767;4098=1;4099=9001", L"the key 4098 is no vertical datum of EPSG"},
      {L"1024=0;4096=5773;4099=9102", L"the key 4099 is no linear unit of EPSG"},
      {L"1024=1;3072=32767", L"the key 3074 is not 32767"},
      {L"1024=1;3072=32767;3074=32767;3075=99", L"no method has the number 99"},
      {L"1024=1;1026=a%zz;3072=32633", L"expected text with %3B"},
      {L"1024=1;1026=a;3072=32633", L"don't go together"},
  };
  for (const auto& [moniker, words] : rows) {
    const std::wstring text = ExplainMissingCRS(kMoniker, moniker);
    EXPECT_NE(text.find(words), std::wstring::npos) << kstr_ToUtf8(moniker) << ": " << kstr_ToUtf8(text);
  }
}

TEST(Moniker, NamesAreEscaped) {
  std::wstring reason;
  kprj::Moniker moniker;
  moniker.SetInt(kprj::KeyModel, 1);
  moniker.SetText(kprj::KeyName, L"a;b=c%d");
  moniker.SetNumber(3080, 1e-7);
  EXPECT_EQ(moniker.ToText(), L"1024=1;1026=a%3Bb%3Dc%25d;3080=0.0000001");
  const auto read = kprj::Moniker::Parse(moniker.ToText(), reason);
  ASSERT_TRUE(read);
  EXPECT_EQ(read->GetText(kprj::KeyName), L"a;b=c%d");
  EXPECT_EQ(read->GetNumber(3080), 1e-7);
  EXPECT_EQ(read->ToText(), moniker.ToText());
}

TEST(Moniker, WhatACsfFileCanHold) {
  const struct {
    const wchar_t* moniker;
    bool supported;
    const wchar_t* adjusted;
  } rows[] = {
      {L"1024=1;3072=32633", true, L"1024=1;3072=32633"},
      {L"1024=2;2048=4979", true, L"1024=2;2048=4979"},
      {L"1024=1;3072=32633;4096=5773", true, L"1024=1;3072=32633;4096=5773"},
      {L"1024=1;3072=32633;4096=4979;4099=9003", false, L"1024=1;3072=32633"},
      {L"1024=1;3072=32633;4096=32767;4098=5171;4099=9002;32768=1", false, L"1024=1;3072=32633"},
      {L"1024=0;4096=5773", false, L"1024=0;4096=5773"},
      {L"1024=1;2048=4326;3072=32767;3074=32767", false, L"1024=1;2048=4326;3072=32767;3074=32767"},
      {L"no moniker", false, L"no moniker"},
      {L"", false, L""},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(kprj::IsMonikerForCSF(row.moniker), row.supported) << kstr_ToUtf8(row.moniker);
    EXPECT_EQ(kprj::AdjustMonikerForCSF(row.moniker), row.adjusted);
  }
}

}  // namespace
