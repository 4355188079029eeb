// Cost per iteration, everything counted: copies, items, run, gathering.
#include <benchmark/benchmark.h>
#include <malloc.h>
#include <tbb/flow_graph.h>

#include <chrono>
#include <cstdlib>
#include <string>
#include <vector>

#include "kcommon/kerr.h"
#include "plugin/availablepluginproxy.h"
#include "txlib/basicdata.h"
#include "txlib/builtin.h"
#include "txlib/factories.h"
#include "txlib/model.h"
#include "txlib/portaccess.h"

namespace {

namespace tx = Tamrin::Tessera;

class Increment : public tx::Operator {
 public:
  const wchar_t* GetDefaultOperatorName() const override { return L"BenchIncrement"; }
  const wchar_t* GetDefaultNamespace() const override { return L"Bench"; }
  const wchar_t* Name() const override { return L"Bench.BenchIncrement"; }
  void DeclarePorts() override {
    CreatePort(L"In", tx::DoubleData::DefaultTypeName(), tx::PortType::Input);
    CreatePort(L"Out", tx::DoubleData::DefaultTypeName(), tx::PortType::Output);
  }
  void OnExecute() override { tx::WritePort<double>(*this, L"Out", tx::ReadPort<double>(*this, L"In") + 1); }
};

/// A millisecond of computation.
class Work : public Increment {
 public:
  const wchar_t* GetDefaultOperatorName() const override { return L"BenchWork"; }
  const wchar_t* Name() const override { return L"Bench.BenchWork"; }
  void OnExecute() override {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(1);
    while (std::chrono::steady_clock::now() < end) benchmark::DoNotOptimize(end);
    Increment::OnExecute();
  }
};

int Proxies(const std::wstring& category,
            std::vector<boost::shared_ptr<korven::plugin::AvailablePluginProxy>>& proxies) {
  using korven::plugin::AvailablePluginProxy;
  if (!category.empty() && category != L"Operator") return 0;
  proxies.push_back(
      AvailablePluginProxy::Create(L"Bench.BenchIncrement", [] { return boost::make_shared<Increment>(); }));
  proxies.push_back(AvailablePluginProxy::Create(L"Bench.BenchWork", [] { return boost::make_shared<Work>(); }));
  return 0;
}
const tx::BuiltInRegistrar kRegistrar(&Proxies);

const char* const kThree = R"({"ports": [{"name": "In", "alias": "a.In"}, {"name": "Out", "alias": "c.Out"}],
  "operators": [{"id": "a", "operator": "Bench.BenchIncrement"}, {"id": "b", "operator": "Bench.BenchIncrement"},
                {"id": "c", "operator": "Bench.BenchIncrement"}],
  "connections": [{"from": "a.Out", "to": "b.In"}, {"from": "b.Out", "to": "c.In"}]})";
const char* const kOne = R"({"ports": [{"name": "In", "alias": "a.In"}, {"name": "Out", "alias": "a.Out"}],
  "operators": [{"id": "a", "operator": "Bench.BenchIncrement"}]})";
const char* const kMillisecond = R"({"ports": [{"name": "In", "alias": "a.In"}, {"name": "Out", "alias": "a.Out"}],
  "operators": [{"id": "a", "operator": "Bench.BenchWork"}]})";

std::string IteratorOf(const std::string& body) {
  return R"({"ports": [{"name": "In", "alias": "each.In"}, {"name": "Out", "alias": "each.Out"}],
  "operators": [{"id": "each", "operator": "VANTIX.Iterator", "model": )" +
         body + "}]}";
}

boost::shared_ptr<tx::Model> Open(const std::string& body, const wchar_t* method) {
  std::string text = IteratorOf(body);
  text = R"({"format": "TesseraModelFormat", "version": 1, )" + text.substr(1);
  auto model = tx::ModelFormatFactory::OpenFromBuffer(std::wstring(text.begin(), text.end()), L"TesseraModelFormat");
  const auto iterator = model->GetOperators().front();
  if (iterator->GetOperatorName() != L"Iterator") std::abort();
  iterator->GetPort(L"ExecutionMethod")->SetData(tx::MakeData<tx::StringData>(method));
  return model;
}

boost::shared_ptr<tx::Data> Numbers(std::int64_t count) {
  tx::DataList items;
  for (std::int64_t i = 0; i < count; ++i) items.push_back(tx::MakeData<tx::DoubleData>(static_cast<double>(i)));
  return tx::MakeData<tx::DataListData>(std::move(items));
}

/// Runs the model over `items` again and again, and lets the copies of the last run go in between.
void Iterate(benchmark::State& state, const std::string& body, const wchar_t* method, std::int64_t iterations,
             const boost::shared_ptr<tx::Data>& items, unsigned threads = 2) {
  kerr_SetSessionLogSink({});
  const auto model = Open(body, method);
  model->GetEnvironment()->SetNumThreads(threads);
  for (auto _ : state) {
    model->GetPort(L"In")->SetData(items);
    model->Execute();
  }
  if (!model->GetPort(L"Out")->GetExistingData()) std::abort();
  state.SetItemsProcessed(state.iterations() * iterations);
}

void ThreeNodesPerMessage(benchmark::State& state) {
  using Value = boost::shared_ptr<double>;
  tbb::flow::graph graph;
  const auto add = [](const Value& in) { return boost::make_shared<double>(*in + 1); };
  tbb::flow::function_node<Value, Value> first(graph, tbb::flow::serial, add);
  tbb::flow::function_node<Value, Value> second(graph, tbb::flow::serial, add);
  tbb::flow::function_node<Value, Value> third(graph, tbb::flow::serial, add);
  tbb::flow::make_edge(first, second);
  tbb::flow::make_edge(second, third);
  for (auto _ : state) {
    for (int i = 0; i < 1000; ++i) {
      first.try_put(boost::make_shared<double>(i));
      graph.wait_for_all();
    }
  }
  state.SetItemsProcessed(state.iterations() * 1000);
}
BENCHMARK(ThreeNodesPerMessage)->UseRealTime();

/// Asked: at most 60 of ThreeNodesPerMessage.
void IterateSerially(benchmark::State& state) {
  Iterate(state, kThree, L"InProcessSerial", 100'000, Numbers(100'000));
  state.SetLabel("vs ThreeNodesPerMessage/real_time");
}
BENCHMARK(IterateSerially)->UseRealTime()->Unit(benchmark::kMillisecond);

/// Asked: the same time per iteration.
void IterateAMillionTimes(benchmark::State& state) {
  Iterate(state, kThree, L"InProcessSerial", 1'000'000, Numbers(1'000'000));
  state.SetLabel("vs IterateSerially/real_time");
}
BENCHMARK(IterateAMillionTimes)->UseRealTime()->Iterations(1)->Unit(benchmark::kMillisecond);

/// Asked: under 4 kB per iteration; shown as bytes.
void MemoryPerIteration(benchmark::State& state) {
  constexpr int kCount = 100'000;
  kerr_SetSessionLogSink({});
  double bytes = 0;
  for (auto _ : state) {
    const auto model = Open(kThree, L"InProcessSerial");
    model->GetPort(L"In")->SetData(Numbers(kCount));
    const auto before = mallinfo2().uordblks;
    model->Execute();
    bytes = static_cast<double>(mallinfo2().uordblks - before) / kCount;
  }
  state.SetLabel(std::to_string(static_cast<long>(bytes)) + " bytes per iteration");
}
BENCHMARK(MemoryPerIteration)->UseRealTime()->Iterations(1)->Unit(benchmark::kMillisecond);

/// Asked: at most 1.2 of IterateSerially.
void IterateNothingInParallel(benchmark::State& state) {
  Iterate(state, kThree, L"InProcessParallel", 100'000, Numbers(100'000));
  state.SetLabel("vs IterateSerially/real_time");
}
BENCHMARK(IterateNothingInParallel)->UseRealTime()->Unit(benchmark::kMillisecond);

void WorkSerially(benchmark::State& state) { Iterate(state, kMillisecond, L"InProcessSerial", 500, Numbers(500)); }
BENCHMARK(WorkSerially)->UseRealTime()->Unit(benchmark::kMillisecond);

/// Asked: at most 1/1.95 = 0.513 of WorkSerially.
void WorkOnTwoThreads(benchmark::State& state) {
  Iterate(state, kMillisecond, L"InProcessParallel", 500, Numbers(500));
  state.SetLabel("vs WorkSerially/real_time");
}
BENCHMARK(WorkOnTwoThreads)->UseRealTime()->Unit(benchmark::kMillisecond);

void OneLevel(benchmark::State& state) { Iterate(state, kOne, L"InProcessSerial", 90'000, Numbers(90'000)); }
BENCHMARK(OneLevel)->UseRealTime()->Unit(benchmark::kMillisecond);

/// Asked: at most 1.3 of OneLevel.
void TwoLevels(benchmark::State& state) {
  tx::DataList lists;
  for (int i = 0; i < 300; ++i) lists.push_back(Numbers(300));
  Iterate(state, IteratorOf(kOne), L"InProcessSerial", 90'000, tx::MakeData<tx::DataListData>(std::move(lists)));
  state.SetLabel("vs OneLevel/real_time");
}
BENCHMARK(TwoLevels)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace
