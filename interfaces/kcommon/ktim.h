#pragma once

#include <cstdint>

/// Seconds since the beginning of 1970, UTC.
std::int64_t ktim_Time();
