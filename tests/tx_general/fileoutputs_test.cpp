#include <gmock/gmock.h>

#include "tx_general/rows.h"
#include "tx_general/stackvalues.h"

namespace {

using namespace testing_support;
using ::testing::ElementsAre;
using Numbers = std::vector<double>;
constexpr std::uint32_t kColor = 0xFFFFFFFE;
constexpr std::uint32_t kNone = 0xFFFFFFFF;

TEST(ScalarValue, Rows) {
  ExpectRows({
      {"number", L"ScalarInput", {{L"Value", ScalarValue(3, KgdaInt8)}}, L"Scalar", ScalarValue(3, KgdaInt8)},
      {"colour", L"ScalarInput", {{L"Value", ColorScalar(1, 0.5, 0)}}, L"Scalar", ColorScalar(1, 0.5, 0)},
      {"text", L"ScalarInput", {{L"Value", TextScalar(L"a b")}}, L"Scalar", TextScalar(L"a b")},
      {"none", L"ScalarInput", {}, L"Scalar", nullptr},
  });
}

TEST(SCAScalarSource, Rows) {
  const TemporaryFolder folder;
  const DataPtr file = File(folder.Write("s.sca", "2.5\n"));
  const auto row = [&](const char* title, std::uint32_t type, const DataPtr& expected) {
    return Row{title, L"ScalarFileInput", {{L"Filename", file}, {L"ScalarType", TypeOf(type)}}, L"Scalar", expected};
  };
  ExpectRows({
      row("double", KgdaFloat64, ScalarValue(2.5)),
      row("rounded half to even", KgdaInt32, ScalarValue(2, KgdaInt32)),
      row("text", KgdaString, TextScalar(L"2.5")),
      {"no name", L"ScalarFileInput", {{L"Filename", File(L"")}}, L"Scalar", nullptr},
      {"no file port", L"ScalarFileInput", {}, L"Scalar", nullptr},
      {"required type",
       L"ScalarFileInput",
       {{L"Filename", file}},
       L"Scalar",
       nullptr,
       L"Data not found on port(ScalarType)."},
  });
}

struct Writer {
  const wchar_t* op;
  std::wstring value;  ///< prefix of the ports
};
const Writer kMatrixWriter{L"MatrixFileOutput", L"Matrix"};
const Writer kTableWriter{L"TableFileOutput", L"Table"};
const Writer kScalarWriter{L"ScalarFileOutput", L"Scalar"};

Row Write(const char* title, const Writer& writer, const DataPtr& value, std::uint32_t type, const DataPtr& expected,
          const wchar_t* error = L"") {
  return {title,
          writer.op,
          {{writer.value + L"In", value}, {writer.value + L"Type", TypeOf(type)}},
          writer.value + L"Out",
          expected,
          error};
}

TEST(FileOutputs, ConvertWithoutAFile) {
  const DataPtr grey = ColorTable({basic::Color(0.5, 0.5, 0.5)});
  ExpectRows({
      Write("matrix", kMatrixWriter, MatrixOf(1, 2, {1.5, 300}), KgdaUInt8, MatrixOf(1, 2, {2, 255}, KgdaUInt8)),
      Write("matrix of no type", kMatrixWriter, MatrixOf(1, 2, {1.5, 3}), kNone, MatrixOf(1, 2, {1.5, 3})),
      Write("table", kTableWriter, TableValue({1.5, -1}), KgdaUInt16, TableValue({2, 0}, KgdaUInt16)),
      Write("table of no type", kTableWriter, TableValue({1.5}), kNone, TableValue({1.5})),
      Write("table of its own type", kTableWriter, TableValue({1.5}), KgdaFloat64, TableValue({1.5})),
      Write("table made colours", kTableWriter, TableValue({0.5}), kColor, grey),
      Write("colours stay", kTableWriter, grey, kColor, grey),
      Write("scalar", kScalarWriter, ScalarValue(2.5), KgdaInt8, ScalarValue(2, KgdaInt8)),
      Write("scalar of no type", kScalarWriter, ScalarValue(2.5), kNone, ScalarValue(2.5)),
      Write("scalar made a colour", kScalarWriter, ScalarValue(0.25), kColor, ColorScalar(0.25, 0.25, 0.25)),
      {"no matrix", L"MatrixFileOutput", {}, L"MatrixOut", nullptr},
      {"required table", L"TableFileOutput", {}, L"TableOut", nullptr, L"Data not found on port(TableIn)."},
      {"required scalar", L"ScalarFileOutput", {}, L"ScalarOut", nullptr, L"Data not found on port(ScalarIn)."},
  });
  ExpectRaised({
      Write("colours are no numbers", kTableWriter, grey, KgdaFloat64, nullptr, L"Incompatible TableType."),
      Write("a colour is no number", kScalarWriter, ColorScalar(1, 0, 0), KgdaUInt8, nullptr,
            L"Incompatible ScalarType."),
  });
}

TEST(FileOutputs, MatrixOfNumbersBecomesThreeLayers) {
  ModelHost host;
  Prepare(host, Write("", kMatrixWriter, MatrixOf(1, 2, {0.25, 1}), kColor, nullptr));
  ASSERT_TRUE(host.Run());
  EXPECT_THAT(Elements(host.Existing(L"op.MatrixOut")), ElementsAre(0.25, 1, 0.25, 1, 0.25, 1));
}

/// Through the file of one operator into another.
TEST(FileOutputs, InputsReadWhatTheyWrite) {
  const TemporaryFolder folder;
  const struct {
    const Writer& writer;
    const wchar_t* reader;
    DataPtr value;
  } rows[] = {
      {kMatrixWriter, L"MatrixFileInput", MatrixOf(2, 2, {0.1, -0.0, 1e300, 5e-324})},
      {kMatrixWriter, L"MatrixFileInput", MatrixOf(3, 1, {1, 2, 255}, KgdaUInt8)},
      {kTableWriter, L"TableFileInput", TableValue({-2147483648.0, 2147483647}, KgdaInt32)},
      {kTableWriter, L"TableFileInput", ColorTable({basic::Color(1, 0, 0.1), basic::Color(0, 1, 0, 0.5)})},
      {kScalarWriter, L"ScalarFileInput", TextScalar(L"a \"b\"\n\u00e9, c")},
      {kScalarWriter, L"ScalarFileInput", ColorScalar(0.1, 0.2, 0.3)},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(::testing::PrintToString(row.value->ToString()));
    const DataPtr file = File(folder.WidePath() + L"/value.txt");
    ModelHost host;
    host.Add(row.writer.op, L"write");
    host.Set(L"write." + row.writer.value + L"In", row.value).Set(L"write.Filename", file);
    ASSERT_TRUE(host.Run());
    EXPECT_TRUE(host.Messages(tessera::Issue::Warning).empty());
    ModelHost reading;
    reading.Add(row.reader, L"read");
    reading.Set(L"read.Filename", file).Set(L"read." + row.writer.value + L"Type", TypeOf(kNone));
    ASSERT_TRUE(reading.Run()) << ::testing::PrintToString(reading.Error());
    ExpectSame(reading.Existing(L"read." + row.writer.value), row.value);
  }
}

TEST(FileOutputs, FailedWriteIsAWarningAndTheValueGoesOn) {
  const std::wstring file = L"/nowhere/at/all.tbl";
  for (const Writer& writer : {kMatrixWriter, kTableWriter, kScalarWriter}) {
    ModelHost host;
    host.Add(writer.op, L"op");
    host.Set(L"op." + writer.value + L"In", writer.value == L"Matrix"  ? MatrixOf(1, 1, {5})
                                            : writer.value == L"Table" ? TableValue({5})
                                                                       : ScalarValue(5));
    host.Set(L"op.Filename", File(file));
    ASSERT_TRUE(host.Run());
    EXPECT_EQ(Elements(host.Existing(L"op." + writer.value + L"Out")), Numbers{5});
    const auto warnings = host.Messages(tessera::Issue::Warning);
    ASSERT_EQ(warnings.size(), 1u);
    EXPECT_THAT(warnings[0], ::testing::HasSubstr(file));
  }
}

TEST(FileOutputs, WrongTypeIsToldBeforeTheFileIsTouched) {
  const TemporaryFolder folder;
  const DataPtr file = File(folder.Write("t.tbl", "old"));
  ModelHost host;
  Prepare(host, Write("", kTableWriter, ColorTable({basic::Color(1, 0, 0)}), KgdaUInt8, nullptr));
  host.Set(L"op.Filename", file);
  ExpectFailure(host, L"Incompatible TableType.");
  EXPECT_EQ(folder.Read("t.tbl"), "old");
}

}  // namespace
