#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Tamrin::TesseraGeospatial {

/// Counts numbers in bins whose width is a power of two and whose limits are multiples of it. How wide they are is
/// found while counting: as soon as a number lies beyond them, pairs of bins are put together. The counts are therefore
/// exact, in whatever order the numbers come.
class BinCounter {
 public:
  static constexpr std::int64_t kMostBins = 256;

  /// Bins of whole numbers are never narrower than 1.
  explicit BinCounter(bool whole) : whole_(whole) {}

  /// Numbers, at most 2^31. Infinite ones are left out.
  void Count(const double* x, std::size_t count);
  /// `count` times the number.
  void CountSame(double x, std::uint64_t count);
  void Merge(BinCounter& other);

  struct Result {
    double minimum = 0;  ///< lower limit of the first bin
    double width = 0;
    std::vector<std::uint64_t> counts;  ///< empty where nothing was counted
  };
  /// The narrowest bins of which kMostBins hold all that was counted: finite numbers between the two bounds, which are
  /// the least and the greatest of them, or infinite.
  Result GetResult(double minimum, double maximum);

 private:
  /// The least and the greatest finite number; false where there is none.
  static bool FindRange(const double* x, std::size_t count, double& minimum, double& maximum);
  /// Widens the bounds by what has been counted, as far as the bins tell.
  void FindCounted(double& minimum, double& maximum);
  void Flush();
  /// Makes room for what lies between the two.
  void Reach(double minimum, double maximum);
  int NarrowestFor(double minimum, double maximum, std::int64_t bins) const;
  void Place(int exponent, std::int64_t first);

  static constexpr std::int64_t kRoom = 512;  ///< more than are asked for; the tables of several bands share a cache
  bool whole_;
  int exponent_ = 0;        ///< the bins are 2 to this power wide
  std::int64_t first_ = 0;  ///< bin 0 begins at this multiple of the width
  std::vector<std::uint64_t> counts_;
  /// Counts that are not in the others yet: two tables, so that equal neighbours do not wait for one another.
  std::vector<std::uint32_t> recent_;
  std::uint64_t recentCount_ = 0;
  std::vector<std::int32_t> indices_;
};

}  // namespace Tamrin::TesseraGeospatial
