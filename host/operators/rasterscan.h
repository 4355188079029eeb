#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tilesums.h"
#include "txlib/operator.h"

namespace Tamrin::TesseraGeospatial {

struct ScanResult {
  Moments moments;
  std::vector<BinCounter::Result> histograms;  ///< one for each band, where they were asked for
  std::vector<std::wstring> warnings;
};

/// Goes once through a raster of real numbers, on as many threads as the run of the operator has where that is worth
/// it. The result does not depend on their number. The operator is told the progress and may be cancelled. Raises what
/// the reading raises, also where the file changes meanwhile.
ScanResult ScanRaster(const Raster& raster, const ScanOptions& options, Tessera::Operator& op);

}  // namespace Tamrin::TesseraGeospatial
