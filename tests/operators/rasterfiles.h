#pragma once

#include <cpl_string.h>
#include <gdal.h>
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "kcommon/kstr.h"
#include "support/modelhost.h"
#include "txbasiclib/basicvalues.h"
#include "txgeospatiallib/raster.h"

/// Rasters for tests, written by the library of formats itself and not by what is tested.
namespace testing_support {

namespace geo = ::Tamrin::TesseraGeospatial;
namespace basic = ::Tamrin::TesseraBasic;
using Numbers = std::vector<double>;

struct RasterFile {
  int rows = 1;
  int columns = 1;
  std::vector<Numbers> bands;  ///< row by row
  GDALDataType type = GDT_Byte;
  std::vector<std::string> options = {};
  std::vector<double> noData = {};  ///< for the bands from the first on
  const char* format = "GTiff";
};

/// Gives the file's full name.
inline std::wstring WriteRaster(const TemporaryFolder& folder, const std::string& name, const RasterFile& file) {
  GDALAllRegister();
  const std::string path = folder.Path() + "/" + name;
  CPLStringList options;
  for (const std::string& option : file.options) options.AddString(option.c_str());
  const GDALDatasetH dataset = GDALCreate(GDALGetDriverByName(file.format), path.c_str(), file.columns, file.rows,
                                          static_cast<int>(file.bands.size()), file.type, options.List());
  if (!dataset) throw std::runtime_error("no raster was made: " + std::string(CPLGetLastErrorMsg()));
  if (std::string(file.format) == "GPKG") {  // has no raster without a place
    double place[6] = {0, 1, 0, 0, 0, -1};
    GDALSetGeoTransform(dataset, place);
    GDALSetProjection(dataset, "EPSG:3857");
  }
  for (std::size_t index = 0; index < file.noData.size(); ++index)
    GDALSetRasterNoDataValue(GDALGetRasterBand(dataset, static_cast<int>(index) + 1), file.noData[index]);
  for (std::size_t index = 0; index < file.bands.size(); ++index) {
    Numbers values = file.bands[index];
    const CPLErr result =
        GDALRasterIO(GDALGetRasterBand(dataset, static_cast<int>(index) + 1), GF_Write, 0, 0, file.columns, file.rows,
                     values.data(), file.columns, file.rows, GDT_Float64, 0, 0);
    if (result != CE_None) throw std::runtime_error("a band was not written");
  }
  GDALClose(dataset);
  return kstr_FromUtf8Lossy(path);
}

/// Values by a rule, for a raster of that size.
inline Numbers Band(int rows, int columns, const std::function<double(int row, int column)>& rule) {
  Numbers values;
  for (int row = 0; row < rows; ++row) {
    for (int column = 0; column < columns; ++column) values.push_back(rule(row, column));
  }
  return values;
}

/// The pixels that a test expects to count: a value for each band.
using Pixels = std::vector<Numbers>;

inline Pixels PixelsOf(const RasterFile& file, int skip = 1) {
  Pixels pixels;
  for (int row = 0; row < file.rows; row += skip) {
    for (int column = 0; column < file.columns; column += skip) {
      Numbers pixel;
      for (const Numbers& band : file.bands)
        pixel.push_back(band[static_cast<std::size_t>(row * file.columns + column)]);
      pixels.push_back(std::move(pixel));
    }
  }
  return pixels;
}

/// Covariances in two passes, in the longest numbers there are.
inline Numbers CovariancesOf(const Pixels& pixels) {
  const std::size_t bands = pixels.at(0).size();
  const auto count = static_cast<long double>(pixels.size());
  std::vector<long double> means(bands), products(bands * bands);
  for (const Numbers& pixel : pixels) {
    for (std::size_t band = 0; band < bands; ++band) means[band] += pixel[band];
  }
  for (long double& mean : means) mean /= count;
  for (const Numbers& pixel : pixels) {
    for (std::size_t a = 0; a < bands; ++a) {
      for (std::size_t b = 0; b < bands; ++b) products[a * bands + b] += (pixel[a] - means[a]) * (pixel[b] - means[b]);
    }
  }
  Numbers covariances;
  for (const long double product : products) covariances.push_back(static_cast<double>(product / (count - 1)));
  return covariances;
}

inline DataPtr RasterValue(const std::wstring& name) { return geo::MakeRasterData(name); }

/// Runs "Statistics" over a raster and gives what came of it.
class StatisticsRun {
 public:
  explicit StatisticsRun(const std::wstring& name) {
    host.Add(L"Statistics", L"op");
    host.Set(L"op.Raster", RasterValue(name)).Set(L"op.ComputeCovariance", true).Set(L"op.ComputeHistogram", true);
  }
  template <typename T>
  StatisticsRun& Set(const std::wstring& port, T value) {
    host.Set(L"op." + port, std::move(value));
    return *this;
  }
  StatisticsRun& Run() {
    EXPECT_TRUE(host.Run()) << kstr_ToUtf8(host.Error());
    return *this;
  }
  StatisticsRun& Threads(unsigned count) {
    host.GetModel()->GetEnvironment()->SetNumThreads(count);
    return *this;
  }
  Numbers Covariance() const {
    const auto matrix = boost::dynamic_pointer_cast<basic::MatrixData>(host.Existing(L"op.Covariance"));
    const auto& layer = matrix->GetDataValue().GetStack().GetLayer(0);
    const auto* const cells = static_cast<const double*>(layer.data);
    return Numbers(cells, cells + std::ptrdiff_t{layer.rows} * layer.columns);
  }
  double Fact(std::size_t band, const wchar_t* key) const {
    const auto facts =
        boost::dynamic_pointer_cast<tessera::DictionaryData>(host.Get<tessera::DataList>(L"op.Statistics").at(band));
    return boost::dynamic_pointer_cast<tessera::DoubleData>(facts->GetDataValue().Find(key))->GetDataValue();
  }
  boost::shared_ptr<basic::Table> Histogram(std::size_t band) const {
    const auto facts =
        boost::dynamic_pointer_cast<tessera::DictionaryData>(host.Get<tessera::DataList>(L"op.Histogram").at(band));
    return boost::dynamic_pointer_cast<basic::TableData>(facts->GetDataValue().Find(L"Histogram"))->GetDataPointer();
  }

  ModelHost host;
};

inline void ExpectNear(const Numbers& found, const Numbers& expected, double relative) {
  ASSERT_EQ(found.size(), expected.size());
  const auto bands = static_cast<std::size_t>(std::lround(std::sqrt(static_cast<double>(expected.size()))));
  for (std::size_t row = 0; row < bands; ++row) {
    for (std::size_t column = 0; column < bands; ++column) {
      const double scale = std::sqrt(expected[row * bands + row] * expected[column * bands + column]);
      EXPECT_NEAR(found[row * bands + column], expected[row * bands + column], scale * relative)
          << "row " << row << ", column " << column;
    }
  }
}

}  // namespace testing_support
