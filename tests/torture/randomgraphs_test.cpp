#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <boost/make_shared.hpp>
#include <cstdlib>
#include <mutex>
#include <set>
#include <thread>

#include "kcommon/installation.h"
#include "kcommon/kerr.h"
#include "kcommon/kstr.h"
#include "torture/graphmodel.h"
#include "torture/seeds.h"
#include "txbasiclib/requests.h"
#include "txlib/document.h"

// Models of hundreds of operators give what a plain interpreter of them gives, however they are built and run.
namespace {

using namespace torture;
using tessera::PlainDocument::Open;

constexpr unsigned kSerial = 0, kParallel = 4;

int SomeSize(Dice& dice) { return dice.Percent(60) ? dice.Between(5, 60) : dice.Between(60, 300); }

/// Counts how often each operator begins to run.
class RunCounts {
 public:
  explicit RunCounts(const tessera::Model& model) {
    model.GetEnvironment()->SetRunObserver([this](const OperatorPtr& op, bool finished) {
      if (finished) return;
      const std::lock_guard lock(mutex_);
      ++counts_[kstr_ToUtf8(op->GetDisplayName())];
    });
  }
  int Of(const std::string& id) const {
    const auto found = counts_.find(id);
    return found == counts_.end() ? 0 : found->second;
  }

 private:
  std::mutex mutex_;
  std::map<std::string, int> counts_;
};

std::string Executed(tessera::Model& model) {
  try {
    model.Execute();
    return {};
  } catch (const tessera::OperatorException& error) {
    return kstr_ToUtf8(error.GetOperatorDisplayName() + L": " + error.get_What());
  } catch (const std::exception& error) {
    return error.what();
  }
}

/// What the operators have is what the reference says, and those run that it says, and no others.
void ExpectSame(const std::map<std::string, OperatorPtr>& operators, const Frame& frame, const RunCounts* counts) {
  for (std::size_t i = 0; i < frame.nodes.size(); ++i) {
    const Node& node = frame.graph->nodes[i];
    const NodeResult& result = frame.nodes[i];
    const auto found = operators.find(node.id);
    ASSERT_NE(found, operators.end()) << node.id;
    const std::string who = node.op + " " + node.id;
    EXPECT_EQ(found->second->IsExecuted(), result.executed) << who;
    // Copies of an iterator run under its name.
    if (counts && node.op != "Iterator") {
      EXPECT_EQ(counts->Of(node.id), result.executed ? 1 : 0) << who;
    }
    for (std::size_t output = 0; result.executed && output < result.outputs.size(); ++output) {
      const auto port = found->second->GetPort(kstr_FromUtf8Lossy(node.outputs[output].first));
      ASSERT_TRUE(port) << who;
      EXPECT_EQ(Told(port->GetExistingData()), Told(result.outputs[output]))
          << who << " " << node.outputs[output].first;
    }
    if (result.inner) ExpectSame(operators, *result.inner, counts);
    if (::testing::Test::HasFailure()) return;
  }
}

void ExpectRun(const ModelPtr& model, const Frame& frame, unsigned threads, const char* how) {
  SCOPED_TRACE(how);
  model->GetEnvironment()->SetNumThreads(threads);
  const RunCounts counts(*model);
  ASSERT_EQ(Executed(*model), "");
  ExpectSame(OperatorsOf(*model), frame, &counts);
  model->GetEnvironment()->SetRunObserver({});
}

boost::shared_ptr<tessera::DataRequest> PlainRequest() {
  const auto request = boost::make_shared<tessera::DataRequest>();
  request->Initialize();
  return request;
}

/// One output of one node, and an item of it where it is a list or a dictionary. Empty, or what is wrong.
std::string PullOne(const OperatorPtr& op, const std::string& portName, const ValuePtr& expected, std::size_t item) {
  const auto port = op->GetPort(kstr_FromUtf8Lossy(portName));
  const std::string whole = Told(port->GetData(PlainRequest()));
  if (whole != Told(expected)) return "the whole is " + whole + ", not " + Told(expected);
  if (!expected || expected->items.empty()) return {};
  item %= expected->items.size();
  std::string answer;
  if (expected->kind == Kind::List) {
    const auto request = boost::make_shared<Tamrin::TesseraBasic::DirectedDataRequest>();
    request->Initialize();
    request->SetIndex(static_cast<unsigned>(item));
    request->SetDataRequest(PlainRequest());
    answer = Told(port->GetData(request));
  } else {
    const auto request = boost::make_shared<Tamrin::TesseraBasic::NamedDataRequest>(
        kstr_FromUtf8Lossy(expected->keys[item]), PlainRequest());
    request->Initialize();
    answer = Told(port->GetData(request));
  }
  return answer == Told(expected->items[item])
             ? std::string()
             : "item " + std::to_string(item) + " is " + answer + ", not " + Told(expected->items[item]);
}

struct PullPoint {
  OperatorPtr op;
  std::string port;
  ValuePtr expected;
  std::string who;
};

/// The outputs of the graph's operators that ran; `allowed` leaves some out.
std::vector<PullPoint> PullPoints(const tessera::Model& model, const Frame& frame, const std::vector<bool>& allowed) {
  std::vector<PullPoint> points;
  const auto operators = OperatorsOf(model);
  for (std::size_t i = 0; i < frame.nodes.size(); ++i) {
    const Node& node = frame.graph->nodes[i];
    for (std::size_t output = 0; frame.nodes[i].executed && allowed[i] && output < node.outputs.size(); ++output) {
      points.push_back({operators.at(node.id), node.outputs[output].first, frame.nodes[i].outputs[output],
                        node.op + " " + node.id + " " + node.outputs[output].first});
    }
  }
  return points;
}

/// Empty, or what went wrong first.
std::string PullAll(const std::vector<PullPoint>& points, std::uint64_t seed, std::size_t count) {
  Dice dice(seed);
  for (; count > 0 && !points.empty(); --count) {
    const PullPoint& point = dice.Of(points);
    try {
      const std::string fault = PullOne(point.op, point.port, point.expected, dice.Below(1000));
      if (!fault.empty()) return point.who + ": " + fault;
    } catch (const std::exception& error) {
      return point.who + ": " + error.what();
    }
  }
  return {};
}

/// Where nothing has run, If Else answers pulls with its False branch and an Iterator not at all.
bool AnswersAtOnce(const Graph& graph);
bool AnswersAtOnce(const Node& node) {
  return node.op != "IfElse" && node.op != "Iterator" && (!node.inner || AnswersAtOnce(*node.inner));
}
bool AnswersAtOnce(const Graph& graph) {
  return std::all_of(graph.nodes.begin(), graph.nodes.end(), [](const Node& node) { return AnswersAtOnce(node); });
}
/// The nodes that have none of these among what they need.
std::vector<bool> AnsweringAtOnce(const Graph& graph) {
  std::vector<bool> answering;
  for (const Node& node : graph.nodes) {
    bool answers = AnswersAtOnce(node) && !node.poison;
    for (const Input& input : node.inputs) {
      if (input.from == Input::From::Node) answers = answers && answering[static_cast<std::size_t>(input.node)];
    }
    // An order-only parent runs with the node.
    for (const int earlier : node.after) answers = answers && answering[static_cast<std::size_t>(earlier)];
    answering.push_back(answers);
  }
  return answering;
}

DocumentStyle Style(std::uint64_t seed, std::vector<std::string> methods) { return {std::move(methods), seed}; }

TEST(RandomGraphs, RunAsTheReferenceSays) {
  kerr_SetSessionLogSink({});
  for (Rounds rounds("graphs", 60); rounds.Next();) {
    SCOPED_TRACE(rounds.Repeat());
    Dice dice(rounds.Seed());
    const Graph graph = MakeGraph(rounds.Seed(), SomeSize(dice));
    const auto expected = Interpret(graph);
    ExpectRun(BuildModel(graph, L"", rounds.Seed()), *expected, kSerial, "built by calls");
    const std::string text = WriteDocument(graph, Style(rounds.Seed(), {}));
    const auto opened = Open(text);
    const std::string saved = tessera::PlainDocument::Save(opened);
    const auto again = Open(saved);
    EXPECT_EQ(tessera::PlainDocument::Save(again), saved);
    ExpectRun(opened, *expected, kSerial, "from a document");
    ExpectRun(again, *expected, kSerial, "saved and opened");
    const auto built = BuildModel(graph, L"", rounds.Seed() + 1);
    ExpectRun(Open(tessera::PlainDocument::Save(built)), *expected, kSerial, "built by calls, saved and opened");
    if (HasFailure()) return;
  }
}

TEST(RandomGraphs, PullsGiveWhatRunsGive) {
  kerr_SetSessionLogSink({});
  for (Rounds rounds("graphs", 60); rounds.Next();) {
    SCOPED_TRACE(rounds.Repeat());
    Dice dice(rounds.Seed());
    const Graph graph = MakeGraph(rounds.Seed(), SomeSize(dice), Missing::Never);
    const auto expected = Interpret(graph);
    const auto model = BuildModel(graph, L"", rounds.Seed());
    model->GetEnvironment()->SetNumThreads(kSerial);
    EXPECT_EQ(PullAll(PullPoints(*model, *expected, AnsweringAtOnce(graph)), rounds.Seed(), 40), "");
    ASSERT_EQ(Executed(*model), "");
    ExpectSame(OperatorsOf(*model), *expected, nullptr);
    EXPECT_EQ(PullAll(PullPoints(*model, *expected, std::vector<bool>(graph.nodes.size(), true)), rounds.Seed(), 40),
              "");
    if (HasFailure()) return;
  }
}

/// Another value that the graph takes as well.
ValuePtr Tuned(const ValuePtr& value, Dice& dice) {
  if (!value) return value;
  torture::Value other = *value;
  if (value->kind == Kind::Bool) other.number = static_cast<std::int64_t>(dice.Below(2));
  if (value->kind == Kind::Int || value->kind == Kind::Unsigned) other.number = dice.Between(0, 5);
  if (value->kind == Kind::Text) other.text += std::to_string(dice.Below(10));
  for (auto& item : other.items) item = Tuned(item, dice);
  return std::make_shared<torture::Value>(std::move(other));
}

TEST(RandomGraphs, ChangedInputsRunWhatNeedsThem) {
  kerr_SetSessionLogSink({});
  for (Rounds rounds("graphs", 40); rounds.Next();) {
    SCOPED_TRACE(rounds.Repeat());
    Dice dice(rounds.Seed());
    Graph graph = MakeGraph(rounds.Seed(), SomeSize(dice));
    const auto model = BuildModel(graph, L"", rounds.Seed());
    model->GetEnvironment()->SetNumThreads(kSerial);
    const auto operators = OperatorsOf(*model);
    ASSERT_EQ(Executed(*model), "");
    for (int change = 0; change < 4; ++change) {
      SCOPED_TRACE("change " + std::to_string(change));
      for (Node& node : graph.nodes) {
        for (Input& input : node.inputs) {
          if (!input.tunable || input.from != Input::From::Constant || !dice.Percent(15)) continue;
          input.constant = Tuned(input.constant, dice);
          operators.at(node.id)->GetPort(kstr_FromUtf8Lossy(input.port))->SetData(ToData(input.constant));
        }
      }
      Graph needed = graph;
      for (Node& node : needed.nodes) node.after.clear();
      const auto expected = Interpret(needed);
      ASSERT_EQ(Executed(*model), "");
      // What an earlier run made and this one doesn't need stays or goes; what it needs is up to date. What is there
      // only to run before others runs when those do.
      for (std::size_t i = 0; i < graph.nodes.size() && !HasFailure(); ++i) {
        for (std::size_t output = 0; expected->nodes[i].executed && output < graph.nodes[i].outputs.size(); ++output) {
          const auto port =
              operators.at(graph.nodes[i].id)->GetPort(kstr_FromUtf8Lossy(graph.nodes[i].outputs[output].first));
          EXPECT_EQ(Told(port->GetExistingData()), Told(expected->nodes[i].outputs[output]))
              << graph.nodes[i].op << " " << graph.nodes[i].id << " " << graph.nodes[i].outputs[output].first;
        }
      }
    }
    if (HasFailure()) return;
  }
}

TEST(RandomGraphs, AllMethodsOnThreadsGiveTheSame) {
  kerr_SetSessionLogSink({});
  for (Rounds rounds("graphs", 40); rounds.Next();) {
    SCOPED_TRACE(rounds.Repeat());
    Dice dice(rounds.Seed());
    const Graph graph = MakeGraph(rounds.Seed(), SomeSize(dice));
    const auto expected = Interpret(graph);
    ExpectRun(BuildModel(graph, L"InProcessParallel", rounds.Seed()), *expected, kParallel, "parallel, built by calls");
    const DocumentStyle mixed = Style(rounds.Seed(), {"InProcessParallel", "InProcessSerial", "InProcessParallel"});
    ExpectRun(Open(WriteDocument(graph, mixed)), *expected, kParallel, "mixed, from a document");
    if (HasFailure()) return;
  }
}

// Several threads run models of the same document, and then pull from one model.
TEST(RandomGraphs, ThreadsDoNotDisturbOneAnother) {
  constexpr std::size_t kThreads = 4;
  kerr_SetSessionLogSink({});
  for (Rounds rounds("graphs", 25); rounds.Next();) {
    SCOPED_TRACE(rounds.Repeat());
    Dice dice(rounds.Seed());
    const Graph graph = MakeGraph(rounds.Seed(), dice.Between(10, 80), Missing::Never);
    const auto expected = Interpret(graph);
    const std::string text = WriteDocument(graph, Style(rounds.Seed(), {"InProcessParallel"}));
    std::vector<std::string> faults(kThreads);
    std::vector<ModelPtr> models(kThreads);
    const auto onThreads = [&](const auto& work) {
      std::vector<std::thread> threads;
      for (std::size_t i = 0; i < kThreads; ++i) {
        threads.emplace_back([&, i] {
          try {
            faults[i] = work(i);
          } catch (const std::exception& error) {
            faults[i] = error.what();
          }
        });
      }
      for (auto& thread : threads) thread.join();
      EXPECT_EQ(faults, std::vector<std::string>(kThreads));
    };
    onThreads([&](std::size_t i) {
      models[i] = Open(text);
      models[i]->GetEnvironment()->SetNumThreads(2);
      return Executed(*models[i]);
    });
    for (std::size_t i = 0; i < kThreads && !HasFailure(); ++i) ExpectSame(OperatorsOf(*models[i]), *expected, nullptr);
    const auto points = PullPoints(*models.front(), *expected, std::vector<bool>(graph.nodes.size(), true));
    onThreads([&](std::size_t i) { return PullAll(points, rounds.Seed() + i, 25); });
    if (HasFailure()) return;
  }
}

TEST(RandomGraphs, ProcessesGiveTheSame) {
  korven::common::PrepareInstallation();
  const std::string program =
      std::string(std::getenv("VANTIX_HOME")) + "/bin/" + std::getenv("ARCHM") + "/batchprocess.exe";
  if (::access(program.c_str(), X_OK) != 0) GTEST_SKIP() << "there is no " << program;
  kerr_SetSessionLogSink({});
  for (Rounds rounds("graphs", 4); rounds.Next();) {
    SCOPED_TRACE(rounds.Repeat());
    // The first graph from here on with one iterator: each item is a process.
    Graph graph;
    for (std::uint64_t seed = rounds.Seed() * 1000;; ++seed) {
      graph = MakeGraph(seed, 25);
      const auto loops =
          std::count_if(graph.nodes.begin(), graph.nodes.end(), [](const Node& node) { return node.op == "Iterator"; });
      if (loops == 1) break;
    }
    const DocumentStyle style = Style(rounds.Seed(), {"OutOfProcessBatch", "InProcessSerial"});
    ExpectRun(Open(WriteDocument(graph, style)), *Interpret(graph), 2, "in processes");
    if (HasFailure()) return;
  }
}

}  // namespace
