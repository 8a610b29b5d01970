// The clock of the install offer's back-off: the time a toast was shown is
// kept as English text in the settings file, and two times are compared as
// pseudo-seconds that count every year as 366 days and every month as 31, so
// that no calendar is needed. Across a month's end the count is thus too
// large by the days that month lacks, which only ever shows a toast early.
#pragma once

#include <cstdint>
#include <ctime>
#include <string>
#include <string_view>

#include "platform/types.h"

namespace qv {

int64_t ToastClock(const std::tm& time);

// The local time of a system time.
std::tm LocalTimeOf(FILETIME time);

// "%d-%b-%Y %H:%M:%S" with English month names whatever the user's locale:
// "05-Mar-2026 14:07:09".
std::string FormatToastTime(const std::tm& time);
// The reverse, for a whole text in that format (month names in any case);
// false for anything else, time then undefined.
bool ParseToastTime(std::string_view text, std::tm& time);

}  // namespace qv
