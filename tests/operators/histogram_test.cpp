#include <gmock/gmock.h>

#include <cmath>
#include <limits>
#include <random>

#include "kcommon/kgda.h"
#include "operators/rasterfiles.h"
#include "txbasiclib/basedatastackutils.h"

namespace {

using namespace testing_support;
using ::testing::ElementsAre;

/// What the bins of a histogram are to hold, counted one by one.
void ExpectHistogram(const basic::Table& table, const Numbers& values) {
  const auto bins = basic::BaseDataStackUtils::GetBinFunctionFromTable(table);
  ASSERT_TRUE(bins);
  ASSERT_EQ(bins->numBins, table.GetCount());
  EXPECT_LE(bins->numBins, 256);
  const bool isDirect = bins->kind == Kdsc_BinFunction::Kind::Direct;
  const double width = isDirect ? 1 : (bins->maximum - bins->minimum) / bins->numBins;
  Numbers expected(static_cast<std::size_t>(bins->numBins));
  for (const double value : values) {
    const double bin = std::floor(value / width) - bins->minimum / width;  // exact: widths are powers of two
    ASSERT_TRUE(bin >= 0 && bin < bins->numBins) << value;
    ++expected[static_cast<std::size_t>(bin)];
  }
  Numbers found;
  for (std::int32_t row = 0; row < table.GetCount(); ++row)
    found.push_back(kgda_ElementAsDouble(table.GetStack().GetLayer(0), row, 0));
  EXPECT_EQ(found, expected);
  EXPECT_GT(found.front(), 0);
  EXPECT_GT(found.back(), 0);
}

Numbers Counts(const basic::Table& table) {
  Numbers counts;
  for (std::int32_t row = 0; row < table.GetCount(); ++row)
    counts.push_back(kgda_ElementAsDouble(table.GetStack().GetLayer(0), row, 0));
  return counts;
}

TEST(StatisticsHistogram, OfBytesHasABinForEachValue) {
  const TemporaryFolder folder;
  const RasterFile file{2, 4, {{3, 5, 5, 7, 7, 7, 3, 4}}};
  const StatisticsRun run = StatisticsRun(WriteRaster(folder, "a.tif", file)).Run();
  EXPECT_THAT(Counts(*run.Histogram(0)), ElementsAre(2, 1, 2, 0, 3));
  EXPECT_EQ(run.Histogram(0)->GetNumberType(), KgdaUInt32);
  const auto bins = basic::BaseDataStackUtils::GetBinFunctionFromTable(*run.Histogram(0));
  EXPECT_EQ(bins->kind, Kdsc_BinFunction::Kind::Direct);
  EXPECT_EQ(bins->minimum, 3);
}

TEST(StatisticsHistogram, CountsEachElementOnceWhateverItsTypeAndRange) {
  const TemporaryFolder folder;
  std::mt19937_64 random(11);
  std::normal_distribution<double> normal;
  const struct {
    const char* title;
    GDALDataType type;
    std::function<double(int, int)> rule;
  } rows[] = {
      {"bytes", GDT_Byte, [&](int, int) { return static_cast<double>(random() % 256); }},
      {"16 bits", GDT_UInt16, [&](int, int) { return static_cast<double>(random() % 60000); }},
      {"below zero", GDT_Int16, [&](int row, int column) { return row * column % 300 - 150.0; }},
      {"32 bits", GDT_Int32, [&](int, int) { return static_cast<double>(random() % 4000000000u) - 2e9; }},
      {"growing", GDT_Int32, [&](int row, int column) { return row * row * 100.0 + column; }},
      {"fractions", GDT_Float32, [&](int, int) { return static_cast<float>(normal(random)); }},
      {"far from zero", GDT_Float64, [&](int, int) { return 1e9 + normal(random); }},
      {"tiny around zero", GDT_Float64, [&](int, int) { return normal(random) * 1e-200; }},
      {"growing by orders", GDT_Float64, [&](int row, int) { return std::ldexp(normal(random), row / 4); }},
      {"just below a limit", GDT_Float64,
       [&](int row, int column) { return row == 0 ? -512
                                         : column ? 3e-17
                                                  : -3e-17; }},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.title);
    const RasterFile file{80, 90, {Band(80, 90, row.rule)}, row.type};
    for (const unsigned threads : {0u, 3u}) {
      StatisticsRun run(WriteRaster(folder, "a.tif", file));
      run.Threads(threads).Run();
      ExpectHistogram(*run.Histogram(0), file.bands[0]);
    }
  }
}

TEST(StatisticsHistogram, OfOneValueIsOneBin) {
  const TemporaryFolder folder;
  const RasterFile file{3, 3, {Numbers(9, 0.1), Numbers(9, 0)}, GDT_Float64};
  const StatisticsRun run = StatisticsRun(WriteRaster(folder, "a.tif", file)).Run();
  for (const std::size_t band : {0u, 1u}) {
    EXPECT_THAT(Counts(*run.Histogram(band)), ElementsAre(9));
    EXPECT_EQ(basic::BaseDataStackUtils::GetBinFunctionFromTable(*run.Histogram(band))->minimum, file.bands[band][0]);
  }
}

TEST(StatisticsHistogram, LeavesOutWhatIsInfinite) {
  const TemporaryFolder folder;
  const double infinity = std::numeric_limits<double>::infinity();
  const RasterFile file{1, 5, {{1, infinity, 2, -infinity, 2}}, GDT_Float32};
  const StatisticsRun run = StatisticsRun(WriteRaster(folder, "a.tif", file)).Run();
  ExpectHistogram(*run.Histogram(0), {1, 2, 2});
}

/// More pixels than one thread is given alone, of which many lie far from those before them.
TEST(StatisticsHistogram, IsTheSameInThreads) {
  const TemporaryFolder folder;
  std::mt19937_64 random(5);
  RasterFile file{1500, 1000, {}, GDT_Float32, {"INTERLEAVE=PIXEL"}};
  for (int band = 0; band < 2; ++band) {
    file.bands.push_back(Band(1500, 1000, [&](int row, int) {
      return static_cast<float>(static_cast<double>(random() % 1000) * (row == 700 ? 40 : 0.01));
    }));
  }
  const std::wstring name = WriteRaster(folder, "a.tif", file);
  const StatisticsRun serial = StatisticsRun(name).Threads(0).Run();
  const StatisticsRun threads = StatisticsRun(name).Threads(4).Run();
  EXPECT_EQ(threads.Covariance(), serial.Covariance()) << "to the last bit";
  for (const std::size_t band : {0u, 1u}) {
    ExpectHistogram(*serial.Histogram(band), file.bands[band]);
    EXPECT_EQ(Counts(*threads.Histogram(band)), Counts(*serial.Histogram(band)));
    EXPECT_EQ(threads.Fact(band, L"Mean"), serial.Fact(band, L"Mean"));
  }
}

}  // namespace
