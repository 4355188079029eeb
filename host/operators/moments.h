#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Tamrin::TesseraGeospatial {

/// A number of twice a double's precision, as the sum of two.
struct Precise {
  double high = 0;
  double low = 0;
  void Add(double value);
  /// This minus other, to a double's precision of the difference.
  double Minus(const Precise& other) const;
};

/// Count, means and sums of products of deviations from the means, of pixels of several bands. Two of them merge into
/// that of the pixels of both, without losing digits where the means are far from zero.
class Moments {
 public:
  /// With `products` those of all pairs of bands, otherwise those of each band with itself.
  Moments(std::size_t bands, bool products);

  std::size_t GetBandCount() const { return means_.size(); }
  std::uint64_t GetCount() const { return count_; }
  double GetMean(std::size_t band) const { return means_[band].high + means_[band].low; }
  /// Sum of products of the deviations of two bands.
  double GetProduct(std::size_t band, std::size_t other) const;
  double GetMinimum(std::size_t band) const { return minima_[band]; }
  double GetMaximum(std::size_t band) const { return maxima_[band]; }

  void Merge(const Moments& other);
  /// Sums of x - shift and of products of those, of `count` pixels. `products` is changed.
  void MergeSums(std::uint64_t count, const Precise* shifts, const double* sums, double* products);
  /// Sums of whole numbers and of their products, without any error but that of the results' precision.
  void MergeExact(std::uint64_t count, const std::int64_t* sums, const std::int64_t* products);
  void MergeRange(std::size_t band, double minimum, double maximum);
  bool HasProducts() const { return hasProducts_; }

 private:
  std::size_t Index(std::size_t band, std::size_t other) const;
  void MergeDeviations(std::uint64_t count, const std::vector<Precise>& means, const double* products);

  bool hasProducts_;
  std::uint64_t count_ = 0;
  std::vector<Precise> means_;
  std::vector<double> products_;  ///< the upper triangle row by row, or the diagonal
  std::vector<double> minima_, maxima_;
};

}  // namespace Tamrin::TesseraGeospatial
