#include <algorithm>
#include <cctype>
#include <functional>
#include <map>
#include <stdexcept>

#include "torture/graph.h"

// What each operator does, as its page tells it, and which operators run, as the pages of If Else and of models tell
// it. Nothing of the engine is used.
namespace torture {

NodeResult::NodeResult() = default;
NodeResult::~NodeResult() = default;
NodeResult::NodeResult(NodeResult&&) noexcept = default;

namespace {

void Require(bool holds, const std::string& what) {
  if (!holds) throw std::logic_error("the generator made what can't run: " + what);
}

bool IsTrue(const ValuePtr& test) {
  if (!test) return false;
  return test->kind == Kind::Text || test->number != 0;
}

std::string TextOf(const Value& value) {
  switch (value.kind) {
    case Kind::Text:
      return value.text;
    case Kind::Bool:
      return value.number ? "true" : "false";
    case Kind::Int:
    case Kind::Unsigned:
      return std::to_string(value.number);
    default:
      throw std::logic_error("no text");
  }
}

ValuePtr FirstMatch(const std::string& text, const std::string& expression) {
  if (expression != "[0-9]+") return text.find(expression) == std::string::npos ? nullptr : TextValue(expression);
  const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
  const auto begin = std::find_if(text.begin(), text.end(), isDigit);
  return begin == text.end() ? nullptr : TextValue({begin, std::find_if_not(begin, text.end(), isDigit)});
}

std::vector<ValuePtr> Sorted(std::vector<ValuePtr> items, const std::string& order) {
  const bool down = order == "Descending";
  std::stable_sort(items.begin(), items.end(), [down](const ValuePtr& a, const ValuePtr& b) {
    if (!a || !b) return down ? a && !b : !a && b;
    return down ? a->number > b->number : a->number < b->number;
  });
  return items;
}

class Run {
 public:
  explicit Run(Frame& frame) : frame_(frame) { frame_.nodes.resize(frame_.graph->nodes.size()); }
  void All() {
    const auto tails = frame_.graph->Tails();
    for (std::size_t i = 0; i < tails.size(); ++i) {
      if (tails[i]) Execute(static_cast<int>(i));
    }
  }

 private:
  const Node& NodeAt(int index) const { return frame_.graph->nodes[static_cast<std::size_t>(index)]; }
  NodeResult& ResultAt(int index) { return frame_.nodes[static_cast<std::size_t>(index)]; }

  void ExecuteSource(const Input& input) {
    if (input.from == Input::From::Node) Execute(input.node);
  }
  ValuePtr Read(const Input& input) {
    switch (input.from) {
      case Input::From::Constant:
        return input.constant;
      case Input::From::Outside:
        return frame_.inputs[static_cast<std::size_t>(input.outside)];
      case Input::From::Node:
        Require(ResultAt(input.node).executed, "a value that nobody made");
        return ResultAt(input.node).outputs[static_cast<std::size_t>(input.output)];
      default:
        return nullptr;
    }
  }
  ValuePtr Read(const Node& node, const std::string& port) {
    const Input* const input = node.Find(port);
    return input ? Read(*input) : nullptr;
  }
  const Value& Need(const Node& node, const std::string& port) {
    const ValuePtr value = Read(node, port);
    Require(value != nullptr, node.op + "." + port + " without data");
    kept_.push_back(value);
    return *value;
  }
  /// Values of the ports STEM1, STEM2, ..., as far as there are such.
  std::vector<ValuePtr> Numbered(const Node& node, const std::string& stem) {
    std::vector<ValuePtr> values;
    for (int i = 1; node.Find(stem + std::to_string(i)); ++i) values.push_back(Read(node, stem + std::to_string(i)));
    return values;
  }

  void Execute(int index) {
    if (ResultAt(index).executed) return;
    const Node& node = NodeAt(index);
    Require(!node.poison, "poison that runs");
    for (const int earlier : node.after) Execute(earlier);
    if (node.op == "IfElse") {
      ExecuteSource(*node.Find("Test"));
      const std::string branch = IsTrue(Read(node, "Test")) ? "True" : "False";
      for (int i = 1; node.Find(branch + std::to_string(i)); ++i) ExecuteSource(*node.Find(branch + std::to_string(i)));
    } else {
      for (const Input& input : node.inputs) ExecuteSource(input);
    }
    std::vector<ValuePtr> outputs = Work(node, ResultAt(index));
    Require(outputs.size() == node.outputs.size(), node.op + " with so many outputs");
    ResultAt(index).outputs = std::move(outputs);
    ResultAt(index).executed = true;
  }

  std::vector<ValuePtr> Work(const Node& node, NodeResult& result) {
    if (node.op == "Model") return Inside(node, result);
    if (node.op == "Iterator") return Loop(node);
    if (node.op == "IfElse") return Numbered(node, IsTrue(Read(node, "Test")) ? "True" : "False");
    if (node.op == "Report") return Numbered(node, "Input");
    if (node.op == "If") {
      const ValuePtr value = Read(node, "Input");
      return IsTrue(Read(node, "Test")) ? std::vector<ValuePtr>{value, nullptr} : std::vector<ValuePtr>{nullptr, value};
    }
    if (node.op == "DictionaryItem") return Items(node);
    return {Single(node)};
  }

  ValuePtr Single(const Node& node) {
    using Worker = ValuePtr (Run::*)(const Node&);
    static const std::map<std::string, Worker> workers = {
        {"ToString", &Run::ToString},   {"RegularExpressionSearch", &Run::Search},
        {"List", &Run::MakeList},       {"NthItem", &Run::NthItem},
        {"NumItems", &Run::NumItems},   {"Merge", &Run::Merge},
        {"IsEmpty", &Run::IsEmpty},     {"Eq", &Run::Eq},
        {"SortItems", &Run::SortItems}, {"RemoveEmptyItems", &Run::RemoveEmptyItems},
        {"Combine", &Run::Combine},     {"Dictionary", &Run::MakeDictionary},
        {"Convert", &Run::Convert}};
    const auto worker = workers.find(node.op);
    Require(worker != workers.end(), node.op);
    return (this->*worker->second)(node);
  }

  ValuePtr ToString(const Node& node) { return TextValue(TextOf(Need(node, "Data"))); }
  ValuePtr Convert(const Node& node) {
    const std::int64_t number = Need(node, "Input").number;
    return Need(node, "DataType").text == "Int" ? IntValue(number) : BoolValue(number != 0);
  }
  ValuePtr Search(const Node& node) { return FirstMatch(Need(node, "StringIn").text, Need(node, "RegEx").text); }
  ValuePtr MakeList(const Node& node) {
    std::vector<ValuePtr> items;
    if (const ValuePtr in = Read(node, "ListIn")) items = in->items;
    for (auto& value : Numbered(node, "Value")) items.push_back(value);
    return ListValue(std::move(items));
  }
  ValuePtr NthItem(const Node& node) {
    const auto& items = Need(node, "List").items;
    const auto index = static_cast<std::size_t>(Need(node, "Index").number);
    Require(index < items.size(), "NthItem beyond the list");
    return items[index];
  }
  ValuePtr NumItems(const Node& node) {
    return UnsignedValue(static_cast<std::int64_t>(Need(node, "List").items.size()));
  }
  ValuePtr Merge(const Node& node) {
    for (const auto& value : Numbered(node, "Input")) {
      if (value) return value;
    }
    return nullptr;
  }
  ValuePtr IsEmpty(const Node& node) { return BoolValue(!Read(node, "Data")); }
  ValuePtr Eq(const Node& node) {
    const Value &a = Need(node, "Input1"), &b = Need(node, "Input2");
    return BoolValue(a.kind == Kind::Text ? a.text == b.text : a.number == b.number);
  }
  ValuePtr SortItems(const Node& node) {
    const ValuePtr order = Read(node, "Order");
    return ListValue(Sorted(Need(node, "DataIn").items, order ? order->text : "Ascending"));
  }
  ValuePtr RemoveEmptyItems(const Node& node) {
    std::vector<ValuePtr> items = Need(node, "ListIn").items;
    std::erase(items, nullptr);
    return ListValue(std::move(items));
  }
  ValuePtr Combine(const Node& node) {
    std::vector<ValuePtr> items;
    for (const auto& list : Numbered(node, "Collection"))
      items.insert(items.end(), list->items.begin(), list->items.end());
    return ListValue(std::move(items));
  }
  ValuePtr MakeDictionary(const Node& node) {
    Value dictionary;
    if (const ValuePtr in = Read(node, "DictionaryIn")) dictionary = *in;
    dictionary.kind = Kind::Dictionary;
    const auto names = Numbered(node, "Name"), values = Numbered(node, "Value");
    for (std::size_t i = 0; i < names.size(); ++i) {
      const auto known = std::find(dictionary.keys.begin(), dictionary.keys.end(), names[i]->text);
      if (known != dictionary.keys.end()) {
        dictionary.items[static_cast<std::size_t>(known - dictionary.keys.begin())] = values[i];
      } else {
        dictionary.keys.push_back(names[i]->text);
        dictionary.items.push_back(values[i]);
      }
    }
    return std::make_shared<Value>(std::move(dictionary));
  }
  std::vector<ValuePtr> Items(const Node& node) {
    const Value& dictionary = Need(node, "Dictionary");
    std::vector<ValuePtr> items;
    for (const auto& name : Numbered(node, "Name")) {
      const auto known = std::find(dictionary.keys.begin(), dictionary.keys.end(), name->text);
      Require(known != dictionary.keys.end(), "DictionaryItem without the item");
      items.push_back(dictionary.items[static_cast<std::size_t>(known - dictionary.keys.begin())]);
    }
    return items;
  }

  static std::vector<ValuePtr> Shown(const Frame& inner) {
    std::vector<ValuePtr> values;
    for (const GraphOutput& output : inner.graph->outputs)
      values.push_back(
          inner.nodes[static_cast<std::size_t>(output.node)].outputs[static_cast<std::size_t>(output.output)]);
    return values;
  }
  std::vector<ValuePtr> Inside(const Node& node, NodeResult& result) {
    std::vector<ValuePtr> inputs;
    for (const Input& input : node.inputs) inputs.push_back(Read(input));
    result.inner = Interpret(*node.inner, std::move(inputs));
    return Shown(*result.inner);
  }
  std::vector<ValuePtr> Loop(const Node& node) {
    std::vector<ValuePtr> inputs;
    std::size_t runs = 0;
    const auto isCounted = [](const ValuePtr& value) {
      return value && value->kind == Kind::List && value->items.size() > 1;
    };
    for (const Input& input : node.inputs) {
      inputs.push_back(Read(input));
      if (isCounted(inputs.back()))
        runs = runs == 0 ? inputs.back()->items.size() : std::min(runs, inputs.back()->items.size());
    }
    std::vector<std::vector<ValuePtr>> lists(node.outputs.size());
    for (std::size_t run = 0; run < std::max<std::size_t>(runs, 1); ++run) {
      std::vector<ValuePtr> items = inputs;
      for (auto& item : items) {
        if (isCounted(item))
          item = item->items[run];
        else if (item && item->kind == Kind::List)
          item = item->items.at(0);
      }
      const auto shown = Shown(*Interpret(*node.inner, std::move(items)));
      for (std::size_t i = 0; i < lists.size(); ++i) lists[i].push_back(shown[i]);
    }
    std::vector<ValuePtr> outputs;
    for (auto& list : lists) outputs.push_back(ListValue(std::move(list)));
    return outputs;
  }

  Frame& frame_;
  std::vector<ValuePtr> kept_;  ///< what references handed out lead to
};

}  // namespace

std::unique_ptr<Frame> Interpret(const Graph& graph, std::vector<ValuePtr> inputs) {
  auto frame = std::make_unique<Frame>();
  frame->graph = &graph;
  frame->inputs = std::move(inputs);
  Run(*frame).All();
  return frame;
}

}  // namespace torture
