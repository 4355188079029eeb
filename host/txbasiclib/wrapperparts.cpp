#include "wrapperparts.h"

namespace Tamrin::TesseraBasic {
namespace {

template <typename... W>
bool IsOneOf(const tessera::Data& data) {
  return (dynamic_cast<const W*>(&data) || ...);
}

bool IsNumber(const tessera::Data& data) {
  return IsOneOf<tessera::BoolData, tessera::IntData, tessera::UnsignedData, tessera::DoubleData>(data);
}

}  // namespace

int OrderOfOthers(const tessera::Data& a, const tessera::Data& b) {
  if (a.HasNoValue() || b.HasNoValue()) return OrderOf(!a.HasNoValue(), !b.HasNoValue());
  if (const int order = OrderOf(!IsNumber(a), !IsNumber(b))) return order;
  return OrderOf(a.GetDataTypeName(), b.GetDataTypeName());
}

}  // namespace Tamrin::TesseraBasic
