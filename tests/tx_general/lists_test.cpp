#include "tx_general/values.h"

namespace {

using namespace testing_support;

TEST(ToList, Rows) {
  ExpectRows({
      {"one value", L"List", {{L"Value1", Value(5)}}, L"ListOut", List({Value(5)})},
      {"values of any type in order",
       L"List",
       {{L"Value1", Value(5)}, {L"Value2", Value(L"a")}, {L"Value3", List({})}},
       L"ListOut",
       List({Value(5), Value(L"a"), List({})})},
      {"behind the items given",
       L"List",
       {{L"ListIn", List({Value(1), nullptr})}, {L"Value1", Value(2)}},
       L"ListOut",
       List({Value(1), nullptr, Value(2)})},
      {"a port without data is a null item",
       L"List",
       {{L"Value1", Value(1)}, {L"Value2", nullptr}, {L"Value3", Value(3)}},
       L"ListOut",
       List({Value(1), nullptr, Value(3)})},
      {"nothing at all", L"List", {}, L"ListOut", List({nullptr})},
  });
}

TEST(StringList, Rows) {
  ExpectRows({
      {"texts",
       L"StringList",
       {{L"String1", Value(L"a")}, {L"String2", Value(L"")}},
       L"StringListOut",
       Texts({L"a", L""})},
      {"behind those given",
       L"StringList",
       {{L"StringListIn", Texts({L"x", L"y"})}, {L"String1", Value(L"a")}},
       L"StringListOut",
       Texts({L"x", L"y", L"a"})},
      {"a file name is a text", L"StringList", {{L"String1", File(L"/a")}}, L"StringListOut", Texts({L"/a"})},
      {"required", L"StringList", {}, L"StringListOut", nullptr, L"Data not found on port(String1)."},
      {"each is required",
       L"StringList",
       {{L"String1", Value(L"a")}, {L"String3", Value(L"c")}},
       L"StringListOut",
       nullptr,
       L"Data not found on port(String2)."},
  });
}

TEST(Lists, ExpansionPortsAreNumberedFromOne) {
  ModelHost host;
  using Names = std::vector<std::wstring>;
  for (const auto& [op, stem, fixed, least] : std::vector<std::tuple<const wchar_t*, std::wstring, Names, std::size_t>>{
           {L"List", L"Value", {L"ListIn", L"ListOut"}, 1},
           {L"StringList", L"String", {L"StringListIn", L"StringListOut"}, 1},
           {L"Combine", L"Collection", {L"Combination"}, 1},
           {L"RangeList", L"Range", {L"Output"}, 0}}) {
    SCOPED_TRACE(::testing::PrintToString(std::wstring(op)));
    const auto made = host.Add(op);
    EXPECT_TRUE(made->IsExpandible());
    made->AddExpansionPorts();
    made->AddExpansionPorts();
    for (const auto& name : {stem + L"1", stem + L"2", stem + L"3"}) EXPECT_TRUE(made->GetPort(name));
    EXPECT_EQ(made->GetPorts().size(), fixed.size() + 3);
    made->RemoveExpansionPorts();
    EXPECT_FALSE(made->GetPort(stem + L"3")) << "the last one goes first";
    EXPECT_TRUE(made->GetPort(stem + L"2"));
    for (int calls = 0; calls < 5; ++calls) made->RemoveExpansionPorts();
    EXPECT_EQ(made->GetPorts().size(), fixed.size() + least);
    made->AddExpansionPorts();
    EXPECT_TRUE(made->GetPort(stem + std::to_wstring(least + 1)));
  }
}

Row Combined(const char* title, std::vector<DataPtr> collections, const DataPtr& expected, std::wstring error = {},
             bool reopens = true) {
  Row row{title, L"Combine", {}, L"Combination", expected, std::move(error), reopens};
  for (auto& collection : collections) {
    row.inputs.emplace_back(L"Collection" + std::to_wstring(row.inputs.size() + 1), collection);
  }
  return row;
}

TEST(Append, Lists) {
  const auto list = [](auto... items) { return List({Value(items)...}); };
  ExpectRows({
      Combined("in order", {list(1, 2), list(3)}, list(1, 2, 3)),
      Combined("single values are lists of one", {Value(1.5), Value(2.5)}, list(1.5, 2.5)),
      Combined("items take the type of the first", {list(1), list(2.9, 3.0)}, list(1, 2, 3)),
      Combined("within one list as well", {list(true, 7)}, list(true, true)),
      Combined("string lists", {Texts({L"a"}), Texts({L"b"})}, list(L"a", L"b")),
      Combined("a list in a list gives its items", {List({list(1, 2), Value(3)})}, list(1, 2, 3)),
      Combined("the first list is taken as it is", {List({list(1, L"a")}), list(2.0)}, list(1, L"a", 2)),
      Combined("empty lists behind the first", {list(1), List({}), list(2)}, list(1, 2)),
      Combined("null items stay", {List({nullptr, Value(1)}), List({Value(2.0), nullptr})},
               List({nullptr, Value(1), Value(2), nullptr})),
      Combined("nothing but null items", {List({nullptr}), List({nullptr})}, List({nullptr, nullptr})),
      Combined("what does not convert", {list(L"a"), list(5)}, nullptr, L"Could not covert all items to VANTIX.String"),
      Combined("rows of a table behind a list", {List({ScalarValue(1)}), TableValue({2, 3})},
               List({ScalarValue(1), ScalarValue(2), ScalarValue(3)})),
      Combined("nothing on the first port", {nullptr, list(1)}, nullptr, L"No data on first port."),
      Combined("nothing in the first list", {List({}), list(1)}, nullptr, L"Empty list on first port not allowed."),
      Combined("nothing on another port", {list(1), nullptr}, nullptr, L"Data not found on port(Collection2)."),
  });
}

TEST(Append, ItemsAreShared) {
  const auto item = Value(1);
  ModelHost host;
  host.Add(L"Combine", L"op");
  host.Set(L"op.Collection1", List({item}));
  ASSERT_TRUE(host.Run());
  EXPECT_EQ(host.Get<tessera::DataList>(L"op.Combination").at(0), item);
}

TEST(Append, Tables) {
  const basic::Color red(1, 0, 0), blue(0, 0, 1);
  ExpectRows({
      Combined("of one type", {TableValue({1, 2}, KgdaUInt8), TableValue({3}, KgdaUInt8)},
               TableValue({1, 2, 3}, KgdaUInt8)),
      Combined("of the type that holds all", {TableValue({200}, KgdaUInt8), TableValue({-1}, KgdaInt8)},
               TableValue({200, -1}, KgdaInt16)),
      Combined("with fractions", {TableValue({1}, KgdaInt32), TableValue({0.5}, KgdaFloat32)},
               TableValue({1, 0.5}, KgdaFloat64)),
      Combined("with no rows", {TableValue({}, KgdaInt16), TableValue({7}, KgdaInt16)}, TableValue({7}, KgdaInt16)),
      Combined("texts", {TextTable({"a", "b"}), TextTable({"\xC3\xA9"})}, TextTable({"a", "b", "\xC3\xA9"})),
      Combined("colours", {ColorTable({red}), ColorTable({blue, red})}, ColorTable({red, blue, red})),
      Combined("numbers behind colours are greys", {ColorTable({red}), TableValue({0.5})},
               ColorTable({red, basic::Color(0.5, 0.5, 0.5)})),
      Combined("lists of tables and rows", {List({TableValue({1}), TableValue({2})}), TableValue({3})},
               TableValue({1, 2, 3})),
      Combined("lists of tables alone", {List({TableValue({1}), TableValue({2})}), List({TableValue({3})})},
               TableValue({1, 2, 3})),
      Combined("an item that is no table", {List({TableValue({1}), Value(L"a")})}, nullptr,
               L"Could not get Table from element on Collection1."),
      Combined("an item that is nothing", {List({TableValue({1}), nullptr})}, nullptr,
               L"Could not get Table from element on Collection1."),
      Combined("complex numbers", {Wrapped(basic::CreateTable(1, KgdaComplex64))}, nullptr, L"Unsupported data type.",
               false),
      Combined("a table without value", {boost::make_shared<basic::TableData>()}, nullptr,
               L"Null data found on port(Collection1).", false),
  });
}

TEST(Append, TextsAndNumbersDoNotJoin) {
  const auto texts = TextTable({"1"}), numbers = TableValue({2}), noNumbers = TableValue({});
  for (const auto& tables : {std::vector{texts, numbers}, {numbers, texts}, {texts, noNumbers}, {noNumbers, texts}}) {
    ModelHost host;
    Prepare(host, Combined("", tables, nullptr));
    EXPECT_FALSE(host.Run());
    EXPECT_EQ(host.Error(), L"Cannot convert a non-string table to a string table.");
    EXPECT_TRUE(host.Messages(tessera::Issue::Error).empty()) << "it is raised, and no message of the operator";
  }
}

TEST(Append, JoinedTypeIsTheSmallestThatHoldsAll) {
  ModelHost host;
  Prepare(host, Combined("", {TableValue({200}, KgdaUInt8), TableValue({-1}, KgdaInt8)}, nullptr));
  ASSERT_TRUE(host.Run());
  const auto table = boost::dynamic_pointer_cast<basic::TableData>(host.Existing(L"op.Combination"));
  ASSERT_TRUE(table);
  EXPECT_EQ(table->GetDataValue().GetNumberType(), KgdaInt16);
}

TEST(Range, Rows) {
  ExpectRows({
      {"both ends", L"Range", {{L"RangeStart", Value(1.0)}, {L"RangeEnd", Value(3.5)}}, L"Output", RangeValue(1, 3.5)},
      {"one end", L"Range", {{L"RangeStart", Value(2.0)}}, L"Output", RangeValue(2, 2)},
      {"downwards", L"Range", {{L"RangeStart", Value(5)}, {L"RangeEnd", Value(2)}}, L"Output", RangeValue(5, 2)},
      {"required", L"Range", {{L"RangeEnd", Value(1.0)}}, L"Output", nullptr, L"Data not found on port(RangeStart)."},
  });
}

TEST(RangeList, Rows) {
  const std::wstring invalid = L"Invalid data on port Range1 for operator op.";
  ExpectRows({
      {"ranges",
       L"RangeList",
       {{L"Range1", RangeValue(1, 2)}, {L"Range2", RangeValue(9, 7)}},
       L"Output",
       RangesValue({{1, 2}, {9, 7}})},
      {"a number is a range of one", L"RangeList", {{L"Range1", Value(4u)}}, L"Output", RangesValue({{4, 4}})},
      {"lists of ranges",
       L"RangeList",
       {{L"Range1", List({RangeValue(1, 2), Value(3u)})}, {L"Range2", RangeValue(5, 6)}},
       L"Output",
       RangesValue({{1, 2}, {3, 3}, {5, 6}})},
      {"nothing", L"RangeList", {}, L"Output", nullptr, invalid},
      {"a list of nothing", L"RangeList", {{L"Range1", List({})}}, L"Output", nullptr, L"Could not determine ranges!"},
      {"no range", L"RangeList", {{L"Range1", Value(L"a")}}, L"Output", nullptr, L"Non-Range data found on list."},
      {"no range in a list",
       L"RangeList",
       {{L"Range1", List({RangeValue(1, 2), Value(L"a")})}},
       L"Output",
       nullptr,
       L"Non-Range data found on list."},
      {"an empty item",
       L"RangeList",
       {{L"Range1", List({nullptr})}},
       L"Output",
       nullptr,
       L"Non-Range data found on list."},
      {"a list without value",
       L"RangeList",
       {{L"Range1", boost::make_shared<tessera::DataListData>()}},
       L"Output",
       nullptr,
       invalid,
       false},
  });
}

TEST(RangeList, WithoutPortsThereIsNothingToDetermine) {
  ModelHost host;
  host.Add(L"RangeList", L"op")->RemoveExpansionPorts();
  ASSERT_EQ(PortNames(*host.Op(L"op")), std::vector<std::wstring>{L"Output"});
  EXPECT_FALSE(host.Run());
  EXPECT_EQ(host.Error(), L"Could not determine ranges!");
}

}  // namespace
