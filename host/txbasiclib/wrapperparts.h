#pragma once

#include <boost/make_shared.hpp>

#include "numbertext.h"
#include "txbasiclib/basicvalues.h"
#include "txlib/comparedata.h"

namespace Tamrin::TesseraBasic {

/// Order of a value and another, by `order` where both are a W with a value.
template <typename W, typename Order>
int OrderOfData(const W& a, const boost::shared_ptr<tessera::Data>& other, Order order) {
  if (!other) return 1;
  const auto* b = dynamic_cast<const W*>(other.get());
  if (!b || a.HasNoValue() || b->HasNoValue()) return tessera::CompareData(a, *other);
  return order(a.GetDataValue(), b->GetDataValue());
}

/// Reads null as no value, everything else by `read` into a fresh value.
template <typename W, typename Read>
bool ReadJson(W& data, const tessera::JsonValue& json, Read read) {
  if (json.IsNull()) {
    data.SetDataPointer(nullptr);
    return true;
  }
  typename W::ValueType value{};
  if (!read(json, value)) return false;
  data.SetDataPointer(boost::make_shared<typename W::ValueType>(std::move(value)));
  return true;
}

template <typename W>
boost::shared_ptr<tessera::Data> CopyOf(const W& data) {
  if (data.HasNoValue()) return boost::make_shared<W>();
  return tessera::MakeData<W>(data.GetDataValue());
}

}  // namespace Tamrin::TesseraBasic

/// The comparisons of a wrapper by the order of its values.
#define TESSERA_ORDER(wrapper, order)                                            \
  bool wrapper::operator>(const boost::shared_ptr<tessera::Data>& other) const { \
    return OrderOfData(*this, other, order) > 0;                                 \
  }                                                                              \
  bool wrapper::operator<(const boost::shared_ptr<tessera::Data>& other) const { \
    return OrderOfData(*this, other, order) < 0;                                 \
  }
