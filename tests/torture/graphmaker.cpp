#include <algorithm>
#include <functional>
#include <optional>

#include "torture/graph.h"
#include "torture/seeds.h"

// Makes models whose run ends well, whatever is switched in them. Each choice that the reference and the engine have
// to agree on is left open: which branch runs, which values are empty, how long lists become.
namespace torture {

namespace {

constexpr int kHeaviest = 60;
constexpr int kDeepest = 3;

using Fits = std::function<bool(const Shape&)>;

bool IsAny(const Shape&) { return true; }
bool IsScalar(const Shape& shape) {
  return !shape.nullable && (shape.kind == Kind::Int || shape.kind == Kind::Unsigned || shape.kind == Kind::Bool ||
                             shape.kind == Kind::Text);
}
bool IsNumber(const Shape& shape) { return IsScalar(shape) && shape.kind != Kind::Text; }
bool IsText(const Shape& shape) { return !shape.nullable && shape.kind == Kind::Text; }
bool IsList(const Shape& shape) { return !shape.nullable && shape.kind == Kind::List; }
bool IsFixedList(const Shape& shape) { return IsList(shape) && shape.fixed && !shape.items.empty(); }
bool IsDictionary(const Shape& shape) { return !shape.nullable && shape.kind == Kind::Dictionary; }
/// Nothing inside of it is without data, whatever it is itself.
bool HasNoHole(const Shape& shape) {
  if (shape.kind == Kind::Any) return shape.weight == 1;
  return std::all_of(shape.items.begin(), shape.items.end(),
                     [](const Shape& item) { return !item.nullable && HasNoHole(item); });
}
bool HasNoEmptyItem(const Shape& shape) { return IsDictionary(shape) && HasNoHole(shape); }
bool HasIntsAlone(const Shape& shape) {
  return IsFixedList(shape) &&
         std::all_of(shape.items.begin(), shape.items.end(), [](const Shape& item) { return item.kind == Kind::Int; });
}
bool HasPlainInts(const Shape& shape) {
  return HasIntsAlone(shape) &&
         std::none_of(shape.items.begin(), shape.items.end(), [](const Shape& item) { return item.nullable; });
}
bool IsLoopable(const Shape& shape) { return IsFixedList(shape) && shape.items.size() > 1; }

Shape Of(Kind kind, bool nullable = false) {
  Shape shape;
  shape.kind = kind;
  shape.nullable = nullable;
  return shape;
}

class Maker {
 public:
  Maker(Dice& dice, int& counter, Missing missing, int depth, Graph& graph)
      : dice_(dice), counter_(counter), missing_(missing), depth_(depth), graph_(graph) {}

  void Fill(int nodes) {
    // Each of the graph's own inputs leads somewhere.
    for (std::size_t i = 0; i < graph_.inputs.size(); ++i) {
      Node& node = Add("Merge");
      Input input = FromOutside("Input1", static_cast<int>(i));
      AddOutput(node, "Output", graph_.inputs[i].second);
      node.inputs = {std::move(input), Empty("Input2")};
    }
    while (static_cast<int>(graph_.nodes.size()) < nodes) AddOne();
    AddOrder();
    AddPoison();
  }

 private:
  using Making = void (Maker::*)();

  Node& Add(const char* op) {
    Node node;
    node.op = op;
    node.id = "n" + std::to_string(++counter_);
    graph_.nodes.push_back(std::move(node));
    return graph_.nodes.back();
  }
  static void AddOutput(Node& node, const std::string& name, Shape shape) {
    node.outputs.emplace_back(name, std::move(shape));
  }
  static Input Empty(const std::string& port) {
    Input input;
    input.port = port;
    return input;
  }
  static Input FromOutside(const std::string& port, int number) {
    Input input = Empty(port);
    input.from = Input::From::Outside;
    input.outside = number;
    return input;
  }
  static Input Constant(const std::string& port, ValuePtr value, bool tunable = false) {
    Input input = Empty(port);
    input.from = Input::From::Constant;
    input.constant = std::move(value);
    input.tunable = tunable;
    return input;
  }

  ValuePtr SomeText() {
    static const std::vector<std::string> texts = {"a1",
                                                   "plain",
                                                   "x\"y\\z 42",
                                                   "\xc3\xbc"
                                                   "7 \xe6\x97\xa5",
                                                   "",
                                                   "true",
                                                   "007",
                                                   "{} []",
                                                   "line\nline",
                                                   "$HOME"};
    return TextValue(dice_.Of(texts) + (dice_.Percent(50) ? std::to_string(dice_.Below(100)) : ""));
  }
  ValuePtr SomeScalar() {
    switch (dice_.Below(5)) {
      case 0:
        return SomeText();
      case 1:
        return BoolValue(dice_.Percent(50));
      case 2:
        return UnsignedValue(dice_.Between(0, 9));
      default:
        return IntValue(dice_.Between(-3, 9));
    }
  }
  ValuePtr SomeList(bool plainInts) {
    std::vector<ValuePtr> items;
    for (int left = dice_.Between(2, 5); left > 0; --left) {
      if (plainInts)
        items.push_back(IntValue(dice_.Between(-5, 5)));
      else
        items.push_back(dice_.Percent(15) ? nullptr : SomeScalar());
    }
    return ListValue(std::move(items));
  }
  /// A constant that fits, of any kind if it may.
  ValuePtr SomeConstant(const Fits& fits) {
    for (;;) {
      ValuePtr value = dice_.Percent(35) ? SomeList(dice_.Percent(60)) : SomeScalar();
      if (fits(ShapeOf(value))) return value;
    }
  }

  const Shape& ShapeOfInput(const Input& input, Shape& kept) const {
    if (input.from == Input::From::Node)
      return graph_.nodes[static_cast<std::size_t>(input.node)].outputs[static_cast<std::size_t>(input.output)].second;
    if (input.from == Input::From::Outside) return graph_.inputs[static_cast<std::size_t>(input.outside)].second;
    kept = ShapeOf(input.constant);
    return kept;
  }
  Shape ShapeAt(const Input& input) const {
    Shape kept;
    return ShapeOfInput(input, kept);
  }

  /// Something that is there already and fits; late nodes rather than early ones. Nothing where little does.
  std::optional<Input> Find(const std::string& port, const Fits& fits, int heaviest) {
    const std::size_t count = graph_.nodes.size();
    for (int tries = 0; tries < 12; ++tries) {
      if (!graph_.inputs.empty() && dice_.Percent(10)) {
        Input input = FromOutside(port, static_cast<int>(dice_.Below(graph_.inputs.size())));
        const Shape shape = ShapeAt(input);
        if (shape.weight <= heaviest && fits(shape)) return input;
        continue;
      }
      if (count == 0) break;
      const std::size_t back = dice_.Percent(70) ? dice_.Below(std::min<std::size_t>(count, 12)) : dice_.Below(count);
      const Node& node = graph_.nodes[count - 1 - back];
      if (node.outputs.empty() || node.poison) continue;
      Input input = Empty(port);
      input.from = Input::From::Node;
      input.node = static_cast<int>(count - 1 - back);
      input.output = static_cast<int>(dice_.Below(node.outputs.size()));
      const Shape& shape = node.outputs[static_cast<std::size_t>(input.output)].second;
      if (shape.weight <= heaviest && fits(shape)) return input;
    }
    return std::nullopt;
  }
  Input Pick(const std::string& port, const Fits& fits, int heaviest = kHeaviest) {
    if (dice_.Percent(88)) {
      if (auto found = Find(port, fits, heaviest)) return *found;
    }
    return Constant(port, SomeConstant(fits), true);
  }
  Input PickDictionary(const std::string& port) {
    const bool isRead = port == "Dictionary" && missing_ == Missing::Never;
    if (auto found = Find(port, isRead ? HasNoEmptyItem : IsDictionary, kHeaviest)) return *found;
    Value value;
    value.kind = Kind::Dictionary;
    for (const char* key : {"a", "b c", "\xc3\xbc"}) {
      value.keys.emplace_back(key);
      value.items.push_back(SomeScalar());
    }
    return Constant(port, std::make_shared<Value>(std::move(value)));
  }

  void AddOne() {
    static const std::vector<Making> all = {&Maker::ToString,       &Maker::Search,  &Maker::List,
                                            &Maker::List,           &Maker::NthItem, &Maker::NthItem,
                                            &Maker::NumItems,       &Maker::Merge,   &Maker::Merge,
                                            &Maker::IfElse,         &Maker::IfElse,  &Maker::If,
                                            &Maker::IsEmpty,        &Maker::Eq,      &Maker::RemoveEmptyItems,
                                            &Maker::SortItems,      &Maker::Combine, &Maker::Dictionary,
                                            &Maker::DictionaryItem, &Maker::Report,  &Maker::Convert};
    // What holds a model of its own is rare, and not without end.
    if (depth_ < kDeepest && dice_.Percent(6)) {
      if (dice_.Percent(50)) return Holder("Model");
      return Holder("Iterator");
    }
    (this->*dice_.Of(all))();
    if (dice_.Percent(10)) graph_.nodes.back().spareSets = dice_.Between(1, 2);
  }

  // Inputs are picked before the node is there, so that none leads back to it.
  void Put(const char* op, std::vector<Input> inputs, std::vector<std::pair<std::string, Shape>> outputs) {
    Node& node = Add(op);
    node.inputs = std::move(inputs);
    node.outputs = std::move(outputs);
  }

  void ToString() { Put("ToString", {Pick("Data", IsScalar)}, {{"String", Of(Kind::Text)}}); }
  void Search() {
    static const std::vector<std::string> expressions = {"[0-9]+", "a", "true"};
    Put("RegularExpressionSearch", {Pick("StringIn", IsText), Constant("RegEx", TextValue(dice_.Of(expressions)))},
        {{"StringOut", Of(Kind::Text, true)}});
  }
  void List() {
    std::vector<Input> inputs;
    Shape shape = Of(Kind::List);
    shape.fixed = true;
    const bool isLonger = dice_.Percent(30);
    if (isLonger) {
      inputs.push_back(Pick("ListIn", IsList));
      shape = ShapeAt(inputs.back());
    }
    const int count = dice_.Between(1, 5);
    for (int i = 1; i <= count; ++i) {
      inputs.push_back(dice_.Percent(8) ? Empty("Value" + std::to_string(i))
                                        : Pick("Value" + std::to_string(i), IsAny, kHeaviest / 4));
      Shape item = inputs.back().from == Input::From::Nothing ? Of(Kind::Any, true) : ShapeAt(inputs.back());
      shape.weight += item.weight;
      if (shape.fixed)
        shape.items.push_back(std::move(item));
      else
        shape.items.front() = Join(shape.items.front(), item);
    }
    Put("List", std::move(inputs), {{"ListOut", std::move(shape)}});
  }
  void NthItem() {
    Input list = Pick("List", IsFixedList);
    const Shape shape = ShapeAt(list);
    const std::size_t index = dice_.Below(shape.items.size());
    Put("NthItem", {std::move(list), Constant("Index", IntValue(static_cast<int>(index)))},
        {{"Item", shape.items[index]}});
  }
  void NumItems() { Put("NumItems", {Pick("List", IsList)}, {{"NumItems", Of(Kind::Unsigned)}}); }
  void Merge() {
    std::vector<Input> inputs;
    std::optional<Shape> joined;
    bool isNullable = true;
    const int count = dice_.Between(1, 4);
    for (int i = 1; i <= std::max(count, 2); ++i) {
      const std::string port = "Input" + std::to_string(i);
      inputs.push_back(i > count ? Empty(port) : Pick(port, missing_ == Missing::Never ? HasNoHole : IsAny));
      if (i > count) continue;
      const Shape shape = ShapeAt(inputs.back());
      // What can't come through says nothing of the result.
      if (isNullable) joined = joined ? Join(*joined, shape) : shape;
      isNullable = isNullable && shape.nullable;
    }
    joined->nullable = isNullable;
    Put("Merge", std::move(inputs), {{"Output", *joined}});
  }
  Input PickTest() {
    if (dice_.Percent(10)) return Empty("Test");
    return Pick("Test",
                [](const Shape& shape) { return IsScalar(shape) || (shape.nullable && shape.kind == Kind::Text); });
  }
  void IfElse() {
    std::vector<Input> inputs = {PickTest()};
    std::vector<std::pair<std::string, Shape>> outputs;
    const int sets = dice_.Between(1, 3);
    for (int i = 1; i <= sets; ++i) {
      const std::string number = std::to_string(i);
      Input whenTrue = Pick("True" + number, IsAny);
      const Shape shape = ShapeAt(whenTrue);
      Input whenFalse = Pick("False" + number, [&](const Shape& other) {
        return shape.kind == Kind::Dictionary || other.kind == shape.kind || shape.kind == Kind::Any;
      });
      outputs.emplace_back("Output" + number, Join(shape, ShapeAt(whenFalse)));
      inputs.push_back(std::move(whenTrue));
      inputs.push_back(std::move(whenFalse));
    }
    Put("IfElse", std::move(inputs), std::move(outputs));
  }
  void If() {
    Input test = PickTest(), input = Pick("Input", IsAny);
    Shape shape = ShapeAt(input);
    shape.nullable = true;
    Put("If", {std::move(test), std::move(input)}, {{"True", shape}, {"False", shape}});
  }
  void IsEmpty() { Put("IsEmpty", {Pick("Data", IsAny)}, {{"IsEmpty", Of(Kind::Bool)}}); }
  void Eq() {
    const Fits& fits = dice_.Percent(60) ? Fits(IsNumber) : Fits(IsText);
    Input first = Pick("Input1", fits), second = Pick("Input2", fits);
    Put("Eq", {std::move(first), std::move(second)}, {{"Binary", Of(Kind::Bool)}});
  }
  void RemoveEmptyItems() {
    Input list = Pick("ListIn", IsList);
    Shape shape = ShapeAt(list);
    Shape item = shape.items.empty() ? Of(Kind::Any, true) : shape.items.front();
    for (const Shape& other : shape.items) item = Join(item, other);
    item.nullable = false;
    shape.fixed = false;
    shape.items = {item};
    Put("RemoveEmptyItems", {std::move(list)}, {{"ListOut", std::move(shape)}});
  }
  void SortItems() {
    Input list = Pick("DataIn", HasIntsAlone);
    Shape shape = ShapeAt(list);
    Shape item = shape.items.front();
    for (const Shape& other : shape.items) item = Join(item, other);
    shape.items.assign(shape.items.size(), item);
    std::vector<Input> inputs = {std::move(list)};
    if (dice_.Percent(60))
      inputs.push_back(Constant("Order", TextValue(dice_.Percent(50) ? "Ascending" : "Descending")));
    Put("SortItems", std::move(inputs), {{"DataOut", std::move(shape)}});
  }
  void Combine() {
    std::vector<Input> inputs;
    Shape shape = Of(Kind::List);
    shape.fixed = true;
    const int count = dice_.Between(1, 3);
    for (int i = 1; i <= count; ++i) {
      inputs.push_back(Pick("Collection" + std::to_string(i), HasPlainInts, kHeaviest / 3));
      for (const Shape& item : ShapeAt(inputs.back()).items) shape.items.push_back(item);
    }
    shape.weight = static_cast<int>(shape.items.size()) + 1;
    Put("Combine", std::move(inputs), {{"Combination", std::move(shape)}});
  }
  void Dictionary() {
    std::vector<Input> inputs;
    Shape shape = Of(Kind::Dictionary);
    if (dice_.Percent(30)) {
      inputs.push_back(PickDictionary("DictionaryIn"));
      shape = ShapeAt(inputs.back());
    }
    static const std::vector<std::string> keys = {"a", "k1", "k2", "\xc3\xbc", "b c"};
    const std::size_t first = dice_.Below(keys.size());
    const int count = dice_.Between(1, 3);
    for (int i = 1; i <= count; ++i) {
      const std::string number = std::to_string(i), key = keys[(first + static_cast<std::size_t>(i)) % keys.size()];
      Input value = Pick("Value" + number, IsAny, kHeaviest / 4);
      const Shape item = ShapeAt(value);
      shape.weight += item.weight;
      const auto known = std::find(shape.keys.begin(), shape.keys.end(), key);
      if (known != shape.keys.end()) {
        shape.items[static_cast<std::size_t>(known - shape.keys.begin())] = item;
      } else {
        shape.keys.push_back(key);
        shape.items.push_back(item);
      }
      inputs.push_back(Constant("Name" + number, TextValue(key)));
      inputs.push_back(std::move(value));
    }
    Put("Dictionary", std::move(inputs), {{"DictionaryOut", std::move(shape)}});
  }
  void DictionaryItem() {
    Input dictionary = PickDictionary("Dictionary");
    const Shape shape = ShapeAt(dictionary);
    std::vector<Input> inputs = {std::move(dictionary)};
    std::vector<std::pair<std::string, Shape>> outputs;
    const int count = dice_.Between(1, 3);
    for (int i = 1; i <= count; ++i) {
      const std::size_t key = dice_.Below(shape.keys.size());
      inputs.push_back(Constant("Name" + std::to_string(i), TextValue(shape.keys[key])));
      outputs.emplace_back("Item" + std::to_string(i), shape.items[key]);
    }
    Put("DictionaryItem", std::move(inputs), std::move(outputs));
  }
  void Report() {
    std::vector<Input> inputs = {Constant("ToSessionLog", BoolValue(false)),
                                 Constant("ConfigString", TextValue("text"))};
    std::vector<std::pair<std::string, Shape>> outputs;
    const int count = dice_.Between(1, 3);
    for (int i = 1; i <= count; ++i) {
      inputs.push_back(Pick("Input" + std::to_string(i), IsAny));
      outputs.emplace_back("Output" + std::to_string(i), ShapeAt(inputs.back()));
    }
    Put("Report", std::move(inputs), std::move(outputs));
  }
  void Convert() {
    Input input = Pick("Input", IsNumber);
    const bool toBool = dice_.Percent(40);
    Put("Convert", {std::move(input), Constant("DataType", TextValue(toBool ? "VANTIX.Bool" : "Int"))},
        {{"Output", Of(toBool ? Kind::Bool : Kind::Int)}});
  }

  /// A model inside, with a part of its ends as its outputs.
  void Holder(const char* op) {
    const bool isLoop = std::string(op) == "Iterator";
    const auto inner = std::make_shared<Graph>();
    std::vector<Input> inputs;
    std::size_t runs = 0;
    const int count = dice_.Between(1, 3);
    for (int i = 1; i <= count; ++i) {
      const std::string port = "In" + std::to_string(i);
      Input input;
      // A value that is no list is common to all runs of a loop.
      if (isLoop && i > 1 && dice_.Percent(50))
        input = Pick(port, IsScalar);
      else
        input = isLoop ? Pick(port, IsLoopable, kHeaviest / 2) : Pick(port, IsAny, kHeaviest / 2);
      // Another value could be of another length.
      input.tunable = input.tunable && !isLoop;
      Shape shape = ShapeAt(input);
      if (isLoop && shape.kind == Kind::List) {
        runs = runs == 0 ? shape.items.size() : std::min(runs, shape.items.size());
        Shape item = shape.items.front();
        for (const Shape& other : shape.items) item = Join(item, other);
        shape = std::move(item);
      }
      inner->inputs.emplace_back(port, std::move(shape));
      inputs.push_back(std::move(input));
    }
    Maker(dice_, counter_, missing_, depth_ + 1, *inner).Fill(count + dice_.Between(1, 10));
    auto outputs = ShowTails(*inner);
    for (auto& [name, shape] : outputs) {
      if (isLoop) shape = Repeated(shape, runs);
    }
    Put(op, std::move(inputs), std::move(outputs));
    graph_.nodes.back().inner = inner;
  }
  static Shape Repeated(const Shape& item, std::size_t count) {
    Shape list = Of(Kind::List);
    list.fixed = true;
    list.items.assign(count, item);
    list.weight = 1 + item.weight * static_cast<int>(count);
    return list;
  }
  std::vector<std::pair<std::string, Shape>> ShowTails(Graph& inner) {
    std::vector<std::pair<std::string, Shape>> shown;
    const auto tails = inner.Tails();
    for (std::size_t i = 0; i < tails.size(); ++i) {
      const Node& node = inner.nodes[i];
      for (std::size_t output = 0; tails[i] && output < node.outputs.size(); ++output) {
        if (!shown.empty() && dice_.Percent(30)) continue;
        const std::string name = "Out" + std::to_string(shown.size() + 1);
        inner.outputs.push_back({name, static_cast<int>(i), static_cast<int>(output)});
        shown.emplace_back(name, node.outputs[output].second);
      }
    }
    return shown;
  }

  /// Some nodes run before others for no reason of data. Always an earlier one before a later one.
  void AddOrder() {
    const std::size_t count = graph_.nodes.size();
    for (std::size_t edges = count / 10; edges > 0 && count > 1; --edges) {
      const std::size_t later = 1 + dice_.Below(count - 1);
      const int earlier = static_cast<int>(dice_.Below(later));
      auto& after = graph_.nodes[later].after;
      if (std::find(after.begin(), after.end(), earlier) == after.end()) after.push_back(earlier);
    }
  }

  /// In a branch that is never taken stands what must never run.
  void AddPoison() {
    const std::size_t count = graph_.nodes.size();
    for (std::size_t i = 0; i < count; ++i) {
      if (graph_.nodes[i].op != "IfElse" || !dice_.Percent(30)) continue;
      const bool truth = dice_.Percent(50);
      graph_.nodes[i].inputs.front() = Constant("Test", BoolValue(truth));
      const std::string port = truth ? "False1" : "True1";
      Node& poison = Add("RequireCondition");
      poison.poison = true;
      poison.inputs = {Constant("ShouldBeTrue", BoolValue(false))};
      AddOutput(poison, "Success", Of(Kind::Bool));
      for (Input& input : graph_.nodes[i].inputs) {
        if (input.port != port) continue;
        input = Empty(port);
        input.from = Input::From::Node;
        input.node = static_cast<int>(graph_.nodes.size()) - 1;
      }
    }
  }

  Dice& dice_;
  int& counter_;
  const Missing missing_;
  const int depth_;
  Graph& graph_;
};

}  // namespace

Graph MakeGraph(std::uint64_t seed, int nodes, Missing missing) {
  Dice dice(seed);
  Graph graph;
  int counter = 0;
  Maker(dice, counter, missing, 0, graph).Fill(nodes);
  return graph;
}

}  // namespace torture
