// Coordinate reference systems examined in an Iterator, next to the same operator in a plain loop.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <string>

#include "kcommon/kerr.h"
#include "txgeospatiallib/coordinatereferencesystemid.h"
#include "txlib/factories.h"
#include "txlib/model.h"
#include "txlib/portaccess.h"

namespace {

namespace tx = Tamrin::Tessera;
using Tamrin::TesseraGeospatial::CoordinateReferenceSystemID;
using Tamrin::TesseraGeospatial::CoordinateReferenceSystemIDData;

constexpr int kCodes = 1000;

const wchar_t* const kExamineEach =
    LR"({"format": "TesseraModelFormat", "version": 1,
  "ports": [{"name": "CRS", "alias": "each.CRS"}, {"name": "Parameters", "alias": "each.Parameters"}],
  "operators": [{"id": "each", "operator": "VANTIX.Iterator", "model": {
    "ports": [{"name": "CRS", "alias": "look.CRS"}, {"name": "Parameters", "alias": "look.CRSParameters"}],
    "operators": [{"id": "look", "operator": "VANTIX.ExamineCRSID"}]}}]})";

/// A thousand codes of map projections in a row: the registry has nearly all of them.
CoordinateReferenceSystemID Code(int index) { return {L"EPSG", std::to_wstring(2000 + index)}; }

void ExamineCodes(benchmark::State& state, const wchar_t* method, unsigned threads) {
  kerr_SetSessionLogSink({});
  const auto model = tx::ModelFormatFactory::OpenFromBuffer(kExamineEach, L"TesseraModelFormat");
  model->GetEnvironment()->SetNumThreads(threads);
  model->GetOperators().front()->GetPort(L"ExecutionMethod")->SetData(tx::MakeData<tx::StringData>(method));
  tx::DataList items;
  for (int index = 0; index < kCodes; ++index)
    items.push_back(tx::MakeData<CoordinateReferenceSystemIDData>(Code(index)));
  const auto codes = tx::MakeData<tx::DataListData>(std::move(items));
  for (auto _ : state) {
    model->GetPort(L"CRS")->SetData(codes);
    model->Execute();
  }
  if (!model->GetPort(L"Parameters")->GetExistingData()) std::abort();
  state.SetLabel("vs ExamineOneByOne/real_time");
  state.SetItemsProcessed(state.iterations() * kCodes);
}

/// The systems are not known yet: libraries are loaded, definitions read.
void ExamineCodesAtFirst(benchmark::State& state) { ExamineCodes(state, L"InProcessSerial", 1); }
BENCHMARK(ExamineCodesAtFirst)->UseRealTime()->Iterations(1)->Unit(benchmark::kMillisecond);

/// One operator that is given one code after the other, by hand.
void ExamineOneByOne(benchmark::State& state) {
  const auto look = tx::OperatorFactory::Create(L"VANTIX", L"ExamineCRSID");
  for (auto _ : state) {
    for (int index = 0; index < kCodes; ++index) {
      look->GetPort(L"CRS")->SetData(tx::MakeData<CoordinateReferenceSystemIDData>(Code(index)));
      look->Execute();
    }
  }
  if (!look->GetPort(L"CRSParameters")->GetExistingData()) std::abort();
  state.SetItemsProcessed(state.iterations() * kCodes);
}
BENCHMARK(ExamineOneByOne)->UseRealTime()->Unit(benchmark::kMillisecond);

void ExamineCodesSerially(benchmark::State& state) { ExamineCodes(state, L"InProcessSerial", 1); }
BENCHMARK(ExamineCodesSerially)->UseRealTime()->Unit(benchmark::kMillisecond);

void ExamineCodesOnTwoThreads(benchmark::State& state) { ExamineCodes(state, L"InProcessParallel", 2); }
BENCHMARK(ExamineCodesOnTwoThreads)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace
