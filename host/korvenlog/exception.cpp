#include "korvenlog/exception.h"

namespace KorvenLog {

namespace {

constexpr char32_t kReplacement = 0xFFFD;

bool IsScalarValue(char32_t code) { return code < 0xD800 || (code > 0xDFFF && code <= 0x10FFFF); }

void AppendUtf8(std::string& bytes, char32_t code) {
  if (code < 0x80) {
    bytes += static_cast<char>(code);
  } else if (code < 0x800) {
    bytes += static_cast<char>(0xC0 | (code >> 6));
    bytes += static_cast<char>(0x80 | (code & 0x3F));
  } else if (code < 0x10000) {
    bytes += static_cast<char>(0xE0 | (code >> 12));
    bytes += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
    bytes += static_cast<char>(0x80 | (code & 0x3F));
  } else {
    bytes += static_cast<char>(0xF0 | (code >> 18));
    bytes += static_cast<char>(0x80 | ((code >> 12) & 0x3F));
    bytes += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
    bytes += static_cast<char>(0x80 | (code & 0x3F));
  }
}

}  // namespace

std::string Narrow(std::wstring_view text) {
  // Most texts are ASCII for the most part, and that needs no look at each character.
  std::uint32_t bits = 0;
  std::string bytes(text.size(), '\0');
  for (std::size_t i = 0; i < text.size(); ++i) {
    bits |= static_cast<std::uint32_t>(text[i]);
    bytes[i] = static_cast<char>(text[i]);
  }
  if (bits < 0x80) return bytes;
  bytes.clear();
  for (const wchar_t character : text) {
    const auto code = static_cast<char32_t>(character);
    AppendUtf8(bytes, IsScalarValue(code) ? code : kReplacement);
  }
  return bytes;
}

std::wstring UnthrownException::get_What() const { return pending_.value_or(L"Unknown exception"); }

void UnthrownException::SetPending(int line, std::wstring text) {
  set_LineNum(line);
  pending_ = std::move(text);
}

}  // namespace KorvenLog
