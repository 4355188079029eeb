#include "torture/graph.h"

#include <algorithm>

namespace torture {

namespace {

ValuePtr Scalar(Kind kind, std::int64_t number) {
  Value value;
  value.kind = kind;
  value.number = number;
  return std::make_shared<Value>(std::move(value));
}

}  // namespace

ValuePtr IntValue(std::int64_t number) { return Scalar(Kind::Int, number); }
ValuePtr UnsignedValue(std::int64_t number) { return Scalar(Kind::Unsigned, number); }
ValuePtr BoolValue(bool truth) { return Scalar(Kind::Bool, truth ? 1 : 0); }

ValuePtr TextValue(std::string text) {
  Value value;
  value.kind = Kind::Text;
  value.text = std::move(text);
  return std::make_shared<Value>(std::move(value));
}

ValuePtr ListValue(std::vector<ValuePtr> items) {
  Value value;
  value.kind = Kind::List;
  value.items = std::move(items);
  return std::make_shared<Value>(std::move(value));
}

std::string Told(const ValuePtr& value) {
  if (!value) return "-";
  switch (value->kind) {
    case Kind::Int:
      return "int " + std::to_string(value->number);
    case Kind::Unsigned:
      return "unsigned " + std::to_string(value->number);
    case Kind::Bool:
      return value->number ? "true" : "false";
    case Kind::Text:
      return "'" + value->text + "'";
    default:
      break;
  }
  std::string text;
  for (std::size_t i = 0; i < value->items.size(); ++i) {
    if (i > 0) text += ", ";
    if (value->kind == Kind::Dictionary) text += value->keys[i] + ": ";
    text += Told(value->items[i]);
  }
  return value->kind == Kind::List ? "[" + text + "]" : "{" + text + "}";
}

Shape Join(const Shape& a, const Shape& b) {
  Shape joined;
  joined.nullable = a.nullable || b.nullable;
  joined.weight = std::max(a.weight, b.weight);
  if (a.kind != b.kind) return joined;
  joined.kind = a.kind;
  if (a.kind == Kind::Dictionary) {
    if (a.keys != b.keys) {
      joined.kind = Kind::Any;
      return joined;
    }
    joined.keys = a.keys;
  }
  const bool isPaired = a.kind == Kind::Dictionary || (a.fixed && b.fixed && a.items.size() == b.items.size());
  if (a.kind == Kind::List && !isPaired) {
    Shape all = a.items.empty() ? Shape{} : a.items.front();
    for (const Shape& item : a.items) all = Join(all, item);
    for (const Shape& item : b.items) all = Join(all, item);
    // Of an empty list nothing is known.
    if (a.items.empty() || b.items.empty()) all = Shape{Kind::Any, true, false, {}, {}, joined.weight};
    joined.items = {all};
    return joined;
  }
  joined.fixed = isPaired;
  for (std::size_t i = 0; i < a.items.size() && isPaired; ++i) joined.items.push_back(Join(a.items[i], b.items[i]));
  return joined;
}

Shape ShapeOf(const ValuePtr& value) {
  Shape shape;
  if (!value) {
    shape.nullable = true;
    return shape;
  }
  shape.kind = value->kind;
  shape.fixed = value->kind == Kind::List;
  shape.keys = value->keys;
  for (const auto& item : value->items) {
    shape.items.push_back(ShapeOf(item));
    shape.weight += shape.items.back().weight;
  }
  return shape;
}

const Input* Node::Find(const std::string& port) const {
  const auto found = std::find_if(inputs.begin(), inputs.end(), [&](const Input& input) { return input.port == port; });
  return found == inputs.end() ? nullptr : &*found;
}

std::vector<bool> Graph::Tails() const {
  std::vector<bool> tails(nodes.size(), true);
  for (const Node& node : nodes) {
    for (const Input& input : node.inputs) {
      if (input.from == Input::From::Node) tails[static_cast<std::size_t>(input.node)] = false;
    }
  }
  return tails;
}

}  // namespace torture
