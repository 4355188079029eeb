#include <array>

#include "kcommon/encryption.h"
#include "libcrypto.h"

namespace korven::common {

namespace {

using Bytes = Encryption::Bytes;

/// Bytes of a code unit: UTF-8, and on to all 32 bits.
std::size_t LengthOf(std::uint32_t code) {
  if (code < 0x80) return 1;
  if (code < 0x800) return 2;
  if (code < 0x10000) return 3;
  if (code < 0x200000) return 4;
  if (code < 0x4000000) return 5;
  return code < 0x80000000 ? 6 : 7;
}

/// The first byte's bits that tell the length: 0, 110, 1110, up to 11111110.
std::uint8_t MarkOf(std::size_t length) {
  return length == 1 ? 0 : static_cast<std::uint8_t>(0xFFu << (8 - length) & 0xFFu);
}

std::size_t LengthFrom(std::uint8_t lead) {
  if (lead < 0x80) return 1;
  std::size_t length = 0;
  for (unsigned bit = 0x80; bit && (lead & bit); bit >>= 1) ++length;
  return length;
}

[[noreturn]] void RefuseText(std::size_t place) {
  RefuseEncryption(L"The bytes are no text at byte " + std::to_wstring(place) + L".");
}

/// The code unit at `place`, which moves behind it. Longer forms than needed are refused: each text has one form.
std::uint32_t TakeCode(const Bytes& bytes, std::size_t& place) {
  const std::size_t length = LengthFrom(bytes[place]);
  if (length == 1 && bytes[place] < 0x80) return bytes[place++];
  if (length < 2 || length > 7 || bytes.size() - place < length) RefuseText(place);
  std::uint64_t code = bytes[place] & (0x7Fu >> length);
  for (std::size_t i = 1; i < length; ++i) {
    if ((bytes[place + i] & 0xC0) != 0x80) RefuseText(place);
    code = code << 6 | (bytes[place + i] & 0x3Fu);
  }
  if (code > 0xFFFFFFFF || LengthOf(static_cast<std::uint32_t>(code)) != length) RefuseText(place);
  place += length;
  return static_cast<std::uint32_t>(code);
}

constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint8_t kNoDigit = 64;

constexpr std::array<std::uint8_t, 256> kValues = [] {
  std::array<std::uint8_t, 256> values{};
  values.fill(kNoDigit);
  for (std::uint8_t i = 0; i < 64; ++i) values[static_cast<unsigned char>(kDigits[i])] = i;
  return values;
}();

std::uint32_t ValueAt(const std::string& text, std::size_t place) {
  const std::uint8_t value = kValues[static_cast<unsigned char>(text[place])];
  if (value == kNoDigit) RefuseEncryption(L"The text is no base64 at character " + std::to_wstring(place) + L".");
  return value;
}

}  // namespace

Bytes Encryption::TextToBytes(const std::wstring& text) {
  // Documents are ASCII for the most part, and that needs no look at each character.
  std::uint32_t bits = 0;
  Bytes bytes(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    bits |= static_cast<std::uint32_t>(text[i]);
    bytes[i] = static_cast<std::uint8_t>(text[i]);
  }
  if (bits < 0x80) return bytes;
  std::size_t size = 0;
  for (const wchar_t c : text) size += LengthOf(static_cast<std::uint32_t>(c));
  bytes = Bytes(size);
  std::uint8_t* to = bytes.data();
  for (const wchar_t c : text) {
    const auto code = static_cast<std::uint32_t>(c);
    if (code < 0x80) {
      *to++ = static_cast<std::uint8_t>(code);
      continue;
    }
    const std::size_t length = LengthOf(code);
    // Seven bytes have six bits each behind a first one that has none.
    *to++ = static_cast<std::uint8_t>(MarkOf(length) | (length == 7 ? 0 : code >> (6 * (length - 1))));
    for (std::size_t i = length - 1; i-- > 0;) *to++ = static_cast<std::uint8_t>(0x80 | (code >> (6 * i) & 0x3F));
  }
  return bytes;
}

std::wstring Encryption::BytesToTextU(const Bytes& bytes) {
  std::uint8_t bits = 0;
  for (const std::uint8_t byte : bytes) bits |= byte;
  if (bits < 0x80) return std::wstring(bytes.begin(), bytes.end());
  std::wstring text;
  text.reserve(bytes.size());
  for (std::size_t place = 0; place < bytes.size();) text += static_cast<wchar_t>(TakeCode(bytes, place));
  return text;
}

std::string Encryption::BytesToBase64(const Bytes& bytes) {
  std::string text((bytes.size() + 2) / 3 * 4, '=');
  char* to = text.data();
  for (std::size_t place = 0; place < bytes.size(); place += 3) {
    const std::size_t count = bytes.size() - place;
    const std::uint32_t three = static_cast<std::uint32_t>(bytes[place]) << 16 |
                                (count > 1 ? static_cast<std::uint32_t>(bytes[place + 1]) << 8 : 0) |
                                (count > 2 ? bytes[place + 2] : 0u);
    to[0] = kDigits[three >> 18];
    to[1] = kDigits[three >> 12 & 63];
    if (count > 1) to[2] = kDigits[three >> 6 & 63];
    if (count > 2) to[3] = kDigits[three & 63];
    to += 4;
  }
  return text;
}

Bytes Encryption::Base64ToBytes(const std::string& text) {
  if (text.size() % 4 != 0)
    RefuseEncryption(L"The text is no base64: it has " + std::to_wstring(text.size()) + L" characters.");
  if (text.empty()) return {};
  const std::size_t padding = text[text.size() - 1] != '=' ? 0 : text[text.size() - 2] != '=' ? 1 : 2;
  const std::size_t last = text.size() - (padding ? 4 : 0);
  Bytes bytes(text.size() / 4 * 3 - padding);
  std::uint8_t* to = bytes.data();
  for (std::size_t place = 0; place < last; place += 4) {
    const std::uint32_t three = ValueAt(text, place) << 18 | ValueAt(text, place + 1) << 12 |
                                ValueAt(text, place + 2) << 6 | ValueAt(text, place + 3);
    *to++ = static_cast<std::uint8_t>(three >> 16);
    *to++ = static_cast<std::uint8_t>(three >> 8);
    *to++ = static_cast<std::uint8_t>(three);
  }
  if (padding == 0) return bytes;
  const std::uint32_t three =
      ValueAt(text, last) << 18 | ValueAt(text, last + 1) << 12 | (padding == 1 ? ValueAt(text, last + 2) << 6 : 0);
  if (three & (padding == 1 ? 0xFFu : 0xFFFFu)) RefuseEncryption(L"The text is no base64 at its end.");
  *to++ = static_cast<std::uint8_t>(three >> 16);
  if (padding == 1) *to++ = static_cast<std::uint8_t>(three >> 8);
  return bytes;
}

}  // namespace korven::common
