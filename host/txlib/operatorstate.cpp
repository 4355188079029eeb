#include <algorithm>

#include "enginestate.h"

namespace Tamrin::Tessera {

namespace {
/// From here on a look-up by hash beats comparing the names one by one.
constexpr std::size_t kManyPorts = 16;
}  // namespace

thread_local std::vector<Operator*>* OperatorState::collector_ = nullptr;

OperatorState::~OperatorState() { delete watchers.load(); }

OperatorState::Identity& OperatorState::GetIdentity() {
  if (!identity) identity = std::make_unique<Identity>();
  return *identity;
}

OperatorState::Watchers& OperatorState::GetWatchers() {
  if (Watchers* const known = watchers.load()) return *known;
  auto made = std::make_unique<Watchers>();
  Watchers* none = nullptr;
  if (watchers.compare_exchange_strong(none, made.get())) return *made.release();
  return *none;  // another thread was first
}

PortState* OperatorState::FindPort(const std::wstring& name) const {
  if (!portsByName.empty()) {
    const auto found = portsByName.find(name);
    return found == portsByName.end() ? nullptr : found->second;
  }
  for (const auto& port : ports) {
    if (PortState::Of(*port).name == name) return &PortState::Of(*port);
  }
  return nullptr;
}

void OperatorState::AddPort(const boost::shared_ptr<PortState>& port, int position) {
  const bool append = position < 0 || static_cast<std::size_t>(position) >= ports.size();
  ports.insert(append ? ports.end() : ports.begin() + position, port);
  if (!portsByName.empty()) {
    portsByName.emplace(port->name, port.get());
  } else if (ports.size() > kManyPorts) {
    for (const auto& known : ports) portsByName.emplace(known->GetName(), &PortState::Of(*known));
  }
}

bool OperatorState::RemovePort(const Port* port) {
  const auto found = std::find_if(ports.begin(), ports.end(), [&](const auto& known) { return known.get() == port; });
  if (!port || found == ports.end()) return false;
  const boost::shared_ptr<Port> removed = *found;
  ports.erase(found);
  portsByName.erase(removed->GetName());
  PortState::Of(*removed).Detach();
  PortState::Of(*removed).owner = nullptr;
  return true;
}

void OperatorState::ClearOutputs() {
  for (const auto& port : ports) {
    if (port->IsOutput()) PortState::Of(*port).data.reset();
  }
}

boost::shared_ptr<void>& DocumentSlot(Operator& op) { return OperatorState::Of(op).documentSlot; }

}  // namespace Tamrin::Tessera
