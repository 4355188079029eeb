#include <limits>

#include "tx_general/values.h"

namespace {

using namespace testing_support;

DataPtr Doubles(const std::vector<double>& values) {
  tessera::DataList items;
  for (const double value : values) items.push_back(Value(value));
  return List(std::move(items));
}

TEST(NumItems, Rows) {
  const auto row = [](const char* title, const DataPtr& list, const DataPtr& expected, std::wstring error = {}) {
    return Row{title, L"NumItems", {{L"List", list}}, L"NumItems", expected, std::move(error)};
  };
  ExpectRows({
      row("null items count", List({Value(1), nullptr}), Value(2u)),
      row("none", List({}), Value(0u)),
      row("rows of a table", TableValue({1, 2, 3}), Value(3u)),
      row("texts", Texts({L"a", L"b"}), Value(2u)),
      row("a single value", Value(5), Value(1u)),
      row("nothing", nullptr, nullptr, L"Data not found on port(List)."),
  });
}

TEST(ItemAt, Rows) {
  const auto row = [](const char* title, const DataPtr& list, const DataPtr& index, const DataPtr& expected,
                      std::wstring error = {}) {
    return Row{title, L"NthItem", {{L"List", list}, {L"Index", index}}, L"Item", expected, std::move(error)};
  };
  const auto list = List({Value(1), nullptr, Value(L"c")});
  const std::wstring outside = L"Index out of range.";
  ExpectRows({
      row("first", list, Value(0), Value(1)),
      row("last", list, Value(2), Value(L"c")),
      row("a null item", list, Value(1), nullptr),
      row("behind the end", list, Value(3), nullptr, outside),
      row("negative", list, Value(-1), nullptr, outside),
      row("of nothing", List({}), Value(0), nullptr, outside),
      row("row of a table", TableValue({4, 5}), Value(1), ScalarValue(5)),
      row("text of texts", Texts({L"a", L"b"}), Value(1), Value(L"b")),
      row("a single value", Value(7), Value(0), Value(7)),
      row("ranges are one value", RangesValue({{1, 2}, {3, 4}}), Value(0), RangesValue({{1, 2}, {3, 4}})),
      row("a dictionary is one value", Dict({{L"a", Value(1)}}), Value(0), Dict({{L"a", Value(1)}})),
      row("behind a single value", Value(7), Value(1), nullptr, outside),
      row("no list", nullptr, Value(0), nullptr, L"Data not found on port(List)."),
      row("no index", list, nullptr, nullptr, L"Data not found on port(Index)."),
  });
}

TEST(ItemAt, TheItemIsShared) {
  const auto item = Value(1);
  ModelHost host;
  host.Add(L"NthItem", L"op");
  host.Set(L"op.List", List({item})).Set(L"op.Index", 0);
  ASSERT_TRUE(host.Run());
  EXPECT_EQ(host.Existing(L"op.Item"), item);
}

TEST(FindItem, Rows) {
  const double nan = std::numeric_limits<double>::quiet_NaN(), inf = std::numeric_limits<double>::infinity();
  const auto row = [](const char* title, const DataPtr& list, const DataPtr& item, const DataPtr& convert,
                      const DataPtr& expected, std::wstring error = {}) {
    return Row{title,      L"FindItem", {{L"List", list}, {L"Item", item}, {L"AttemptConversion", convert}},
               L"Indices", expected,    std::move(error)};
  };
  const auto mixed = List({Value(5), Value(L"5"), Value(5.0), Value(5u), Value(5)});
  ExpectRows({
      row("all of them", List({Value(L"a"), Value(L"b"), Value(L"a")}), Value(L"a"), nullptr, Indices({0, 2})),
      row("none is no error", List({Value(L"a")}), Value(L"x"), nullptr, List({})),
      row("case counts", List({Value(L"A"), Value(L"a")}), Value(L"a"), nullptr, Indices({1})),
      row("of the same type alone", mixed, Value(5), nullptr, Indices({0, 4})),
      row("of any type by text", mixed, Value(5), Value(true), Indices({0, 1, 2, 3, 4})),
      row("texts of numbers differ", Doubles({5.5, 5}), Value(5), Value(true), Indices({1})),
      row("doubles by all their digits", Doubles({0.1, 0.1 + 0.2, 0.3, 0.1}), Value(0.1), nullptr, Indices({0, 3})),
      row("zeros have different texts", Doubles({0.0, -0.0}), Value(0.0), nullptr, Indices({0})),
      row("not a number by its text", Doubles({1, nan}), Value(nan), nullptr, Indices({1})),
      row("infinity by its text", Doubles({1, inf, -inf}), Value(inf), nullptr, Indices({1})),
      row("numbers as texts", Doubles({1e20, 0.1}), Value(L"0.10000000000000001"), Value(true), Indices({1})),
      row("a text that only begins as a number", Doubles({5}), Value(L"5 "), Value(true), List({})),
      row("booleans by their words", List({Value(true), Value(1)}), Value(L"true"), Value(true), Indices({0})),
      row("lists by text", List({List({Value(1)}), List({Value(2)})}), List({Value(2)}), nullptr, Indices({1})),
      row("no item", List({Value(1)}), nullptr, nullptr, nullptr, L"Item is empty!"),
      row("an empty item in the list", List({Value(1), nullptr}), Value(1), nullptr, nullptr, L"Item is empty!"),
      row("no list", nullptr, Value(1), nullptr, nullptr, L"Data not found on port(List)."),
  });
}

TEST(ArrangeItems, Rows) {
  const auto row = [](const char* title, const DataPtr& data, const DataPtr& ranges, const DataPtr& expected,
                      std::wstring error = {}, bool reopens = true) {
    return Row{title,      L"ArrangeItems", {{L"DataIn", data}, {L"RangeList", ranges}},
               L"DataOut", expected,        std::move(error),
               reopens};
  };
  const auto list = List({Value(L"a"), nullptr, Value(L"c")});
  const basic::Color red(1, 0, 0), green(0, 1, 0), blue(0, 0, 1), black(0, 0, 0);
  ExpectRows({
      row("in the order given", list, RangesValue({{2, 2}, {0, 0}}), List({Value(L"c"), Value(L"a")})),
      row("repeated", list, RangesValue({{0, 1}, {0, 0}}), List({Value(L"a"), nullptr, Value(L"a")})),
      row("downwards", list, RangesValue({{2, 0}}), List({Value(L"c"), nullptr, Value(L"a")})),
      row("one range", list, RangeValue(1, 2), List({nullptr, Value(L"c")})),
      row("rows of a table", TableValue({4, 5, 6}, KgdaInt16), RangesValue({{2, 2}, {0, 0}}),
          TableValue({6, 4}, KgdaInt16)),
      row("rows of texts", TextTable({"a", "b"}), RangesValue({{1, 0}}), TextTable({"b", "a"})),
      row("the first colour is not set, as is wanted", ColorTable({red, green, blue}), RangesValue({{2, 2}, {1, 1}}),
          ColorTable({black, green})),
      row("no ranges", list, RangesValue({}), nullptr, L"Could not determine range."),
      row("outside", list, RangesValue({{3, 3}}), nullptr, L"Range 3 on port(RangeList) is outside the bounds 0 to 2."),
      row("nothing", nullptr, RangesValue({{0, 0}}), nullptr, L"No data on port DataIn"),
      row("a list of nothing", List({}), RangesValue({{0, 0}}), nullptr, L"No valid input found"),
      row("no range list", list, nullptr, nullptr, L"Data not found on port(RangeList)."),
  });
}

Row Sorted(const char* title, const DataPtr& data, const wchar_t* order, const wchar_t* output, const DataPtr& expected,
           std::wstring error = {}) {
  Row row{title, L"SortItems", {{L"DataIn", data}}, output, expected, std::move(error)};
  if (order) row.inputs.emplace_back(L"Order", Value(order));
  return row;
}

TEST(SortItems, Numbers) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const auto list = Doubles({3, 1, 2, 1});
  ExpectRows({
      Sorted("ascending unless said", list, nullptr, L"DataOut", Doubles({1, 1, 2, 3})),
      Sorted("stable", list, L"Ascending", L"Indices", Indices({1, 3, 2, 0})),
      Sorted("descending", list, L"Descending", L"DataOut", Doubles({3, 2, 1, 1})),
      Sorted("stable downwards", list, L"Descending", L"Indices", Indices({0, 2, 1, 3})),
      Sorted("another word leaves the order", list, L"ascending", L"DataOut", list),
      Sorted("and says so", list, L"", L"Indices", Indices({0, 1, 2, 3})),
      Sorted("of several types", List({Value(2), Value(true), Value(1.5), Value(0u)}), nullptr, L"DataOut",
             List({Value(0u), Value(true), Value(1.5), Value(2)})),
      Sorted("not a number is last", Doubles({nan, 1, nan, 0}), nullptr, L"Indices", Indices({3, 1, 0, 2})),
      Sorted("or first", Doubles({nan, 1, nan, 0}), L"Descending", L"Indices", Indices({0, 2, 1, 3})),
  });
}

TEST(SortItems, OtherValues) {
  const auto list = List({Value(L"b"), nullptr, Value(L"a"), nullptr, Value(L"B")});
  ExpectRows({
      Sorted("empty items first", list, L"Ascending", L"DataOut",
             List({nullptr, nullptr, Value(L"B"), Value(L"a"), Value(L"b")})),
      Sorted("in their order", list, L"Ascending", L"Indices", Indices({1, 3, 4, 2, 0})),
      Sorted("empty items last", list, L"Descending", L"DataOut",
             List({Value(L"b"), Value(L"a"), Value(L"B"), nullptr, nullptr})),
      Sorted("in their order too", list, L"Descending", L"Indices", Indices({0, 2, 4, 1, 3})),
      Sorted("numbers and empty items", List({Value(2), nullptr, Value(1)}), nullptr, L"Indices", Indices({1, 2, 0})),
      Sorted("one value", Value(4), nullptr, L"DataOut", List({Value(4)})),
      Sorted("nothing", nullptr, nullptr, L"DataOut", nullptr, L"No data on port DataIn"),
      Sorted("a list of nothing", List({}), nullptr, L"DataOut", nullptr, L"No valid input found"),
  });
}

TEST(SortItems, Tables) {
  const basic::Color red(1, 0, 0), green(0, 1, 0), blue(0, 0, 1), black(0, 0, 0);
  const auto colors = ColorTable({red, blue, green});
  ExpectRows({
      Sorted("rows", TableValue({3, 1, 2}, KgdaUInt8), nullptr, L"DataOut", TableValue({1, 2, 3}, KgdaUInt8)),
      Sorted("downwards", TableValue({3, 1, 2}, KgdaUInt8), L"Descending", L"Indices", Indices({0, 2, 1})),
      Sorted("texts", TextTable({"b", "a"}), nullptr, L"DataOut", TextTable({"a", "b"})),
      Sorted("colours stay, but for the first, as is wanted", colors, nullptr, L"DataOut",
             ColorTable({black, blue, green})),
      Sorted("whatever the indices say", colors, nullptr, L"Indices", Indices({1, 2, 0})),
  });
}

TEST(SortItems, ALongListIsStable) {
  tessera::DataList items;
  for (unsigned index = 0; index < 1000; ++index) items.push_back(Value(std::to_wstring(index * 7919 % 10)));
  ModelHost host;
  host.Add(L"SortItems", L"op");
  host.Set(L"op.DataIn", List(items));
  ASSERT_TRUE(host.Run());
  const auto sorted = host.Get<tessera::DataList>(L"op.DataOut");
  const auto origins = host.Get<tessera::DataList>(L"op.Indices");
  ASSERT_EQ(sorted.size(), items.size());
  for (std::size_t row = 0; row < sorted.size(); ++row) {
    EXPECT_EQ(sorted[row], items[static_cast<std::size_t>(origins[row]->AsInt())]);
    if (row == 0) continue;
    const auto before = sorted[row - 1]->ToString(), text = sorted[row]->ToString();
    EXPECT_TRUE(before < text || (before == text && origins[row - 1]->AsInt() < origins[row]->AsInt()));
  }
}

TEST(SortItems, TheOrderIsChosenFromTwo) {
  ModelHost host;
  host.Add(L"SortItems", L"op");
  const auto order = host.PortOf(L"op.Order");
  EXPECT_EQ(order->GetAttribute(L"AcceptableValues")->ToString(), L"[\"Descending\", \"Ascending\"]");
  EXPECT_EQ(order->GetDefaultData()->ToString(), L"Ascending");
  EXPECT_TRUE(order->IsOptional());
  EXPECT_TRUE(host.PortOf(L"op.Indices")->IsHidden());
}

TEST(RemoveEmptyItems, Rows) {
  const auto row = [](const char* title, const DataPtr& list, const DataPtr& expected, std::wstring error = {}) {
    return Row{title, L"RemoveEmptyItems", {{L"ListIn", list}}, L"ListOut", expected, std::move(error)};
  };
  ExpectRows({
      row("in order", List({nullptr, Value(2), nullptr, Value(1)}), List({Value(2), Value(1)})),
      row("an empty list is no empty item", List({List({}), nullptr}), List({List({})})),
      row("nothing but empty items", List({nullptr}), List({})),
      row("required", nullptr, nullptr, L"Data not found on port(ListIn)."),
  });
}

TEST(HasEmptyItems, Rows) {
  const auto row = [](const char* title, const DataPtr& list, const DataPtr& expected, std::wstring error = {}) {
    return Row{title, L"HasEmptyItems", {{L"List", list}}, L"Result", expected, std::move(error)};
  };
  ExpectRows({
      row("one", List({Value(1), nullptr}), Value(true)),
      row("none", List({Value(1), List({nullptr})}), Value(false)),
      row("of nothing", List({}), Value(false)),
      row("no list", Value(1), Value(false)),
      row("item of a dictionary", Dict({{L"a", Value(1)}, {L"b", nullptr}}), Value(true)),
      row("rows are never empty", TableValue({1, 2}), Value(false)),
      row("required", nullptr, nullptr, L"Null input."),
  });
}

TEST(IsEmpty, Rows) {
  const auto row = [](const char* title, const DataPtr& data, bool expected, bool reopens = true) {
    return Row{title, L"IsEmpty", {{L"Data", data}}, L"IsEmpty", Value(expected), {}, reopens};
  };
  ExpectRows({
      row("nothing", nullptr, true),
      row("a value", Value(0), false),
      row("a list of nothing", List({}), false),
      row("a wrapper without value", boost::make_shared<tessera::StringData>(), false, false),
  });
}

}  // namespace
