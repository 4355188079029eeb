#include "numbertext.h"

#include <charconv>
#include <clocale>
#include <cmath>
#include <cstdlib>
#include <limits>

namespace Tamrin::Tessera {
namespace {

bool IsDigit(wchar_t c) { return c >= L'0' && c <= L'9'; }

bool EqualsWord(std::wstring_view text, std::string_view lower) {
  if (text.size() != lower.size()) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const wchar_t c = text[i] >= L'A' && text[i] <= L'Z' ? text[i] + (L'a' - L'A') : text[i];
    if (c != static_cast<wchar_t>(lower[i])) return false;
  }
  return true;
}

bool TakeSign(std::wstring_view& text) {
  if (text.empty() || (text.front() != L'-' && text.front() != L'+')) return false;
  const bool minus = text.front() == L'-';
  text.remove_prefix(1);
  return minus;
}

template <typename T>
bool ReadInteger(std::wstring_view text, T& value) {
  const bool minus = TakeSign(text);
  if (text.empty()) return false;
  constexpr auto kMost = static_cast<unsigned long long>(std::numeric_limits<T>::max());
  const unsigned long long most = !minus ? kMost : std::numeric_limits<T>::is_signed ? kMost + 1 : 0;
  unsigned long long read = 0;
  for (const wchar_t c : text) {
    if (!IsDigit(c)) return false;
    read = read * 10 + static_cast<unsigned long long>(c - L'0');
    if (read > most) return false;
  }
  value = static_cast<T>(minus ? 0 - read : read);
  return true;
}

bool ReadWord(std::wstring_view text, double& value) {
  if (text.size() < 3) return false;
  if (EqualsWord(text.substr(0, 3), "nan")) {
    text.remove_prefix(3);
    if (!text.empty() && (text.size() < 2 || text.front() != L'(' || text.back() != L')')) return false;
    value = std::numeric_limits<double>::quiet_NaN();
    return true;
  }
  if (!EqualsWord(text, "inf") && !EqualsWord(text, "infinity")) return false;
  value = std::numeric_limits<double>::infinity();
  return true;
}

std::size_t SkipDigits(std::wstring_view text, std::size_t at) {
  while (at < text.size() && IsDigit(text[at])) ++at;
  return at;
}

// Digits with at most one point, then an exponent that has digits.
bool IsDecimal(std::wstring_view text) {
  std::size_t at = SkipDigits(text, 0);
  std::size_t digits = at;
  if (at < text.size() && text[at] == L'.') {
    const std::size_t start = at + 1;
    at = SkipDigits(text, start);
    digits += at - start;
  }
  if (digits == 0) return false;
  if (at == text.size()) return true;
  if (text[at] != L'e' && text[at] != L'E') return false;
  ++at;
  if (at < text.size() && (text[at] == L'+' || text[at] == L'-')) ++at;
  return at < text.size() && SkipDigits(text, at) == text.size();
}

// Out of range either way: only strtod tells which, and gives the value of one that is too small.
bool ReadExtreme(const char* text, double& value) {
  static const locale_t kClassic = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(nullptr));
  const double read = strtod_l(text, nullptr, kClassic);
  if (std::isinf(read)) return false;
  value = read;
  return true;
}

bool ReadDecimal(std::wstring_view text, double& value) {
  char buffer[64];
  std::string longer;
  char* narrow = buffer;
  if (text.size() >= sizeof(buffer)) {
    longer.resize(text.size());
    narrow = longer.data();
  }
  for (std::size_t i = 0; i < text.size(); ++i) narrow[i] = static_cast<char>(text[i]);
  narrow[text.size()] = '\0';
  const auto result = std::from_chars(narrow, narrow + text.size(), value);
  return result.ec == std::errc::result_out_of_range ? ReadExtreme(narrow, value) : result.ec == std::errc();
}

}  // namespace

std::wstring DoubleText(double value, int precision) {
  char buffer[40];
  const auto result = std::to_chars(buffer, buffer + sizeof(buffer), value, std::chars_format::general, precision);
  return std::wstring(buffer, result.ptr);
}

bool ReadNumber(std::wstring_view text, int& value) { return ReadInteger(text, value); }

bool ReadNumber(std::wstring_view text, unsigned int& value) { return ReadInteger(text, value); }

bool ReadNumber(std::wstring_view text, double& value) {
  const bool minus = TakeSign(text);
  double read = 0;
  if (IsDecimal(text) ? !ReadDecimal(text, read) : !ReadWord(text, read)) return false;
  value = minus ? -read : read;
  return true;
}

}  // namespace Tamrin::Tessera
