#include "kcommon/ktim.h"

#include <ctime>

std::int64_t ktim_Time() { return static_cast<std::int64_t>(std::time(nullptr)); }
