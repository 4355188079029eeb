#include <gmock/gmock.h>

#include <functional>
#include <limits>

#include "tx_general/rows.h"
#include "tx_general/stackvalues.h"

namespace {

using namespace testing_support;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using Numbers = std::vector<double>;

TEST(CustomMatrixSource, Rows) {
  ExpectRows({
      {"as it is",
       L"CustomMatrixInput",
       {{L"Value", MatrixOf(1, 2, {1, 3}, KgdaUInt8)}},
       L"Matrix",
       MatrixOf(1, 2, {1, 3}, KgdaUInt8)},
      {"false changes nothing",
       L"CustomMatrixInput",
       {{L"Value", MatrixOf(1, 2, {1, 3}, KgdaUInt8)}, {L"Normalize", Value(false)}},
       L"Matrix",
       MatrixOf(1, 2, {1, 3}, KgdaUInt8)},
      {"normalised",
       L"CustomMatrixInput",
       {{L"Value", MatrixOf(1, 2, {1, 3}, KgdaUInt8)}, {L"Normalize", Value(true)}},
       L"Matrix",
       MatrixOf(1, 2, {0.25, 0.75})},
      {"negative weights count as they are",
       L"CustomMatrixInput",
       {{L"Value", MatrixOf(2, 2, {-1, 2, 3, -2}, KgdaInt16)}, {L"Normalize", Value(true)}},
       L"Matrix",
       MatrixOf(2, 2, {-0.5, 1, 1.5, -1})},
      {"a sum of nothing divides nothing",
       L"CustomMatrixInput",
       {{L"Value", MatrixOf(1, 3, {-1, 2, -1}, KgdaInt8)}, {L"Normalize", Value(true)}},
       L"Matrix",
       MatrixOf(1, 3, {-1, 2, -1})},
      {"no value, no matrix", L"CustomMatrixInput", {}, L"Matrix", nullptr},
      {"no value to normalise", L"CustomMatrixInput", {{L"Normalize", Value(true)}}, L"Matrix", nullptr},
  });
}

TEST(CustomMatrixSource, NormalisedNumbersAreDoubles) {
  for (const Kgda_PixelType type : {KgdaUInt8, KgdaInt8, KgdaUInt16, KgdaInt32, KgdaUInt32, KgdaFloat32, KgdaFloat64}) {
    ModelHost host;
    host.Add(L"CustomMatrixInput", L"op");
    host.Set(L"op.Value", MatrixOf(3, 3, Numbers(9, 1), type)).Set(L"op.Normalize", true);
    ASSERT_TRUE(host.Run());
    EXPECT_EQ(ElementType(host.Existing(L"op.Matrix")), KgdaFloat64);
    EXPECT_EQ(Elements(host.Existing(L"op.Matrix")), Numbers(9, 1.0 / 9));
  }
}

TEST(CustomMatrixSource, EachLayerHasItsOwnSum) {
  const auto matrix = basic::CreateMatrix(1, 2, KgdaInt16);
  matrix->GetMutableStack().AddLayer(1, 2, KgdaInt16);
  for (std::size_t layer = 0; layer < 2; ++layer)
    for (std::int32_t column = 0; column < 2; ++column)
      kgda_SetElementFromDouble(matrix->GetMutableStack().GetLayer(layer), 0, column, layer == 0 ? 1 + 2 * column : 5);
  ModelHost host;
  host.Add(L"CustomMatrixInput", L"op");
  host.Set(L"op.Value", Shared<basic::MatrixData>(matrix)).Set(L"op.Normalize", true);
  ASSERT_TRUE(host.Run());
  EXPECT_THAT(Elements(host.Existing(L"op.Matrix")), ElementsAre(0.25, 0.75, 0.5, 0.5));
  EXPECT_EQ(Elements(Shared<basic::MatrixData>(matrix)), (Numbers{1, 3, 5, 5}));
}

/// The sum goes through the elements one after the other.
TEST(CustomMatrixSource, SumsAreThoseOfTheOrder) {
  constexpr std::int32_t rows = 700, columns = 800;
  const auto whole = [](std::int32_t i) { return (i % 1000) - 300.0; };
  const auto fractions = [](std::int32_t i) { return 0.1 * (i % 77) - 1; };
  const auto oneFraction = [](std::int32_t i) { return i == rows * columns - 5 ? 0.5 : 3.0; };
  const auto tooLarge = [](std::int32_t i) { return i % 2 ? 9007199254740993.0 * 3 : 1.0; };
  const auto notWhole = [](std::int32_t i) { return i == 9 ? std::numeric_limits<double>::infinity() : 1.0; };
  const std::function<double(std::int32_t)> values[] = {whole, fractions, oneFraction, tooLarge, notWhole};
  for (const auto& value : values) {
    const auto matrix = basic::CreateMatrix(rows, columns, KgdaFloat64);
    auto* const elements = static_cast<double*>(matrix->GetMutableStack().GetLayer(0).data);
    double sum = 0;
    for (std::int32_t i = 0; i < rows * columns; ++i) sum += elements[i] = value(i);
    ModelHost host;
    host.Add(L"CustomMatrixInput", L"op");
    host.Set(L"op.Value", Shared<basic::MatrixData>(matrix)).Set(L"op.Normalize", true);
    ASSERT_TRUE(host.Run());
    const auto* const found = static_cast<const double*>(StackOf(host.Existing(L"op.Matrix")).GetLayer(0).data);
    for (std::int32_t i = 0; i < rows * columns; ++i) {
      const double expected = elements[i] / sum;
      ASSERT_TRUE(found[i] == expected || (found[i] != found[i] && expected != expected)) << i;
    }
  }
}

TEST(CustomMatrixSource, OnlyPlainNumbersCanBeNormalised) {
  for (const Kgda_PixelType type : {KgdaString, KgdaComplex128}) {
    ModelHost host;
    host.Add(L"CustomMatrixInput", L"op");
    host.Set(L"op.Value", Shared<basic::MatrixData>(basic::CreateMatrix(1, 1, type))).Set(L"op.Normalize", true);
    EXPECT_THROW(host.GetModel()->Execute(), std::runtime_error);
    host.Set(L"op.Normalize", false);
    EXPECT_TRUE(host.Run());
  }
  ModelHost host;
  host.Add(L"CustomMatrixInput", L"op");
  host.Set(L"op.Value", Shared<basic::MatrixData>(basic::CreateMatrix(1, 1, KgdaString))).Set(L"op.Normalize", true);
  ExpectFailure(host, L"Invalid matrix type for normalized matrix");
}

class MatrixFiles : public ::testing::Test {
 protected:
  TemporaryFolder folder_;
};

TEST_F(MatrixFiles, AreReadInTheTypeAskedFor) {
  const std::wstring file = folder_.Write("m.mtx", "1 2.5\n-3 300\n");
  const auto row = [&](const char* title, std::uint32_t type, const DataPtr& expected) {
    return Row{
        title, L"MatrixFileInput", {{L"Filename", File(file)}, {L"MatrixType", TypeOf(type)}}, L"Matrix", expected};
  };
  ExpectRows({
      row("doubles", KgdaFloat64, MatrixOf(2, 2, {1, 2.5, -3, 300})),
      row("bytes", KgdaUInt8, MatrixOf(2, 2, {1, 2, 0, 255}, KgdaUInt8)),
      row("no type keeps that of the file", 0xFFFFFFFF, MatrixOf(2, 2, {1, 2.5, -3, 300})),
      {"no name, no matrix", L"MatrixFileInput", {{L"Filename", File(L"")}}, L"Matrix", nullptr},
      {"nothing at all", L"MatrixFileInput", {}, L"Matrix", nullptr},
      {"required type",
       L"MatrixFileInput",
       {{L"Filename", File(file)}},
       L"Matrix",
       nullptr,
       L"Data not found on port(MatrixType)."},
      {"normalised",
       L"MatrixFileInput",
       {{L"Filename", File(folder_.Write("n.mtx", "1 3\n"))},
        {L"MatrixType", TypeOf(KgdaInt8)},
        {L"Normalize", Value(true)}},
       L"Matrix",
       MatrixOf(1, 2, {0.25, 0.75})},
  });
}

TEST_F(MatrixFiles, FaultsNameFileLineAndColumn) {
  const std::wstring file = folder_.Write("bad.mtx", "1 2\n3 four\n");
  ModelHost host;
  host.Add(L"MatrixFileInput", L"op");
  host.Set(L"op.Filename", File(file)).Set(L"op.MatrixType", TypeOf(KgdaFloat64));
  ExpectFailure(host, L"The file \"" + file + L"\", line 2, column 3: found \"four\", expected a number.");
}

class Kernels : public MatrixFiles {
 protected:
  DataPtr Run(const DataPtr& library, const wchar_t* name, const DataPtr& type = nullptr) {
    host_ = std::make_unique<ModelHost>();
    host_->Add(L"KernelMatrixInput", L"op");
    host_->Set(L"op.KernelLibrary", library).Set(L"op.KernelName", name).Set(L"op.MatrixType", type);
    return host_->Run() ? host_->Existing(L"op.Matrix") : nullptr;
  }
  std::unique_ptr<ModelHost> host_;
};

TEST_F(Kernels, ComeFromTheLibrary) {
  const DataPtr library = File(folder_.Write("own.klb", "[Ones]\ntype = UInt8\n1 1\n1 2\n[Half]\ndivisor = 2\n1 3\n"));
  const DataPtr ones = Run(library, L"Ones");
  ASSERT_TRUE(ones);
  EXPECT_EQ(ElementType(ones), KgdaUInt8);
  EXPECT_THAT(Elements(ones), ElementsAre(1, 1, 1, 2));
  EXPECT_THAT(Elements(Run(library, L"Half")), ElementsAre(0.5, 1.5));
  EXPECT_EQ(ElementType(Run(library, L"Ones", TypeOf(KgdaUInt8))), KgdaUInt8);
  EXPECT_EQ(ElementType(Run(library, L"Ones", TypeOf(KgdaFloat32))), KgdaFloat32);
  EXPECT_EQ(ElementType(Run(library, L"Ones", TypeOf(0xFFFFFFFF))), KgdaUInt8);
  EXPECT_FALSE(Run(library, L"Onse"));
  EXPECT_THAT(host_->Error(), EndsWith(L"own.klb\" has no kernel \"Onse\"; did you mean \"Ones\"?"));
}

TEST_F(Kernels, TheDefaultLibraryGoesByItsNameAlone) {
  for (const DataPtr& library : {DataPtr(), File(L"default.klb"), File(L"DEFAULT.KLB")}) {
    const DataPtr sobel = Run(library, L"Sobel X");
    ASSERT_TRUE(sobel);
    EXPECT_THAT(Elements(sobel), ElementsAre(-1, 0, 1, -2, 0, 2, -1, 0, 1));
  }
  EXPECT_FALSE(Run(File(folder_.WidePath() + L"/default.klb"), L"Sobel X"));
  EXPECT_THAT(host_->Error(), HasSubstr(folder_.WidePath() + L"/default.klb"));
  EXPECT_FALSE(Run(File(L"other.klb"), L"Sobel X"));
  EXPECT_THAT(host_->Error(), HasSubstr(L"\"other.klb\""));
}

TEST_F(Kernels, AreNormalised) {
  Row row{"normalised",
          L"KernelMatrixInput",
          {{L"KernelName", Value(L"Edge Detect 3x3")}, {L"Normalize", Value(true)}},
          L"Matrix",
          MatrixOf(3, 3, {-1, -1, -1, -1, 8, -1, -1, -1, -1})};
  ExpectRow(row);
}

class ListMatrix : public ::testing::Test {
 protected:
  void SetUp() override { host_.Add(L"DynamicMatrixInputList", L"op"); }
  void Prepare(unsigned rows, unsigned columns, const std::vector<DataPtr>& items) {
    host_.Set(L"op.RowCount", rows).Set(L"op.ColumnCount", columns);
    SetItems(host_, L"op", items);
  }
  ModelHost host_;
};

TEST_F(ListMatrix, ItemsFillRowAfterRow) {
  Prepare(2, 3, {List({ScalarValue(1), Value(2), ScalarValue(3)}), ScalarValue(4), Value(5), List({Value(6.0)})});
  for (int turn = 0; turn < 2; ++turn) {
    ASSERT_TRUE(host_.Run()) << ::testing::PrintToString(host_.Error());
    EXPECT_EQ(Elements(host_.Existing(L"op.Matrix")), (Numbers{1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(StackOf(host_.Existing(L"op.Matrix")).GetLayer(0).rows, 2);
    host_.Reopen();
  }
}

TEST_F(ListMatrix, TypeHoldsAllItems) {
  Prepare(1, 2, {ScalarValue(200, KgdaUInt8), ScalarValue(-1, KgdaInt8)});
  ASSERT_TRUE(host_.Run());
  EXPECT_EQ(ElementType(host_.Existing(L"op.Matrix")), KgdaInt16);
  EXPECT_EQ(Elements(host_.Existing(L"op.Matrix")), (Numbers{200, -1}));
}

TEST_F(ListMatrix, NoItemsMakeAnEmptyMatrix) {
  ASSERT_TRUE(host_.Run());
  EXPECT_EQ(Elements(host_.Existing(L"op.Matrix")), Numbers());
}

TEST_F(ListMatrix, CountsHaveToAgree) {
  Prepare(2, 2, {ScalarValue(1)});
  EXPECT_THROW(host_.GetModel()->Execute(), std::invalid_argument);
}

TEST_F(ListMatrix, SizesThatCantBeAreRefused) {
  Prepare(4294967295u, 4294967295u, {ScalarValue(1)});
  ExpectFailure(host_, L"Found 4294967295 rows, expected at most 2147483647.");
}

TEST_F(ListMatrix, ListsHoldScalarsOnly) {
  Prepare(1, 1, {List({List({})})});
  ExpectFailure(host_, L"Non-scalar data found on list.");
  host_.Set(L"op.ListItem", List({nullptr}));
  ExpectFailure(host_, L"Non-scalar data found on list.");
}

TEST_F(ListMatrix, ItemsHaveToBeThere) {
  Prepare(1, 1, {ScalarValue(1)});
  host_.Op(L"op")->AddExpansionPorts();
  ExpectFailure(host_, L"Invalid data on port ListItem2 for operator op.");
}

TEST_F(ListMatrix, PortsGrowAndShrinkToOne) {
  const auto op = host_.Op(L"op");
  const std::vector<std::wstring> fixed = {L"Matrix", L"RowCount", L"ColumnCount", L"Normalize"};
  EXPECT_EQ(PortNames(*op), fixed);
  op->RemoveExpansionPorts();
  EXPECT_EQ(PortNames(*op), fixed);
  for (int i = 0; i < 3; ++i) op->AddExpansionPorts();
  EXPECT_THAT(PortNames(*op), ElementsAre(L"Matrix", L"RowCount", L"ColumnCount", L"Normalize", L"ListItem",
                                          L"ListItem2", L"ListItem3"));
  for (int i = 0; i < 5; ++i) op->RemoveExpansionPorts();
  EXPECT_THAT(PortNames(*op), ElementsAre(L"Matrix", L"RowCount", L"ColumnCount", L"Normalize", L"ListItem"));
  const auto attribute = host_.PortOf(L"op.ListItem")->GetDataTypeAttribute({L"VANTIX", L"List"}, L"ListDataType");
  ASSERT_TRUE(attribute);
  EXPECT_EQ(attribute->ToString(), L"VANTIX.Scalar");
}

Row SeriesRow(const char* title, const DataPtr& initial, const DataPtr& row, const DataPtr& column,
              const DataPtr& expected, const wchar_t* error = L"") {
  return {title,
          L"DynamicMatrixInputSeries",
          {{L"RowCount", Value(2u)},
           {L"ColumnCount", Value(3u)},
           {L"InitialValue", initial},
           {L"RowIncrement", row},
           {L"ColumnIncrement", column}},
          L"Matrix",
          expected,
          error};
}

TEST(DynamicSeriesMatrixSource, Rows) {
  const std::wstring on = L" for operator op.";
  ExpectRows({
      SeriesRow("the row increment steps along a row", ScalarValue(1), ScalarValue(2), ScalarValue(10),
                MatrixOf(2, 3, {1, 3, 5, 11, 13, 15})),
      SeriesRow("largest of the codes", ScalarValue(1, KgdaUInt8), ScalarValue(1, KgdaUInt8), ScalarValue(0.5),
                MatrixOf(2, 3, {1, 2, 3, 1.5, 2.5, 3.5})),
      SeriesRow("whole numbers stay whole", ScalarValue(1, KgdaUInt8), ScalarValue(-1, KgdaInt16),
                ScalarValue(2, KgdaUInt8), MatrixOf(2, 3, {1, 0, -1, 3, 2, 1}, KgdaInt16)),
  });
  ExpectRaised({
      SeriesRow("text", TextScalar(L"a"), ScalarValue(1), ScalarValue(1), nullptr, L"Invalid matrix item type"),
      SeriesRow("increments differ", ScalarValue(1), ScalarValue(1), ColorScalar(1, 0, 0), nullptr,
                L"Matrix item type mismatch"),
      SeriesRow("colour with plain increments", ColorScalar(0, 0, 0), ScalarValue(1), ScalarValue(1), nullptr,
                L"Matrix item type mismatch"),
  });
  for (const auto& [missing, name] :
       {std::pair(L"InitialValue", L"InitialValue"), std::pair(L"RowIncrement", L"Increment"),
        std::pair(L"ColumnIncrement", L"Increment")}) {
    Row row = SeriesRow("missing", ScalarValue(1), ScalarValue(1), ScalarValue(1), nullptr);
    ModelHost host;
    std::erase_if(row.inputs, [&](const auto& input) { return input.first == missing; });
    Prepare(host, row);
    ExpectFailure(host, std::wstring(L"Invalid data on port ") + name + on);
  }
}

TEST(DynamicSeriesMatrixSource, ColoursStepChannelByChannel) {
  ModelHost host;
  Prepare(host, SeriesRow("", ColorScalar(0, 0.5, 1), ColorScalar(0.25, 0, 0), ColorScalar(0, 0.25, -0.5), nullptr));
  ASSERT_TRUE(host.Run());
  EXPECT_EQ(Elements(host.Existing(L"op.Matrix")),
            (Numbers{0, 0.25, 0.5, 0, 0.25, 0.5, 0.5, 0.5, 0.5, 0.75, 0.75, 0.75, 1, 1, 1, 0.5, 0.5, 0.5}));
}

TEST(DynamicSeriesMatrixSource, ColoursNeedNotBeOpaque) {
  const auto clear = Shared<basic::ScalarData>(basic::CreateColorScalar(basic::Color(0, 0.5, 1, 0.25)));
  ModelHost host;
  Row row = SeriesRow("", clear, ColorScalar(0.25, 0, 0), clear, nullptr);
  row.inputs[0].second = Value(1u);
  row.inputs[1].second = Value(2u);
  Prepare(host, row);
  ASSERT_TRUE(host.Run());
  EXPECT_EQ(Elements(host.Existing(L"op.Matrix")), (Numbers{0, 0.25, 0.5, 0.5, 1, 1}));
}

TEST(DynamicSeriesMatrixSource, ItemsOfSeveralLayersDontFit) {
  const auto stack = boost::make_shared<KgdaBaseDataStack>();
  for (int i = 0; i < 2; ++i) stack->AddLayer(1, 1, KgdaInt16);
  ModelHost host;
  Prepare(host,
          SeriesRow("", ScalarValue(1), tessera::MakeData<basic::BaseDataStackData>(*stack), ScalarValue(1), nullptr));
  ExpectFailure(host, L"Invalid size for matrix item");
}

TEST(DynamicSeriesMatrixSource, SizesThatCantBeAreRefused) {
  ModelHost host;
  Prepare(host, SeriesRow("", ScalarValue(1), ScalarValue(1), ScalarValue(1), nullptr));
  host.Set(L"op.RowCount", 4294967295u);
  ExpectFailure(host, L"Found 4294967295 rows, expected at most 2147483647.");
  host.Set(L"op.RowCount", 2000000000u).Set(L"op.ColumnCount", 2000000000u);
  EXPECT_FALSE(host.Run());
  EXPECT_THAT(host.Error(), HasSubstr(L"need more memory than this computer has"));
}

TEST(MatrixSources, SyntaxIsTold) {
  ModelHost host;
  EXPECT_THAT(host.Add(L"KernelMatrixInput")->GetDefaultSyntax(),
              ElementsAre(L"Matrix ( <KernelName> )", L"Matrix ( <KernelLibrary>, <KernelName> )",
                          L"KernelMatrixInput ( <KernelName>[, KernelLibrary=<KernelLibrary>][, "
                          L"MatrixType=<MatrixType>][, Normalize=<Normalize>] )"));
  EXPECT_EQ(host.Add(L"DynamicMatrixInputList")->GetDefaultSyntax().at(0),
            L"Matrix ( <RowCount>, <ColumnCount>: <ListItem>,... )");
  EXPECT_EQ(host.Add(L"DynamicMatrixInputSeries")->GetDefaultSyntax().at(0),
            L"Matrix Series ( <RowCount>, <ColumnCount>, <InitialValue>, <RowIncrement>, <ColumnIncrement> )");
}

}  // namespace
