#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Tamrin::TesseraBasic {

/// Digits of the single-precision number, not those of its exact value.
std::wstring SingleText(float value);

/// The whole text as a number of the classic locale, blanks around it allowed: decimal, "NaN", "Infinity" and
/// "-Infinity" in any case. False, and the value unchanged, where it is none or out of range.
bool ReadDouble(std::wstring_view text, double& value);

/// Numbers separated by blanks. False where one is none.
bool ReadDoubles(std::wstring_view text, std::vector<double>& values);

std::wstring_view TrimBlanks(std::wstring_view text);

/// Equal but for the case of ASCII letters.
bool EqualsIgnoringCase(std::wstring_view a, std::wstring_view b);

/// One line of at most 80 characters.
std::wstring CutToLine(std::wstring text);
constexpr std::size_t kLineLength = 80;

/// Below, at or above 0; not-a-number comes last and equals itself.
int OrderOfNumbers(double a, double b);

template <typename T>
int OrderOf(const T& a, const T& b) {
  return a < b ? -1 : b < a ? 1 : 0;
}

}  // namespace Tamrin::TesseraBasic
