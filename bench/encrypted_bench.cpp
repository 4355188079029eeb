// Opening an encrypted document against opening the plain one that is inside of it.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <string>

#include "kcommon/kstr.h"
#include "txlib/document.h"
#include "txlib/factories.h"
#include "txlib/model.h"

namespace {

namespace tx = Tamrin::Tessera;

constexpr const wchar_t* kEncrypted = L"EncryptedTesseraModelFormat";
constexpr std::size_t kSize = 5'000'000;

/// A chain of operators whose plain document, as it is saved, has 5 MB.
const boost::shared_ptr<tx::Model>& LargeModel() {
  static const boost::shared_ptr<tx::Model> model = [] {
    std::string nodes = R"({"id": "a0", "operator": "VANTIX.ToString", "values": {"Data": 1.5}})", connections;
    for (std::size_t i = 1; i < kSize / 130; ++i) {
      const std::string id = "a" + std::to_string(i);
      nodes += R"(, {"id": ")" + id + R"(", "operator": "VANTIX.ToString"})";
      connections += std::string(i > 1 ? ", " : "") + R"({"from": "a)" + std::to_string(i - 1) +
                     R"(.String", "to": ")" + id + R"(.Data"})";
    }
    return tx::PlainDocument::Open(R"({"format": "TesseraModelFormat", "version": 1, "operators": [)" + nodes +
                                   R"(], "connections": [)" + connections + "]}");
  }();
  return model;
}

void Open(benchmark::State& state, const std::wstring& text, const wchar_t* format, bool isFresh) {
  std::wstring blanks;
  for (auto _ : state) {
    state.PauseTiming();
    // A plain text that was opened before would not be parsed again.
    if (isFresh) blanks += L' ';
    const std::wstring asked = text + blanks;
    state.ResumeTiming();
    auto model = tx::ModelFormatFactory::OpenFromBuffer(asked, format);
    if (model->GetOperators().size() != LargeModel()->GetOperators().size()) std::abort();
    state.PauseTiming();
    model.reset();
    state.ResumeTiming();
  }
}

void OpenPlainOf5MB(benchmark::State& state) {
  const std::wstring text = tx::ModelFormatFactory::SaveToBuffer(LargeModel(), L"TesseraModelFormat");
  if (text.size() < kSize) state.SkipWithError("the document is too small");
  state.counters["MB"] = static_cast<double>(text.size()) / 1e6;
  Open(state, text, L"TesseraModelFormat", true);
}
BENCHMARK(OpenPlainOf5MB)->Unit(benchmark::kMillisecond);

/// Asked: at most one and a half of OpenPlainOf5MB.
void OpenEncryptedOf5MB(benchmark::State& state) {
  Open(state, tx::ModelFormatFactory::SaveToBuffer(LargeModel(), kEncrypted), kEncrypted, true);
  state.SetLabel("vs OpenPlainOf5MB");
}
BENCHMARK(OpenEncryptedOf5MB)->Unit(benchmark::kMillisecond);

void SavePlainOf5MB(benchmark::State& state) {
  for (auto _ : state)
    benchmark::DoNotOptimize(tx::ModelFormatFactory::SaveToBuffer(LargeModel(), L"TesseraModelFormat"));
}
BENCHMARK(SavePlainOf5MB)->Unit(benchmark::kMillisecond);

void SaveEncryptedOf5MB(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(tx::ModelFormatFactory::SaveToBuffer(LargeModel(), kEncrypted));
  state.SetLabel("vs SavePlainOf5MB");
}
BENCHMARK(SaveEncryptedOf5MB)->Unit(benchmark::kMillisecond);

}  // namespace
