#pragma once

#include <atomic>
#include <cstdint>
#include <string_view>
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

/// An array or an object.
struct JsonValue::Node : Payload {
  explicit Node(bool object) : isObject(object) {}
  Node(const Node& other) : Payload(), isObject(other.isObject) {}

  const bool isObject;
  /// A reference to an element was given out for writing. Such a node has one holder: a copy of its value gets
  /// a node of its own, lest the reference change the copy too, or a value set inside itself make a ring.
  bool exposed = false;
  Node* next = nullptr;  ///< the chain of nodes that wait to be freed
};

struct JsonValue::Array : Node {
  Array() : Node(false) {}
  Elements elements;
};

struct JsonValue::Object : Node {
  Object() : Node(true) {}

  static constexpr std::size_t kIndexedFrom = 16;
  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

  std::size_t Position(std::string_view key) const;
  /// The member's value; inserted where it is new.
  JsonValue& Get(std::string_view key);
  /// Indexes all members anew. False where two have the same key; the index then has the first.
  bool Index();
  bool HasEqualKeys() const;

  Members members;
  /// Open addressing, a power of two in size, at most half full: 0 or a position plus 1. Empty below 16 members.
  std::vector<std::uint32_t> slots;
};

}  // namespace Tamrin::Tessera
