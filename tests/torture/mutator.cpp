#include "torture/mutator.h"

#include <algorithm>

#include "txlib/jsonvalue.h"

namespace torture {

namespace {

using Tamrin::Tessera::JsonValue;
using Tamrin::Tessera::JsonValueType::Array;
using Tamrin::Tessera::JsonValueType::Object;

JsonValue FromText(const std::string& text) {
  JsonValue json;
  std::string error;
  json.DeserializeUtf8(text, true, &error);
  return json;
}

const std::vector<std::string>& Oddities() {
  static const std::vector<std::string> texts = {
      "null",
      "true",
      "-1",
      "0",
      "3",
      "1e308",
      "-0.0",
      "4294967296",
      "18446744073709551615",
      "-9223372036854775808",
      "\"\"",
      "\"x\"",
      "\"x.y.z\"",
      "\"VANTIX.\"",
      "\"VANTIX.Nothing\"",
      "\"\\u0000\"",
      "\"$HOME\"",
      "[]",
      "{}",
      "[null, null]",
      "[[[[[[[[1]]]]]]]]",
      "{\"Type\": \"VANTIX.Int\"}",
      "{\"Type\": 5, \"Value\": 5}",
      "{\"Type\": \"VANTIX.Int\", \"Value\": \"five\"}",
      "{\"Type\": \"VANTIX.List\", \"Value\": [1]}",
      "{\"Type\": \"VANTIX.Matrix\", \"Value\": {\"NumberType\": 10, \"Rows\": 2000000000, \"Columns\": 2000000000, "
      "\"Values\": []}}",
      "{\"Type\": \"VANTIX.Matrix\", \"Value\": {\"NumberType\": 99, \"Rows\": -1, \"Columns\": 0, \"Values\": [1]}}",
      "{\"Type\": \"VANTIX.Table\", \"Value\": {\"NumberType\": 10, \"Values\": [1, \"NaN\", null]}}",
      "{\"Type\": \"VANTIX.Color\", \"Value\": {\"Red\": 1e300}}",
      "{\"Type\": \"VANTIX.DateTime\", \"Value\": \"never\"}",
      "{\"Type\": \"VANTIX.Scalar\", \"Value\": {\"NumberType\": 2, \"Value\": 1e99}}",
      "{\"operator\": \"VANTIX.Model\", \"model\": {}}",
      "{\"id\": \"a\", \"operator\": \"VANTIX.List\"}"};
  return texts;
}

/// Keys that mean something somewhere.
const std::vector<std::string>& Keys() {
  static const std::vector<std::string> keys = {
      "format",     "version",    "operator", "name",   "ports",       "operators", "connections", "order",
      "tails",      "attributes", "alias",    "value",  "displayName", "optional",  "hidden",      "id",
      "expansions", "values",     "model",    "from",   "to",          "before",    "after",       "Type",
      "Value",      "removed",    "",         "Input1", "Input99",     "Value1"};
  return keys;
}

/// A value somewhere inside, and the one that holds it. The places of a tree that is not changed meanwhile.
struct Place {
  JsonValue* holder = nullptr;
  std::size_t index = 0;
};

std::string KeyAt(const JsonValue& object, std::size_t index) {
  std::size_t i = 0;
  for (const auto& member : object.GetMembers()) {
    if (i++ == index) return std::string(member.key);
  }
  return {};
}

JsonValue Child(const Place& place) {
  if (place.holder->IsArray()) return place.holder->GetElements()[static_cast<unsigned>(place.index)];
  return *place.holder->Find(KeyAt(*place.holder, place.index));
}

/// The container with one item put in the place of another, left out, or added. Built anew, in its order.
JsonValue WithItem(const JsonValue& holder, std::size_t index, const JsonValue* item, bool isAdded,
                   const std::string& key = {}) {
  JsonValue made(holder.IsArray() ? Array : Object);
  for (std::size_t i = 0; i < holder.Count(); ++i) {
    const bool isHere = i == index;
    if (holder.IsArray()) {
      const JsonValue& old = holder.GetElements()[static_cast<unsigned>(i)];
      if (!isHere || isAdded) made.Append(old);
      if (isHere && item) made.Append(*item);
    } else {
      const std::string name = KeyAt(holder, i);
      if (!isHere || isAdded) made.Set(name, *holder.Find(name));
      if (isHere && item) made.Set(key.empty() ? name : key, *item);
    }
  }
  return made;
}

class TreeMutator {
 public:
  TreeMutator(Dice& dice, const std::vector<std::string>& others) : dice_(dice), others_(others) {}

  /// The value with one change somewhere inside.
  JsonValue Change(const JsonValue& value) {
    if (value.Count() == 0 || !(value.IsArray() || value.IsObject())) return Odd();
    const std::size_t index = dice_.Below(value.Count());
    JsonValue copy = value;
    const JsonValue child = Child({&copy, index});
    const bool isDeep = (child.IsArray() || child.IsObject()) && child.Count() > 0;
    if (isDeep && dice_.Percent(80)) {
      const JsonValue changed = Change(child);
      return WithItem(value, index, &changed, false);
    }
    return ChangeHere(value, index, child);
  }

 private:
  JsonValue Odd() { return FromText(dice_.Of(Oddities())); }

  JsonValue ChangeHere(const JsonValue& value, std::size_t index, const JsonValue& child) {
    JsonValue item;
    switch (dice_.Below(7)) {
      case 0:
        return WithItem(value, index, nullptr, false);
      case 1:  // twice in a list; under another name in an object
        return WithItem(value, index, &child, true, dice_.Of(Keys()));
      case 2:
        item = Child2(value);
        return WithItem(value, index, &item, false);
      case 3:
        return WithItem(value, index, &child, false, dice_.Of(Keys()));
      case 4:
        item = FromOther();
        return WithItem(value, index, &item, dice_.Percent(50), dice_.Of(Keys()));
      case 5:
        item = Wrapped(child);
        return WithItem(value, index, &item, false);
      default:
        item = Odd();
        return WithItem(value, index, &item, false);
    }
  }

  /// Another item of the same container.
  JsonValue Child2(const JsonValue& value) {
    JsonValue copy = value;
    return Child({&copy, dice_.Below(value.Count())});
  }

  /// A part of another document.
  JsonValue FromOther() {
    JsonValue value = FromText(dice_.Of(others_));
    while ((value.IsArray() || value.IsObject()) && value.Count() > 0 && dice_.Percent(70)) {
      JsonValue part = Child({&value, dice_.Below(value.Count())});
      value = std::move(part);
    }
    return value;
  }

  JsonValue Wrapped(const JsonValue& child) {
    JsonValue value = child;
    for (std::size_t depth = dice_.Percent(20) ? 600 : 1 + dice_.Below(3); depth > 0; --depth) {
      JsonValue outer(dice_.Percent(50) ? Array : Object);
      if (outer.IsArray())
        outer.Append(value);
      else
        outer.Set(dice_.Percent(50) ? "model" : "Value", value);
      value = std::move(outer);
    }
    return value;
  }

  Dice& dice_;
  const std::vector<std::string>& others_;
};

/// Lines of a text, so that a key may stand twice and brackets may miss.
std::string ChangeLines(const std::string& text, Dice& dice) {
  std::vector<std::string> lines(1);
  for (const char c : text) {
    lines.back() += c;
    if (c == '\n') lines.emplace_back();
  }
  const std::size_t line = dice.Below(lines.size()), other = dice.Below(lines.size());
  const std::string kept = lines[line];
  switch (dice.Below(3)) {
    case 0:
      lines.erase(lines.begin() + static_cast<std::ptrdiff_t>(line));
      break;
    case 1:
      lines.insert(lines.begin() + static_cast<std::ptrdiff_t>(other), kept);
      break;
    default:
      std::swap(lines[line], lines[other]);
  }
  std::string changed;
  for (const auto& part : lines) changed += part;
  return changed;
}

std::string ChangeBytes(std::string text, Dice& dice) {
  static const std::vector<std::string> pieces = {"\xff",
                                                  "\xc0\x80",
                                                  "\xed\xa0\x80",
                                                  "\xe2\x82",
                                                  "\xf4\x90\x80\x80",
                                                  "\xef\xbb\xbf",
                                                  std::string(1, '\0'),
                                                  "\\ud800",
                                                  "\"",
                                                  "\\",
                                                  ",",
                                                  "1e999",
                                                  "-",
                                                  "99999999999999999999999999",
                                                  "0x10",
                                                  "NaN",
                                                  "/*",
                                                  "//",
                                                  "}",
                                                  "]",
                                                  ":",
                                                  "\n"};
  const std::size_t at = dice.Below(text.size() + 1);
  switch (dice.Below(5)) {
    case 0:
      return text.substr(0, at);
    case 1:
      return text.insert(at, dice.Of(pieces));
    case 2: {
      const std::string deep(dice.Percent(30) ? 100'000 : 2'000, dice.Percent(50) ? '[' : '{');
      return text.insert(at, deep);
    }
    case 3: {
      const auto digit = text.find_first_of("0123456789", at);
      return digit == std::string::npos ? text : text.replace(digit, 1, dice.Of(pieces));
    }
    default:
      if (at < text.size()) text[at] = static_cast<char>(dice.Below(256));
      return text;
  }
}

}  // namespace

std::string Mutate(const std::string& document, const std::vector<std::string>& others, Dice& dice) {
  JsonValue tree = FromText(document);
  TreeMutator mutator(dice, others);
  for (int changes = dice.Percent(80) ? dice.Between(1, 4) : 0; changes > 0; --changes) tree = mutator.Change(tree);
  std::string text = tree.SerializeUtf8(true);
  if (dice.Percent(15)) text = ChangeLines(text, dice);
  if (dice.Percent(15)) text = ChangeBytes(std::move(text), dice);
  return text;
}

}  // namespace torture
