#include "kcommon/module.h"
#include "projcalls.h"

namespace kprj::proj {

const Calls& GetCalls() {
  static const Calls& calls = *static_cast<const Calls*>(korven::common::LoadModule("proj"));
  return calls;
}

}  // namespace kprj::proj
