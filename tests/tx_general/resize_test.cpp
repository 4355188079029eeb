#include <gmock/gmock.h>

#include "tx_general/stackvalues.h"

namespace {

using namespace testing_support;

DataPtr Square(Kgda_PixelType type = KgdaFloat64) { return MatrixOf(3, 3, {1, 2, 3, 4, 5, 6, 7, 8, 9}, type); }

Row Resize(const char* title, unsigned rows, unsigned columns, const DataPtr& values, const DataPtr& expected,
           const wchar_t* error = L"", const DataPtr& matrix = Square()) {
  return {
      title,
      L"ResizeMatrix",
      {{L"MatrixIn", matrix}, {L"NumRows", Value(rows)}, {L"NumColumns", Value(columns)}, {L"InitialValues", values}},
      L"MatrixOut",
      expected,
      error};
}

TEST(ResizeMatrix, Rows) {
  const wchar_t* const both = L"When changing both dimensions of a Matrix, the InitialValue must be a Scalar.";
  ExpectRows({
      Resize("crop", 2, 2, nullptr, MatrixOf(2, 2, {1, 2, 4, 5})),
      Resize("same size", 3, 3, nullptr, Square()),
      Resize("a new row of one value", 4, 3, ScalarValue(7), MatrixOf(4, 3, {1, 2, 3, 4, 5, 6, 7, 8, 9, 7, 7, 7})),
      Resize("a row for all new rows", 5, 3, MatrixOf(1, 3, {10, 20, 30}),
             MatrixOf(5, 3, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 20, 30, 10, 20, 30})),
      Resize("new rows one by one", 5, 3, MatrixOf(2, 3, {10, 20, 30, 40, 50, 60}),
             MatrixOf(5, 3, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 20, 30, 40, 50, 60})),
      Resize("a column for all new columns", 3, 5, MatrixOf(3, 1, {10, 20, 30}),
             MatrixOf(3, 5, {1, 2, 3, 10, 10, 4, 5, 6, 20, 20, 7, 8, 9, 30, 30})),
      Resize("new columns one by one", 3, 5, MatrixOf(3, 2, {10, 20, 30, 40, 50, 60}),
             MatrixOf(3, 5, {1, 2, 3, 10, 20, 4, 5, 6, 30, 40, 7, 8, 9, 50, 60})),
      Resize("row, column and corner", 4, 4, ScalarValue(0),
             MatrixOf(4, 4, {1, 2, 3, 0, 4, 5, 6, 0, 7, 8, 9, 0, 0, 0, 0, 0})),
      Resize("zeros where nothing is given", 4, 2, nullptr, MatrixOf(4, 2, {1, 2, 4, 5, 7, 8, 0, 0}, KgdaUInt8), L"",
             Square(KgdaUInt8)),
      Resize("taller and narrower with a scalar", 4, 2, ScalarValue(0), MatrixOf(4, 2, {1, 2, 4, 5, 7, 8, 0, 0})),
      Resize("promoted", 4, 1, ScalarValue(0.5), MatrixOf(4, 1, {1, 4, 7, 0.5}), L"", Square(KgdaUInt8)),
      Resize("no columns pass", 2, 0, nullptr, MatrixOf(2, 0, {})),
      Resize("no rows", 0, 3, nullptr, nullptr, L"NumRows must be greater than 0."),
      Resize("a row too long", 4, 3, MatrixOf(1, 4, {1, 2, 3, 4}), nullptr,
             L"Matrix of InitialValue must contain the number of rows being added to MatrixIn and the same number of "
             L"columns as MatrixIn."),
      Resize("a column too short", 3, 4, MatrixOf(2, 1, {1, 2}), nullptr,
             L"Matrix of InitialValue must contain the number of columns being added to MatrixIn and the same number "
             L"of rows as MatrixIn."),
      Resize("no rows of values", 4, 3, MatrixOf(0, 3, {}), nullptr,
             L"Matrix of InitialValue must contain the number of rows being added to MatrixIn and the same number of "
             L"columns as MatrixIn."),
      Resize("no columns of values", 3, 4, MatrixOf(3, 0, {}), nullptr,
             L"Matrix of InitialValue must contain the number of columns being added to MatrixIn and the same number "
             L"of rows as MatrixIn."),
      Resize("no rows of values for both", 4, 4, MatrixOf(0, 3, {}), nullptr, both),
      Resize("no element to take", 4, 3, MatrixOf(1, 0, {}), nullptr,
             L"Could not convert InitialValue to Scalar or Matrix."),
      Resize("a block for both", 4, 4, MatrixOf(1, 3, {1, 2, 3}), nullptr, both),
      Resize("a block for taller and narrower", 4, 2, MatrixOf(1, 2, {1, 2}), nullptr, both),
      {"rows not given",
       L"ResizeMatrix",
       {{L"MatrixIn", Square()}},
       L"MatrixOut",
       nullptr,
       L"NumRows must be greater than 0."},
  });
  const DataPtr texts = Value(std::vector<std::wstring>{L"a"});
  Row unread = Resize("a crop doesn't read the values", 1, 1, texts, MatrixOf(1, 1, {1}));
  Row read = Resize("growth does", 4, 3, texts, nullptr, L"Could not convert InitialValue to Scalar or Matrix.");
  unread.reopens = read.reopens = false;
  ExpectRows({unread, read});
}

TEST(ResizeMatrix, SizesThatCantBeAreRefused) {
  ExpectRaised(
      {Resize("rows", 4294967295u, 1, nullptr, nullptr, L"Found 4294967295 rows, expected at most 2147483647.")});
}

TEST(Resize, SizePortsTellTheSmallest) {
  ModelHost host;
  host.Add(L"ResizeMatrix", L"matrix");
  host.Add(L"ResizeTable", L"table");
  for (const wchar_t* port : {L"matrix.NumRows", L"matrix.NumColumns", L"table.NumRows"}) {
    const auto smallest = boost::dynamic_pointer_cast<tessera::DoubleData>(host.PortOf(port)->GetAttribute(L"Min"));
    ASSERT_TRUE(smallest);
    EXPECT_EQ(smallest->GetDataValue(), 1.0);
  }
}

Row Grow(const char* title, const DataPtr& table, unsigned rows, const DataPtr& values, const DataPtr& expected,
         const wchar_t* error = L"") {
  return {title,       L"ResizeTable", {{L"TableIn", table}, {L"NumRows", Value(rows)}, {L"InitialValues", values}},
          L"TableOut", expected,       error};
}

TEST(ResizeTable, Rows) {
  const basic::Color red(1, 0, 0), black(0, 0, 0), clear(0, 1, 0, 0.5);
  ExpectRows({
      Grow("crop", TableValue({1, 2, 3}), 2, nullptr, TableValue({1, 2})),
      Grow("same size", TableValue({1, 2}, KgdaInt8), 2, nullptr, TableValue({1, 2}, KgdaInt8)),
      Grow("zeros", TableValue({1}, KgdaInt8), 3, nullptr, TableValue({1, 0, 0}, KgdaInt8)),
      Grow("one value", TableValue({1}), 3, ScalarValue(7), TableValue({1, 7, 7})),
      Grow("one each", TableValue({1}), 3, TableValue({7, 8}), TableValue({1, 7, 8})),
      Grow("promoted", TableValue({1}, KgdaUInt8), 2, ScalarValue(0.5), TableValue({1, 0.5})),
      Grow("black among colours", ColorTable({red}), 2, nullptr, ColorTable({red, black})),
      Grow("opaque black among clear colours", ColorTable({clear}), 2, nullptr, ColorTable({clear, black})),
      Grow("a clear colour", ColorTable({red}), 2, ColorTable({clear}), ColorTable({red, clear})),
      Grow("texts", TextTable({"a"}), 2, TextTable({"z"}), TextTable({"a", "z"})),
      Grow("no rows", TableValue({1}), 0, nullptr, nullptr, L"NumRows must be greater than 0."),
      Grow("too few values", TableValue({1}), 4, TableValue({1, 2}), nullptr,
           L"Invalid number of InitialValues provided."),
      Grow("no rows of values", TableValue({1}), 4, TableValue({}), nullptr,
           L"Invalid number of InitialValues provided."),
      Grow("numbers among colours", ColorTable({red}), 2, ScalarValue(1), nullptr,
           L"Cannot convert InitialValues to color."),
      Grow("colours among numbers", TableValue({1}), 2, ColorTable({red}), nullptr,
           L"Cannot convert InitialValues from color."),
      Grow("numbers among texts", TextTable({"a"}), 2, ScalarValue(1), nullptr,
           L"Cannot convert InitialValues to string."),
      Grow("texts among numbers", TableValue({1}), 2, TextTable({"a"}), nullptr,
           L"Cannot convert InitialValues from string."),
  });
  const DataPtr texts = Value(std::vector<std::wstring>{L"a"});
  Row unread = Grow("a crop doesn't read the values", TableValue({1, 2}), 1, texts, TableValue({1}));
  Row read =
      Grow("growth does", TableValue({1}), 2, texts, nullptr, L"Could not convert InitialValue to Scalar or Table.");
  unread.reopens = read.reopens = false;
  ExpectRows({unread, read});
}

TEST(ResizeTable, BinFunctionGoes) {
  const auto table = basic::CreateTable(2, KgdaFloat64);
  basic::BaseDataStackUtils::SetBinFunction(*table, boost::make_shared<const Kdsc_BinFunction>());
  ModelHost host;
  Prepare(host, Grow("", Shared<basic::TableData>(table), 1, nullptr, nullptr));
  ASSERT_TRUE(host.Run());
  EXPECT_FALSE(StackOf(host.Existing(L"op.TableOut")).GetBinFunction());
}

}  // namespace
