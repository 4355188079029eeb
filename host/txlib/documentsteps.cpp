#include "documentsteps.h"

#include <stdexcept>

#include "korvenlog/exception.h"

namespace Tamrin::Tessera {

const boost::shared_ptr<Port>& DocumentCopy::PortOf(std::size_t index, std::wstring_view name) const {
  const auto* const port = OperatorState::Of(*operators_[index]).FindPort(name);
  if (!port) throw std::runtime_error("There is no port " + KorvenLog::Narrow(std::wstring(name)) + ".");
  return *port;
}

SharedFacts DocumentCopy::FindKnownFacts(std::size_t index, std::wstring_view name) const {
  if (!known_) return nullptr;
  for (const KnownFacts& known : *known_) {
    if (known.op == index && known.facts->name == name) return known.facts;
  }
  return nullptr;
}

void DocumentSteps::ShareFacts(const DocumentCopy& made) {
  for (std::size_t op = 0; op < made.Count(); ++op) {
    const auto& ports = made.Op(op)->GetPorts();
    if (OperatorState::Of(*made.Op(op)).portsByName) continue;  // refers to the names where they are
    for (std::size_t i = 0; i < ports.size(); ++i) {
      PortState& port = PortState::Of(*ports[i]);
      if (port.HasOwnFacts()) facts_.push_back({op, i, port.ShareFacts()});
    }
  }
}

boost::shared_ptr<Model> DocumentSteps::Repeat() const {
  DocumentCopy copy;
  copy.SetKnownFacts(facts_);
  for (const Step& step : steps_) step(copy);
  for (const KnownFacts& known : facts_) {
    const auto& ports = copy.Op(known.op)->GetPorts();
    if (known.port >= ports.size()) continue;
    PortState& port = PortState::Of(*ports[known.port]);
    if (port.HasOwnFacts() && port.Facts().name == known.facts->name) port.TakeFacts(known.facts);
  }
  return boost::static_pointer_cast<Model>(copy.Op(0));
}

}  // namespace Tamrin::Tessera
