#include <boost/make_shared.hpp>
#include <cmath>
#include <limits>
#include <string>

#include "kcommon/kstr.h"
#include "rasteroperators.h"
#include "rasterscan.h"
#include "txbasiclib/basedatastackutils.h"
#include "txbasiclib/basicvalues.h"

namespace Tamrin::TesseraGeospatial {

using namespace Tessera;       // NOLINT
using namespace TesseraBasic;  // NOLINT

namespace {

/// As an element of that type would hold it; nothing where none would.
std::optional<double> AsElement(double value, Kgda_PixelType type) {
  if (type == KgdaFloat64 || std::isinf(value)) return value;
  if (type == KgdaFloat32)
    return std::abs(value) > std::numeric_limits<float>::max() ? std::optional<double>()
                                                               : static_cast<double>(static_cast<float>(value));
  return value == std::trunc(value) ? std::optional<double>(value) : std::nullopt;
}

/// One value for each band: that of a number for all of them, the parts of a colour one by one.
std::vector<double> IgnoredValues(Operator& op, const Scalar& ignore, std::size_t bands) {
  if (ignore.IsColor()) {
    const Color color = ignore.GetColor();
    std::vector<double> values{color.GetRed(), color.GetGreen(), color.GetBlue()};
    if (bands == values.size() + 1) values.push_back(color.GetOpacity());
    if (bands == values.size()) return values;
    op.SetErrorMessage(
        L"Ignore is a colour, which has a value for each of 3 bands, or of 4 with the opacity; the raster "
        L"has " +
        std::to_wstring(bands) + L".");
  }
  if (ignore.GetNumberType() > KgdaFloat64)
    op.SetErrorMessage(std::wstring(L"Ignore is of the type ") + kgda_PixelTypeName(ignore.GetNumberType()) +
                       L"; expected a number or a colour.");
  return std::vector<double>(bands, kgda_ElementAsDouble(ignore.GetStack().GetLayer(0), 0, 0));
}

std::vector<std::vector<double>> LeftOut(Operator& op, const RasterFacts& facts) {
  std::vector<std::vector<double>> values(facts.bands.size());
  const auto add = [&](std::size_t band, double value) {
    if (const auto element = AsElement(value, facts.bands[band].type)) values[band].push_back(*element);
  };
  for (std::size_t band = 0; band < facts.bands.size(); ++band) {
    if (facts.bands[band].noData) add(band, *facts.bands[band].noData);
  }
  const auto ignore = GetPortDataAs<Scalar>(RequirePort(op, L"Ignore"), true);
  if (!ignore) return values;
  const auto ignored = IgnoredValues(op, *ignore, facts.bands.size());
  for (std::size_t band = 0; band < facts.bands.size(); ++band) add(band, ignored[band]);
  return values;
}

/// Of a sample: by one less than the count.
double Covariance(const Moments& moments, std::size_t band, std::size_t other) {
  if (moments.GetCount() < 2) return std::numeric_limits<double>::quiet_NaN();
  return moments.GetProduct(band, other) / static_cast<double>(moments.GetCount() - 1);
}

boost::shared_ptr<Matrix> CovarianceMatrix(const Moments& moments) {
  const auto bands = static_cast<std::int32_t>(moments.GetBandCount());
  const auto matrix = CreateMatrix(bands, bands, KgdaFloat64);
  auto& layer = matrix->GetMutableStack().GetLayer(0);
  for (std::int32_t row = 0; row < bands; ++row) {
    auto* const cells = static_cast<double*>(kgda_ElementPointer(layer, row, 0));
    for (std::int32_t column = 0; column < bands; ++column)
      cells[column] = Covariance(moments, static_cast<std::size_t>(row), static_cast<std::size_t>(column));
  }
  return matrix;
}

boost::shared_ptr<Data> Describe(const Moments& moments, std::size_t band) {
  constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
  const bool hasAny = moments.GetCount() > 0;
  Dictionary dictionary;
  const auto set = [&](const wchar_t* key, double value) { dictionary.SetItem(key, MakeData<DoubleData>(value)); };
  set(L"Minimum", hasAny ? moments.GetMinimum(band) : kNone);
  set(L"Maximum", hasAny ? moments.GetMaximum(band) : kNone);
  set(L"Mean", hasAny ? moments.GetMean(band) : kNone);
  set(L"StandardDeviation", std::sqrt(Covariance(moments, band, band)));
  set(L"Count", static_cast<double>(moments.GetCount()));
  return MakeData<DictionaryData>(std::move(dictionary));
}

/// A table of counts with the bins that they are of.
boost::shared_ptr<Table> TableOf(const BinCounter::Result& histogram, bool isWhole) {
  std::uint64_t most = 0;
  for (const std::uint64_t count : histogram.counts) most = std::max(most, count);
  const auto bins = static_cast<std::int32_t>(histogram.counts.size());
  const auto table = CreateTable(bins, most <= std::numeric_limits<std::uint32_t>::max() ? KgdaUInt32 : KgdaFloat64);
  auto& layer = table->GetMutableStack().GetLayer(0);
  for (std::int32_t bin = 0; bin < bins; ++bin)
    kgda_SetElementFromDouble(layer, bin, 0, static_cast<double>(histogram.counts[static_cast<std::size_t>(bin)]));
  Kdsc_BinFunction function;
  function.kind = isWhole && histogram.width == 1 ? Kdsc_BinFunction::Kind::Direct : Kdsc_BinFunction::Kind::Linear;
  function.numBins = bins;
  function.minimum = histogram.minimum;
  if (function.kind == Kdsc_BinFunction::Kind::Linear) function.maximum = histogram.minimum + bins * histogram.width;
  BaseDataStackUtils::SetBinFunction(*table, boost::make_shared<const Kdsc_BinFunction>(function));
  return table;
}

boost::shared_ptr<Data> Describe(const BinCounter::Result& histogram, Kgda_PixelType type) {
  Dictionary dictionary;
  const auto table = TableOf(histogram, type != KgdaFloat32 && type != KgdaFloat64);
  dictionary.SetItem(L"Histogram", boost::make_shared<TableData>(table));
  return MakeData<DictionaryData>(std::move(dictionary));
}

void CreateDictionaries(Operator& op, const wchar_t* name) {
  const auto port = op.CreatePort(name, DataListData::DefaultTypeName(), PortType::Output);
  port->SetAttribute(L"ListDataType", MakeData<StringData>(DictionaryData::DefaultTypeName().ToString()));
}

void RefuseComplex(Operator& op, const Raster& raster, const RasterFacts& facts) {
  for (std::size_t band = 0; facts.IsComplex() && band < facts.bands.size(); ++band) {
    if (facts.bands[band].type != KgdaComplex64 && facts.bands[band].type != KgdaComplex128) continue;
    op.SetErrorMessage(L"Band " + std::to_wstring(band + 1) + L" of the raster \"" + raster.GetName() +
                       L"\" has complex numbers (" + facts.bands[band].storedType +
                       L"); there are statistics of real numbers only.");
  }
}

}  // namespace

void Statistics::DeclarePorts() {
  CreatePort(L"Raster", RasterData::DefaultTypeName(), PortType::Input);
  CreatePort(L"Ignore", ScalarData::DefaultTypeName(), PortType::Input)->SetIsOptional(true);
  CreatePort(L"SkipFactor", UnsignedData::DefaultTypeName(), PortType::Input)->SetIsOptional(true);
  CreatePort(L"ComputeCovariance", BoolData::DefaultTypeName(), PortType::Input)->SetIsOptional(true);
  CreatePort(L"ComputeHistogram", BoolData::DefaultTypeName(), PortType::Input)->SetIsOptional(true);
  CreatePort(L"Covariance", MatrixData::DefaultTypeName(), PortType::Output);
  CreateDictionaries(*this, L"Statistics");
  CreateDictionaries(*this, L"Histogram");
}

void Statistics::OnExecute() {
  const auto data = GetPortWrapperOf<RasterData>(*RequirePort(*this, L"Raster"));
  const Raster& raster = data->GetDataValue();
  const auto facts = raster.GetFacts();
  RefuseComplex(*this, raster, *facts);
  ScanOptions options;
  options.skipFactor = ReadPortOr<unsigned>(*this, L"SkipFactor", 1);
  if (options.skipFactor == 0)
    SetErrorMessage(L"SkipFactor is 0; expected 1 for all rows and columns, 2 for every second one, and so on.");
  options.products = ReadPortOr<bool>(*this, L"ComputeCovariance", false);
  options.histogram = ReadPortOr<bool>(*this, L"ComputeHistogram", false);
  constexpr std::size_t kMostBands = 8192;  // of which the sums of two threads and the matrix take a gigabyte
  if (options.products && facts->bands.size() > kMostBands) {
    SetErrorMessage(L"The raster \"" + raster.GetName() + L"\" has " + std::to_wstring(facts->bands.size()) +
                    L" bands; covariances are computed of at most " + std::to_wstring(kMostBands) + L".");
  }
  options.ignored = LeftOut(*this, *facts);

  const ScanResult result = ScanRaster(raster, options, *this);
  for (const std::wstring& text : result.warnings)
    SetWarningMessage(L"The raster \"" + raster.GetName() + L"\": " + text);
  const std::uint64_t count = result.moments.GetCount();
  if (count < 2) {
    SetWarningMessage(L"The raster \"" + raster.GetName() + L"\" has " +
                      (count == 0 ? L"no pixel with data; its statistics are not numbers."
                                  : L"one pixel with data; its deviations and covariances are not numbers."));
  }
  DataList statistics, histograms;
  for (std::size_t band = 0; band < facts->bands.size(); ++band) {
    statistics.push_back(Describe(result.moments, band));
    if (options.histogram) histograms.push_back(Describe(result.histograms[band], facts->type));
  }
  RequirePort(*this, L"Covariance")
      ->SetData(options.products ? boost::make_shared<MatrixData>(CovarianceMatrix(result.moments)) : nullptr);
  RequirePort(*this, L"Statistics")->SetData(MakeData<DataListData>(std::move(statistics)));
  RequirePort(*this, L"Histogram")
      ->SetData(options.histogram ? MakeData<DataListData>(std::move(histograms)) : nullptr);
}

}  // namespace Tamrin::TesseraGeospatial
