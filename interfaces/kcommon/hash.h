#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace korven::common {

class SHA1 {
 public:
  explicit SHA1(const std::array<std::uint8_t, 20>& digest) : digest_(digest) {}
  /// 40 hexadecimal digits in small letters.
  std::wstring ToString() const;

 private:
  std::array<std::uint8_t, 20> digest_;
};

class Hash {
 public:
  /// Of the text's bytes as Encryption::TextToBytes gives them. Any thread.
  static SHA1 CalculateSHA1(const std::wstring& text);
};

}  // namespace korven::common
