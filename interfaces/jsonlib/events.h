#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace korven::jsonlib {

/// Takes the events of a JSON text in document order. Texts are UTF-8 and live only during the call.
/// An operation that gives false ends the reading.
class EventHandler {
 public:
  virtual ~EventHandler() = default;
  virtual bool Null() = 0;
  virtual bool Bool(bool value) = 0;
  virtual bool Int(std::int64_t value) = 0;        ///< an integer literal that fits 64 bits signed
  virtual bool Unsigned(std::uint64_t value) = 0;  ///< an integer literal above that
  virtual bool Double(double value) = 0;
  virtual bool String(std::string_view text) = 0;
  virtual bool StartObject() = 0;
  virtual bool Key(std::string_view key) = 0;
  virtual bool EndObject() = 0;
  virtual bool StartArray() = 0;
  virtual bool EndArray() = 0;
  /// Offset in the text just behind the token whose event follows; set before each event.
  std::size_t offset = 0;
};

struct ParseError {
  std::string text;        ///< what was found and expected; empty where the handler ended the reading
  std::size_t offset = 0;  ///< byte in the text
  std::size_t line = 0;    ///< from 1
  std::size_t column = 0;  ///< in characters, from 1
};

struct ParseOptions {
  bool commentsAndTrailingCommas = true;
  bool nonFiniteNumbers = false;  ///< NaN, Infinity as literals
};

/// Reads one JSON text (strict UTF-8, iterative: depth is bounded by memory alone). False and `error` set
/// where it is malformed. Stateless; any thread.
bool ParseEvents(std::string_view text, EventHandler& handler, const ParseOptions& options, ParseError& error);

/// Line and column (in characters), both from 1, of a byte offset.
void LocateOffset(std::string_view text, std::size_t offset, std::size_t& line, std::size_t& column);

/// Appends `text`, which is UTF-8, as a JSON string literal with its quotes.
void AppendQuoted(std::string& out, std::string_view text);
/// Appends the shortest literal that reads back the same; a whole number keeps ".0" so that it stays a double.
/// A number that is not finite gives null.
void AppendDouble(std::string& out, double value);

}  // namespace korven::jsonlib
