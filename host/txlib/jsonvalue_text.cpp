#include <vector>

#include "jsonlib/events.h"
#include "jsonlib/textwriter.h"
#include "jsonvalue_payload.h"
#include "kcommon/kstr.h"

namespace Tamrin::Tessera {

namespace {

class JsonWriter {
 public:
  JsonWriter(std::string& out, bool styled) : text_(out, styled) {}

  void Write(const JsonValue& root) {
    Begin(root);
    while (!levels_.empty()) {
      Level& level = levels_.back();
      if (level.next == level.count) {
        End();
        continue;
      }
      const std::size_t position = level.next++;
      if (!level.value->IsObject()) {
        Begin(level.value->GetElements()[position]);
        continue;
      }
      const JsonValue::Member& member = level.value->GetMembers()[position];
      text_.Key(member.key);
      Begin(member.value);
    }
  }

 private:
  struct Level {
    const JsonValue* value;
    std::size_t next;
    std::size_t count;
  };

  void Begin(const JsonValue& value) {
    switch (value.Type()) {
      case JsonValueType::Int:
        text_.Int(value.AsInt64());
        break;
      case JsonValueType::Unsigned:
        text_.Unsigned(value.AsUint64());
        break;
      case JsonValueType::Double:
        text_.Double(value.AsDouble());
        break;
      case JsonValueType::String:
        text_.String(value.AsUtf8());
        break;
      case JsonValueType::Bool:
        text_.Bool(value.AsBool());
        break;
      case JsonValueType::Array:
      case JsonValueType::Object:
        levels_.push_back({&value, 0, value.Count()});
        if (value.IsObject())
          text_.StartObject();
        else
          text_.StartArray();
        break;
      default:
        text_.Null();
    }
  }

  void End() {
    if (levels_.back().value->IsObject())
      text_.EndObject();
    else
      text_.EndArray();
    levels_.pop_back();
  }

  korven::jsonlib::TextWriter text_;
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
    if (indexed ? !node->Index() : node->HasEqualKeys()) {
      hasEqualKeys_ = true;
      value = WithLastOfEqualKeys(*node);
    }
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
  bool HasEqualKeys() const { return hasEqualKeys_; }

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
  bool hasEqualKeys_ = false;
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

bool JsonValue::DeserializeUtf8(std::string_view text, bool lenient, std::string* error, bool* hasEqualKeys) {
  korven::jsonlib::ParseOptions options;
  options.commentsAndTrailingCommas = lenient;
  korven::jsonlib::ParseError fault;
  JsonBuilder builder;
  if (korven::jsonlib::ParseEvents(text, builder, options, fault)) {
    *this = builder.TakeRoot();
    if (hasEqualKeys) *hasEqualKeys = builder.HasEqualKeys();
    return true;
  }
  if (error != nullptr)
    *error = "line " + std::to_string(fault.line) + ", column " + std::to_string(fault.column) + ": " + fault.text;
  return false;
}

}  // namespace Tamrin::Tessera
