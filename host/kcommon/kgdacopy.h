#pragma once

#include "kcommon/kgda.h"

/// Copies every element, texts included, into a fresh layer of the same size and type.
void CopyElements(const Kgda_BaseDataLayer& from, Kgda_BaseDataLayer& to);
/// True where the rows lie one behind the other.
inline bool IsContiguous(const Kgda_BaseDataLayer& layer) {
  return layer.rowStride == layer.elementSize * static_cast<std::size_t>(layer.columns);
}
