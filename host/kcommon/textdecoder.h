#pragma once

#include <cstdint>
#include <string>
#include <string_view>

class WideWriter;

/// Turns the bytes of a text file, block by block, into the slice of its characters that is wanted. Strict UTF-8, or
/// UTF-16 where the file begins with its byte order mark; or Windows-1252, which every file is. What lies past the
/// slice is not looked at.
class TextDecoder {
 public:
  enum class Reading { Unicode, Windows1252 };

  /// A negative size takes everything from `offset` on.
  TextDecoder(std::int64_t offset, std::int64_t size, Reading reading = Reading::Unicode);

  /// Room for the text of a file of that many bytes.
  void Expect(std::int64_t bytes);
  /// False once nothing more is needed: the slice is complete or the text is at fault.
  bool Feed(std::string_view block);
  /// After the last block.
  void Finish();

  /// What is wrong with the text, with byte offset and line; empty where nothing is.
  const std::wstring& GetFault() const { return fault_; }
  /// True where the file began with a byte order mark.
  bool IsMarked() const { return isMarked_; }
  std::wstring TakeText() { return std::move(text_); }

 private:
  enum class Encoding { Unknown, Utf8, Utf16Little, Utf16Big, Windows1252 };

  void Detect(bool last);
  /// Gives how many bytes it used; the rest begins a character.
  std::size_t Decode(std::string_view bytes, bool last);
  std::size_t DecodeUtf8Bytes(std::string_view bytes, bool last);
  std::size_t DecodeUtf16Bytes(std::string_view bytes, bool last);
  std::size_t DecodeBytes(std::string_view bytes);
  std::size_t TakeAscii(const char* bytes, std::size_t count, WideWriter& writer);
  void TakeCharacter(char32_t code, WideWriter& writer);
  /// `lines` end between the bytes that were used before and the place.
  void SetFault(const std::wstring& what, std::size_t place, std::int64_t lines);
  bool IsDone() const { return left_ == 0 || !fault_.empty(); }

  Encoding encoding_;
  bool isMarked_ = false;
  std::int64_t skip_;
  std::int64_t left_;
  std::string pending_;     ///< the beginning of a character, or of the file
  std::uint64_t used_ = 0;  ///< bytes before those
  std::uint64_t line_ = 1;  ///< the line on which they begin
  std::wstring text_;
  std::wstring fault_;
};
