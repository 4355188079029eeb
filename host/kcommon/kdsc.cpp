#include "kcommon/kdsc.h"

#include <cmath>
#include <string>

#include "kcommon/kerr.h"

namespace {

using Kind = Kdsc_BinFunction::Kind;

bool IsKnown(const Kdsc_BinFunction* function, KerrException& error) {
  if (!function) {
    error.Log(__LINE__, L"There is no bin function that tells which values a bin holds.");
  } else if (function->kind == Kind::Explicit &&
             function->limits.size() != static_cast<std::size_t>(function->numBins) + 1) {
    error.Log(__LINE__, L"Found " + std::to_wstring(function->limits.size()) + L" limits of " +
                            std::to_wstring(function->numBins) + L" bins, expected one more than bins.");
  } else {
    return true;
  }
  return false;
}

/// Where bin `index` begins and the one before ends; of functions that are not direct.
double LimitOf(const Kdsc_BinFunction& function, std::int32_t index) {
  if (function.kind == Kind::Explicit) return function.limits[static_cast<std::size_t>(index)];
  if (index == 0) return function.minimum;
  if (index == function.numBins) return function.maximum;
  const double share = static_cast<double>(index) / function.numBins;
  if (function.kind == Kind::Linear) return std::lerp(function.minimum, function.maximum, share);
  return function.minimum * std::pow(function.maximum / function.minimum, share);
}

std::int32_t BinOf(const Kdsc_BinFunction& function, double value) {
  const std::int32_t count = function.numBins;
  if (function.kind == Kind::Direct) {
    const double offset = std::floor(value - function.minimum);
    return offset >= 0 && offset < count ? static_cast<std::int32_t>(offset) : -1;
  }
  if (count < 1 || !(value >= LimitOf(function, 0)) || !(value <= LimitOf(function, count))) return -1;
  // Searched for among the very limits that the inverse gives: a quotient may be off by its last bit.
  std::int32_t low = 0, high = count;
  while (high - low > 1) {
    const std::int32_t middle = low + (high - low) / 2;
    (LimitOf(function, middle) <= value ? low : high) = middle;
  }
  return low;
}

}  // namespace

void kdsc_BinFunctionApplyInverse(const Kdsc_BinFunction* function, std::int32_t bin, double& lower, double& upper,
                                  KerrException& error) {
  if (!IsKnown(function, error)) return;
  if (bin < 0 || bin >= function->numBins) {
    error.Log(__LINE__, L"Found bin " + std::to_wstring(bin) + L" of a bin function that has " +
                            std::to_wstring(function->numBins) + L" bins, counted from 0.");
  } else if (function->kind == Kind::Direct) {
    lower = upper = function->minimum + bin;
  } else {
    lower = LimitOf(*function, bin);
    upper = LimitOf(*function, bin + 1);
  }
}

void kdsc_BinFunctionApply(const Kdsc_BinFunction* function, double value, std::int32_t& bin, KerrException& error) {
  if (IsKnown(function, error)) bin = BinOf(*function, value);
}
