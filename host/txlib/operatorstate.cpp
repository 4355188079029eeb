#include <algorithm>

#include "enginestate.h"

namespace Tamrin::Tessera {

namespace {
/// From here on a look-up by hash beats comparing the names one by one.
constexpr std::size_t kManyPorts = 16;
}  // namespace

TESSERA_FAST_TLS thread_local std::vector<Operator*>* OperatorState::collector_ = nullptr;

OperatorState::~OperatorState() {
  Watchers* const known = watchers.load();
  if (known && known->meter != 0) ForgetMeter(known->meter);
  delete known;
}

OperatorState::Identity& OperatorState::OwnIdentity() {
  if (!ownsIdentity) identity = identity ? boost::make_shared<Identity>(*identity) : boost::make_shared<Identity>();
  ownsIdentity = true;
  return const_cast<Identity&>(*identity);  // nobody else has it
}

OperatorState::Watchers& OperatorState::GetWatchers() {
  if (Watchers* const known = watchers.load()) return *known;
  auto made = std::make_unique<Watchers>();
  Watchers* none = nullptr;
  if (watchers.compare_exchange_strong(none, made.get())) return *made.release();
  return *none;  // another thread was first
}

const boost::shared_ptr<Port>* OperatorState::FindPort(std::wstring_view name) const {
  if (portsByName) {
    const auto found = portsByName->find(name);
    return found == portsByName->end() ? nullptr : &found->second;
  }
  for (const auto& port : ports) {
    if (PortState::Of(*port).Facts().name == name) return &port;
  }
  return nullptr;
}

void OperatorState::AddPort(const boost::shared_ptr<PortState>& port, int position) {
  const bool append = position < 0 || static_cast<std::size_t>(position) >= ports.size();
  ports.insert(append ? ports.end() : ports.begin() + position, port);
  if (portsByName) {
    portsByName->emplace(port->Facts().name, port);
  } else if (ports.size() > kManyPorts) {
    portsByName = std::make_unique<PortIndex>();
    for (const auto& known : ports) portsByName->emplace(known->GetName(), known);
  }
}

bool OperatorState::RemovePort(const Port* port) {
  const auto found = std::find_if(ports.begin(), ports.end(), [&](const auto& known) { return known.get() == port; });
  if (!port || found == ports.end()) return false;
  const boost::shared_ptr<Port> removed = *found;
  ports.erase(found);
  if (portsByName) portsByName->erase(removed->GetName());
  PortState::Of(*removed).Detach();
  PortState::Of(*removed).owner = nullptr;
  return true;
}

void OperatorState::ClearOutputs() {
  for (const auto& port : ports) {
    PortState& state = PortState::Of(*port);
    if (state.type == PortType::Output) state.data.reset();
  }
}

boost::shared_ptr<void>& DocumentSlot(Operator& op) { return OperatorState::Of(op).documentSlot; }

}  // namespace Tamrin::Tessera
