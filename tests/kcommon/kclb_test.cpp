#include "kcommon/kclb.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "kcommon/kerr.h"

namespace {

using Way = Kclb_HueDirection;
using Rows = std::vector<std::vector<double>>;

constexpr Kclb_Color kRed{1, 0, 0}, kGreen{0, 1, 0}, kBlue{0, 0, 1}, kCyan{0, 1, 1};
constexpr Kclb_Color kBlack{0, 0, 0}, kWhite{1, 1, 1}, kGrey{0.5, 0.5, 0.5};

Rows RowsOf(const KgdaBaseDataStack& stack) {
  EXPECT_EQ(stack.GetKind(), KgdaBaseDataStack::KindTable);
  EXPECT_TRUE(stack.IsColor());
  Rows rows;
  for (std::int32_t row = 0; row < stack.GetLayer(0).rows; ++row) {
    auto& color = rows.emplace_back();
    for (std::size_t i = 0; i < 3; ++i) color.push_back(kgda_ElementAsDouble(stack.GetLayer(i), row, 0));
  }
  return rows;
}

void ExpectNear(const Rows& found, const Rows& expected) {
  ASSERT_EQ(found.size(), expected.size());
  for (std::size_t row = 0; row < found.size(); ++row)
    for (std::size_t i = 0; i < 3; ++i) EXPECT_NEAR(found[row][i], expected[row][i], 1e-12) << row << " " << i;
}

Rows Sliced(std::uint32_t levels, const Kclb_Color& start, const Kclb_Color& end, Way way) {
  KerrException error(L"test", L"Sliced");
  return RowsOf(kclb_LevelSlice(levels, levels, start, end, way, error));
}

TEST(LevelSlice, ChannelsGoStraight) {
  KerrException error(L"test", L"ChannelsGoStraight");
  EXPECT_EQ(RowsOf(kclb_RGBLevelSlice(5, 5, {0, 1, 0.5, 0.25}, {1, 0, 0.5}, error)),
            (Rows{{0, 1, 0.5}, {0.25, 0.75, 0.5}, {0.5, 0.5, 0.5}, {0.75, 0.25, 0.5}, {1, 0, 0.5}}));
  EXPECT_EQ(RowsOf(kclb_RGBLevelSlice(1, 1, kRed, kBlue, error)), (Rows{{1, 0, 0}}));
  EXPECT_EQ(RowsOf(kclb_RGBLevelSlice(3, 3, {0, 51, 255}, {255, 0, 255}, error)),
            (Rows{{0, 51, 255}, {127.5, 25.5, 255}, {255, 0, 255}}));
  EXPECT_EQ(RowsOf(kclb_RGBLevelSlice(4, 2, kRed, kBlue, error)), (Rows{{1, 0, 0}, {1, 0, 0}, {0, 0, 1}, {0, 0, 1}}));
  EXPECT_FALSE(error.IsPending());
}

TEST(LevelSlice, HuesGoTheNamedWay) {
  const Rows overGreen = {{1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {0, 1, 1}, {0, 0, 1}};
  EXPECT_EQ(Sliced(5, kRed, kBlue, Way::Longest), overGreen);
  EXPECT_EQ(Sliced(5, kRed, kBlue, Way::CounterClockwise), overGreen);
  const Rows overMagenta = {{1, 0, 0}, {1, 0, 1}, {0, 0, 1}};
  EXPECT_EQ(Sliced(3, kRed, kBlue, Way::Shortest), overMagenta);
  EXPECT_EQ(Sliced(3, kRed, kBlue, Way::Clockwise), overMagenta);
  // The other way round each is the other.
  const Rows back = {{0, 0, 1}, {1, 0, 1}, {1, 0, 0}};
  EXPECT_EQ(Sliced(3, kBlue, kRed, Way::Shortest), back);
  EXPECT_EQ(Sliced(3, kBlue, kRed, Way::CounterClockwise), back);
  EXPECT_EQ(Sliced(3, kBlue, kRed, Way::Clockwise), (Rows{{0, 0, 1}, {0, 1, 0}, {1, 0, 0}}));
}

TEST(LevelSlice, HuesHalfATurnApart) {
  ExpectNear(Sliced(3, kRed, kCyan, Way::Shortest), {{1, 0, 0}, {0.5, 1, 0}, {0, 1, 1}});
  ExpectNear(Sliced(3, kRed, kCyan, Way::Longest), {{1, 0, 0}, {0.5, 0, 1}, {0, 1, 1}});
}

TEST(LevelSlice, TheSameHueTurnsOnTheLongestWayAlone) {
  const Kclb_Color orange{0.9, 0.3, 0.1}, darkOrange{0.45, 0.15, 0.05};
  for (const Way way : {Way::Shortest, Way::CounterClockwise, Way::Clockwise}) {
    const auto middle = Sliced(3, orange, darkOrange, way)[1];
    EXPECT_NEAR((middle[1] - middle[2]) / (middle[0] - middle[2]), 0.25, 1e-9) << static_cast<int>(way);
  }
  EXPECT_EQ(Sliced(4, kRed, kRed, Way::Longest), (Rows{{1, 0, 0}, {0, 0, 1}, {0, 1, 0}, {1, 0, 0}}));
}

TEST(LevelSlice, GreysTakeTheOtherHue) {
  for (const Way way : {Way::Shortest, Way::Longest, Way::CounterClockwise, Way::Clockwise}) {
    ExpectNear(Sliced(3, kBlack, kGreen, way), {{0, 0, 0}, {0, 0.5, 0}, {0, 1, 0}});
    ExpectNear(Sliced(3, kGreen, kWhite, way), {{0, 1, 0}, {0.5, 1, 0.5}, {1, 1, 1}});
    ExpectNear(Sliced(3, kGrey, kBlue, way), {{0.5, 0.5, 0.5}, {0.25, 0.25, 0.75}, {0, 0, 1}});
    ExpectNear(Sliced(3, kBlack, kWhite, way), {{0, 0, 0}, {0.5, 0.5, 0.5}, {1, 1, 1}});
  }
}

TEST(LevelSlice, IntensityAndSaturationGoStraight) {
  // Lowest and highest of the ends: 0.4 and 0.8; 0 and 0.4. The saturations 0.5 and 1, so that the middle has 0.75.
  ExpectNear(Sliced(3, {0.8, 0.4, 0.4}, {0.4, 0, 0}, Way::Shortest), {{0.8, 0.4, 0.4}, {0.7, 0.1, 0.1}, {0.4, 0, 0}});
}

TEST(LevelSlice, EndsAreTheGivenOnesAndAllLiesWithinThem) {
  const Kclb_Color ends[] = {{0.1, 0.7, 0.3}, {0.93, 0.02, 0.5}, {10, 200, 255}, kBlack, kWhite};
  for (const Kclb_Color& start : ends) {
    for (const Kclb_Color& end : ends) {
      for (const Way way : {Way::Shortest, Way::Longest, Way::CounterClockwise, Way::Clockwise}) {
        const Rows rows = Sliced(101, start, end, way);
        EXPECT_EQ(rows.front(), (std::vector<double>{start.red, start.green, start.blue}));
        EXPECT_EQ(rows.back(), (std::vector<double>{end.red, end.green, end.blue}));
        const double highest = std::max({1.0, start.red, start.green, start.blue, end.red, end.green, end.blue});
        for (const auto& row : rows)
          for (const double channel : row) EXPECT_TRUE(channel >= -1e-12 && channel <= highest + 1e-9) << channel;
      }
    }
  }
}

TEST(LevelSlice, FaultsAreRecorded) {
  KerrException error(L"test", L"FaultsAreRecorded");
  EXPECT_EQ(kclb_RGBLevelSlice(0, 0, kRed, kBlue, error).GetLayerCount(), 0u);
  EXPECT_EQ(error.get_What(), L"Found 0 levels of a color ramp, expected at least one.");
  error.Clear();
  EXPECT_EQ(kclb_LevelSlice(4294967295u, 4294967295u, kRed, kBlue, Way::Shortest, error).GetLayerCount(), 0u);
  EXPECT_EQ(error.get_What(), L"Found 4294967295 rows, expected at most 2147483647.");
}

KgdaBaseDataStack Histogram(const std::vector<double>& counts, Kgda_PixelType type = KgdaFloat64) {
  KgdaBaseDataStack stack(KgdaBaseDataStack::KindTable);
  auto& layer = stack.AddLayer(static_cast<std::int32_t>(counts.size()), 1, type);
  for (std::size_t i = 0; i < counts.size(); ++i)
    kgda_SetElementFromDouble(layer, static_cast<std::int32_t>(i), 0, counts[i]);
  return stack;
}

/// Which level each row has, told by the red of a ramp from 0 on.
std::vector<double> LevelsOf(const KgdaBaseDataStack& histogram, std::uint32_t levels) {
  KerrException error(L"test", L"LevelsOf");
  const Rows rows = RowsOf(kclb_EqualCountLevelSlice(histogram, levels, kBlack, {levels - 1.0, 0, 0},
                                                     Kclb_SliceType::Rgb, Way::Shortest, error));
  std::vector<double> found;
  for (const auto& row : rows) found.push_back(row[0]);
  return found;
}

TEST(EqualCountLevelSlice, LevelsHoldTheSameCounts) {
  using Levels = std::vector<double>;
  EXPECT_EQ(LevelsOf(Histogram({1, 1, 1, 1}), 2), (Levels{0, 0, 1, 1}));
  EXPECT_EQ(LevelsOf(Histogram({6, 1, 1, 1, 1, 1, 1}, KgdaInt16), 2), (Levels{0, 1, 1, 1, 1, 1, 1}));
  EXPECT_EQ(LevelsOf(Histogram({1, 1, 1, 1, 1, 1, 6}, KgdaUInt32), 2), (Levels{0, 0, 0, 0, 0, 0, 1}));
  EXPECT_EQ(LevelsOf(Histogram({2, 2, 4, 4, 6, 4, 2}), 3), (Levels{0, 0, 0, 1, 1, 2, 2}));
  EXPECT_EQ(LevelsOf(Histogram({0, 0, 5, 5, 0, 0}), 2), (Levels{0, 0, 0, 1, 1, 1}));
  EXPECT_EQ(LevelsOf(Histogram({9, 9}), 1), (Levels{0, 0}));
  EXPECT_EQ(LevelsOf(Histogram({1, -9, std::nan(""), 1}), 2), (Levels{0, 1, 1, 1}));
  EXPECT_EQ(LevelsOf(Histogram({0, 0, 0, 0}), 2), (Levels{0, 0, 1, 1}));
  EXPECT_EQ(LevelsOf(Histogram({}), 2), Levels{});
}

TEST(EqualCountLevelSlice, BothSpaces) {
  KerrException error(L"test", L"BothSpaces");
  const KgdaBaseDataStack counts = Histogram({1, 1, 1});
  EXPECT_EQ(RowsOf(kclb_EqualCountLevelSlice(counts, 3, kRed, kBlue, Kclb_SliceType::Rgb, Way::Longest, error)),
            (Rows{{1, 0, 0}, {0.5, 0, 0.5}, {0, 0, 1}}));
  EXPECT_EQ(RowsOf(kclb_EqualCountLevelSlice(counts, 3, kRed, kBlue, Kclb_SliceType::Ihs, Way::Longest, error)),
            (Rows{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}));
  EXPECT_FALSE(error.IsPending());
}

TEST(EqualCountLevelSlice, FaultsAreRecorded) {
  KerrException error(L"test", L"FaultsAreRecorded");
  const auto sliced = [&](const KgdaBaseDataStack& counts, std::uint32_t levels) {
    error.Clear();
    return kclb_EqualCountLevelSlice(counts, levels, kRed, kBlue, Kclb_SliceType::Rgb, Way::Shortest, error)
        .GetLayerCount();
  };
  EXPECT_EQ(sliced(Histogram({1, std::numeric_limits<double>::infinity()}), 2), 0u);
  EXPECT_EQ(error.get_What(), L"The counts of the histogram have no finite sum.");
  EXPECT_EQ(sliced(KgdaBaseDataStack(), 2), 0u);
  EXPECT_EQ(error.get_What(), L"The histogram has no counts.");
  EXPECT_EQ(sliced(Histogram({1}), 0), 0u);
  EXPECT_EQ(error.get_What(), L"Found 0 levels of a color ramp, expected at least one.");
}

}  // namespace
