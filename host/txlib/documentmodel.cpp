#include "documentreader.h"

namespace Tamrin::Tessera {

using namespace DocumentKeys;

void DocumentModelReader::Read() {
  if (!reading_.Collect(json_, place_, kModel, keys_)) return;
  memory_ = &GetDocumentMemory(*model_);
  memory_->model = json_;
  if (!outermost_) {
    for (const ModelKey key : {Format, Version, OperatorOf}) {
      if (keys_[key])
        reading_.faults.Warn({place_, kModel[key]}, L"found \"" + Wide(kModel[key]) + L"\" in an inner model");
    }
  }
  ReadIdentity();
  if (keys_[Attributes])
    ReadAttributes(reading_, index_, *keys_[Attributes], {place_, kModel[Attributes]}, memory_->modelAttributes);
  if (keys_[Operators]) ReadOperators();
  if (keys_[Connections]) ReadConnections();
  if (keys_[Order]) ReadOrder();
  CheckCycles();
  if (keys_[Tails]) ReadTails();
  if (keys_[Ports]) ReadPorts();
  for (const DocumentNode& node : nodes_) {
    if (node.op) node.memory->portCount = node.op->GetPorts().size();
  }
  if (outermost_) memory_->portCount = model_->GetPorts().size();
}

void DocumentModelReader::SetText(DocumentKeys::ModelKey key, void (Operator::*set)(const std::wstring&)) {
  if (!keys_[key] || !reading_.IsText(*keys_[key], {place_, kModel[key]})) return;
  reading_.Do([model = index_, set, text = keys_[key]->AsString()](const DocumentCopy& copy) {
    ((*copy.Op(model)).*set)(text);
  });
}

void DocumentModelReader::ReadIdentity() {
  if (keys_[Name] && reading_.IsText(*keys_[Name], {place_, kModel[Name]}))
    reading_.Do([model = index_, text = keys_[Name]->AsString()](const DocumentCopy& copy) {
      copy.ModelAt(model).SetProcessName(text);
    });
  if (keys_[Namespace] && reading_.IsText(*keys_[Namespace], {place_, kModel[Namespace]}))
    reading_.Do([model = index_, text = keys_[Namespace]->AsString()](const DocumentCopy& copy) {
      copy.ModelAt(model).SetProcessNamespace(text);
    });
  // What the entry of the operator says stands above what its model says.
  const bool isNamed = memory_->source.Find(kNode[NodeDisplayName]) != nullptr;
  if (!isNamed) SetText(DisplayName, &Operator::SetDisplayName);
  SetText(DisplayCategory, &Operator::SetDisplayCategory);
  SetText(Icon, &Operator::SetIcon);
  SetText(Description, &Operator::SetDescription);
  SetText(Keywords, &Operator::SetKeywords);
}

void DocumentModelReader::ReadOperators() {
  const DocumentPlace place(place_, kModel[Operators]);
  if (!reading_.IsArray(*keys_[Operators], place)) return;
  const auto& elements = keys_[Operators]->GetElements();
  nodes_.resize(elements.size());
  byId_.reserve(elements.size());
  for (std::size_t i = 0; i < elements.size(); ++i) {
    const DocumentPlace nodePlace(place, i);
    DocumentNode& node = nodes_[i];
    ReadDocumentNode(reading_, elements[i], nodePlace, node);
    if (reading_.depth >= kMaxModelNesting && boost::dynamic_pointer_cast<Model>(node.op))
      reading_.faults.Error(nodePlace, L"found models nested more than " + std::to_wstring(kMaxModelNesting) +
                                           L" levels deep, expected fewer");
    else if (node.op)
      reading_.Guard(nodePlace, [&] {
        reading_.Do([model = index_, op = node.index](const DocumentCopy& copy) {
          copy.ModelAt(model).AddOperator(copy.Op(op));
        });
      });
    if (node.id.empty()) continue;
    const auto [known, isNew] = byId_.emplace(node.id, i);
    if (isNew) continue;
    namesakes_[node.id].push_back(i);
    reading_.faults.Error({nodePlace, kNode[Id]}, L"found the id \"" + Wide(node.id) + L"\" of operators[" +
                                                      std::to_wstring(known->second) + L"] again, expected another");
  }
}

std::size_t DocumentModelReader::FindNodeById(std::string_view id, const DocumentPlace& place) {
  const auto found = byId_.find(id);
  if (found != byId_.end()) return found->second;
  std::vector<std::wstring> known;
  // Nobody reads hints by the thousand, and each looks at every id.
  if (hints_++ < kMostHints) {
    for (const auto& [name, index] : byId_) known.push_back(Wide(name));
  }
  reading_.faults.Error(place, L"found the unknown operator id \"" + Wide(id) + L"\"" + DidYouMean(Wide(id), known));
  return kNone;
}

std::size_t DocumentModelReader::FindNode(const JsonValue& id, const DocumentPlace& place) {
  return reading_.IsText(id, place) ? FindNodeById(id.AsUtf8(), place) : kNone;
}

boost::shared_ptr<Port> DocumentModelReader::FindEnd(const JsonValue& json, const DocumentPlace& place, PortType kind,
                                                     std::size_t& node) {
  node = kNone;
  if (!reading_.IsText(json, place)) return nullptr;
  const std::string_view text = json.AsUtf8();
  const std::size_t stop = text.find('.');
  if (stop == std::string_view::npos || stop == 0 || stop + 1 == text.size()) {
    reading_.WrongType(json, place, L"the id of an operator, a full stop and the name of a port");
    return nullptr;
  }
  const std::string_view id = text.substr(0, stop);
  const std::string_view port = text.substr(stop + 1);
  node = FindNodeById(id, place);
  if (node != kNone) node = ChooseNamesake(node, id, port);
  if (node == kNone || !nodes_[node].op) return nullptr;
  return nodes_[node].FindPort(reading_, port, place, kind);
}

// The repeated id is told already; a port that one of the operators has is no fault of its own.
std::size_t DocumentModelReader::ChooseNamesake(std::size_t first, std::string_view id, std::string_view port) const {
  const auto others = namesakes_.find(id);
  if (others == namesakes_.end()) return first;
  std::size_t chosen = first;
  const auto has = [&](std::size_t node) { return nodes_[node].op && nodes_[node].op->GetPort(Wide(port)); };
  for (const std::size_t other : others->second) {
    if (has(chosen)) break;
    if (has(other) || !nodes_[chosen].op) chosen = other;
  }
  return chosen;
}

void DocumentModelReader::ReadConnections() {
  const DocumentPlace place(place_, kModel[Connections]);
  if (!reading_.IsArray(*keys_[Connections], place)) return;
  const auto& elements = keys_[Connections]->GetElements();
  edges_.reserve(elements.size());
  connected_.reserve(elements.size());
  for (std::size_t i = 0; i < elements.size(); ++i) {
    const JsonValue* keys[ConnectionCount] = {};
    const DocumentPlace entryPlace(place, i);
    if (!reading_.Collect(elements[i], entryPlace, kConnection, keys)) continue;
    if (keys[From] && keys[To]) {
      ReadConnection(elements[i], entryPlace, i);
      continue;
    }
    const std::string_view lacking = kConnection[keys[From] ? To : From];
    reading_.faults.Error({entryPlace, lacking}, L"found nothing, expected \"" + Wide(lacking) + L"\"");
  }
}

void DocumentModelReader::ReadConnection(const JsonValue& json, const DocumentPlace& place, std::size_t position) {
  const DocumentPlace fromPlace(place, kConnection[From]);
  const DocumentPlace toPlace(place, kConnection[To]);
  const JsonValue& toJson = *json.Find(kConnection[To]);
  std::size_t from = kNone;
  std::size_t to = kNone;
  auto source = FindEnd(*json.Find(kConnection[From]), fromPlace, PortType::Output, from);
  auto target = FindEnd(toJson, toPlace, PortType::Input, to);
  if (from != kNone && to != kNone) edges_.emplace_back(from, to);
  if (source && !source->IsOutput()) {
    reading_.faults.Error(fromPlace, L"found the port \"" + source->GetName() + L"\", which is no output");
    source.reset();
  }
  if (target && !target->IsInput()) {
    reading_.faults.Error(toPlace, L"found the port \"" + target->GetName() + L"\", which is no input");
    target.reset();
  }
  if (!target) return;
  const auto [known, isNew] = connected_.emplace(target.get(), connected_.size());
  if (!isNew) {
    reading_.faults.Error(toPlace, L"found the input \"" + toJson.AsString() + L"\", which is connected already");
    return;
  }
  if (!source) return;
  reading_.Guard(place, [&] {
    reading_.Do([from = nodes_[from].index, output = source->GetName(), to = nodes_[to].index,
                 input = target->GetName(), position](const DocumentCopy& copy) {
      const auto made = Operator::ConnectPort(copy.PortOf(from, output), copy.PortOf(to, input));
      static_cast<PortConnectionState&>(*made).documentIndex = static_cast<std::int32_t>(position);
    });
  });
}

void DocumentModelReader::ReadOrder() {
  const DocumentPlace place(place_, kModel[Order]);
  if (!reading_.IsArray(*keys_[Order], place)) return;
  const auto& elements = keys_[Order]->GetElements();
  for (std::size_t i = 0; i < elements.size(); ++i) {
    const JsonValue* keys[OrderCount] = {};
    const DocumentPlace entryPlace(place, i);
    if (!reading_.Collect(elements[i], entryPlace, kOrder, keys)) continue;
    std::size_t ends[OrderCount] = {kNone, kNone};
    for (const OrderKey key : {Before, After}) {
      const DocumentPlace keyPlace(entryPlace, kOrder[key]);
      if (keys[key])
        ends[key] = FindNode(*keys[key], keyPlace);
      else
        reading_.faults.Error(keyPlace, L"found nothing, expected the id of an operator");
    }
    if (ends[Before] == kNone || ends[After] == kNone) continue;
    edges_.emplace_back(ends[Before], ends[After]);
    const DocumentNode& before = nodes_[ends[Before]];
    const DocumentNode& after = nodes_[ends[After]];
    if (!before.op || !after.op) continue;
    reading_.Do([before = before.index, after = after.index](const DocumentCopy& copy) {
      copy.Op(after)->AddParent(copy.Op(before));
    });
  }
}

void DocumentModelReader::ReadTails() {
  const DocumentPlace place(place_, kModel[Tails]);
  if (!reading_.IsArray(*keys_[Tails], place)) return;
  for (std::size_t i = 0; i < keys_[Tails]->Count(); ++i) {
    const std::size_t node = FindNode(keys_[Tails]->GetElements()[i], {place, i});
    if (node == kNone || !nodes_[node].op) continue;
    reading_.Do([model = index_, tail = nodes_[node].index](const DocumentCopy& copy) {
      copy.ModelAt(model).AddTail(copy.Op(tail));
    });
  }
}

void DocumentModelReader::CheckCycles() {
  for (const auto& cycle : FindCycles(nodes_.size(), edges_)) {
    std::wstring text;
    for (const std::size_t node : cycle) text += L"\"" + Wide(nodes_[node].id) + L"\" -> ";
    const DocumentPlace list(place_, kModel[Operators]);
    reading_.faults.Error({list, cycle.front()},
                          L"found a cycle of operators: " + text + L"\"" + Wide(nodes_[cycle.front()].id) + L"\"");
  }
}

void DocumentModelReader::ReadPorts() {
  const DocumentPlace place(place_, kModel[Ports]);
  if (!reading_.IsArray(*keys_[Ports], place)) return;
  const auto& elements = keys_[Ports]->GetElements();
  memory_->modelPortValues.resize(elements.size());
  for (std::size_t i = 0; i < elements.size(); ++i) ReadModelPort(elements[i], {place, i}, memory_->modelPortValues[i]);
}

void DocumentModelReader::ReadModelPort(const JsonValue& json, const DocumentPlace& place,
                                        boost::shared_ptr<Data>& applied) {
  const JsonValue* keys[ModelPortCount] = {};
  if (!reading_.Collect(json, place, kModelPort, keys)) return;
  const DocumentPlace namePlace(place, kModelPort[PortName]);
  if (!keys[PortName]) {
    reading_.faults.Error(namePlace, L"found nothing, expected the name of a port");
    return;
  }
  if (!reading_.IsText(*keys[PortName], namePlace)) return;
  const std::wstring name = keys[PortName]->AsString();
  if (name.empty()) reading_.WrongType(*keys[PortName], namePlace, L"the name of a port");
  const auto [known, isNew] = portNames_.emplace(name, portNames_.size());
  if (!isNew) reading_.faults.Error(namePlace, L"found the port \"" + name + L"\" again, expected another name");
  const DocumentPlace aliasPlace(place, kModelPort[PortAlias]);
  // Without an alias it is a port that the operator of the model declares itself.
  boost::shared_ptr<Port> port;
  if (keys[PortAlias])
    port = MakeAliases(name, *keys[PortAlias], aliasPlace);
  else if (port = model_->GetPort(name); !port)
    reading_.faults.Error(aliasPlace,
                          L"found nothing, expected the inner port that the port \"" + name + L"\" stands for");
  if (!port || !isNew) return;
  const JsonValue* display = keys[PortDisplayName];
  if (display && reading_.IsText(*display, {place, kModelPort[PortDisplayName]}))
    reading_.EditPort(index_, name, [text = display->AsString()](Port& edited) { edited.SetDisplayName(text); });
  const JsonValue* optional = keys[PortOptional];
  if (optional && reading_.IsTruth(*optional, {place, kModelPort[PortOptional]}))
    reading_.EditPort(index_, name, [is = optional->AsBool()](Port& edited) { edited.SetIsOptional(is); });
  const JsonValue* hidden = keys[PortHidden];
  if (hidden && reading_.IsTruth(*hidden, {place, kModelPort[PortHidden]}))
    reading_.EditPort(index_, name, [is = hidden->AsBool()](Port& edited) { edited.SetIsHidden(is); });
  if (!keys[PortValue]) return;
  const DocumentPlace valuePlace(place, kModelPort[PortValue]);
  if (port->IsOutput())
    reading_.faults.Error(valuePlace, L"found a value for the output \"" + name + L"\", expected none");
  else
    ReadPortValue(reading_, index_, *port, *keys[PortValue], valuePlace, applied);
}

boost::shared_ptr<Port> DocumentModelReader::MakeAliases(const std::wstring& name, const JsonValue& alias,
                                                         const DocumentPlace& place) {
  boost::shared_ptr<Port> port;
  if (!alias.IsArray()) {
    MakeAlias(name, alias, place, port);
    return port;
  }
  if (alias.Count() == 0) reading_.WrongType(alias, place, L"the inner ports that the port stands for");
  for (std::size_t i = 0; i < alias.Count(); ++i) MakeAlias(name, alias.GetElements()[i], {place, i}, port);
  return port;
}

bool DocumentModelReader::MakeAlias(const std::wstring& name, const JsonValue& alias, const DocumentPlace& place,
                                    boost::shared_ptr<Port>& made) {
  std::size_t node = kNone;
  const auto inner = FindEnd(alias, place, PortType::Input, node);
  if (!inner) return false;
  std::wstring fault;
  if (inner->GetParentPort()) {
    fault = L", which the port \"" + inner->GetParentPort()->GetName() + L"\" stands for already";
  } else if (made && (made->IsOutput() || inner->IsOutput())) {
    fault = L" beside another, but only inputs can be joined in one port";
  } else if (const auto own = made ? nullptr : model_->GetPort(name);
             own && own->GetInnerAliasedPorts().empty() && (own->IsOutput() || inner->IsOutput())) {
    fault = L", but the operator \"" + model_->GetOperatorName() + L"\" has an " +
            (own->IsOutput() ? L"output \"" : L"input \"") + name + L"\" of its own";
  }
  if (!fault.empty()) {
    reading_.faults.Error(place, L"found the port \"" + alias.AsString() + L"\"" + fault);
    return false;
  }
  reading_.Guard(place, [&] {
    reading_.Do([model = index_, name, op = nodes_[node].index, port = inner->GetName()](const DocumentCopy& copy) {
      ModelState::AliasPort(copy.ModelAt(model), copy.PortOf(op, port), name, copy.FindKnownFacts(model, name));
    });
    if (const auto port = model_->GetPort(name)) made = port;
  });
  return made != nullptr;
}

}  // namespace Tamrin::Tessera
