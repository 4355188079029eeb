#pragma once

#include <boost/shared_ptr.hpp>

#include "txlib/data.h"

namespace Tamrin::Tessera {

/// Below, at or above 0 where the first value comes before, with or after the second. A total order: no value
/// first, then numbers by number whatever their type (not-a-number last), then by type, then by value, which is the
/// wrapper's own operator<. That operator in turn may leave the values of other types to this function.
int CompareData(const Data& first, const Data& second);
int CompareData(const boost::shared_ptr<Data>& first, const boost::shared_ptr<Data>& second);

}  // namespace Tamrin::Tessera
