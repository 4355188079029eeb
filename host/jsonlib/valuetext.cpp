#include <algorithm>

#include "jsonlib/textwriter.h"
#include "jsonlib/value.h"
#include "kcommon/kstr.h"
#include "valuenode.h"

namespace korven::jsonlib {

/// Makes a value of events, in place: the values that enclose the next one are its path from the root.
class ValueBuilder final : public EventHandler {
 public:
  explicit ValueBuilder(Value& root) : path_{&root} {}

  bool Null() override { return Put(Value()); }
  bool Bool(bool value) override { return Put(Value(value)); }
  bool Int(std::int64_t value) override { return Put(Value(value)); }
  bool Unsigned(std::uint64_t value) override { return Put(Value(value)); }
  bool Double(double value) override { return Put(Value(value)); }
  bool String(std::string_view text) override {
    Value value(Value::stringValue);
    value.text_ = text;
    return Put(std::move(value));
  }
  bool StartObject() override { return Open(Value::objectValue); }
  bool StartArray() override { return Open(Value::arrayValue); }
  bool Key(std::string_view key) override {
    Value& member = path_.back()->node_->Insert(std::string(key));
    member = Value();
    path_.push_back(&member);
    return true;
  }
  bool EndObject() override { return Close(); }
  bool EndArray() override { return Close(); }

 private:
  /// The place of the next value: that of the key before it or the root, both null, or a new element.
  Value& Place() {
    if (path_.back()->isArray()) path_.push_back(&path_.back()->append(Value()));
    return *path_.back();
  }
  bool Put(Value&& value) {
    Place() = std::move(value);
    return Close();
  }
  bool Open(Value::Type type) {
    Place() = Value(type);
    return true;
  }
  bool Close() {
    path_.pop_back();
    return true;
  }

  std::vector<Value*> path_;
};

bool Reader::parse(const std::wstring& text, Value& root) {
  const auto isNoUnicode = [](wchar_t c) {
    const auto code = static_cast<char32_t>(c);
    return code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF);
  };
  const auto bad = std::find_if(text.begin(), text.end(), isNoUnicode);
  if (bad == text.end()) return parseUtf8(kstr_ToUtf8(text), root);
  const auto offset = static_cast<std::size_t>(bad - text.begin());
  const std::string before = kstr_ToUtf8(std::wstring_view(text).substr(0, offset));
  error_ = ParseError();
  error_.text = "found a character that is no Unicode, expected Unicode text";
  error_.offset = before.size();
  LocateOffset(before, before.size(), error_.line, error_.column);
  return false;
}

bool Reader::parseUtf8(std::string_view text, Value& root) {
  Value read;
  ValueBuilder builder(read);
  if (!ParseEvents(text, builder, options_, error_)) return false;
  root = std::move(read);
  return true;
}

std::wstring Reader::getFormattedErrorMessages() const {
  if (error_.text.empty()) return {};
  return L"line " + std::to_wstring(error_.line) + L", column " + std::to_wstring(error_.column) + L": " +
         kstr_FromUtf8Lossy(error_.text);
}

std::wstring StyledWriter::write(const Value& root) const { return kstr_FromUtf8Lossy(writeUtf8(root)); }

std::string StyledWriter::writeUtf8(const Value& root) const {
  struct Level {
    const Value* value;
    std::size_t next;
  };
  std::string text;
  TextWriter writer(text, true);
  std::vector<Level> levels;
  const auto begin = [&](const Value& value) {
    switch (value.type()) {
      case Value::booleanValue:
        return writer.Bool(value.truth_);
      case Value::intValue:
        return writer.Int(value.integer_);
      case Value::uintValue:
        return writer.Unsigned(value.natural_);
      case Value::realValue:
        return writer.Double(value.real_);
      case Value::stringValue:
        return writer.String(value.text_);
      case Value::arrayValue:
      case Value::objectValue:
        levels.push_back({&value, 0});
        return value.isArray() ? writer.StartArray() : writer.StartObject();
      default:
        return writer.Null();
    }
  };
  begin(root);
  while (!levels.empty()) {
    Level& level = levels.back();
    const Value& value = *level.value;
    if (level.next == value.size()) {
      levels.pop_back();
      if (value.isArray())
        writer.EndArray();
      else
        writer.EndObject();
    } else if (value.isArray()) {
      begin(value.node_->elements[level.next++]);
    } else {
      const Value::Node::Member& member = *value.node_->order[level.next++];
      writer.Key(member.first);
      begin(member.second);
    }
  }
  text += '\n';
  return text;
}

}  // namespace korven::jsonlib
