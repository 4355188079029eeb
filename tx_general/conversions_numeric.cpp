#include "conversionsupport.h"

using namespace korven::tx_general;  // NOLINT: these classes stand in the global namespace

namespace {

/// The bounds are compared as doubles and belong to the range; not-a-number is outside of every range.
bool IsWithin(double value, double low, double high) { return value >= low && value <= high; }
bool FitsInt(double value) { return IsWithin(value, -2147483648.0, 2147483647.0); }
bool FitsUnsigned(double value) { return IsWithin(value, 0.0, 4294967295.0); }

template <typename To>
DataPtr Made(typename To::ValueType value) {
  return MakeData<To>(value);
}

}  // namespace

TX_GENERAL_CONVERSION(BoolToInt, L"Bool", L"Int")
DataPtr BoolToInt::Convert(DataPtr source) const { return Made<IntData>(ValueOf<BoolData>(source) ? 1 : 0); }

TX_GENERAL_CONVERSION(BoolToDouble, L"Bool", L"Double")
DataPtr BoolToDouble::Convert(DataPtr source) const { return Made<DoubleData>(ValueOf<BoolData>(source) ? 1.0 : 0.0); }

TX_GENERAL_CONVERSION(BoolToUnsigned, L"Bool", L"Unsigned")
DataPtr BoolToUnsigned::Convert(DataPtr source) const { return Made<UnsignedData>(ValueOf<BoolData>(source) ? 1 : 0); }

TX_GENERAL_CONVERSION(DoubleToBool, L"Double", L"Bool")
DataPtr DoubleToBool::Convert(DataPtr source) const { return Made<BoolData>(ValueOf<DoubleData>(source) != 0.0); }

TX_GENERAL_CONVERSION(DoubleToInt, L"Double", L"Int")
DataPtr DoubleToInt::Convert(DataPtr source) const {
  const double value = ValueOf<DoubleData>(source);
  return FitsInt(value) ? Made<IntData>(static_cast<int>(value)) : nullptr;
}

TX_GENERAL_CONVERSION(DoubleToUnsigned, L"Double", L"Unsigned")
DataPtr DoubleToUnsigned::Convert(DataPtr source) const {
  const double value = ValueOf<DoubleData>(source);
  return FitsUnsigned(value) ? Made<UnsignedData>(static_cast<unsigned>(value)) : nullptr;
}

TX_GENERAL_CONVERSION(IntToBool, L"Int", L"Bool")
DataPtr IntToBool::Convert(DataPtr source) const { return Made<BoolData>(ValueOf<IntData>(source) != 0); }

TX_GENERAL_CONVERSION(IntToDouble, L"Int", L"Double")
DataPtr IntToDouble::Convert(DataPtr source) const { return Made<DoubleData>(ValueOf<IntData>(source)); }

TX_GENERAL_CONVERSION(IntToUnsigned, L"Int", L"Unsigned")
DataPtr IntToUnsigned::Convert(DataPtr source) const {
  const int value = ValueOf<IntData>(source);
  return FitsUnsigned(value) ? Made<UnsignedData>(static_cast<unsigned>(value)) : nullptr;
}

TX_GENERAL_CONVERSION(UnsignedToBool, L"Unsigned", L"Bool")
DataPtr UnsignedToBool::Convert(DataPtr source) const { return Made<BoolData>(ValueOf<UnsignedData>(source) != 0); }

TX_GENERAL_CONVERSION(UnsignedToDouble, L"Unsigned", L"Double")
DataPtr UnsignedToDouble::Convert(DataPtr source) const { return Made<DoubleData>(ValueOf<UnsignedData>(source)); }

TX_GENERAL_CONVERSION(UnsignedToInt, L"Unsigned", L"Int")
DataPtr UnsignedToInt::Convert(DataPtr source) const {
  const unsigned value = ValueOf<UnsignedData>(source);
  return FitsInt(value) ? Made<IntData>(static_cast<int>(value)) : nullptr;
}
