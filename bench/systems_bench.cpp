#include <benchmark/benchmark.h>
#include <proj.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include "kcommon/kstr.h"
#include "kprj/crsfactory.h"
#include "referencing/authority.h"

namespace {

using coordinateReferencing::AuthorityTranslationSupport;
using coordinateReferencing::ReferencingFactoryFinder;

PJ_CONTEXT* Context() {
  static PJ_CONTEXT* const context = ::proj_context_create();
  return context;
}

/// Every tenth projected system of EPSG.
const std::vector<std::string>& Codes() {
  static const std::vector<std::string> codes = [] {
    std::vector<std::string> chosen;
    char** const list = ::proj_get_codes_from_database(Context(), "EPSG", PJ_TYPE_PROJECTED_CRS, 0);
    for (int i = 0; list && list[i]; ++i)
      if (i % 10 == 0) chosen.push_back(list[i]);
    ::proj_string_list_destroy(list);
    return chosen;
  }();
  return codes;
}

void CountCodes(benchmark::State& state, const char* other = nullptr) {
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * Codes().size()));
  if (other) state.SetLabel(std::string("vs ") + other);
}

void CrsByProj(benchmark::State& state) {
  for (auto _ : state) {
    for (const std::string& code : Codes()) {
      PJ* const system = ::proj_create_from_database(Context(), "EPSG", code.c_str(), PJ_CATEGORY_CRS, 0, nullptr);
      if (!system) std::abort();
      ::proj_destroy(system);
    }
  }
  CountCodes(state);
}
BENCHMARK(CrsByProj)->Unit(benchmark::kMillisecond);

/// The first run makes them; the others ask for what was made.
void CrsByCodeCached(benchmark::State& state) {
  const auto factory = ReferencingFactoryFinder::getCRSAuthorityFactory(L"EPSG");
  for (auto _ : state)
    for (const std::string& code : Codes())
      if (!factory->tryCreateCoordinateReferenceSystem(kstr_Widen(code))) std::abort();
  CountCodes(state, "CrsByProj");
}
BENCHMARK(CrsByCodeCached)->Unit(benchmark::kMillisecond);

/// Named codes that were never asked for before: the same systems with all that is known of them, made anew.
void CrsByCodeFirst(benchmark::State& state) {
  const auto factory = ReferencingFactoryFinder::getCRSAuthorityFactory(L"KPRJ");
  static int round = 0;
  for (auto _ : state) {
    const std::wstring start =
        L"VANTIX/Predefined/Coordinate Reference Systems/2D/Round " + std::to_wstring(++round) + L"/x [EPSG:";
    for (const std::string& code : Codes())
      if (!factory->tryCreateCoordinateReferenceSystem(start + kstr_Widen(code) + L"]")) std::abort();
  }
  CountCodes(state, "CrsByProj");
}
BENCHMARK(CrsByCodeFirst)->Unit(benchmark::kMillisecond);

/// To an authority and back, once; later runs find everything in the cache.
template <int to>
void TranslateAndBack(benchmark::State& state) {
  const wchar_t* const authorities[] = {L"KPRJ", L"GeoKey Moniker", L"PRJ"};
  std::wstring there, back;
  for (auto _ : state)
    for (const std::string& code : Codes()) {
      AuthorityTranslationSupport::TranslateCode(L"EPSG", kstr_Widen(code), authorities[to], there, false);
      if (!there.empty()) AuthorityTranslationSupport::TranslateCode(authorities[to], there, L"EPSG", back, false);
    }
  CountCodes(state, "CrsByProj");
}
BENCHMARK_TEMPLATE(TranslateAndBack, 0)
    ->Name("TranslateToKprjAndBackFirst")
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1);
BENCHMARK_TEMPLATE(TranslateAndBack, 0)->Name("TranslateToKprjAndBackCached")->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(TranslateAndBack, 1)
    ->Name("TranslateToMonikerAndBackFirst")
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1);
BENCHMARK_TEMPLATE(TranslateAndBack, 2)
    ->Name("TranslateToPrjAndBackFirst")
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1);
BENCHMARK_TEMPLATE(TranslateAndBack, 2)->Name("TranslateToPrjAndBackCached")->Unit(benchmark::kMillisecond);

void SplitAndBuild(benchmark::State& state) {
  const auto epsg = ReferencingFactoryFinder::getCRSAuthorityFactory(L"EPSG");
  const auto kprj =
      boost::dynamic_pointer_cast<kprj::ICRSFactory>(ReferencingFactoryFinder::getCRSAuthorityFactory(L"KPRJ"));
  for (auto _ : state)
    for (const std::string& code : Codes()) {
      kprj::ProjectionHolder projection;
      kprj::ElevationHolder elevation;
      std::wstring units;
      kprj->SplitCRS(epsg->tryCreateCoordinateReferenceSystem(kstr_Widen(code)), projection, units, elevation);
      benchmark::DoNotOptimize(kprj->CreateCRSFromParts(projection.get(), units, elevation.get()));
    }
  CountCodes(state, "CrsByProj");
}
BENCHMARK(SplitAndBuild)->Unit(benchmark::kMillisecond);

}  // namespace
