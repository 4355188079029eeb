#include "txlib/effects.h"

#include "kcommon/kstr.h"
#include "txlib/portaccess.h"

namespace Tamrin::Tessera {

std::wstring LookAtPort(Port& port, bool& isKnown) {
  const auto data = port.GetExistingData();
  if (!data && (port.GetIncomingConnection() || port.IsAliasedPort())) isKnown = false;
  return data ? data->ToString() : std::wstring();
}

std::vector<Effect> GetEffectOfPort(Effect::Kind kind, Port& port) {
  bool isKnown = true;
  const std::wstring name = LookAtPort(port, isKnown);
  if (isKnown && name.empty()) return {};
  return {{kind, kstr_PathExpand(name), L"the port " + port.GetDisplayName()}};
}

std::vector<Effect> GetEffects(Operator& op) {
  if (auto* const teller = dynamic_cast<HasEffects*>(&op)) return teller->GetEffects();
  std::vector<Effect> effects;
  for (const auto& port : op.GetInputPorts()) {
    const auto isRead = AsDataOf<BoolData>(port->GetAttribute(L"Input"));
    if (!isRead || isRead->HasNoValue() || isRead->GetDataValue()) continue;
    for (Effect& effect : GetEffectOfPort(Effect::Kind::Write, *port)) effects.push_back(std::move(effect));
  }
  return effects;
}

}  // namespace Tamrin::Tessera
