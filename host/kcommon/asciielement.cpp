#include "asciielement.h"

#include <bit>
#include <charconv>
#include <cmath>
#include <complex>
#include <cstring>
#include <system_error>

#include "kcommon/kstr.h"
#include "kgdaelement.h"
#include "utf8.h"

namespace {

constexpr char kHexDigits[] = "0123456789abcdef";

template <typename Float>
using BitsOf = std::conditional_t<sizeof(Float) == 8, std::uint64_t, std::uint32_t>;

template <typename Float>
void AppendFloat(std::string& text, Float value) {
  char buffer[40];
  if (std::isfinite(value)) {
    const auto written = std::to_chars(buffer, buffer + sizeof buffer, value);
    text.append(buffer, static_cast<std::size_t>(written.ptr - buffer));
    return;
  }
  if (std::signbit(value)) text += '-';
  if (std::isinf(value)) {
    text += "inf";
    return;
  }
  text += "nan";
  // The payload of a not-a-number that isn't the usual one is kept.
  const auto bits = std::bit_cast<BitsOf<Float>>(std::copysign(value, Float{1}));
  if (bits == std::bit_cast<BitsOf<Float>>(std::numeric_limits<Float>::quiet_NaN())) return;
  const auto written = std::to_chars(buffer, buffer + sizeof buffer, bits, 16);
  text += '(';
  text.append(buffer, static_cast<std::size_t>(written.ptr - buffer));
  text += ')';
}

bool NeedsEscape(unsigned char c) { return c < 0x20 || c == 0x7F || c == '"' || c == '\\'; }

void AppendEscape(std::string& text, unsigned char c) {
  text += '\\';
  switch (c) {
    case '\n':
      text += 'n';
      return;
    case '\r':
      text += 'r';
      return;
    case '\t':
      text += 't';
      return;
    case '"':
    case '\\':
      text += static_cast<char>(c);
      return;
    default:
      text += 'x';
      text += kHexDigits[c >> 4];
      text += kHexDigits[c & 15];
  }
}

void AppendString(std::string& text, const char* string) {
  if (!string) {
    text += "null";
    return;
  }
  text += '"';
  const char* const end = string + std::strlen(string);
  while (string != end) {
    const Utf8Step step = DecodeUtf8(string, end);
    const bool isCharacter = step.kind == Utf8Step::Kind::Character;
    if (isCharacter && !(step.length == 1 && NeedsEscape(static_cast<unsigned char>(*string)))) {
      text.append(string, step.length);
      string += step.length;
    } else {
      AppendEscape(text, static_cast<unsigned char>(*string++));
    }
  }
  text += '"';
}

bool TakeWord(const char*& place, const char* end, std::string_view word) {
  if (static_cast<std::size_t>(end - place) < word.size()) return false;
  for (std::size_t i = 0; i < word.size(); ++i)
    if ((place[i] | 0x20) != word[i]) return false;
  place += word.size();
  return true;
}

/// "nan", "nan(BITS)", "inf" or "infinity", behind the sign. Null where it is none.
template <typename Float>
const char* ReadSpecial(const char* place, const char* end, Float& value) {
  if (TakeWord(place, end, "infinity") || TakeWord(place, end, "inf")) {
    value = std::numeric_limits<Float>::infinity();
    return place;
  }
  if (!TakeWord(place, end, "nan")) return nullptr;
  value = std::numeric_limits<Float>::quiet_NaN();
  if (place == end || *place != '(') return place;
  BitsOf<Float> bits = 0;
  const auto read = std::from_chars(place + 1, end, bits, 16);
  if (read.ec != std::errc() || read.ptr == end || *read.ptr != ')') return nullptr;
  value = std::bit_cast<Float>(bits);
  return std::isnan(value) && !std::signbit(value) ? read.ptr + 1 : nullptr;
}

/// Behind the number, or null. What is too small to be told from 0 is 0.
template <typename Float>
const char* ReadFloat(const char* place, const char* end, Float& value) {
  const bool isNegative = place != end && *place == '-';
  const char* const start = place != end && (*place == '-' || *place == '+') ? place + 1 : place;
  if (start == end) return nullptr;
  const char first = *start;
  if ((first < '0' || first > '9') && first != '.') {
    const char* const behind = ReadSpecial(start, end, value);
    if (behind && isNegative) value = -value;
    return behind;
  }
  const auto read = std::from_chars(start, end, value);
  if (read.ec == std::errc::result_out_of_range) {
    const std::string_view digits(start, static_cast<std::size_t>(read.ptr - start));
    const std::size_t exponent = digits.find_first_of("eE");
    const bool isSmall =
        exponent == std::string_view::npos ? first == '.' || first == '0' : digits[exponent + 1] == '-';
    if (!isSmall) return nullptr;
    value = 0;
  } else if (read.ec != std::errc() || std::isinf(value)) {
    return nullptr;
  }
  if (isNegative) value = -value;
  return read.ptr;
}

template <typename Float>
void ReadFloatElement(TextLines& lines, Float& value) {
  Float read = 0;
  const char* const behind = ReadFloat(lines.GetPlace(), lines.GetLineEnd(), read);
  if (!behind || !lines.EndsElementAt(behind)) {
    lines.Fail(sizeof(Float) == 4 ? L"a number of single precision" : L"a number");
  }
  value = read;
  lines.SetPlace(behind);
}

template <typename T>
void ReadIntegerElement(TextLines& lines, const Element<T>& element, void* target) {
  const char* place = lines.GetPlace();
  if (*place == '+' && place + 1 != lines.GetLineEnd() && place[1] != '-') ++place;
  std::int64_t value = 0;
  auto read = std::from_chars(place, lines.GetLineEnd(), value);
  double number = static_cast<double>(value);
  if (read.ec == std::errc() && !lines.EndsElementAt(read.ptr)) {
    // Other tools write whole numbers with a point, or with an exponent.
    read.ptr = ReadFloat(lines.GetPlace(), lines.GetLineEnd(), number);
    if (!read.ptr || number != std::trunc(number)) read.ec = std::errc::invalid_argument;
  }
  if (read.ec != std::errc() || !(number >= element.lowest && number <= element.highest) ||
      !lines.EndsElementAt(read.ptr)) {
    lines.Fail(L"a whole number from " + std::to_wstring(static_cast<std::int64_t>(element.lowest)) + L" to " +
               std::to_wstring(static_cast<std::int64_t>(element.highest)));
  }
  *static_cast<T*>(target) = static_cast<T>(number);
  lines.SetPlace(read.ptr);
}

/// "1+2j", in parentheses or not; a number alone has no imaginary part.
template <typename Float>
void ReadComplexElement(TextLines& lines, std::complex<Float>& value) {
  const wchar_t* const expected = L"a complex number such as 1+2j";
  const char* const end = lines.GetLineEnd();
  const bool inParentheses = *lines.GetPlace() == '(';
  Float real = 0, imaginary = 0;
  const char* behind = ReadFloat(lines.GetPlace() + (inParentheses ? 1 : 0), end, real);
  if (!behind) lines.Fail(expected);
  if (behind != end && (*behind == '+' || *behind == '-')) {
    behind = ReadFloat(behind, end, imaginary);
    if (!behind || behind == end || *behind != 'j') lines.Fail(expected);
    ++behind;
  } else if (behind != end && *behind == 'j') {
    imaginary = real;
    real = 0;
    ++behind;
  }
  if (inParentheses) {
    if (behind == end || *behind != ')') lines.Fail(expected);
    ++behind;
  }
  if (!lines.EndsElementAt(behind)) lines.Fail(expected);
  value = {real, imaginary};
  lines.SetPlace(behind);
}

int HexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

/// The byte of an escape; `place` stands at the backslash and is moved behind.
char ReadEscape(const TextLines& lines, const char*& place) {
  const char* const start = place++;
  const char kind = place == lines.GetLineEnd() ? '\0' : *place++;
  switch (kind) {
    case 'n':
      return '\n';
    case 'r':
      return '\r';
    case 't':
      return '\t';
    case '"':
    case '\\':
      return kind;
    case 'x': {
      const bool areThere = lines.GetLineEnd() - place >= 2;
      const int high = areThere ? HexValue(place[0]) : -1, low = areThere ? HexValue(place[1]) : -1;
      // A string ends at a zero: what stands behind it would be lost.
      if (high < 0 || low < 0 || high + low == 0) break;
      place += 2;
      return static_cast<char>(high * 16 + low);
    }
    default:
      break;
  }
  lines.FailAt(start, LR"(one of \n, \r, \t, \", \\ and \xHH)");
}

void ReadStringElement(TextLines& lines, char*& element) {
  char* text = nullptr;
  if (*lines.GetPlace() == '"') {
    text = kstr_Duplicate(ReadQuoted(lines).c_str());
  } else {
    const std::string word(lines.PeekWord());
    if (word.find('\0') != std::string::npos) lines.Fail(L"text without zero bytes");
    text = word == "null" ? nullptr : kstr_Duplicate(word.c_str());
    lines.SetPlace(lines.GetPlace() + word.size());
  }
  kstr_Delete(element);
  element = text;
}

}  // namespace

void AppendElement(std::string& text, Kgda_PixelType type, const void* element) {
  VisitType(type, [&](auto kind) {
    using T = typename decltype(kind)::Type;
    const T& value = *static_cast<const T*>(element);
    if constexpr (std::is_same_v<T, char*>) {
      AppendString(text, value);
    } else if constexpr (kIsComplex<T>) {
      AppendFloat(text, value.real());
      const std::size_t place = text.size();
      AppendFloat(text, value.imag());
      if (text[place] != '-') text.insert(place, 1, '+');
      text += 'j';
    } else if constexpr (std::is_floating_point_v<T>) {
      AppendFloat(text, value);
    } else {
      char buffer[16];
      const auto written = std::to_chars(buffer, buffer + sizeof buffer, static_cast<std::int64_t>(value));
      text.append(buffer, static_cast<std::size_t>(written.ptr - buffer));
    }
  });
}

void ReadElement(TextLines& lines, Kgda_PixelType type, void* element) {
  if (lines.GetPlace() == lines.GetLineEnd()) lines.Fail(L"an element");
  VisitType(type, [&](auto kind) {
    using T = typename decltype(kind)::Type;
    if constexpr (std::is_same_v<T, char*>) {
      ReadStringElement(lines, *static_cast<char**>(element));
    } else if constexpr (kIsComplex<T>) {
      ReadComplexElement(lines, *static_cast<T*>(element));
    } else if constexpr (std::is_floating_point_v<T>) {
      ReadFloatElement(lines, *static_cast<T*>(element));
    } else {
      ReadIntegerElement(lines, kind, element);
    }
  });
}

double ReadNumber(TextLines& lines) {
  double value = 0;
  ReadElement(lines, KgdaFloat64, &value);
  return value;
}

std::string ReadQuoted(TextLines& lines) {
  std::string text;
  const char* place = lines.GetPlace() + 1;
  for (;;) {
    if (place == lines.GetLineEnd()) lines.FailAt(place, L"a quotation mark that ends the text");
    if (*place == '"') break;
    if (*place == '\0') lines.FailAt(place, L"text without zero bytes");
    text += *place == '\\' ? ReadEscape(lines, place) : *place++;
  }
  if (!lines.EndsElementAt(++place)) lines.FailAt(place, L"a separator behind the text");
  lines.SetPlace(place);
  return text;
}
