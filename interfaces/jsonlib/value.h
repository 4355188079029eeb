#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "jsonlib/events.h"

namespace korven::jsonlib {

class StyledWriter;
class ValueBuilder;

/// A JSON value in the hands of one thread, for small documents of a library's own. Copies are deep. Objects keep the
/// order in which keys were first set. No operation recurses: depth is bounded by memory alone. Wide text that is no
/// Unicode is held as U+FFFD.
class Value {
 public:
  enum Type { nullValue, booleanValue, intValue, uintValue, realValue, stringValue, arrayValue, objectValue };

  Value() noexcept;
  Value(bool value) noexcept;
  Value(int value) noexcept;
  Value(unsigned value) noexcept;
  Value(std::int64_t value) noexcept;
  Value(std::uint64_t value) noexcept;
  Value(double value) noexcept;
  Value(const std::wstring& text);
  Value(const wchar_t* text);
  /// The type's empty value: 0, false, an empty text, array or object.
  explicit Value(Type type);
  Value(const Value& other);
  Value(Value&& other) noexcept;
  /// `other` may lie inside this value.
  Value& operator=(Value other) noexcept;
  ~Value();

  Type type() const noexcept { return type_; }
  bool isNull() const noexcept { return type_ == nullValue; }
  bool isString() const noexcept { return type_ == stringValue; }
  bool isArray() const noexcept { return type_ == arrayValue; }
  bool isObject() const noexcept { return type_ == objectValue; }

  /// Member of an object; a call on another type makes an object, and inserts the key. The reference holds until the
  /// object dies or becomes another value.
  Value& operator[](const std::wstring& key);
  const Value& operator[](const std::wstring& key) const;  ///< a null value for an unknown key
  Value& operator[](const wchar_t* key) { return (*this)[std::wstring(key)]; }
  const Value& operator[](const wchar_t* key) const { return (*this)[std::wstring(key)]; }
  /// Element of an array; a call on another type makes an array, and grows it with nulls. The reference holds until
  /// the array is next changed.
  Value& operator[](std::size_t index);
  const Value& operator[](std::size_t index) const;  ///< a null value outside the bounds
  Value& operator[](unsigned index) { return (*this)[std::size_t{index}]; }
  const Value& operator[](unsigned index) const { return (*this)[std::size_t{index}]; }
  Value& operator[](int index) { return (*this)[static_cast<std::size_t>(index)]; }
  const Value& operator[](int index) const { return (*this)[static_cast<std::size_t>(index)]; }
  /// Behind the last element; a call on another type makes an array. The reference holds like that of an index.
  Value& append(Value value);

  std::size_t size() const noexcept;  ///< elements or members; 0 otherwise
  bool isMember(const std::wstring& key) const;
  std::vector<std::wstring> getMemberNames() const;  ///< in order; empty unless an object

  std::wstring asString() const;     ///< empty unless a string
  bool asBool() const noexcept;      ///< a boolean, or a number other than 0
  int asInt() const noexcept;        ///< numbers truncated and clamped; 0 for the other types but true, which is 1
  double asDouble() const noexcept;  ///< likewise

  /// By value; numbers by number whatever their form, objects whatever the order of their keys.
  bool operator==(const Value& other) const;

 private:
  friend class StyledWriter;
  friend class ValueBuilder;
  struct Node;
  Node& Become(Type type);
  void Swap(Value& other) noexcept;
  /// What is left for operator== to compare below both; false where the two differ here.
  bool MatchesHere(const Value& other) const;

  Type type_ = nullValue;
  union {
    bool truth_;
    std::int64_t integer_;
    std::uint64_t natural_ = 0;
    double real_;
  };
  std::string text_;            ///< of a string, UTF-8
  std::unique_ptr<Node> node_;  ///< of an array or object
};

/// Reads one JSON text. May be used again and again; no two threads at once.
class Reader {
 public:
  /// Strict JSON.
  Reader() { options_.commentsAndTrailingCommas = false; }
  explicit Reader(const ParseOptions& options) : options_(options) {}

  /// False where the text is malformed or, the wide one, no Unicode; `root` is then left as it was and error() says
  /// what was found where. Of equal keys in an object the last one counts.
  bool parse(const std::wstring& text, Value& root);
  bool parseUtf8(std::string_view text, Value& root);
  /// Of the last parse, which failed.
  const ParseError& error() const { return error_; }
  /// "line 2, column 5: found ..., expected ..."; empty after a parse that did not fail.
  std::wstring getFormattedErrorMessages() const;

 private:
  ParseOptions options_;
  ParseError error_;
};

/// Writes strict JSON with two-space indentation and a line end behind the last line.
class StyledWriter {
 public:
  std::wstring write(const Value& root) const;
  std::string writeUtf8(const Value& root) const;
};

}  // namespace korven::jsonlib
