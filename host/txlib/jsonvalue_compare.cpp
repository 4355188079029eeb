#include <cmath>
#include <utility>
#include <vector>

#include "txlib/jsonvalue.h"

namespace Tamrin::Tessera {

namespace {

using Pairs = std::vector<std::pair<const JsonValue*, const JsonValue*>>;

/// Exact: an integer that a double can't hold equals none.
bool EqualsReal(const JsonValue& integer, double real) {
  if (std::trunc(real) != real) return false;
  if (integer.Type() == JsonValueType::Unsigned)
    return real >= 0 && real < 0x1p64 && static_cast<std::uint64_t>(real) == integer.AsUint64();
  return real >= -0x1p63 && real < 0x1p63 && static_cast<std::int64_t>(real) == integer.AsInt64();
}

bool EqualNumbers(const JsonValue& a, const JsonValue& b) {
  const bool realA = a.Type() == JsonValueType::Double;
  const bool realB = b.Type() == JsonValueType::Double;
  if (realA && realB) {
    const double x = a.AsDouble();
    const double y = b.AsDouble();
    return x == y || (std::isnan(x) && std::isnan(y));
  }
  if (realA) return EqualsReal(b, a.AsDouble());
  if (realB) return EqualsReal(a, b.AsDouble());
  const bool negative =
      (a.Type() == JsonValueType::Int && a.AsInt64() < 0) || (b.Type() == JsonValueType::Int && b.AsInt64() < 0);
  if (!negative) return a.AsUint64() == b.AsUint64();
  return a.Type() == b.Type() && a.AsInt64() == b.AsInt64();
}

/// Containers of equal size are left to be compared later, so that depth does not cost stack.
bool Compare(const JsonValue& a, const JsonValue& b, Pairs& later) {
  if (a.IsNumber() && b.IsNumber()) return EqualNumbers(a, b);
  if (a.Type() != b.Type()) return false;
  switch (a.Type()) {
    case JsonValueType::String:
      return a.AsUtf8() == b.AsUtf8();
    case JsonValueType::Bool:
      return a.AsBool() == b.AsBool();
    case JsonValueType::Array:
      if (a.GetElements().size() != b.GetElements().size()) return false;
      if (a.GetElements().data() != b.GetElements().data()) later.emplace_back(&a, &b);
      return true;
    case JsonValueType::Object:
      if (a.GetMembers().size() != b.GetMembers().size()) return false;
      if (a.GetMembers().data() != b.GetMembers().data()) later.emplace_back(&a, &b);
      return true;
    default:
      return true;
  }
}

bool CompareMembers(const JsonValue& a, const JsonValue& b, Pairs& later) {
  const JsonValue::Members others = b.GetMembers();
  std::size_t position = 0;
  for (const JsonValue::Member& member : a.GetMembers()) {
    // Equal objects mostly have their keys in the same order.
    const JsonValue::Member& opposite = others[position++];
    const JsonValue* other = opposite.key == member.key ? &opposite.value : b.Find(member.key);
    if (other == nullptr || !Compare(member.value, *other, later)) return false;
  }
  return true;
}

bool CompareElements(const JsonValue& a, const JsonValue& b, Pairs& later) {
  const JsonValue::Elements others = b.GetElements();
  std::size_t position = 0;
  for (const JsonValue& element : a.GetElements())
    if (!Compare(element, others[position++], later)) return false;
  return true;
}

}  // namespace

bool JsonValue::operator==(const JsonValue& other) const {
  Pairs later;
  if (!Compare(*this, other, later)) return false;
  while (!later.empty()) {
    const auto [a, b] = later.back();
    later.pop_back();
    if (!(a->IsObject() ? CompareMembers(*a, *b, later) : CompareElements(*a, *b, later))) return false;
  }
  return true;
}

}  // namespace Tamrin::Tessera
