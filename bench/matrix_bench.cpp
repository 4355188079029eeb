// Matrices against the same work in numpy, which tells its own time.
#include <benchmark/benchmark.h>

#include <cstring>
#include <numeric>

#include "arraybench.h"
#include "kcommon/kgda.h"
#include "txbasiclib/basicvalues.h"
#include "txbasiclib/collections.h"
#include "txlib/factories.h"
#include "txlib/operator.h"
#include "txlib/portaccess.h"

namespace {

namespace tx = Tamrin::Tessera;
namespace basic = Tamrin::TesseraBasic;
using arraybench::RunOperator;

constexpr std::int32_t kSide = 10'000;

boost::shared_ptr<basic::MatrixData> BigMatrix() {
  static const auto matrix = [] {
    const auto made = basic::CreateMatrix(kSide, kSide, KgdaFloat64);
    auto* const elements = static_cast<double*>(made->GetMutableStack().GetLayer(0).data);
    std::iota(elements, elements + std::int64_t{kSide} * kSide, 0.0);
    return boost::make_shared<basic::MatrixData>(made);
  }();
  return matrix;
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
