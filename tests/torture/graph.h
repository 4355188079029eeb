#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

// Random models, told apart from the engine: what they are, and what they have to give.
namespace torture {

enum class Kind { Any, Int, Unsigned, Bool, Text, List, Dictionary };

/// A value as the reference has it. A null pointer is no data.
struct Value;
using ValuePtr = std::shared_ptr<const Value>;
struct Value {
  Kind kind = Kind::Int;
  std::int64_t number = 0;
  std::string text;
  std::vector<ValuePtr> items;
  std::vector<std::string> keys;  ///< of a dictionary's items
};
ValuePtr IntValue(std::int64_t number);
ValuePtr UnsignedValue(std::int64_t number);
ValuePtr BoolValue(bool truth);
ValuePtr TextValue(std::string text);
ValuePtr ListValue(std::vector<ValuePtr> items);
/// The same form as the tests give what the engine has.
std::string Told(const ValuePtr& value);

/// What can be said of a value before anything runs.
struct Shape {
  Kind kind = Kind::Any;
  bool nullable = false;
  bool fixed = false;             ///< of a list: its items are known one by one; else `items` is one for all of them
  std::vector<Shape> items;       ///< of a list or dictionary
  std::vector<std::string> keys;  ///< of a dictionary
  int weight = 1;                 ///< at most so many values in all
};
Shape Join(const Shape& a, const Shape& b);
Shape ShapeOf(const ValuePtr& value);

struct Input {
  enum class From { Nothing, Constant, Node, Outside };
  std::string port;
  From from = From::Nothing;
  ValuePtr constant;
  int node = 0;
  int output = 0;
  int outside = 0;       ///< number of the graph's own input
  bool tunable = false;  ///< another constant of its kind will do as well
};

struct Graph;
struct Node {
  std::string op;
  std::string id;
  std::vector<Input> inputs;
  std::vector<std::pair<std::string, Shape>> outputs;
  int spareSets = 0;  ///< of expansion ports that are added and taken away again
  std::shared_ptr<Graph> inner;
  std::vector<int> after;  ///< nodes that run before it
  bool poison = false;     ///< fails if it runs, and must never
  const Input* Find(const std::string& port) const;
};

struct GraphOutput {
  std::string name;
  int node;
  int output;
};
struct Graph {
  std::vector<Node> nodes;
  std::vector<std::pair<std::string, Shape>> inputs;
  std::vector<GraphOutput> outputs;
  /// True for a node of which no output feeds another node of the graph.
  std::vector<bool> Tails() const;
};

/// Whether items without data come where a pull has other rules than a run: Dictionary Item refuses to answer with one,
/// and Merge goes on to its next input.
enum class Missing { Allowed, Never };
Graph MakeGraph(std::uint64_t seed, int nodes, Missing missing = Missing::Allowed);

/// What a run of a graph gives.
struct Frame;
struct NodeResult {
  bool executed = false;
  std::vector<ValuePtr> outputs;
  std::unique_ptr<Frame> inner;  ///< of a nested model, not of an iterator
  NodeResult();
  ~NodeResult();
  NodeResult(NodeResult&&) noexcept;
};
struct Frame {
  const Graph* graph = nullptr;
  std::vector<ValuePtr> inputs;
  std::vector<NodeResult> nodes;
};
/// Interprets the graph. Raises std::logic_error for a graph that the generator must not make.
std::unique_ptr<Frame> Interpret(const Graph& graph, std::vector<ValuePtr> inputs = {});

/// The graph as the text of a document. `plain` of 100 values stand without their type. Iterators get the method of
/// their depth, the last one from there on; an empty one leaves the standard.
struct DocumentStyle {
  std::vector<std::string> methods;
  std::uint64_t seed = 0;
};
std::string WriteDocument(const Graph& graph, const DocumentStyle& style);

}  // namespace torture
