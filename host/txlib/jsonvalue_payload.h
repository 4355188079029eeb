#pragma once

#include <atomic>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <string_view>
#include <utility>
#include <vector>

#include "txlib/jsonvalue.h"

namespace Tamrin::Tessera {

/// What values share. The last holder frees it.
struct JsonValue::Payload {
  /// True for the last holder.
  bool Drop() noexcept {
    // A sole holder needs no exchange: nobody else can add one.
    return holders.load(std::memory_order_acquire) == 1 || holders.fetch_sub(1, std::memory_order_acq_rel) == 1;
  }
  void Add() noexcept { holders.fetch_add(1, std::memory_order_relaxed); }
  bool IsSole() const noexcept { return holders.load(std::memory_order_acquire) == 1; }

  std::atomic<std::uint32_t> holders{1};
};

/// The characters follow the struct.
struct JsonValue::Text : Payload {
  std::size_t length = 0;
  char* Characters() { return reinterpret_cast<char*>(this + 1); }
};

/// An array or an object. The elements or members follow the struct.
struct JsonValue::Node : Payload {
  static constexpr std::size_t kIndexedFrom = 16;
  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

  /// Without items, with room for `capacity`.
  static Node* Make(bool isObject, std::size_t capacity);
  /// With copies of the items.
  static Node* Copy(const Node& other, std::size_t capacity);
  /// With the items of a node that has one holder, which is freed.
  static Node* Enlarge(Node* node, std::size_t capacity);
  static void Free(Node* node) noexcept;

  JsonValue* Elements() { return reinterpret_cast<JsonValue*>(this + 1); }
  const JsonValue* Elements() const { return reinterpret_cast<const JsonValue*>(this + 1); }
  Member* Members() { return reinterpret_cast<Member*>(this + 1); }
  const Member* Members() const { return reinterpret_cast<const Member*>(this + 1); }

  /// Adds behind the last item, where there is room.
  JsonValue& AddElement(JsonValue&& value) { return *new (Elements() + count++) JsonValue(std::move(value)); }
  Member& AddMember(Member&& member) { return *new (Members() + count++) Member(std::move(member)); }

  std::size_t Position(std::string_view key) const;
  /// Indexes the members anew. False where two have the same key; the index then has the first.
  bool Index();
  /// Puts the last member into the index.
  void IndexLast();
  bool HasEqualKeys() const;

  bool isObject = false;
  /// A reference to an item was given out for writing. Such a node has one holder: a copy of its value gets a
  /// node of its own, lest the reference change the copy too, or a value set inside itself make a ring.
  bool exposed = false;
  std::uint32_t count = 0;
  std::uint32_t capacity = 0;
  Node* next = nullptr;  ///< the chain of nodes that wait to be freed
  /// Open addressing, a power of two in size, at most half full: 0 or a position plus 1. None below 16 members.
  std::unique_ptr<std::vector<std::uint32_t>> slots;
};

inline JsonValue JsonValue::MakeText(std::string_view valid) {
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

inline JsonValue JsonValue::MakeContainer(Node* node) noexcept {
  JsonValue value;
  value.bits_.type = node->isObject ? JsonValueType::Object : JsonValueType::Array;
  value.bits_.size = kShared;
  value.bits_.payload = node;
  return value;
}

}  // namespace Tamrin::Tessera
