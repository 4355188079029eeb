#include <algorithm>
#include <charconv>

#include "jsonlib/events.h"
#include "jsonvalue_payload.h"
#include "kcommon/kstr.h"

namespace Tamrin::Tessera {

namespace {

template <typename Integer>
void AppendInteger(std::string& out, Integer value) {
  char buffer[24];
  out.append(buffer, std::to_chars(buffer, buffer + sizeof buffer, value).ptr);
}

class JsonWriter {
 public:
  JsonWriter(std::string& out, bool styled) : out_(out), styled_(styled) {}

  void Write(const JsonValue& root) {
    Begin(root);
    while (!levels_.empty()) {
      Level& level = levels_.back();
      if (level.next == level.count) {
        End();
        continue;
      }
      if (level.next != 0) out_.push_back(',');
      NewLine();
      const std::size_t position = level.next++;
      if (!level.value->IsObject()) {
        Begin(level.value->GetElements()[position]);
        continue;
      }
      const JsonValue::Member& member = level.value->GetMembers()[position];
      korven::jsonlib::AppendQuoted(out_, member.key);
      out_ += styled_ ? ": " : ":";
      Begin(member.value);
    }
  }

 private:
  struct Level {
    const JsonValue* value;
    std::size_t next;
    std::size_t count;
  };
  /// Deeper levels are not indented further, lest the text grow with the square of its depth.
  static constexpr std::size_t kDeepestIndentation = 100;

  void Begin(const JsonValue& value) {
    switch (value.Type()) {
      case JsonValueType::Int:
        return AppendInteger(out_, value.AsInt64());
      case JsonValueType::Unsigned:
        return AppendInteger(out_, value.AsUint64());
      case JsonValueType::Double:
        return korven::jsonlib::AppendDouble(out_, value.AsDouble());
      case JsonValueType::String:
        return korven::jsonlib::AppendQuoted(out_, value.AsUtf8());
      case JsonValueType::Bool:
        out_ += value.AsBool() ? "true" : "false";
        return;
      case JsonValueType::Array:
      case JsonValueType::Object: {
        const std::size_t count = value.Count();
        if (count != 0) levels_.push_back({&value, 0, count});
        const std::string_view brackets = value.IsObject() ? "{}" : "[]";
        out_ += brackets.substr(0, count == 0 ? 2 : 1);
        return;
      }
      default:
        out_ += "null";
    }
  }

  void End() {
    const bool object = levels_.back().value->IsObject();
    levels_.pop_back();
    NewLine();
    out_.push_back(object ? '}' : ']');
  }

  void NewLine() {
    if (!styled_) return;
    out_.push_back('\n');
    out_.append(2 * std::min(levels_.size(), kDeepestIndentation), ' ');
  }

  std::string& out_;
  bool styled_;
  std::vector<Level> levels_;
};

}  // namespace

/// Makes a value of events. Elements and members gather on stacks of their own until their array or object ends,
/// so that each is allocated once, in its size.
class JsonBuilder final : public korven::jsonlib::EventHandler {
 public:
  bool Null() override { return Put(JsonValue()); }
  bool Bool(bool value) override { return Put(JsonValue(value)); }
  bool Int(std::int64_t value) override { return Put(JsonValue::FromInt64(value)); }
  bool Unsigned(std::uint64_t value) override { return Put(JsonValue::FromUint64(value)); }
  bool Double(double value) override { return Put(JsonValue(value)); }
  bool String(std::string_view text) override { return Put(JsonValue::MakeText(text)); }
  bool StartObject() override { return Start(true); }
  bool StartArray() override { return Start(false); }

  bool Key(std::string_view key) override {
    members_.emplace_back().key.assign(key);
    return true;
  }

  bool EndObject() override {
    const auto first = members_.begin() + static_cast<std::ptrdiff_t>(levels_.back().first);
    levels_.pop_back();
    if (first == members_.end()) return Put(JsonValue(JsonValueType::Object));
    auto* node = JsonValue::Node::Make(true, static_cast<std::size_t>(members_.end() - first));
    JsonValue value = JsonValue::MakeContainer(node);
    for (auto member = first; member != members_.end(); ++member) node->AddMember(std::move(*member));
    members_.erase(first, members_.end());
    const bool indexed = node->count >= JsonValue::Node::kIndexedFrom;
    if (indexed ? !node->Index() : node->HasEqualKeys()) value = WithLastOfEqualKeys(*node);
    return Put(std::move(value));
  }

  bool EndArray() override {
    const auto first = elements_.begin() + static_cast<std::ptrdiff_t>(levels_.back().first);
    levels_.pop_back();
    if (first == elements_.end()) return Put(JsonValue(JsonValueType::Array));
    auto* node = JsonValue::Node::Make(false, static_cast<std::size_t>(elements_.end() - first));
    JsonValue value = JsonValue::MakeContainer(node);
    for (auto element = first; element != elements_.end(); ++element) node->AddElement(std::move(*element));
    elements_.erase(first, elements_.end());
    return Put(std::move(value));
  }

  JsonValue TakeRoot() { return std::move(root_); }

 private:
  struct Level {
    std::size_t first;
    bool object;
  };

  bool Start(bool object) {
    levels_.push_back({object ? members_.size() : elements_.size(), object});
    return true;
  }

  bool Put(JsonValue&& value) {
    // The place holds null, thus nothing to release.
    if (levels_.empty())
      std::swap(root_.bits_, value.bits_);
    else if (levels_.back().object)
      std::swap(members_.back().value.bits_, value.bits_);
    else
      elements_.push_back(std::move(value));
    return true;
  }

  static JsonValue WithLastOfEqualKeys(JsonValue::Node& node) {
    JsonValue object(JsonValueType::Object);
    for (std::size_t i = 0; i < node.count; ++i)
      object.MemberOf(node.Members()[i].key) = std::move(node.Members()[i].value);
    return object;
  }

  std::vector<Level> levels_;
  std::vector<JsonValue> elements_;
  std::vector<JsonValue::Member> members_;
  JsonValue root_;
};

std::string JsonValue::SerializeUtf8(bool styled) const {
  std::string text;
  JsonWriter(text, styled).Write(*this);
  return text;
}

std::wstring JsonValue::Serialize(bool styled) const { return kstr_FromUtf8Lossy(SerializeUtf8(styled)); }

bool JsonValue::Deserialize(const std::wstring& text) {
  // Wide text that is no Unicode would be mended on its way to UTF-8.
  const std::string utf8 = kstr_ToUtf8(text);
  std::wstring back;
  return kstr_FromUtf8(utf8, back) && back == text && DeserializeUtf8(utf8, false, nullptr);
}

bool JsonValue::DeserializeUtf8(std::string_view text, bool lenient, std::string* error) {
  korven::jsonlib::ParseOptions options;
  options.commentsAndTrailingCommas = lenient;
  korven::jsonlib::ParseError fault;
  JsonBuilder builder;
  if (korven::jsonlib::ParseEvents(text, builder, options, fault)) {
    *this = builder.TakeRoot();
    return true;
  }
  if (error != nullptr)
    *error = "line " + std::to_string(fault.line) + ", column " + std::to_string(fault.column) + ": " + fault.text;
  return false;
}

}  // namespace Tamrin::Tessera
