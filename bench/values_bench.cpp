// Lists and dictionaries through their operators, next to plain loops over the same values.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/testoperators.h"
#include "txbasiclib/basicvalues.h"
#include "txlib/factories.h"

using namespace testsupport;

namespace {

using DataPtr = boost::shared_ptr<tx::Data>;
using Inputs = std::vector<std::pair<std::wstring, DataPtr>>;

constexpr std::size_t kMillion = 1'000'000;
constexpr std::size_t kKeys = 100'000;

boost::shared_ptr<tx::Operator> Made(const wchar_t* name, const Inputs& inputs) {
  const auto op = tx::OperatorFactory::Create(L"VANTIX", name);
  if (!op) throw std::runtime_error("The operator library is not there: VANTIX_HOME and ARCHM have to name it.");
  for (const auto& [port, data] : inputs) {
    if (!op->GetPort(port)) op->AddExpansionPorts();
    op->GetPort(port)->SetData(data);
  }
  return op;
}

/// Times runs of the operator. The results of the run before are let go outside of the time, as in the plain loops.
void RunAgain(benchmark::State& state, const wchar_t* name, const Inputs& inputs, std::size_t items,
              const char* label = "vs CopyPointers/real_time") {
  const auto op = Made(name, inputs);
  for (auto _ : state) {
    state.PauseTiming();
    op->SetExecuted(false);
    state.ResumeTiming();
    op->Execute();
  }
  state.SetLabel(label);
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * items));
}

/// Numbers in no order, each in a wrapper of its own.
const tx::DataList& Numbers() {
  static const tx::DataList numbers = [] {
    std::mt19937 random(7);
    std::uniform_real_distribution<double> within(0, 1e6);
    tx::DataList made;
    for (std::size_t index = 0; index < kMillion; ++index) made.push_back(NumberData(within(random)));
    return made;
  }();
  return numbers;
}

DataPtr NumberList() {
  static const DataPtr list = tx::MakeData<tx::DataListData>(Numbers());
  return list;
}

DataPtr HalfOf(bool second) {
  const auto& numbers = Numbers();
  const auto middle = numbers.begin() + kMillion / 2;
  return tx::MakeData<tx::DataListData>(second ? tx::DataList(middle, numbers.end())
                                               : tx::DataList(numbers.begin(), middle));
}

void CopyPointers(benchmark::State& state) {
  const auto& numbers = Numbers();
  tx::DataList copy;
  for (auto _ : state) {
    state.PauseTiming();
    tx::DataList().swap(copy);
    state.ResumeTiming();
    copy.reserve(numbers.size());
    for (const auto& number : numbers) copy.push_back(number);
    benchmark::DoNotOptimize(copy.data());
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * kMillion));
}
BENCHMARK(CopyPointers)->UseRealTime();

void CombineLists(benchmark::State& state) {
  RunAgain(state, L"Combine", {{L"Collection1", HalfOf(false)}, {L"Collection2", HalfOf(true)}}, kMillion);
}
BENCHMARK(CombineLists)->UseRealTime();

void ArrangeAllItems(benchmark::State& state) {
  Tamrin::TesseraBasic::RangeVector all{{0, kMillion - 1}};
  const auto ranges = tx::MakeData<Tamrin::TesseraBasic::RangeListData>(std::move(all));
  RunAgain(state, L"ArrangeItems", {{L"DataIn", NumberList()}, {L"RangeList", ranges}}, kMillion);
}
BENCHMARK(ArrangeAllItems)->UseRealTime();

void FindOneItem(benchmark::State& state) {
  RunAgain(state, L"FindItem", {{L"List", NumberList()}, {L"Item", Numbers()[kMillion / 2]}}, kMillion);
}
BENCHMARK(FindOneItem)->UseRealTime();

void FindOneItemOfAnyType(benchmark::State& state) {
  RunAgain(state, L"FindItem",
           {{L"List", NumberList()},
            {L"Item", tx::MakeData<tx::IntData>(-1)},
            {L"AttemptConversion", tx::MakeData<tx::BoolData>(true)}},
           kMillion);
}
BENCHMARK(FindOneItemOfAnyType)->UseRealTime();

void FindOneText(benchmark::State& state) {
  tx::DataList texts;
  for (std::size_t index = 0; index < kMillion; ++index) {
    texts.push_back(tx::MakeData<tx::StringData>(L"name " + std::to_wstring(index)));
  }
  const DataPtr wanted = texts[kMillion / 2];
  RunAgain(state, L"FindItem", {{L"List", tx::MakeData<tx::DataListData>(std::move(texts))}, {L"Item", wanted}},
           kMillion);
}
BENCHMARK(FindOneText)->UseRealTime();

void RemoveNoItems(benchmark::State& state) {
  RunAgain(state, L"RemoveEmptyItems", {{L"ListIn", NumberList()}}, kMillion);
}
BENCHMARK(RemoveNoItems)->UseRealTime();

void CountItems(benchmark::State& state) { RunAgain(state, L"NumItems", {{L"List", NumberList()}}, kMillion); }
BENCHMARK(CountItems)->UseRealTime();

void StableSortOfPointers(benchmark::State& state) {
  tx::DataList sorted;
  for (auto _ : state) {
    state.PauseTiming();
    sorted = Numbers();
    state.ResumeTiming();
    std::stable_sort(sorted.begin(), sorted.end(), [](const DataPtr& a, const DataPtr& b) {
      return static_cast<const tx::DoubleData&>(*a).GetDataValue() <
             static_cast<const tx::DoubleData&>(*b).GetDataValue();
    });
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * kMillion));
}
BENCHMARK(StableSortOfPointers)->UseRealTime();

void SortItemsOfDoubles(benchmark::State& state) {
  RunAgain(state, L"SortItems", {{L"DataIn", NumberList()}}, kMillion, "vs StableSortOfPointers/real_time");
}
BENCHMARK(SortItemsOfDoubles)->UseRealTime();

void SortItemsWithAnEmptyOne(benchmark::State& state) {
  tx::DataList items = Numbers();
  items[kMillion / 2].reset();
  RunAgain(state, L"SortItems", {{L"DataIn", tx::MakeData<tx::DataListData>(std::move(items))}}, kMillion,
           "vs StableSortOfPointers/real_time");
}
BENCHMARK(SortItemsWithAnEmptyOne)->UseRealTime();

void PullOneItem(benchmark::State& state) {
  const auto count = static_cast<std::size_t>(state.range(0));
  tx::DataList items(Numbers().begin(), Numbers().begin() + static_cast<std::ptrdiff_t>(count));
  const auto index = tx::MakeData<tx::IntData>(static_cast<int>(count / 2));
  const auto item = Made(L"NthItem", {{L"List", tx::MakeData<tx::DataListData>(std::move(items))}, {L"Index", index}});
  const auto request = boost::make_shared<tx::DataRequest>();
  for (auto _ : state) benchmark::DoNotOptimize(item->GetPort(L"Item")->GetData(request));
  state.SetLabel("vs PullOneItem/10/real_time");
}
BENCHMARK(PullOneItem)->Arg(10)->Arg(kMillion)->UseRealTime();

std::wstring KeyOf(std::size_t index) { return L"key " + std::to_wstring(index); }

DataPtr MixedDictionary(std::size_t count) {
  tx::Dictionary dictionary;
  for (std::size_t index = 0; index < count; ++index) {
    DataPtr value = NumberData(static_cast<double>(index) + 0.5);
    if (index % 3 == 1) value = tx::MakeData<tx::StringData>(L"text " + std::to_wstring(index));
    if (index % 3 == 2) value = tx::MakeData<tx::IntData>(static_cast<int>(index));
    dictionary.SetItem(KeyOf(index), value);
  }
  return tx::MakeData<tx::DictionaryData>(std::move(dictionary));
}

void PullOneKey(benchmark::State& state) {
  const auto count = static_cast<std::size_t>(state.range(0));
  const auto item = Made(L"DictionaryItem", {{L"Dictionary", MixedDictionary(count)},
                                             {L"Name1", tx::MakeData<tx::StringData>(KeyOf(count / 2))}});
  const auto request = boost::make_shared<tx::DataRequest>();
  for (auto _ : state) benchmark::DoNotOptimize(item->GetPort(L"Item1")->GetData(request));
  state.SetLabel("vs PullOneKey/10/real_time");
}
BENCHMARK(PullOneKey)->Arg(10)->Arg(kKeys)->UseRealTime();

/// The time of one item, twice: the larger takes as long for each where the time is linear.
void DictionaryToJson(benchmark::State& state) {
  const auto count = static_cast<std::size_t>(state.range(0));
  RunAgain(state, L"Convert",
           {{L"Input", MixedDictionary(count)}, {L"DataType", tx::MakeData<tx::StringData>(L"Json")}}, count,
           "vs DictionaryToJson/10000/real_time");
}
BENCHMARK(DictionaryToJson)->Arg(kKeys / 10)->Arg(kKeys)->UseRealTime();

void EqualDictionaries(benchmark::State& state) {
  const auto count = static_cast<std::size_t>(state.range(0));
  RunAgain(state, L"AreEqual", {{L"Input1", MixedDictionary(count)}, {L"Input2", MixedDictionary(count)}}, count,
           "vs EqualDictionaries/10000/real_time");
}
BENCHMARK(EqualDictionaries)->Arg(kKeys / 10)->Arg(kKeys)->UseRealTime();

void EqualDictionariesByKeys(benchmark::State& state) {
  const auto count = static_cast<std::size_t>(state.range(0));
  RunAgain(state, L"AreDictionariesEqual", {{L"Input1", MixedDictionary(count)}, {L"Input2", MixedDictionary(count)}},
           count, "vs EqualDictionariesByKeys/10000/real_time");
}
BENCHMARK(EqualDictionariesByKeys)->Arg(kKeys / 10)->Arg(kKeys)->UseRealTime();

}  // namespace
