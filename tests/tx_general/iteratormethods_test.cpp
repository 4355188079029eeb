#include <gmock/gmock.h>

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <numeric>
#include <set>
#include <stdexcept>
#include <thread>

#include "tx_general/iteratorloop.h"
#include "txbasiclib/requests.h"
#include "txlib/factories.h"

// The drivers: what they say, in what order they run, how they fail, what reaches the operators that the user sees.
namespace {

using namespace testing_support;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using Lines = std::vector<std::wstring>;

int NumberOf(const DataPtr& data) { return data->GetDataValue<int>(); }

/// Progress that the iterator tells, in order.
struct ProgressLines {
  explicit ProgressLines(tessera::Operator& op)
      : handle(op.AddOnProgressCallback([this](const auto&, double percent) { values.push_back(percent); })) {}
  std::vector<double> values;
  const tessera::CallbackHandle handle;
};

/// The numbers that hooks have been given, in the order in which they began.
class Begun {
 public:
  void Note(int number) {
    const std::lock_guard lock(mutex_);
    numbers_.push_back(number);
  }
  std::vector<int> Get() const {
    const std::lock_guard lock(mutex_);
    return numbers_;
  }

 private:
  mutable std::mutex mutex_;
  std::vector<int> numbers_;
};

std::vector<int> UpTo(int count) {
  std::vector<int> numbers(count);
  std::iota(numbers.begin(), numbers.end(), 0);
  return numbers;
}

// What is logged, and the progress.

TEST(IteratorDrivers, SerialLogAndProgress) {
  Loop loop(L"InProcessSerial");
  const ProgressLines progress(*loop.Each());
  const LogLines lines;
  EXPECT_EQ(loop.RunWith(Numbers(4)), L"[0, 1, 2, 3]");
  EXPECT_THAT(lines.Get(), ElementsAre(L"Iteration 0 of 4", L"Iteration 1 of 4", L"Iteration 2 of 4",
                                       L"Iteration 3 of 4", L"Iterations complete"));
  EXPECT_THAT(progress.values, ElementsAre(0, 25, 50, 75));
}

TEST(IteratorDrivers, ParallelLogAndProgressOfOneThread) {
  Loop loop(L"InProcessParallel", 1);
  const ProgressLines progress(*loop.Each());
  const LogLines lines;
  EXPECT_EQ(loop.RunWith(Numbers(4)), L"[0, 1, 2, 3]");
  EXPECT_THAT(lines.Get(), ElementsAre(L"Concurrency is 1.", L"Iteration 1(1) of 4", L"Iteration 2(2) of 4",
                                       L"Iteration 3(3) of 4", L"Iteration 4(4) of 4", L"Iterations complete"));
  EXPECT_THAT(progress.values, ElementsAre(25, 50, 75, 100));
}

TEST(IteratorDrivers, ParallelWithoutThreadsIsSerial) {
  Loop loop(L"InProcessParallel", 0);
  const ProgressLines progress(*loop.Each());
  const LogLines lines;
  EXPECT_EQ(loop.RunWith(Numbers(2)), L"[0, 1]");
  EXPECT_THAT(lines.Get(),
              ElementsAre(L"Concurrency is zero.", L"Iteration 0 of 2", L"Iteration 1 of 2", L"Iterations complete"));
  EXPECT_THAT(progress.values, ElementsAre(0, 50));
}

TEST(IteratorDrivers, ThreadsCountUpAndTellEachIterationOnce) {
  constexpr int kCount = 60;
  for (const unsigned threads : {2u, 8u}) {
    SCOPED_TRACE(threads);
    Loop loop(L"InProcessParallel", threads);
    const ProgressLines progress(*loop.Each());
    const LogLines log;
    EXPECT_EQ(loop.RunWith(Numbers(kCount)), Text(Numbers(kCount)));
    const Lines lines = log.Get();
    ASSERT_EQ(lines.size(), kCount + 2u);
    EXPECT_EQ(lines.front(), L"Concurrency is " + std::to_wstring(threads) + L".");
    EXPECT_EQ(lines.back(), L"Iterations complete");
    std::set<std::wstring> indices;
    for (int i = 1; i <= kCount; ++i) {
      const std::wstring begin = L"Iteration " + std::to_wstring(i) + L"(", end = L") of 60";
      ASSERT_TRUE(lines[i].starts_with(begin) && lines[i].ends_with(end)) << kstr_ToUtf8(lines[i]);
      indices.insert(lines[i].substr(begin.size(), lines[i].size() - begin.size() - end.size()));
    }
    EXPECT_EQ(indices.size(), 60u);
    EXPECT_TRUE(indices.count(L"1") && indices.count(L"60") && !indices.count(L"0"));
    ASSERT_EQ(progress.values.size(), 60u);
    for (int i = 0; i < kCount; ++i) EXPECT_EQ(progress.values[i], (i + 1.0) / kCount * 100);
  }
}

TEST(IteratorDrivers, OnlyTheOuterProgressCounts) {
  const HookDoes tell([](Hook& hook, const DataPtr& in) {
    hook.SetProgress(99);
    return in;
  });
  for (const auto& driver : Drivers()) {
    SCOPED_TRACE(Title(driver));
    Loop loop(driver.method, driver.threads);
    const ProgressLines progress(*loop.host.GetModel());
    loop.RunWith(Numbers(2));
    if (driver.threads > 0 && driver.method != std::wstring(L"InProcessSerial"))
      EXPECT_THAT(progress.values, ElementsAre(50, 100));
    else
      EXPECT_THAT(progress.values, ElementsAre(0, 50));
  }
}

// Order.

/// Lets hooks through by the number on their "In", each when the one before has been told as complete.
class Gate {
 public:
  explicit Gate(std::vector<int> order) : order_(std::move(order)) {}
  void Pass(int number) {
    std::unique_lock lock(mutex_);
    if (!opened_.wait_for(lock, std::chrono::seconds(20), [&] { return order_[next_] == number; }))
      throw std::runtime_error("the gate was never opened");
  }
  void OpenNext() {
    const std::lock_guard lock(mutex_);
    if (next_ + 1 < order_.size()) ++next_;
    opened_.notify_all();
  }

 private:
  const std::vector<int> order_;
  std::mutex mutex_;
  std::condition_variable opened_;
  std::size_t next_ = 0;
};

TEST(IteratorThreads, OutputsAreInOrderWhateverTheOrderOfCompletion) {
  std::vector<int> order = UpTo(3);
  do {
    SCOPED_TRACE(::testing::PrintToString(order));
    Gate gate(order);
    const HookDoes wait([&](Hook&, const DataPtr& in) {
      gate.Pass(NumberOf(in));
      return Value(10 * NumberOf(in));
    });
    Loop loop(L"InProcessParallel", 3);
    const LogLines lines([&](const std::wstring& line) {
      if (line.starts_with(L"Iteration ")) gate.OpenNext();
    });
    EXPECT_EQ(loop.RunWith(Numbers(3)), L"[0, 10, 20]");
    Lines expected{L"Concurrency is 3."};
    for (int i = 0; i < 3; ++i) {
      expected.push_back(L"Iteration " + std::to_wstring(i + 1) + L"(" + std::to_wstring(order[i] + 1) + L") of 3");
    }
    expected.push_back(L"Iterations complete");
    EXPECT_THAT(lines.Get(), ElementsAreArray(expected));
  } while (std::next_permutation(order.begin(), order.end()));
}

TEST(IteratorDrivers, IterationsBeginInOrder) {
  for (const auto& driver : Drivers()) {
    if (driver.threads > 1 && driver.method != std::wstring(L"InProcessSerial")) continue;
    SCOPED_TRACE(Title(driver));
    Begun begun;
    const HookDoes note([&](Hook&, const DataPtr& in) {
      begun.Note(NumberOf(in));
      return in;
    });
    Loop loop(driver.method, driver.threads);
    loop.RunWith(Numbers(20));
    EXPECT_EQ(begun.Get(), UpTo(20));
  }
}

TEST(IteratorThreads, IterationsRunAtTheSameTime) {
  std::mutex mutex;
  std::condition_variable all;
  int inside = 0;
  const HookDoes meet([&](Hook&, const DataPtr& in) {
    std::unique_lock lock(mutex);
    ++inside;
    all.notify_all();
    if (!all.wait_for(lock, std::chrono::seconds(20), [&] { return inside >= 8; }))
      throw std::runtime_error("they never met");
    return in;
  });
  Loop loop(L"InProcessParallel", 8);
  EXPECT_EQ(loop.RunWith(Numbers(8)), Text(Numbers(8)));
}

TEST(IteratorDrivers, NothingOnAnOutputKeepsItsPlace) {
  const HookDoes odd([](Hook&, const DataPtr& in) { return NumberOf(in) % 2 ? in : DataPtr(); });
  for (const auto& driver : Drivers()) {
    SCOPED_TRACE(Title(driver));
    Loop loop(driver.method, driver.threads);
    EXPECT_EQ(loop.RunWith(Numbers(4)), L"[-, 1, -, 3]");
  }
}

// Failure.

struct FailureRow {
  const char* title;
  std::function<void(Hook&)> raise;
  std::function<bool(const std::exception_ptr&)> isIt;
};

template <typename T>
bool IsExactly(const std::exception_ptr& problem, const char* text) {
  try {
    std::rethrow_exception(problem);
  } catch (const T& error) {
    return typeid(error) == typeid(T) && std::string(error.what()) == text;
  } catch (...) {
    return false;
  }
}

const std::vector<FailureRow>& FailureRows() {
  static const std::vector<FailureRow> rows = {
      {"of the standard library", [](Hook&) { throw std::out_of_range("the third"); },
       [](const std::exception_ptr& problem) { return IsExactly<std::out_of_range>(problem, "the third"); }},
      {"a message", [](Hook& hook) { hook.SetErrorMessage(L"the th\u00efrd"); },
       [](const std::exception_ptr& problem) {
         return IsExactly<tessera::OperatorException>(problem, "the th\xc3\xafrd");
       }},
      {"of no class", [](Hook&) { throw 3; },  // NOLINT
       [](const std::exception_ptr& problem) {
         try {
           std::rethrow_exception(problem);
         } catch (int number) {
           return number == 3;
         } catch (...) {
           return false;
         }
       }}};
  return rows;
}

TEST(IteratorDrivers, TheFailureOfOneIterationEndsTheRunUnchanged) {
  constexpr int kCount = 2000, kFailing = 3;
  for (const auto& driver : Drivers()) {
    for (const auto& row : FailureRows()) {
      SCOPED_TRACE(Title(driver) + ", " + row.title);
      Begun begun;
      const HookDoes fail([&](Hook& hook, const DataPtr& in) {
        begun.Note(NumberOf(in));
        if (NumberOf(in) == kFailing) row.raise(hook);
        // Time for the failure to be noted.
        if (NumberOf(in) > kFailing) std::this_thread::sleep_for(std::chrono::milliseconds(1));
        return in;
      });
      Loop loop(driver.method, driver.threads);
      loop.host.Set(L"each.In", Numbers(kCount));
      std::exception_ptr problem;
      const LogLines lines;
      try {
        loop.host.GetModel()->Execute();
      } catch (...) {
        problem = std::current_exception();
      }
      ASSERT_TRUE(problem);
      EXPECT_TRUE(row.isIt(problem));
      EXPECT_EQ(tessera::ExecutionEnvironment::GetFailedOperator(problem), L"body");
      EXPECT_FALSE(loop.Each()->IsExecuted());
      EXPECT_FALSE(loop.host.Existing(L"each.Out"));
      EXPECT_THAT(lines.Get(), ::testing::Not(::testing::Contains(L"Iterations complete")));

      std::vector<int> ran = begun.Get();
      if (driver.threads < 2 || driver.method == std::wstring(L"InProcessSerial")) {
        EXPECT_EQ(ran, UpTo(kFailing + 1));
      } else {  // those under way end, no further one begins
        std::sort(ran.begin(), ran.end());
        EXPECT_EQ(ran, UpTo(static_cast<int>(ran.size())));
        EXPECT_GT(static_cast<int>(ran.size()), kFailing);
        EXPECT_LT(static_cast<int>(ran.size()), kCount);
      }
    }
  }
}

TEST(IteratorDrivers, AFailedRunLeavesItsCopiesToBePulled) {
  const HookDoes fail([](Hook&, const DataPtr& in) -> DataPtr {
    if (NumberOf(in) == 1) throw std::out_of_range("one");
    return Value(10 + NumberOf(in));
  });
  for (const auto& driver : Drivers()) {
    SCOPED_TRACE(Title(driver));
    Loop loop(driver.method, driver.threads);
    EXPECT_EQ(loop.RunWith(Numbers(3)), L"failed: one");
    const auto directed = boost::make_shared<Tamrin::TesseraBasic::DirectedDataRequest>();
    directed->Initialize();
    directed->SetIndex(0);
    EXPECT_EQ(Text(loop.Pull(directed)), L"10");
  }
}

TEST(IteratorDrivers, ARunAfterAFailureIsANewOne) {
  std::atomic<bool> failing{true};
  const HookDoes fail([&](Hook&, const DataPtr& in) {
    if (failing && NumberOf(in) == 1) throw std::out_of_range("one");
    return in;
  });
  for (const auto& driver : Drivers()) {
    SCOPED_TRACE(Title(driver));
    Loop loop(driver.method, driver.threads);
    failing = true;
    EXPECT_EQ(loop.RunWith(Numbers(3)), L"failed: one");
    failing = false;
    ASSERT_TRUE(loop.host.Run());
    EXPECT_EQ(Text(loop.host.Existing(L"each.Out")), L"[0, 1, 2]");
  }
}

// Messages.

using Told = std::vector<std::pair<tessera::Issue::Severity, std::wstring>>;

Told MessagesOf(const tessera::Operator& op) {
  Told told;
  for (const auto& message : op.GetMessages()) told.emplace_back(message.severity, message.text);
  return told;
}

void Tell(Hook& hook, tessera::Issue::Severity severity, const std::wstring& text) {
  if (severity == tessera::Issue::Information)
    hook.SetInfoMessage(text);
  else if (severity == tessera::Issue::Warning)
    hook.SetWarningMessage(text);
  else
    hook.SetErrorMessage(text);
}

TEST(IteratorRelay, MessagesReachTheOperatorThatTheUserDrew) {
  for (const auto severity : {tessera::Issue::Information, tessera::Issue::Warning, tessera::Issue::Error}) {
    const HookDoes tell([&](Hook& hook, const DataPtr& in) {
      if (NumberOf(in) == 1) Tell(hook, severity, L"from one");
      return in;
    });
    for (const auto& driver : Drivers()) {
      SCOPED_TRACE(Title(driver) + ", severity " + std::to_string(severity));
      Loop loop(driver.method, driver.threads);
      std::vector<OperatorPtr> sources;
      const auto handle = loop.host.GetModel()->AddOnMessageCallback(
          [&](const OperatorPtr& source, const PortPtr&, const std::wstring&, const std::wstring&,
              tessera::Issue::Severity) { sources.push_back(source); });
      const bool fails = severity == tessera::Issue::Error;
      EXPECT_EQ(loop.RunWith(Numbers(3)), fails ? L"failed: from one" : L"[0, 1, 2]");
      EXPECT_EQ(MessagesOf(*loop.Drawn(L"body")), (Told{{severity, L"from one"}}));
      EXPECT_THAT(MessagesOf(*loop.Each()), IsEmpty());
      EXPECT_THAT(sources, ElementsAre(loop.Drawn(L"body")));
    }
  }
}

TEST(IteratorRelay, MessagesOfNobodyAreDropped) {
  for (const auto severity : {tessera::Issue::Information, tessera::Issue::Warning, tessera::Issue::Error}) {
    const HookDoes tell([&](Hook& hook, const DataPtr& in) {
      hook.SetDisplayName(L"of no drawn operator");
      if (NumberOf(in) == 1) Tell(hook, severity, L"from one");
      return in;
    });
    for (const auto& driver : Drivers()) {
      SCOPED_TRACE(Title(driver) + ", severity " + std::to_string(severity));
      Loop loop(driver.method, driver.threads);
      const bool fails = severity == tessera::Issue::Error;
      EXPECT_EQ(loop.RunWith(Numbers(3)), fails ? L"failed: from one" : L"[0, 1, 2]");
      for (const auto& op : loop.host.GetModel()->GetAllOperators(true)) EXPECT_THAT(MessagesOf(*op), IsEmpty());
    }
  }
}

TEST(IteratorRelay, TheFirstOfTheSameNameIsTold) {
  const HookDoes tell([](Hook& hook, const DataPtr& in) {
    if (!hook.GetPort(L"Second")->GetData()) hook.SetInfoMessage(L"the second says");
    return in;
  });
  for (const auto& driver : Drivers()) {
    SCOPED_TRACE(Title(driver));
    Loop loop(driver.method, driver.threads);
    const auto other = tessera::OperatorFactory::Create(L"Test", L"Hook");
    other->SetDisplayName(L"body");
    loop.Each()->AddOperator(other);
    loop.host.Set(L"each.Second", 1);  // leads to the first alone
    EXPECT_EQ(loop.RunWith(Numbers(2)), L"[0, 1]");
    EXPECT_EQ(MessagesOf(*loop.Drawn(L"body")), (Told(2, {tessera::Issue::Information, L"the second says"})));
    EXPECT_THAT(MessagesOf(*other), IsEmpty());
  }
}

TEST(IteratorRelay, RelaysThatRaiseOnWorkerThreadsEndTheRun) {
  const HookDoes tell([](Hook& hook, const DataPtr& in) {
    hook.SetInfoMessage(L"begun");
    return in;
  });
  for (const auto& driver : Drivers()) {
    SCOPED_TRACE(Title(driver));
    Loop loop(driver.method, driver.threads);
    const auto handle = loop.Drawn(L"body")->AddOnMessageCallback(
        [](const OperatorPtr&, const PortPtr&, const std::wstring& text, const std::wstring&,
           tessera::Issue::Severity) { throw std::domain_error(kstr_ToUtf8(text) + " is not listened to"); });
    loop.host.Set(L"each.In", Numbers(200));
    try {
      loop.host.GetModel()->Execute();
      ADD_FAILURE() << "nothing was raised";
    } catch (const std::domain_error& error) {
      EXPECT_STREQ(error.what(), "begun is not listened to");
    }
  }
}

TEST(IteratorThreads, MessagesOfAllThreadsArrive) {
  const HookDoes tell([](Hook& hook, const DataPtr& in) {
    hook.SetWarningMessage(Text(in));
    return in;
  });
  Loop loop(L"InProcessParallel", 8);
  loop.RunWith(Numbers(100));
  std::set<std::wstring> texts;
  for (const auto& message : loop.Drawn(L"body")->GetMessages()) texts.insert(message.text);
  EXPECT_EQ(texts.size(), 100u);
  EXPECT_EQ(loop.Drawn(L"body")->GetMessages().size(), 100u);
}

TEST(IteratorThreads, IteratorsRunInSeveralModelsAtOnce) {
  const HookDoes doubled([](Hook&, const DataPtr& in) { return Value(2 * NumberOf(in)); });
  std::vector<std::wstring> found(4);
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < found.size(); ++i) {
    threads.emplace_back([&found, i] {
      Loop loop(i % 2 ? L"InProcessParallel" : L"InProcessSerial", 2);
      found[i] = loop.RunWith(NumberList({1, static_cast<int>(i)}));
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_THAT(found, ElementsAre(L"[2, 0]", L"[2, 2]", L"[2, 4]", L"[2, 6]"));
}

// The methods by themselves.

OperatorPtr MakeMethod(const wchar_t* name, Loop& loop, unsigned count, const DataPtr& in) {
  const auto method = tessera::OperatorFactory::Create(L"VANTIX", name);
  tessera::Dictionary inputs;
  inputs.SetItem(L"In", in);
  tessera::WritePort(*method, L"Model", tessera::ModelFormatFactory::SaveToBuffer(loop.Each(), L"TesseraModelFormat"));
  tessera::WritePort(*method, L"CommonInputDataCount", count);
  tessera::WritePort(*method, L"InputData", inputs);
  tessera::WritePort(*method, L"OutputPortNames", Lines{L"Out"});
  loop.Each()->SetExecuted(true);  // it is the parent, and must not run a method of its own
  return method;
}

constexpr const wchar_t* kSerial = L"IteratorExecutionMethodInProcessSerial";
constexpr const wchar_t* kParallel = L"IteratorExecutionMethodInProcessParallel";

std::wstring OutputOf(tessera::Operator& method) {
  const auto lists = tessera::AsDataOf<tessera::DictionaryData>(method.GetPort(L"OutputData")->GetExistingData());
  if (!lists) return L"nothing";
  std::wstring text;
  for (const auto& [name, list] : lists->GetDataValue().GetItems()) text += name + L": " + Text(list) + L"\n";
  return text;
}

TEST(IteratorMethods, PortsInOrder) {
  for (const wchar_t* name : {kSerial, kParallel}) {
    const auto method = tessera::OperatorFactory::Create(L"VANTIX", name);
    ASSERT_TRUE(method);
    EXPECT_EQ(PortNames(*method),
              (Lines{L"Model", L"CommonInputDataCount", L"InputData", L"OutputPortNames", L"OutputData"}));
    EXPECT_EQ(method->GetOperatorName(), name);
    EXPECT_EQ(std::wstring(method->Name()), std::wstring(L"VANTIX.") + name);
    EXPECT_EQ(method->GetPrototype(), L"VANTIX.IteratorExecutionMethod");
    EXPECT_EQ(method->GetKeywords(), L"Loop|Repeat");
  }
}

TEST(IteratorMethods, NoIterationsGiveEmptyLists) {
  const std::vector<std::pair<const wchar_t*, const wchar_t*>> rows = {{kSerial, L"Iterations complete"},
                                                                       {kParallel, L"Iteration count is zero."}};
  for (const auto& [name, line] : rows) {
    SCOPED_TRACE(kstr_ToUtf8(name));
    Loop loop;
    const auto method = MakeMethod(name, loop, 0, Numbers(3));
    method->AddParent(loop.Each());
    const LogLines lines;
    method->Execute();
    EXPECT_THAT(lines.Get(), ElementsAre(line));
    EXPECT_EQ(OutputOf(*method), L"Out: []\n");
  }
}

TEST(IteratorMethods, ShortListsGiveTheirFirstItem) {
  for (const wchar_t* name : {kSerial, kParallel}) {
    SCOPED_TRACE(kstr_ToUtf8(name));
    Loop loop;
    const auto method = MakeMethod(name, loop, 4, NumberList({7, 8}));
    method->AddParent(loop.Each());
    method->Execute();
    EXPECT_EQ(OutputOf(*method), L"Out: [7, 8, 7, 7]\n");
  }
}

TEST(IteratorMethods, ValuesThatAreNoListsAreCommonToAll) {
  for (const wchar_t* name : {kSerial, kParallel}) {
    SCOPED_TRACE(kstr_ToUtf8(name));
    for (const auto& [in, out] : std::vector<std::pair<DataPtr, std::wstring>>{
             {nullptr, L"[-, -]"},
             {Value(5), L"[5, 5]"},
             {boost::make_shared<tessera::DataListData>(), L"[list without value, list without value]"}}) {
      Loop loop;
      const auto method = MakeMethod(name, loop, 2, in);
      method->AddParent(loop.Each());
      method->Execute();
      EXPECT_EQ(OutputOf(*method), L"Out: " + out + L"\n");
    }
  }
}

TEST(IteratorMethods, ListsWithoutItemsHaveNoneForAnIteration) {
  for (const wchar_t* name : {kSerial, kParallel}) {
    SCOPED_TRACE(kstr_ToUtf8(name));
    Loop none;
    const auto idle = MakeMethod(name, none, 0, List({}));
    idle->AddParent(none.Each());
    idle->Execute();
    EXPECT_EQ(OutputOf(*idle), L"Out: []\n");
    Loop loop;
    const auto method = MakeMethod(name, loop, 1, List({}));
    method->AddParent(loop.Each());
    EXPECT_THROW(method->Execute(), tessera::OperatorException);
    EXPECT_EQ(MessagesOf(*method), (Told{{tessera::Issue::Error, L"Empty list on input."}}));
  }
}

TEST(IteratorMethods, WithoutAnOwnerTheySaySo) {
  for (const wchar_t* name : {kSerial, kParallel}) {
    SCOPED_TRACE(kstr_ToUtf8(name));
    Loop loop;
    const auto method = MakeMethod(name, loop, 2, Numbers(2));
    EXPECT_THROW(method->Execute(), tessera::OperatorException);
    EXPECT_EQ(MessagesOf(*method), (Told{{tessera::Issue::Error, L"Could not determing owning iterator."}}));
    EXPECT_EQ(OutputOf(*method), L"nothing");
  }
}

}  // namespace
