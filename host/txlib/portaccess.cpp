#include "txlib/portaccess.h"

#include <stdexcept>

#include "enginestate.h"
#include "korvenlog/exception.h"

namespace Tamrin::Tessera {

void RaisePortMessage(const Port& port, const wchar_t* beforeName) {
  const std::wstring text = beforeName + port.GetDisplayName() + L").";
  if (const auto op = port.TryGetOperator()) op->SetErrorMessage(text);
  throw std::runtime_error(KorvenLog::Narrow(text));  // a port that outlived its operator
}

const boost::shared_ptr<Port>& RequirePort(Operator& op, std::wstring_view name) {
  const auto* const port = OperatorState::Of(op).FindPort(name);
  if (!port) op.SetErrorMessage(L"There is no port named " + std::wstring(name) + L".");
  return *port;
}

}  // namespace Tamrin::Tessera
