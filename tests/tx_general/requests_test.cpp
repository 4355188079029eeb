#include "txbasiclib/requests.h"

#include <thread>

#include "support/testoperators.h"
#include "tx_general/values.h"
#include "txbasiclib/datapath.h"

namespace {

using namespace testing_support;
using testsupport::AddOne;

boost::shared_ptr<tessera::DataRequest> Plain() {
  const auto request = boost::make_shared<tessera::DataRequest>();
  request->Initialize();
  return request;
}

boost::shared_ptr<basic::DirectedDataRequest> At(unsigned index) {
  const auto request = boost::make_shared<basic::DirectedDataRequest>();
  request->Initialize();
  request->SetIndex(index);
  request->SetDataRequest(Plain());
  return request;
}

boost::shared_ptr<basic::NamedDataRequest> Named(const wchar_t* name) {
  const auto request = boost::make_shared<basic::NamedDataRequest>(name, Plain());
  request->Initialize();
  return request;
}

std::wstring TextOf(const DataPtr& data) { return data ? data->ToString() : L"null"; }

/// A model with sources that count their runs: source N gives N + 1.
class Requests : public ::testing::Test {
 protected:
  /// Connects new sources to the operator's numbered ports.
  void Feed(const std::wstring& op, const std::wstring& stem, unsigned count) {
    const auto made = host_.Op(op);
    for (unsigned number = 1; number <= count; ++number) {
      const auto port = stem + std::to_wstring(number);
      if (!made->GetPort(port)) made->AddExpansionPorts();
      const auto source = testsupport::MakeOperator<AddOne>();
      sources_.push_back(source);
      const auto id = L"source" + std::to_wstring(sources_.size());
      host_.Adopt(source, id);
      host_.Set(id + L".In", static_cast<double>(sources_.size()));
      host_.Connect(id + L".Out", op + L"." + port);
    }
  }

  std::vector<int> Runs() const {
    std::vector<int> runs;
    for (const auto& source : sources_) runs.push_back(source->runs);
    return runs;
  }

  /// The answer's text, or the error's.
  std::wstring Pull(const std::wstring& port, const boost::shared_ptr<tessera::DataRequest>& request) {
    try {
      return TextOf(host_.PortOf(port)->GetData(request));
    } catch (const tessera::OperatorException& exception) {
      return L"error: " + exception.get_What();
    }
  }

  ModelHost host_;
  std::vector<boost::shared_ptr<AddOne>> sources_;
};

using Counts = std::vector<int>;

TEST_F(Requests, AListMakesTheItemAskedFor) {
  host_.Add(L"List", L"list");
  Feed(L"list", L"Value", 3);
  EXPECT_EQ(Pull(L"list.ListOut", At(1)), L"3");
  EXPECT_EQ(Runs(), (Counts{0, 1, 0}));
  EXPECT_EQ(Pull(L"list.ListOut", At(3)), L"error: Invalid index.");
  EXPECT_EQ(Runs(), (Counts{0, 1, 0}));
  EXPECT_EQ(Pull(L"list.ListOut", Plain()), L"[2.0, 3.0, 4.0]") << "a request for all gives all";
  EXPECT_EQ(Runs(), (Counts{1, 1, 1}));
}

TEST_F(Requests, ItemsBehindThoseGiven) {
  host_.Add(L"List", L"inner");
  Feed(L"inner", L"Value", 2);
  host_.Add(L"List", L"outer");
  Feed(L"outer", L"Value", 2);
  host_.Connect(L"inner.ListOut", L"outer.ListIn");
  EXPECT_EQ(Pull(L"outer.ListOut", At(3)), L"5");
  EXPECT_EQ(Runs(), (Counts{1, 1, 0, 1})) << "the length of the first list is needed";
  EXPECT_EQ(Pull(L"outer.ListOut", At(1)), L"3");
  EXPECT_EQ(Runs(), (Counts{1, 1, 0, 1}));
  EXPECT_EQ(Pull(L"outer.ListOut", At(4)), L"error: Invalid index.");
}

TEST_F(Requests, NthItemMakesItsItemAlone) {
  host_.Add(L"List", L"list");
  Feed(L"list", L"Value", 4);
  host_.Add(L"NthItem", L"item");
  host_.Connect(L"list.ListOut", L"item.List").Set(L"item.Index", 2);
  EXPECT_EQ(Pull(L"item.Item", Plain()), L"4");
  EXPECT_EQ(Runs(), (Counts{0, 0, 1, 0}));
  host_.Set(L"item.Index", 4);
  EXPECT_EQ(Pull(L"item.Item", Plain()), L"error: Invalid index.");
  host_.Set(L"item.Index", -1);
  EXPECT_EQ(Pull(L"item.Item", Plain()), L"error: Index out of range.");
}

TEST_F(Requests, APullOfNothingIsNothing) {
  host_.Add(L"List", L"list");
  Feed(L"list", L"Value", 1);
  host_.Op(L"list")->AddExpansionPorts();
  host_.Add(L"NthItem", L"item");
  host_.Connect(L"list.ListOut", L"item.List").Set(L"item.Index", 1);
  EXPECT_EQ(Pull(L"item.Item", Plain()), L"null");
  EXPECT_EQ(Runs(), Counts{0});
}

TEST_F(Requests, RemoveEmptyItemsMakesItemsUpToTheOneAskedFor) {
  host_.Add(L"List", L"list");
  host_.Op(L"list")->AddExpansionPorts();  // Value1 stays empty
  host_.Add(L"RemoveEmptyItems", L"kept");
  host_.Connect(L"list.ListOut", L"kept.ListIn");
  for (unsigned number = 2; number <= 4; ++number) {
    if (!host_.Op(L"list")->GetPort(L"Value" + std::to_wstring(number))) host_.Op(L"list")->AddExpansionPorts();
    const auto source = testsupport::MakeOperator<AddOne>();
    sources_.push_back(source);
    host_.Adopt(source, L"s" + std::to_wstring(number));
    host_.Set(L"s" + std::to_wstring(number) + L".In", static_cast<double>(number));
    host_.Connect(L"s" + std::to_wstring(number) + L".Out", L"list.Value" + std::to_wstring(number));
  }
  EXPECT_EQ(Pull(L"kept.ListOut", At(1)), L"4");
  EXPECT_EQ(Runs(), (Counts{1, 1, 0}));
  EXPECT_EQ(Pull(L"kept.ListOut", At(3)), L"error: Invalid index.");
  EXPECT_EQ(Pull(L"kept.ListOut", Plain()), L"[3.0, 4.0, 5.0]");
}

TEST_F(Requests, RemoveEmptyItemsOfAListThatIsThere) {
  host_.Add(L"RemoveEmptyItems", L"kept");
  host_.Set(L"kept.ListIn", List({nullptr, Value(1), nullptr, Value(2)}));
  EXPECT_EQ(Pull(L"kept.ListOut", At(1)), L"2");
  EXPECT_EQ(Pull(L"kept.ListOut", At(2)), L"error: Invalid index.");
  host_.Set(L"kept.ListIn", DataPtr());
  EXPECT_EQ(Pull(L"kept.ListOut", At(0)), L"error: Data not found on port(ListIn).");
}

TEST_F(Requests, RemoveEmptyItemsBehindABranchWithoutData) {
  host_.Add(L"Merge", L"merge");
  host_.Add(L"RemoveEmptyItems", L"kept");
  host_.Connect(L"merge.Output", L"kept.ListIn");
  EXPECT_EQ(Pull(L"kept.ListOut", At(0)), L"error: Data not found on port(ListIn).") << "and no search without end";
}

TEST_F(Requests, ADictionaryMakesTheValueAskedFor) {
  host_.Add(L"Dictionary", L"dictionary");
  Feed(L"dictionary", L"Value", 3);
  host_.Set(L"dictionary.Name1", L"a").Set(L"dictionary.Name2", L"b").Set(L"dictionary.Name3", L"c");
  EXPECT_EQ(Pull(L"dictionary.DictionaryOut", Named(L"b")), L"3");
  EXPECT_EQ(Runs(), (Counts{0, 1, 0}));
  EXPECT_EQ(Pull(L"dictionary.DictionaryOut", Named(L"x")), L"error: Invalid name.");
  host_.Set(L"dictionary.Name2", L"x");
  EXPECT_EQ(Pull(L"dictionary.DictionaryOut", Named(L"x")), L"3") << "a name that changed since is read again";
  EXPECT_EQ(Pull(L"dictionary.DictionaryOut", Named(L"b")), L"error: Invalid name.");
  host_.Set(L"dictionary.DictionaryIn", Dict({{L"d", Value(7)}, {L"x", Value(8)}}));
  EXPECT_EQ(Pull(L"dictionary.DictionaryOut", Named(L"d")), L"7");
  EXPECT_EQ(Pull(L"dictionary.DictionaryOut", Named(L"x")), L"3") << "the own value stands above the one given";
  EXPECT_EQ(Pull(L"dictionary.DictionaryOut", Named(L"e")), L"null");
  EXPECT_EQ(Runs(), (Counts{0, 1, 0}));
}

TEST_F(Requests, DictionaryItemMakesItsItemAlone) {
  host_.Add(L"List", L"list");
  Feed(L"list", L"Value", 2);
  host_.Add(L"Dictionary", L"dictionary");
  Feed(L"dictionary", L"Value", 2);
  host_.Op(L"dictionary")->AddExpansionPorts();
  host_.Set(L"dictionary.Name1", L"a").Set(L"dictionary.Name2", L"b").Set(L"dictionary.Name3", L"list");
  host_.Connect(L"list.ListOut", L"dictionary.Value3");
  host_.Add(L"DictionaryItem", L"item")->AddExpansionPorts();
  host_.Connect(L"dictionary.DictionaryOut", L"item.Dictionary");
  host_.Set(L"item.Name1", L"b").Set(L"item.Name2", L"list/[1]");
  EXPECT_EQ(Pull(L"item.Item2", Plain()), L"3");
  EXPECT_EQ(Runs(), (Counts{0, 1, 0, 0}));
  EXPECT_EQ(Pull(L"item.Item1", Plain()), L"5");
  EXPECT_EQ(Runs(), (Counts{0, 1, 0, 1}));
}

TEST_F(Requests, DictionaryItemOfAValueThatIsThere) {
  host_.Add(L"DictionaryItem", L"item");
  host_.Set(L"item.Dictionary", Dict({{L"a", Dict({{L"b", List({Value(1), Value(2)})}})}, {L"null", nullptr}}));
  const auto pull = [&](const wchar_t* path) {
    host_.Set(L"item.Name1", path);
    return Pull(L"item.Item1", Plain());
  };
  EXPECT_EQ(pull(L"a/b/[1]"), L"2");
  const std::wstring missing = L"error: Requested data is missing.";
  for (const wchar_t* path : {L"x", L"a/x", L"a/b/[2]", L"a/b/[0]/[0]", L"null", L"", L"a//b", L"[9]"}) {
    SCOPED_TRACE(::testing::PrintToString(std::wstring(path)));
    host_.Set(L"item.AllowMissingItem", DataPtr());
    EXPECT_EQ(pull(path), missing);
    host_.Set(L"item.AllowMissingItem", true);
    EXPECT_EQ(pull(path), L"null");
  }
}

TEST_F(Requests, StepsByIndexMeanWhatIsCounted) {
  host_.Add(L"DictionaryItem", L"item");
  host_.Set(L"item.Dictionary", Dict({{L"ranges", RangesValue({{1, 2}, {3, 4}})}}));
  host_.Set(L"item.Name1", L"ranges/[1]");
  EXPECT_EQ(Pull(L"item.Item1", Plain()), L"3:4");
  ASSERT_TRUE(host_.Run());
  EXPECT_EQ(TextOf(host_.Existing(L"item.Item1")), L"3:4");
}

TEST_F(Requests, AnOperatorThatMakesAllGivesTheItemOutOfIt) {
  host_.Add(L"SortItems", L"sort");
  host_.Set(L"sort.DataIn", List({Value(3), Value(1), Value(2)}));
  const auto behind = At(3);
  EXPECT_EQ(Pull(L"sort.DataOut", At(2)), L"3");
  EXPECT_EQ(Pull(L"sort.DataOut", behind), L"null");
  EXPECT_TRUE(behind->IsMissing());
  EXPECT_FALSE(behind->IsFound());
  host_.Add(L"Merge", L"merge");
  host_.Connect(L"sort.DataOut", L"merge.Input1");
  EXPECT_EQ(Pull(L"merge.Output", At(0)), L"1") << "through one that passes on";
}

TEST_F(Requests, ManyThreadsPullAtOnce) {
  host_.Add(L"List", L"list");
  Feed(L"list", L"Value", 4);
  host_.Add(L"RemoveEmptyItems", L"kept");
  host_.Connect(L"list.ListOut", L"kept.ListIn");
  host_.Add(L"Dictionary", L"dictionary");
  host_.Connect(L"kept.ListOut", L"dictionary.Value1").Set(L"dictionary.Name1", L"a");
  host_.Add(L"DictionaryItem", L"item");
  host_.Connect(L"dictionary.DictionaryOut", L"item.Dictionary").Set(L"item.Name1", L"a/[2]");
  std::vector<std::wstring> answers(4);
  std::vector<std::thread> threads;
  for (auto& answer : answers) {
    threads.emplace_back([&] {
      for (int pull = 0; pull < 200; ++pull) answer = Pull(L"item.Item1", Plain());
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(answers, std::vector<std::wstring>(4, L"4"));
  EXPECT_EQ(Runs(), (Counts{1, 1, 1, 0}));
}

}  // namespace
