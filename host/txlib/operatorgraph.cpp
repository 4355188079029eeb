#include <algorithm>
#include <stdexcept>

#include "enginestate.h"
#include "korvenlog/exception.h"

namespace Tamrin::Tessera {

namespace {

[[noreturn]] void RaiseWrongEnd(const Port& port, const wchar_t* expected) {
  throw std::invalid_argument(
      KorvenLog::Narrow(L"Port " + port.GetName() + L" can't be connected here: " + expected + L" was expected."));
}

void AddOnce(std::vector<boost::shared_ptr<Operator>>& operators, const boost::shared_ptr<Operator>& op) {
  if (op && std::find(operators.begin(), operators.end(), op) == operators.end()) operators.push_back(op);
}

}  // namespace

void Operator::AddParent(const boost::shared_ptr<Operator>& parent) {
  if (parent) {
    auto& parents = state_->orderParents;
    if (!parents) parents = std::make_unique<std::vector<boost::weak_ptr<Operator>>>();
    parents->emplace_back(parent);
  }
  Invalidate();
}

boost::shared_ptr<PortConnection> Operator::ConnectParent(const boost::shared_ptr<Operator>& parent,
                                                          const std::wstring& outputName,
                                                          const std::wstring& inputName) {
  const auto output = parent ? parent->GetPort(outputName) : nullptr;
  if (!output) throw std::invalid_argument(KorvenLog::Narrow(L"There is no output port " + outputName + L"."));
  const auto input = GetPort(inputName);
  if (!input) throw std::invalid_argument(KorvenLog::Narrow(L"There is no input port " + inputName + L"."));
  return ConnectPort(output, input);
}

boost::shared_ptr<PortConnection> Operator::ConnectParent(const boost::shared_ptr<Port>& output,
                                                          const boost::shared_ptr<Port>& input) {
  return ConnectPort(output, input);
}

boost::shared_ptr<PortConnection> Operator::ConnectPort(const boost::shared_ptr<Port>& source,
                                                        const boost::shared_ptr<Port>& destination) {
  if (!source || !destination) throw std::invalid_argument("A connection needs two ports.");
  if (!source->IsOutput()) RaiseWrongEnd(*source, L"an output");
  if (destination->IsOutput()) RaiseWrongEnd(*destination, L"an input");
  DisconnectPort(destination);
  const auto connection = boost::make_shared<PortConnectionState>();
  PortState& input = PortState::Of(*destination);
  connection->source = &PortState::Of(*source);
  connection->destination = &input;
  connection->source->outgoing.push_back(*connection);
  ModelState::ForgetEndsAround(*connection->source);
  input.incoming = connection;
  if (input.owner) OperatorState::InvalidateFrom(input);
  return connection;
}

void Operator::DisconnectPort(const boost::shared_ptr<Port>& input) {
  PortState& state = PortState::Of(*input);
  if (!state.incoming) return;
  const auto connection = state.incoming;
  state.incoming.reset();
  if (connection->source) connection->source->Forget(*connection);
  connection->source = connection->destination = nullptr;
  if (state.owner) OperatorState::InvalidateFrom(state);
}

std::vector<boost::shared_ptr<Operator>> Operator::GetParents() const {
  std::vector<boost::shared_ptr<Operator>> parents;
  for (const auto& port : state_->ports) {
    if (port->IsOutput()) continue;
    if (PortState* const feeder = PortState::Of(*port).Feeder()) AddOnce(parents, feeder->TryGetOperator());
  }
  for (const auto& parent : GetParentsWithoutConnection()) AddOnce(parents, parent);
  return parents;
}

std::vector<boost::shared_ptr<Operator>> Operator::GetParentsWithoutConnection() const {
  std::vector<boost::shared_ptr<Operator>> parents;
  if (!state_->orderParents) return parents;
  for (const auto& parent : *state_->orderParents) AddOnce(parents, parent.lock());
  return parents;
}

boost::shared_ptr<Port> Operator::GetConnectedPorts(const boost::shared_ptr<Port>& port,
                                                    std::vector<boost::shared_ptr<PortConnection>>& incoming,
                                                    std::vector<boost::shared_ptr<PortConnection>>& outgoing) const {
  incoming.clear();
  outgoing.clear();
  if (!port) return nullptr;
  PortState& state = PortState::Of(*port);
  if (port->IsOutput()) {
    outgoing = port->GetOutgoingConnections();
    return outgoing.empty() ? nullptr : outgoing.front()->GetDestination();
  }
  PortState* const end = state.SourceEnd();
  if (end->incoming) {
    incoming.push_back(end->incoming);
    return end->incoming->GetSource();
  }
  return end == &state ? nullptr : end->shared_from_this();
}

void Operator::SetProcess(const boost::shared_ptr<Model>& model) { state_->process = model.get(); }

boost::shared_ptr<Model> Operator::GetProcess() const {
  return state_->process ? boost::static_pointer_cast<Model>(state_->process->SharedThis()) : nullptr;
}

namespace {
const Operator* Outermost(const Operator* op) {
  while (const Model* const process = OperatorState::Of(*op).process) op = process;
  return op;
}
}  // namespace

boost::shared_ptr<Model> Operator::GetMainProcess() const {
  const auto* const model = dynamic_cast<const Model*>(Outermost(this));
  return model ? boost::static_pointer_cast<Model>(const_cast<Model*>(model)->SharedThis()) : nullptr;
}

boost::shared_ptr<ExecutionEnvironment> Operator::GetEnvironment() const {
  if (const auto* const model = dynamic_cast<const Model*>(Outermost(this)))
    return ModelState::Of(*model).GetEnvironment();
  static const boost::shared_ptr<ExecutionEnvironment> alone = ExecutionEnvironment::Create();
  return alone;
}

std::wstring Operator::GetDocumentFolder() const {
  for (const Operator* around = this; around; around = OperatorState::Of(*around).process) {
    const auto* const model = dynamic_cast<const Model*>(around);
    if (model && ModelState::Of(*model).documentFolder) return *ModelState::Of(*model).documentFolder;
  }
  return {};
}

}  // namespace Tamrin::Tessera
