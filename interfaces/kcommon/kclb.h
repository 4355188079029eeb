#pragma once

#include <cstdint>

#include "kcommon/kgda.h"

class KerrException;

/// A colour at an end of a ramp. The channels are in a unit of the caller's, nominally from 0 to 1.
struct Kclb_Color {
  double red = 0;
  double green = 0;
  double blue = 0;
  double opacity = 1;
  std::int64_t model = 1;  ///< 1: red, green and blue; there is no other
};

/// What is interpolated from one colour to the other.
enum class Kclb_SliceType {
  Ihs = 0,  ///< intensity, hue and saturation
  Rgb = 1   ///< the channels
};

/// Which way round the hues are gone through. Counter-clockwise is from red over green to blue.
enum class Kclb_HueDirection { Shortest = 0, Longest = 1, CounterClockwise = 2, Clockwise = 3 };

// Ramps are tables of three layers of 64-bit floats: red, green and blue. The first of `levels` colours is `start`, the
// last `end`, and those between lie at equal distances; one level is `start` alone. A ramp that can't be had is
// recorded in `error`, and has no layers.

/// `rows` rows, evenly given to the levels.
KgdaBaseDataStack kclb_RGBLevelSlice(std::uint32_t rows, std::uint32_t levels, const Kclb_Color& start,
                                     const Kclb_Color& end, KerrException& error);
/// The same in intensity, hue and saturation: those of the double hexcone, where intensity is half of the lowest and
/// the highest channel. A grey has no hue of its own and takes that of the other colour, as black and white take its
/// saturation. Hues half a turn apart lie counter-clockwise on the shortest way and clockwise on the longest, which is
/// a whole turn for hues that are the same.
KgdaBaseDataStack kclb_LevelSlice(std::uint32_t rows, std::uint32_t levels, const Kclb_Color& start,
                                  const Kclb_Color& end, Kclb_HueDirection direction, KerrException& error);
/// A row for each row of the histogram's first layer, whose numbers are counts. The levels are given to rows by the
/// count up to the middle of each, so that every level holds about the same count. Counts below 0 and those that are
/// not a number are 0; where all are, the levels are given evenly.
KgdaBaseDataStack kclb_EqualCountLevelSlice(const KgdaBaseDataStack& histogram, std::uint32_t levels,
                                            const Kclb_Color& start, const Kclb_Color& end, Kclb_SliceType sliceType,
                                            Kclb_HueDirection direction, KerrException& error);
