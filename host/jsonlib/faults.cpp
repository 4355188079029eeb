#include "faults.h"

#include <cstdio>

#include "textstream.h"

namespace korven::jsonlib {

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::size_t kLongestWord = 40;

bool IsLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool IsWordCharacter(char c) {
  return IsLetter(c) || (c >= '0' && c <= '9') || c == '+' || c == '-' || c == '.' || c == '_';
}

std::string Quoted(std::string_view text) { return "\"" + std::string(text) + "\""; }

std::string Formatted(const char* format, unsigned value) {
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, format, value);
  return buffer;
}

/// The reader tells the place where a literal goes wrong; a person looks for its beginning.
std::size_t WordBegin(std::string_view text, std::size_t offset) {
  while (offset > 0 && (IsLetter(text[offset - 1]) || text[offset - 1] == '-')) --offset;
  return offset;
}

ParseError StringFault(std::string_view text, rapidjson::ParseErrorCode code, std::size_t offset) {
  const std::string_view rest = text.substr(offset);
  switch (code) {
    case rapidjson::kParseErrorStringUnicodeEscapeInvalidHex: {
      std::size_t end = 2;
      while (end < rest.size() && end < 6 && IsWordCharacter(rest[end])) ++end;
      return MakeFault(text, offset, Quoted(rest.substr(0, end)), "four hexadecimal digits after \"\\u\"");
    }
    case rapidjson::kParseErrorStringUnicodeSurrogateInvalid:
      return MakeFault(text, offset, "half a surrogate pair, " + Quoted(rest.substr(0, 6)), "both halves");
    case rapidjson::kParseErrorStringEscapeInvalid:
      if (rest.front() != '\\')
        return MakeFault(text, offset, FoundAt(text, offset),
                         "a character of the string, control characters as escapes");
      if (rest.size() == 1 || static_cast<signed char>(rest[1]) < ' ')
        return MakeFault(text, offset + 1, FoundAt(text, offset + 1), "the rest of an escape");
      return MakeFault(text, offset, Quoted(rest.substr(0, 2)), "an escape: one of \" \\ / b f n r t u after \"\\\"");
    case rapidjson::kParseErrorStringInvalidEncoding:
      while (offset < text.size()) {
        const std::size_t length = static_cast<signed char>(text[offset]) >= 0
                                       ? 1
                                       : SequenceLength(text.data() + offset, text.data() + text.size());
        if (length == 0) break;
        offset += length;
      }
      return MakeFault(text, offset, FoundAt(text, offset), "UTF-8 text");
    default:
      return MakeFault(text, offset, FoundAt(text, offset), "the closing double quote of the string");
  }
}

}  // namespace

std::size_t SequenceLength(const char* at, const char* end) {
  const auto byte = [at](std::size_t i) { return static_cast<unsigned char>(at[i]); };
  const auto follows = [&](std::size_t count) {
    if (static_cast<std::size_t>(end - at) <= count) return false;
    for (std::size_t i = 1; i <= count; ++i)
      if ((byte(i) & 0xC0) != 0x80) return false;
    return true;
  };
  const unsigned lead = byte(0);
  if (lead >= 0xC2 && lead <= 0xDF) return follows(1) ? 2 : 0;
  if (lead >= 0xE0 && lead <= 0xEF) {
    if (!follows(2)) return 0;
    const bool overlong = lead == 0xE0 && byte(1) < 0xA0;
    const bool surrogate = lead == 0xED && byte(1) >= 0xA0;
    return overlong || surrogate ? 0 : 3;
  }
  if (lead >= 0xF0 && lead <= 0xF4) {
    if (!follows(3)) return 0;
    const bool overlong = lead == 0xF0 && byte(1) < 0x90;
    const bool beyond = lead == 0xF4 && byte(1) >= 0x90;
    return overlong || beyond ? 0 : 4;
  }
  return 0;
}

void LocateOffset(std::string_view text, std::size_t offset, std::size_t& line, std::size_t& column) {
  line = 1;
  column = 1;
  for (const char c : text.substr(0, offset)) {
    if (c == '\n') {
      ++line;
      column = 1;
    } else if ((static_cast<unsigned char>(c) & 0xC0) != 0x80) {
      ++column;
    }
  }
}

ParseError MakeFault(std::string_view text, std::size_t offset, const std::string& found, const std::string& expected) {
  ParseError error;
  error.text = "found " + found + ", expected " + expected;
  error.offset = offset;
  LocateOffset(text, offset, error.line, error.column);
  return error;
}

std::string FoundAt(std::string_view text, std::size_t offset) {
  if (offset >= text.size()) return "the end of the text";
  const std::string_view rest = text.substr(offset);
  const unsigned char first = static_cast<unsigned char>(rest.front());
  if (first == 0) return "a NUL byte";
  if (first == '\n' || first == '\r') return "a line end";
  if (first < 0x20 || first == 0x7F) return Formatted("a control character (U+%04X)", first);
  if (rest.substr(0, kByteOrderMark.size()) == kByteOrderMark) return "a byte order mark";
  if (first == '"') return "a string";
  if (first >= 0x80) {
    const std::size_t length = SequenceLength(rest.data(), rest.data() + rest.size());
    return length == 0 ? Formatted("a byte that is no UTF-8 (0x%02X)", first) : Quoted(rest.substr(0, length));
  }
  std::size_t end = 1;
  if (IsWordCharacter(rest.front()))
    while (end < rest.size() && IsWordCharacter(rest[end])) ++end;
  if (end > kLongestWord) return Quoted(std::string(rest.substr(0, kLongestWord)) + "...");
  return Quoted(rest.substr(0, end));
}

ParseError DescribeFault(std::string_view text, rapidjson::ParseErrorCode code, std::size_t offset) {
  const auto fault = [&](const char* expected) { return MakeFault(text, offset, FoundAt(text, offset), expected); };
  const bool ends = offset >= text.size() || text[offset] == '\0';
  switch (code) {
    case rapidjson::kParseErrorDocumentEmpty:
      return fault("a value");
    case rapidjson::kParseErrorDocumentRootNotSingular:
      return fault("the end of the text");
    case rapidjson::kParseErrorValueInvalid:
      offset = WordBegin(text, offset);
      return fault("a value");
    case rapidjson::kParseErrorObjectMissName:
      return fault("a key in double quotes");
    case rapidjson::kParseErrorObjectMissColon:
      return fault("\":\"");
    case rapidjson::kParseErrorObjectMissCommaOrCurlyBracket:
      return fault("\",\" or \"}\"");
    case rapidjson::kParseErrorArrayMissCommaOrSquareBracket:
      return fault("\",\" or \"]\"");
    case rapidjson::kParseErrorNumberTooBig:
      return fault("a number that a double can hold");
    case rapidjson::kParseErrorNumberMissFraction:
      return fault("a digit after the decimal point");
    case rapidjson::kParseErrorNumberMissExponent:
      return fault("a digit of the exponent");
    case rapidjson::kParseErrorUnspecificSyntaxError:
      return fault(ends ? "the rest of a comment" : "\"/\" or \"*\", which make a comment");
    default:
      return StringFault(text, code, offset);
  }
}

}  // namespace korven::jsonlib
