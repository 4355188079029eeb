#include "momentkernels.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

// Each loop is written once, on vectors of a given width, and compiled for each instruction set that has a row in the
// table at the end. Vectors are never passed on: functions of different sets would pass them differently.
#define TESSERA_INLINE [[gnu::always_inline]] inline

namespace Tamrin::TesseraGeospatial {

namespace {

template <int kWidth>
struct VectorOf {
  typedef double Doubles __attribute__((vector_size(kWidth * sizeof(double)), aligned(8), may_alias));
};

template <int kWidth>
TESSERA_INLINE MomentKernels::Range Summarise(double* x, std::size_t count, double shift) {
  using V = typename VectorOf<kWidth>::Doubles;
  MomentKernels::Range range{0, x[0], x[0]};
  std::size_t i = 0;
  if (count >= kWidth) {
    const V away = V{} + shift;
    V sum{}, minimum = V{} + x[0], maximum = minimum;
    for (; i + kWidth <= count; i += kWidth) {
      V value = *reinterpret_cast<const V*>(x + i);
      minimum = value < minimum ? value : minimum;
      maximum = value > maximum ? value : maximum;
      value -= away;
      sum += value;
      *reinterpret_cast<V*>(x + i) = value;
    }
    for (int lane = 0; lane < kWidth; ++lane) {
      range.sum += sum[lane];
      range.minimum = std::min(range.minimum, static_cast<double>(minimum[lane]));
      range.maximum = std::max(range.maximum, static_cast<double>(maximum[lane]));
    }
  }
  for (; i < count; ++i) {
    range.minimum = std::min(range.minimum, x[i]);
    range.maximum = std::max(range.maximum, x[i]);
    x[i] -= shift;
    range.sum += x[i];
  }
  return range;
}

/// Products of kRows planes with kColumns others, or with themselves, so that each element is loaded once for several.
template <int kWidth, int kRows, int kColumns, bool kSame>
TESSERA_INLINE void AddBlock(const double* a, const double* b, std::size_t stride, std::size_t count, double* products,
                             std::size_t bands, std::size_t row, std::size_t column) {
  using V = typename VectorOf<kWidth>::Doubles;
  V sums[kRows][kColumns] = {};
  for (std::size_t k = 0; k < count; k += kWidth) {
    V x[kRows], y[kColumns];
#pragma GCC unroll 4
    for (int i = 0; i < kRows; ++i) x[i] = *reinterpret_cast<const V*>(a + static_cast<std::size_t>(i) * stride + k);
#pragma GCC unroll 4
    for (int j = 0; j < kColumns; ++j)
      y[j] = kSame ? x[j] : *reinterpret_cast<const V*>(b + static_cast<std::size_t>(j) * stride + k);
#pragma GCC unroll 4
    for (int i = 0; i < kRows; ++i) {
#pragma GCC unroll 4
      for (int j = kSame ? i : 0; j < kColumns; ++j) sums[i][j] += x[i] * y[j];
    }
  }
  for (int i = 0; i < kRows; ++i) {
    for (int j = kSame ? i : 0; j < kColumns; ++j) {
      const std::size_t r = row + static_cast<std::size_t>(i), c = column + static_cast<std::size_t>(j);
      double total = 0;
      for (int lane = 0; lane < kWidth; ++lane) total += sums[i][j][lane];
      products[r * bands - r * (r + 1) / 2 + c] += total;
    }
  }
}

template <int kWidth>
TESSERA_INLINE void AddProducts(const double* planes, std::size_t stride, std::size_t bands, std::size_t count,
                                double* products) {
  constexpr std::size_t kSide = 3;
  for (std::size_t row = 0; row < bands; row += kSide) {
    const double* const a = planes + row * stride;
    const std::size_t rows = std::min(kSide, bands - row);
    if (rows == 3) AddBlock<kWidth, 3, 3, true>(a, a, stride, count, products, bands, row, row);
    if (rows == 2) AddBlock<kWidth, 2, 2, true>(a, a, stride, count, products, bands, row, row);
    if (rows == 1) AddBlock<kWidth, 1, 1, true>(a, a, stride, count, products, bands, row, row);
    for (std::size_t column = row + kSide; column < bands; column += kSide) {  // there are more, so `rows` is 3
      const double* const b = planes + column * stride;
      const std::size_t columns = std::min(kSide, bands - column);
      if (columns == 3) AddBlock<kWidth, 3, 3, false>(a, b, stride, count, products, bands, row, column);
      if (columns == 2) AddBlock<kWidth, 3, 2, false>(a, b, stride, count, products, bands, row, column);
      if (columns == 1) AddBlock<kWidth, 3, 1, false>(a, b, stride, count, products, bands, row, column);
    }
  }
}

TESSERA_INLINE void AddByteProducts(const std::int16_t* planes, std::size_t stride, std::size_t bands,
                                    std::size_t count, std::int64_t* products) {
  for (std::size_t row = 0; row < bands; ++row) {
    const std::int16_t* const a = planes + row * stride;
    std::size_t column = row;
    for (; column + 1 < bands; column += 2) {
      const std::int16_t* const b = planes + column * stride;
      const std::int16_t* const c = b + stride;
      std::int32_t first = 0, second = 0;
      for (std::size_t k = 0; k < count; ++k) {
        first += static_cast<std::int32_t>(a[k]) * b[k];
        second += static_cast<std::int32_t>(a[k]) * c[k];
      }
      *products++ += first;
      *products++ += second;
    }
    if (column == bands) continue;
    const std::int16_t* const b = planes + column * stride;
    std::int32_t sum = 0;
    for (std::size_t k = 0; k < count; ++k) sum += static_cast<std::int32_t>(a[k]) * b[k];
    *products++ += sum;
  }
}

TESSERA_INLINE void SummariseBytes(const std::int16_t* x, std::size_t count, std::int64_t& sum, std::int16_t& minimum,
                                   std::int16_t& maximum) {
  std::int32_t total = 0;
  std::int16_t least = minimum, greatest = maximum;
  for (std::size_t k = 0; k < count; ++k) {
    total += x[k];
    least = std::min(least, x[k]);
    greatest = std::max(greatest, x[k]);
  }
  sum += total;
  minimum = least;
  maximum = greatest;
}

/// In several tables, so that equal neighbours do not wait for one another, and narrow ones, which leave the nearest
/// cache to the planes.
TESSERA_INLINE void CountBytes(const std::int16_t* x, std::size_t count, std::uint32_t* counts) {
  constexpr std::size_t kTables = 4, kValues = 256;
  std::uint16_t tables[kTables][kValues] = {};
  std::size_t k = 0;
  for (; k + kTables <= count; k += kTables) {
    std::uint64_t values = 0;  // all of them in one go; which comes first is the same to a count
    static_assert(sizeof values == kTables * sizeof *x);
    std::memcpy(&values, x + k, sizeof values);
    ++tables[0][static_cast<std::uint8_t>(values)];
    ++tables[1][static_cast<std::uint8_t>(values >> 16)];
    ++tables[2][static_cast<std::uint8_t>(values >> 32)];
    ++tables[3][static_cast<std::uint8_t>(values >> 48)];
  }
  for (; k < count; ++k) ++tables[0][static_cast<std::uint8_t>(x[k])];
  for (std::size_t value = 0; value < kValues; ++value) {
    std::uint32_t sum = 0;
    for (std::size_t table = 0; table < kTables; ++table) sum += tables[table][value];
    counts[value] += sum;
  }
}

typedef std::int16_t Shorts __attribute__((vector_size(16), aligned(2), may_alias));
typedef std::uint8_t Bytes __attribute__((vector_size(8)));

/// 8 pixels at once: each is loaded as a whole, and the square of pixels and bands is then turned around.
TESSERA_INLINE void SpreadBytes(const std::uint8_t* pixels, std::size_t bands, std::size_t count, std::int16_t* planes,
                                std::size_t stride) {
  constexpr std::size_t kAtOnce = 8;
  std::size_t k = 0;
  for (; k + kAtOnce <= count; k += kAtOnce) {
    Shorts r[8], s[8];
#pragma GCC unroll 8
    for (std::size_t i = 0; i < kAtOnce; ++i) {
      Bytes pixel;
      std::memcpy(&pixel, pixels + (k + i) * bands, sizeof pixel);
      r[i] = __builtin_convertvector(pixel, Shorts);
    }
    // Rows of pixels become rows of bands in three steps of interleaving halves.
    for (int step = 0; step < 3; ++step) {
#pragma GCC unroll 4
      for (int i = 0; i < 4; ++i) {
        s[2 * i] = __builtin_shufflevector(r[i], r[i + 4], 0, 8, 1, 9, 2, 10, 3, 11);
        s[2 * i + 1] = __builtin_shufflevector(r[i], r[i + 4], 4, 12, 5, 13, 6, 14, 7, 15);
      }
#pragma GCC unroll 8
      for (int i = 0; i < 8; ++i) r[i] = s[i];
    }
#pragma GCC unroll 8
    for (std::size_t band = 0; band < 8; ++band) {
      if (band < bands) *reinterpret_cast<Shorts*>(planes + band * stride + k) = r[band];
    }
  }
  for (; k < count; ++k) {
    for (std::size_t band = 0; band < bands; ++band) planes[band * stride + k] = pixels[k * bands + band];
  }
}

TESSERA_INLINE bool TakeFloats(const float* from, std::size_t count, double* to) {
  int found = 0;
  for (std::size_t k = 0; k < count; ++k) {
    found |= from[k] != from[k] ? 1 : 0;
    to[k] = static_cast<double>(from[k]);
  }
  return found != 0;
}

bool FindBins(const double* x, std::size_t count, double factor, double first, double most, std::int32_t* bins) {
  // Compared before they are cut to 32 bits, which far numbers would not survive.
  int outside = 0;
  for (std::size_t k = 0; k < count; ++k) {
    const double bin = std::floor(x[k] * factor) - first;
    const double low = bin < 0 ? 0 : bin, inside = low >= most ? 0 : low;
    outside |= inside != bin ? 1 : 0;
    bins[k] = static_cast<std::int32_t>(inside);
  }
  return outside == 0;
}

}  // namespace

#define TESSERA_KERNELS(Set, target, kWidth, findBins)                                                                 \
  namespace Set {                                                                                                      \
  target MomentKernels::Range SummariseHere(double* x, std::size_t count, double shift) {                              \
    return Summarise<kWidth>(x, count, shift);                                                                         \
  }                                                                                                                    \
  target void AddProductsHere(const double* planes, std::size_t stride, std::size_t bands, std::size_t count,          \
                              double* products) {                                                                      \
    AddProducts<kWidth>(planes, stride, bands, count, products);                                                       \
  }                                                                                                                    \
  target void AddByteProductsHere(const std::int16_t* planes, std::size_t stride, std::size_t bands,                   \
                                  std::size_t count, std::int64_t* products) {                                         \
    AddByteProducts(planes, stride, bands, count, products);                                                           \
  }                                                                                                                    \
  target void SummariseBytesHere(const std::int16_t* x, std::size_t count, std::int64_t& sum, std::int16_t& minimum,   \
                                 std::int16_t& maximum) {                                                              \
    SummariseBytes(x, count, sum, minimum, maximum);                                                                   \
  }                                                                                                                    \
  target void CountBytesHere(const std::int16_t* x, std::size_t count, std::uint32_t* counts) {                        \
    CountBytes(x, count, counts);                                                                                      \
  }                                                                                                                    \
  target void SpreadBytesHere(const std::uint8_t* pixels, std::size_t bands, std::size_t count, std::int16_t* planes,  \
                              std::size_t stride) {                                                                    \
    SpreadBytes(pixels, bands, count, planes, stride);                                                                 \
  }                                                                                                                    \
  target bool TakeFloatsHere(const float* from, std::size_t count, double* to) { return TakeFloats(from, count, to); } \
  constexpr MomentKernels kTable{&SummariseHere,  &AddProductsHere, &AddByteProductsHere, &SummariseBytesHere,         \
                                 &CountBytesHere, &SpreadBytesHere, &TakeFloatsHere,      findBins};                   \
  }

namespace {
TESSERA_KERNELS(plain, , 2, &FindBins)
#if defined(__x86_64__)
// Written for the one instruction that rounds down, which compilers don't find.
[[gnu::target("avx2,fma")]] bool FindBinsWide(const double* x, std::size_t count, double factor, double first,
                                              double most, std::int32_t* bins) {
  constexpr std::size_t kAtOnce = 4;
  const __m256d factors = _mm256_set1_pd(factor), firsts = _mm256_set1_pd(first), mosts = _mm256_set1_pd(most);
  const __m256d zero = _mm256_setzero_pd();
  __m256d inside = _mm256_cmp_pd(zero, zero, _CMP_EQ_OQ);
  std::size_t k = 0;
  for (; k + kAtOnce <= count; k += kAtOnce) {
    const __m256d bin = _mm256_sub_pd(_mm256_floor_pd(_mm256_mul_pd(_mm256_loadu_pd(x + k), factors)), firsts);
    inside = _mm256_and_pd(inside, _mm256_cmp_pd(bin, zero, _CMP_GE_OQ));
    inside = _mm256_and_pd(inside, _mm256_cmp_pd(bin, mosts, _CMP_LT_OQ));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(bins + k), _mm256_cvttpd_epi32(bin));
  }
  const bool areInside = FindBins(x + k, count - k, factor, first, most, bins + k);
  return areInside && _mm256_movemask_pd(inside) == 0xF;
}
TESSERA_KERNELS(wide, [[gnu::target("avx2,fma")]], 4, &FindBinsWide)
#endif
}  // namespace

const MomentKernels& GetMomentKernels() {
#if defined(__x86_64__)
  static const bool isWide = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
  if (isWide) return wide::kTable;
#endif
  return plain::kTable;
}

}  // namespace Tamrin::TesseraGeospatial
