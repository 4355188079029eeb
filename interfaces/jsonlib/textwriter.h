#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "jsonlib/events.h"

namespace korven::jsonlib {

/// Writes the JSON text of events as they come; the events of a reader give its text anew. Keys and values have to
/// come in an order that makes JSON. Styled text has two-space indentation and line ends, as far as the hundredth
/// level: deeper ones are not indented further, lest the text grow with the square of its depth.
class TextWriter final : public EventHandler {
 public:
  /// Appends to `out`, which has to outlive the writer.
  TextWriter(std::string& out, bool styled) : out_(out), styled_(styled) {}

  bool Null() override;
  bool Bool(bool value) override;
  bool Int(std::int64_t value) override;
  bool Unsigned(std::uint64_t value) override;
  bool Double(double value) override;  ///< not-a-number and the infinities become null
  bool String(std::string_view text) override;
  bool StartObject() override { return Start('{'); }
  bool Key(std::string_view key) override;
  bool EndObject() override { return End('}'); }
  bool StartArray() override { return Start('['); }
  bool EndArray() override { return End(']'); }

 private:
  bool Start(char bracket);
  bool End(char bracket);
  void BeforeItem();
  void NewLine();

  std::string& out_;
  const bool styled_;
  bool isFirst_ = true;  ///< nothing stands in the innermost array or object yet
  bool isBehindKey_ = false;
  std::size_t depth_ = 0;
};

}  // namespace korven::jsonlib
