#include "jsonlib/value.h"

#include <cmath>
#include <limits>
#include <utility>

#include "jsonlib/widetext.h"
#include "valuenode.h"

namespace korven::jsonlib {

namespace {

const Value& NullValue() {
  static const Value null;
  return null;
}

/// Reals and integers by exact number: a large integer has no equal double.
bool EqualsNumber(double real, std::uint64_t natural) {
  return real >= 0 && real < 0x1p64 && static_cast<std::uint64_t>(real) == natural && std::trunc(real) == real;
}

}  // namespace

Value::Value() noexcept = default;
Value::Value(bool value) noexcept : type_(booleanValue) { truth_ = value; }
Value::Value(int value) noexcept : Value(std::int64_t{value}) {}
Value::Value(unsigned value) noexcept : Value(std::uint64_t{value}) {}
Value::Value(std::int64_t value) noexcept : type_(intValue) { integer_ = value; }
Value::Value(std::uint64_t value) noexcept : type_(uintValue) { natural_ = value; }
Value::Value(double value) noexcept : type_(realValue) { real_ = value; }
Value::Value(const std::wstring& text) : type_(stringValue), text_(ToUtf8(text)) {}
Value::Value(const wchar_t* text) : Value(std::wstring(text)) {}
Value::Value(Type type) : type_(type) {
  if (type == arrayValue || type == objectValue) node_ = std::make_unique<Node>();
}

Value::Value(const Value& other) {
  std::vector<std::pair<Value*, const Value*>> open{{this, &other}};
  while (!open.empty()) {
    const auto [to, from] = open.back();
    open.pop_back();
    to->type_ = from->type_;
    to->natural_ = from->natural_;
    to->text_ = from->text_;
    if (!from->node_) continue;
    to->node_ = std::make_unique<Node>();
    to->node_->elements.resize(from->node_->elements.size());
    for (std::size_t i = 0; i < from->node_->elements.size(); ++i)
      open.emplace_back(&to->node_->elements[i], &from->node_->elements[i]);
    for (const Node::Member* member : from->node_->order)
      open.emplace_back(&to->node_->Insert(member->first), &member->second);
  }
}

Value::Value(Value&& other) noexcept { Swap(other); }

Value& Value::operator=(Value other) noexcept {
  Swap(other);
  return *this;
}

Value::~Value() {
  if (!node_) return;
  // Nodes are freed one after the other: a text may be nested deeper than the stack allows.
  std::vector<std::unique_ptr<Node>> open;
  open.push_back(std::move(node_));
  while (!open.empty()) {
    const std::unique_ptr<Node> node = std::move(open.back());
    open.pop_back();
    for (Value& element : node->elements)
      if (element.node_) open.push_back(std::move(element.node_));
    for (auto& [key, member] : node->members)
      if (member.node_) open.push_back(std::move(member.node_));
  }
}

void Value::Swap(Value& other) noexcept {
  std::swap(type_, other.type_);
  std::swap(natural_, other.natural_);
  text_.swap(other.text_);
  node_.swap(other.node_);
}

Value::Node& Value::Become(Type type) {
  if (type_ != type) *this = Value(type);
  return *node_;
}

Value& Value::operator[](const std::wstring& key) { return Become(objectValue).Insert(ToUtf8(key)); }

const Value& Value::operator[](const std::wstring& key) const {
  if (!isObject()) return NullValue();
  const auto found = node_->members.find(ToUtf8(key));
  return found == node_->members.end() ? NullValue() : found->second;
}

Value& Value::operator[](std::size_t index) {
  auto& elements = Become(arrayValue).elements;
  if (index >= elements.size()) elements.resize(index + 1);
  return elements[index];
}

const Value& Value::operator[](std::size_t index) const {
  return isArray() && index < node_->elements.size() ? node_->elements[index] : NullValue();
}

Value& Value::append(Value value) { return Become(arrayValue).elements.emplace_back(std::move(value)); }

std::size_t Value::size() const noexcept { return node_ ? node_->elements.size() + node_->order.size() : 0; }

bool Value::isMember(const std::wstring& key) const { return isObject() && node_->members.count(ToUtf8(key)); }

std::vector<std::wstring> Value::getMemberNames() const {
  std::vector<std::wstring> names;
  if (!isObject()) return names;
  for (const Node::Member* member : node_->order) names.push_back(FromUtf8(member->first));
  return names;
}

std::wstring Value::asString() const { return FromUtf8(text_); }

bool Value::asBool() const noexcept { return asDouble() != 0; }

int Value::asInt() const noexcept {
  const double value = asDouble();
  if (std::isnan(value)) return 0;
  constexpr int kLeast = std::numeric_limits<int>::min();
  constexpr int kMost = std::numeric_limits<int>::max();
  return value <= kLeast ? kLeast : value >= kMost ? kMost : static_cast<int>(value);
}

double Value::asDouble() const noexcept {
  switch (type_) {
    case booleanValue:
      return truth_;
    case intValue:
      return static_cast<double>(integer_);
    case uintValue:
      return static_cast<double>(natural_);
    case realValue:
      return real_;
    default:
      return 0;
  }
}

bool Value::MatchesHere(const Value& other) const {
  const auto isNumber = [](const Value& value) { return value.type_ >= intValue && value.type_ <= realValue; };
  if (isNumber(*this) && isNumber(other)) {
    if (type_ == realValue && other.type_ == realValue) return real_ == other.real_;
    const auto isNegative = [](const Value& value) {
      return value.type_ == realValue ? value.real_ < 0 : value.type_ == intValue && value.integer_ < 0;
    };
    if (isNegative(*this) != isNegative(other)) return false;
    const auto magnitude = [](const Value& value) {
      return value.type_ == intValue && value.integer_ < 0 ? 0 - value.natural_ : value.natural_;
    };
    if (type_ == realValue) return EqualsNumber(std::fabs(real_), magnitude(other));
    if (other.type_ == realValue) return EqualsNumber(std::fabs(other.real_), magnitude(*this));
    return natural_ == other.natural_;
  }
  if (type_ != other.type_ || size() != other.size()) return false;
  return type_ == booleanValue ? truth_ == other.truth_ : text_ == other.text_;
}

bool Value::operator==(const Value& other) const {
  std::vector<std::pair<const Value*, const Value*>> open{{this, &other}};
  while (!open.empty()) {
    const auto [a, b] = open.back();
    open.pop_back();
    if (!a->MatchesHere(*b)) return false;
    if (!a->node_) continue;
    for (std::size_t i = 0; i < a->node_->elements.size(); ++i)
      open.emplace_back(&a->node_->elements[i], &b->node_->elements[i]);
    for (const auto& [key, member] : a->node_->members) {
      const auto found = b->node_->members.find(key);
      if (found == b->node_->members.end()) return false;
      open.emplace_back(&member, &found->second);
    }
  }
  return true;
}

}  // namespace korven::jsonlib
