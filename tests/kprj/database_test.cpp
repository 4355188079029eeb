// Every system of the registries, through every form and back.
#include "registry.h"

namespace {

using registry::Entry;
using registry::Outcome;
using registry::Proj;
using registry::Translate;

/// All that an ESRI text defines.
std::string WithoutName(const std::string& text) { return text.substr(std::min(text.find(','), text.size())); }

/// No result is better than a wrong one: what came back as another code is equivalent to what went in.
void ExpectNoneWrong(const Outcome& outcome, const char* authority, bool byText = false) {
  const Proj proj;
  for (const auto& [entry, back] : outcome.Others()) {
    if (back.empty() || proj.AreEquivalent(authority, entry.code, back)) continue;
    EXPECT_TRUE(byText &&
                WithoutName(proj.EsriText(authority, entry.code)) == WithoutName(proj.EsriText(authority, back)))
        << kstr_ToUtf8(entry.code) << " came back as " << kstr_ToUtf8(back);
  }
}

Outcome& ThereAndBack(Outcome& outcome, const wchar_t* authority, const wchar_t* to,
                      const std::vector<Entry>& entries) {
  registry::ForAll(entries, [&](const Entry& entry) {
    const std::wstring there = Translate(authority, entry.code, to);
    outcome.Add(entry, there.empty() ? std::wstring() : Translate(to, there, authority));
  });
  return outcome;
}

TEST(Database, HoldsWhatTheFiguresAreMeasuredOn) {
  const auto entries = Proj().Systems("EPSG");
  const auto deprecated = std::count_if(entries.begin(), entries.end(), [](const Entry& e) { return e.deprecated; });
  EXPECT_GE(entries.size(), 7007U);
  EXPECT_GE(entries.size() - static_cast<std::size_t>(deprecated), 6520U);
}

TEST(Database, EpsgToKprjAndBack) {
  Outcome outcome;
  ThereAndBack(outcome, L"EPSG", L"KPRJ", Proj().Systems("EPSG"));
  EXPECT_TRUE(outcome.Others().empty()) << outcome.Report();
}

TEST(Database, EpsgSplitBuiltAndFoundAgain) {
  Outcome outcome;
  const auto kprj = registry::Kprj();
  registry::ForAll(Proj().Systems("EPSG"), [&](const Entry& entry) {
    kprj::ProjectionHolder projection;
    kprj::ElevationHolder elevation;
    std::wstring units;
    kprj->SplitCRS(registry::Crs(L"EPSG", entry.code), projection, units, elevation);
    const auto crs = kprj->CreateCRSFromParts(projection.get(), units, elevation.get());
    outcome.Add(entry, Translate(L"KPRJ", registry::CodeOf(crs), L"EPSG"));
  });
  EXPECT_TRUE(outcome.CurrentOthers().empty()) << outcome.Report();
  EXPECT_GE(outcome.Same(true), 480U) << outcome.Report();
  ExpectNoneWrong(outcome, "EPSG");
}

TEST(Database, EpsgToMonikerAndBack) {
  Outcome outcome;
  ThereAndBack(outcome, L"EPSG", L"GeoKey Moniker", Proj().Systems("EPSG"));
  // Its method is one of three dimensions.
  EXPECT_EQ(outcome.CurrentOthers(), std::set<std::wstring>{L"9895"}) << outcome.Report();
  EXPECT_GE(outcome.Same(true), 477U) << outcome.Report();
  ExpectNoneWrong(outcome, "EPSG");
}

/// Reading such a text takes PROJ several milliseconds; the parts can run beside each other.
class DatabasePart : public testing::TestWithParam<std::size_t> {};
constexpr std::size_t kParts = 4;

TEST_P(DatabasePart, EpsgToPrjAndBack) {
  const std::set<std::wstring> exceptions{
      L"3139",  L"3993",   // methods that ESRI's files don't have
      L"4037",  L"4038",   // the same as 32635 and 32636 but for the order of axes, which such a file doesn't have
      L"32661", L"32761",  // so with 5041 and 5042
      L"9754",  L"9755",   // WGS 84 (G2139), which such a file calls WGS 84
  };
  const auto all = Proj().Systems("EPSG");
  std::vector<Entry> entries;
  std::set<std::wstring> expected;
  for (std::size_t i = GetParam(); i < all.size(); i += kParts) {
    entries.push_back(all[i]);
    if (exceptions.count(all[i].code) != 0) expected.insert(all[i].code);
  }
  Outcome outcome;
  ThereAndBack(outcome, L"EPSG", L"PRJ", entries);
  EXPECT_EQ(outcome.CurrentOthers(), expected) << outcome.Report();
  ExpectNoneWrong(outcome, "EPSG", true);
}

INSTANTIATE_TEST_SUITE_P(Quarters, DatabasePart, testing::Range<std::size_t>(0, kParts));

TEST(Database, EsriToPrjAndBack) {
  Outcome outcome;
  std::vector<Entry> current = Proj().Systems("ESRI");
  std::erase_if(current, [](const Entry& entry) { return entry.deprecated; });
  ThereAndBack(outcome, L"ESRI", L"PRJ", current);
  EXPECT_GE(current.size(), 1724U);
  EXPECT_TRUE(outcome.CurrentOthers().empty()) << outcome.Report();
  ExpectNoneWrong(outcome, "ESRI", true);
}

}  // namespace
