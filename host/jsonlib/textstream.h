#pragma once

// The reader's stack adds to the null pointer that it begins with, which Clang's sanitizer reports.
#if defined(__clang__)
#pragma clang attribute push(__attribute__((no_sanitize("pointer-overflow"))), apply_to = function)
#endif
#include <rapidjson/reader.h>
#if defined(__clang__)
#pragma clang attribute pop
#endif

#include <cstddef>
#include <string>
#include <string_view>

#include "jsonlib/widetext.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace korven::jsonlib {

/// Length of the well-formed UTF-8 sequence at `at`, which is no ASCII character; 0 where it is malformed.
std::size_t SequenceLength(const char* at, const char* end);

/// The first byte in [at, end) that is a control character, a double quote, a backslash or no ASCII.
inline const char* SkipPlain(const char* at, const char* end) {
#if defined(__SSE2__)
  const __m128i quote = _mm_set1_epi8('"');
  const __m128i backslash = _mm_set1_epi8('\\');
  const __m128i space = _mm_set1_epi8(' ');
  while (end - at >= 16) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
    // Signed comparison: bytes from 0x80 on are negative, thus below the space as well.
    const __m128i stops = _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(bytes, quote), _mm_cmpeq_epi8(bytes, backslash)),
                                       _mm_cmplt_epi8(bytes, space));
    const unsigned mask = static_cast<unsigned>(_mm_movemask_epi8(stops));
    if (mask != 0) return at + __builtin_ctz(mask);
    at += 16;
  }
#endif
  while (at != end && static_cast<signed char>(*at) >= ' ' && *at != '"' && *at != '\\') ++at;
  return at;
}

/// The text as the reader's input. It poses as an in-situ stream, so that the reader neither copies texts nor
/// numbers: a string without escapes is a view of the input, one with escapes is decoded into a buffer.
/// The end reads as NUL; the caller tells a NUL byte from it by Tell().
class TextStream {
 public:
  using Ch = char;

  explicit TextStream(std::string_view text) : begin_(text.data()), at_(begin_), end_(begin_ + text.size()) {}

  Ch Peek() const { return at_ != end_ ? *at_ : '\0'; }
  Ch Take() { return *at_++; }
  std::size_t Tell() const { return static_cast<std::size_t>(at_ - begin_); }

  Ch* PutBegin() {
    textBegin_ = plainEnd_ = at_;
    decoded_ = false;
    return nullptr;
  }
  /// A decoded character, or the terminating NUL, which alone follows the closing quote.
  void Put(Ch c) {
    if (c == '\0' && at_[-1] == '"') {
      text_ = decoded_ ? std::string_view(buffer_)
                       : std::string_view(textBegin_, static_cast<std::size_t>(at_ - 1 - textBegin_));
      return;
    }
    if (!decoded_) {
      buffer_.assign(textBegin_, plainEnd_);
      decoded_ = true;
    }
    buffer_.push_back(c);
  }
  std::size_t PutEnd(Ch*) { return text_.size() + 1; }
  /// Takes the characters up to the next quote, backslash or control character. False on malformed UTF-8.
  bool TakePlain() {
    const char* const first = at_;
    for (;;) {
      at_ = SkipPlain(at_, end_);
      if (at_ == end_ || static_cast<signed char>(*at_) >= 0) break;
      const std::size_t length = SequenceLength(at_, end_);
      if (length == 0) return false;
      at_ += length;
    }
    if (decoded_) buffer_.append(first, at_);
    plainEnd_ = at_;
    return true;
  }
  void MarkLoneSurrogate() {
    if (loneSurrogate_ == nullptr) loneSurrogate_ = at_ - 6;
  }

  void SkipBlanks() {
    while (at_ != end_ && (*at_ == ' ' || *at_ == '\n' || *at_ == '\r' || *at_ == '\t')) ++at_;
  }

  std::string_view Text() const { return text_; }
  std::string_view LastBytes(std::size_t count) const { return {at_ - count, count}; }
  bool HasLoneSurrogate() const { return loneSurrogate_ != nullptr; }
  std::size_t LoneSurrogate() const { return static_cast<std::size_t>(loneSurrogate_ - begin_); }

 private:
  const char* begin_;
  const char* at_;
  const char* end_;
  const char* textBegin_ = nullptr;
  const char* plainEnd_ = nullptr;
  const char* loneSurrogate_ = nullptr;
  bool decoded_ = false;
  std::string_view text_;
  std::string buffer_;
};

/// Found by the reader in place of its own, byte by byte one.
inline void SkipWhitespace(TextStream& stream) { stream.SkipBlanks(); }

/// UTF-8 validated in runs in place of single characters. The reader takes a lone low surrogate for a
/// character; here it is marked, but for those that stand for a byte of a file name.
struct TextEncoding {
  using Ch = char;
  enum { supportUnicode = 1 };

  template <typename Output>
  static void Encode(Output& output, unsigned codePoint) {
    if constexpr (requires { output.MarkLoneSurrogate(); }) {
      const bool isLone = codePoint >= 0xD800 && codePoint <= 0xDFFF;
      if (isLone && !IsByteMark(char32_t{codePoint})) output.MarkLoneSurrogate();
    }
    rapidjson::UTF8<>::Encode(output, codePoint);
  }
  template <typename Input, typename Output>
  static bool Validate(Input& input, Output&) {
    return input.TakePlain();
  }
};

}  // namespace korven::jsonlib
