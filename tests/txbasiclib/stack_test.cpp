#include <array>

#include "txbasiclib/basedatastackutils.h"
#include "txlib/operator.h"
#include "values.h"

using namespace basictest;
namespace Utils = Tamrin::TesseraBasic::BaseDataStackUtils;

namespace {

using StackPtr = boost::shared_ptr<KgdaBaseDataStack>;

StackPtr MakeStack(std::int32_t rows, std::int32_t columns, Kgda_PixelType type = KgdaInt32, int layers = 1) {
  const auto stack = boost::make_shared<KgdaBaseDataStack>();
  std::mt19937_64 random(static_cast<unsigned>(rows * 31 + columns));
  for (int i = 0; i < layers; ++i) Fill(stack->AddLayer(rows, columns, type), random);
  return stack;
}

TEST(Stacks, ShapesThatFit) {
  const struct {
    std::int32_t rows, columns;
    bool table, scalar;
  } rows[] = {{1, 1, true, true},   {3, 1, true, false}, {1, 3, true, false},
              {2, 2, false, false}, {0, 1, true, false}, {0, 2, false, false}};
  for (const auto& row : rows) {
    const auto stack = MakeStack(row.rows, row.columns);
    EXPECT_EQ(Utils::CreateTableFromBaseDataStack(stack, true) != nullptr, row.table) << row.rows << " " << row.columns;
    EXPECT_EQ(Utils::CreateScalarFromBaseDataStack(stack, true) != nullptr, row.scalar);
    EXPECT_NE(Utils::CreateMatrixFromBaseDataStack(stack, true), nullptr);
    EXPECT_EQ(stack->GetLayer(0).columns, row.columns);
    EXPECT_EQ(stack->GetKind(), KgdaBaseDataStack::KindScalar);
  }
  const auto mixed = MakeStack(2, 1);
  mixed->AddLayer(3, 1, KgdaInt32);
  for (const StackPtr& stack : {mixed, StackPtr(), boost::make_shared<KgdaBaseDataStack>()}) {
    EXPECT_EQ(Utils::CreateTableFromBaseDataStack(stack, true), nullptr);
    EXPECT_EQ(Utils::CreateMatrixFromBaseDataStack(stack, true), nullptr);
    EXPECT_EQ(Utils::CreateScalarFromBaseDataStack(stack, true), nullptr);
  }
}

TEST(Stacks, ARowBecomesAColumn) {
  const auto stack = MakeStack(1, 4, KgdaInt16);
  const auto table = Utils::CreateTableFromBaseDataStack(stack, true);
  ASSERT_EQ(table->GetCount(), 4);
  for (std::int32_t i = 0; i < 4; ++i)
    EXPECT_EQ(kgda_ElementAsDouble(table->GetStack().GetLayer(0), i, 0),
              kgda_ElementAsDouble(stack->GetLayer(0), 0, i));
}

TEST(Stacks, ViewsAndTakenStacksAreShared) {
  const auto stack = MakeStack(2, 1);
  void* const data = stack->GetLayer(0).data;
  const auto taken = Utils::CreateTableFromBaseDataStack(stack, false);
  EXPECT_EQ(taken->GetRawData(), data);
  EXPECT_EQ(Utils::GetBaseDataStackFromTable(taken).get(), stack.get());
  EXPECT_NE(Utils::CreateTableFromBaseDataStack(stack, true)->GetRawData(), data);
  EXPECT_NE(Utils::ConvertTableToBaseDataStack(*taken).GetLayer(0).data, data);
  // The view keeps what it looks into.
  auto matrix = CreateMatrix(1, 1, KgdaUInt8);
  const auto view = Utils::GetBaseDataStackFromMatrix(matrix);
  matrix.reset();
  EXPECT_EQ(view->GetLayer(0).rows, 1);
  EXPECT_EQ(Utils::GetBaseDataStackFromScalar(nullptr), nullptr);
}

TEST(Stacks, KindsFollowTheSource) {
  EXPECT_EQ(Utils::ConvertScalarToBaseDataStack(*CreateScalar(1, KgdaUInt8)).GetKind(), KgdaBaseDataStack::KindScalar);
  EXPECT_EQ(Utils::ConvertTableToBaseDataStack(*CreateTable(1, KgdaUInt8)).GetKind(), KgdaBaseDataStack::KindTable);
  EXPECT_EQ(Utils::ConvertMatrixToBaseDataStack(*CreateMatrix(1, 1, KgdaUInt8)).GetKind(),
            KgdaBaseDataStack::KindMatrix);
}

TEST(Stacks, PixelTypesAreConverted) {
  const auto stack = MakeStack(2, 2, KgdaUInt8);
  EXPECT_EQ(Utils::ConvertBaseDataStackPixelType(*stack, KgdaFloat32).GetLayer(0).pixelType, KgdaFloat32);
  for (const bool flag : {true, false}) {
    const auto type = flag ? KgdaFloat64 : static_cast<Kgda_PixelType>(SimpleDataTypeCode::kColor);
    const auto color = Utils::ConvertBaseDataStackPixelType(*stack, type, flag);
    EXPECT_TRUE(color.IsColor());
    EXPECT_EQ(color.GetLayerCount(), 3u);
    for (std::size_t i = 0; i < 3; ++i)
      EXPECT_EQ(kgda_ElementAsDouble(color.GetLayer(i), 1, 1), kgda_ElementAsDouble(stack->GetLayer(0), 1, 1));
  }
}

TEST(Stacks, BinFunctionsGoWithTables) {
  const auto table = CreateTable(4, KgdaUInt32);
  EXPECT_EQ(Utils::GetBinFunctionFromTable(*table), nullptr);
  EXPECT_EQ(Utils::BinFunctionCopy(nullptr), nullptr);
  Kdsc_BinFunction function;
  function.kind = Kdsc_BinFunction::Kind::Explicit;
  function.numBins = 2;
  function.limits = {0, 1, 5};
  const auto shared = boost::make_shared<const Kdsc_BinFunction>(function);
  Utils::SetBinFunction(*table, shared);
  const auto copy = Utils::BinFunctionCopy(Utils::GetBinFunctionFromTable(*table));
  EXPECT_NE(copy, shared);
  EXPECT_EQ(*copy, function);
}

TEST(Stacks, CellsAndRowsAreCopiedInTheTypeOfTheirPlace) {
  const auto target = CreateMatrix(2, 2, KgdaUInt8);
  const auto source = CreateMatrix(1, 2, KgdaFloat64);
  kgda_SetElementFromDouble(source->GetMutableStack().GetLayer(0), 0, 1, 300.7);
  Utils::CopyCellBetweenMatrices(*target, 1, 0, *source, 0, 1);
  EXPECT_EQ(kgda_ElementAsDouble(target->GetStack().GetLayer(0), 1, 0), 255);

  const auto texts = CreateTable(1, KgdaString);
  Utils::CopyRowBetweenTables(*texts, 0, *CreateTableFromScalars({CreateScalar(2.5, KgdaFloat32)}), 0);
  EXPECT_STREQ(kgda_ElementAsString(texts->GetStack().GetLayer(0), 0, 0), "2.5");

  const auto colors = CreateColorTable(2);
  const auto others = CreateColorTable(1);
  others->SetColorAt(0, Color(1, 2, 3, 0.5));
  Utils::CopyRowBetweenTables(*colors, 1, *others, 0);
  EXPECT_EQ(colors->GetColorAt(1), Color(1, 2, 3, 0.5));
}

// Stacks of ports.

class StackReader : public tx::Operator {
 public:
  const wchar_t* GetDefaultOperatorName() const override { return L"StackReader"; }
  void DeclarePorts() override { CreatePort(L"In", BaseDataStackData::DefaultTypeName(), tx::PortType::Input); }
  void OnExecute() override {}
};

StackPtr ReadPort(const DataPtr& data, tx::Port::EmptyDataBehavior behavior = tx::Port::DisallowEmptyData) {
  const auto reader = boost::make_shared<StackReader>();
  reader->Initialize();
  if (data) reader->GetPort(L"In")->SetData(data);
  return GetBaseDataStackPtr(reader->GetPort(L"In"), behavior);
}

std::string Failure(const DataPtr& data) {
  try {
    ReadPort(data);
  } catch (const std::exception& error) {
    return error.what();
  }
  return "";
}

TEST(StackPorts, GiveTheStackOfAnyCollection) {
  const auto stack = MakeStack(2, 2);
  EXPECT_EQ(ReadPort(boost::make_shared<BaseDataStackData>(stack)), stack);
  const auto table = CreateTable(2, KgdaUInt8);
  EXPECT_EQ(ReadPort(boost::make_shared<TableData>(table)).get(), &table->GetMutableStack());
  const auto matrix = CreateMatrix(2, 2, KgdaUInt8);
  EXPECT_EQ(ReadPort(boost::make_shared<MatrixData>(matrix)).get(), &matrix->GetMutableStack());
  EXPECT_EQ(ReadPort(tx::MakeData<tx::IntData>(-7))->GetLayer(0).pixelType, KgdaInt32);
}

TEST(StackPorts, WordTheirFailures) {
  EXPECT_EQ(Failure(nullptr), "Data not found on port(In).");
  EXPECT_EQ(Failure(tx::MakeData<tx::StringData>(std::wstring(L"x"))), "No appropriate data found on port(In).");
  EXPECT_EQ(Failure(boost::make_shared<TableData>()), "Null data found on port(In).");
  EXPECT_EQ(ReadPort(nullptr, tx::Port::AllowEmptyData), nullptr);
  EXPECT_EQ(ReadPort(tx::MakeData<tx::StringData>(std::wstring(L"x")), tx::Port::AllowEmptyData), nullptr);
}

// Names of element types.

TEST(PixelTypes, NamesAndNumbers) {
  const wchar_t* const names[] = {L"Bit",    L"TwoBit", L"Nibble",  L"UInt8",   L"Int8",      L"UInt16",     L"Int16",
                                  L"UInt32", L"Int32",  L"Float32", L"Float64", L"Complex64", L"Complex128", L"String"};
  for (std::uint32_t code = 0; code < 14; ++code) {
    EXPECT_EQ(PixelTypeUtils::PixelType2SimpleString(code), names[code]);
    EXPECT_EQ(PixelTypeUtils::SimpleString2PixelType(names[code]), code);
    EXPECT_EQ(PixelTypeUtils::SimpleString2PixelType(std::to_wstring(code)), code);
  }
  EXPECT_EQ(PixelTypeUtils::SimpleString2PixelType(L"float64"), 10u);
  EXPECT_EQ(PixelTypeUtils::SimpleString2PixelType(L"COLOR"), 0xFFFFFFFEu);
  EXPECT_EQ(PixelTypeUtils::SimpleString2PixelType(L"4294967294"), 0xFFFFFFFEu);
  EXPECT_EQ(PixelTypeUtils::PixelType2SimpleString(0xFFFFFFFEu), L"Color");
  for (const wchar_t* none : {L"", L"14", L"-1", L"Float", L"03", L"UInt88"})
    EXPECT_EQ(PixelTypeUtils::SimpleString2PixelType(none), 0xFFFFFFFFu);
  EXPECT_EQ(PixelTypeUtils::PixelType2SimpleString(0xFFFFFFFFu), L"");
  EXPECT_EQ(PixelTypeUtils::PixelType2SimpleString(14), L"");
}

}  // namespace
