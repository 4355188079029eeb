// Matrices and tables against the same work in numpy, which tells its own time.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "kcommon/kerr.h"
#include "kcommon/kgda.h"
#include "txbasiclib/basicvalues.h"
#include "txbasiclib/collections.h"
#include "txlib/factories.h"
#include "txlib/operator.h"
#include "txlib/portaccess.h"

namespace {

namespace tx = Tamrin::Tessera;
namespace basic = Tamrin::TesseraBasic;

constexpr std::int32_t kTableRows = 10'000'000;
constexpr std::int32_t kFileRows = 1'000'000;
constexpr std::int32_t kSide = 10'000;

/// Seconds that a piece of Python says it took: `setup`, then the best of three rounds of `work`.
void TimeNumpy(benchmark::State& state, const std::string& setup, const std::string& work) {
  const std::string program = "import numpy as np, time, io\nrandom = np.random.default_rng(1)\n" + setup +
                              "\ntimes = []\nfor _ in range(3):\n  start = time.perf_counter()\n  " + work +
                              "\n  times.append(time.perf_counter() - start)\nprint(min(times))\n";
  for (auto _ : state) {
    const std::unique_ptr<FILE, int (*)(FILE*)> pipe(::popen(("/usr/bin/python3 -c '" + program + "'").c_str(), "r"),
                                                     &::pclose);
    double seconds = 0;
    if (!pipe || std::fscanf(pipe.get(), "%lf", &seconds) != 1) {
      state.SkipWithError("python3 with numpy is needed");
      break;
    }
    state.SetIterationTime(seconds);
  }
}

#define NUMPY_BENCHMARK(name, setup, work)                              \
  void name(benchmark::State& state) { TimeNumpy(state, setup, work); } \
  BENCHMARK(name)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond)

boost::shared_ptr<basic::Table> RandomTable(std::int32_t rows) {
  const auto table = basic::CreateTable(rows, KgdaFloat64);
  std::mt19937_64 random(1);
  auto* const elements = static_cast<double*>(table->GetRawData());
  for (std::int32_t row = 0; row < rows; ++row) elements[row] = static_cast<double>(random() >> 11) * 0x1p-53;
  return table;
}

NUMPY_BENCHMARK(NumpyTake, "a = random.random(10_000_000); i = random.integers(0, 10_000_000, 10_000_000)",
                "a.take(i)");

void TableGetSubset(benchmark::State& state) {
  const auto table = RandomTable(kTableRows);
  std::mt19937_64 random(2);
  std::vector<unsigned> rows(kTableRows);
  for (unsigned& row : rows) row = static_cast<unsigned>(random() % kTableRows);
  for (auto _ : state) benchmark::DoNotOptimize(table->GetSubset(rows));
  state.SetLabel("vs NumpyTake/iterations:1/manual_time");
}
BENCHMARK(TableGetSubset)->Unit(benchmark::kMillisecond);

std::string TableText() {
  KerrException error(L"bench", L"TableText");
  return kgda_BaseDataStackToAscii(RandomTable(kFileRows)->GetStack(), error);
}

NUMPY_BENCHMARK(NumpyLoadtxt, "text = \"\\n\".join(map(repr, random.random(1_000_000).tolist()))",
                "np.loadtxt(io.StringIO(text))");
NUMPY_BENCHMARK(NumpySavetxt, "a = random.random(1_000_000)", "np.savetxt(io.StringIO(), a)");

void ReadTableText(benchmark::State& state) {
  const std::string text = TableText();
  KerrException error(L"bench", L"ReadTableText");
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        kgda_BaseDataStackFromAscii(text, L"text", KgdaBaseDataStack::KindTable, Kgda_PlainText::Numbers, error));
  }
  if (error.IsPending()) std::abort();
  state.SetLabel("vs NumpyLoadtxt/iterations:1/manual_time");
}
BENCHMARK(ReadTableText)->Unit(benchmark::kMillisecond);

void WriteTableText(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(TableText());
  state.SetLabel("vs NumpySavetxt/iterations:1/manual_time");
}
BENCHMARK(WriteTableText)->Unit(benchmark::kMillisecond);

boost::shared_ptr<basic::MatrixData> BigMatrix() {
  static const auto matrix = [] {
    const auto made = basic::CreateMatrix(kSide, kSide, KgdaFloat64);
    auto* const elements = static_cast<double*>(made->GetMutableStack().GetLayer(0).data);
    std::iota(elements, elements + std::int64_t{kSide} * kSide, 0.0);
    return boost::make_shared<basic::MatrixData>(made);
  }();
  return matrix;
}

/// Runs an operator again and again; what it made before is dropped first.
void RunOperator(benchmark::State& state, const boost::shared_ptr<tx::Operator>& op) {
  for (auto _ : state) {
    op->SetExecuted(false);
    op->Execute();
  }
}

/// Big matrices are read once and written once into fresh memory.
void ReadAndWriteMatrix(benchmark::State& state) {
  const auto& from = BigMatrix()->GetDataPointer()->GetStack().GetLayer(0);
  const auto copyOnce = [&from] {
    KgdaBaseDataStack copy(KgdaBaseDataStack::KindMatrix);
    std::memcpy(copy.AddLayer(kSide, kSide, KgdaFloat64).data, from.data, from.rowStride * kSide);
    benchmark::DoNotOptimize(copy);
  };
  copyOnce();  // the system finds its huge pages
  for (auto _ : state) copyOnce();
}
BENCHMARK(ReadAndWriteMatrix)->Unit(benchmark::kMillisecond);

void NormalizeMatrix(benchmark::State& state) {
  const auto op = tx::OperatorFactory::Create(L"VANTIX", L"CustomMatrixInput");
  op->GetPort(L"Value")->SetData(BigMatrix());
  op->GetPort(L"Normalize")->SetData(tx::MakeData<tx::BoolData>(true));
  RunOperator(state, op);
  state.SetLabel("vs ReadAndWriteMatrix");
}
BENCHMARK(NormalizeMatrix)->Unit(benchmark::kMillisecond);

NUMPY_BENCHMARK(NumpyIx, "a = np.arange(1e8).reshape(10_000, 10_000); r = np.arange(10_000)", "a[np.ix_(r, r)]");

void SubsetMatrix(benchmark::State& state) {
  const auto op = tx::OperatorFactory::Create(L"VANTIX", L"MatrixSubset");
  const basic::RangeVector all{basic::RangeClass(0, kSide - 1)};
  op->GetPort(L"MatrixIn")->SetData(BigMatrix());
  for (const wchar_t* port : {L"RowRangeList", L"ColumnRangeList"})
    op->GetPort(port)->SetData(tx::MakeData<basic::RangeListData>(all));
  RunOperator(state, op);
  state.SetLabel("vs NumpyIx/iterations:1/manual_time");
}
BENCHMARK(SubsetMatrix)->Unit(benchmark::kMillisecond);

void GrowMatrix(benchmark::State& state) {
  const auto op = tx::OperatorFactory::Create(L"VANTIX", L"ResizeMatrix");
  op->GetPort(L"MatrixIn")->SetData(BigMatrix());
  op->GetPort(L"NumRows")->SetData(tx::MakeData<tx::UnsignedData>(kSide + 1u));
  op->GetPort(L"NumColumns")->SetData(tx::MakeData<tx::UnsignedData>(unsigned{kSide}));
  RunOperator(state, op);
  state.SetLabel("vs ReadAndWriteMatrix");
}
BENCHMARK(GrowMatrix)->Unit(benchmark::kMillisecond);

void SetMatrixRow(benchmark::State& state) {
  const auto op = tx::OperatorFactory::Create(L"VANTIX", L"SetMatrixValues");
  op->GetPort(L"MatrixIn")->SetData(BigMatrix());
  op->GetPort(L"Values")->SetData(tx::MakeData<tx::DoubleData>(1.0));
  op->GetPort(L"RowRangeList")->SetData(tx::MakeData<basic::RangeListData>(basic::RangeVector{{5, 5}}));
  RunOperator(state, op);
  state.SetLabel("vs ReadAndWriteMatrix");
}
BENCHMARK(SetMatrixRow)->Unit(benchmark::kMillisecond);

}  // namespace
