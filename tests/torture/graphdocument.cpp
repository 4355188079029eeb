#include "torture/graph.h"
#include "torture/seeds.h"

namespace torture {

namespace {

std::string Quoted(const std::string& text) {
  std::string quoted = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') quoted += '\\';
    if (c == '\n')
      quoted += "\\n";
    else
      quoted += c;
  }
  return quoted + '"';
}

const char* TypeName(Kind kind) {
  switch (kind) {
    case Kind::Int:
      return "VANTIX.Int";
    case Kind::Unsigned:
      return "VANTIX.Unsigned";
    case Kind::Bool:
      return "VANTIX.Bool";
    case Kind::Text:
      return "VANTIX.String";
    case Kind::List:
      return "VANTIX.List";
    default:
      return "VANTIX.Dictionary";
  }
}

class Writer {
 public:
  explicit Writer(const DocumentStyle& style) : style_(style), dice_(style.seed) {}

  std::string Write(const Graph& graph) {
    return "{\n\"format\": \"TesseraModelFormat\", \"version\": 1,\n" + Members(graph, 0) + "}\n";
  }

 private:
  std::string Json(const ValuePtr& value, bool isInside = false) {
    if (!value) return "null";
    // What is written plainly is read as the first type that takes it, which is Int for small numbers. What stands
    // in a typed value is typed.
    const bool isPlain =
        !isInside && value->kind != Kind::Unsigned && value->kind != Kind::Dictionary && dice_.Percent(40);
    std::string text;
    switch (value->kind) {
      case Kind::Bool:
        text = value->number ? "true" : "false";
        break;
      case Kind::Text:
        text = Quoted(value->text);
        break;
      case Kind::Int:
      case Kind::Unsigned:
        text = std::to_string(value->number);
        break;
      default:
        for (std::size_t i = 0; i < value->items.size(); ++i) {
          if (i > 0) text += ", ";
          if (value->kind == Kind::Dictionary) text += Quoted(value->keys[i]) + ": ";
          text += Json(value->items[i], true);
        }
        text = value->kind == Kind::List ? "[" + text + "]" : "{" + text + "}";
    }
    if (isPlain) return text;
    return std::string("{\"Type\": \"") + TypeName(value->kind) + "\", \"Value\": " + text + "}";
  }

  static std::string Joined(const std::vector<std::string>& parts) {
    std::string text;
    for (const auto& part : parts) text += (text.empty() ? "" : ",\n  ") + part;
    return text;
  }

  std::string Members(const Graph& graph, std::size_t depth) {
    std::vector<std::string> operators, connections, order;
    for (const Node& node : graph.nodes) {
      operators.push_back(Operator(node, depth));
      for (const Input& input : node.inputs) {
        if (input.from != Input::From::Node) continue;
        const Node& source = graph.nodes[static_cast<std::size_t>(input.node)];
        connections.push_back("{\"from\": \"" + source.id + "." +
                              source.outputs[static_cast<std::size_t>(input.output)].first + "\", \"to\": \"" +
                              node.id + "." + input.port + "\"}");
      }
      for (const int earlier : node.after)
        order.push_back("{\"before\": \"" + graph.nodes[static_cast<std::size_t>(earlier)].id + "\", \"after\": \"" +
                        node.id + "\"}");
    }
    std::string text = "\"ports\": [" + Joined(Ports(graph)) + "],\n\"operators\": [" + Joined(operators) + "]";
    if (!connections.empty()) text += ",\n\"connections\": [" + Joined(connections) + "]";
    if (!order.empty()) text += ",\n\"order\": [" + Joined(order) + "]";
    return text;
  }

  std::vector<std::string> Ports(const Graph& graph) {
    std::vector<std::string> ports;
    for (std::size_t i = 0; i < graph.inputs.size(); ++i) {
      std::vector<std::string> aliases;
      for (const Node& node : graph.nodes) {
        for (const Input& input : node.inputs) {
          if (input.from == Input::From::Outside && input.outside == static_cast<int>(i))
            aliases.push_back("\"" + node.id + "." + input.port + "\"");
        }
      }
      const std::string alias = aliases.size() == 1 ? aliases.front() : "[" + Joined(aliases) + "]";
      ports.push_back("{\"name\": \"" + graph.inputs[i].first + "\", \"alias\": " + alias + "}");
    }
    for (const GraphOutput& output : graph.outputs) {
      const Node& node = graph.nodes[static_cast<std::size_t>(output.node)];
      ports.push_back("{\"name\": \"" + output.name + "\", \"alias\": \"" + node.id + "." +
                      node.outputs[static_cast<std::size_t>(output.output)].first + "\"}");
    }
    return ports;
  }

  std::string Operator(const Node& node, std::size_t depth) {
    std::string text =
        "{\"id\": \"" + node.id + "\", \"operator\": \"VANTIX." + node.op + "\", \"displayName\": \"" + node.id + "\"";
    std::vector<std::string> values;
    for (const Input& input : node.inputs) {
      if (input.from == Input::From::Constant) values.push_back("\"" + input.port + "\": " + Json(input.constant));
      // The port has to be there, though nothing leads to it.
      if (input.from == Input::From::Nothing) values.push_back("\"" + input.port + "\": null");
    }
    const bool isLoop = node.op == "Iterator";
    if (isLoop && !style_.methods.empty())
      values.push_back("\"ExecutionMethod\": \"" + style_.methods[std::min(depth, style_.methods.size() - 1)] + "\"");
    if (!values.empty()) text += ",\n   \"values\": {" + Joined(values) + "}";
    if (node.inner) text += ",\n   \"model\": {" + Members(*node.inner, depth + (isLoop ? 1 : 0)) + "}";
    return text + "}";
  }

  const DocumentStyle& style_;
  Dice dice_;
};

}  // namespace

std::string WriteDocument(const Graph& graph, const DocumentStyle& style) { return Writer(style).Write(graph); }

}  // namespace torture
