// Opening, checking and saving documents, per operator, and how that grows with their size.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <string>

#include "kcommon/kstr.h"
#include "txlib/document.h"
#include "txlib/factories.h"
#include "txlib/model.h"

namespace {

namespace tx = Tamrin::Tessera;

/// A chain of operators that turn what comes in into text.
std::string ChainDocument(int operators) {
  std::string nodes = R"({"id": "a0", "operator": "VANTIX.ToString", "values": {"Data": 1.5}})";
  std::string connections;
  for (int i = 1; i < operators; ++i) {
    const std::string id = "a" + std::to_string(i);
    nodes += ",\n    {\"id\": \"" + id + "\", \"operator\": \"VANTIX.ToString\"}";
    connections += std::string(i > 1 ? "," : "") + "\n    {\"from\": \"a" + std::to_string(i - 1) +
                   ".String\", \"to\": \"" + id + ".Data\"}";
  }
  return "{\n  \"format\": \"TesseraModelFormat\",\n  \"version\": 1,\n  \"operators\": [\n    " + nodes +
         "],\n  \"connections\": [" + connections + "]\n}\n";
}

void SetItems(benchmark::State& state) { state.SetItemsProcessed(state.iterations() * state.range(0)); }

/// A text that was opened before is not parsed again: each round has one of its own.
void OpenDocument(benchmark::State& state) {
  const std::wstring text = kstr_FromUtf8Lossy(ChainDocument(static_cast<int>(state.range(0))));
  std::wstring blanks;
  for (auto _ : state) {
    state.PauseTiming();
    blanks += L' ';
    const std::wstring fresh = text + blanks;
    state.ResumeTiming();
    auto model = tx::ModelFormatFactory::OpenFromBuffer(fresh, L"TesseraModelFormat");
    if (model->GetOperators().back()->GetOperatorName() != L"ToString") std::abort();
    state.PauseTiming();
    model.reset();
    state.ResumeTiming();
  }
  SetItems(state);
}
BENCHMARK(OpenDocument)->Arg(50'000)->Unit(benchmark::kMillisecond);
BENCHMARK(OpenDocument)->Name("OpenDocumentOfTwice")->Arg(100'000)->Unit(benchmark::kMillisecond);

void OpenDocumentAgain(benchmark::State& state) {
  const std::wstring text = kstr_FromUtf8Lossy(ChainDocument(static_cast<int>(state.range(0))));
  for (auto _ : state) benchmark::DoNotOptimize(tx::ModelFormatFactory::OpenFromBuffer(text, L"TesseraModelFormat"));
  SetItems(state);
}
BENCHMARK(OpenDocumentAgain)->Arg(3);

void SaveDocument(benchmark::State& state) {
  const std::wstring text = kstr_FromUtf8Lossy(ChainDocument(static_cast<int>(state.range(0))));
  const auto model = tx::ModelFormatFactory::OpenFromBuffer(text, L"TesseraModelFormat");
  for (auto _ : state) benchmark::DoNotOptimize(tx::ModelFormatFactory::SaveToBuffer(model, L"TesseraModelFormat"));
  SetItems(state);
}
BENCHMARK(SaveDocument)->Arg(50'000)->Unit(benchmark::kMillisecond);
BENCHMARK(SaveDocument)->Name("SaveDocumentOfTwice")->Arg(100'000)->Unit(benchmark::kMillisecond);

}  // namespace
