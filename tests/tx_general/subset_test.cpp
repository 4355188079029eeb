#include <gmock/gmock.h>

#include "tx_general/stackvalues.h"

namespace {

using namespace testing_support;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using Numbers = std::vector<double>;
using Bounds = std::vector<std::pair<double, double>>;

/// 1 2 3 / 4 5 6 / 7 8 9
DataPtr Square(Kgda_PixelType type = KgdaFloat64) { return MatrixOf(3, 3, {1, 2, 3, 4, 5, 6, 7, 8, 9}, type); }

Row Subset(const char* title, const DataPtr& matrix, const Bounds& rows, const Bounds& columns,
           const DataPtr& expected) {
  return {title,
          L"MatrixSubset",
          {{L"MatrixIn", matrix}, {L"RowRangeList", RangesValue(rows)}, {L"ColumnRangeList", RangesValue(columns)}},
          L"MatrixOut",
          expected};
}

TEST(MatrixSubset, Rows) {
  ExpectRows({
      Subset("a block", Square(), {{1, 2}}, {{0, 1}}, MatrixOf(2, 2, {4, 5, 7, 8})),
      Subset("order and repeats are kept", Square(), {{2, 2}, {1, 1}, {1, 1}}, {{2, 0}},
             MatrixOf(3, 3, {9, 8, 7, 6, 5, 4, 6, 5, 4})),
      Subset("one cell is a scalar", Square(KgdaUInt8), {{1, 1}}, {{2, 2}}, ScalarValue(6, KgdaUInt8)),
      Subset("one column stays a matrix", Square(KgdaInt16), {{0, 1}}, {{2, 2}}, MatrixOf(2, 1, {3, 6}, KgdaInt16)),
      {"no matrix, nothing", L"MatrixSubset", {}, L"MatrixOut", nullptr},
      {"what is no range list",
       L"MatrixSubset",
       {{L"MatrixIn", Square()}, {L"RowRangeList", Value(true)}},
       L"MatrixOut",
       nullptr,
       L"No appropriate data found on port(RowRangeList)."},
  });
  Row none = Subset("empty list", Square(), {{0, 0}}, {}, nullptr);
  Row noRows = Subset("no list of rows", Square(), {{0, 0}}, {{0, 0}}, nullptr), noColumns = noRows;
  noRows.inputs.erase(noRows.inputs.begin() + 1);
  noColumns.title = "no list of columns";
  noColumns.inputs.pop_back();
  std::vector<Row> rows{none, noRows, noColumns};
  for (Row& row : rows) row.error = L"Could not determine matrix subset range!";
  ExpectRaised(rows);
}

TEST(MatrixSubset, MoreThanAMatrixCanHoldIsToldBeforeItIsListed) {
  const Bounds all(9'000, {0, 999'999});  // as a list of indices more than this computer's memory
  ModelHost host;
  Prepare(host,
          Subset("", Shared<basic::MatrixData>(basic::CreateMatrix(1'000'000, 1, KgdaUInt8)), all, {{0, 0}}, nullptr));
  ExpectFailure(host, L"bad numeric conversion: positive overflow");
}

TEST(MatrixSubset, EveryTypeIsCopiedAsItIs) {
  for (std::uint32_t code = 0; code < kKgdaPixelTypeCount; ++code) {
    const auto type = static_cast<Kgda_PixelType>(code);
    const auto matrix = basic::CreateMatrix(2, 2, type);
    auto& layer = matrix->GetMutableStack().GetLayer(0);
    if (type == KgdaString)
      kgda_SetElementString(layer, 1, 1, "text");
    else
      kgda_SetElementFromDouble(layer, 1, 1, 1);
    ModelHost host;
    Prepare(host, Subset("", Shared<basic::MatrixData>(matrix), {{1, 0}}, {{1, 0}}, nullptr));
    ASSERT_TRUE(host.Run());
    const auto& subset = StackOf(host.Existing(L"op.MatrixOut")).GetLayer(0);
    ASSERT_EQ(subset.pixelType, type);
    if (type == KgdaString) {
      EXPECT_STREQ(kgda_ElementAsString(subset, 0, 0), "text");
      EXPECT_EQ(kgda_ElementAsString(subset, 1, 1), nullptr);
    } else {
      const std::string zero(layer.elementSize, '\0');
      const auto bytes = [&](const Kgda_BaseDataLayer& from, int row, int column) {
        return std::string(static_cast<const char*>(kgda_ElementPointer(from, row, column)), from.elementSize);
      };
      EXPECT_EQ(bytes(subset, 0, 0), bytes(layer, 1, 1));
      EXPECT_NE(bytes(subset, 0, 0), zero);
      EXPECT_EQ(bytes(subset, 1, 1), zero);
    }
  }
}

TEST(MatrixSubset, LayersStayLayers) {
  ModelHost host;
  host.Add(L"DynamicMatrixInputSeries", L"colors");
  host.Set(L"colors.RowCount", 2u).Set(L"colors.ColumnCount", 2u);
  const auto color = [](double r, double g, double b) {
    return Shared<basic::ScalarData>(basic::CreateColorScalar(basic::Color(r, g, b)));
  };
  host.Set(L"colors.InitialValue", color(0, 0.5, 1)).Set(L"colors.RowIncrement", color(0.5, 0, 0));
  host.Set(L"colors.ColumnIncrement", color(0, 0, -1));
  Prepare(host, Subset("", nullptr, {{1, 1}}, {{0, 1}}, nullptr));
  host.Connect(L"colors.Matrix", L"op.MatrixIn");
  ASSERT_TRUE(host.Run());
  EXPECT_THAT(Elements(host.Existing(L"op.MatrixOut")), ElementsAre(0, 0.5, 0.5, 0.5, 0, 0));
}

TEST(MatrixSubset, IndicesHaveToBeInside) {
  ModelHost host;
  Prepare(host, Subset("", Square(), {{0, 3}}, {{0, 0}}, nullptr));
  EXPECT_FALSE(host.Run());
  EXPECT_THAT(host.Error(), HasSubstr(L"port(RowRangeList) is outside the bounds 0 to 2."));
}

Row TableRow(const char* title, const DataPtr& table, const Bounds& rows, const DataPtr& expected,
             const wchar_t* error = L"") {
  return {title,       L"TableSubset", {{L"TableIn", table}, {L"RangeList", RangesValue(rows)}},
          L"TableOut", expected,       error};
}

TEST(TableSubset, Rows) {
  const basic::Color red(1, 0, 0), blue(0, 0, 1, 0.5);
  ExpectRows({
      TableRow("order and repeats are kept", TableValue({1, 2, 3}, KgdaInt8), {{2, 1}, {2, 2}},
               TableValue({3, 2, 3}, KgdaInt8)),
      TableRow("one row is a scalar", TableValue({1, 2, 3}), {{1, 1}}, ScalarValue(2)),
      TableRow("texts", TextTable({"a", "b", "c"}), {{1, 2}}, TextTable({"b", "c"})),
      TableRow("colours", ColorTable({red, blue}), {{1, 0}}, ColorTable({blue, red})),
      TableRow("empty list", TableValue({1}), {}, nullptr, L"Could not determine table subset range!"),
      {"no list",
       L"TableSubset",
       {{L"TableIn", TableValue({1})}},
       L"TableOut",
       nullptr,
       L"Could not determine table subset range!"},
      {"required table",
       L"TableSubset",
       {{L"RangeList", RangesValue({{0, 0}})}},
       L"TableOut",
       nullptr,
       L"Data not found on port(TableIn)."},
  });
}

TEST(Subsets, SyntaxIsTold) {
  ModelHost host;
  const auto matrix = host.Add(L"MatrixSubset")->GetDefaultSyntax();
  ASSERT_GE(matrix.size(), 2u);
  EXPECT_EQ(matrix[0], L"<MatrixIn> [ <row> , <column> ]");
  EXPECT_EQ(matrix[1], L"<MatrixIn> [ <startrow> , <startcolumn> : <endrow> , <endcolumn> ]");
  const auto table = host.Add(L"TableSubset")->GetDefaultSyntax();
  ASSERT_GE(table.size(), 2u);
  EXPECT_EQ(table[0], L"<TableIn> [ <row> ]");
  EXPECT_EQ(table[1], L"<TableIn> [ <startrow> : <endrow> ]");
}

TEST(TableSubset, RowsOutsideAreRaised) {
  const auto table = basic::CreateTable(2, KgdaFloat64);
  EXPECT_THROW(table->GetSubset({0, 2}), std::out_of_range);
  EXPECT_EQ(table->GetSubset({})->GetCount(), 0);
}

TEST(Subsets, LargeOnesOnThreads) {
  constexpr std::int32_t rows = 1200, columns = 1000;
  const auto matrix = basic::CreateMatrix(rows, columns, KgdaInt32);
  for (std::int32_t row = 0; row < rows; ++row)
    for (std::int32_t column = 0; column < columns; ++column)
      kgda_SetElementFromDouble(matrix->GetMutableStack().GetLayer(0), row, column, row * columns + column);
  const DataPtr input = Shared<basic::MatrixData>(matrix);
  for (const bool isBackwards : {false, true}) {
    ModelHost host;
    Prepare(host, Subset("", input, {{rows - 1, 0}}, {{isBackwards ? columns - 1 : 0, isBackwards ? 0 : columns - 1}},
                         nullptr));
    ASSERT_TRUE(host.Run());
    const auto& subset = StackOf(host.Existing(L"op.MatrixOut")).GetLayer(0);
    for (std::int32_t row = 0; row < rows; ++row)
      for (std::int32_t column = 0; column < columns; ++column)
        ASSERT_EQ(kgda_ElementAsDouble(subset, row, column),
                  (rows - 1 - row) * columns + (isBackwards ? columns - 1 - column : column));
  }

  Numbers numbers(1'000'000);
  for (std::size_t i = 0; i < numbers.size(); ++i) numbers[i] = static_cast<double>(i);
  Bounds picked;
  for (unsigned i = 0; i < 600'000; ++i) picked.emplace_back(i * 7919 % 1'000'000, i * 7919 % 1'000'000);
  ModelHost host;
  Prepare(host, TableRow("", TableValue(numbers, KgdaInt32), picked, nullptr));
  ASSERT_TRUE(host.Run());
  const auto& subset = StackOf(host.Existing(L"op.TableOut")).GetLayer(0);
  ASSERT_EQ(subset.rows, 600'000);
  for (std::int32_t row = 0; row < subset.rows; ++row)
    ASSERT_EQ(kgda_ElementAsDouble(subset, row, 0), picked[static_cast<std::size_t>(row)].first);
}

TEST(MatrixSubset, BeyondTwoToTheThirtyOneElements) {
  constexpr std::int32_t side = 50'000;
  const auto matrix = basic::CreateMatrix(side, side, KgdaUInt8);
  auto* const bytes = static_cast<std::uint8_t*>(matrix->GetMutableStack().GetLayer(0).data);
  bytes[2'499'999'999] = 7;  // the last
  bytes[2'499'949'998] = 5;  // the last but one of the row before
  ModelHost host;
  Prepare(host, Subset("", Shared<basic::MatrixData>(matrix), {{side - 1, side - 2}}, {{side - 2, side - 1}}, nullptr));
  ASSERT_TRUE(host.Run());
  EXPECT_THAT(Elements(host.Existing(L"op.MatrixOut")), ElementsAre(0, 7, 5, 0));
}

}  // namespace
