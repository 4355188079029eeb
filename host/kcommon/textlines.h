#pragma once

#include <cstdint>
#include <exception>
#include <string>
#include <string_view>

/// A fault of a text, raised where it is seen and worded where the file is known.
class TextFault : public std::exception {
 public:
  TextFault(std::size_t line, std::size_t column, std::wstring found, std::wstring expected);
  std::wstring Text(const std::wstring& source) const;

 private:
  std::size_t line_;
  std::size_t column_;
  std::wstring found_;
  std::wstring expected_;
};

/// Walks through the lines of a text, and through the elements of a line: separated by blanks, a comma or a
/// semicolon. What follows a # is a comment.
class TextLines {
 public:
  /// A byte order mark is skipped. The text has to outlive the object.
  explicit TextLines(std::string_view text);

  /// Goes to the next line that isn't blank. False at the end.
  bool NextLine();
  /// The same, over comments.
  bool NextDataLine();
  /// Without blanks at both ends.
  std::string_view GetLine() const { return {begin_, static_cast<std::size_t>(end_ - begin_)}; }
  bool IsComment() const { return begin_ != end_ && *begin_ == '#'; }

  /// Goes to the next element of the line. False at its end; raises where one is missing between two separators.
  bool NextElement();
  /// With this a # that begins an element belongs to it.
  void SetHashIsData() { hashIsData_ = true; }
  /// Where the element begins; behind it after SetPlace.
  const char* GetPlace() const { return place_; }
  const char* GetLineEnd() const { return end_; }
  void SetPlace(const char* place) {
    place_ = place;
    afterElement_ = true;
  }
  /// The element up to its separator; nothing is moved.
  std::string_view PeekWord() const;
  static bool EndsElement(char c) { return c == ' ' || c == '\t' || c == '\r' || c == ',' || c == ';'; }
  bool EndsElementAt(const char* place) const { return place == end_ || EndsElement(*place) || *place == '#'; }

  std::size_t GetLineNumber() const { return line_; }
  /// Of the place, counted in characters from 1.
  std::size_t GetColumn() const;
  std::size_t GetRestSize() const { return static_cast<std::size_t>(textEnd_ - next_); }

  /// Raises with the word at the place, by default where the walk stands.
  [[noreturn]] void Fail(const std::wstring& expected) const;
  [[noreturn]] void FailAt(const char* place, const std::wstring& expected) const;

 private:
  const char* next_;
  const char* textEnd_;
  const char* lineStart_;
  const char* begin_;
  const char* end_;
  const char* place_;
  std::size_t line_ = 0;
  bool afterElement_ = false;
  bool hashIsData_ = false;
  bool atTextEnd_ = false;
};

/// Bytes of a file as text to be shown.
std::wstring TextOfBytes(std::string_view bytes);
