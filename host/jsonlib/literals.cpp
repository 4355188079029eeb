#include <charconv>
#include <cmath>

#include "jsonlib/events.h"
#include "jsonlib/widetext.h"
#include "textstream.h"

namespace korven::jsonlib {

namespace {

constexpr char kHex[] = "0123456789abcdef";

void AppendEscaped(std::string& out, unsigned char c) {
  switch (c) {
    case '"':
    case '\\':
      out += {'\\', static_cast<char>(c)};
      break;
    case '\b':
      out += "\\b";
      break;
    case '\f':
      out += "\\f";
      break;
    case '\n':
      out += "\\n";
      break;
    case '\r':
      out += "\\r";
      break;
    case '\t':
      out += "\\t";
      break;
    default:
      out += {'\\', 'u', '0', '0', kHex[c >> 4], kHex[c & 15]};
  }
}

void AppendByteMark(std::string& out, const char* at) {
  const auto third = static_cast<unsigned char>(at[2]);
  const unsigned byte = 0x80U + (at[1] == '\xB3' ? 0x40U : 0U) + (third & 0x3FU);
  out += {'\\', 'u', 'd', 'c', kHex[byte >> 4], kHex[byte & 15]};
}

}  // namespace

void AppendQuoted(std::string& out, std::string_view text) {
  out.push_back('"');
  const char* at = text.data();
  const char* const end = at + text.size();
  while (at != end) {
    const char* stop = SkipPlain(at, end);
    while (stop != end && static_cast<signed char>(*stop) < 0 && !IsByteMark(stop, end))
      stop = SkipPlain(stop + 1, end);
    out.append(at, stop);
    if (stop == end) break;
    const bool isMark = static_cast<signed char>(*stop) < 0;
    if (isMark)
      AppendByteMark(out, stop);
    else
      AppendEscaped(out, static_cast<unsigned char>(*stop));
    at = stop + (isMark ? 3 : 1);
  }
  out.push_back('"');
}

void AppendDouble(std::string& out, double value) {
  if (!std::isfinite(value)) {
    out += "null";
    return;
  }
  // Plain digits as long as they read better than an exponent does.
  const double size = std::fabs(value);
  const bool plain = size == 0 || (size >= 1e-5 && size < 1e17);
  char buffer[64];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, value,
                                    plain ? std::chars_format::fixed : std::chars_format::scientific);
  const std::string_view digits(buffer, static_cast<std::size_t>(result.ptr - buffer));
  out += digits;
  if (plain && digits.find('.') == std::string_view::npos) out += ".0";
}

}  // namespace korven::jsonlib
