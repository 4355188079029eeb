#pragma once

#include <cstdint>

#include "kcommon/kgda.h"

/// Turns `count` elements that lie one behind the other into another type: rounded half to even, clamped to the
/// bounds, not-a-number giving 0 in integers. String elements of the target are made anew; what pointers stood
/// there is not freed. A failure is recorded in `error`.
void kpxm_ConvertPixels(void* to, Kgda_PixelType toType, const void* from, Kgda_PixelType fromType, std::int64_t count,
                        KerrException& error);
