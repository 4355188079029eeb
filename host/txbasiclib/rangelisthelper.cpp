#include <algorithm>
#include <atomic>
#include <limits>
#include <stdexcept>
#include <utility>

#include "korvenlog/exception.h"
#include "txbasiclib/basedatastackutils.h"
#include "txbasiclib/concurrencyhelper.h"
#include "txlib/operator.h"
#include "txlib/portaccess.h"

namespace Tamrin::TesseraBasic::RangeListHelper {
namespace {

/// A bound above this is the one before zero of something that is empty.
constexpr unsigned kHighestIndex = std::numeric_limits<std::int32_t>::max();

[[noreturn]] void RaiseOutside(const tessera::Port& port, const RangeClass& range, unsigned minimum, unsigned maximum) {
  std::wstring text = L"Range " + RangeData(boost::make_shared<RangeClass>(range)).ToString() + L" on port(" +
                      port.GetDisplayName() + L") is outside the bounds ";
  if (maximum > kHighestIndex || maximum < minimum)
    text += L"of something that is empty.";
  else
    text += std::to_wstring(minimum) + L" to " + std::to_wstring(maximum) + L".";
  if (const auto op = port.TryGetOperator()) op->SetErrorMessage(text);
  throw std::runtime_error(KorvenLog::Narrow(text));
}

constexpr std::size_t kBlock = 1024;
constexpr std::size_t kPiece = 4096;
/// As many indices are worth a thread.
constexpr std::int64_t kPart = 1 << 18;

/// True where the number without its fraction lies within the bounds; in no call of a function, as there are millions.
bool IsInside(double number, unsigned minimum, unsigned maximum) {
  const bool reaches = minimum == 0 ? number > -1.0 : number >= minimum;
  return reaches && number < static_cast<double>(maximum) + 1.0;
}

unsigned IndexOf(double number) { return static_cast<unsigned>(static_cast<std::int64_t>(number)); }

std::size_t CountOf(const RangeClass& range) {
  const unsigned first = IndexOf(range.GetStart()), last = IndexOf(range.GetEnd());
  return std::size_t{first <= last ? last - first : first - last} + 1;
}

}  // namespace

IndexList::IndexList(const boost::shared_ptr<tessera::Port>& port, unsigned minimum, unsigned maximum) {
  if (!port || (port->IsOptional() && !port->GetData())) return;
  op_ = port->TryGetOperator();
  ranges_ = tessera::GetPortDataAs<RangeVector>(port);
  CountIndices(*port, minimum, maximum);
}

void IndexList::CountIndices(const tessera::Port& port, unsigned minimum, unsigned maximum) {
  const RangeVector& ranges = *ranges_;
  const bool isEmpty = maximum > kHighestIndex;
  const auto isOutside = [=](const RangeClass& range) {
    return isEmpty || !IsInside(range.GetStart(), minimum, maximum) || !IsInside(range.GetEnd(), minimum, maximum);
  };
  places_.resize((ranges.size() + kBlock - 1) / kBlock);
  std::atomic<bool> isAnyOutside{false};
  const auto countBlocks = [&](std::int64_t begin, std::int64_t end) {
    for (auto block = static_cast<std::size_t>(begin); block < static_cast<std::size_t>(end); ++block) {
      const std::size_t stop = std::min(ranges.size(), (block + 1) * kBlock);
      std::size_t count = 0;
      bool isOut = false;
      for (std::size_t i = block * kBlock; i < stop && !isOut; ++i) {
        isOut = isOutside(ranges[i]);
        if (!isOut) count += CountOf(ranges[i]);
      }
      if (isOut) isAnyOutside = true;
      places_[block] = count;
    }
  };
  const auto blocks = static_cast<std::int64_t>(places_.size());
  op_ ? ForParts(*op_, blocks, kPart / static_cast<std::int64_t>(kBlock), countBlocks) : countBlocks(0, blocks);
  if (isAnyOutside) RaiseOutside(port, *std::find_if(ranges.begin(), ranges.end(), isOutside), minimum, maximum);
  for (std::size_t& place : places_) place = std::exchange(count_, count_ + place);
}

void IndexList::ForRanges(const boost::function<void(std::size_t place, unsigned first, unsigned last)>& work) const {
  if (count_ == 0) return;
  std::size_t place = 0;
  for (const RangeClass& range : *ranges_) {
    work(place, IndexOf(range.GetStart()), IndexOf(range.GetEnd()));
    place += CountOf(range);
  }
}

void IndexList::ForPieces(
    const boost::function<void(std::size_t place, const unsigned* indices, std::size_t count)>& work) const {
  if (count_ == 0) return;
  const auto give = [&](std::int64_t begin, std::int64_t end) {
    GivePieces(static_cast<std::size_t>(begin), static_cast<std::size_t>(end), work);
  };
  const auto count = static_cast<std::int64_t>(count_);
  op_ ? ForParts(*op_, count, kPart, give) : give(0, count);
}

void IndexList::GivePieces(
    std::size_t begin, std::size_t end,
    const boost::function<void(std::size_t place, const unsigned* indices, std::size_t count)>& work) const {
  const auto block = std::upper_bound(places_.begin(), places_.end(), begin) - 1;
  std::size_t index = static_cast<std::size_t>(block - places_.begin()) * kBlock;
  std::size_t skipped = begin - *block;  // of the range at `index` and those behind it
  while (skipped >= CountOf((*ranges_)[index])) skipped -= CountOf((*ranges_)[index++]);
  unsigned piece[kPiece];
  std::size_t place = begin, filled = 0;
  while (place + filled < end) {
    const RangeClass& range = (*ranges_)[index++];
    const unsigned first = IndexOf(range.GetStart());
    const bool isRising = first <= IndexOf(range.GetEnd());
    const std::size_t stop = std::min(CountOf(range), skipped + (end - place - filled));
    for (std::size_t i = std::exchange(skipped, 0); i < stop; ++i) {
      piece[filled++] = isRising ? first + static_cast<unsigned>(i) : first - static_cast<unsigned>(i);
      if (filled < kPiece) continue;
      work(place, piece, filled);
      place += std::exchange(filled, 0);
    }
  }
  if (filled > 0) work(place, piece, filled);
}

std::vector<unsigned> IndicesOf(const IndexList& list) {
  std::vector<unsigned> indices(list.GetCount());
  list.ForPieces([&indices](std::size_t place, const unsigned* piece, std::size_t count) {
    std::copy_n(piece, count, indices.data() + place);
  });
  return indices;
}

std::vector<unsigned> GetRangeListFromPortAsUnsignedList(const boost::shared_ptr<tessera::Port>& port, unsigned minimum,
                                                         unsigned maximum) {
  return IndicesOf(IndexList(port, minimum, maximum));
}

}  // namespace Tamrin::TesseraBasic::RangeListHelper
