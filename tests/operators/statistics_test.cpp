#include <gmock/gmock.h>

#include <cmath>
#include <limits>
#include <random>

#include "kcommon/kgda.h"
#include "operators/rasterfiles.h"

namespace {

using namespace testing_support;
using ::testing::ElementsAre;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

/// Three bands of whole numbers from 1 to 120 that go along with each other.
RasterFile Landscape(int rows, int columns, GDALDataType type, std::vector<std::string> options = {}) {
  RasterFile file{rows, columns, {}, type, std::move(options)};
  std::mt19937 random(7);
  const auto noise = [&random] { return static_cast<double>(random() % 40); };
  const Numbers relief =
      Band(rows, columns, [&](int row, int column) { return (row / 3 + column / 2) % 60 + noise() / 2; });
  for (int band = 0; band < 3; ++band) {
    Numbers values;
    for (const double height : relief) values.push_back(std::floor(1 + height * (band == 1 ? 0.25 : 1) + noise()));
    file.bands.push_back(values);
  }
  return file;
}

TEST(Statistics, OfAFewPixels) {
  const TemporaryFolder folder;
  const RasterFile file{2, 2, {{1, 2, 3, 6}, {10, 10, 30, 30}}};
  const StatisticsRun run = StatisticsRun(WriteRaster(folder, "a.tif", file)).Run();
  EXPECT_EQ(run.Fact(0, L"Minimum"), 1);
  EXPECT_EQ(run.Fact(0, L"Maximum"), 6);
  EXPECT_EQ(run.Fact(0, L"Mean"), 3);
  EXPECT_EQ(run.Fact(0, L"StandardDeviation"), std::sqrt(14.0 / 3));
  EXPECT_EQ(run.Fact(1, L"Count"), 4);
  EXPECT_EQ(run.Fact(1, L"Mean"), 20);
  EXPECT_THAT(run.Covariance(), ElementsAre(14.0 / 3, 20, 20, 400.0 / 3));
  EXPECT_TRUE(run.host.Messages(tessera::Issue::Warning).empty());
}

TEST(Statistics, WithoutBeingAskedForCovariancesAndHistogramsThereAreNone) {
  const TemporaryFolder folder;
  ModelHost host;
  host.Add(L"Statistics", L"op");
  host.Set(L"op.Raster", RasterValue(WriteRaster(folder, "a.tif", Landscape(9, 9, GDT_Byte))));
  ASSERT_TRUE(host.Run());
  EXPECT_FALSE(host.Existing(L"op.Covariance"));
  EXPECT_FALSE(host.Existing(L"op.Histogram"));
  EXPECT_EQ(host.Get<tessera::DataList>(L"op.Statistics").size(), 3u);
}

TEST(Statistics, DeviationsWithoutCovariancesAreTheSame) {
  const TemporaryFolder folder;
  for (const GDALDataType type : {GDT_Byte, GDT_Float32}) {
    const std::wstring name = WriteRaster(folder, "a.tif", Landscape(90, 70, type));
    const StatisticsRun all = StatisticsRun(name).Run();
    StatisticsRun alone(name);
    alone.Set(L"ComputeCovariance", false).Run();
    for (std::size_t band = 0; band < 3; ++band)
      EXPECT_DOUBLE_EQ(alone.Fact(band, L"StandardDeviation"), all.Fact(band, L"StandardDeviation"));
  }
}

struct Layout {
  const char* title;
  std::vector<std::string> options;
};
const Layout kLayouts[] = {
    {"strips of bands", {"INTERLEAVE=BAND"}},
    {"strips of pixels", {"INTERLEAVE=PIXEL"}},
    {"one strip", {"INTERLEAVE=BAND", "BLOCKYSIZE=1000"}},
    {"tiles of bands", {"INTERLEAVE=BAND", "TILED=YES", "BLOCKXSIZE=32", "BLOCKYSIZE=48"}},
    {"tiles of pixels", {"INTERLEAVE=PIXEL", "TILED=YES", "BLOCKXSIZE=16", "BLOCKYSIZE=16"}},
    {"compressed strips", {"COMPRESS=DEFLATE", "INTERLEAVE=PIXEL"}},
    {"compressed tiles", {"COMPRESS=LZW", "INTERLEAVE=BAND", "TILED=YES", "BLOCKXSIZE=32", "BLOCKYSIZE=32"}},
    {"the other byte order", {"ENDIANNESS=BIG", "INTERLEAVE=BAND"}},
    {"big file", {"BIGTIFF=YES", "INTERLEAVE=PIXEL"}},
};

TEST(Statistics, AreTheSameForEachTypeAndLayout) {
  const TemporaryFolder folder;
  const Numbers expected = CovariancesOf(PixelsOf(Landscape(101, 77, GDT_Byte)));
  const Numbers skipped = CovariancesOf(PixelsOf(Landscape(101, 77, GDT_Byte), 3));
  for (const GDALDataType type :
       {GDT_Byte, GDT_UInt16, GDT_Int16, GDT_UInt32, GDT_Int32, GDT_Float32, GDT_Float64, GDT_Int64, GDT_UInt64}) {
    for (const Layout& layout : kLayouts) {
      SCOPED_TRACE(std::string(GDALGetDataTypeName(type)) + ", " + layout.title);
      const std::wstring name = WriteRaster(folder, "a.tif", Landscape(101, 77, type, layout.options));
      ExpectNear(StatisticsRun(name).Run().Covariance(), expected, 1e-14);
      ExpectNear(StatisticsRun(name).Set(L"SkipFactor", 3u).Run().Covariance(), skipped, 1e-14);
    }
  }
}

TEST(Statistics, SignedBytesCountBelowZero) {
  const TemporaryFolder folder;
  const RasterFile file{2, 3, {{253, 254, 255, 0, 1, 2}}, GDT_Byte, {"PIXELTYPE=SIGNEDBYTE"}};
  const StatisticsRun run = StatisticsRun(WriteRaster(folder, "a.tif", file)).Run();
  EXPECT_EQ(run.Fact(0, L"Minimum"), -3);
  EXPECT_EQ(run.Fact(0, L"Maximum"), 2);
  EXPECT_EQ(run.Fact(0, L"Mean"), -0.5);
}

TEST(Statistics, EachCountOfBandsFitsTheBlocksOfTheSums) {
  const TemporaryFolder folder;
  for (int bands = 1; bands <= 10; ++bands) {
    RasterFile file = Landscape(40, 33, GDT_Byte);
    while (static_cast<int>(file.bands.size()) < bands) {
      Numbers next = file.bands.back();
      std::rotate(next.begin(), next.begin() + 5 * bands, next.end());
      file.bands.push_back(next);
    }
    file.bands.resize(static_cast<std::size_t>(bands));
    for (const GDALDataType type : {GDT_Byte, GDT_Float32}) {
      for (const char* interleaving : {"INTERLEAVE=PIXEL", "INTERLEAVE=BAND"}) {
        SCOPED_TRACE(std::to_string(bands) + " bands, " + interleaving);
        file.type = type;
        file.options = {interleaving};
        ExpectNear(StatisticsRun(WriteRaster(folder, "a.tif", file)).Run().Covariance(), CovariancesOf(PixelsOf(file)),
                   1e-14);
      }
    }
  }
}

TEST(Statistics, LoseNoDigitsFarFromZero) {
  const TemporaryFolder folder;
  std::mt19937_64 random(3);
  std::normal_distribution<double> normal;
  const auto noise = [&](int, int) { return 1e6 + normal(random); };
  RasterFile plain{300, 400, {Band(300, 400, noise), Band(300, 400, noise)}, GDT_Float64};
  RasterFile outlier = plain, ramp = plain, jumps = plain;
  outlier.bands[0][0] = 0;
  for (std::size_t k = 0; k < ramp.bands[1].size(); ++k) ramp.bands[1][k] += static_cast<double>(k) * 1e-3;
  for (std::size_t k = 0; k < jumps.bands[0].size(); ++k) jumps.bands[0][k] += k % 5000 == 0 ? 1e5 : 0;
  for (const RasterFile& file : {plain, outlier, ramp, jumps}) {
    for (const unsigned threads : {0u, 3u}) {
      StatisticsRun run(WriteRaster(folder, "a.tif", file));
      ExpectNear(run.Threads(threads).Run().Covariance(), CovariancesOf(PixelsOf(file)), 1e-12);
    }
  }
}

TEST(Statistics, BandThatIsTheSameEverywhereHasNoVarianceAtAll) {
  const TemporaryFolder folder;
  for (const GDALDataType type : {GDT_Byte, GDT_Float64}) {
    const RasterFile file{
        70, 90, {Numbers(6300, type == GDT_Byte ? 7 : 0.1), Band(70, 90, [](int row, int) { return row; })}, type};
    const Numbers found = StatisticsRun(WriteRaster(folder, "a.tif", file)).Run().Covariance();
    EXPECT_EQ(found[0], 0);
    EXPECT_EQ(found[1], 0);
    EXPECT_GT(found[3], 0);
  }
}

Pixels Without(Pixels pixels, const std::function<bool(const Numbers&)>& leavesOut) {
  std::erase_if(pixels, leavesOut);
  return pixels;
}

TEST(Statistics, NoDataOfOneBandLeavesThePixelOutOfAll) {
  const TemporaryFolder folder;
  for (const GDALDataType type : {GDT_Byte, GDT_Int16, GDT_Float32}) {
    for (const char* interleaving : {"INTERLEAVE=PIXEL", "INTERLEAVE=BAND"}) {
      RasterFile file = Landscape(64, 80, type, {interleaving});
      file.noData = {20};
      // This format keeps one value for all bands.
      const Pixels kept = Without(
          PixelsOf(file), [](const Numbers& pixel) { return pixel[0] == 20 || pixel[1] == 20 || pixel[2] == 20; });
      const StatisticsRun run = StatisticsRun(WriteRaster(folder, "a.tif", file)).Run();
      ExpectNear(run.Covariance(), CovariancesOf(kept), 1e-14);
      EXPECT_EQ(run.Fact(2, L"Count"), static_cast<double>(kept.size()));
    }
  }
}

TEST(Statistics, NoDataIsComparedAsTheElementsAreStored) {
  const TemporaryFolder folder;
  RasterFile file{1, 4, {{0.1, 1, 2, 3}}, GDT_Float32, {}, {0.1}};
  EXPECT_EQ(StatisticsRun(WriteRaster(folder, "a.tif", file)).Run().Fact(0, L"Minimum"), 1);
  file = {1, 4, {{0, 1, 2, 3}}, GDT_Byte, {}, {-9999}};
  EXPECT_EQ(StatisticsRun(WriteRaster(folder, "b.tif", file)).Run().Fact(0, L"Count"), 4);
}

TEST(Statistics, WhatIsNoNumberIsNoData) {
  const TemporaryFolder folder;
  for (const GDALDataType type : {GDT_Float32, GDT_Float64}) {
    for (const char* interleaving : {"INTERLEAVE=PIXEL", "INTERLEAVE=BAND"}) {
      RasterFile file = Landscape(30, 50, type, {interleaving});
      file.bands[1][3] = file.bands[0][700] = kNaN;
      const Pixels kept =
          Without(PixelsOf(file), [](const Numbers& pixel) { return std::isnan(pixel[0]) || std::isnan(pixel[1]); });
      ASSERT_EQ(kept.size(), 1498u);
      ExpectNear(StatisticsRun(WriteRaster(folder, "a.tif", file)).Run().Covariance(), CovariancesOf(kept), 1e-14);
    }
  }
}

TEST(Statistics, InfiniteElementsCountAsWhatTheyAre) {
  const TemporaryFolder folder;
  const RasterFile file{1, 4, {{1, kInfinity, 2, 3}}, GDT_Float32};
  const StatisticsRun run = StatisticsRun(WriteRaster(folder, "a.tif", file)).Run();
  EXPECT_EQ(run.Fact(0, L"Maximum"), kInfinity);
  EXPECT_EQ(run.Fact(0, L"Minimum"), 1);
  EXPECT_TRUE(std::isnan(run.Covariance()[0]));
}

DataPtr ScalarOf(double value) {
  return boost::make_shared<basic::ScalarData>(basic::CreateScalar(value, KgdaFloat64));
}
DataPtr ColorOf(double red, double green, double blue, double opacity = 1) {
  return boost::make_shared<basic::ScalarData>(basic::CreateColorScalar(basic::Color(red, green, blue, opacity)));
}

TEST(Statistics, IgnoreLeavesPixelsOut) {
  const TemporaryFolder folder;
  const RasterFile file = Landscape(64, 80, GDT_Byte);
  const std::wstring name = WriteRaster(folder, "a.tif", file);
  const auto expect = [&](const DataPtr& ignore, const Numbers& values) {
    const Pixels kept = Without(PixelsOf(file), [&](const Numbers& pixel) {
      return pixel[0] == values[0] || pixel[1] == values[1] || pixel[2] == values[2];
    });
    ASSERT_LT(kept.size(), 5120u);
    const StatisticsRun run = StatisticsRun(name).Set(L"Ignore", ignore).Run();
    ExpectNear(run.Covariance(), CovariancesOf(kept), 1e-14);
  };
  expect(ScalarOf(20), {20, 20, 20});
  expect(Value(20), {20, 20, 20});
  expect(ColorOf(20, 5, 31), {20, 5, 31});
  const RasterFile four{1, 3, {{1, 2, 3}, {1, 2, 3}, {1, 2, 3}, {9, 8, 7}}};
  const StatisticsRun run = StatisticsRun(WriteRaster(folder, "b.tif", four)).Set(L"Ignore", ColorOf(0, 0, 0, 8)).Run();
  EXPECT_EQ(run.Fact(0, L"Count"), 2);
}

TEST(Statistics, IgnoreThatCanNotBeComparedIsAMessage) {
  const TemporaryFolder folder;
  const std::wstring name = WriteRaster(folder, "a.tif", {1, 1, {{1}, {2}}});
  StatisticsRun color(name);
  color.Set(L"Ignore", ColorOf(1, 2, 3));
  EXPECT_FALSE(color.host.Run());
  EXPECT_EQ(color.host.Error(),
            L"Ignore is a colour, which has a value for each of 3 bands, or of 4 with the opacity; the raster has 2.");
  StatisticsRun text(name);
  text.Set(L"Ignore", DataPtr(boost::make_shared<basic::ScalarData>(basic::CreateStringScalar(L"a"))));
  EXPECT_FALSE(text.host.Run());
  EXPECT_EQ(text.host.Error(), L"Ignore is of the type String; expected a number or a colour.");
}

TEST(Statistics, SkipFactorTakesEveryNthRowAndColumn) {
  const TemporaryFolder folder;
  const RasterFile file = Landscape(50, 61, GDT_UInt16);
  const std::wstring name = WriteRaster(folder, "a.tif", file);
  for (const unsigned factor : {1u, 2u, 5u, 49u, 60u}) {
    const Pixels kept = PixelsOf(file, static_cast<int>(factor));
    const StatisticsRun run = StatisticsRun(name).Set(L"SkipFactor", factor).Run();
    EXPECT_EQ(run.Fact(0, L"Count"), static_cast<double>(kept.size()));
    ExpectNear(run.Covariance(), CovariancesOf(kept), 1e-14);
  }
  StatisticsRun none(name);
  none.Set(L"SkipFactor", 0u);
  EXPECT_FALSE(none.host.Run());
  EXPECT_EQ(none.host.Error(),
            L"SkipFactor is 0; expected 1 for all rows and columns, 2 for every second one, and so on.");
  const StatisticsRun one = StatisticsRun(name).Set(L"SkipFactor", 4000000000u).Run();
  EXPECT_EQ(one.Fact(0, L"Mean"), file.bands[0][0]);
  EXPECT_EQ(one.host.Messages(tessera::Issue::Warning),
            std::vector<std::wstring>{L"The raster \"" + name +
                                      L"\" has one pixel with data; its deviations and covariances are not numbers."});
}

TEST(Statistics, SceneWithoutDataIsAWarning) {
  const TemporaryFolder folder;
  for (const GDALDataType type : {GDT_Byte, GDT_Float32}) {
    const std::wstring name = WriteRaster(folder, "a.tif", {4, 5, {Numbers(20, 3), Numbers(20, 3)}, type, {}, {3}});
    const StatisticsRun run = StatisticsRun(name).Run();
    for (const double cell : run.Covariance()) EXPECT_TRUE(std::isnan(cell));
    EXPECT_EQ(run.Fact(0, L"Count"), 0);
    EXPECT_TRUE(std::isnan(run.Fact(0, L"Mean")));
    EXPECT_TRUE(std::isnan(run.Fact(1, L"Minimum")));
    EXPECT_EQ(run.Histogram(0)->GetCount(), 0);
    EXPECT_EQ(run.host.Messages(tessera::Issue::Warning),
              std::vector<std::wstring>{L"The raster \"" + name +
                                        L"\" has no pixel with data; its statistics are not numbers."});
  }
}

}  // namespace
