#pragma once

#include <cstddef>
#include <cstdint>

#include "kcommon/kgda.h"

/// Copies every element, texts included, into a fresh layer of the same size and type.
void CopyElements(const Kgda_BaseDataLayer& from, Kgda_BaseDataLayer& to);
/// True where the rows lie one behind the other.
inline bool IsContiguous(const Kgda_BaseDataLayer& layer) {
  return layer.rowStride == layer.elementSize * static_cast<std::size_t>(layer.columns);
}

/// Calls work(begin, count) for the pieces of a long run of elements that are about to be written, the last piece
/// first. Filling fresh huge pages from the front was measured to take half as long again, for the order in which the
/// system clears them; and so was a copy from the front where source and target differ by a few bytes, as for rows that
/// move by one.
template <typename Work>
void ForPiecesFromBehind(std::int64_t count, std::size_t elementSize, const Work& work) {
  constexpr std::size_t kPiece = std::size_t{1} << 20, kLong = 4 * kPiece;
  const auto piece = static_cast<std::int64_t>(kPiece / elementSize),
             some = static_cast<std::int64_t>(kLong / elementSize);
  while (count > 0) {
    const std::int64_t now = count > some ? piece : count;
    count -= now;
    work(count, now);
  }
}
