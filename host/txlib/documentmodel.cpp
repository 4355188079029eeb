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
    ReadAttributes(reading_, *model_, *keys_[Attributes], {place_, kModel[Attributes]}, memory_->modelAttributes);
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
  if (keys_[key] && reading_.IsText(*keys_[key], {place_, kModel[key]})) ((*model_).*set)(keys_[key]->AsString());
}

void DocumentModelReader::ReadIdentity() {
  if (keys_[Name] && reading_.IsText(*keys_[Name], {place_, kModel[Name]}))
    model_->SetProcessName(keys_[Name]->AsString());
  if (keys_[Namespace] && reading_.IsText(*keys_[Namespace], {place_, kModel[Namespace]}))
    model_->SetProcessNamespace(keys_[Namespace]->AsString());
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
      reading_.Guard(nodePlace, [&] { model_->AddOperator(node.op); });
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
  memory_->connections.resize(elements.size());
  edges_.reserve(elements.size());
  connected_.reserve(elements.size());
  for (std::size_t i = 0; i < elements.size(); ++i) {
    const JsonValue* keys[ConnectionCount] = {};
    const DocumentPlace entryPlace(place, i);
    if (!reading_.Collect(elements[i], entryPlace, kConnection, keys)) continue;
    if (keys[From] && keys[To]) {
      ReadConnection(elements[i], entryPlace, memory_->connections[i]);
      continue;
    }
    const std::string_view lacking = kConnection[keys[From] ? To : From];
    reading_.faults.Error({entryPlace, lacking}, L"found nothing, expected \"" + Wide(lacking) + L"\"");
  }
}

void DocumentModelReader::ReadConnection(const JsonValue& json, const DocumentPlace& place,
                                         boost::weak_ptr<PortConnection>& made) {
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
  if (source) reading_.Guard(place, [&] { made = Operator::ConnectPort(source, target); });
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
    const auto& after = nodes_[ends[After]].op;
    if (after && nodes_[ends[Before]].op) after->AddParent(nodes_[ends[Before]].op);
  }
}

void DocumentModelReader::ReadTails() {
  const DocumentPlace place(place_, kModel[Tails]);
  if (!reading_.IsArray(*keys_[Tails], place)) return;
  std::vector<boost::shared_ptr<Operator>> tails;
  for (std::size_t i = 0; i < keys_[Tails]->Count(); ++i) {
    const std::size_t node = FindNode(keys_[Tails]->GetElements()[i], {place, i});
    if (node != kNone && nodes_[node].op) tails.push_back(nodes_[node].op);
  }
  model_->AddTails(tails);
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
    port->SetDisplayName(display->AsString());
  const JsonValue* optional = keys[PortOptional];
  if (optional && reading_.IsTruth(*optional, {place, kModelPort[PortOptional]}))
    port->SetIsOptional(optional->AsBool());
  const JsonValue* hidden = keys[PortHidden];
  if (hidden && reading_.IsTruth(*hidden, {place, kModelPort[PortHidden]})) port->SetIsHidden(hidden->AsBool());
  if (!keys[PortValue]) return;
  const DocumentPlace valuePlace(place, kModelPort[PortValue]);
  if (port->IsOutput())
    reading_.faults.Error(valuePlace, L"found a value for the output \"" + name + L"\", expected none");
  else
    ReadPortValue(reading_, *port, *keys[PortValue], valuePlace, applied);
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
  }
  if (!fault.empty()) {
    reading_.faults.Error(place, L"found the port \"" + alias.AsString() + L"\"" + fault);
    return false;
  }
  reading_.Guard(place, [&] {
    const auto port = model_->AliasPort(inner, name);
    if (port) made = port;
  });
  return made != nullptr;
}

}  // namespace Tamrin::Tessera
