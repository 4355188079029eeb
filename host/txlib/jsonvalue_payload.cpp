#include "jsonvalue_payload.h"

#include <algorithm>
#include <bit>
#include <functional>
#include <limits>
#include <stdexcept>

namespace Tamrin::Tessera {

namespace {

std::size_t Hash(std::string_view key) { return std::hash<std::string_view>()(key); }

}  // namespace

JsonValue::Node* JsonValue::Node::Make(bool isObject, std::size_t capacity) {
  static_assert(sizeof(Node) % alignof(Member) == 0 && alignof(Node) >= alignof(Member));
  if (capacity > std::numeric_limits<std::uint32_t>::max()) throw std::length_error("a JSON value of too many items");
  const std::size_t itemSize = isObject ? sizeof(Member) : sizeof(JsonValue);
  Node* node = new (::operator new(sizeof(Node) + capacity * itemSize)) Node;
  node->isObject = isObject;
  node->capacity = static_cast<std::uint32_t>(capacity);
  return node;
}

JsonValue::Node* JsonValue::Node::Copy(const Node& other, std::size_t capacity) {
  std::unique_ptr<Node, void (*)(Node*)> node(Make(other.isObject, capacity), &Free);
  for (std::size_t i = 0; i < other.count; ++i) {
    if (other.isObject)
      node->AddMember(Member(other.Members()[i]));
    else
      node->AddElement(JsonValue(other.Elements()[i]));
  }
  if (other.slots != nullptr) node->slots = std::make_unique<std::vector<std::uint32_t>>(*other.slots);
  return node.release();
}

JsonValue::Node* JsonValue::Node::Enlarge(Node* node, std::size_t capacity) {
  std::unique_ptr<Node, void (*)(Node*)> larger(Make(node->isObject, capacity), &Free);
  for (std::size_t i = 0; i < node->count; ++i) {
    if (node->isObject)
      larger->AddMember(std::move(node->Members()[i]));
    else
      larger->AddElement(std::move(node->Elements()[i]));
  }
  larger->slots = std::move(node->slots);
  larger->exposed = node->exposed;
  Free(node);
  return larger.release();
}

void JsonValue::Node::Free(Node* node) noexcept {
  if (node->isObject)
    std::destroy_n(node->Members(), node->count);
  else
    std::destroy_n(node->Elements(), node->count);
  node->~Node();
  ::operator delete(node);
}

std::size_t JsonValue::Node::Position(std::string_view key) const {
  const Member* members = Members();
  if (slots == nullptr) {
    for (std::size_t i = 0; i < count; ++i)
      if (members[i].key == key) return i;
    return kNone;
  }
  const std::size_t mask = slots->size() - 1;
  for (std::size_t slot = Hash(key) & mask; (*slots)[slot] != 0; slot = (slot + 1) & mask) {
    const std::size_t position = (*slots)[slot] - 1;
    if (members[position].key == key) return position;
  }
  return kNone;
}

void JsonValue::Node::IndexLast() {
  if (count < kIndexedFrom) return;
  if (slots == nullptr || std::size_t{count} * 2 > slots->size()) {
    Index();
    return;
  }
  const std::size_t mask = slots->size() - 1;
  std::size_t slot = Hash(Members()[count - 1].key) & mask;
  while ((*slots)[slot] != 0) slot = (slot + 1) & mask;
  (*slots)[slot] = count;
}

bool JsonValue::Node::Index() {
  slots.reset();
  if (count < kIndexedFrom) return true;
  slots = std::make_unique<std::vector<std::uint32_t>>(std::bit_ceil(std::size_t{count} * 2 + 1));
  const Member* members = Members();
  const std::size_t mask = slots->size() - 1;
  bool unique = true;
  for (std::uint32_t i = 0; i < count; ++i) {
    std::size_t slot = Hash(members[i].key) & mask;
    while ((*slots)[slot] != 0 && members[(*slots)[slot] - 1].key != members[i].key) slot = (slot + 1) & mask;
    if ((*slots)[slot] == 0)
      (*slots)[slot] = i + 1;
    else
      unique = false;
  }
  return unique;
}

bool JsonValue::Node::HasEqualKeys() const {
  const Member* members = Members();
  for (std::size_t i = 1; i < count; ++i)
    for (std::size_t j = 0; j < i; ++j)
      if (members[i].key == members[j].key) return true;
  return false;
}

std::string_view JsonValue::AsUtf8() const noexcept {
  static_assert(sizeof(JsonValue) == 16 && offsetof(Bits, text) == 2 && offsetof(Bits, natural) == 8);
  if (!IsString()) return {};
  if (bits_.size != kShared) return {reinterpret_cast<const char*>(&bits_) + 2, bits_.size};
  Text& text = static_cast<Text&>(*bits_.payload);
  return {text.Characters(), text.length};
}

JsonValue::Node* JsonValue::GetNode() const noexcept {
  const bool container = bits_.type >= JsonValueType::Array;
  return container && bits_.size == kShared ? static_cast<Node*>(bits_.payload) : nullptr;
}

void JsonValue::AddHolder() {
  Node* node = GetNode();
  if (node == nullptr || !node->exposed) {
    bits_.payload->Add();
    return;
  }
  // Values that still show their original's exposed node.
  std::vector<JsonValue*> open{this};
  const auto copy = [&open](JsonValue& to, const JsonValue& from) {
    Node* child = from.GetNode();
    if (child != nullptr && child->exposed)
      open.push_back(&to);
    else if (from.bits_.size == kShared)
      from.bits_.payload->Add();
    to.bits_ = from.bits_;
  };
  try {
    while (!open.empty()) {
      JsonValue& value = *open.back();
      const Node& from = *value.GetNode();
      Node* to = Node::Make(from.isObject, from.count);
      value.bits_.payload = to;
      open.pop_back();
      for (std::size_t i = 0; i < from.count; ++i) {
        if (from.isObject)
          copy(to->AddMember({from.Members()[i].key, JsonValue()}).value, from.Members()[i].value);
        else
          copy(to->AddElement(JsonValue()), from.Elements()[i]);
      }
      if (from.slots != nullptr) to->slots = std::make_unique<std::vector<std::uint32_t>>(*from.slots);
    }
  } catch (...) {
    // What they show is not theirs to release; what was copied is.
    for (JsonValue* value : open) value->bits_ = Bits();
    if (bits_.size == kShared) Release();
    throw;
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
    for (std::size_t i = 0; i < node->count; ++i) drop(node->isObject ? node->Members()[i].value : node->Elements()[i]);
    Node::Free(node);
  }
}

JsonValue::Node& JsonValue::MakeNode(JsonValueType::Enum type, std::size_t room) {
  constexpr std::size_t kLeast = 4;
  if (Type() != type) *this = JsonValue(type);
  Node* node = GetNode();
  const std::size_t needed = (node == nullptr ? 0 : node->count) + room;
  if (node == nullptr) {
    *this = MakeContainer(Node::Make(IsObject(), std::max(needed, kLeast)));
  } else if (!node->IsSole()) {
    *this = MakeContainer(Node::Copy(*node, needed));
  } else if (needed > node->capacity) {
    const std::size_t limit = std::numeric_limits<std::uint32_t>::max();
    const std::size_t doubled = std::min(limit, std::size_t{node->capacity} * 2);
    bits_.payload = Node::Enlarge(node, std::max(needed, doubled));
  }
  return *GetNode();
}

JsonValue& JsonValue::MemberOf(std::string_view validKey) {
  Node* node = &MakeNode(JsonValueType::Object, 0);
  const std::size_t position = node->Position(validKey);
  if (position != Node::kNone) return node->Members()[position].value;
  // The key may lie in a member that moves.
  Member member{std::string(validKey), JsonValue()};
  node = &MakeNode(JsonValueType::Object, 1);
  JsonValue& value = node->AddMember(std::move(member)).value;
  node->IndexLast();
  return value;
}

}  // namespace Tamrin::Tessera
