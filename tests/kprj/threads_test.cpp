#include <gtest/gtest.h>

#include "kprj/korvendatum.h"
#include "registry.h"

namespace {

using registry::Crs;
using registry::Translate;

/// What one thread does: systems shared with the others, all forms, and parts.
void Work(unsigned seed, std::vector<std::wstring>& results) {
  const wchar_t* const codes[] = {L"4326", L"4979", L"32633", L"2263", L"5773", L"7405", L"4807", L"5831"};
  const auto kprj = registry::Kprj();
  for (unsigned i = 0; i < std::size(codes); ++i) {
    const std::wstring code = codes[(i + seed) % std::size(codes)];
    const auto crs = Crs(L"EPSG", code);
    std::wstring result = code + L" " + std::to_wstring(crs->getCoordinateSystem()->getDimension());
    for (const wchar_t* to : {L"PRJ", L"KPRJ", L"GeoKey Moniker", L"ESRI"}) {
      const std::wstring there = Translate(L"EPSG", code, to);
      result += L" " + (there.empty() ? std::wstring(L"-") : Translate(to, there, L"EPSG"));
    }
    kprj::ProjectionHolder projection;
    kprj::ElevationHolder elevation;
    std::wstring units;
    kprj->SplitCRS(crs, projection, units, elevation);
    result += L" " + registry::CodeOf(kprj->CreateCRSFromParts(projection.get(), units, elevation.get()));
    if (elevation)
      result += std::to_wstring(KorvenDatum::DatumManager::GetInstance().GetDatumType(elevation->datumName));
    results.push_back(result);
  }
  std::sort(results.begin(), results.end());
}

TEST(Threads, ShareSystemsAndCaches) {
  std::vector<std::vector<std::wstring>> results(8);
  std::vector<std::thread> threads;
  for (unsigned i = 0; i < results.size(); ++i) threads.emplace_back([&results, i] { Work(i, results[i]); });
  for (std::thread& thread : threads) thread.join();
  for (const auto& one : results) {
    EXPECT_EQ(one, results[0]);
    EXPECT_EQ(one.size(), 8U);
  }
  EXPECT_NE(std::find_if(results[0].begin(), results[0].end(),
                         [](const std::wstring& text) { return text.find(L"4326 2 4326 4326 4326") == 0; }),
            results[0].end())
      << kstr_ToUtf8(results[0][0]);
}

TEST(Threads, AnObjectOutlivesTheThreadThatMadeIt) {
  iso::referencing::crs::CRSPtr crs;
  std::thread([&crs] { crs = Crs(L"EPSG", L"25832"); }).join();
  EXPECT_EQ(crs->getName(), L"ETRS89 / UTM zone 32N");
  EXPECT_EQ(Translate(L"EPSG", L"25832", L"GeoKey Moniker"), L"1024=1;3072=25832");
}

}  // namespace
