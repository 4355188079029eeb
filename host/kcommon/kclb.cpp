#include "kcommon/kclb.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string>

#include "kcommon/kerr.h"

namespace {

using Channels = std::array<double, 3>;

/// Hues that differ by less are the same: they come out of divisions.
constexpr double kSameHue = 1e-9;

Channels ChannelsOf(const Kclb_Color& color) { return {color.red, color.green, color.blue}; }

/// Of channels from 0 to 1; the hue in turns.
struct Ihs {
  double intensity = 0;
  double hue = 0;
  double saturation = 0;
  bool hasHue = false;
  bool hasSaturation = false;
};

/// The widest that channels of this intensity can lie apart.
double RoomOf(double intensity) { return 1 - std::abs(2 * intensity - 1); }

Ihs ToIhs(const Channels& channels) {
  const auto [red, green, blue] = channels;
  const double lowest = std::min({red, green, blue}), highest = std::max({red, green, blue});
  const double chroma = highest - lowest;
  Ihs ihs;
  ihs.intensity = (lowest + highest) / 2;
  ihs.hasSaturation = RoomOf(ihs.intensity) > 0;
  if (ihs.hasSaturation) ihs.saturation = chroma / RoomOf(ihs.intensity);
  ihs.hasHue = chroma > 0;
  if (!ihs.hasHue) return ihs;
  const double sixths = highest == red     ? (green - blue) / chroma
                        : highest == green ? 2 + (blue - red) / chroma
                                           : 4 + (red - green) / chroma;
  ihs.hue = sixths / 6 - std::floor(sixths / 6);
  return ihs;
}

Channels ToChannels(const Ihs& ihs) {
  const double chroma = ihs.saturation * RoomOf(ihs.intensity);
  const double lowest = ihs.intensity - chroma / 2;
  double sixths = (ihs.hue - std::floor(ihs.hue)) * 6;
  // Pure hues come out pure, whatever the divisions left behind.
  if (std::abs(sixths - std::round(sixths)) < kSameHue) sixths = std::round(sixths);
  const auto channel = [&](double share) { return lowest + chroma * std::clamp(share, 0.0, 1.0); };
  return {channel(std::abs(sixths - 3) - 1), channel(2 - std::abs(sixths - 2)), channel(2 - std::abs(sixths - 4))};
}

/// Turns from one hue to the other, counter-clockwise ones above 0.
double TurnsBetween(double from, double to, Kclb_HueDirection direction) {
  double forward = to - from - std::floor(to - from);
  if (forward < kSameHue || forward > 1 - kSameHue) forward = 0;
  const bool forwardIsShortest = forward <= 0.5 + kSameHue;
  switch (direction) {
    case Kclb_HueDirection::Shortest:
      return forwardIsShortest ? forward : forward - 1;
    case Kclb_HueDirection::Longest:
      return forwardIsShortest ? forward - 1 : forward;
    case Kclb_HueDirection::CounterClockwise:
      return forward;
    case Kclb_HueDirection::Clockwise:
      return forward > 0 ? forward - 1 : 0;
  }
  return 0;
}

class Ramp {
 public:
  Ramp(std::uint32_t levels, const Kclb_Color& start, const Kclb_Color& end, Kclb_SliceType type,
       Kclb_HueDirection direction)
      : levels_(levels), start_(ChannelsOf(start)), end_(ChannelsOf(end)), isRgb_(type == Kclb_SliceType::Rgb) {
    if (!isRgb_) PrepareIhs(direction);
  }

  std::uint32_t GetLevels() const { return levels_; }

  /// The ends are the very colours that were given.
  Channels At(std::uint32_t level) const {
    if (level == 0) return start_;
    if (level >= levels_ - 1) return end_;
    const double share = static_cast<double>(level) / (levels_ - 1);
    Channels channels;
    if (isRgb_) {
      for (std::size_t i = 0; i < channels.size(); ++i) channels[i] = std::lerp(start_[i], end_[i], share);
      return channels;
    }
    Ihs ihs;
    ihs.intensity = std::lerp(from_.intensity, to_.intensity, share);
    ihs.saturation = std::lerp(from_.saturation, to_.saturation, share);
    ihs.hue = from_.hue + turns_ * share;
    channels = ToChannels(ihs);
    for (double& channel : channels) channel *= unit_;
    return channels;
  }

 private:
  void PrepareIhs(Kclb_HueDirection direction) {
    // Channels of 0 to 255, say, are brought to where the space of hues is.
    for (const Channels& channels : {start_, end_}) unit_ = std::max({unit_, channels[0], channels[1], channels[2]});
    const auto scaled = [this](const Channels& c) { return Channels{c[0] / unit_, c[1] / unit_, c[2] / unit_}; };
    from_ = ToIhs(scaled(start_));
    to_ = ToIhs(scaled(end_));
    if (!from_.hasSaturation) from_.saturation = to_.saturation;
    if (!to_.hasSaturation) to_.saturation = from_.saturation;
    if (from_.hasHue && to_.hasHue)
      turns_ = TurnsBetween(from_.hue, to_.hue, direction);
    else if (to_.hasHue)
      from_.hue = to_.hue;
  }

  std::uint32_t levels_;
  Channels start_;
  Channels end_;
  bool isRgb_;
  double unit_ = 1;
  double turns_ = 0;
  Ihs from_;
  Ihs to_;
};

/// A row for each of the levels that `levelOf` gives.
template <typename LevelOf>
KgdaBaseDataStack Slice(std::uint32_t rows, const Ramp& ramp, const LevelOf& levelOf, KerrException& error) {
  if (ramp.GetLevels() == 0) {
    error.Log(__LINE__, L"Found 0 levels of a color ramp, expected at least one.");
    return KgdaBaseDataStack(KgdaBaseDataStack::KindTable);
  }
  KgdaBaseDataStack stack = kgda_BaseDataStackCreate(3, rows, 1, KgdaFloat64, KgdaBaseDataStack::KindTable, error);
  if (error.IsPending()) return stack;
  std::array<double*, 3> layers{};
  for (std::size_t i = 0; i < layers.size(); ++i) layers[i] = static_cast<double*>(stack.GetLayer(i).data);
  std::uint32_t level = 0;
  Channels channels = ramp.At(0);
  for (std::uint32_t row = 0; row < rows; ++row) {
    const std::uint32_t next = std::min(levelOf(row), ramp.GetLevels() - 1);
    if (next != level) channels = ramp.At(level = next);
    for (std::size_t i = 0; i < layers.size(); ++i) layers[i][row] = channels[i];
  }
  return stack;
}

KgdaBaseDataStack EvenSlice(std::uint32_t rows, const Ramp& ramp, KerrException& error) {
  const auto levelOf = [=, levels = std::uint64_t{ramp.GetLevels()}](std::uint32_t row) {
    return static_cast<std::uint32_t>(row * levels / rows);
  };
  return Slice(rows, ramp, levelOf, error);
}

double CountAt(const Kgda_BaseDataLayer& counts, std::uint32_t row) {
  const double count = kgda_ElementAsDouble(counts, static_cast<std::int32_t>(row), 0);
  return count > 0 ? count : 0;
}

}  // namespace

KgdaBaseDataStack kclb_RGBLevelSlice(std::uint32_t rows, std::uint32_t levels, const Kclb_Color& start,
                                     const Kclb_Color& end, KerrException& error) {
  return EvenSlice(rows, Ramp(levels, start, end, Kclb_SliceType::Rgb, Kclb_HueDirection::Shortest), error);
}

KgdaBaseDataStack kclb_LevelSlice(std::uint32_t rows, std::uint32_t levels, const Kclb_Color& start,
                                  const Kclb_Color& end, Kclb_HueDirection direction, KerrException& error) {
  return EvenSlice(rows, Ramp(levels, start, end, Kclb_SliceType::Ihs, direction), error);
}

KgdaBaseDataStack kclb_EqualCountLevelSlice(const KgdaBaseDataStack& histogram, std::uint32_t levels,
                                            const Kclb_Color& start, const Kclb_Color& end, Kclb_SliceType sliceType,
                                            Kclb_HueDirection direction, KerrException& error) {
  if (histogram.GetLayerCount() == 0) {
    error.Log(__LINE__, L"The histogram has no counts.");
    return KgdaBaseDataStack(KgdaBaseDataStack::KindTable);
  }
  const Kgda_BaseDataLayer& counts = histogram.GetLayer(0);
  const auto rows = counts.columns > 0 ? static_cast<std::uint32_t>(counts.rows) : 0;
  const Ramp ramp(levels, start, end, sliceType, direction);
  double total = 0;
  for (std::uint32_t row = 0; row < rows; ++row) total += CountAt(counts, row);
  if (std::isinf(total)) {
    error.Log(__LINE__, L"The counts of the histogram have no finite sum.");
    return KgdaBaseDataStack(KgdaBaseDataStack::KindTable);
  }
  if (total == 0) return EvenSlice(rows, ramp, error);
  double before = 0;
  const auto levelOf = [&](std::uint32_t row) {
    const double count = CountAt(counts, row);
    const double level = (before + count / 2) / total * levels;
    before += count;
    return level < levels ? static_cast<std::uint32_t>(level) : levels - 1;
  };
  return Slice(rows, ramp, levelOf, error);
}
