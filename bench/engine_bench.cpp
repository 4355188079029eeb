// Cost of the engine per operator, next to what a flow graph of a threading library takes per node.
#include <benchmark/benchmark.h>
#include <tbb/flow_graph.h>

#include <vector>

#include "support/testoperators.h"

using namespace testsupport;

namespace {

constexpr int kChain = 1000;

/// As the nodes that it is compared with: a typed read, a new value, nothing else.
class Increment : public tx::Operator {
 public:
  const wchar_t* GetDefaultOperatorName() const override { return L"Increment"; }
  void DeclarePorts() override {
    CreatePort(L"In", tx::DoubleData::DefaultTypeName(), tx::PortType::Input);
    CreatePort(L"Out", tx::DoubleData::DefaultTypeName(), tx::PortType::Output);
  }
  void OnExecute() override { tx::WritePort<double>(*this, L"Out", tx::ReadPort<double>(*this, L"In") + 1); }
};

template <typename Op>
boost::shared_ptr<tx::Model> MakeChain(int length) {
  const auto model = MakeOperator<tx::Model>();
  boost::shared_ptr<tx::Operator> last;
  for (int i = 0; i < length; ++i) {
    const auto next = AddTo<Op>(*model);
    if (last) next->ConnectParent(last, L"Out", L"In");
    last = next;
  }
  return model;
}

void ChainOfOperators(benchmark::State& state) {
  const auto model = MakeChain<Increment>(kChain);
  const auto first = model->GetOperators().front()->GetPort(L"In");
  for (auto _ : state) {
    state.PauseTiming();
    first->SetData(NumberData(1));
    state.ResumeTiming();
    model->Execute();
  }
  state.SetLabel("vs ChainOfFlowGraphNodes/real_time");
  state.SetItemsProcessed(state.iterations() * kChain);
}
BENCHMARK(ChainOfOperators)->UseRealTime();

void ChainOfFlowGraphNodes(benchmark::State& state) {
  using Value = boost::shared_ptr<double>;
  tbb::flow::graph graph;
  std::vector<std::unique_ptr<tbb::flow::function_node<Value, Value>>> nodes;
  for (int i = 0; i < kChain; ++i) {
    nodes.push_back(std::make_unique<tbb::flow::function_node<Value, Value>>(
        graph, tbb::flow::serial, [](const Value& in) { return boost::make_shared<double>(*in + 1); }));
    if (i > 0) tbb::flow::make_edge(*nodes[i - 1], *nodes[i]);
  }
  for (auto _ : state) {
    nodes.front()->try_put(boost::make_shared<double>(1));
    graph.wait_for_all();
  }
  state.SetItemsProcessed(state.iterations() * kChain);
}
BENCHMARK(ChainOfFlowGraphNodes)->UseRealTime();

void ExecutedChainAgain(benchmark::State& state) {
  const auto model = MakeChain<AddOne>(kChain);
  model->Execute();
  for (auto _ : state) {
    for (const auto& op : model->GetOperators()) op->Execute();
  }
  state.SetItemsProcessed(state.iterations() * kChain);
}
BENCHMARK(ExecutedChainAgain)->UseRealTime();

void RequestThroughOperators(benchmark::State& state) {
  constexpr int kLength = 100;
  const auto model = MakeChain<PullAddOne>(kLength);
  const auto out = model->GetOperators().back()->GetPort(L"Out");
  const auto request = boost::make_shared<tx::DataRequest>();
  for (auto _ : state) benchmark::DoNotOptimize(out->GetData(request));
  state.SetLabel("vs ChainOfFlowGraphNodes/real_time");
  state.SetItemsProcessed(state.iterations() * kLength);
}
BENCHMARK(RequestThroughOperators)->UseRealTime();

}  // namespace
