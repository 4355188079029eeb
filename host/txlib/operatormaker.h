#pragma once

#include <boost/shared_ptr.hpp>
#include <functional>
#include <string>

#include "txlib/operator.h"

namespace Tamrin::Tessera {

/// Makes operators of one name, initialised. Any thread.
using OperatorMaker = std::function<boost::shared_ptr<Operator>()>;

/// Empty for a name that no plug-in offers. Raises what the first object of the name raises.
OperatorMaker FindOperatorMaker(const std::wstring& nameSpace, const std::wstring& name);

}  // namespace Tamrin::Tessera
