#include "txlib/operator.h"

#include <algorithm>
#include <cstdarg>
#include <stdexcept>

#include "enginestate.h"
#include "korvenlog/exception.h"

namespace Tamrin::Tessera {

OperatorException::OperatorException(std::wstring text, std::wstring operatorDisplayName)
    : KorvenLog::Exception(L"txlib\\operator", L"Tamrin::Tessera::Operator::SetErrorMessage"),
      std::runtime_error(KorvenLog::Narrow(text)),
      text_(std::move(text)),
      operatorDisplayName_(std::move(operatorDisplayName)) {}

Operator::Operator() : state_(std::make_unique<OperatorState>(this)) {}

Operator::~Operator() {
  // A port may outlive its operator in somebody's hands.
  for (const auto& port : state_->ports) {
    PortState::Of(*port).Detach();
    PortState::Of(*port).owner = nullptr;
  }
}

std::wstring Operator::ToString() const {
  return GetDisplayName() + L" (" + GetOperatorNamespace() + L"." + GetOperatorName() + L")";
}

void Operator::Initialize() {
  if (state_->initialized) return;
  state_->initialized = true;
  state_->Declare();
}

std::wstring Operator::Description() const { return GetDefaultDescription(); }
std::wstring Operator::Provider() const { return L"VANTIX"; }
std::wstring Operator::Version() const { return L"1.0"; }
std::map<std::wstring, boost::shared_ptr<korven::plugin::PluginTypeInfo>> Operator::TypeInfo() const { return {}; }

// Ports.

boost::shared_ptr<Port> Operator::CreatePort(const std::wstring& name, const ObjectName& type, PortType portType,
                                             int position) {
  return state_->CreatePort(name, type, portType, position, state_->FactsForNextPort(name, type));
}

boost::shared_ptr<Port> OperatorState::CreatePort(const std::wstring& name, const ObjectName& type, PortType portType,
                                                  int position, SharedFacts facts) {
  if (FindPort(name)) {
    throw std::invalid_argument(
        KorvenLog::Narrow(self->GetDisplayName() + L" has a port named " + name + L" already."));
  }
  const auto port = boost::make_shared<PortState>(self, name, type, portType, std::move(facts));
  AddPort(port, position);
  self->OnPortAdded(port);
  return port;
}

boost::shared_ptr<Port> Operator::CreatePort(const std::wstring& name, PortType portType,
                                             const boost::shared_ptr<Data>& defaultData) {
  const auto port = CreatePort(name, defaultData ? defaultData->GetDataTypeName() : Data::DefaultTypeName(), portType);
  if (defaultData) PortState::Of(*port).OwnFacts().defaultData = defaultData;
  return port;
}

boost::shared_ptr<Port> Operator::CreatePortWithAttributes(const wchar_t* name, const ObjectName& type,
                                                           PortType portType, ...) {
  const auto port = CreatePort(name, type, portType);
  va_list pairs;
  va_start(pairs, portType);
  while (const wchar_t* const key = va_arg(pairs, const wchar_t*)) {
    port->SetAttribute(key, *va_arg(pairs, const boost::shared_ptr<Data>*));
  }
  va_end(pairs);
  return port;
}

bool Operator::RemovePort(const boost::shared_ptr<Port>& port) { return state_->RemovePort(port.get()); }
bool Operator::RemovePort(const std::wstring& name) {
  const auto* const port = state_->FindPort(name);
  return port && state_->RemovePort(port->get());
}
void Operator::ClearPorts() {
  while (!state_->ports.empty()) state_->RemovePort(state_->ports.back().get());
}

boost::shared_ptr<Port> Operator::GetPort(const std::wstring& name) const {
  const auto* const port = state_->FindPort(name);
  return port ? *port : nullptr;
}
const std::vector<boost::shared_ptr<Port>>& Operator::GetPorts() const { return state_->ports; }

namespace {
std::vector<boost::shared_ptr<Port>> PortsOfType(const Operator& op, PortType type) {
  std::vector<boost::shared_ptr<Port>> ports;
  for (const auto& port : op.GetPorts()) {
    if (port->GetPortType() == type) ports.push_back(port);
  }
  return ports;
}
int NamesOfType(const Operator& op, PortType type, std::vector<std::wstring>& names) {
  names.clear();
  for (const auto& port : op.GetPorts()) {
    if (port->GetPortType() == type) names.push_back(port->GetName());
  }
  return static_cast<int>(names.size());
}
}  // namespace

std::vector<boost::shared_ptr<Port>> Operator::GetInputPorts() const { return PortsOfType(*this, PortType::Input); }
std::vector<boost::shared_ptr<Port>> Operator::GetOutputPorts() const { return PortsOfType(*this, PortType::Output); }
int Operator::GetInputPortNames(std::vector<std::wstring>& names) const {
  return NamesOfType(*this, PortType::Input, names);
}
int Operator::GetOutputPortNames(std::vector<std::wstring>& names) const {
  return NamesOfType(*this, PortType::Output, names);
}
int Operator::GetInputPortNamesForXPorts(int, std::vector<std::wstring>& names) { return GetInputPortNames(names); }

std::wstring Operator::GetNewPortName(const std::wstring& stem) {
  for (int number = 1;; ++number) {
    const std::wstring name = stem + std::to_wstring(number);
    if (!state_->FindPort(name)) return name;
  }
}

// Identity.

std::wstring Operator::GetOperatorName() const { return GetDefaultOperatorName(); }
std::wstring Operator::GetOperatorNamespace() const { return GetDefaultNamespace(); }
std::wstring Operator::GetDisplayName() const {
  return state_->identity ? state_->identity->displayName.value_or(GetDefaultDisplayName()) : GetDefaultDisplayName();
}
std::wstring Operator::GetDescription() const {
  return state_->identity ? state_->identity->description.value_or(GetDefaultDescription()) : GetDefaultDescription();
}
std::wstring Operator::GetDisplayCategory() const {
  return state_->identity ? state_->identity->category.value_or(GetDefaultDisplayCategory())
                          : GetDefaultDisplayCategory();
}
std::wstring Operator::GetIcon() const {
  return state_->identity ? state_->identity->icon.value_or(GetDefaultIcon()) : GetDefaultIcon();
}
std::wstring Operator::GetKeywords() const {
  return state_->identity ? state_->identity->keywords.value_or(GetDefaultKeywords()) : GetDefaultKeywords();
}
void Operator::SetDisplayName(const std::wstring& name) { state_->OwnIdentity().displayName = name; }
void Operator::SetDescription(const std::wstring& text) { state_->OwnIdentity().description = text; }
void Operator::SetDisplayCategory(const std::wstring& category) { state_->OwnIdentity().category = category; }
void Operator::SetIcon(const std::wstring& icon) { state_->OwnIdentity().icon = icon; }
void Operator::SetKeywords(const std::wstring& keywords) { state_->OwnIdentity().keywords = keywords; }
void Operator::SetPrototype(const std::wstring& prototype) { state_->OwnIdentity().prototype = prototype; }
std::wstring Operator::GetPrototype() const { return state_->identity ? state_->identity->prototype : std::wstring(); }
void Operator::SetExpandible(bool expandible) { state_->expandible = expandible; }
bool Operator::IsExpandible() const { return state_->expandible; }
void Operator::SetUIProvider(const std::wstring& name, const std::wstring& nameSpace) {
  state_->OwnIdentity().uiProvider = ObjectName(nameSpace, name);
}

void Operator::SetAttribute(const std::wstring& key, const boost::shared_ptr<Data>& value) {
  if (!state_->attributes) state_->attributes = std::make_unique<AttributeMap>();
  (*state_->attributes)[key] = value;
}
boost::shared_ptr<Data> Operator::GetAttribute(const std::wstring& key) const {
  const AttributeMap& attributes = GetAttributes();
  const auto found = attributes.find(key);
  return found == attributes.end() ? nullptr : found->second;
}
const AttributeMap& Operator::GetAttributes() const {
  static const AttributeMap none;
  return state_->attributes ? *state_->attributes : none;
}

// Messages.

void Operator::ClearMessageQueue() {
  auto& watchers = state_->GetWatchers();
  const std::lock_guard lock(watchers.mutex);
  watchers.messages.clear();
}

std::vector<Message> Operator::GetMessages() const {
  auto& watchers = state_->GetWatchers();
  const std::lock_guard lock(watchers.mutex);
  return watchers.messages;
}

namespace {
void Record(OperatorState::Watchers& watchers, Issue::Severity severity, const std::wstring& text) {
  const std::lock_guard lock(watchers.mutex);
  watchers.messages.push_back({severity, text, std::wstring()});
}
}  // namespace

void Operator::SetErrorMessage(const std::wstring& text) {
  Record(state_->GetWatchers(), Issue::Error, text);
  const std::wstring name = Model::GetVisible(*this).GetDisplayName();
  CallMessageCallbacks(SharedThis(), nullptr, text, std::wstring(), Issue::Error);
  throw OperatorException(text, name);
}
void Operator::SetWarningMessage(const std::wstring& text) {
  Record(state_->GetWatchers(), Issue::Warning, text);
  CallMessageCallbacks(SharedThis(), nullptr, text, std::wstring(), Issue::Warning);
}
void Operator::SetInfoMessage(const std::wstring& text) {
  Record(state_->GetWatchers(), Issue::Information, text);
  CallMessageCallbacks(SharedThis(), nullptr, text, std::wstring(), Issue::Information);
}

void Operator::CallMessageCallbacks(const boost::shared_ptr<Operator>& source, const boost::shared_ptr<Port>& port,
                                    const std::wstring& text, const std::wstring& second, Issue::Severity severity) {
  // What allows no reflection tells the messages of its inside as its own.
  if (source.get() != this && !AllowsReflection()) {
    CallMessageCallbacks(SharedThis(), nullptr, text, second, severity);
    return;
  }
  if (auto* const watchers = state_->watchers.load())
    watchers->message.Call(watchers->mutex, source, port, text, second, severity);
  // Each model around may filter on the way out.
  if (state_->process) state_->process->CallMessageCallbacks(source, port, text, second, severity);
}

CallbackHandle Operator::AddOnMessageCallback(const MessageCallback& callback) {
  auto& watchers = state_->GetWatchers();
  return watchers.message.Add(watchers.mutex, callback);
}
CallbackHandle Operator::AddOnProgressCallback(const ProgressCallback& callback) {
  auto& watchers = state_->GetWatchers();
  return watchers.progress.Add(watchers.mutex, callback);
}
CallbackHandle Operator::AddOnInvalidateCallback(const InvalidateCallback& callback) {
  auto& watchers = state_->GetWatchers();
  return watchers.invalidate.Add(watchers.mutex, callback);
}

void Operator::SetProgress(double percent) {
  if (!state_->reportsProgress) return;
  const double bounded = percent > 0 ? std::min(percent, 100.0) : 0.0;  // NaN counts as no progress
  if (auto* const watchers = state_->watchers.load()) watchers->progress.Call(watchers->mutex, SharedThis(), bounded);
  if (state_->process) state_->process->SetOperatorProgress(SharedThis(), bounded);
}
void Operator::SetReportProgress(const bool& report) { state_->reportsProgress = report; }

bool Operator::IsActive() const { return !state_->deactivated; }

}  // namespace Tamrin::Tessera
