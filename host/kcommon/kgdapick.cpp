#include <algorithm>
#include <cstdint>
#include <cstring>

#include "kcommon/kerr.h"
#include "kcommon/kgda.h"
#include "kcommon/kpxm.h"
#include "kcommon/kstr.h"
#include "kgdacopy.h"

namespace {

struct Pair {
  std::uint64_t parts[2];
};

/// Calls with storage of the width of the type's elements; strings are the caller's business.
template <typename Visit>
void VisitWidth(Kgda_PixelType type, const Visit& visit) {
  switch (kgda_NumBytePerPixelFromType(type)) {
    case 1:
      return visit(std::uint8_t{});
    case 2:
      return visit(std::uint16_t{});
    case 4:
      return visit(std::uint32_t{});
    case 8:
      return visit(std::uint64_t{});
    default:
      return visit(Pair{});
  }
}

/// Into rows that lie one behind the other, of a type whose elements are no pointers.
void CopyRows(char* to, const char* from, std::size_t size) {
  ForPiecesFromBehind(static_cast<std::int64_t>(size), 1, [=](std::int64_t begin, std::int64_t count) {
    std::memcpy(to + begin, from + begin, static_cast<std::size_t>(count));
  });
}

/// The element again and again.
void FillRows(void* to, const void* from, std::int32_t rows, Kgda_PixelType type) {
  VisitWidth(type, [=](auto element) {
    using T = decltype(element);
    ForPiecesFromBehind(rows, sizeof(T), [=](std::int64_t begin, std::int64_t count) {
      std::fill_n(static_cast<T*>(to) + begin, count, *static_cast<const T*>(from));
    });
  });
}

}  // namespace

void kgda_PickElements(void* to, const void* from, Kgda_PixelType type, const unsigned* indices, std::size_t count) {
  if (type == KgdaString) {
    for (std::size_t i = 0; i < count; ++i)
      static_cast<char**>(to)[i] = kstr_Duplicate(static_cast<const char* const*>(from)[indices[i]]);
    return;
  }
  VisitWidth(type, [=](auto element) {
    using T = decltype(element);
    const T* const source = static_cast<const T*>(from);
    T* const target = static_cast<T*>(to);
    for (std::size_t i = 0; i < count; ++i) target[i] = source[indices[i]];
  });
}

void kgda_CopyRun(Kgda_BaseDataLayer& to, std::int32_t row, std::int32_t column, const Kgda_BaseDataLayer& from,
                  std::int32_t fromRow, std::int32_t fromColumn, std::int32_t count, int step) {
  if (count <= 0) return;
  if (to.pixelType == KgdaString) {
    for (std::int32_t i = 0; i < count; ++i)
      kgda_SetElementString(to, row, column + i, kgda_ElementAsString(from, fromRow, fromColumn + i * step));
    return;
  }
  void* const target = kgda_ElementPointer(to, row, column);
  const void* const source = kgda_ElementPointer(from, fromRow, fromColumn);
  if (step != 0) {
    std::memcpy(target, source, to.elementSize * static_cast<std::size_t>(count));
    return;
  }
  VisitWidth(to.pixelType, [=](auto element) {
    using T = decltype(element);
    std::fill_n(static_cast<T*>(target), count, *static_cast<const T*>(source));
  });
}

void kgda_CopyRows(Kgda_BaseDataLayer& to, std::int32_t row, const Kgda_BaseDataLayer& from, std::int32_t fromRow,
                   std::int32_t count, int step) {
  if (count <= 0 || to.columns == 0) return;
  if (to.pixelType != KgdaString && IsContiguous(to) && IsContiguous(from)) {
    void* const target = kgda_ElementPointer(to, row, 0);
    const void* const source = kgda_ElementPointer(from, fromRow, 0);
    if (step == 1) {
      return CopyRows(static_cast<char*>(target), static_cast<const char*>(source),
                      to.rowStride * static_cast<std::size_t>(count));
    }
    if (step == 0 && to.columns == 1) return FillRows(target, source, count, to.pixelType);
  }
  for (std::int32_t i = 0; i < count; ++i) kgda_CopyRun(to, row + i, 0, from, fromRow + i * step, 0, to.columns, 1);
}

Kgda_BaseDataLayer& kgda_AddLayerFrom(KgdaBaseDataStack& stack, const Kgda_BaseDataLayer& from, std::int32_t rows,
                                      std::int32_t columns, Kgda_PixelType type, KerrException& error) {
  Kgda_BaseDataLayer& to = stack.AddLayer(rows, columns, type);
  const std::int32_t keptRows = std::min(rows, from.rows), keptColumns = std::min(columns, from.columns);
  if (keptRows == 0 || keptColumns == 0) return to;
  const bool oneRun = from.columns == columns && from.rowStride == from.elementSize * static_cast<std::size_t>(columns);
  const std::int32_t runs = oneRun ? 1 : keptRows;
  const std::int64_t count = oneRun ? std::int64_t{keptRows} * keptColumns : keptColumns;
  for (std::int32_t run = 0; run < runs; ++run)
    kpxm_ConvertPixels(kgda_ElementPointer(to, run, 0), type, kgda_ElementPointer(from, run, 0), from.pixelType, count,
                       error);
  return to;
}
