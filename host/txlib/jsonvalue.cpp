#include "txlib/jsonvalue.h"

#include <algorithm>
#include <cmath>
#include <limits>

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

/// The text itself, or `mended` with U+FFFD in place of what is no UTF-8.
std::string_view ValidUtf8(std::string_view text, std::string& mended) {
  const auto beyondAscii = [](char c) { return static_cast<signed char>(c) < 0; };
  if (std::none_of(text.begin(), text.end(), beyondAscii)) return text;
  std::wstring wide;
  if (kstr_FromUtf8(text, wide)) return text;
  mended = kstr_ToUtf8(kstr_FromUtf8Lossy(text));
  return mended;
}

}  // namespace

JsonValue::JsonValue(const std::wstring& text) : JsonValue(MakeText(kstr_ToUtf8(text))) {}

JsonValue::JsonValue(const wchar_t* text) : JsonValue(MakeText(kstr_ToUtf8(text))) {}

JsonValue::JsonValue(bool value) noexcept {
  bits_.type = JsonValueType::Bool;
  bits_.truth = value;
}

JsonValue::JsonValue(double value) noexcept {
  bits_.type = JsonValueType::Double;
  bits_.real = value;
}

JsonValue::JsonValue(int value) noexcept {
  bits_.type = JsonValueType::Int;
  bits_.integer = value;
}

JsonValue::JsonValue(JsonValueType::Enum type) {
  // Zero in all forms: 0, 0.0, false, an inline text of no bytes, a container without a payload.
  bits_.type = static_cast<std::uint8_t>(type);
  if (type == JsonValueType::Double) bits_.real = 0;
}

JsonValue JsonValue::FromUtf8(std::string_view text) {
  std::string mended;
  return MakeText(ValidUtf8(text, mended));
}

JsonValue JsonValue::FromInt64(std::int64_t value) {
  JsonValue json(JsonValueType::Int);
  json.bits_.integer = value;
  return json;
}

JsonValue JsonValue::FromUint64(std::uint64_t value) {
  JsonValue json(JsonValueType::Unsigned);
  json.bits_.natural = value;
  return json;
}

const JsonValue::Elements& JsonValue::GetElements() const noexcept {
  static const Elements kNone;
  const Node* node = IsArray() ? GetNode() : nullptr;
  return node == nullptr ? kNone : static_cast<const Array*>(node)->elements;
}

const JsonValue::Members& JsonValue::GetMembers() const noexcept {
  static const Members kNone;
  const Object* object = GetObject();
  return object == nullptr ? kNone : object->members;
}

unsigned JsonValue::Count() const noexcept {
  return static_cast<unsigned>(IsObject() ? GetMembers().size() : GetElements().size());
}

JsonValue& JsonValue::operator[](unsigned index) {
  Array& array = MakeArray();
  if (index >= array.elements.size()) array.elements.resize(static_cast<std::size_t>(index) + 1);
  array.exposed = true;
  return array.elements[index];
}

const JsonValue& JsonValue::operator[](unsigned index) const {
  const Elements& elements = GetElements();
  return index < elements.size() ? elements[index] : kNull;
}

JsonValue& JsonValue::operator[](const std::wstring& key) { return Member8(kstr_ToUtf8(key)); }

const JsonValue& JsonValue::operator[](const std::wstring& key) const {
  const JsonValue* found = IsObject() ? Find(kstr_ToUtf8(key)) : nullptr;
  return found == nullptr ? kNull : *found;
}

const JsonValue* JsonValue::Find(std::string_view key) const {
  const Object* object = GetObject();
  if (object == nullptr) return nullptr;
  const std::size_t position = object->Position(key);
  return position == Object::kNone ? nullptr : &object->members[position].value;
}

JsonValue& JsonValue::Member8(std::string_view key) {
  std::string mended;
  Object& object = MakeObject();
  JsonValue& value = object.Get(ValidUtf8(key, mended));
  object.exposed = true;
  return value;
}

void JsonValue::Set(std::string_view key, JsonValue value) {
  std::string mended;
  Object& object = MakeObject();
  object.Get(ValidUtf8(key, mended)) = std::move(value);
  object.exposed = false;
}

bool JsonValue::Remove(std::string_view key) {
  if (Find(key) == nullptr) return false;
  Object& object = MakeObject();
  object.members.erase(object.members.begin() + static_cast<std::ptrdiff_t>(object.Position(key)));
  object.Index();
  object.exposed = false;
  return true;
}

void JsonValue::Append(const JsonValue& value) { Append(JsonValue(value)); }

void JsonValue::Append(JsonValue&& value) {
  JsonValue taken(std::move(value));
  Array& array = MakeArray();
  array.elements.push_back(std::move(taken));
  array.exposed = false;
}

JsonValueIterator JsonValue::begin() const { return {this, 0}; }

JsonValueIterator JsonValue::end() const { return {this, Count()}; }

const JsonValue& JsonValueIterator::operator*() const {
  return owner_->IsObject() ? owner_->GetMembers()[index_].value : owner_->GetElements()[index_];
}

std::wstring JsonValueIterator::Key() const {
  return owner_->IsObject() ? kstr_FromUtf8Lossy(owner_->GetMembers()[index_].key) : std::wstring();
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

std::wstring JsonValue::AsString() const { return kstr_FromUtf8Lossy(AsUtf8()); }

}  // namespace Tamrin::Tessera
