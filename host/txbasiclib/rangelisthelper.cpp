#include <cmath>
#include <limits>
#include <stdexcept>

#include "korvenlog/exception.h"
#include "txbasiclib/basedatastackutils.h"
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

}  // namespace

std::vector<unsigned> GetRangeListFromPortAsUnsignedList(const boost::shared_ptr<tessera::Port>& port, unsigned minimum,
                                                         unsigned maximum) {
  std::vector<unsigned> indices;
  if (!port || (port->IsOptional() && !port->GetData())) return indices;
  const auto ranges = tessera::GetPortDataAs<RangeVector>(port);
  for (const RangeClass& range : *ranges) {
    const double start = std::trunc(range.GetStart()), end = std::trunc(range.GetEnd());
    const auto isInside = [&](double index) { return index >= minimum && index <= maximum; };
    if (!isInside(start) || !isInside(end) || maximum > kHighestIndex) RaiseOutside(*port, range, minimum, maximum);
    const auto first = static_cast<unsigned>(start), last = static_cast<unsigned>(end);
    if (first <= last) {
      for (unsigned index = first; index <= last; ++index) indices.push_back(index);
    } else {
      for (unsigned index = first; index > last; --index) indices.push_back(index);
      indices.push_back(last);
    }
  }
  return indices;
}

}  // namespace Tamrin::TesseraBasic::RangeListHelper
