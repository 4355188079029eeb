#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <string>

#include "kcommon/kerr.h"
#include "kcommon/kgda.h"
#include "kcommon/kpxm.h"
#include "kcommon/kstr.h"

namespace {

KgdaBaseDataStack One(Kgda_PixelType type, double value) {
  KgdaBaseDataStack stack;
  kgda_SetElementFromDouble(stack.AddLayer(1, 1, type), 0, 0, value);
  return stack;
}

KgdaBaseDataStack Series(Kgda_PixelType type, int rows, int columns, double first, double second, double third) {
  KerrException error(L"test", L"Series");
  KgdaBaseDataStack output =
      kgda_BaseDataStackCreate(1, static_cast<std::uint64_t>(rows), static_cast<std::uint64_t>(columns), type,
                               KgdaBaseDataStack::KindMatrix, error);
  kgda_BaseDataStackFunction(kmsc_AddressOf_kgda_GpfIncFill(), output,
                             {One(type, first), One(type, second), One(type, third)}, error);
  EXPECT_FALSE(error.IsPending());
  return output;
}

TEST(IncrementFill, StepsAlongTheRowAndDownTheColumn) {
  for (const Kgda_PixelType type : {KgdaUInt8, KgdaInt16, KgdaUInt32, KgdaFloat32, KgdaFloat64}) {
    const KgdaBaseDataStack series = Series(type, 3, 4, 5, 2, 10);
    for (std::int32_t row = 0; row < 3; ++row)
      for (std::int32_t column = 0; column < 4; ++column)
        EXPECT_EQ(kgda_ElementAsDouble(series.GetLayer(0), row, column), 5 + column * 2 + row * 10);
  }
}

TEST(IncrementFill, IntegersAreClampedWithoutWrappingOnTheWay) {
  const KgdaBaseDataStack bytes = Series(KgdaUInt8, 1, 4, 250, 3, 0);
  EXPECT_EQ(kgda_ElementAsDouble(bytes.GetLayer(0), 0, 1), 253);
  EXPECT_EQ(kgda_ElementAsDouble(bytes.GetLayer(0), 0, 3), 255);
  // The steps cancel out: 2^31 - 1 both ways.
  const KgdaBaseDataStack wide = Series(KgdaInt32, 1001, 1001, 7, 2147483647, -2147483647);
  EXPECT_EQ(kgda_ElementAsDouble(wide.GetLayer(0), 1000, 1000), 7);
  EXPECT_EQ(kgda_ElementAsDouble(wide.GetLayer(0), 0, 1000), 2147483647);
  EXPECT_EQ(kgda_ElementAsDouble(wide.GetLayer(0), 1000, 0), -2147483648.0);
}

TEST(IncrementFill, OperandsHaveToFit) {
  KerrException error(L"test", L"OperandsHaveToFit");
  KgdaBaseDataStack output = One(KgdaInt16, 9);
  kgda_BaseDataStackFunction(kmsc_AddressOf_kgda_GpfIncFill(), output,
                             {One(KgdaInt16, 1), One(KgdaInt32, 1), One(KgdaInt16, 1)}, error);
  EXPECT_TRUE(error.IsPending());
  error.Clear();
  KgdaBaseDataStack empty;
  empty.AddLayer(0, 1, KgdaInt16);
  kgda_BaseDataStackFunction(kmsc_AddressOf_kgda_GpfIncFill(), output, {One(KgdaInt16, 1), empty, empty}, error);
  EXPECT_TRUE(error.IsPending());
  EXPECT_EQ(kgda_ElementAsDouble(output.GetLayer(0), 0, 0), 9);
}

TEST(StackCreate, SizesThatCantBeAreRefused) {
  const auto refusal = [](std::uint64_t rows, std::uint64_t columns) {
    KerrException error(L"test", L"SizesThatCantBeAreRefused");
    const auto stack = kgda_BaseDataStackCreate(1, rows, columns, KgdaFloat64, KgdaBaseDataStack::KindMatrix, error);
    EXPECT_EQ(stack.GetLayerCount(), 0u);
    return error.get_What();
  };
  EXPECT_EQ(refusal(4294967295, 1), L"Found 4294967295 rows, expected at most 2147483647.");
  EXPECT_EQ(refusal(1, 2147483648), L"Found 2147483648 columns, expected at most 2147483647.");
  EXPECT_THAT(refusal(2147483647, 2147483647),
              ::testing::StartsWith(L"2147483647 rows of 2147483647 columns of Float64 need more memory"));
}

TEST(StackCreate, KindAndLayersAreAsAsked) {
  KerrException error(L"test", L"KindAndLayersAreAsAsked");
  const auto stack = kgda_BaseDataStackCreate(3, 4, 1, KgdaFloat64, KgdaBaseDataStack::KindTable, error);
  EXPECT_EQ(stack.GetKind(), KgdaBaseDataStack::KindTable);
  EXPECT_TRUE(stack.IsColor());
  EXPECT_EQ(stack.GetLayer(2).rows, 4);
}

TEST(ConvertPixels, RoundsClampsAndCopies) {
  KerrException error(L"test", L"RoundsClampsAndCopies");
  const double from[] = {0.5, 1.5, 300, -1, std::nan("")};
  std::uint8_t to[5] = {};
  kpxm_ConvertPixels(to, KgdaUInt8, from, KgdaFloat64, 5, error);
  EXPECT_THAT(to, ::testing::ElementsAre(0, 2, 255, 0, 0));
  double copy[5] = {};
  kpxm_ConvertPixels(copy, KgdaFloat64, from, KgdaFloat64, 4, error);
  EXPECT_THAT(copy, ::testing::ElementsAre(0.5, 1.5, 300, -1, 0));
  char* text = nullptr;
  const char* const source = "abc";
  kpxm_ConvertPixels(&text, KgdaString, &source, KgdaString, 1, error);
  EXPECT_STREQ(text, "abc");
  EXPECT_NE(text, source);
  kstr_Delete(text);
  EXPECT_FALSE(error.IsPending());
  kpxm_ConvertPixels(to, KgdaUInt8, nullptr, KgdaFloat64, 1, error);
  EXPECT_TRUE(error.IsPending());
}

TEST(CopyRows, OfEveryType) {
  for (std::uint32_t code = 0; code < kKgdaPixelTypeCount; ++code) {
    const auto type = static_cast<Kgda_PixelType>(code);
    KgdaBaseDataStack stack;
    stack.AddLayer(3, 2, type);
    stack.AddLayer(4, 2, type);
    auto& from = stack.GetLayer(0);
    auto& to = stack.GetLayer(1);
    const auto text = [](const Kgda_BaseDataLayer& layer, std::int32_t row, std::int32_t column) {
      if (layer.pixelType == KgdaString) return std::string(kgda_ElementAsString(layer, row, column));
      const auto* const bytes = static_cast<const char*>(kgda_ElementPointer(layer, row, column));
      return std::string(bytes, layer.elementSize);
    };
    for (std::int32_t row = 0; row < 4; ++row) {
      for (std::int32_t column = 0; column < 2; ++column) {
        for (auto* layer : {&from, &to}) {
          if (row >= layer->rows) continue;
          if (type == KgdaString)
            kgda_SetElementString(*layer, row, column, layer == &to ? "to" : std::to_string(row * 2 + column).c_str());
          else if (layer == &from)
            std::memset(kgda_ElementPointer(*layer, row, column), row * 2 + column + 1, layer->elementSize);
        }
      }
    }
    kgda_CopyRows(to, 2, from, 1, 2);
    for (std::int32_t row = 0; row < 2; ++row)
      for (std::int32_t column = 0; column < 2; ++column)
        EXPECT_EQ(text(to, row + 2, column), text(from, row + 1, column)) << code;
    const std::string before = text(to, 0, 0);
    kgda_CopyRows(to, 0, from, 2, 4, 0);
    for (std::int32_t row = 0; row < 4; ++row)
      for (std::int32_t column = 0; column < 2; ++column)
        EXPECT_EQ(text(to, row, column), text(from, 2, column)) << code;
    EXPECT_NE(text(to, 0, 0), before);
    kgda_CopyRows(to, 0, from, 0, 0);
    EXPECT_EQ(text(to, 0, 0), text(from, 2, 0));
  }
}

TEST(CopyRows, OneNumberForManyRows) {
  for (const Kgda_PixelType type : {KgdaUInt8, KgdaInt16, KgdaFloat32, KgdaFloat64, KgdaComplex128}) {
    KgdaBaseDataStack stack;
    stack.AddLayer(2, 1, type);
    kgda_SetElementFromDouble(stack.GetLayer(0), 1, 0, 7);
    stack.AddLayer(5, 1, type);
    kgda_CopyRows(stack.GetLayer(1), 1, stack.GetLayer(0), 1, 3, 0);
    const auto* const first = static_cast<const char*>(kgda_ElementPointer(stack.GetLayer(0), 1, 0));
    const std::string zeros(stack.GetLayer(1).elementSize, '\0');
    for (std::int32_t row = 0; row < 5; ++row) {
      const auto* const found = static_cast<const char*>(kgda_ElementPointer(stack.GetLayer(1), row, 0));
      EXPECT_EQ(std::string(found, zeros.size()), row >= 1 && row <= 3 ? std::string(first, zeros.size()) : zeros);
    }
  }
}

/// Of memory only the pages that are touched are there.
TEST(BigLayers, ElementsBeyondTwoToTheThirtyOne) {
  constexpr std::int32_t side = 50'000;
  KerrException error(L"test", L"ElementsBeyondTwoToTheThirtyOne");
  KgdaBaseDataStack stack = kgda_BaseDataStackCreate(1, side, side, KgdaUInt8, KgdaBaseDataStack::KindMatrix, error);
  ASSERT_FALSE(error.IsPending()) << ::testing::PrintToString(error.get_What());
  auto& layer = stack.GetLayer(0);
  EXPECT_EQ(stack.SizeInBytes(), 2'500'000'000u);
  auto* const bytes = static_cast<std::uint8_t*>(layer.data);
  kgda_SetElementFromDouble(layer, side - 1, side - 2, 77);
  EXPECT_EQ(bytes[2'499'999'998], 77);
  bytes[2'147'500'000] = 5;  // row 42950, column 0
  EXPECT_EQ(kgda_ElementAsDouble(layer, 42'950, 0), 5);

  KgdaBaseDataStack small;
  small.AddLayer(2, side, KgdaUInt8);
  kgda_CopyRows(small.GetLayer(0), 0, layer, side - 2, 2);
  EXPECT_EQ(kgda_ElementAsDouble(small.GetLayer(0), 1, side - 2), 77);
  kgda_SetElementFromDouble(small.GetLayer(0), 0, 3, 9);
  kgda_CopyRows(layer, side - 1, small.GetLayer(0), 0, 1);
  EXPECT_EQ(bytes[2'499'950'003], 9);
  EXPECT_EQ(bytes[2'499'999'998], 0);
  kgda_CopyRun(layer, side - 1, side - 4, small.GetLayer(0), 0, 0, 4, 1);
  EXPECT_EQ(bytes[2'499'999'999], 9);
  const unsigned picked[] = {side - 1, 0};
  std::uint8_t found[2] = {};
  kgda_PickElements(found, kgda_ElementPointer(layer, side - 1, 0), KgdaUInt8, picked, 2);
  EXPECT_EQ(found[0], 9);
}

}  // namespace
