#include "tilesums.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>

#include "momentkernels.h"

namespace Tamrin::TesseraGeospatial {

namespace {

constexpr std::size_t kPlaneBytes = 24 * 1024;  ///< of all planes; they are gone through several times
constexpr std::size_t kLeastPixels = 64;
constexpr std::size_t kMostPixels = 2048;
constexpr std::size_t kVector = 8;  ///< what the kernels want a multiple of

/// True where one of the elements is not a number.
template <typename Element, typename Plane>
bool Take(const std::byte* from, std::ptrdiff_t stride, std::size_t count, Plane* to) {
  if (stride == sizeof(Element)) {
    const auto* const elements = reinterpret_cast<const Element*>(from);
    if constexpr (std::is_same_v<Element, float>) return GetMomentKernels().takeFloats(elements, count, to);
    if constexpr (!std::is_floating_point_v<Element>) {
      for (std::size_t k = 0; k < count; ++k) to[k] = static_cast<Plane>(elements[k]);
      return false;
    }
  }
  bool found = false;
  for (std::size_t k = 0; k < count; ++k, from += stride) {
    const Element element = *reinterpret_cast<const Element*>(from);
    if constexpr (std::is_floating_point_v<Element>) found |= element != element;
    to[k] = static_cast<Plane>(element);
  }
  return found;
}

template <typename Plane>
using TakeFunction = bool (*)(const std::byte*, std::ptrdiff_t, std::size_t, Plane*);

TakeFunction<double> TakeOf(Kgda_PixelType type) {
  switch (type) {
    case KgdaUInt16:
      return &Take<std::uint16_t, double>;
    case KgdaInt16:
      return &Take<std::int16_t, double>;
    case KgdaUInt32:
      return &Take<std::uint32_t, double>;
    case KgdaInt32:
      return &Take<std::int32_t, double>;
    case KgdaFloat32:
      return &Take<float, double>;
    default:
      return &Take<double, double>;
  }
}

/// Gathers planes and leaves pixels out; what is made of full planes is for the classes below.
template <typename Plane>
class PlaneSums : public TileSums {
 public:
  PlaneSums(const RasterFacts& facts, const ScanOptions& options, TakeFunction<Plane> take)
      : bands_(facts.bands.size()),
        pixels_(std::clamp(kPlaneBytes / (sizeof(Plane) * bands_) / kVector * kVector, kLeastPixels, kMostPixels)),
        options_(options),
        take_(take),
        planes_(bands_ * pixels_),
        isLeftOut_(pixels_),
        histogram_(bands_, BinCounter(facts.type != KgdaFloat32 && facts.type != KgdaFloat64)) {
    for (const auto& values : options_.ignored) leavesOut_ = leavesOut_ || !values.empty();
  }

  void AddPixels(const RasterPart& row, std::size_t columns, std::size_t step) override {
    RasterPart rest = row;
    rest.pixelStride *= static_cast<std::ptrdiff_t>(step);
    for (std::size_t left = (columns + step - 1) / step; left > 0;) {
      const std::size_t count = std::min(left, pixels_ - filled_);
      TakePixels(rest, count);
      rest.data += rest.pixelStride * static_cast<std::ptrdiff_t>(count);
      left -= count;
      filled_ += count;
      if (filled_ == pixels_) Flush();
    }
  }

  std::vector<BinCounter>& GetHistogram() override { return histogram_; }

 protected:
  virtual void TakePixels(const RasterPart& from, std::size_t count) {
    for (std::size_t band = 0; band < bands_; ++band) {
      const std::byte* const first = from.data + from.bandStride * static_cast<std::ptrdiff_t>(band);
      if (take_(first, from.pixelStride, count, PlaneOf(band) + filled_)) hasNoNumber_ = true;
    }
  }
  /// The planes hold that many pixels, at least one.
  virtual void AddTile(std::size_t count) = 0;

  Plane* PlaneOf(std::size_t band) { return planes_.data() + band * pixels_; }

  void Flush() {
    std::fill(isLeftOut_.begin(), isLeftOut_.end(), std::uint8_t{0});
    const bool hasIgnored = leavesOut_ && MarkIgnored();
    if (hasNoNumber_) MarkNoNumbers();
    const std::size_t count = hasIgnored || hasNoNumber_ ? CloseGaps() : filled_;
    if (count > 0) AddTile(count);
    filled_ = 0;
    hasNoNumber_ = false;
  }

  const std::size_t bands_;
  const std::size_t pixels_;  ///< room of a plane
  const ScanOptions& options_;
  TakeFunction<Plane> take_;
  std::vector<Plane> planes_;
  std::vector<std::uint8_t> isLeftOut_;
  std::size_t filled_ = 0;
  bool leavesOut_ = false;
  bool hasNoNumber_ = false;  ///< some element of the planes
  std::vector<BinCounter> histogram_;

 private:
  /// What is not a number is no data, whatever the file says.
  void MarkNoNumbers() {
    for (std::size_t band = 0; band < bands_; ++band) {
      const Plane* const plane = PlaneOf(band);
      for (std::size_t k = 0; k < filled_; ++k) isLeftOut_[k] |= plane[k] != plane[k] ? 1 : 0;
    }
  }

  bool MarkIgnored() {
    std::uint8_t any = 0;
    for (std::size_t band = 0; band < bands_; ++band) {
      const Plane* const plane = PlaneOf(band);
      for (const double value : options_.ignored[band]) {
        for (std::size_t k = 0; k < filled_; ++k) {
          const auto isIt = static_cast<std::uint8_t>(static_cast<double>(plane[k]) == value);
          isLeftOut_[k] |= isIt;
          any |= isIt;
        }
      }
    }
    return any != 0;
  }

  std::size_t CloseGaps() {
    std::size_t count = 0;
    for (std::size_t k = 0; k < filled_; ++k) count += isLeftOut_[k] == 0;
    for (std::size_t band = 0; band < bands_; ++band) {
      Plane* const plane = PlaneOf(band);
      std::size_t to = 0;
      for (std::size_t k = 0; k < filled_; ++k) {
        if (isLeftOut_[k] == 0) plane[to++] = plane[k];
      }
    }
    return count;
  }
};

/// Whole numbers of 8 bits: their sums and products are exact.
class ByteSums : public PlaneSums<std::int16_t> {
 public:
  ByteSums(const RasterFacts& facts, const ScanOptions& options)
      : PlaneSums(facts, options,
                  facts.type == KgdaInt8 ? &Take<std::int8_t, std::int16_t> : &Take<std::uint8_t, std::int16_t>),
        isSigned_(facts.type == KgdaInt8),
        sums_(bands_),
        products_(options.products ? bands_ * (bands_ + 1) / 2 : bands_),
        minima_(bands_, kNone),
        maxima_(bands_, std::int16_t{-kNone}),
        counts_(options.histogram ? bands_ : 0),
        totals_(counts_.size()) {}

  void Finish(Moments& moments) override {
    Flush();
    for (std::size_t band = 0; band < counts_.size(); ++band) TakeCounts(band);
    if (count_ == 0) return;
    moments.MergeExact(count_, sums_.data(), products_.data());
    for (std::size_t band = 0; band < bands_; ++band) moments.MergeRange(band, minima_[band], maxima_[band]);
    count_ = 0;
    std::fill(sums_.begin(), sums_.end(), 0);
    std::fill(products_.begin(), products_.end(), 0);
    std::fill(minima_.begin(), minima_.end(), kNone);
    std::fill(maxima_.begin(), maxima_.end(), std::int16_t{-kNone});
  }

  std::vector<BinCounter>& GetHistogram() override {
    for (std::size_t band = 0; band < totals_.size(); ++band) {
      for (std::size_t value = 0; value < kValues; ++value)
        histogram_[band].CountSame(NumberOf(value), totals_[band][value]);
      totals_[band] = {};
    }
    return histogram_;
  }

 protected:
  void TakePixels(const RasterPart& from, std::size_t count) override {
    constexpr std::size_t kFewest = 3, kMost = 8;
    const bool isPacked = from.bandStride == 1 && from.pixelStride == static_cast<std::ptrdiff_t>(bands_);
    if (!isSigned_ && isPacked && bands_ >= kFewest && bands_ <= kMost) {
      GetMomentKernels().spreadBytes(reinterpret_cast<const std::uint8_t*>(from.data), bands_, count,
                                     planes_.data() + filled_, pixels_);
      return;
    }
    PlaneSums::TakePixels(from, count);
  }

  void AddTile(std::size_t count) override {
    const MomentKernels& kernels = GetMomentKernels();
    count_ += count;
    for (std::size_t band = 0; band < bands_; ++band) {
      const std::int16_t* const plane = PlaneOf(band);
      if (options_.histogram) {
        kernels.countBytes(plane, count, counts_[band].data());
        continue;
      }
      kernels.summariseBytes(plane, count, sums_[band], minima_[band], maxima_[band]);
      if (!options_.products) kernels.addByteProducts(plane, pixels_, 1, count, &products_[band]);
    }
    uncounted_ += count;
    constexpr std::uint64_t kBeforeOverflow = std::uint64_t{1} << 31;
    if (uncounted_ >= kBeforeOverflow) {
      for (std::size_t band = 0; band < counts_.size(); ++band) TakeCounts(band);
      uncounted_ = 0;
    }
    if (options_.products) kernels.addByteProducts(planes_.data(), pixels_, bands_, count, products_.data());
  }

 private:
  static constexpr std::int16_t kNone = 1000;
  static constexpr std::size_t kValues = 256;

  int NumberOf(std::size_t value) const {
    return isSigned_ ? static_cast<std::int8_t>(value) : static_cast<int>(value);
  }

  /// What was counted tells the sums as well.
  void TakeCounts(std::size_t band) {
    for (std::size_t value = 0; value < kValues; ++value) {
      const std::int64_t count = counts_[band][value], number = NumberOf(value);
      if (count == 0) continue;
      totals_[band][value] += static_cast<std::uint64_t>(count);
      sums_[band] += count * number;
      if (!options_.products) products_[band] += count * number * number;
      minima_[band] = std::min(minima_[band], static_cast<std::int16_t>(number));
      maxima_[band] = std::max(maxima_[band], static_cast<std::int16_t>(number));
    }
    counts_[band] = {};
  }

  bool isSigned_;
  std::uint64_t count_ = 0;
  std::vector<std::int64_t> sums_, products_;
  std::vector<std::int16_t> minima_, maxima_;
  std::vector<std::array<std::uint32_t, kValues>> counts_;  ///< of each band, since they were taken
  std::vector<std::array<std::uint64_t, kValues>> totals_;
  std::uint64_t uncounted_ = 0;  ///< pixels that the counts may hold
};

/// All other numbers, as doubles. Each tile is taken away from a value near its means, found in the one before.
class DoubleSums : public PlaneSums<double> {
 public:
  DoubleSums(const RasterFacts& facts, const ScanOptions& options)
      : PlaneSums(facts, options, TakeOf(facts.type)),
        moments_(bands_, options.products),
        shifts_(bands_),
        sums_(bands_),
        products_(options.products ? bands_ * (bands_ + 1) / 2 : bands_) {}

  void Finish(Moments& moments) override {
    Flush();
    moments.Merge(moments_);
    moments_ = Moments(bands_, options_.products);
    hasShifts_ = false;
  }

 protected:
  void AddTile(std::size_t count) override {
    const MomentKernels& kernels = GetMomentKernels();
    for (std::size_t band = 0; band < bands_; ++band) {
      double* const plane = PlaneOf(band);
      if (!hasShifts_) shifts_[band] = {std::isfinite(plane[0]) ? plane[0] : 0.0, 0};
      if (options_.histogram) histogram_[band].Count(plane, count);
      const auto range = kernels.summarise(plane, count, shifts_[band].high);
      sums_[band] = range.sum;
      moments_.MergeRange(band, range.minimum, range.maximum);
      std::fill(plane + count, plane + Padded(count), 0.0);
    }
    hasShifts_ = true;
    FindProducts(count);
    if (IsFarFromMeans(count)) {
      for (std::size_t band = 0; band < bands_; ++band) {
        const double away = sums_[band] / static_cast<double>(count);
        shifts_[band].Add(away);
        sums_[band] = kernels.summarise(PlaneOf(band), count, away).sum;
      }
      FindProducts(count);
    }
    moments_.MergeSums(count, shifts_.data(), sums_.data(), products_.data());
    for (std::size_t band = 0; band < bands_; ++band) {
      shifts_[band].Add(sums_[band] / static_cast<double>(count));
      shifts_[band] = {std::isfinite(shifts_[band].high) ? shifts_[band].high : 0.0, 0};
    }
  }

 private:
  static std::size_t Padded(std::size_t count) { return (count + kVector - 1) / kVector * kVector; }

  void FindProducts(std::size_t count) {
    const MomentKernels& kernels = GetMomentKernels();
    std::fill(products_.begin(), products_.end(), 0.0);
    if (options_.products) {
      kernels.addProducts(planes_.data(), pixels_, bands_, Padded(count), products_.data());
      return;
    }
    for (std::size_t band = 0; band < bands_; ++band)
      kernels.addProducts(PlaneOf(band), pixels_, 1, Padded(count), &products_[band]);
  }

  /// True where taking the square of the mean away would cost more than the last few bits.
  bool IsFarFromMeans(std::size_t count) const {
    constexpr double kFar = 0.9375;
    for (std::size_t band = 0, index = 0; band < bands_; ++band) {
      const double ofMean = sums_[band] * (sums_[band] / static_cast<double>(count));
      if (products_[index] > 0 && ofMean > kFar * products_[index]) return true;
      index += options_.products ? bands_ - band : 1;
    }
    return false;
  }

  Moments moments_;
  std::vector<Precise> shifts_;
  std::vector<double> sums_, products_;
  bool hasShifts_ = false;
};

}  // namespace

std::unique_ptr<TileSums> TileSums::Create(const RasterFacts& facts, const ScanOptions& options) {
  if (facts.type == KgdaUInt8 || facts.type == KgdaInt8) return std::make_unique<ByteSums>(facts, options);
  return std::make_unique<DoubleSums>(facts, options);
}

}  // namespace Tamrin::TesseraGeospatial
