#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <vector>

#include "bincounter.h"
#include "moments.h"
#include "txgeospatiallib/raster.h"

namespace Tamrin::TesseraGeospatial {

struct ScanOptions {
  /// Values that leave a pixel out where one of its bands has them: a list for each band.
  std::vector<std::vector<double>> ignored;
  unsigned skipFactor = 1;  ///< only each so many'th row and column counts
  bool products = false;    ///< those of pairs of bands
  bool histogram = false;
};

/// What one thread makes of the pixels that it sees: they are gathered to tiles that fit the fastest memory, one plane
/// for each band.
class TileSums {
 public:
  static std::unique_ptr<TileSums> Create(const RasterFacts& facts, const ScanOptions& options);
  virtual ~TileSums() = default;

  /// Pixels of a row from the first on, as many as the step leaves of `columns`.
  virtual void AddPixels(const RasterPart& row, std::size_t columns, std::size_t step) = 0;
  /// Adds what came since the last call to the moments. They depend on the pixels and their order alone.
  virtual void Finish(Moments& moments) = 0;
  /// Of all that came, band by band.
  virtual std::vector<BinCounter>& GetHistogram() = 0;
};

}  // namespace Tamrin::TesseraGeospatial
