// The local broken-down time of a moment, the same way on every platform
// (localtime_s on Windows, localtime_r elsewhere: both safe across threads).
#pragma once

#include <ctime>

namespace qv {

std::tm LocalTime(std::time_t seconds);

}  // namespace qv
