#include "moments.h"

#include <algorithm>
#include <limits>

namespace Tamrin::TesseraGeospatial {

namespace {

/// a + b as the nearest double and what is missing.
Precise SumOf(double a, double b) {
  const double sum = a + b, part = sum - a;
  return {sum, (a - (sum - part)) + (b - part)};
}

}  // namespace

void Precise::Add(double value) {
  const Precise sum = SumOf(high, value);
  *this = SumOf(sum.high, sum.low + low);
}

double Precise::Minus(const Precise& other) const {
  const Precise difference = SumOf(high, -other.high);
  return difference.high + (difference.low + (low - other.low));
}

Moments::Moments(std::size_t bands, bool products)
    : hasProducts_(products),
      means_(bands),
      products_(products ? bands * (bands + 1) / 2 : bands),
      minima_(bands, std::numeric_limits<double>::infinity()),
      maxima_(bands, -std::numeric_limits<double>::infinity()) {}

std::size_t Moments::Index(std::size_t band, std::size_t other) const {
  if (!hasProducts_) return band;
  const auto [row, column] = std::minmax(band, other);
  return row * GetBandCount() - row * (row + 1) / 2 + column;
}

double Moments::GetProduct(std::size_t band, std::size_t other) const { return products_[Index(band, other)]; }

void Moments::Merge(const Moments& other) {
  if (other.count_ == 0) return;
  MergeDeviations(other.count_, other.means_, other.products_.data());
  for (std::size_t band = 0; band < GetBandCount(); ++band) MergeRange(band, other.minima_[band], other.maxima_[band]);
}

void Moments::MergeDeviations(std::uint64_t count, const std::vector<Precise>& means, const double* products) {
  const auto own = static_cast<double>(count_), theirs = static_cast<double>(count), all = own + theirs;
  const std::size_t bands = GetBandCount();
  std::vector<double> away(bands);
  for (std::size_t band = 0; band < bands; ++band) away[band] = means[band].Minus(means_[band]);
  const double weight = own / all * theirs;
  for (std::size_t row = 0; row < bands; ++row) {
    const std::size_t end = hasProducts_ ? bands : row + 1;
    for (std::size_t column = row; column < end; ++column) {
      const std::size_t index = Index(row, column);
      products_[index] += count_ == 0 ? products[index] : products[index] + away[row] * away[column] * weight;
    }
  }
  for (std::size_t band = 0; band < bands; ++band) {
    if (count_ == 0)
      means_[band] = means[band];
    else
      means_[band].Add(away[band] * (theirs / all));
  }
  count_ += count;
}

void Moments::MergeSums(std::uint64_t count, const Precise* shifts, const double* sums, double* products) {
  const std::size_t bands = GetBandCount();
  const auto number = static_cast<double>(count);
  std::vector<Precise> means(bands);
  for (std::size_t row = 0; row < bands; ++row) {
    means[row] = shifts[row];
    means[row].Add(sums[row] / number);
    const std::size_t end = hasProducts_ ? bands : row + 1;
    for (std::size_t column = row; column < end; ++column)
      products[Index(row, column)] -= sums[row] * (sums[column] / number);
  }
  MergeDeviations(count, means, products);
}

void Moments::MergeExact(std::uint64_t count, const std::int64_t* sums, const std::int64_t* products) {
  __extension__ typedef __int128 Wide;
  const std::size_t bands = GetBandCount();
  const auto number = static_cast<Wide>(count);
  std::vector<Precise> means(bands);
  std::vector<double> deviations(products_.size());
  for (std::size_t row = 0; row < bands; ++row) {
    const Wide whole = sums[row] / number;
    means[row] = {static_cast<double>(whole), 0};
    means[row].Add(static_cast<double>(sums[row] - whole * number) / static_cast<double>(count));
    const std::size_t end = hasProducts_ ? bands : row + 1;
    for (std::size_t column = row; column < end; ++column) {
      const std::size_t index = Index(row, column);
      const Wide scaled = products[index] * number - static_cast<Wide>(sums[row]) * sums[column];
      deviations[index] = static_cast<double>(scaled) / static_cast<double>(count);
    }
  }
  MergeDeviations(count, means, deviations.data());
}

void Moments::MergeRange(std::size_t band, double minimum, double maximum) {
  minima_[band] = std::min(minima_[band], minimum);
  maxima_[band] = std::max(maxima_[band], maximum);
}

}  // namespace Tamrin::TesseraGeospatial
