#include "torture/graphmodel.h"

#include <boost/make_shared.hpp>
#include <stdexcept>

#include "kcommon/kstr.h"
#include "torture/seeds.h"
#include "txlib/dictionary.h"
#include "txlib/factories.h"

namespace torture {

using namespace testing_support;

namespace {

std::wstring Wide(const std::string& utf8) {
  std::wstring text;
  std::size_t bad = 0;
  if (!kstr_FromUtf8(utf8, text, &bad)) throw std::logic_error("a text that is no UTF-8");
  return text;
}

class Builder {
 public:
  Builder(const std::wstring& method, std::uint64_t seed) : method_(method), dice_(seed) {}

  void Fill(tessera::Model& model, const Graph& graph) {
    std::vector<OperatorPtr> made;
    for (const Node& node : graph.nodes) {
      made.push_back(Make(node));
      model.AddOperator(made.back());
    }
    for (std::size_t i = 0; i < made.size(); ++i) Feed(graph, made, i);
    for (std::size_t i = 0; i < graph.inputs.size(); ++i) ShowInput(model, graph, made, static_cast<int>(i));
    for (const GraphOutput& output : graph.outputs) {
      const auto from = static_cast<std::size_t>(output.node);
      model.AliasPort(PortAt(made[from], graph.nodes[from].outputs[static_cast<std::size_t>(output.output)].first),
                      Wide(output.name));
    }
  }

 private:
  static PortPtr PortAt(const OperatorPtr& op, const std::string& name) {
    const auto port = op->GetPort(Wide(name));
    if (!port) throw std::logic_error("no port " + name + " of " + kstr_ToUtf8(op->GetDisplayName()));
    return port;
  }

  OperatorPtr Make(const Node& node) {
    const auto op = tessera::OperatorFactory::Create(L"VANTIX", Wide(node.op));
    if (!op) throw std::logic_error("no operator " + node.op);
    op->SetDisplayName(Wide(node.id));
    if (node.inner) {
      Fill(*boost::dynamic_pointer_cast<tessera::Model>(op), *node.inner);
      if (node.op == "Iterator" && !method_.empty())
        op->GetPort(L"ExecutionMethod")->SetData(testing_support::Value(method_));
      return op;
    }
    if (!op->IsExpandible()) return op;
    for (int i = 0; i < node.spareSets; ++i) op->AddExpansionPorts();
    for (int i = 0; i < node.spareSets; ++i) op->RemoveExpansionPorts();
    for (const Input& input : node.inputs) {
      while (!op->GetPort(Wide(input.port))) op->AddExpansionPorts();
    }
    return op;
  }

  void Feed(const Graph& graph, const std::vector<OperatorPtr>& made, std::size_t index) {
    const Node& node = graph.nodes[index];
    for (const Input& input : node.inputs) {
      const auto port = PortAt(made[index], input.port);
      if (input.from == Input::From::Constant) port->SetData(ToData(input.constant));
      if (input.from != Input::From::Node) continue;
      const auto source = static_cast<std::size_t>(input.node);
      const std::string& output = graph.nodes[source].outputs[static_cast<std::size_t>(input.output)].first;
      if (dice_.Percent(50))
        tessera::Operator::ConnectPort(PortAt(made[source], output), port);
      else
        made[index]->ConnectParent(made[source], Wide(output), Wide(input.port));
    }
    for (const int earlier : node.after) made[index]->AddParent(made[static_cast<std::size_t>(earlier)]);
  }

  void ShowInput(tessera::Model& model, const Graph& graph, const std::vector<OperatorPtr>& made, int number) {
    for (std::size_t i = 0; i < graph.nodes.size(); ++i) {
      for (const Input& input : graph.nodes[i].inputs) {
        if (input.from == Input::From::Outside && input.outside == number)
          model.AliasPort(PortAt(made[i], input.port), Wide(graph.inputs[static_cast<std::size_t>(number)].first));
      }
    }
  }

  const std::wstring method_;
  Dice dice_;
};

}  // namespace

DataPtr ToData(const ValuePtr& value) {
  if (!value) return nullptr;
  switch (value->kind) {
    case Kind::Int:
      return testing_support::Value(static_cast<int>(value->number));
    case Kind::Unsigned:
      return testing_support::Value(static_cast<unsigned>(value->number));
    case Kind::Bool:
      return testing_support::Value(value->number != 0);
    case Kind::Text:
      return testing_support::Value(Wide(value->text));
    default:
      break;
  }
  if (value->kind == Kind::List) {
    tessera::DataList items;
    for (const auto& item : value->items) items.push_back(ToData(item));
    return List(std::move(items));
  }
  tessera::Dictionary dictionary;
  for (std::size_t i = 0; i < value->keys.size(); ++i)
    dictionary.SetItem(Wide(value->keys[i]), ToData(value->items[i]));
  return testing_support::Value(std::move(dictionary));
}

std::string Told(const DataPtr& data) {
  if (!data) return "-";
  if (const auto number = boost::dynamic_pointer_cast<tessera::IntData>(data))
    return "int " + std::to_string(number->GetDataValue());
  if (const auto number = boost::dynamic_pointer_cast<tessera::UnsignedData>(data))
    return "unsigned " + std::to_string(number->GetDataValue());
  if (const auto truth = boost::dynamic_pointer_cast<tessera::BoolData>(data))
    return truth->GetDataValue() ? "true" : "false";
  if (const auto list = boost::dynamic_pointer_cast<tessera::DataListData>(data)) {
    std::string text;
    for (const auto& item : list->GetDataValue()) text += (text.empty() ? "" : ", ") + Told(item);
    return "[" + text + "]";
  }
  if (const auto dictionary = boost::dynamic_pointer_cast<tessera::DictionaryData>(data)) {
    std::string text;
    for (const auto& [key, item] : dictionary->GetDataValue().GetItems())
      text += (text.empty() ? "" : ", ") + kstr_ToUtf8(key) + ": " + Told(item);
    return "{" + text + "}";
  }
  if (const auto text = boost::dynamic_pointer_cast<tessera::StringData>(data))
    return "'" + kstr_ToUtf8(text->GetDataValue()) + "'";
  return "a value of type " + kstr_ToUtf8(data->GetDataTypeName().ToString());
}

ModelPtr BuildModel(const Graph& graph, const std::wstring& method, std::uint64_t seed) {
  const auto model = boost::make_shared<tessera::Model>();
  model->SetEnvironment(tessera::ExecutionEnvironment::Create());
  model->Initialize();
  Builder(method, seed).Fill(*model, graph);
  return model;
}

std::map<std::string, OperatorPtr> OperatorsOf(const tessera::Model& model) {
  std::map<std::string, OperatorPtr> operators;
  for (const auto& op : model.GetAllOperators(true)) operators[kstr_ToUtf8(op->GetDisplayName())] = op;
  return operators;
}

}  // namespace torture
