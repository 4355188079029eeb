#include <dirent.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <future>
#include <mutex>
#include <set>
#include <thread>

#include "tx_general/iteratorloop.h"
#include "txbasiclib/requests.h"
#include "txlib/factories.h"

// Iterators in iterators, pulls into and out of the copies, and cancelling.
namespace {

/// A second is promised of a machine that has nothing else to do. A run that goes on takes longer than these bounds.
#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
constexpr auto kSoon = std::chrono::seconds(20);
#else
constexpr auto kSoon = std::chrono::seconds(3);
#endif

using namespace testing_support;
using Tamrin::TesseraBasic::DirectedDataRequest;
using ::testing::ElementsAre;
using ::testing::UnorderedElementsAre;
using RequestPtr = boost::shared_ptr<tessera::DataRequest>;

RequestPtr Request() {
  const auto request = boost::make_shared<tessera::DataRequest>();
  request->Initialize();
  return request;
}

RequestPtr Directed(unsigned index, const RequestPtr& inner = Request()) {
  const auto request = boost::make_shared<DirectedDataRequest>();
  request->Initialize();
  request->SetIndex(index);
  request->SetDataRequest(inner);
  return request;
}

/// "3", "3 of 1" for a directed request inside of another, "plain" for any other.
std::wstring Describe(const RequestPtr& request) {
  const auto directed = boost::dynamic_pointer_cast<DirectedDataRequest>(request);
  if (!directed) return L"plain";
  const std::wstring inner = Describe(directed->GetDataRequest());
  return (inner == L"plain" ? L"" : inner + L" of ") + std::to_wstring(directed->GetIndex());
}

struct Pair {
  Driver outer;
  const wchar_t* inner;
};

std::vector<Pair> Pairs() {
  std::vector<Pair> pairs;
  for (const auto& driver : Drivers()) {
    for (const wchar_t* inner : {L"InProcessSerial", L"InProcessParallel"}) pairs.push_back({driver, inner});
  }
  return pairs;
}

std::string Title(const Pair& pair) { return Title(pair.outer) + " around " + kstr_ToUtf8(pair.inner); }

// Nesting.

TEST(IteratorNesting, ListsOfListsThroughTwoLevels) {
  const HookDoes add([](Hook& hook, const DataPtr& in) {
    const auto second = hook.GetPort(L"Second")->GetData();
    return Value(in->GetDataValue<int>() + (second ? second->GetDataValue<int>() : 0));
  });
  for (const auto& pair : Pairs()) {
    SCOPED_TRACE(Title(pair));
    Loop loop = Loop::Nested(pair.outer.method, pair.inner, pair.outer.threads);
    loop.host.Set(L"each.Second", 100);
    EXPECT_EQ(loop.RunWith(List({NumberList({1, 2, 3}), NumberList({4, 5}), NumberList({6})})),
              L"[[101, 102, 103], [104, 105], [106]]");
    // The second level meets a list of its own beside the first's items.
    loop.host.Set(L"each.Second", List({Numbers(2)}));
    EXPECT_EQ(loop.RunWith(List({NumberList({10}), NumberList({20, 30, 40})})), L"[[10, 11], [20, 31]]");
  }
}

TEST(IteratorNesting, SurvivesTheDocument) {
  Loop loop = Loop::Nested(L"InProcessParallel", L"InProcessSerial");
  loop.host.Reopen();
  EXPECT_EQ(loop.RunWith(List({Numbers(2), Numbers(3)})), L"[[0, 1], [0, 1, 2]]");
  EXPECT_EQ(loop.RunWith(List({Numbers(1), Numbers(1)})), L"[[0], [0]]");
}

TEST(IteratorNesting, AnEmptyInnerListFailsTheRun) {
  for (const auto& pair : Pairs()) {
    SCOPED_TRACE(Title(pair));
    Loop loop = Loop::Nested(pair.outer.method, pair.inner, pair.outer.threads);
    EXPECT_EQ(loop.RunWith(List({Numbers(2), Numbers(0)})), L"failed: Empty list on input.");
    const auto told = loop.Drawn(L"inner")->GetMessages();
    ASSERT_EQ(told.size(), 1u);
    EXPECT_EQ(told.front().text, L"Empty list on input.");
  }
}

TEST(IteratorNesting, MessagesPassThroughBothLevels) {
  const HookDoes tell([](Hook& hook, const DataPtr& in) {
    hook.SetInfoMessage(Text(in));
    return in;
  });
  for (const auto& pair : Pairs()) {
    SCOPED_TRACE(Title(pair));
    Loop loop = Loop::Nested(pair.outer.method, pair.inner, pair.outer.threads);
    loop.RunWith(List({NumberList({1, 2}), NumberList({3, 4})}));
    std::vector<std::wstring> texts;
    for (const auto& message : loop.Drawn(L"body")->GetMessages()) texts.push_back(message.text);
    EXPECT_THAT(texts, UnorderedElementsAre(L"1", L"2", L"3", L"4"));
  }
}

TEST(IteratorNesting, FailuresPassThroughBothLevels) {
  const HookDoes fail([](Hook&, const DataPtr& in) {
    if (in->GetDataValue<int>() == 3) throw std::out_of_range("three");
    return in;
  });
  for (const auto& pair : Pairs()) {
    SCOPED_TRACE(Title(pair));
    Loop loop = Loop::Nested(pair.outer.method, pair.inner, pair.outer.threads);
    loop.host.Set(L"each.In", List({NumberList({1, 2}), NumberList({3, 4})}));
    EXPECT_THROW(loop.host.GetModel()->Execute(), std::out_of_range);
  }
}

TEST(IteratorThreads, NestingTakesNoMoreThreads) {
  std::mutex mutex;
  std::set<std::thread::id> threads;
  const HookDoes note([&](Hook&, const DataPtr& in) {
    const std::lock_guard lock(mutex);
    threads.insert(std::this_thread::get_id());
    return in;
  });
  Loop loop = Loop::Nested(L"InProcessParallel", L"InProcessParallel", 2);
  tessera::DataList lists(20, Numbers(20));
  loop.RunWith(List(std::move(lists)));
  EXPECT_LE(threads.size(), 2u);
}

// Pulls into the copies.

TEST(IteratorPulls, PlainRequestsGatherAllAndDirectedOnesTakeOne) {
  const HookDoes tens([](Hook&, const DataPtr& in) { return Value(10 * in->GetDataValue<int>()); });
  for (const auto& driver : Drivers()) {
    SCOPED_TRACE(Title(driver));
    Loop loop(driver.method, driver.threads);
    EXPECT_EQ(loop.RunWith(Numbers(3)), L"[0, 10, 20]");
    EXPECT_EQ(Text(loop.Pull(Request())), L"[0, 10, 20]");
    for (unsigned i = 0; i < 3; ++i) {
      EXPECT_EQ(Text(loop.Pull(Directed(i))), std::to_wstring(10 * i));
      EXPECT_EQ(Text(loop.Pull(Directed(i, nullptr))), std::to_wstring(10 * i));
    }
  }
}

TEST(IteratorPulls, IndicesBehindTheLastAreRefused) {
  for (const auto& driver : Drivers()) {
    SCOPED_TRACE(Title(driver));
    Loop loop(driver.method, driver.threads);
    loop.RunWith(Numbers(3));
    for (const unsigned index : {3u, 4u, 4294967295u}) {
      try {
        loop.Pull(Directed(index));
        ADD_FAILURE() << "nothing was raised";
      } catch (const tessera::OperatorException& error) {
        EXPECT_EQ(error.get_What(), L"Invalid index.");
      }
    }
    EXPECT_EQ(Text(loop.Pull(Directed(2))), L"2");
  }
}

TEST(IteratorPulls, NestedOnesReachTheItemOfAnItem) {
  for (const auto& pair : Pairs()) {
    SCOPED_TRACE(Title(pair));
    Loop loop = Loop::Nested(pair.outer.method, pair.inner, pair.outer.threads);
    loop.RunWith(List({NumberList({1, 2}), NumberList({3, 4})}));
    EXPECT_EQ(Text(loop.Pull(Request())), L"[[1, 2], [3, 4]]");
    EXPECT_EQ(Text(loop.Pull(Directed(1))), L"[3, 4]");
  }
}

TEST(IteratorThreads, PullsComeFromSeveralThreadsAtOnce) {
  Loop loop(L"InProcessParallel");
  loop.RunWith(Numbers(50));
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([&] {
      for (unsigned i = 0; i < 50; ++i) wrong += Text(loop.Pull(Directed(i))) != std::to_wstring(i);
      wrong += Text(loop.Pull(Request())) != Text(Numbers(50));
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
}

// Pulls out of the copies.

/// Gives what lies on it when it is run; answers pulls with what they asked for.
class Source : public tessera::Operator {
 public:
  const wchar_t* GetDefaultOperatorName() const override { return L"Source"; }
  void DeclarePorts() override { CreatePort(L"Out", tessera::Data::DefaultTypeName(), tessera::PortType::Output); }
  using Operator::Apply;
  void Apply(const PortPtr& port, const RequestPtr& request) override {
    {
      const std::lock_guard lock(mutex);
      requests.push_back(request);
    }
    port->SetData(Value(L"answer to " + Describe(request)), request);
  }
  DataPtr data;
  std::mutex mutex;
  std::vector<RequestPtr> requests;

 protected:
  void OnExecute() override { GetPort(L"Out")->SetData(data); }
};

boost::shared_ptr<Source> Feed(Loop& loop, const DataPtr& data) {
  const auto source = boost::make_shared<Source>();
  source->Initialize();
  source->data = data;
  loop.host.Adopt(source, L"source");
  loop.host.Connect(L"source.Out", L"each.In");
  return source;
}

TEST(IteratorPulls, OperatorsAheadOfTheIteratorLearnWhichItemIsMeant) {
  const RequestPtr asked = Request();
  const HookDoes pull([&](Hook& hook, const DataPtr&) { return hook.GetPort(L"In")->GetData(asked); });
  for (const auto& driver : Drivers()) {
    SCOPED_TRACE(Title(driver));
    Loop loop(driver.method, driver.threads);
    const auto source = Feed(loop, Numbers(3));
    ASSERT_TRUE(loop.host.Run()) << kstr_ToUtf8(loop.host.Error());
    EXPECT_EQ(Text(loop.host.Existing(L"each.Out")), L"[answer to 0, answer to 1, answer to 2]");
    ASSERT_EQ(source->requests.size(), 3u);
    for (const auto& request : source->requests) {
      EXPECT_EQ(boost::dynamic_pointer_cast<DirectedDataRequest>(request)->GetDataRequest(), asked);
    }
  }
}

TEST(IteratorPulls, CommonValuesAreAskedForAsTheyAre) {
  const RequestPtr asked = Request();
  const HookDoes pull([&](Hook& hook, const DataPtr&) { return hook.GetPort(L"In")->GetData(asked); });
  for (const auto& driver : Drivers()) {
    SCOPED_TRACE(Title(driver));
    Loop loop(driver.method, driver.threads);
    const auto source = Feed(loop, Value(5));
    loop.host.Set(L"each.Second", Numbers(2));
    ASSERT_TRUE(loop.host.Run()) << kstr_ToUtf8(loop.host.Error());
    EXPECT_EQ(Text(loop.host.Existing(L"each.Out")), L"[answer to plain, answer to plain]");
    EXPECT_THAT(source->requests, ElementsAre(asked, asked));
  }
}

TEST(IteratorPulls, TheOneItemOfAListIsMeantByAllIterations) {
  const HookDoes pull([](Hook& hook, const DataPtr&) { return hook.GetPort(L"In")->GetData(Request()); });
  for (const auto& driver : Drivers()) {
    SCOPED_TRACE(Title(driver));
    Loop loop(driver.method, driver.threads);
    const auto source = Feed(loop, NumberList({7}));
    loop.host.Set(L"each.Second", Numbers(3));
    ASSERT_TRUE(loop.host.Run()) << kstr_ToUtf8(loop.host.Error());
    EXPECT_EQ(Text(loop.host.Existing(L"each.Out")), L"[answer to 0, answer to 0, answer to 0]");
  }
}

TEST(IteratorPulls, WithoutAnOperatorAheadTheItemItselfAnswers) {
  const HookDoes pull([&](Hook& hook, const DataPtr&) { return hook.GetPort(L"In")->GetData(Request()); });
  for (const auto& driver : Drivers()) {
    SCOPED_TRACE(Title(driver));
    Loop loop(driver.method, driver.threads);
    EXPECT_EQ(loop.RunWith(NumberList({7, 8})), L"[7, 8]");
    loop.host.Set(L"each.Second", Numbers(3));
    EXPECT_EQ(loop.RunWith(NumberList({7})), L"[7, 7, 7]") << "one item is common to all";
    EXPECT_EQ(loop.RunWith(Value(5)), L"[5, 5, 5]");
  }
}

TEST(IteratorPulls, NestedOnesTellTheWholeWay) {
  const HookDoes pull([&](Hook& hook, const DataPtr&) { return hook.GetPort(L"In")->GetData(Request()); });
  for (const auto& pair : Pairs()) {
    SCOPED_TRACE(Title(pair));
    Loop loop = Loop::Nested(pair.outer.method, pair.inner, pair.outer.threads);
    const auto source = Feed(loop, List({Numbers(2), Numbers(2)}));
    ASSERT_TRUE(loop.host.Run()) << kstr_ToUtf8(loop.host.Error());
    EXPECT_EQ(Text(loop.host.Existing(L"each.Out")),
              L"[[answer to 0 of 0, answer to 1 of 0], [answer to 0 of 1, answer to 1 of 1]]");
  }
}

// Cancelling.

int ThreadsOfThisProcess() {
  DIR* const folder = ::opendir("/proc/self/task");
  int count = -2;  // "." and ".."
  while (::readdir(folder)) ++count;
  ::closedir(folder);
  return count;
}

/// Ten thousand iterations, cancelled from another thread when a thousand of them have begun.
void ExpectCancelled(Loop& loop, unsigned threads, const DataPtr& items) {
  using Clock = std::chrono::steady_clock;
  const int threadsAtMost = std::max(ThreadsOfThisProcess(), 1 + static_cast<int>(threads));
  std::atomic<int> begun{0}, inside{0};
  std::promise<void> middle;
  const HookDoes count([&](Hook&, const DataPtr& item) {
    ++inside;
    if (++begun == 1000) middle.set_value();
    std::this_thread::sleep_for(std::chrono::microseconds(200));
    --inside;
    return item;
  });
  const auto source = Feed(loop, items);
  Clock::time_point cancelled;
  std::thread canceller([&] {
    middle.get_future().wait();
    cancelled = Clock::now();
    loop.host.GetModel()->GetEnvironment()->Cancel();
  });
  EXPECT_THROW(loop.host.GetModel()->Execute(), tessera::CancelledException);
  const auto ended = Clock::now();
  const int begunAtTheEnd = begun;
  canceller.join();
  EXPECT_LT(ended - cancelled, kSoon);
  EXPECT_GE(begunAtTheEnd, 1000);
  EXPECT_LT(begunAtTheEnd, 9000);
  EXPECT_EQ(inside, 0);
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  EXPECT_EQ(begun, begunAtTheEnd) << "iterations still begin";
  EXPECT_LE(ThreadsOfThisProcess(), threadsAtMost);
  EXPECT_FALSE(loop.host.Existing(L"each.Out"));
  EXPECT_TRUE(loop.host.Messages(tessera::Issue::Error).empty());
}

TEST(IteratorThreads, CancellingInTheMiddleEndsSoon) {
  for (const auto& driver : Drivers()) {
    SCOPED_TRACE(Title(driver));
    Loop loop(driver.method, driver.threads);
    ExpectCancelled(loop, driver.threads, Numbers(10'000));
  }
}

TEST(IteratorThreads, CancellingNestedIteratorsEndsSoon) {
  for (const auto& pair : Pairs()) {
    SCOPED_TRACE(Title(pair));
    Loop loop = Loop::Nested(pair.outer.method, pair.inner, pair.outer.threads);
    ExpectCancelled(loop, pair.outer.threads, List(tessera::DataList(100, Numbers(100))));
  }
}

TEST(IteratorThreads, CancellingWhileTheCopiesAreMadeEndsSoon) {
  for (const wchar_t* method : {L"InProcessSerial", L"InProcessParallel"}) {
    Loop loop(method);
    const auto source = Feed(loop, Numbers(1'000'000));
    std::chrono::steady_clock::time_point cancelled;
    std::thread canceller([&] {
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
      cancelled = std::chrono::steady_clock::now();
      loop.host.GetModel()->GetEnvironment()->Cancel();
    });
    EXPECT_THROW(loop.host.GetModel()->Execute(), tessera::CancelledException);
    const auto ended = std::chrono::steady_clock::now();
    canceller.join();
    EXPECT_LT(ended - cancelled, kSoon);
  }
}

}  // namespace
