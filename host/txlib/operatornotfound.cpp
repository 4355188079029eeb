#include "operatornotfound.h"

namespace Tamrin::Tessera {

void OperatorNotFound::OnExecute() { SetErrorMessage(L"The operator implemenation could not be located!"); }

}  // namespace Tamrin::Tessera
