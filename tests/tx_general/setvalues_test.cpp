#include <gmock/gmock.h>

#include "tx_general/stackvalues.h"

namespace {

using namespace testing_support;
using Bounds = std::vector<std::pair<double, double>>;

DataPtr Square(Kgda_PixelType type = KgdaFloat64) { return MatrixOf(3, 3, {1, 2, 3, 4, 5, 6, 7, 8, 9}, type); }

Row Set(const char* title, const DataPtr& matrix, const DataPtr& values, const Bounds& rows, const Bounds& columns,
        const DataPtr& expected, const wchar_t* error = L"") {
  Row row{title, L"SetMatrixValues", {{L"MatrixIn", matrix}, {L"Values", values}}, L"MatrixOut", expected, error};
  if (!rows.empty()) row.inputs.emplace_back(L"RowRangeList", RangesValue(rows));
  if (!columns.empty()) row.inputs.emplace_back(L"ColumnRangeList", RangesValue(columns));
  return row;
}

TEST(SetMatrixValues, Rows) {
  ExpectRows({
      Set("scalar in rows", Square(), ScalarValue(0), {{0, 0}, {2, 2}}, {},
          MatrixOf(3, 3, {0, 0, 0, 4, 5, 6, 0, 0, 0})),
      Set("scalar in columns", Square(), ScalarValue(0), {}, {{1, 1}}, MatrixOf(3, 3, {1, 0, 3, 4, 0, 6, 7, 0, 9})),
      Set("scalar in cells, pair by pair", Square(), ScalarValue(0), {{0, 1}}, {{2, 1}},
          MatrixOf(3, 3, {1, 2, 0, 4, 0, 6, 7, 8, 9})),
      Set("one row in all", Square(), MatrixOf(1, 3, {10, 20, 30}), {{0, 2}}, {},
          MatrixOf(3, 3, {10, 20, 30, 10, 20, 30, 10, 20, 30})),
      Set("row by row, in the order of the list", Square(), MatrixOf(2, 3, {10, 20, 30, 40, 50, 60}), {{2, 1}}, {},
          MatrixOf(3, 3, {1, 2, 3, 40, 50, 60, 10, 20, 30})),
      Set("one column in all", Square(), MatrixOf(3, 1, {10, 20, 30}), {}, {{0, 1}},
          MatrixOf(3, 3, {10, 10, 3, 20, 20, 6, 30, 30, 9})),
      Set("column by column", Square(), MatrixOf(3, 2, {10, 20, 30, 40, 50, 60}), {}, {{2, 2}, {0, 0}},
          MatrixOf(3, 3, {20, 2, 10, 40, 5, 30, 60, 8, 50})),
      Set("a row listed twice keeps the last", Square(), MatrixOf(2, 3, {10, 20, 30, 40, 50, 60}), {{0, 0}, {0, 0}}, {},
          MatrixOf(3, 3, {40, 50, 60, 4, 5, 6, 7, 8, 9})),
      Set("all cells are promoted", Square(KgdaUInt8), ScalarValue(0.5), {{0, 0}}, {},
          MatrixOf(3, 3, {0.5, 0.5, 0.5, 4, 5, 6, 7, 8, 9})),
      Set("promotion of bytes", Square(KgdaUInt8), ScalarValue(-1, KgdaInt8), {{0, 0}}, {},
          MatrixOf(3, 3, {-1, -1, -1, 4, 5, 6, 7, 8, 9}, KgdaInt16)),
      Set("no ranges", Square(), ScalarValue(0), {}, {}, nullptr,
          L"Could not determine range of rows and columns to set values of!"),
      Set("lists of two lengths", Square(), ScalarValue(0), {{0, 1}}, {{0, 2}}, nullptr,
          L"RowRangeList and ColumnRangeList must contain the same number of items!"),
      Set("no values", Square(), nullptr, {{0, 0}}, {}, nullptr, L"No data on Values port."),
      Set("rows of another shape", Square(), MatrixOf(3, 3, std::vector<double>(9)), {{0, 1}}, {}, nullptr,
          L"Matrix of Values must contain same number of columns as MatrixIn and as many rows as are specified in "
          L"RowRangeList."),
      Set("columns of another shape", Square(), MatrixOf(2, 1, {1, 2}), {}, {{0, 1}}, nullptr,
          L"Matrix of Values must contain the same number of rows as MatrixIn and as many columns as are specified in "
          L"ColumnRangeList."),
      Set("matrix in cells", Square(), MatrixOf(2, 2, {1, 2, 3, 4}), {{0, 1}}, {{0, 1}}, nullptr,
          L"When setting values on incomplete rows and/or columns of a Matrix, the InitialValue must be a Scalar."),
  });
  const wchar_t* const otherRows =
      L"Matrix of Values must contain same number of columns as MatrixIn and as many rows as are specified in "
      L"RowRangeList.";
  ExpectRows({
      Set("no rows of values", Square(), MatrixOf(0, 3, {}), {{0, 0}}, {}, nullptr, otherRows),
      Set("rows without values", Square(), MatrixOf(2, 0, {}), {{0, 1}}, {}, nullptr, otherRows),
      Set("no columns of values", Square(), MatrixOf(3, 0, {}), {}, {{0, 0}}, nullptr,
          L"Matrix of Values must contain the same number of rows as MatrixIn and as many columns as are specified in "
          L"ColumnRangeList."),
      Set("no rows in cells", Square(), MatrixOf(0, 3, {}), {{0, 0}}, {{0, 0}}, nullptr,
          L"When setting values on incomplete rows and/or columns of a Matrix, the InitialValue must be a Scalar."),
      Set("no element to take", Square(), MatrixOf(0, 0, {}), {{0, 0}}, {}, nullptr,
          L"Could not convert Values to Scalar or Matrix."),
      Set("rows of nothing into rows of nothing", MatrixOf(2, 0, {}), MatrixOf(2, 0, {}), {{0, 1}}, {},
          MatrixOf(2, 0, {})),
  });
  Row wrong = Set("what is no value", Square(), Value(std::vector<std::wstring>{L"a"}), {{0, 0}}, {}, nullptr,
                  L"Could not convert Values to Scalar or Matrix.");
  wrong.reopens = false;
  Row number = Set("a number", Square(), Value(0), {{0, 2}}, {}, MatrixOf(3, 3, std::vector<double>(9)));
  number.reopens = false;
  ExpectRows({wrong, number});
}

TEST(SetMatrixValues, InputStaysAsItIs) {
  const DataPtr matrix = Square();
  ModelHost host;
  Prepare(host, Set("", matrix, ScalarValue(0), {{0, 2}}, {}, nullptr));
  ASSERT_TRUE(host.Run());
  EXPECT_EQ(Elements(matrix), Elements(Square()));
}

Row SetRows(const char* title, const DataPtr& table, const DataPtr& values, const Bounds& rows, const DataPtr& expected,
            const wchar_t* error = L"") {
  return {title,       L"SetTableValues", {{L"TableIn", table}, {L"Values", values}, {L"RangeList", RangesValue(rows)}},
          L"TableOut", expected,          error};
}

TEST(SetTableValues, Rows) {
  const basic::Color red(1, 0, 0), blue(0, 0, 1), clear(0, 1, 0, 0.5);
  ExpectRows({
      SetRows("one value in all", TableValue({1, 2, 3}), ScalarValue(0), {{0, 1}}, TableValue({0, 0, 3})),
      SetRows("one each, in the order of the list", TableValue({1, 2, 3}), TableValue({10, 20}), {{2, 1}},
              TableValue({1, 20, 10})),
      SetRows("one each, with gaps", TableValue({1, 2, 3, 4, 5, 6, 7}), TableValue({10, 20, 30}), {{1, 2}, {5, 5}},
              TableValue({1, 10, 20, 4, 5, 30, 7})),
      SetRows("one each, the last ones", TableValue({1, 2, 3}), TableValue({10, 20}), {{1, 2}},
              TableValue({1, 10, 20})),
      SetRows("a row twice", TableValue({1, 2, 3, 4}), TableValue({10, 20, 30}), {{1, 2}, {2, 2}},
              TableValue({1, 10, 30, 4})),
      SetRows("ranges that fall", TableValue({1, 2, 3, 4}), TableValue({10, 20}), {{2, 2}, {0, 0}},
              TableValue({20, 2, 10, 4})),
      SetRows("promoted", TableValue({1, 2}, KgdaUInt8), ScalarValue(-1, KgdaInt8), {{0, 0}},
              TableValue({-1, 2}, KgdaInt16)),
      SetRows("texts", TextTable({"a", "b"}), TextTable({"z"}), {{1, 1}}, TextTable({"a", "z"})),
      SetRows("texts, one each", TextTable({"a", "b", "c"}), TextTable({"y", "z"}), {{0, 0}, {2, 2}},
              TextTable({"y", "b", "z"})),
      SetRows("colours", ColorTable({red, red}), ColorTable({blue}), {{1, 1}}, ColorTable({red, blue})),
      SetRows("opacity comes along", ColorTable({red, red}), ColorTable({clear}), {{0, 0}}, ColorTable({clear, red})),
      SetRows("opacity goes", ColorTable({clear, clear}), ColorTable({red}), {{0, 0}}, ColorTable({red, clear})),
      SetRows("no rows", TableValue({1}), ScalarValue(0), {}, nullptr,
              L"Could not determine range of rows to set values of!"),
      SetRows("no values", TableValue({1}), nullptr, {{0, 0}}, nullptr, L"No data on Values port."),
      SetRows("too many values", TableValue({1, 2}), TableValue({1, 2}), {{0, 0}}, nullptr,
              L"Invalid number of Values provided."),
      SetRows("no rows of values", TableValue({1, 2}), TableValue({}), {{0, 0}}, nullptr,
              L"Invalid number of Values provided."),
      SetRows("no rows of another sort", TableValue({1, 2}), TextTable({}), {{0, 0}}, nullptr,
              L"Invalid number of Values provided."),
      SetRows("numbers among colours", ColorTable({red}), ScalarValue(1), {{0, 0}}, nullptr,
              L"Cannot convert Values to color."),
      SetRows("colours among numbers", TableValue({1}), ColorTable({red}), {{0, 0}}, nullptr,
              L"Cannot convert Values from color."),
      SetRows("numbers among texts", TextTable({"a"}), ScalarValue(1), {{0, 0}}, nullptr,
              L"Cannot convert Values to string."),
      SetRows("texts among numbers", TableValue({1}), TextTable({"a"}), {{0, 0}}, nullptr,
              L"Cannot convert Values from string."),
  });
  Row wrong = SetRows("what is no value", TableValue({1}), Value(std::vector<std::wstring>{L"a"}), {{0, 0}}, nullptr,
                      L"Could not convert Values to Scalar or Table.");
  wrong.reopens = false;
  ExpectRows({wrong});
}

TEST(SetTableValues, BinFunctionStays) {
  const auto table = basic::CreateTable(2, KgdaFloat64);
  const Kdsc_BinFunction bins{Kdsc_BinFunction::Kind::Linear, 2, 0, 10, {}};
  basic::BaseDataStackUtils::SetBinFunction(*table, boost::make_shared<const Kdsc_BinFunction>(bins));
  ModelHost host;
  Prepare(host, SetRows("", Shared<basic::TableData>(table), ScalarValue(1), {{0, 0}}, nullptr));
  ASSERT_TRUE(host.Run());
  const auto kept = StackOf(host.Existing(L"op.TableOut")).GetBinFunction();
  ASSERT_TRUE(kept);
  EXPECT_EQ(*kept, bins);
}

}  // namespace
