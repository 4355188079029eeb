#include <bit>
#include <charconv>
#include <cmath>
#include <complex>
#include <cstring>
#include <limits>
#include <string>
#include <type_traits>

#include "kcommon/kerr.h"
#include "kcommon/kgda.h"
#include "kcommon/kpxm.h"
#include "kcommon/kstr.h"
#include "kgdacopy.h"
#include "kgdaelement.h"

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

float ToFloat(double value, double lowest, double highest) {
  const double inside = value < lowest ? lowest : value > highest ? highest : value;
  return static_cast<float>(std::isinf(value) ? value : inside);
}

/// The number as T: rounded half to even and clamped for integers, NaN then being 0.
template <typename T>
T FromDouble(double value, const Element<T>& element) {
  if constexpr (std::is_integral_v<T>) {
    value = value >= element.lowest ? value : element.lowest;
    value = value <= element.highest ? value : element.highest;
    // Adding this much leaves no room for a fraction, and the number in the lowest bits; unlike a call to round it, a
    // loop of it is vectorised. Better still, where it has room there, from a number of 32 bits.
    constexpr double shift = 6755399441055744.0;
    constexpr bool hasRoom = sizeof(T) < sizeof(std::int32_t) || std::is_signed_v<T>;
    if constexpr (hasRoom) return static_cast<T>(static_cast<std::int32_t>(value + shift - shift));
    return static_cast<T>(std::bit_cast<std::int64_t>(value + shift));
  } else if constexpr (std::is_same_v<T, float>) {
    return ToFloat(value, element.lowest, element.highest);
  } else if constexpr (std::is_same_v<T, std::complex<float>>) {
    return {ToFloat(value, element.lowest, element.highest), 0.0f};
  } else {
    return T(value);
  }
}

template <typename From, typename To>
To Converted(const From& value, const Element<To>& element) {
  if constexpr (kIsComplex<From> && kIsComplex<To>) {
    using Part = typename To::value_type;
    if constexpr (std::is_same_v<Part, float>) {
      return {ToFloat(static_cast<double>(value.real()), element.lowest, element.highest),
              ToFloat(static_cast<double>(value.imag()), element.lowest, element.highest)};
    } else {
      return {static_cast<Part>(value.real()), static_cast<Part>(value.imag())};
    }
  } else if constexpr (kIsComplex<From>) {
    const auto real = static_cast<double>(value.real());
    return FromDouble(std::is_integral_v<To> && std::isnan(real) ? 0 : real, element);
  } else {
    auto number = static_cast<double>(value);
    if constexpr (std::is_integral_v<To> && std::is_floating_point_v<From>) number = number == number ? number : 0;
    return FromDouble(number, element);
  }
}

std::wstring NumberText(double value) { return kstr_ShortestDouble(value); }

/// The digits of the single-precision number, not those of its exact value.
std::wstring NumberText(float value) {
  if (!std::isfinite(value)) return kstr_ShortestDouble(static_cast<double>(value));
  char buffer[32];
  const auto written = std::to_chars(buffer, buffer + sizeof buffer, value);
  double nearest = 0;
  std::from_chars(buffer, written.ptr, nearest);
  return kstr_ShortestDouble(nearest);
}

template <typename T>
std::wstring TextOf(const T& value) {
  if constexpr (kIsComplex<T>) {
    return L"(" + NumberText(value.real()) + L"," + NumberText(value.imag()) + L")";
  } else if constexpr (std::is_same_v<T, float>) {
    return NumberText(value);
  } else {
    return NumberText(static_cast<double>(value));
  }
}

/// NaN where the whole text is no number.
double NumberOfText(const char* text) {
  if (!text) return kNaN;
  std::string_view rest = text;
  while (!rest.empty() && (rest.front() == ' ' || rest.front() == '\t')) rest.remove_prefix(1);
  while (!rest.empty() && (rest.back() == ' ' || rest.back() == '\t')) rest.remove_suffix(1);
  if (rest.size() > 1 && rest[0] == '+' && rest[1] != '-') rest.remove_prefix(1);
  double value = kNaN;
  const auto read = std::from_chars(rest.data(), rest.data() + rest.size(), value);
  return read.ptr == rest.data() + rest.size() && read.ec == std::errc() ? value : kNaN;
}

template <typename From, typename To>
[[gnu::always_inline]] inline void ConvertAll(const From* from, To* to, std::int64_t count,
                                              const Element<To>& element) {
  for (std::int64_t i = 0; i < count; ++i) to[i] = Converted(from[i], element);
}

#if defined(__x86_64__)
template <typename From, typename To>
[[gnu::target("avx2")]] void ConvertAllWide(const From* from, To* to, std::int64_t count, const Element<To>& element) {
  ConvertAll(from, to, count, element);
}
#endif

/// Of the instructions that this machine may have, where they are worth it: where few are written for what is read.
template <typename From, typename To>
void ConvertNumbers(const From* from, To* to, std::int64_t count, const Element<To>& element) {
#if defined(__x86_64__)
  if constexpr (std::is_arithmetic_v<To> && std::is_floating_point_v<From> && sizeof(To) <= sizeof(From)) {
    static const bool isWide = __builtin_cpu_supports("avx2");
    if (isWide) return ConvertAllWide(from, to, count, element);
  }
#endif
  ConvertAll(from, to, count, element);
}

template <typename From, typename To>
void ConvertRow(const From* from, To* to, std::int64_t count, const Element<To>& element) {
  if constexpr (!std::is_same_v<From, char*> && !std::is_same_v<To, char*>) {
    return ForPiecesFromBehind(count, sizeof(To), [&](std::int64_t begin, std::int64_t some) {
      ConvertNumbers(from + begin, to + begin, some, element);
    });
  }
  for (std::int64_t i = 0; i < count; ++i) {
    if constexpr (std::is_same_v<From, char*>) {
      const double number = NumberOfText(from[i]);
      to[i] = FromDouble(std::is_integral_v<To> && std::isnan(number) ? 0 : number, element);
    } else if constexpr (std::is_same_v<To, char*>) {
      to[i] = kstr_Duplicate(kstr_ToUtf8(TextOf(from[i])).c_str());
    }
  }
}

/// Between two types that differ.
void ConvertRun(void* to, Kgda_PixelType toType, const void* from, Kgda_PixelType fromType, std::int64_t count) {
  VisitType(fromType, [&](auto source) {
    VisitType(toType, [&](auto target) {
      using From = typename decltype(source)::Type;
      using To = typename decltype(target)::Type;
      if constexpr (!(std::is_same_v<From, char*> && std::is_same_v<To, char*>)) {
        ConvertRow(static_cast<const From*>(from), static_cast<To*>(to), count, target);
      }
    });
  });
}

void ConvertLayer(const Kgda_BaseDataLayer& from, Kgda_BaseDataLayer& to) {
  // Tables are one column of many rows: one long loop where the rows lie one behind the other.
  const bool oneRun = IsContiguous(from) && IsContiguous(to);
  const std::int32_t runs = oneRun ? 1 : from.rows;
  const std::int64_t count = oneRun ? std::int64_t{from.rows} * from.columns : from.columns;
  for (std::int32_t row = 0; row < runs; ++row) {
    ConvertRun(kgda_ElementPointer(to, row, 0), to.pixelType, kgda_ElementPointer(from, row, 0), from.pixelType, count);
  }
}

}  // namespace

double kgda_ElementAsDouble(const Kgda_BaseDataLayer& layer, std::int32_t row, std::int32_t column) {
  if (layer.pixelType > KgdaFloat64) return kNaN;
  double result = kNaN;
  VisitType(layer.pixelType, [&](auto element) {
    using T = typename decltype(element)::Type;
    if constexpr (std::is_arithmetic_v<T>) {
      result = static_cast<double>(*static_cast<const T*>(kgda_ElementPointer(layer, row, column)));
    }
  });
  return result;
}

void kgda_SetElementFromDouble(Kgda_BaseDataLayer& layer, std::int32_t row, std::int32_t column, double value) {
  VisitType(layer.pixelType, [&](auto element) {
    using T = typename decltype(element)::Type;
    if constexpr (!std::is_same_v<T, char*>) {
      *static_cast<T*>(kgda_ElementPointer(layer, row, column)) = Converted(value, element);
    }
  });
}

KgdaBaseDataStack kgda_ConvertStack(const KgdaBaseDataStack& stack, Kgda_PixelType type) {
  const bool sameType = [&] {
    for (std::size_t i = 0; i < stack.GetLayerCount(); ++i) {
      if (stack.GetLayer(i).pixelType != type) return false;
    }
    return true;
  }();
  if (sameType) return stack;
  KgdaBaseDataStack result(stack.GetKind());
  result.SetBinFunction(stack.GetBinFunction());
  for (std::size_t i = 0; i < stack.GetLayerCount(); ++i) {
    const Kgda_BaseDataLayer& from = stack.GetLayer(i);
    Kgda_BaseDataLayer& to = result.AddLayer(from.rows, from.columns, type);
    if (from.pixelType != type) {
      ConvertLayer(from, to);
    } else {
      CopyElements(from, to);
    }
  }
  return result;
}

void kpxm_ConvertPixels(void* to, Kgda_PixelType toType, const void* from, Kgda_PixelType fromType, std::int64_t count,
                        KerrException& error) {
  const std::size_t size = kgda_NumBytePerPixelFromType(toType);
  if (size == 0 || kgda_NumBytePerPixelFromType(fromType) == 0) {
    error.Log(__LINE__, L"Pixels of an unknown type can't be converted.");
  } else if (count < 0 || (count > 0 && (!to || !from))) {
    error.Log(__LINE__, L"There are no pixels to convert.");
  } else if (count > 0 && fromType != toType) {
    ConvertRun(to, toType, from, fromType, count);
  } else if (count > 0 && fromType == KgdaString) {
    for (std::int64_t i = 0; i < count; ++i)
      static_cast<char**>(to)[i] = kstr_Duplicate(static_cast<const char* const*>(from)[i]);
  } else if (count > 0) {
    std::memcpy(to, from, size * static_cast<std::size_t>(count));
  }
}
