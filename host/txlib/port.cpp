#include "txlib/port.h"

#include <algorithm>

#include "enginestate.h"
#include "executionwatch.h"
#include "txlib/basicdata.h"
#include "txlib/conversion.h"

namespace Tamrin::Tessera {

namespace {

const ObjectName kAnyType = Data::DefaultTypeName();

/// A pull that waits for its answer on this thread's stack, and the one that it came from.
class Pull {
 public:
  Pull(const PortState& port, const DataRequest& request) : port_(port), request_(request), outer_(current_) {
    current_ = this;
  }
  ~Pull() { current_ = outer_; }
  Pull(const Pull&) = delete;
  Pull& operator=(const Pull&) = delete;
  boost::shared_ptr<Data> TakeAnswer() { return std::move(answer_); }

  static void Answer(const PortState& port, const DataRequest& request, const boost::shared_ptr<Data>& data) {
    for (Pull* pull = current_; pull; pull = pull->outer_) {
      if (&pull->port_ != &port || &pull->request_ != &request) continue;
      pull->answer_ = data;
      return;
    }
  }

 private:
  const PortState& port_;
  const DataRequest& request_;
  Pull* const outer_;
  boost::shared_ptr<Data> answer_;
  TESSERA_FAST_TLS static thread_local Pull* current_;
};
TESSERA_FAST_TLS thread_local Pull* Pull::current_ = nullptr;

PortState& State(Port* port) { return PortState::Of(*port); }
const PortState& State(const Port* port) { return PortState::Of(*port); }

boost::shared_ptr<Port> Shared(PortState* port) { return port ? port->shared_from_this() : nullptr; }

bool Contains(const std::vector<ObjectName>& types, const ObjectName& type) {
  return std::find(types.begin(), types.end(), type) != types.end();
}

}  // namespace

boost::shared_ptr<Port> PortConnection::GetSource() const {
  return Shared(static_cast<const PortConnectionState*>(this)->source);
}
boost::shared_ptr<Port> PortConnection::GetDestination() const {
  return Shared(static_cast<const PortConnectionState*>(this)->destination);
}

PortState::PortState(Operator* owningOperator, const std::wstring& portName, const ObjectName& dataType,
                     PortType portType, SharedFacts shared)
    : owner(owningOperator), type(portType), facts_(std::move(shared)) {
  if (facts_) return;
  const auto own = boost::make_shared<PortFacts>();
  own->name = portName;
  own->types.push_back(dataType);
  facts_ = own;
  ownsFacts_ = true;
}

PortFacts& PortState::OwnFacts() {
  if (!ownsFacts_) facts_ = boost::make_shared<PortFacts>(*facts_);
  ownsFacts_ = true;
  return const_cast<PortFacts&>(*facts_);  // nobody else has them
}

void PortState::TakeFacts(SharedFacts shared) {
  facts_ = std::move(shared);
  ownsFacts_ = false;
}

const SharedFacts& PortState::ShareFacts() {
  ownsFacts_ = false;
  return facts_;
}

PortState::~PortState() { Detach(); }

Port::~Port() = default;

void PortState::Detach() {
  if (incoming) {
    if (incoming->source) incoming->source->Forget(*incoming);
    incoming->source = incoming->destination = nullptr;
    incoming.reset();
  }
  while (!outgoing.empty()) {
    PortConnectionState& connection = outgoing.front();
    Forget(connection);
    // The input may be all that keeps it.
    const auto kept = std::move(connection.destination->incoming);
    connection.source = connection.destination = nullptr;
  }
  if (parentPort) parentPort->RemoveInner(*this);
  parentPort = nullptr;
  for (PortState* const inner : Inner()) inner->parentPort = nullptr;
  inner_.reset();
}

void PortState::AddInner(PortState& inner) {
  if (!inner_) inner_ = std::make_unique<std::vector<PortState*>>();
  inner_->push_back(&inner);
}

void PortState::RemoveInner(PortState& inner) {
  if (inner_) std::erase(*inner_, &inner);
}

void PortState::Forget(PortConnectionState& connection) {
  outgoing.erase(outgoing.iterator_to(connection));
  ModelState::ForgetEndsAround(*this);
}

PortState* PortState::SourceEnd() {
  PortState* port = this;
  while (!port->incoming && port->parentPort) port = port->parentPort;
  return port;
}

PortState* PortState::Feeder() {
  const PortState* end = SourceEnd();
  return end->incoming ? end->incoming->source : nullptr;
}

boost::shared_ptr<Data> PortState::ValueFurtherIn() const {
  for (const PortState* const inner : Inner()) {
    if (inner->incoming || inner->type == PortType::Output) continue;
    if (inner->data) return inner->data;
    if (inner->emptied) continue;
    if (auto value = inner->ValueFurtherIn()) return value;
    if (inner->Facts().defaultData) return inner->Facts().defaultData;
  }
  return nullptr;
}

boost::shared_ptr<Data> PortState::ValueAlongAliases() const {
  boost::shared_ptr<Data> nearest = ValueFurtherIn();
  for (const PortState* port = this; port; port = port->parentPort) {
    if (port->incoming) return port->incoming->source ? port->incoming->source->OutputData() : nullptr;
    // A value set further out stands above one set further in; a default only above no value at all.
    if (port->data)
      nearest = port->data;
    else if (port->emptied)
      nearest = nullptr;
    else if (!nearest)
      nearest = port->Facts().defaultData;
  }
  return nearest;
}

const boost::shared_ptr<Data>& PortState::OutputData() const {
  const PortState* port = this;
  while (!port->Inner().empty()) port = port->Inner().front();
  return port->OwnOrDefault();
}

void PortState::AnswerTo(const DataRequest& request, const boost::shared_ptr<Data>& answer) {
  Pull::Answer(*this, request, answer);
}

const std::wstring& Port::GetName() const { return State(this).Facts().name; }
const std::wstring& Port::GetDisplayName() const {
  const PortFacts& facts = State(this).Facts();
  return facts.displayName.empty() ? facts.name : facts.displayName;
}
void Port::SetDisplayName(const std::wstring& name) {
  if (name != GetDisplayName()) State(this).OwnFacts().displayName = name;
}
PortType Port::GetPortType() const { return State(this).type; }
bool Port::IsOptional() const { return State(this).optional; }
void Port::SetIsOptional(bool optional) { State(this).optional = optional; }
bool Port::IsHidden() const { return State(this).hidden; }
void Port::SetIsHidden(bool hidden) { State(this).hidden = hidden; }

boost::shared_ptr<Data> Port::GetData() {
  PortState& state = State(this);
  if (state.type == PortType::Output) {
    if (state.owner && !OperatorState::Of(*state.owner).IsRunningHere()) state.owner->Execute();
    return state.OutputData();
  }
  if (PortState* const feeder = state.Feeder()) return feeder->GetData();
  return state.ValueAlongAliases();
}

boost::shared_ptr<Data> Port::GetData(const boost::shared_ptr<DataRequest>& request) {
  if (!request) return GetData();
  PortState& state = State(this);
  if (state.type != PortType::Output) {
    PortState* const feeder = state.Feeder();
    return feeder ? feeder->GetData(request) : request->SelectFrom(state.ValueAlongAliases());
  }
  if (!state.owner) return request->SelectFrom(state.OutputData());
  Pull pull(state, *request);
  const PullWatch watch(*state.owner);
  state.owner->Apply(shared_from_this(), request);
  return pull.TakeAnswer();
}

boost::shared_ptr<Data> Port::GetExistingData() {
  PortState& state = State(this);
  return state.type == PortType::Output ? state.OutputData() : state.ValueAlongAliases();
}

void Port::SetData(const boost::shared_ptr<Data>& data) {
  PortState& state = State(this);
  state.data = data;
  if (!state.owner) return;
  if (state.type != PortType::Output) {
    OperatorState::InvalidateFrom(state);
    return;
  }
  const OperatorState& owner = OperatorState::Of(*state.owner);
  // An operator that never runs has its data from elsewhere, and so have those that read it.
  if (owner.runner.load(std::memory_order_relaxed) || owner.deactivated) return;
  // Set from outside of a run: those that read it have to run again.
  for (const auto& connection : state.outgoing) {
    if (connection.destination) OperatorState::InvalidateFrom(*connection.destination);
  }
}

void Port::SetData(const boost::shared_ptr<Data>& data, const boost::shared_ptr<DataRequest>& request) {
  if (request)
    State(this).AnswerTo(*request, data);
  else
    SetData(data);
}

bool Port::SetDataFromString(const std::wstring& text) {
  const auto& types = GetSupportedDataTypes();
  const ObjectName type = types.empty() || types.front() == kAnyType ? StringData::DefaultTypeName() : types.front();
  const boost::shared_ptr<Data> data = DataFactory::Create(type);
  if (!data || !data->FromString(text)) return false;
  SetData(data);
  return true;
}

void Port::SetDefaultData(const boost::shared_ptr<Data>& data) {
  if (State(this).Facts().defaultData != data) State(this).OwnFacts().defaultData = data;
  State(this).emptied = !data;
  if (State(this).owner && !IsOutput()) OperatorState::InvalidateFrom(State(this));
}
boost::shared_ptr<Data> Port::GetDefaultData() const {
  const PortState* port = &State(this);
  while (!port->Facts().defaultData && !port->emptied && !port->Inner().empty()) port = port->Inner().front();
  return port->Facts().defaultData;
}
boost::shared_ptr<Data> Port::GetOwnData() const { return State(this).data; }

void Port::AddSupportedType(const ObjectName& type) {
  if (!Contains(State(this).Facts().types, type)) State(this).OwnFacts().types.push_back(type);
}
void Port::AddExtraSupportedType(const ObjectName& type) {
  if (!Contains(State(this).Facts().extraTypes, type)) State(this).OwnFacts().extraTypes.push_back(type);
}
void Port::AddExcludedType(const ObjectName& type) {
  if (!Contains(State(this).Facts().excludedTypes, type)) State(this).OwnFacts().excludedTypes.push_back(type);
}
void Port::SetSupportedTypes(const std::vector<ObjectName>& types) {
  if (types != State(this).Facts().types) State(this).OwnFacts().types = types;
}
const std::vector<ObjectName>& Port::GetSupportedDataTypes() const { return State(this).Facts().types; }
const std::vector<ObjectName>& Port::GetExtraSupportedDataTypes() const { return State(this).Facts().extraTypes; }
const std::vector<ObjectName>& Port::GetExcludedDataTypes() const { return State(this).Facts().excludedTypes; }
bool Port::SupportsType(const ObjectName& type) const {
  if (Contains(GetExcludedDataTypes(), type)) return false;
  const auto& types = GetSupportedDataTypes();
  return types.empty() || Contains(types, type) || Contains(types, kAnyType) ||
         Contains(GetExtraSupportedDataTypes(), type);
}

void Port::SetAttribute(const std::wstring& key, const boost::shared_ptr<Data>& value) {
  const auto& attributes = State(this).Facts().attributes;
  const auto known = attributes.find(key);
  if (known == attributes.end() || known->second != value) State(this).OwnFacts().attributes[key] = value;
}
boost::shared_ptr<Data> Port::GetAttribute(const std::wstring& key) const {
  const auto& attributes = GetAttributeMap();
  const auto found = attributes.find(key);
  return found == attributes.end() ? nullptr : found->second;
}
const AttributeMap& Port::GetAttributeMap() const { return State(this).Facts().attributes; }
boost::shared_ptr<Data> Port::GetDataTypeAttribute(const ObjectName& type, const std::wstring& key) const {
  const auto& attributes = State(this).Facts().typeAttributes;
  const auto found = attributes.find({type, key});
  return found == attributes.end() ? nullptr : found->second;
}
void Port::SetDataTypeAttribute(const ObjectName& type, const std::wstring& key, const boost::shared_ptr<Data>& value) {
  if (GetDataTypeAttribute(type, key) != value) State(this).OwnFacts().typeAttributes[{type, key}] = value;
}
void Port::SetUIProvider(const std::wstring& name, const std::wstring& nameSpace) {
  State(this).OwnFacts().uiProvider = ObjectName(nameSpace, name);
}

boost::shared_ptr<Operator> Port::TryGetOperator() const {
  Operator* const owner = State(this).owner;
  return owner ? boost::static_pointer_cast<Operator>(owner->weak_from_this().lock()) : nullptr;
}
boost::shared_ptr<Port> Port::GetParentPort() const { return Shared(State(this).parentPort); }
bool Port::AliasesInnerPort(const boost::shared_ptr<Port>& inner) const {
  if (!inner) return false;
  for (const PortState* port = State(inner.get()).parentPort; port; port = port->parentPort) {
    if (port == this) return true;
  }
  return false;
}
std::vector<boost::shared_ptr<Port>> Port::GetInnerAliasedPorts() const {
  std::vector<boost::shared_ptr<Port>> ports;
  for (PortState* inner : State(this).Inner()) ports.push_back(Shared(inner));
  return ports;
}
boost::shared_ptr<PortConnection> Port::GetIncomingConnection() const { return State(this).incoming; }
std::vector<boost::shared_ptr<PortConnection>> Port::GetOutgoingConnections() const {
  std::vector<boost::shared_ptr<PortConnection>> connections;
  for (const PortConnectionState& connection : State(this).outgoing)
    connections.push_back(connection.destination->incoming);
  return connections;
}

}  // namespace Tamrin::Tessera
