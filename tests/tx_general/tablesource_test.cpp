#include <gmock/gmock.h>

#include "tx_general/rows.h"
#include "tx_general/stackvalues.h"

namespace {

using namespace testing_support;
using ::testing::ElementsAre;
using Numbers = std::vector<double>;

TEST(CustomTableSource, Rows) {
  ExpectRows({
      {"a table",
       L"CustomTableInput",
       {{L"Value", TableValue({1, 2}, KgdaInt8)}},
       L"Table",
       TableValue({1, 2}, KgdaInt8)},
      {"none", L"CustomTableInput", {}, L"Table", nullptr},
  });
}

TEST(TBLTableSource, Rows) {
  const TemporaryFolder folder;
  const DataPtr numbers = File(folder.Write("n.tbl", "1.5\n2.5\n-1\n"));
  const auto row = [](const char* title, const DataPtr& file, std::uint32_t type, const DataPtr& expected) {
    return Row{title, L"TableFileInput", {{L"Filename", file}, {L"TableType", TypeOf(type)}}, L"Table", expected};
  };
  ExpectRows({
      row("doubles", numbers, KgdaFloat64, TableValue({1.5, 2.5, -1})),
      row("bytes", numbers, KgdaUInt8, TableValue({2, 2, 0}, KgdaUInt8)),
      row("colours", File(folder.Write("c.tbl", "255 0 51\n0 0 255\n")), 0xFFFFFFFE,
          ColorTable({basic::Color(1, 0, 0.2), basic::Color(0, 0, 1)})),
      {"no name", L"TableFileInput", {{L"Filename", File(L"")}}, L"Table", nullptr},
      {"required type",
       L"TableFileInput",
       {{L"Filename", numbers}},
       L"Table",
       nullptr,
       L"Data not found on port(TableType)."},
  });
}

class ListTable : public ::testing::Test {
 protected:
  void SetUp() override { host_.Add(L"DynamicTableInputList", L"op"); }
  ModelHost host_;
};

TEST_F(ListTable, CountIsOfScalars) {
  SetItems(host_, L"op", {List({ScalarValue(1, KgdaUInt8), ScalarValue(2, KgdaUInt8)}), ScalarValue(3, KgdaUInt8)});
  for (const DataPtr& count : {Value(3u), Value(0u), DataPtr()}) {
    host_.Set(L"op.Count", count);
    ASSERT_TRUE(host_.Run()) << ::testing::PrintToString(host_.Error());
    EXPECT_EQ(Elements(host_.Existing(L"op.Table")), (Numbers{1, 2, 3}));
    EXPECT_EQ(ElementType(host_.Existing(L"op.Table")), KgdaUInt8);
  }
  host_.Set(L"op.Count", 2u);
  ExpectFailure(host_, L"Count does not match number of ListItems");
  host_.Reopen();
  ExpectFailure(host_, L"Count does not match number of ListItems");
}

TEST_F(ListTable, WrongItemsAreToldBeforeTheCount) {
  SetItems(host_, L"op", {List({nullptr})});
  host_.Set(L"op.Count", 9u);
  ExpectFailure(host_, L"Non-scalar data found on list.");
  host_.Set(L"op.ListItem", DataPtr());
  ExpectFailure(host_, L"Invalid data on port ListItem for operator op.");
}

TEST_F(ListTable, OneColourMakesAllColours) {
  SetItems(host_, L"op", {ScalarValue(0.5), ColorScalar(1, 0, 0.25)});
  ASSERT_TRUE(host_.Run());
  EXPECT_THAT(Elements(host_.Existing(L"op.Table")), ElementsAre(0.5, 1, 0.5, 0, 0.5, 0.25));
}

Row SeriesRow(const char* title, unsigned count, const DataPtr& initial, const DataPtr& increment,
              const DataPtr& expected, const wchar_t* error = L"") {
  return {title,
          L"DynamicTableInputSeries",
          {{L"Count", Value(count)}, {L"InitialValue", initial}, {L"Increment", increment}},
          L"Table",
          expected,
          error};
}

TEST(DynamicSeriesTableSource, Rows) {
  ExpectRows({
      SeriesRow("steps", 4, ScalarValue(1), ScalarValue(0.5), TableValue({1, 1.5, 2, 2.5})),
      SeriesRow("one row is the first value", 1, ScalarValue(7, KgdaUInt8), ScalarValue(1, KgdaInt16),
                TableValue({7}, KgdaInt16)),
      SeriesRow("largest of the codes", 2, ScalarValue(200, KgdaUInt8), ScalarValue(100), TableValue({200, 300})),
      SeriesRow("bytes end at their bound", 3, ScalarValue(200, KgdaUInt8), ScalarValue(50, KgdaUInt8),
                TableValue({200, 250, 255}, KgdaUInt8)),
      SeriesRow("no rows", 0, ScalarValue(1), ScalarValue(1), TableValue({})),
      {"no count",
       L"DynamicTableInputSeries",
       {{L"InitialValue", ScalarValue(1)}, {L"Increment", ScalarValue(1)}},
       L"Table",
       nullptr,
       L"Data not found on port(Count)."},
  });
  ExpectRaised({
      SeriesRow("text", 2, ScalarValue(1), TextScalar(L"a"), nullptr, L"Invalid table item type"),
      SeriesRow("colour and number", 2, ColorScalar(1, 0, 0), ScalarValue(1), nullptr, L"Table item type mismatch"),
      {"no initial value",
       L"DynamicTableInputSeries",
       {{L"Count", Value(1u)}, {L"Increment", ScalarValue(1)}},
       L"Table",
       nullptr,
       L"Invalid data on port InitialValue for operator op."},
      {"no increment",
       L"DynamicTableInputSeries",
       {{L"Count", Value(1u)}, {L"InitialValue", ScalarValue(1)}},
       L"Table",
       nullptr,
       L"Invalid data on port Increment for operator op."},
  });
}

TEST(DynamicSeriesTableSource, ColoursNeedNotBeOpaque) {
  const auto clear = Shared<basic::ScalarData>(basic::CreateColorScalar(basic::Color(0, 0.5, 1, 0.25)));
  ModelHost host;
  Prepare(host, SeriesRow("", 2, clear, clear, nullptr));
  ASSERT_TRUE(host.Run());
  EXPECT_EQ(Elements(host.Existing(L"op.Table")), (Numbers{0, 0, 0.5, 1, 1, 2}));
}

TEST(DynamicSeriesTableSource, ColumnsAreLookedAt) {
  const DataPtr pair = MatrixOf(1, 2, {1, 2}), other = MatrixOf(1, 2, {3, 4});
  ModelHost host;
  Prepare(host, SeriesRow("", 2, pair, ScalarValue(1), nullptr));
  ExpectFailure(host, L"Table item type mismatch");
  host.Set(L"op.Increment", other);
  ExpectFailure(host, L"Invalid size for table item");
}

TEST(DynamicSeriesTableSource, ColoursStepChannelByChannel) {
  ModelHost host;
  Prepare(host, SeriesRow("", 3, ColorScalar(0, 1, 0.5), ColorScalar(0.5, -0.5, 0), nullptr));
  ASSERT_TRUE(host.Run());
  EXPECT_EQ(Elements(host.Existing(L"op.Table")), (Numbers{0, 0.5, 1, 1, 0.5, 0, 0.5, 0.5, 0.5}));
  EXPECT_EQ(StackOf(host.Existing(L"op.Table")).GetKind(), KgdaBaseDataStack::KindTable);
}

TEST(TableSources, SyntaxIsTold) {
  ModelHost host;
  const auto list = host.Add(L"DynamicTableInputList")->GetDefaultSyntax();
  ASSERT_GE(list.size(), 2u);
  EXPECT_EQ(list[0], L"Table ( <Count>: <ListItem>,... )");
  EXPECT_EQ(list[1], L"Table ( <ListItem>,... )");
  EXPECT_EQ(host.Add(L"DynamicTableInputSeries")->GetDefaultSyntax().at(0),
            L"Table Series ( <Count>, <InitialValue>, <Increment> )");
}

}  // namespace
