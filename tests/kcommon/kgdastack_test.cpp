#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

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

}  // namespace
