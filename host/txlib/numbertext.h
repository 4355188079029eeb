#pragma once

#include <string>
#include <string_view>

namespace Tamrin::Tessera {

/// In the stream's default format with that many significant digits, classic locale.
std::wstring DoubleText(double value, int precision);

/// The whole text as a number, without blanks. False, and the value unchanged, where it is none or out of range.
bool ReadNumber(std::wstring_view text, int& value);
/// A minus is taken in front of zero only: a negative number is out of range and doesn't wrap around.
bool ReadNumber(std::wstring_view text, unsigned int& value);
/// Decimal, with "inf", "infinity", "nan" and "nan(...)" in any case. Too small for a double gives zero, too large
/// is refused.
bool ReadNumber(std::wstring_view text, double& value);

}  // namespace Tamrin::Tessera
