#include <gmock/gmock.h>

#include <boost/algorithm/string/classification.hpp>
#include <boost/algorithm/string/split.hpp>
#include <cstdlib>
#include <iostream>
#include <latch>
#include <set>
#include <stdexcept>
#include <thread>

#include "tx_general/iteratorloop.h"
#include "txbasiclib/requests.h"
#include "txlib/factories.h"

// What the iterator itself does: its ports, its inputs and outputs, its methods, pulls without and after a run.
namespace {

using namespace testing_support;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsSupersetOf;
using ::testing::Not;
using Names = std::vector<std::wstring>;

const wchar_t* const kEcho = L"Echo";

boost::shared_ptr<tessera::DataRequest> Request() {
  const auto request = boost::make_shared<tessera::DataRequest>();
  request->Initialize();
  return request;
}

// Ports and the table of methods.

TEST(Iterator, MethodPortOffersTheTable) {
  ModelHost host;
  const auto port = host.Add(L"Iterator")->GetPort(L"ExecutionMethod");
  EXPECT_TRUE(port->IsOptional());
  EXPECT_TRUE(port->IsHidden());
  EXPECT_EQ(Text(port->GetData()), L"InProcessSerial");
  const auto offered = tessera::AsDataOf<tessera::StringListData>(port->GetAttribute(L"AcceptableValues"));
  ASSERT_TRUE(offered);
  const Names names = offered->GetDataValue();
  EXPECT_THAT(
      names, IsSupersetOf(Names{L"InProcessSerial", L"InProcessParallel", L"Echo", L"Other.IteratorExecutionMethodEcho",
                                L"Test.IteratorExecutionMethod", L"Test.PlainMethod"}));
  EXPECT_EQ(std::set<std::wstring>(names.begin(), names.end()).size(), names.size());
  EXPECT_THAT(names, Not(Contains(std::wstring())));
}

TEST(Iterator, KeywordsAreThoseOfTheMethodsEachOnce) {
  ModelHost host;
  Names words;
  boost::split(words, host.Add(L"Iterator")->GetKeywords(), boost::is_any_of(L"|"));
  EXPECT_THAT(words, IsSupersetOf(Names{L"Loop", L"Repeat", L"Zigzag", L"Answer", L"Plain"}));
  EXPECT_EQ(std::set<std::wstring>(words.begin(), words.end()).size(), words.size());
}

TEST(IteratorThreads, TheTableIsTheSameFromAllThreads) {
  std::vector<std::wstring> texts(4);
  std::latch begin(static_cast<std::ptrdiff_t>(texts.size()));
  std::vector<std::thread> threads;
  for (auto& text : texts) {
    threads.emplace_back([&] {
      begin.arrive_and_wait();
      ModelHost host;
      text = Text(host.Add(L"Iterator")->GetPort(L"ExecutionMethod")->GetAttribute(L"AcceptableValues"));
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_NE(texts[0].find(L"InProcessSerial"), std::wstring::npos);
  EXPECT_THAT(texts, ::testing::Each(texts[0]));
}

TEST(Iterator, PortsTakeListsOfTheirItems) {
  Loop loop;
  const auto list = tessera::DataListData::DefaultTypeName();
  for (const wchar_t* name : {L"In", L"Second", L"Out"}) {
    const auto port = loop.Each()->GetPort(name);
    EXPECT_THAT(port->GetExtraSupportedDataTypes(), ElementsAre(list));
    EXPECT_EQ(Text(port->GetDataTypeAttribute(list, L"ListDataType")), L"VANTIX.Data");
  }
  const auto method = loop.Each()->GetPort(L"ExecutionMethod");
  EXPECT_TRUE(method->GetExtraSupportedDataTypes().empty());
  EXPECT_FALSE(method->GetDataTypeAttribute(list, L"ListDataType"));
}

struct NameRow {
  const wchar_t* method;
  const wchar_t* called;
};

TEST(Iterator, MethodsAreFoundByTheirShortNames) {
  const std::vector<NameRow> rows = {{L"Echo", L"Test.IteratorExecutionMethodEcho"},
                                     {L"Other.IteratorExecutionMethodEcho", L"Other.IteratorExecutionMethodEcho"},
                                     {L"Test.IteratorExecutionMethod", L"Test.IteratorExecutionMethod"},
                                     {L"Test.PlainMethod", L"Test.PlainMethod"}};
  for (const auto& row : rows) {
    SCOPED_TRACE(::testing::PrintToString(std::wstring(row.method)));
    TestMethods::Reset();
    Loop loop(row.method);
    ASSERT_TRUE(loop.host.Run());
    ASSERT_EQ(TestMethods::calls.size(), 1u);
    EXPECT_EQ(TestMethods::calls.front().name, row.called);
  }
}

TEST(Iterator, UnknownMethods) {
  for (const wchar_t* name : {L"Nothing", L"", L"inprocessserial", L"\u00c9tape", L"PlainMethod",
                              L"IteratorExecutionMethodInProcessSerial"}) {
    SCOPED_TRACE(kstr_ToUtf8(name));
    Loop loop(name);
    try {
      loop.host.GetModel()->Execute();
      ADD_FAILURE() << "nothing was raised";
    } catch (const std::runtime_error& error) {
      EXPECT_EQ(error.what(), kstr_ToUtf8(name) + ": Invalid execution method");
    }
    EXPECT_FALSE(loop.Drawn(L"body")->IsActive());
    EXPECT_THROW(loop.Pull(Request()), tessera::OperatorException);
    loop.host.Set(L"each.ExecutionMethod", L"InProcessSerial");
    EXPECT_EQ(loop.RunWith(Numbers(2)), L"[0, 1]");
  }
}

TEST(Iterator, WithoutAMethodNamedItRunsSerially) {
  for (const bool defaultGone : {false, true}) {
    Loop loop;
    if (defaultGone) loop.Each()->GetPort(L"ExecutionMethod")->SetDefaultData(nullptr);
    const LogLines lines;
    EXPECT_EQ(loop.RunWith(Numbers(2)), L"[0, 1]");
    EXPECT_THAT(lines.Get(), ElementsAre(L"Iteration 0 of 2", L"Iteration 1 of 2", L"Iterations complete"));
  }
}

// Leaked, so that it is still there when the process ends.
const OperatorPtr* lastIterator = nullptr;

void AskForTheTableTooLate() {
  try {
    (*lastIterator)->DeclarePorts();
    std::cerr << "the table was still there\n";
  } catch (const std::runtime_error& error) {
    std::cerr << "raised: " << error.what() << "\n";
  }
  std::cerr.flush();
}

TEST(IteratorDeathTest, TableThatHasGoneIsTold) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        // Before the library is loaded: what is registered first is called last.
        std::atexit(&AskForTheTableTooLate);
        lastIterator = new OperatorPtr(tessera::OperatorFactory::Create(L"VANTIX", L"Iterator"));
        std::exit(*lastIterator ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "raised: Dead Reference Detected");
}

// Inputs.

struct InputRow {
  const char* title;
  DataPtr in;
  DataPtr second;
  unsigned count;
  const wchar_t* inList;
  const wchar_t* secondList;
};

std::vector<InputRow> InputRows() {
  const DataPtr null;
  return {
      {"nothing at all", null, null, 1, L"[-]", L"[-]"},
      {"values only", Value(5), Value(L"x"), 1, L"[5]", L"[x]"},
      {"a list and nothing", Numbers(3), null, 3, L"[0, 1, 2]", L"[-]"},
      {"a list and a value", Numbers(3), Value(L"x"), 3, L"[0, 1, 2]", L"[x]"},
      {"one item next to five", NumberList({7}), Numbers(5), 5, L"[7]", L"[0, 1, 2, 3, 4]"},
      {"five next to one item", Numbers(5), NumberList({7}), 5, L"[0, 1, 2, 3, 4]", L"[7]"},
      {"one item each", NumberList({7}), NumberList({8}), 1, L"[7]", L"[8]"},
      {"one item and nothing", NumberList({7}), null, 1, L"[7]", L"[-]"},
      {"five and three", Numbers(5), Numbers(3), 3, L"[0, 1, 2, 3, 4]", L"[0, 1, 2]"},
      {"three and five", Numbers(3), Numbers(5), 3, L"[0, 1, 2]", L"[0, 1, 2, 3, 4]"},
      {"null items", List({nullptr, Value(1), nullptr}), null, 3, L"[-, 1, -]", L"[-]"},
      {"one null item", List({nullptr}), Numbers(2), 2, L"[-]", L"[0, 1]"},
      {"a list of lists", List({Numbers(2), Numbers(1)}), null, 2, L"[[0, 1], [0]]", L"[-]"},
      {"a list without value is none", boost::make_shared<tessera::DataListData>(), Numbers(2), 2,
       L"[list without value]", L"[0, 1]"},
      {"a list of texts is a list", Value(Names{L"a", L"b"}), null, 2, L"[a, b]", L"[-]"},
  };
}

TEST(Iterator, InputsAsHandedToTheMethod) {
  for (const auto& row : InputRows()) {
    SCOPED_TRACE(row.title);
    TestMethods::Reset();
    Loop loop(kEcho);
    loop.host.Set(L"each.In", row.in).Set(L"each.Second", row.second);
    ASSERT_TRUE(loop.host.Run()) << kstr_ToUtf8(loop.host.Error());
    ASSERT_EQ(TestMethods::calls.size(), 1u);
    const auto& call = TestMethods::calls.front();
    EXPECT_EQ(call.count, row.count);
    EXPECT_THAT(call.inputs.GetKeys(), ElementsAre(L"In", L"Second"));
    EXPECT_EQ(Text(call.inputs.Find(L"In")), row.inList);
    EXPECT_EQ(Text(call.inputs.Find(L"Second")), row.secondList);
  }
}

TEST(Iterator, EachIterationGetsItsItems) {
  const HookDoes pair(
      [](Hook& hook, const DataPtr& in) { return Value(Text(in) + L"/" + Text(hook.GetPort(L"Second")->GetData())); });
  struct Row {
    DataPtr in, second;
    const wchar_t* expected;
  };
  const std::vector<Row> rows = {{nullptr, nullptr, L"[-/-]"},
                                 {Value(5), Value(6), L"[5/6]"},
                                 {Numbers(3), Value(L"x"), L"[0/x, 1/x, 2/x]"},
                                 {NumberList({7}), Numbers(5), L"[7/0, 7/1, 7/2, 7/3, 7/4]"},
                                 {Numbers(5), Numbers(3), L"[0/0, 1/1, 2/2]"},
                                 {List({nullptr, Value(1)}), nullptr, L"[-/-, 1/-]"},
                                 {List({Numbers(2), Numbers(0)}), Value(9), L"[[0, 1]/9, []/9]"}};
  for (const auto& driver : Drivers()) {
    SCOPED_TRACE(Title(driver));
    for (const auto& row : rows) {
      Loop loop(driver.method, driver.threads);
      loop.host.Set(L"each.Second", row.second);
      EXPECT_EQ(loop.RunWith(row.in), row.expected);
      loop.host.Reopen();
      loop.host.GetModel()->GetEnvironment()->SetNumThreads(driver.threads);
      ASSERT_TRUE(loop.host.Run()) << kstr_ToUtf8(loop.host.Error());
      EXPECT_EQ(Text(loop.host.Existing(L"each.Out")), row.expected) << "reopened";
    }
  }
}

TEST(Iterator, ListsComeFromOperatorsToo) {
  Loop loop(L"InProcessSerial");
  const auto source = loop.host.Adopt(tessera::OperatorFactory::Create(L"Test", L"Hook"), L"source");
  loop.host.Connect(L"source.Out", L"each.In").Set(L"source.In", Numbers(3));
  ASSERT_TRUE(loop.host.Run());
  EXPECT_EQ(Text(loop.host.Existing(L"each.Out")), L"[0, 1, 2]");
}

TEST(Iterator, EmptyListsAreRefusedWhateverTheOthersHold) {
  const std::vector<std::pair<DataPtr, DataPtr>> rows = {
      {Numbers(0), nullptr},  {nullptr, Numbers(0)},    {Numbers(0), Numbers(5)},    {Numbers(5), Numbers(0)},
      {Value(1), Numbers(0)}, {Numbers(0), Numbers(0)}, {Value(Names{}), Numbers(2)}};
  for (const auto& [in, second] : rows) {
    SCOPED_TRACE(kstr_ToUtf8(Text(in) + L" and " + Text(second)));
    TestMethods::Reset();
    Loop loop(kEcho);
    loop.host.Set(L"each.In", in).Set(L"each.Second", second);
    EXPECT_THROW(loop.host.GetModel()->Execute(), tessera::OperatorException);
    EXPECT_THAT(loop.host.Messages(tessera::Issue::Error), ElementsAre(L"Empty list on input."));
    EXPECT_TRUE(TestMethods::calls.empty());
    EXPECT_FALSE(loop.host.Existing(L"each.Out"));
    DataPtr data;
    EXPECT_FALSE(loop.host.Pull(L"each.Out", data));
    EXPECT_EQ(loop.host.Error(), L"ExecutionMethod is NULL!");
  }
}

// What a method is given and what is made of what it gives.

TEST(Iterator, MethodKnowsItsOwnerAndItsRun) {
  TestMethods::Reset();
  Loop loop(kEcho);
  loop.host.Set(L"each.In", Numbers(2));
  ASSERT_TRUE(loop.host.Run());
  const auto& call = TestMethods::calls.front();
  EXPECT_EQ(call.owner, loop.Each());
  EXPECT_EQ(call.environment, loop.host.GetModel()->GetEnvironment());
  EXPECT_THAT(call.outputs, ElementsAre(L"Out"));
  const auto copy = tessera::ModelFormatFactory::OpenFromBuffer(call.model, L"TesseraModelFormat");
  EXPECT_EQ(copy->GetOperatorName(), L"Iterator");
  ASSERT_EQ(copy->GetOperators().size(), 1u);
  EXPECT_EQ(copy->GetOperators().front()->GetDisplayName(), L"body");
  EXPECT_EQ(PortNames(*copy), PortNames(*loop.Each()));
  TestMethods::Reset();
}

TEST(Iterator, CopiesAreMadeWithoutTheListsOfTheInputs) {
  TestMethods::Reset();
  Loop loop(kEcho);
  loop.host.Set(L"each.In", NumberList({271828, 314159}));
  ASSERT_TRUE(loop.host.Run());
  const std::wstring& text = TestMethods::calls.front().model;
  EXPECT_EQ(text.find(L"271828"), std::wstring::npos);
  EXPECT_NE(text.find(L"\"Echo\""), std::wstring::npos) << "the name of the method stays";
  EXPECT_EQ(Text(loop.Each()->GetPort(L"In")->GetOwnData()), L"[271828, 314159]") << "the iterator keeps its list";
  TestMethods::Reset();
}

TEST(Iterator, AFailedRunLeavesNoResultsOfTheOneBefore) {
  TestMethods::Reset();
  Loop loop = Loop::Nested(kEcho, L"InProcessSerial");
  TestMethods::results.SetItem(L"Out", NumberList({1, 2}));
  loop.host.Set(L"each.In", Numbers(2));
  ASSERT_TRUE(loop.host.Run()) << kstr_ToUtf8(loop.host.Error());
  EXPECT_EQ(Text(loop.host.Existing(L"each.Out")), L"[1, 2]");
  loop.host.Set(L"each.In", List({}));
  EXPECT_FALSE(loop.host.Run());
  EXPECT_EQ(loop.host.Error(), L"Empty list on input.");
  EXPECT_EQ(Text(loop.host.Existing(L"each.Out")), L"-");
  TestMethods::Reset();
}

TEST(Iterator, ResultsGoToTheInnermostPorts) {
  TestMethods::Reset();
  Loop loop = Loop::Nested(kEcho, L"InProcessSerial");
  const auto loose = loop.Each()->CreatePort(L"Loose", tessera::Data::DefaultTypeName(), tessera::PortType::Output);
  TestMethods::results.SetItem(L"Out", NumberList({1, 2}));
  TestMethods::results.SetItem(L"Loose", NumberList({3}));
  TestMethods::results.SetItem(L"Unasked", NumberList({4}));
  ASSERT_TRUE(loop.host.Run()) << kstr_ToUtf8(loop.host.Error());
  EXPECT_THAT(TestMethods::calls.front().outputs, ElementsAre(L"Out", L"Loose"));
  EXPECT_EQ(Text(loop.Drawn(L"body")->GetPort(L"Out")->GetOwnData()), L"[1, 2]");
  EXPECT_EQ(Text(loose->GetOwnData()), L"[3]");
  EXPECT_EQ(Text(loop.host.Existing(L"each.Out")), L"[1, 2]");
  TestMethods::Reset();
}

TEST(Iterator, OperatorsInsideNeverRunThemselves) {
  std::mutex mutex;
  std::set<const Hook*> ran;
  const HookDoes note([&](Hook& hook, const DataPtr& in) {
    const std::lock_guard lock(mutex);
    ran.insert(&hook);
    return in;
  });
  for (const auto& driver : Drivers()) {
    SCOPED_TRACE(Title(driver));
    ran.clear();
    Loop loop(driver.method, driver.threads);
    EXPECT_EQ(loop.RunWith(Numbers(3)), L"[0, 1, 2]");
    const auto body = loop.Drawn(L"body");
    EXPECT_EQ(ran.size(), 3u);
    EXPECT_EQ(ran.count(dynamic_cast<const Hook*>(body.get())), 0u);
    EXPECT_TRUE(body->IsExecuted());
    EXPECT_FALSE(body->IsActive());
    body->Execute();
    EXPECT_EQ(ran.size(), 3u);
  }
}

TEST(Iterator, ItemsAreHandedOnAsTheyAre) {
  std::mutex mutex;
  std::set<const tessera::Data*> seen;
  const HookDoes note([&](Hook& hook, const DataPtr& in) {
    const std::lock_guard lock(mutex);
    seen.insert(in.get());
    seen.insert(hook.GetPort(L"Second")->GetData().get());
    return in;
  });
  const DataPtr first = Value(1), second = Value(2), common = Value(L"common");
  for (const auto& driver : Drivers()) {
    SCOPED_TRACE(Title(driver));
    seen.clear();
    Loop loop(driver.method, driver.threads);
    loop.host.Set(L"each.Second", common);
    loop.RunWith(List({first, second}));
    EXPECT_EQ(seen, (std::set<const tessera::Data*>{first.get(), second.get(), common.get()}));
    const auto out = loop.host.Get<tessera::DataList>(L"each.Out");
    EXPECT_EQ(out, (tessera::DataList{first, second}));
  }
}

// Runs one after the other.

TEST(Iterator, RunsAgainOnlyAfterAnInvalidation) {
  std::atomic<int> runs{0};
  const HookDoes count([&](Hook&, const DataPtr& in) {
    ++runs;
    return in;
  });
  for (const auto& driver : Drivers()) {
    SCOPED_TRACE(Title(driver));
    runs = 0;
    Loop loop(driver.method, driver.threads);
    EXPECT_EQ(loop.RunWith(Numbers(3)), L"[0, 1, 2]");
    ASSERT_TRUE(loop.host.Run());
    EXPECT_EQ(runs, 3);
    EXPECT_EQ(loop.RunWith(NumberList({8, 9})), L"[8, 9]");
    EXPECT_EQ(runs, 5);
    loop.Each()->Invalidate();
    ASSERT_TRUE(loop.host.Run());
    EXPECT_EQ(runs, 7);
    EXPECT_EQ(Text(loop.host.Existing(L"each.Out")), L"[8, 9]");
  }
}

TEST(Iterator, ValuesOnItsPortsSurviveTheDocument) {
  Loop loop(L"InProcessParallel", 1);
  loop.host.Set(L"each.In", Numbers(3)).Set(L"each.Second", L"common");
  loop.host.Reopen().Reopen();
  loop.host.GetModel()->GetEnvironment()->SetNumThreads(1);
  EXPECT_EQ(Text(loop.host.PortOf(L"each.ExecutionMethod")->GetData()), L"InProcessParallel");
  EXPECT_EQ(Text(loop.host.PortOf(L"each.Second")->GetData()), L"common");
  const LogLines lines;
  ASSERT_TRUE(loop.host.Run());
  EXPECT_EQ(Text(loop.host.Existing(L"each.Out")), L"[0, 1, 2]");
  EXPECT_THAT(lines.Get(), Contains(L"Concurrency is 1."));
}

TEST(Iterator, DocumentsSavedAfterARunDoNotHoldItsMarks) {
  Loop loop(L"InProcessSerial");
  EXPECT_EQ(loop.RunWith(Numbers(3)), L"[0, 1, 2]");
  EXPECT_FALSE(loop.Each()->GetAttribute(L"IteratorExecutionMethodModel"));
  loop.host.Reopen();
  EXPECT_EQ(loop.RunWith(Numbers(2)), L"[0, 1]");
}

TEST(Iterator, AMarkThatIsFalseIsNone) {
  Loop loop(L"InProcessSerial");
  loop.Each()->SetAttribute(L"IteratorExecutionMethodModel", Value(false));
  EXPECT_EQ(loop.RunWith(Numbers(2)), L"[0, 1]");
}

TEST(Iterator, AMarkedIteratorRunsWhatItHolds) {
  Loop loop(L"Nothing");
  loop.Each()->SetAttribute(L"IteratorExecutionMethodModel", Value(true));
  EXPECT_EQ(loop.RunWith(Value(5)), L"5");
  EXPECT_EQ(Text(loop.Pull(Request())), L"5");
}

// Pulls without a method.

TEST(Iterator, PullsNeedARun) {
  Loop loop(L"InProcessSerial");
  DataPtr data;
  const auto refused = [&] {
    return !loop.host.Pull(L"each.Out", data) && loop.host.Error() == L"ExecutionMethod is NULL!";
  };
  EXPECT_TRUE(refused());
  EXPECT_THAT(loop.host.Messages(tessera::Issue::Error), ElementsAre(L"ExecutionMethod is NULL!"));
  EXPECT_FALSE(loop.Each()->IsExecuted());
  EXPECT_EQ(loop.RunWith(Numbers(2)), L"[0, 1]");
  ASSERT_TRUE(loop.host.Pull(L"each.Out", data));
  EXPECT_EQ(Text(data), L"[0, 1]");
  loop.host.Set(L"each.In", Numbers(3));
  EXPECT_TRUE(refused());
  ASSERT_TRUE(loop.host.Run());
  ASSERT_TRUE(loop.host.Pull(L"each.Out", data));
  EXPECT_EQ(Text(data), L"[0, 1, 2]");
}

}  // namespace
