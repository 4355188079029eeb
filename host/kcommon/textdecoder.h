#pragma once

#include <cstdint>
#include <string>
#include <string_view>

/// Turns the bytes of a text file, block by block, into the slice of its characters that is wanted. UTF-8, or
/// UTF-16 where the file begins with its byte order mark; strict. What lies past the slice is not looked at.
class TextDecoder {
 public:
  /// A negative size takes everything from `offset` on.
  TextDecoder(std::int64_t offset, std::int64_t size);

  /// False once nothing more is needed: the slice is complete or the text is at fault.
  bool Feed(std::string_view block);
  /// After the last block.
  void Finish();

  /// What is wrong with the text, with byte offset and line; empty where nothing is.
  const std::wstring& GetFault() const { return fault_; }
  std::wstring TakeText() { return std::move(text_); }

 private:
  enum class Encoding { Unknown, Utf8, Utf16Little, Utf16Big };

  void Decode(bool last);
  void Detect(bool last);
  std::size_t DecodeUtf8Bytes(bool last);
  std::size_t DecodeUtf16Bytes(bool last);
  void TakeAscii(const char* bytes, std::size_t count);
  void TakeCharacter(char32_t code);
  void SetFault(const std::wstring& what, std::size_t place);
  bool IsDone() const { return left_ == 0 || !fault_.empty(); }

  Encoding encoding_ = Encoding::Unknown;
  std::int64_t skip_;
  std::int64_t left_;
  std::string pending_;             ///< bytes that are not decoded yet
  std::uint64_t pendingStart_ = 0;  ///< their offset in the file
  std::uint64_t line_ = 1;          ///< the line on which they begin
  std::wstring text_;
  std::wstring fault_;
};
