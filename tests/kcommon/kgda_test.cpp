#include "kcommon/kgda.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <boost/make_shared.hpp>
#include <cmath>
#include <complex>
#include <limits>
#include <stdexcept>

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kFloatMax = std::numeric_limits<float>::max();

constexpr Kgda_PixelType kUnknown = static_cast<Kgda_PixelType>(14);

TEST(PixelType, HasSizeAndName) {
  const struct {
    Kgda_PixelType type;
    std::size_t size;
    const wchar_t* name;
  } rows[] = {
      {KgdaBit, 1, L"Bit"},
      {KgdaTwoBit, 1, L"TwoBit"},
      {KgdaNibble, 1, L"Nibble"},
      {KgdaUInt8, 1, L"UInt8"},
      {KgdaInt8, 1, L"Int8"},
      {KgdaUInt16, 2, L"UInt16"},
      {KgdaInt16, 2, L"Int16"},
      {KgdaUInt32, 4, L"UInt32"},
      {KgdaInt32, 4, L"Int32"},
      {KgdaFloat32, 4, L"Float32"},
      {KgdaFloat64, 8, L"Float64"},
      {KgdaComplex64, 8, L"Complex64"},
      {KgdaComplex128, 16, L"Complex128"},
      {KgdaString, 8, L"String"},
      {kUnknown, 0, L""},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(kgda_NumBytePerPixelFromType(row.type), row.size);
    EXPECT_STREQ(kgda_PixelTypeName(row.type), row.name);
  }
}

TEST(PixelType, CommonTypeHoldsAll) {
  const struct {
    std::vector<Kgda_PixelType> types;
    Kgda_PixelType common;
  } rows[] = {
      {{}, KgdaFloat64},
      {{KgdaBit}, KgdaBit},
      {{KgdaBit, KgdaNibble}, KgdaNibble},
      {{KgdaInt8, KgdaNibble}, KgdaInt8},
      {{KgdaUInt8, KgdaInt8}, KgdaInt16},
      {{KgdaUInt8, KgdaInt16}, KgdaInt16},
      {{KgdaUInt16, KgdaInt8}, KgdaInt32},
      {{KgdaUInt16, KgdaUInt32}, KgdaUInt32},
      {{KgdaUInt32, KgdaInt8}, KgdaFloat64},
      {{KgdaInt32, KgdaUInt16}, KgdaInt32},
      {{KgdaFloat32, KgdaInt16, KgdaUInt16}, KgdaFloat32},
      {{KgdaFloat32, KgdaInt32}, KgdaFloat64},
      {{KgdaUInt32, KgdaFloat32}, KgdaFloat64},
      {{KgdaFloat32, KgdaFloat64}, KgdaFloat64},
      {{KgdaComplex64, KgdaFloat32, KgdaUInt8}, KgdaComplex64},
      {{KgdaComplex64, KgdaInt32}, KgdaComplex128},
      {{KgdaFloat64, KgdaComplex64}, KgdaComplex128},
      {{KgdaString, KgdaString}, KgdaString},
      {{KgdaUInt8, KgdaString}, KgdaString},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(kgda_GetHomogenousPixelType(row.types), row.common) << testing::PrintToString(row.types);
    std::vector<Kgda_PixelType> reversed(row.types.rbegin(), row.types.rend());
    EXPECT_EQ(kgda_GetHomogenousPixelType(reversed), row.common) << testing::PrintToString(row.types);
  }
}

/// Type, number given, number kept.
struct StoreRow {
  Kgda_PixelType type;
  double given;
  double kept;
};
const StoreRow kStoreRows[] = {
    {KgdaBit, 1, 1},
    {KgdaBit, 2, 1},
    {KgdaTwoBit, 9, 3},
    {KgdaNibble, 15.5, 15},
    {KgdaNibble, -1, 0},
    {KgdaUInt8, 0.5, 0},
    {KgdaUInt8, 1.5, 2},
    {KgdaUInt8, 2.5, 2},
    {KgdaUInt8, 254.5, 254},
    {KgdaUInt8, 256, 255},
    {KgdaUInt8, -0.5, 0},
    {KgdaUInt8, kNaN, 0},
    {KgdaUInt8, kInfinity, 255},
    {KgdaUInt8, -kInfinity, 0},
    {KgdaInt8, kNaN, 0},
    {KgdaInt8, -1.5, -2},
    {KgdaInt8, -2.5, -2},
    {KgdaInt8, -129, -128},
    {KgdaUInt16, 65535.4, 65535},
    {KgdaInt16, 32768, 32767},
    {KgdaInt16, -32768.5, -32768},
    {KgdaUInt32, 4294967295.0, 4294967295.0},
    {KgdaUInt32, 4294967296.0, 4294967295.0},
    {KgdaUInt32, 2147483648.0, 2147483648.0},
    {KgdaUInt32, -1, 0},
    {KgdaInt32, 2147483648.0, 2147483647.0},
    {KgdaInt32, -2147483648.0, -2147483648.0},
    {KgdaInt32, -2147483649.0, -2147483648.0},
    {KgdaInt32, 2147483646.5, 2147483646.0},
    {KgdaInt32, kNaN, 0},
    {KgdaInt32, 1e300, 2147483647.0},
    {KgdaFloat32, 0.5, 0.5},
    {KgdaFloat32, 1e300, kFloatMax},
    {KgdaFloat32, -1e300, -kFloatMax},
    {KgdaFloat32, kInfinity, kInfinity},
    {KgdaFloat32, kNaN, kNaN},
    {KgdaFloat64, 1e300, 1e300},
    {KgdaFloat64, -0.0, -0.0},
    {KgdaFloat64, kNaN, kNaN},
};

void ExpectSame(double got, double expected, const StoreRow& row) {
  const auto name = testing::PrintToString(row.type) + " of " + testing::PrintToString(row.given);
  if (std::isnan(expected)) {
    EXPECT_TRUE(std::isnan(got)) << name;
  } else {
    EXPECT_EQ(got, expected) << name;
    EXPECT_EQ(std::signbit(got), std::signbit(expected)) << name;
  }
}

TEST(Element, IsRoundedAndClampedWhenItIsStored) {
  for (const StoreRow& row : kStoreRows) {
    KgdaBaseDataStack stack;
    Kgda_BaseDataLayer& layer = stack.AddLayer(2, 3, row.type);
    kgda_SetElementFromDouble(layer, 1, 2, row.given);
    ExpectSame(kgda_ElementAsDouble(layer, 1, 2), row.kept, row);
    EXPECT_EQ(kgda_ElementAsDouble(layer, 0, 2), 0);
    EXPECT_EQ(kgda_ElementAsDouble(layer, 1, 1), 0);
  }
}

/// Many are converted at once, those that are left over one by one.
TEST(Element, IsRoundedAndClampedWhereverItStands) {
  constexpr std::int32_t kCount = 37;
  for (const StoreRow& row : kStoreRows) {
    KgdaBaseDataStack stack;
    Kgda_BaseDataLayer& layer = stack.AddLayer(1, kCount, KgdaFloat64);
    std::fill_n(static_cast<double*>(layer.data), kCount, row.given);
    const KgdaBaseDataStack converted = kgda_ConvertStack(stack, row.type);
    for (std::int32_t column = 0; column < kCount; ++column)
      ExpectSame(kgda_ElementAsDouble(converted.GetLayer(0), 0, column), row.kept, row);
  }
}

TEST(Element, IsRoundedAndClampedWhenAStackIsConverted) {
  for (const StoreRow& row : kStoreRows) {
    KgdaBaseDataStack stack;
    Kgda_BaseDataLayer& layer = stack.AddLayer(3, 5, KgdaFloat64);
    kgda_SetElementFromDouble(layer, 2, 4, row.given);
    const KgdaBaseDataStack converted = kgda_ConvertStack(stack, row.type);
    EXPECT_EQ(converted.GetLayer(0).pixelType, row.type);
    ExpectSame(kgda_ElementAsDouble(converted.GetLayer(0), 2, 4), row.kept, row);
    EXPECT_EQ(kgda_ElementAsDouble(converted.GetLayer(0), 2, 3), 0);
  }
}

TEST(Element, ComplexAndStringElementsAreNoNumbers) {
  KgdaBaseDataStack stack;
  stack.AddLayer(1, 1, KgdaComplex128);
  stack.AddLayer(1, 1, KgdaString);
  kgda_SetElementFromDouble(stack.GetLayer(0), 0, 0, 2.5);
  kgda_SetElementFromDouble(stack.GetLayer(1), 0, 0, 2.5);
  EXPECT_TRUE(std::isnan(kgda_ElementAsDouble(stack.GetLayer(0), 0, 0)));
  EXPECT_TRUE(std::isnan(kgda_ElementAsDouble(stack.GetLayer(1), 0, 0)));
  EXPECT_EQ(*static_cast<const std::complex<double>*>(kgda_ElementPointer(stack.GetLayer(0), 0, 0)),
            std::complex<double>(2.5, 0));
  EXPECT_EQ(kgda_ElementAsString(stack.GetLayer(1), 0, 0), nullptr);
  EXPECT_EQ(kgda_ElementAsString(stack.GetLayer(0), 0, 0), nullptr);
}

TEST(Element, StringsAreCopiedAndReplaced) {
  KgdaBaseDataStack stack;
  Kgda_BaseDataLayer& layer = stack.AddLayer(2, 1, KgdaString);
  kgda_SetElementString(layer, 1, 0, "text");
  kgda_SetElementString(layer, 1, 0, kgda_ElementAsString(layer, 1, 0));
  EXPECT_STREQ(kgda_ElementAsString(layer, 1, 0), "text");
  kgda_SetElementString(layer, 1, 0, "");
  EXPECT_STREQ(kgda_ElementAsString(layer, 1, 0), "");
  kgda_SetElementString(layer, 1, 0, nullptr);
  EXPECT_EQ(kgda_ElementAsString(layer, 1, 0), nullptr);
  EXPECT_EQ(kgda_ElementAsString(layer, 0, 0), nullptr);
}

TEST(Stack, LayersAreLaidOutRowByRow) {
  KgdaBaseDataStack stack(KgdaBaseDataStack::KindMatrix);
  for (std::uint32_t code = 0; code < kKgdaPixelTypeCount; ++code) {
    const auto type = static_cast<Kgda_PixelType>(code);
    const Kgda_BaseDataLayer& layer = stack.AddLayer(3, 7, type);
    EXPECT_EQ(layer.elementSize, kgda_NumBytePerPixelFromType(type));
    EXPECT_EQ(layer.rowStride, 7 * layer.elementSize);
    const auto* bytes = static_cast<const char*>(layer.data);
    EXPECT_EQ(kgda_ElementPointer(layer, 2, 3), bytes + 17 * layer.elementSize);
    EXPECT_EQ(std::string(bytes, 21 * layer.elementSize), std::string(21 * layer.elementSize, '\0'));
  }
  EXPECT_EQ(stack.GetLayerCount(), 14u);
  EXPECT_EQ(stack.SizeInBytes(), 21u * (5 * 1 + 2 * 2 + 3 * 4 + 3 * 8 + 16));
  EXPECT_EQ(stack.GetKind(), KgdaBaseDataStack::KindMatrix);
}

TEST(Stack, RefusesWhatCannotBe) {
  KgdaBaseDataStack stack;
  EXPECT_THROW(stack.AddLayer(-1, 1, KgdaUInt8), std::invalid_argument);
  EXPECT_THROW(stack.AddLayer(1, -1, KgdaUInt8), std::invalid_argument);
  EXPECT_THROW(stack.AddLayer(1, 1, kUnknown), std::invalid_argument);
  EXPECT_THROW(stack.AddLayer(2147483647, 2147483647, KgdaComplex128), std::bad_alloc);
  EXPECT_EQ(stack.GetLayerCount(), 0u);
  for (const auto& [rows, columns] : std::vector<std::pair<int, int>>{{0, 0}, {0, 5}, {5, 0}}) {
    const Kgda_BaseDataLayer& layer = stack.AddLayer(rows, columns, KgdaString);
    EXPECT_EQ(layer.rows, rows);
    EXPECT_EQ(layer.columns, columns);
  }
  const KgdaBaseDataStack copy = kgda_ConvertStack(stack, KgdaFloat64);
  EXPECT_EQ(copy.GetLayerCount(), 3u);
  EXPECT_EQ(copy.SizeInBytes(), 0u);
}

TEST(Stack, CopiesAreDeep) {
  KgdaBaseDataStack stack(KgdaBaseDataStack::KindTable);
  const auto bins = boost::make_shared<Kdsc_BinFunction>();
  stack.SetBinFunction(bins);
  stack.AddLayer(2, 1, KgdaString);
  stack.AddLayer(2, 2, KgdaInt16);
  kgda_SetElementString(stack.GetLayer(0), 0, 0, "one");
  kgda_SetElementFromDouble(stack.GetLayer(1), 1, 1, -7);

  KgdaBaseDataStack copy = stack;
  kgda_SetElementString(stack.GetLayer(0), 0, 0, "changed");
  kgda_SetElementFromDouble(stack.GetLayer(1), 1, 1, 8);
  EXPECT_STREQ(kgda_ElementAsString(copy.GetLayer(0), 0, 0), "one");
  EXPECT_EQ(kgda_ElementAsString(copy.GetLayer(0), 1, 0), nullptr);
  EXPECT_EQ(kgda_ElementAsDouble(copy.GetLayer(1), 1, 1), -7);
  EXPECT_EQ(copy.GetKind(), KgdaBaseDataStack::KindTable);
  EXPECT_EQ(copy.GetBinFunction(), bins);

  const KgdaBaseDataStack moved = std::move(copy);
  EXPECT_STREQ(kgda_ElementAsString(moved.GetLayer(0), 0, 0), "one");
  EXPECT_EQ(copy.GetLayerCount(), 0u);
  KgdaBaseDataStack assigned;
  assigned.AddLayer(1, 1, KgdaString);
  assigned = moved;
  EXPECT_STREQ(kgda_ElementAsString(assigned.GetLayer(0), 0, 0), "one");
  EXPECT_EQ(assigned.GetKind(), KgdaBaseDataStack::KindTable);
}

TEST(Stack, BigLayersAreZeroAndCopied) {
  KgdaBaseDataStack stack;
  Kgda_BaseDataLayer& layer = stack.AddLayer(1200, 1000, KgdaFloat64);
  const auto* numbers = static_cast<const double*>(layer.data);
  EXPECT_TRUE(std::all_of(numbers, numbers + 1'200'000, [](double number) { return number == 0; }));
  kgda_SetElementFromDouble(layer, 1199, 999, 2.5);
  const KgdaBaseDataStack copy = stack;
  EXPECT_EQ(kgda_ElementAsDouble(copy.GetLayer(0), 1199, 999), 2.5);
  EXPECT_EQ(kgda_ElementAsDouble(kgda_ConvertStack(copy, KgdaUInt8).GetLayer(0), 1199, 999), 2);
  EXPECT_EQ(stack.SizeInBytes(), 9'600'000u);
}

TEST(Stack, ColourIsThreeOrFourFloatLayersOfOneSize) {
  using Types = std::vector<Kgda_PixelType>;
  const struct {
    Types types;
    bool color;
  } rows[] = {
      {{}, false},
      {Types(1, KgdaFloat64), false},
      {Types(3, KgdaFloat64), true},
      {Types(4, KgdaFloat64), true},
      {Types(5, KgdaFloat64), false},
      {Types(3, KgdaFloat32), false},
      {{KgdaFloat64, KgdaFloat64, KgdaUInt8}, false},
  };
  for (const auto& row : rows) {
    KgdaBaseDataStack stack;
    for (const auto type : row.types) stack.AddLayer(1, 1, type);
    EXPECT_EQ(stack.IsColor(), row.color) << testing::PrintToString(row.types);
  }
  KgdaBaseDataStack uneven;
  uneven.AddLayer(1, 1, KgdaFloat64);
  uneven.AddLayer(1, 1, KgdaFloat64);
  uneven.AddLayer(2, 1, KgdaFloat64);
  EXPECT_FALSE(uneven.IsColor());
}

TEST(ConvertStack, EveryPairOfNumberTypesKeepsSmallNumbers) {
  for (std::uint32_t from = KgdaBit; from <= KgdaFloat64; ++from) {
    for (std::uint32_t to = KgdaBit; to <= KgdaFloat64; ++to) {
      KgdaBaseDataStack stack(KgdaBaseDataStack::KindMatrix);
      Kgda_BaseDataLayer& layer = stack.AddLayer(2, 2, static_cast<Kgda_PixelType>(from));
      kgda_SetElementFromDouble(layer, 0, 1, 1);
      kgda_SetElementFromDouble(layer, 1, 0, 1);
      const auto converted = kgda_ConvertStack(stack, static_cast<Kgda_PixelType>(to));
      const Kgda_BaseDataLayer& result = converted.GetLayer(0);
      EXPECT_EQ(result.pixelType, to);
      EXPECT_EQ(kgda_ElementAsDouble(result, 0, 0), 0);
      EXPECT_EQ(kgda_ElementAsDouble(result, 0, 1), 1);
      EXPECT_EQ(kgda_ElementAsDouble(result, 1, 0), 1);
      EXPECT_EQ(kgda_ElementAsDouble(result, 1, 1), 0);
      EXPECT_EQ(converted.GetKind(), KgdaBaseDataStack::KindMatrix);
    }
  }
}

TEST(ConvertStack, LayersOfMixedTypesAndRowsWithGapsBecomeOneType) {
  KgdaBaseDataStack stack;
  const auto bins = boost::make_shared<Kdsc_BinFunction>();
  stack.SetBinFunction(bins);
  stack.AddLayer(2, 2, KgdaInt16);
  stack.AddLayer(1, 1, KgdaFloat64);
  stack.AddLayer(1, 1, KgdaString);
  kgda_SetElementString(stack.GetLayer(2), 0, 0, "-3.5");
  kgda_SetElementFromDouble(stack.GetLayer(1), 0, 0, 0.25);
  Kgda_BaseDataLayer& gapped = stack.GetLayer(0);
  gapped.columns = 1;  // the second column is now the gap
  kgda_SetElementFromDouble(gapped, 1, 0, 6);
  const KgdaBaseDataStack converted = kgda_ConvertStack(stack, KgdaFloat64);
  EXPECT_EQ(kgda_ElementAsDouble(converted.GetLayer(0), 1, 0), 6);
  EXPECT_EQ(converted.GetLayer(0).rowStride, 8u);
  EXPECT_EQ(kgda_ElementAsDouble(converted.GetLayer(1), 0, 0), 0.25);
  EXPECT_EQ(kgda_ElementAsDouble(converted.GetLayer(2), 0, 0), -3.5);
  EXPECT_EQ(converted.GetBinFunction(), bins);
  const KgdaBaseDataStack copy = stack;
  EXPECT_EQ(kgda_ElementAsDouble(copy.GetLayer(0), 1, 0), 6);
}

TEST(ConvertStack, NumbersAndTexts) {
  const struct {
    const char* text;
    double number;
    double whole;
  } rows[] = {
      {"12", 12, 12},     {" -2.5 ", -2.5, -2}, {"+1e2", 100, 100}, {"0.1", 0.1, 0},  {"", kNaN, 0},
      {nullptr, kNaN, 0}, {"12x", kNaN, 0},     {"1,5", kNaN, 0},   {"+-1", kNaN, 0}, {"3000000000", 3e9, 2147483647},
  };
  for (const auto& row : rows) {
    KgdaBaseDataStack stack;
    kgda_SetElementString(stack.AddLayer(1, 1, KgdaString), 0, 0, row.text);
    const double number = kgda_ElementAsDouble(kgda_ConvertStack(stack, KgdaFloat64).GetLayer(0), 0, 0);
    if (std::isnan(row.number)) {
      EXPECT_TRUE(std::isnan(number)) << row.text;
    } else {
      EXPECT_EQ(number, row.number) << row.text;
    }
    EXPECT_EQ(kgda_ElementAsDouble(kgda_ConvertStack(stack, KgdaInt32).GetLayer(0), 0, 0), row.whole);
  }
  const struct {
    Kgda_PixelType type;
    double number;
    const char* text;
  } texts[] = {{KgdaUInt8, 255, "255"},
               {KgdaInt8, -3, "-3"},
               {KgdaUInt32, 4294967295.0, "4294967295"},
               {KgdaFloat32, 0.1, "0.1"},
               {KgdaFloat64, 0.1, "0.1"},
               {KgdaFloat64, kNaN, "NaN"},
               {KgdaFloat32, kInfinity, "Infinity"},
               {KgdaComplex64, 0.1, "(0.1,0)"},
               {KgdaComplex128, -2, "(-2,0)"}};
  for (const auto& row : texts) {
    KgdaBaseDataStack stack;
    kgda_SetElementFromDouble(stack.AddLayer(1, 1, row.type), 0, 0, row.number);
    EXPECT_STREQ(kgda_ElementAsString(kgda_ConvertStack(stack, KgdaString).GetLayer(0), 0, 0), row.text);
  }
}

TEST(ConvertStack, ComplexNumbersKeepTheirPartsAndGiveTheRealOne) {
  KgdaBaseDataStack stack;
  *static_cast<std::complex<double>*>(stack.AddLayer(1, 1, KgdaComplex128).data) = {1.5, -1e300};
  const auto single = kgda_ConvertStack(stack, KgdaComplex64);
  EXPECT_EQ(*static_cast<const std::complex<float>*>(single.GetLayer(0).data),
            std::complex<float>(1.5f, -static_cast<float>(kFloatMax)));
  EXPECT_EQ(*static_cast<const std::complex<double>*>(kgda_ConvertStack(single, KgdaComplex128).GetLayer(0).data),
            std::complex<double>(1.5, -kFloatMax));
  EXPECT_EQ(kgda_ElementAsDouble(kgda_ConvertStack(stack, KgdaFloat64).GetLayer(0), 0, 0), 1.5);
  EXPECT_EQ(kgda_ElementAsDouble(kgda_ConvertStack(stack, KgdaInt8).GetLayer(0), 0, 0), 2);
}

}  // namespace
