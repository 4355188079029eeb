#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <boost/make_shared.hpp>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>

#include "kcommon/kerr.h"
#include "kcommon/kgda.h"
#include "scratchfolder.h"

namespace {

using Kind = KgdaBaseDataStack::Kind;
constexpr Kind kScalar = KgdaBaseDataStack::KindScalar, kTable = KgdaBaseDataStack::KindTable,
               kMatrix = KgdaBaseDataStack::KindMatrix;

KgdaBaseDataStack Read(const std::string& text, Kind kind, Kgda_PlainText plain = Kgda_PlainText::Numbers) {
  KerrException error(L"test", L"Read");
  KgdaBaseDataStack stack = kgda_BaseDataStackFromAscii(text, L"f", kind, plain, error);
  EXPECT_EQ(error.IsPending() ? error.get_What() : std::wstring(), L"");
  return stack;
}

std::wstring FaultOf(const std::string& text, Kind kind, Kgda_PlainText plain = Kgda_PlainText::Numbers) {
  KerrException error(L"test", L"FaultOf");
  const KgdaBaseDataStack stack = kgda_BaseDataStackFromAscii(text, L"f", kind, plain, error);
  if (!error.IsPending()) return L"none";
  EXPECT_EQ(stack.GetLayerCount(), 0u);
  return error.get_What();
}

std::string Text(const KgdaBaseDataStack& stack) {
  KerrException error(L"test", L"Text");
  const std::string text = kgda_BaseDataStackToAscii(stack, error);
  EXPECT_FALSE(error.IsPending());
  return text;
}

std::vector<double> Numbers(const KgdaBaseDataStack& stack) {
  std::vector<double> numbers;
  for (std::size_t i = 0; i < stack.GetLayerCount(); ++i)
    for (std::int32_t row = 0; row < stack.GetLayer(i).rows; ++row)
      for (std::int32_t column = 0; column < stack.GetLayer(i).columns; ++column)
        numbers.push_back(kgda_ElementAsDouble(stack.GetLayer(i), row, column));
  return numbers;
}

/// Bytes of any element that the type may hold.
void FillWithAnything(Kgda_BaseDataLayer& layer, std::mt19937_64& random) {
  for (std::int32_t row = 0; row < layer.rows; ++row) {
    for (std::int32_t column = 0; column < layer.columns; ++column) {
      if (layer.pixelType == KgdaString) {
        std::string text;
        for (std::uint64_t i = random() % 8; i > 0; --i) text += static_cast<char>(1 + random() % 255);
        kgda_SetElementString(layer, row, column, random() % 5 == 0 ? nullptr : text.c_str());
      } else if (layer.pixelType >= KgdaFloat32) {
        auto* const bytes = static_cast<char*>(kgda_ElementPointer(layer, row, column));
        for (std::size_t i = 0; i < layer.elementSize; i += 4) {
          const auto bits = static_cast<std::uint32_t>(random());
          std::memcpy(bytes + i, &bits, 4);
        }
      } else {
        const double spread = std::ldexp(1.0, static_cast<int>(random() % 34));
        kgda_SetElementFromDouble(layer, row, column,
                                  std::ldexp(static_cast<double>(random() >> 11), -52) * spread - spread);
      }
    }
  }
}

void ExpectSame(const KgdaBaseDataStack& a, const KgdaBaseDataStack& b) {
  EXPECT_EQ(a.GetKind(), b.GetKind());
  ASSERT_EQ(a.GetLayerCount(), b.GetLayerCount());
  for (std::size_t i = 0; i < a.GetLayerCount(); ++i) {
    const auto &first = a.GetLayer(i), &second = b.GetLayer(i);
    ASSERT_EQ(first.pixelType, second.pixelType);
    ASSERT_EQ(first.rows, second.rows);
    ASSERT_EQ(first.columns, second.columns);
    for (std::int32_t row = 0; row < first.rows; ++row) {
      for (std::int32_t column = 0; column < first.columns; ++column) {
        if (first.pixelType == KgdaString)
          EXPECT_STREQ(kgda_ElementAsString(first, row, column), kgda_ElementAsString(second, row, column));
        else
          EXPECT_EQ(std::memcmp(kgda_ElementPointer(first, row, column), kgda_ElementPointer(second, row, column),
                                first.elementSize),
                    0)
              << "type " << first.pixelType << ", row " << row << ", column " << column;
      }
    }
  }
}

TEST(AsciiStack, EveryTypeRoundTripsBitForBit) {
  std::mt19937_64 random(11);
  for (std::uint32_t code = 0; code < kKgdaPixelTypeCount; ++code) {
    for (const Kind kind : {kScalar, kTable, kMatrix}) {
      KgdaBaseDataStack stack(kind);
      for (int i = 0; i < 3; ++i)
        FillWithAnything(
            stack.AddLayer(kind == kScalar ? 1 : 40, kind == kMatrix ? 7 : 1, static_cast<Kgda_PixelType>(code)),
            random);
      ExpectSame(Read(Text(stack), kind), stack);
    }
  }
}

TEST(AsciiStack, SpecialNumbersKeepTheirBits) {
  const double numbers[] = {0.0,
                            -0.0,
                            0.1,
                            1e308,
                            5e-324,
                            std::numeric_limits<double>::infinity(),
                            -std::numeric_limits<double>::infinity(),
                            std::numeric_limits<double>::quiet_NaN(),
                            -std::numeric_limits<double>::quiet_NaN(),
                            std::bit_cast<double>(0x7ff0000000000001u)};
  KgdaBaseDataStack stack(kTable);
  Kgda_BaseDataLayer& layer = stack.AddLayer(10, 1, KgdaFloat64);
  std::memcpy(layer.data, numbers, sizeof numbers);
  const std::string text = Text(stack);
  EXPECT_EQ(text,
            "#tessera kind=table type=Float64 rows=10 columns=1 layers=1\n"
            "0\n-0\n0.1\n1e+308\n5e-324\ninf\n-inf\nnan\n-nan\nnan(7ff0000000000001)\n");
  ExpectSame(Read(text, kTable), stack);
}

TEST(AsciiStack, LooksAsDocumented) {
  KgdaBaseDataStack matrix(kMatrix);
  for (int i = 0; i < 2; ++i)
    for (std::int32_t c = 0; c < 2; ++c) {
      if (c == 0) matrix.AddLayer(1, 2, KgdaInt16);
      kgda_SetElementFromDouble(matrix.GetLayer(static_cast<std::size_t>(i)), 0, c, i * 10 + c);
    }
  EXPECT_EQ(Text(matrix), "#tessera kind=matrix type=Int16 rows=1 columns=2 layers=2\n0 1\n# layer 2\n10 11\n");

  KgdaBaseDataStack strings(kTable);
  Kgda_BaseDataLayer& layer = strings.AddLayer(3, 1, KgdaString);
  kgda_SetElementString(layer, 0, 0, "a \"b\"\n\xC3\xA9\xFF");
  kgda_SetElementString(layer, 2, 0, "");
  EXPECT_EQ(Text(strings),
            "#tessera kind=table type=String rows=3 columns=1 layers=1\n\"a \\\"b\\\"\\n\xC3\xA9\\xff\"\nnull\n\"\"\n");
}

TEST(AsciiStack, BinFunctionsGoWithTables) {
  using BinKind = Kdsc_BinFunction::Kind;
  for (const Kdsc_BinFunction& bins : {Kdsc_BinFunction{BinKind::Linear, 10, -0.5, 9.25, {}},
                                       Kdsc_BinFunction{BinKind::Explicit, 2, 0, 9, {0, 4.5, 9}},
                                       Kdsc_BinFunction{BinKind::Direct, 256, 0, 255, {}}}) {
    KgdaBaseDataStack table(kTable);
    table.AddLayer(2, 1, KgdaUInt8);
    table.SetBinFunction(boost::make_shared<const Kdsc_BinFunction>(bins));
    const KgdaBaseDataStack back = Read(Text(table), kTable);
    ASSERT_TRUE(back.GetBinFunction());
    EXPECT_EQ(*back.GetBinFunction(), bins);
  }
}

TEST(AsciiStack, EmptySizesKeepTheirShape) {
  for (const auto& [rows, columns] : {std::pair(0, 0), std::pair(0, 4), std::pair(3, 0)}) {
    KgdaBaseDataStack stack(kMatrix);
    stack.AddLayer(rows, columns, KgdaFloat64);
    ExpectSame(Read(Text(stack), kMatrix), stack);
  }
  EXPECT_EQ(Read("", kTable).GetLayer(0).rows, 0);
}

TEST(AsciiStack, TextOfOtherToolsIsRead) {
  const struct {
    const char* title;
    std::string text;
    std::int32_t rows, columns;
    std::vector<double> numbers;
  } rows[] = {
      {"numpy", "1.000000000000000000e+00 2.5e-01\n-3e+00 nan\n", 2, 2, {1, 0.25, -3, NAN}},
      {"commas", "1,2,3\r\n4, 5 ,6\r\n", 2, 3, {1, 2, 3, 4, 5, 6}},
      {"semicolons and tabs", "1;2\n3\t4", 2, 2, {1, 2, 3, 4}},
      {"comments and blank lines", "\xEF\xBB\xBF# head\n\n 1 2 # behind\n\n#\n3 +4\n\n", 2, 2, {1, 2, 3, 4}},
      {"tiny", "1e-400 .5\n", 1, 2, {0, 0.5}},
      {"infinity", "-Infinity INF\n", 1, 2, {-INFINITY, INFINITY}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.title);
    const KgdaBaseDataStack stack = Read(row.text, kMatrix);
    EXPECT_EQ(stack.GetLayer(0).rows, row.rows);
    EXPECT_EQ(stack.GetLayer(0).columns, row.columns);
    EXPECT_EQ(stack.GetLayer(0).pixelType, KgdaFloat64);
    EXPECT_THAT(Numbers(stack), ::testing::Pointwise(::testing::NanSensitiveDoubleEq(), row.numbers));
  }
}

TEST(AsciiStack, OneRowIsReadAsOneColumn) {
  const KgdaBaseDataStack table = Read("1 2 3\n", kTable);
  EXPECT_EQ(table.GetLayer(0).rows, 3);
  EXPECT_EQ(table.GetLayer(0).columns, 1);
  EXPECT_EQ(Numbers(table), (std::vector<double>{1, 2, 3}));
}

TEST(AsciiStack, LinesOfTextAreElements) {
  const KgdaBaseDataStack table = Read("New York\n\"a, b\"\n# no text\n  Paris  \n", kTable, Kgda_PlainText::Texts);
  ASSERT_EQ(table.GetLayer(0).rows, 3);
  EXPECT_STREQ(kgda_ElementAsString(table.GetLayer(0), 0, 0), "New York");
  EXPECT_STREQ(kgda_ElementAsString(table.GetLayer(0), 1, 0), "a, b");
  EXPECT_STREQ(kgda_ElementAsString(table.GetLayer(0), 2, 0), "Paris");
  const KgdaBaseDataStack matrix = Read("a,\"b c\"\nd,null\n", kMatrix, Kgda_PlainText::Texts);
  EXPECT_STREQ(kgda_ElementAsString(matrix.GetLayer(0), 0, 1), "b c");
  EXPECT_EQ(kgda_ElementAsString(matrix.GetLayer(0), 1, 1), nullptr);
}

TEST(AsciiStack, FaultsTellTheirPlace) {
  const std::string head = "#tessera kind=table type=";
  const struct {
    std::string text;
    Kind kind;
    const wchar_t* fault;
  } rows[] = {
      {"1 2\n3 x4\n", kMatrix, L"line 2, column 3: found \"x4\", expected a number."},
      {"1 2\n3\n", kMatrix, L"line 2, column 2: found the end of the line, expected 2 elements on the line."},
      {"1 2\n3 4 5\n", kMatrix, L"line 2, column 5: found \"5\", expected the end of the line after 2 elements."},
      {"1,,2\n", kMatrix, L"line 1, column 3: found \",\", expected an element between the separators."},
      {"1e999\n", kMatrix, L"line 1, column 1: found \"1e999\", expected a number."},
      {"1 2\n3 4\n", kTable, L"line 1, column 1: found 2 rows of 2 columns, expected one column, as a table has."},
      {"1\n2\n", kScalar, L"line 1, column 1: found 2 rows of 1 columns, expected one element, as a scalar has."},
      {head + "UInt8 rows=1\n256\n", kTable,
       L"line 2, column 1: found \"256\", expected a whole number from 0 to 255."},
      {head + "Int8 rows=1\n1.5\n", kTable,
       L"line 2, column 1: found \"1.5\", expected a whole number from -128 to 127."},
      {head + "Float64 rows=2\n1\n", kTable, L"line 3, column 1: found the end of the file, expected row 2 of 2."},
      {head + "Float64 rows=1\n1\n2\n", kTable, L"line 3, column 1: found \"2\", expected the end of the file."},
      {head + "Flot64 rows=1\n1\n", kTable,
       L"line 1, column 26: found \"Flot64\", expected an element type such as Float64."},
      {"#tessera kind=cube\n", kTable, L"line 1, column 15: found \"cube\", expected one of scalar, table, matrix."},
      {"#tessera size=1\n", kTable,
       L"line 1, column 10: found \"size=1\", expected one of kind, type, rows, columns, layers."},
      {head + "String rows=1\n\"a\\q\"\n", kTable,
       L"line 2, column 3: found \"\\q\"\", expected one of \\n, \\r, \\t, \\\", \\\\ and \\xHH."},
      {head + "String rows=1\n\"\xC3\xA4 b\n", kTable,
       L"line 2, column 5: found the end of the line, expected a quotation mark that ends the text."},
      {head + "Complex64 rows=1\n1+2\n", kTable,
       L"line 2, column 1: found \"1+2\", expected a complex number such as 1+2j."},
      {head + "Float64 rows=1\n#bins explicit 2 0 1 5 4\n", kTable,
       L"line 2, column 24: found \"4\", expected limits that rise."},
  };
  for (const auto& row : rows) EXPECT_EQ(FaultOf(row.text, row.kind), std::wstring(L"The file \"f\", ") + row.fault);
}

TEST(AsciiStack, PromisesThatTheFileCantKeepTakeNoMemory) {
  const std::string head = "#tessera kind=matrix type=Float64 rows=2147483647 columns=2147483647 layers=";
  EXPECT_THAT(FaultOf(head + "1\n1\n", kMatrix),
              ::testing::EndsWith(L"expected no more than 2 elements, which is what the file has room for."));
  EXPECT_THAT(FaultOf(head + "65535\n1\n", kMatrix), ::testing::HasSubstr(L"expected no more than 2 elements"));
  EXPECT_THAT(FaultOf("#tessera rows=2147483648\n", kMatrix),
              ::testing::HasSubstr(L"expected a whole number from 0 to 2147483647"));
}

TEST(AsciiStack, FilesAreReadAndWritten) {
  const ScratchFolder folder;
  ::setenv("KGDA_TEST_FOLDER", folder.Path().c_str(), 1);
  KgdaBaseDataStack stack(kTable);
  kgda_SetElementFromDouble(stack.AddLayer(1, 1, KgdaFloat64), 0, 0, 0.1);
  KerrException error(L"test", L"FilesAreReadAndWritten");
  kgda_BaseDataStackWriteAscii(stack, L"$KGDA_TEST_FOLDER/t.tbl", error);
  ASSERT_FALSE(error.IsPending());
  ExpectSame(kgda_BaseDataStackReadAscii(folder.Wide("t.tbl"), kTable, Kgda_PlainText::Numbers, error), stack);
  EXPECT_FALSE(error.IsPending());
  kgda_BaseDataStackReadAscii(folder.Wide("missing.tbl"), kTable, Kgda_PlainText::Numbers, error);
  EXPECT_TRUE(error.IsPending());
}

TEST(AsciiStack, FailedWriteLeavesTheOldFile) {
  const ScratchFolder folder;
  folder.Make("t.tbl", "old");
  KgdaBaseDataStack ragged(kTable);
  ragged.AddLayer(1, 1, KgdaFloat64);
  ragged.AddLayer(2, 1, KgdaFloat64);
  KerrException error(L"test", L"FailedWriteLeavesTheOldFile");
  kgda_BaseDataStackWriteAscii(ragged, folder.Wide("t.tbl"), error);
  EXPECT_TRUE(error.IsPending());
  EXPECT_EQ(folder.Bytes("t.tbl"), "old");
  EXPECT_EQ(folder.EntryCount(), 1u);
}

}  // namespace
