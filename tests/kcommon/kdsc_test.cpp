#include "kcommon/kdsc.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <utility>
#include <vector>

#include "kcommon/kerr.h"

namespace {

using Kind = Kdsc_BinFunction::Kind;
using Bounds = std::pair<double, double>;

constexpr double kInfinity = std::numeric_limits<double>::infinity();

const Kdsc_BinFunction kDirect{Kind::Direct, 3, -1.5, 0, {}};
const Kdsc_BinFunction kLinear{Kind::Linear, 4, 0, 10, {}};
const Kdsc_BinFunction kLogarithmic{Kind::Logarithmic, 3, 1, 1000, {}};
const Kdsc_BinFunction kExplicit{Kind::Explicit, 3, 0, 0, {-1, 0, 0.5, 100}};

Bounds BoundsOf(const Kdsc_BinFunction& function, std::int32_t bin) {
  KerrException error(L"test", L"BoundsOf");
  Bounds bounds;
  kdsc_BinFunctionApplyInverse(&function, bin, bounds.first, bounds.second, error);
  EXPECT_FALSE(error.IsPending());
  return bounds;
}

std::int32_t BinOf(const Kdsc_BinFunction& function, double value) {
  KerrException error(L"test", L"BinOf");
  std::int32_t bin = -2;
  kdsc_BinFunctionApply(&function, value, bin, error);
  EXPECT_FALSE(error.IsPending());
  return bin;
}

TEST(BinFunction, BoundsOfBins) {
  EXPECT_EQ(BoundsOf(kDirect, 0), Bounds(-1.5, -1.5));
  EXPECT_EQ(BoundsOf(kDirect, 2), Bounds(0.5, 0.5));
  EXPECT_EQ(BoundsOf(kLinear, 0), Bounds(0, 2.5));
  EXPECT_EQ(BoundsOf(kLinear, 3), Bounds(7.5, 10));
  EXPECT_EQ(BoundsOf(kExplicit, 1), Bounds(0, 0.5));
  const Bounds middle = BoundsOf(kLogarithmic, 1);
  EXPECT_NEAR(middle.first, 10, 1e-12);
  EXPECT_NEAR(middle.second, 100, 1e-12);
  EXPECT_EQ(BoundsOf(kLogarithmic, 2).second, 1000);
}

TEST(BinFunction, BinsOfValues) {
  const struct {
    const Kdsc_BinFunction& function;
    double value;
    std::int32_t bin;
  } rows[] = {
      {kDirect, -1.5, 0},          {kDirect, -0.5, 1},          {kDirect, 0.6, 2},
      {kDirect, 1.5, -1},          {kDirect, -1.6, -1},         {kLinear, 0, 0},
      {kLinear, 2.4, 0},           {kLinear, 2.5, 1},           {kLinear, 10, 3},
      {kLinear, 10.01, -1},        {kLinear, -0.01, -1},        {kLogarithmic, 1, 0},
      {kLogarithmic, 9.9, 0},      {kLogarithmic, 11, 1},       {kLogarithmic, 999, 2},
      {kLogarithmic, 1000, 2},     {kLogarithmic, 0.9, -1},     {kExplicit, -1, 0},
      {kExplicit, 0, 1},           {kExplicit, 0.5, 2},         {kExplicit, 100, 2},
      {kExplicit, 100.1, -1},      {kLinear, std::nan(""), -1}, {kLinear, kInfinity, -1},
      {kDirect, std::nan(""), -1}, {kDirect, kInfinity, -1},
  };
  for (const auto& row : rows)
    EXPECT_EQ(BinOf(row.function, row.value), row.bin) << static_cast<int>(row.function.kind) << " " << row.value;
}

TEST(BinFunction, BothWaysAgreeToTheLastBit) {
  const Kdsc_BinFunction functions[] = {{Kind::Linear, 1000, 0.1, 0.7, {}},
                                        {Kind::Linear, 7, -1e308, 1e308, {}},
                                        {Kind::Logarithmic, 1000, 1e-3, 1e9, {}}};
  for (const Kdsc_BinFunction& function : functions) {
    for (std::int32_t bin = 0; bin < function.numBins; ++bin) {
      const auto [lower, upper] = BoundsOf(function, bin);
      ASSERT_LT(lower, upper);
      ASSERT_EQ(BinOf(function, lower), bin);
      ASSERT_EQ(BinOf(function, std::nextafter(upper, lower)), bin);
      ASSERT_EQ(BinOf(function, upper), std::min(bin + 1, function.numBins - 1));
    }
  }
}

TEST(BinFunction, FaultsAreRecorded) {
  double lower = 7, upper = 8;
  std::int32_t bin = 9;
  KerrException error(L"test", L"FaultsAreRecorded");
  kdsc_BinFunctionApplyInverse(nullptr, 0, lower, upper, error);
  EXPECT_EQ(error.get_What(), L"There is no bin function that tells which values a bin holds.");
  error.Clear();
  kdsc_BinFunctionApply(nullptr, 0, bin, error);
  EXPECT_TRUE(error.IsPending());
  for (const std::int32_t outside : {-1, 4}) {
    error.Clear();
    kdsc_BinFunctionApplyInverse(&kLinear, outside, lower, upper, error);
    EXPECT_EQ(error.get_What(),
              L"Found bin " + std::to_wstring(outside) + L" of a bin function that has 4 bins, counted from 0.");
  }
  error.Clear();
  const Kdsc_BinFunction tooFew{Kind::Explicit, 3, 0, 0, {1, 2}};
  kdsc_BinFunctionApplyInverse(&tooFew, 2, lower, upper, error);
  EXPECT_EQ(error.get_What(), L"Found 2 limits of 3 bins, expected one more than bins.");
  EXPECT_EQ(lower, 7);
  EXPECT_EQ(upper, 8);
  EXPECT_EQ(bin, 9);
}

}  // namespace
