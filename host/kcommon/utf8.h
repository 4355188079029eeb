#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

/// One step of a strict UTF-8 decoder (Unicode 14, table 3-7): no overlong forms, surrogates or values above
/// U+10FFFF.
struct Utf8Step {
  enum class Kind { Character, Bad, CutOff };
  Kind kind;
  char32_t code;
  std::size_t length;
};

/// `bytes` is not at `end`. A sequence that is right so far and meets the end is CutOff.
inline Utf8Step DecodeUtf8(const char* bytes, const char* end) {
  const auto lead = static_cast<unsigned char>(*bytes);
  if (lead < 0x80) return {Utf8Step::Kind::Character, lead, 1};
  if (lead < 0xC2 || lead > 0xF4) return {Utf8Step::Kind::Bad, 0, 1};
  const std::size_t length = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  unsigned lowest = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
  unsigned highest = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
  char32_t code = lead & (0x7Fu >> length);
  for (std::size_t i = 1; i < length; ++i) {
    if (bytes + i == end) return {Utf8Step::Kind::CutOff, 0, i};
    const auto next = static_cast<unsigned char>(bytes[i]);
    if (next < lowest || next > highest) return {Utf8Step::Kind::Bad, 0, 1};
    code = (code << 6) | (next & 0x3F);
    lowest = 0x80;
    highest = 0xBF;
  }
  return {Utf8Step::Kind::Character, code, length};
}

/// How many bytes from `bytes` on are ASCII.
inline std::size_t AsciiRun(const char* bytes, const char* end) {
  const char* place = bytes;
  for (std::uint64_t eight = 0; end - place >= 8; place += 8) {
    std::memcpy(&eight, place, sizeof eight);
    if ((eight & 0x8080808080808080U) != 0) break;
  }
  while (place != end && static_cast<unsigned char>(*place) < 0x80) ++place;
  return static_cast<std::size_t>(place - bytes);
}

/// Appends characters to a text in pieces, each of which is made in memory that stays in the nearest cache.
class WideWriter {
 public:
  explicit WideWriter(std::wstring& text) : text_(text) {}
  ~WideWriter() { Flush(); }
  WideWriter(const WideWriter&) = delete;
  WideWriter& operator=(const WideWriter&) = delete;

  void Put(char32_t character) {
    if (count_ == kPiece) Flush();
    piece_[count_++] = static_cast<wchar_t>(character);
  }
  void PutAscii(const char* bytes, std::size_t count) {
    while (count > 0) {
      if (count_ == kPiece) Flush();
      const std::size_t some = std::min(count, kPiece - count_);
      for (std::size_t i = 0; i < some; ++i) piece_[count_ + i] = static_cast<wchar_t>(bytes[i]);
      count_ += some;
      bytes += some;
      count -= some;
    }
  }
  void Flush() {
    text_.append(piece_, count_);
    count_ = 0;
  }

 private:
  static constexpr std::size_t kPiece = 2048;
  std::wstring& text_;
  std::size_t count_ = 0;
  wchar_t piece_[kPiece];
};
