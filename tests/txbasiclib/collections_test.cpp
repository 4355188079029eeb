#include <stdexcept>

#include "txbasiclib/basedatastackutils.h"
#include "values.h"

using namespace basictest;

namespace {

constexpr auto kAllCodes = [] {
  std::array<NumberType, kKgdaPixelTypeCount> codes{};
  for (std::uint32_t i = 0; i < kKgdaPixelTypeCount; ++i) codes[i] = static_cast<NumberType>(i);
  return codes;
}();

TEST(Tables, AreZeroWhenMade) {
  for (const NumberType type : kAllCodes) {
    const auto table = CreateTable(3, type);
    EXPECT_EQ(table->GetCount(), 3);
    EXPECT_EQ(table->GetNumberType(), type);
    EXPECT_FALSE(table->IsColorTable());
    EXPECT_EQ(table->GetStack().GetKind(), KgdaBaseDataStack::KindTable);
    const auto* bytes = static_cast<const char*>(table->GetRawData());
    for (std::size_t i = 0; i < 3 * kgda_NumBytePerPixelFromType(type); ++i) ASSERT_EQ(bytes[i], 0);
  }
  EXPECT_EQ(CreateTable(0, KgdaUInt8)->GetRawData(), nullptr);
  EXPECT_EQ(CreateColorTable(0)->GetCount(), 0);
  EXPECT_THROW(CreateTable(-1, KgdaUInt8), std::invalid_argument);
  EXPECT_THROW(CreateMatrix(2, -1, KgdaUInt8), std::invalid_argument);
}

TEST(Tables, RowsOutsideTheBoundsAreRefused) {
  const auto plain = CreateTable(2, KgdaInt16);
  const auto colors = CreateColorTable(2);
  for (const std::int32_t row :
       {-1, 2, std::numeric_limits<std::int32_t>::max(), std::numeric_limits<std::int32_t>::min()}) {
    EXPECT_THROW(plain->GetScalarAt(row), std::out_of_range);
    EXPECT_THROW(plain->GetColorAt(row), std::out_of_range);
    EXPECT_THROW(colors->SetColorAt(row, Color()), std::out_of_range);
    EXPECT_THROW(colors->GetColorAt(row), std::out_of_range);
  }
}

TEST(Tables, ColoursHaveThreeLayersUntilOneIsTransparent) {
  const auto table = CreateColorTable(3);
  table->SetColorAt(1, Color(0.1, 0.2, 0.3));
  EXPECT_EQ(table->GetStack().GetLayerCount(), 3u);
  EXPECT_EQ(table->GetColorAt(1), Color(0.1, 0.2, 0.3, 1));
  table->SetColorAt(2, Color(1, 1, 1, 0.5));
  EXPECT_EQ(table->GetStack().GetLayerCount(), 4u);
  EXPECT_TRUE(table->IsColorTable());
  EXPECT_EQ(table->GetColorAt(0), Color(0, 0, 0, 1));
  EXPECT_EQ(table->GetColorAt(1), Color(0.1, 0.2, 0.3, 1));
  EXPECT_EQ(table->GetColorAt(2), Color(1, 1, 1, 0.5));
  EXPECT_TRUE(table->GetScalarAt(2)->IsColor());
  EXPECT_EQ(table->GetScalarAt(2)->GetColor(), Color(1, 1, 1, 0.5));
  EXPECT_THROW(CreateTable(1, KgdaFloat64)->SetColorAt(0, Color()), std::logic_error);
}

TEST(Scalars, TakeTheRowOfATable) {
  std::mt19937_64 random(3);
  for (const NumberType type : kAllCodes) {
    const auto table = CreateTable(5, type);
    Fill(table->GetMutableStack().GetLayer(0), random);
    for (std::int32_t row = 0; row < 5; ++row) {
      const auto scalar = table->GetScalarAt(row);
      EXPECT_EQ(scalar->GetNumberType(), type);
      EXPECT_EQ(scalar->GetStack().GetKind(), KgdaBaseDataStack::KindScalar);
      const auto again = CreateTableFromScalars({scalar});
      ExpectSameStack(again->GetStack(), BaseDataStackUtils::CreateTableFromBaseDataStack(
                                             BaseDataStackUtils::GetBaseDataStackFromScalar(scalar), true)
                                             ->GetStack());
    }
  }
}

TEST(Scalars, JoinToTheSmallestTypeThatHoldsAll) {
  const struct {
    std::vector<boost::shared_ptr<Scalar>> scalars;
    NumberType type;
    std::vector<double> values;
  } rows[] = {
      {{CreateScalar(200, KgdaUInt8), CreateScalar(-5, KgdaInt8)}, KgdaInt16, {200, -5}},
      {{CreateScalar(1, KgdaBit), CreateScalar(9, KgdaNibble)}, KgdaNibble, {1, 9}},
      {{CreateScalar(4294967295.0, KgdaUInt32), CreateScalar(-1, KgdaInt32)}, KgdaFloat64, {4294967295.0, -1}},
      {{CreateScalar(3, KgdaUInt8), CreateScalar(0.5, KgdaFloat32)}, KgdaFloat32, {3, 0.5}},
      {{}, KgdaFloat64, {}},
  };
  for (const auto& row : rows) {
    const auto table = CreateTableFromScalars(row.scalars);
    EXPECT_EQ(table->GetNumberType(), row.type);
    ASSERT_EQ(table->GetCount(), static_cast<std::int32_t>(row.values.size()));
    for (std::int32_t i = 0; i < table->GetCount(); ++i)
      EXPECT_EQ(kgda_ElementAsDouble(table->GetStack().GetLayer(0), i, 0), row.values[static_cast<std::size_t>(i)]);
  }
  EXPECT_THROW(CreateTableFromScalars({nullptr}), std::invalid_argument);
}

TEST(Scalars, ANumberAmongColoursIsGrey) {
  const auto table = CreateTableFromScalars({CreateColorScalar(Color(1, 0, 0, 0.5)), CreateScalar(0.25, KgdaFloat32)});
  ASSERT_TRUE(table->IsColorTable());
  EXPECT_EQ(table->GetColorAt(0), Color(1, 0, 0, 0.5));
  EXPECT_EQ(table->GetColorAt(1), Color(0.25, 0.25, 0.25, 1));
}

TEST(Scalars, TextsWithNumbersGiveTexts) {
  const auto table = CreateTableFromScalars({CreateStringScalar(L"a\u00e4"), CreateScalar(2.5, KgdaFloat64)});
  EXPECT_EQ(table->GetNumberType(), KgdaString);
  EXPECT_STREQ(kgda_ElementAsString(table->GetStack().GetLayer(0), 0, 0), "a\xC3\xA4");
  EXPECT_STREQ(kgda_ElementAsString(table->GetStack().GetLayer(0), 1, 0), "2.5");
}

TEST(Matrices, AreFilledRowByRow) {
  std::vector<boost::shared_ptr<Scalar>> scalars;
  for (int i = 0; i < 6; ++i) scalars.push_back(CreateScalar(i, KgdaUInt8));
  const auto matrix = CreateMatrixFromScalars(2, 3, scalars);
  EXPECT_EQ(matrix->GetStack().GetKind(), KgdaBaseDataStack::KindMatrix);
  for (std::int32_t i = 0; i < 6; ++i) EXPECT_EQ(kgda_ElementAsDouble(matrix->GetStack().GetLayer(0), i / 3, i % 3), i);
  EXPECT_THROW(CreateMatrixFromScalars(2, 2, scalars), std::invalid_argument);
  EXPECT_THROW(CreateMatrixFromScalars(-2, -3, scalars), std::invalid_argument);
  EXPECT_EQ(CreateMatrixFromScalars(0, 7, {})->GetColumns(), 7);
}

TEST(Conversions, RoundAndClamp) {
  const struct {
    double value;
    NumberType type;
    double expected;
  } rows[] = {{2.5, KgdaInt32, 2},
              {3.5, KgdaInt32, 4},
              {-1, KgdaUInt8, 0},
              {300, KgdaUInt8, 255},
              {-200, KgdaInt8, -128},
              {kNaN, KgdaUInt16, 0},
              {1e20, KgdaUInt32, 4294967295.0},
              {0.1, KgdaFloat64, 0.1},
              {9, KgdaBit, 1}};
  for (const auto& row : rows) {
    const auto scalar = ConvertScalar(CreateScalar(row.value, KgdaFloat64), row.type);
    EXPECT_EQ(scalar->GetNumberType(), row.type);
    EXPECT_EQ(kgda_ElementAsDouble(scalar->GetStack().GetLayer(0), 0, 0), row.expected) << row.value;
  }
}

TEST(Conversions, NumbersBecomeGreys) {
  const auto table = CreateTable(2, KgdaUInt8);
  static_cast<std::uint8_t*>(table->GetRawData())[1] = 7;
  const auto colors = ConvertToColorTable(table);
  EXPECT_TRUE(colors->IsColorTable());
  EXPECT_EQ(colors->GetColorAt(1), Color(7, 7, 7));
  EXPECT_EQ(ConvertToColorTable(colors)->GetColorAt(1), Color(7, 7, 7));
  EXPECT_EQ(ConvertToColorScalar(CreateScalar(0.5, KgdaFloat64))->GetColor(), Color(0.5, 0.5, 0.5));
  EXPECT_FALSE(table->IsColorTable());
}

TEST(AttributeTables, FindTheirColumns) {
  AttributeTable table;
  const auto column = CreateTable(1, KgdaInt32);
  table.GetColumns().push_back({L"Height", column});
  EXPECT_EQ(table.FindColumn(L"Height"), column);
  EXPECT_EQ(table.FindColumn(L"height"), nullptr);
}

}  // namespace
