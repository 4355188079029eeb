#include <cstdint>

#include "conversionsupport.h"
#include "txbasiclib/basicvalues.h"

namespace korven::tx_general {
namespace {

using Tamrin::TesseraBasic::RangeVector;

template <typename Element>
RangeVector RangesOf(const void* rows, std::int32_t count) {
  const auto* values = static_cast<const Element*>(rows);
  RangeVector ranges;
  ranges.reserve(static_cast<std::size_t>(count));
  for (std::int32_t row = 0; row < count; ++row) {
    const auto value = static_cast<double>(values[row]);
    ranges.emplace_back(value, value);
  }
  return ranges;
}

/// Null where the rows are no real numbers.
RangeVector (*RangesOfType(Kgda_PixelType type))(const void*, std::int32_t) {
  switch (type) {
    case KgdaBit:
    case KgdaTwoBit:
    case KgdaNibble:
    case KgdaUInt8:
      return &RangesOf<std::uint8_t>;
    case KgdaInt8:
      return &RangesOf<std::int8_t>;
    case KgdaUInt16:
      return &RangesOf<std::uint16_t>;
    case KgdaInt16:
      return &RangesOf<std::int16_t>;
    case KgdaUInt32:
      return &RangesOf<std::uint32_t>;
    case KgdaInt32:
      return &RangesOf<std::int32_t>;
    case KgdaFloat32:
      return &RangesOf<float>;
    case KgdaFloat64:
      return &RangesOf<double>;
    default:
      return nullptr;
  }
}

}  // namespace

class UnsignedToRange final : public Conversion {
 public:
  const wchar_t* Name() const override { return L"UnsignedToRange"; }
  const wchar_t* FromType() const override { return L"Unsigned"; }
  const wchar_t* FromNamespace() const override { return L"VANTIX"; }
  const wchar_t* ToType() const override { return L"Range"; }
  const wchar_t* ToNamespace() const override { return L"VANTIX"; }
  DataPtr Convert(DataPtr source) const override { return FromTextOf<Tamrin::TesseraBasic::RangeData>(source); }
};
TX_GENERAL_FACTORY(UnsignedToRange)

}  // namespace korven::tx_general

using namespace korven::tx_general;  // NOLINT: the others stand in the global namespace

TX_GENERAL_CONVERSION(RangeToRangeList, L"Range", L"RangeList")
DataPtr RangeToRangeList::Convert(DataPtr source) const {
  return MakeData<Tamrin::TesseraBasic::RangeListData>({ValueOf<Tamrin::TesseraBasic::RangeData>(source)});
}

TX_GENERAL_CONVERSION(TableToRangeList, L"Table", L"RangeList")
DataPtr TableToRangeList::Convert(DataPtr source) const {
  auto& table = dynamic_cast<Tamrin::TesseraBasic::TableData&>(*source).GetDataValue();
  const auto ranges = RangesOfType(table.GetNumberType());
  if (!ranges) return nullptr;
  return MakeData<Tamrin::TesseraBasic::RangeListData>(ranges(table.GetRawData(), table.GetCount()));
}
