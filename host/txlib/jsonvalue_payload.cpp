#include "jsonvalue_payload.h"

#include <bit>
#include <cstring>
#include <functional>
#include <new>

namespace Tamrin::Tessera {

namespace {

std::size_t Hash(std::string_view key) { return std::hash<std::string_view>()(key); }

}  // namespace

std::size_t JsonValue::Object::Position(std::string_view key) const {
  if (slots.empty()) {
    for (std::size_t i = 0; i < members.size(); ++i)
      if (members[i].key == key) return i;
    return kNone;
  }
  const std::size_t mask = slots.size() - 1;
  for (std::size_t slot = Hash(key) & mask; slots[slot] != 0; slot = (slot + 1) & mask) {
    const std::size_t position = slots[slot] - 1;
    if (members[position].key == key) return position;
  }
  return kNone;
}

JsonValue& JsonValue::Object::Get(std::string_view key) {
  const std::size_t position = Position(key);
  if (position != kNone) return members[position].value;
  members.emplace_back().key.assign(key);
  if (members.size() < kIndexedFrom) return members.back().value;
  if (members.size() * 2 > slots.size()) {
    Index();
    return members.back().value;
  }
  const std::size_t mask = slots.size() - 1;
  std::size_t slot = Hash(key) & mask;
  while (slots[slot] != 0) slot = (slot + 1) & mask;
  slots[slot] = static_cast<std::uint32_t>(members.size());
  return members.back().value;
}

bool JsonValue::Object::Index() {
  slots.clear();
  if (members.size() < kIndexedFrom) return true;
  slots.resize(std::bit_ceil(members.size() * 2 + 1));
  const std::size_t mask = slots.size() - 1;
  bool unique = true;
  for (std::size_t i = 0; i < members.size(); ++i) {
    std::size_t slot = Hash(members[i].key) & mask;
    while (slots[slot] != 0 && members[slots[slot] - 1].key != members[i].key) slot = (slot + 1) & mask;
    if (slots[slot] == 0)
      slots[slot] = static_cast<std::uint32_t>(i + 1);
    else
      unique = false;
  }
  return unique;
}

bool JsonValue::Object::HasEqualKeys() const {
  for (std::size_t i = 1; i < members.size(); ++i)
    for (std::size_t j = 0; j < i; ++j)
      if (members[i].key == members[j].key) return true;
  return false;
}

JsonValue JsonValue::MakeText(std::string_view valid) {
  JsonValue value;
  value.bits_.type = JsonValueType::String;
  if (valid.size() <= kInlineText) {
    value.bits_.size = static_cast<std::uint8_t>(valid.size());
    // The text runs over the end of the first field into the union, which has no gap before it.
    if (!valid.empty()) std::memcpy(reinterpret_cast<char*>(&value.bits_) + 2, valid.data(), valid.size());
    return value;
  }
  Text* text = new (::operator new(sizeof(Text) + valid.size())) Text;
  text->length = valid.size();
  std::memcpy(text->Characters(), valid.data(), valid.size());
  value.bits_.payload = text;
  value.bits_.size = kShared;
  return value;
}

std::string_view JsonValue::AsUtf8() const noexcept {
  static_assert(sizeof(JsonValue) == 16 && offsetof(Bits, text) == 2 && offsetof(Bits, natural) == 8);
  if (!IsString()) return {};
  if (bits_.size != kShared) return {reinterpret_cast<const char*>(&bits_) + 2, bits_.size};
  Text& text = static_cast<Text&>(*bits_.payload);
  return {text.Characters(), text.length};
}

JsonValue JsonValue::MakeContainer(Node* node) noexcept {
  JsonValue value;
  value.bits_.type = node->isObject ? JsonValueType::Object : JsonValueType::Array;
  value.bits_.size = kShared;
  value.bits_.payload = node;
  return value;
}

JsonValue::Node* JsonValue::GetNode() const noexcept {
  const bool container = bits_.type >= JsonValueType::Array;
  return container && bits_.size == kShared ? static_cast<Node*>(bits_.payload) : nullptr;
}

const JsonValue::Object* JsonValue::GetObject() const noexcept {
  return IsObject() ? static_cast<const Object*>(GetNode()) : nullptr;
}

void JsonValue::AddHolder() noexcept {
  Node* node = GetNode();
  if (node == nullptr || !node->exposed) {
    bits_.payload->Add();
    return;
  }
  // Values that still show their original's exposed node.
  std::vector<JsonValue*> open{this};
  const auto copy = [&open](JsonValue& to, const JsonValue& from) {
    to.bits_ = from.bits_;
    Node* child = to.GetNode();
    if (child != nullptr && child->exposed)
      open.push_back(&to);
    else if (to.bits_.size == kShared)
      to.bits_.payload->Add();
  };
  while (!open.empty()) {
    JsonValue& value = *open.back();
    open.pop_back();
    if (value.IsArray()) {
      const Elements& from = static_cast<Array*>(value.GetNode())->elements;
      Array* array = new Array;
      array->elements.resize(from.size());
      for (std::size_t i = 0; i < from.size(); ++i) copy(array->elements[i], from[i]);
      value.bits_.payload = array;
    } else {
      const Object& from = *value.GetObject();
      Object* object = new Object;
      object->members.resize(from.members.size());
      for (std::size_t i = 0; i < from.members.size(); ++i) {
        object->members[i].key = from.members[i].key;
        copy(object->members[i].value, from.members[i].value);
      }
      object->slots = from.slots;
      value.bits_.payload = object;
    }
  }
}

void JsonValue::Release() noexcept {
  Node* pending = nullptr;
  // Nodes are chained and freed one after the other: a document may be nested deeper than the stack allows.
  const auto drop = [&pending](JsonValue& value) {
    Node* node = value.GetNode();
    if (node == nullptr) return;
    value.bits_ = Bits();
    if (!node->Drop()) return;
    node->next = pending;
    pending = node;
  };
  if (IsString()) {
    Text* text = static_cast<Text*>(bits_.payload);
    if (text->Drop()) {
      text->~Text();
      ::operator delete(text);
    }
    return;
  }
  drop(*this);
  while (pending != nullptr) {
    Node* node = pending;
    pending = node->next;
    if (node->isObject) {
      Object* object = static_cast<Object*>(node);
      for (Member& member : object->members) drop(member.value);
      delete object;
    } else {
      Array* array = static_cast<Array*>(node);
      for (JsonValue& element : array->elements) drop(element);
      delete array;
    }
  }
}

JsonValue::Array& JsonValue::MakeArray() {
  if (!IsArray()) *this = JsonValue(JsonValueType::Array);
  Array* array = static_cast<Array*>(GetNode());
  if (array == nullptr) {
    *this = MakeContainer(array = new Array);
  } else if (!array->IsSole()) {
    *this = MakeContainer(array = new Array(*array));
  }
  return *array;
}

JsonValue::Object& JsonValue::MakeObject() {
  if (!IsObject()) *this = JsonValue(JsonValueType::Object);
  Object* object = static_cast<Object*>(GetNode());
  if (object == nullptr) {
    *this = MakeContainer(object = new Object);
  } else if (!object->IsSole()) {
    *this = MakeContainer(object = new Object(*object));
  }
  return *object;
}

}  // namespace Tamrin::Tessera
