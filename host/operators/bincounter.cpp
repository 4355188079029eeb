#include "bincounter.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "momentkernels.h"

namespace Tamrin::TesseraGeospatial {

namespace {

/// Widths between which a double can be multiplied by the reciprocal without leaving its range.
constexpr int kLeastExponent = -1000;
/// No bin is narrower than its numbers' size times 2 to this power, so that the number of a bin fits 32 bits.
constexpr int kFinest = -28;

std::int64_t BinOf(double x, int exponent) { return static_cast<std::int64_t>(std::floor(std::ldexp(x, -exponent))); }

/// Rounded down, also below zero.
std::int64_t Shifted(std::int64_t bin, int by) { return bin >> std::min(by, 62); }

}  // namespace

int BinCounter::NarrowestFor(double minimum, double maximum, std::int64_t bins) const {
  const double size = std::max(std::abs(minimum), std::abs(maximum));
  int exponent = size > 0 ? std::max(std::ilogb(size) + kFinest, kLeastExponent) : kLeastExponent;
  if (whole_) exponent = std::max(exponent, 0);
  while (BinOf(maximum, exponent) - BinOf(minimum, exponent) >= bins) ++exponent;
  return exponent;
}

void BinCounter::Place(int exponent, std::int64_t first) {
  std::vector<std::uint64_t> counts(kRoom);
  for (std::size_t index = 0; index < counts_.size(); ++index) {
    if (counts_[index] == 0) continue;
    const std::int64_t bin = Shifted(first_ + static_cast<std::int64_t>(index), exponent - exponent_) - first;
    counts[static_cast<std::size_t>(bin)] += counts_[index];
  }
  counts_ = std::move(counts);
  exponent_ = exponent;
  first_ = first;
}

void BinCounter::FindCounted(double& minimum, double& maximum) {
  Flush();
  const auto isUsed = [](std::uint64_t count) { return count != 0; };
  const auto low = std::find_if(counts_.begin(), counts_.end(), isUsed);
  if (low == counts_.end()) return;
  const auto high = std::find_if(counts_.rbegin(), counts_.rend(), isUsed).base() - 1;
  minimum = std::min(minimum, std::ldexp(static_cast<double>(first_ + (low - counts_.begin())), exponent_));
  maximum = std::max(maximum, std::ldexp(static_cast<double>(first_ + (high - counts_.begin())), exponent_));
}

void BinCounter::Reach(double minimum, double maximum) {
  FindCounted(minimum, maximum);
  const int narrowest = NarrowestFor(minimum, maximum, kRoom);
  const int exponent = counts_.empty() ? narrowest : std::max(exponent_, narrowest);
  const std::int64_t low = BinOf(minimum, exponent), high = BinOf(maximum, exponent);
  Place(exponent, low - (kRoom - (high - low + 1)) / 2);
}

bool BinCounter::FindRange(const double* x, std::size_t count, double& minimum, double& maximum) {
  minimum = std::numeric_limits<double>::infinity();
  maximum = -minimum;
  for (std::size_t k = 0; k < count; ++k) {
    if (!std::isfinite(x[k])) continue;
    minimum = std::min(minimum, x[k]);
    maximum = std::max(maximum, x[k]);
  }
  return minimum <= maximum;
}

void BinCounter::Flush() {
  if (recentCount_ == 0) return;
  for (std::size_t bin = 0; bin < counts_.size(); ++bin)
    counts_[bin] += std::uint64_t{recent_[bin]} + recent_[static_cast<std::size_t>(kRoom) + bin];
  std::fill(recent_.begin(), recent_.end(), 0u);
  recentCount_ = 0;
}

void BinCounter::Count(const double* x, std::size_t count) {
  const auto find = [&] {
    return !counts_.empty() && GetMomentKernels().findBins(x, count, std::ldexp(1.0, -exponent_),
                                                           static_cast<double>(first_), kRoom, indices_.data());
  };
  indices_.resize(std::max(indices_.size(), count));
  recent_.resize(2 * static_cast<std::size_t>(kRoom));
  if (!find()) {
    double minimum = 0, maximum = 0;
    if (!FindRange(x, count, minimum, maximum)) return;
    Reach(minimum, maximum);
    if (!find()) {  // there are infinite ones
      for (std::size_t k = 0; k < count; ++k) {
        if (std::isfinite(x[k])) ++counts_[static_cast<std::size_t>(BinOf(x[k], exponent_) - first_)];
      }
      return;
    }
  }
  recentCount_ += count;
  std::uint32_t* const even = recent_.data();
  std::uint32_t* const odd = even + kRoom;
  std::size_t k = 0;
  for (; k + 2 <= count; k += 2) {
    ++even[indices_[k]];
    ++odd[indices_[k + 1]];
  }
  if (k < count) ++even[indices_[k]];
  constexpr std::uint64_t kBeforeOverflow = std::uint64_t{1} << 31;
  if (recentCount_ >= kBeforeOverflow) Flush();
}

void BinCounter::CountSame(double x, std::uint64_t count) {
  if (count == 0) return;
  const bool isInside = !counts_.empty() && BinOf(x, exponent_) >= first_ && BinOf(x, exponent_) < first_ + kRoom;
  if (!isInside) Reach(x, x);
  counts_[static_cast<std::size_t>(BinOf(x, exponent_) - first_)] += count;
}

void BinCounter::Merge(BinCounter& other) {
  if (other.counts_.empty()) return;
  double minimum = std::numeric_limits<double>::infinity(), maximum = -minimum;
  other.FindCounted(minimum, maximum);
  Reach(minimum, maximum);
  if (other.exponent_ > exponent_) {
    FindCounted(minimum, maximum);
    const std::int64_t low = BinOf(minimum, other.exponent_), high = BinOf(maximum, other.exponent_);
    Place(other.exponent_, low - (kRoom - (high - low + 1)) / 2);
  }
  for (std::size_t index = 0; index < other.counts_.size(); ++index) {
    if (other.counts_[index] == 0) continue;
    const std::int64_t bin = Shifted(other.first_ + static_cast<std::int64_t>(index), exponent_ - other.exponent_);
    counts_[static_cast<std::size_t>(bin - first_)] += other.counts_[index];
  }
}

BinCounter::Result BinCounter::GetResult(double minimum, double maximum) {
  Result result;
  if (counts_.empty()) return result;
  Flush();
  if (!std::isfinite(minimum) || !std::isfinite(maximum)) {
    minimum = std::numeric_limits<double>::infinity();
    maximum = -minimum;
    FindCounted(minimum, maximum);
  }
  if (minimum == maximum) {  // any width would do
    result = {minimum, 1, {0}};
    for (const std::uint64_t count : counts_) result.counts[0] += count;
    return result;
  }
  const int exponent = std::max(exponent_, NarrowestFor(minimum, maximum, kMostBins));
  const std::int64_t low = BinOf(minimum, exponent), high = BinOf(maximum, exponent);
  result.width = std::ldexp(1.0, exponent);
  result.minimum = static_cast<double>(low) * result.width;
  result.counts.resize(static_cast<std::size_t>(high - low + 1));
  for (std::size_t index = 0; index < counts_.size(); ++index) {
    if (counts_[index] == 0) continue;
    const std::int64_t bin = Shifted(first_ + static_cast<std::int64_t>(index), exponent - exponent_) - low;
    result.counts[static_cast<std::size_t>(bin)] += counts_[index];
  }
  return result;
}

}  // namespace Tamrin::TesseraGeospatial
