#include "txlib/operatornotfound.h"

namespace Tamrin::Tessera {

boost::shared_ptr<OperatorNotFound> OperatorNotFound::Make() {
  const auto op = boost::make_shared<OperatorNotFound>();
  op->Initialize();
  return op;
}

void OperatorNotFound::OnExecute() { SetErrorMessage(L"The operator implemenation could not be located!"); }

}  // namespace Tamrin::Tessera
