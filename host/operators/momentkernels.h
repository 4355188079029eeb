#pragma once

#include <cstddef>
#include <cstdint>

namespace Tamrin::TesseraGeospatial {

/// The inner loops of statistics, in the form that this machine runs fastest. Planes of elements lie `stride` elements
/// apart, one for each band.
struct MomentKernels {
  struct Range {
    double sum;
    double minimum;
    double maximum;
  };
  /// Sum, least and greatest of x[0] to x[count - 1], which are numbers or infinite. `count` is at least 1. The sum is
  /// that of the differences to `shift`, by which x is replaced.
  Range (*summarise)(double* x, std::size_t count, double shift);
  /// Adds the sums of products of each plane with itself and those behind it: row by row the upper triangle of a
  /// square. `count` is a multiple of 8.
  void (*addProducts)(const double* planes, std::size_t stride, std::size_t bands, std::size_t count, double* products);
  /// The same of bytes, kept in 16 bits, exactly; `count` is at most 32768.
  void (*addByteProducts)(const std::int16_t* planes, std::size_t stride, std::size_t bands, std::size_t count,
                          std::int64_t* products);
  /// Sums, least and greatest of bytes in 16 bits; what is in the arguments already counts.
  void (*summariseBytes)(const std::int16_t* x, std::size_t count, std::int64_t& sum, std::int16_t& minimum,
                         std::int16_t& maximum);
  /// Adds how often each byte occurs among bytes in 16 bits, signed or not, to the counts of the 256; `count` is at
  /// most 65535.
  void (*countBytes)(const std::int16_t* x, std::size_t count, std::uint32_t* counts);
  /// Bytes of pixels of 3 to 8 bands to planes of 16 bits. 8 bytes behind the last may be read, whatever they hold.
  void (*spreadBytes)(const std::uint8_t* pixels, std::size_t bands, std::size_t count, std::int16_t* planes,
                      std::size_t stride);
  /// Floats to doubles; true where one of them is not a number.
  bool (*takeFloats)(const float* from, std::size_t count, double* to);
  /// floor(x * factor) - first, as indices of bins; false where one of them is below 0 or not below `most`.
  bool (*findBins)(const double* x, std::size_t count, double factor, double first, double most, std::int32_t* bins);
};

const MomentKernels& GetMomentKernels();

}  // namespace Tamrin::TesseraGeospatial
