#include "txlib/jsonvalue.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "jsonlib/widetext.h"
#include "jsonvalue_payload.h"
#include "kcommon/kstr.h"

namespace Tamrin::Tessera {

namespace {

const JsonValue kNull{};

/// Truncates; what is beyond the range becomes its end, NaN 0.
template <typename Integer>
Integer FromReal(double value) {
  // The upper end itself is no double in 64 bits; the power of two above it is.
  const double beyond = std::ldexp(1.0, std::numeric_limits<Integer>::digits);
  if (std::isnan(value)) return 0;
  if (value >= beyond) return std::numeric_limits<Integer>::max();
  if (value <= static_cast<double>(std::numeric_limits<Integer>::min())) return std::numeric_limits<Integer>::min();
  return static_cast<Integer>(value);
}

/// The text itself, or `mended` with U+FFFD in place of what is no UTF-8 and no byte of a file name.
std::string_view ValidUtf8(std::string_view text, std::string& mended) {
  const auto beyondAscii = [](char c) { return static_cast<signed char>(c) < 0; };
  if (std::none_of(text.begin(), text.end(), beyondAscii)) return text;
  std::wstring wide;
  if (kstr_FromUtf8(text, wide)) return text;
  mended = korven::jsonlib::ToUtf8(korven::jsonlib::FromUtf8(text));
  return mended;
}

}  // namespace

JsonValue::JsonValue(const std::wstring& text) : JsonValue(MakeText(korven::jsonlib::ToUtf8(text))) {}

JsonValue::JsonValue(const wchar_t* text) : JsonValue(MakeText(korven::jsonlib::ToUtf8(text))) {}

JsonValue JsonValue::FromUtf8(std::string_view text) {
  std::string mended;
  return MakeText(ValidUtf8(text, mended));
}

JsonValue::Elements JsonValue::GetElements() const noexcept {
  const Node* node = IsArray() ? GetNode() : nullptr;
  return node == nullptr ? Elements(nullptr, 0) : Elements(node->Elements(), node->count);
}

JsonValue::Members JsonValue::GetMembers() const noexcept {
  const Node* node = IsObject() ? GetNode() : nullptr;
  return node == nullptr ? Members(nullptr, 0) : Members(node->Members(), node->count);
}

unsigned JsonValue::Count() const noexcept {
  const Node* node = GetNode();
  return node == nullptr ? 0 : node->count;
}

JsonValue& JsonValue::operator[](unsigned index) {
  const std::size_t count = IsArray() ? Count() : 0;
  Node& node = MakeNode(JsonValueType::Array, index < count ? 0 : index - count + 1);
  while (node.count <= index) node.AddElement(JsonValue());
  node.exposed = true;
  return node.Elements()[index];
}

const JsonValue& JsonValue::operator[](unsigned index) const {
  const Elements& elements = GetElements();
  return index < elements.size() ? elements[index] : kNull;
}

JsonValue& JsonValue::operator[](const std::wstring& key) { return Member8(korven::jsonlib::ToUtf8(key)); }

const JsonValue& JsonValue::operator[](const std::wstring& key) const {
  const JsonValue* found = IsObject() ? Find(korven::jsonlib::ToUtf8(key)) : nullptr;
  return found == nullptr ? kNull : *found;
}

const JsonValue* JsonValue::Find(std::string_view key) const {
  const Node* node = IsObject() ? GetNode() : nullptr;
  if (node == nullptr) return nullptr;
  const std::size_t position = node->Position(key);
  return position == Node::kNone ? nullptr : &node->Members()[position].value;
}

JsonValue& JsonValue::Member8(std::string_view key) {
  std::string mended;
  JsonValue& value = MemberOf(ValidUtf8(key, mended));
  GetNode()->exposed = true;
  return value;
}

void JsonValue::Set(std::string_view key, JsonValue value) {
  std::string mended;
  MemberOf(ValidUtf8(key, mended)) = std::move(value);
  GetNode()->exposed = false;
}

bool JsonValue::Remove(std::string_view key) {
  if (Find(key) == nullptr) return false;
  Node& node = MakeNode(JsonValueType::Object, 0);
  Member* members = node.Members();
  std::move(members + node.Position(key) + 1, members + node.count, members + node.Position(key));
  std::destroy_at(members + --node.count);
  node.Index();
  node.exposed = false;
  return true;
}

void JsonValue::Append(const JsonValue& value) { Append(JsonValue(value)); }

void JsonValue::Append(JsonValue&& value) {
  JsonValue taken(std::move(value));
  Node& node = MakeNode(JsonValueType::Array, 1);
  node.AddElement(std::move(taken));
  node.exposed = false;
}

JsonValueIterator JsonValue::begin() const { return {this, 0}; }

JsonValueIterator JsonValue::end() const { return {this, Count()}; }

const JsonValue& JsonValueIterator::operator*() const {
  return owner_->IsObject() ? owner_->GetMembers()[index_].value : owner_->GetElements()[index_];
}

std::wstring JsonValueIterator::Key() const {
  return owner_->IsObject() ? korven::jsonlib::FromUtf8(owner_->GetMembers()[index_].key) : std::wstring();
}

int JsonValue::AsInt() const noexcept {
  const std::int64_t low = std::numeric_limits<int>::min();
  const std::int64_t high = std::numeric_limits<int>::max();
  return static_cast<int>(std::clamp(AsInt64(), low, high));
}

std::int64_t JsonValue::AsInt64() const noexcept {
  switch (Type()) {
    case JsonValueType::Int:
      return bits_.integer;
    case JsonValueType::Unsigned:
      return static_cast<std::int64_t>(
          std::min(bits_.natural, static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())));
    case JsonValueType::Double:
      return FromReal<std::int64_t>(bits_.real);
    case JsonValueType::Bool:
      return bits_.truth ? 1 : 0;
    default:
      return 0;
  }
}

std::uint64_t JsonValue::AsUint64() const noexcept {
  if (Type() == JsonValueType::Unsigned) return bits_.natural;
  if (Type() == JsonValueType::Double) return FromReal<std::uint64_t>(bits_.real);
  return static_cast<std::uint64_t>(std::max<std::int64_t>(AsInt64(), 0));
}

double JsonValue::AsDouble() const noexcept {
  if (Type() == JsonValueType::Double) return bits_.real;
  if (Type() == JsonValueType::Unsigned) return static_cast<double>(bits_.natural);
  return static_cast<double>(AsInt64());
}

bool JsonValue::AsBool() const noexcept {
  if (Type() == JsonValueType::Double) return bits_.real != 0;
  return IsInteger() ? bits_.natural != 0 : IsBool() && bits_.truth;
}

std::wstring JsonValue::AsString() const { return korven::jsonlib::FromUtf8(AsUtf8()); }

}  // namespace Tamrin::Tessera
