#pragma once

#include <cstdint>

#include "kcommon/kgda.h"

class KerrException;

using Kdsc_BinFunctionPre840 = Kdsc_BinFunction;

/// The values that a bin holds. Those of a direct function hold one value each. Others hold those from `lower` to
/// `upper`, which belongs to the next bin where there is one. Where there is no function, or no such bin, that is
/// recorded in `error`.
void kdsc_BinFunctionApplyInverse(const Kdsc_BinFunction* function, std::int32_t bin, double& lower, double& upper,
                                  KerrException& error);
/// The bin that holds the value; -1 where none does. Agrees with the inverse to the last bit.
void kdsc_BinFunctionApply(const Kdsc_BinFunction* function, double value, std::int32_t& bin, KerrException& error);
