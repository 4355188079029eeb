// Tables through their operators, against a copy of their bytes and against the same work in numpy.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "arraybench.h"
#include "kcommon/kerr.h"
#include "kcommon/kgda.h"
#include "txbasiclib/basicvalues.h"
#include "txbasiclib/collections.h"
#include "txlib/factories.h"
#include "txlib/portaccess.h"

namespace {

namespace tx = Tamrin::Tessera;
namespace basic = Tamrin::TesseraBasic;
using DataPtr = boost::shared_ptr<tx::Data>;

constexpr std::int32_t kTableRows = 10'000'000;
constexpr std::int32_t kFileRows = 1'000'000;
constexpr std::int32_t kTables = 100;

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

DataPtr BigTable() {
  static const DataPtr table = boost::make_shared<basic::TableData>(RandomTable(kTableRows));
  return table;
}

/// A table is read once and written once into fresh memory.
void CopyTable(benchmark::State& state) {
  const auto table = RandomTable(kTableRows);
  const auto copyOnce = [&table] {
    KgdaBaseDataStack copy(KgdaBaseDataStack::KindTable);
    std::memcpy(copy.AddLayer(kTableRows, 1, KgdaFloat64).data, table->GetRawData(), sizeof(double) * kTableRows);
    benchmark::DoNotOptimize(copy);
  };
  copyOnce();  // the system finds its huge pages
  for (auto _ : state) copyOnce();
}
BENCHMARK(CopyTable)->Unit(benchmark::kMillisecond);

using Inputs = std::vector<std::pair<const wchar_t*, DataPtr>>;

void RunOnTables(benchmark::State& state, const wchar_t* name, const Inputs& inputs, const char* label) {
  const auto op = tx::OperatorFactory::Create(L"VANTIX", name);
  for (const auto& [port, data] : inputs) op->GetPort(port)->SetData(data);
  arraybench::RunOperator(state, op);
  state.SetLabel(label);
}

#define TABLE_BENCHMARK(function, name, label, ...)                                               \
  void function(benchmark::State& state) { RunOnTables(state, name, Inputs __VA_ARGS__, label); } \
  BENCHMARK(function)->Unit(benchmark::kMillisecond)

DataPtr Ranges(basic::RangeVector ranges) { return tx::MakeData<basic::RangeListData>(std::move(ranges)); }
DataPtr One() { return tx::MakeData<tx::DoubleData>(1.0); }

TABLE_BENCHMARK(SetTableRow, L"SetTableValues", "vs CopyTable",
                {{L"TableIn", BigTable()}, {L"Values", One()}, {L"RangeList", Ranges({{5, 5}})}});
TABLE_BENCHMARK(SetAllTableRows, L"SetTableValues", "vs CopyTable",
                {{L"TableIn", BigTable()}, {L"Values", One()}, {L"RangeList", Ranges({{0, kTableRows - 1}})}});
TABLE_BENCHMARK(SetTableRowsFromTable, L"SetTableValues", "vs CopyTable",
                {{L"TableIn", BigTable()}, {L"Values", BigTable()}, {L"RangeList", Ranges({{0, kTableRows - 1}})}});
TABLE_BENCHMARK(GrowTable, L"ResizeTable", "vs CopyTable",
                {{L"TableIn", BigTable()}, {L"NumRows", tx::MakeData<tx::UnsignedData>(kTableRows + 1000u)}});
TABLE_BENCHMARK(AddTableBackground, L"AddBackgroundRow", "vs CopyTable", {{L"TableIn", BigTable()}});
TABLE_BENCHMARK(RemoveTableBackground, L"RemoveBackgroundRow", "vs CopyTable", {{L"TableIn", BigTable()}});

/// Between the types whose bytes are as many as those of the copy, or fewer.
void ConvertElements(benchmark::State& state) {
  const auto from = static_cast<Kgda_PixelType>(state.range(0)), to = static_cast<Kgda_PixelType>(state.range(1));
  const auto table = basic::ConvertTable(RandomTable(kTableRows), from);
  for (auto _ : state) benchmark::DoNotOptimize(basic::ConvertTable(table, to));
  state.SetLabel("vs CopyTable");
}
BENCHMARK(ConvertElements)
    ->ArgNames({"from", "to"})
    ->Args({KgdaUInt8, KgdaFloat64})
    ->Args({KgdaInt32, KgdaFloat64})
    ->Args({KgdaFloat32, KgdaFloat64})
    ->Args({KgdaFloat64, KgdaFloat32})
    ->Args({KgdaFloat64, KgdaInt16})
    ->Args({KgdaFloat64, KgdaUInt8})
    ->Unit(benchmark::kMillisecond);

DataPtr RandomRows() {
  std::mt19937_64 random(2);
  basic::RangeVector rows;
  for (std::int32_t row = 0; row < kTableRows; ++row) {
    const auto picked = static_cast<double>(random() % kTableRows);
    rows.emplace_back(picked, picked);
  }
  return Ranges(std::move(rows));
}

TABLE_BENCHMARK(SubsetTable, L"TableSubset", "vs NumpyTake/iterations:1/manual_time",
                {{L"TableIn", BigTable()}, {L"RangeList", RandomRows()}});

NUMPY_BENCHMARK(NumpyConcatenate, "parts = [random.random(100_000) for _ in range(100)]", "np.concatenate(parts)");

void CombineTables(benchmark::State& state) {
  tx::DataList tables;
  for (std::int32_t i = 0; i < kTables; ++i)
    tables.push_back(boost::make_shared<basic::TableData>(RandomTable(kTableRows / kTables)));
  RunOnTables(state, L"Combine", {{L"Collection1", tx::MakeData<tx::DataListData>(std::move(tables))}},
              "vs NumpyConcatenate/iterations:1/manual_time");
}
BENCHMARK(CombineTables)->Unit(benchmark::kMillisecond);

}  // namespace
