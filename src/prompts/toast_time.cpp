#include "prompts/toast_time.h"

#include <array>
#include <cctype>
#include <cstdio>

#include "core/local_time.h"

namespace qv {

namespace {

constexpr std::array<const char*, 12> kMonths = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                 "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
constexpr uint64_t kTicksPerSecond = 10000000;
constexpr uint64_t kUnixEpochTicks = 116444736000000000ULL;  // 1970-01-01 in FILETIME ticks

// Reads 1 to maxDigits digits at pos into value.
bool ReadNumber(std::string_view text, size_t& pos, size_t maxDigits, int& value) {
    size_t digits = 0;
    value = 0;
    while (pos < text.size() && digits < maxDigits && std::isdigit(static_cast<unsigned char>(text[pos]))) {
        value = value * 10 + (text[pos] - '0');
        ++pos;
        ++digits;
    }
    return digits > 0;
}

bool Expect(std::string_view text, size_t& pos, char c) {
    if (pos >= text.size() || text[pos] != c) return false;
    ++pos;
    return true;
}

}  // namespace

int64_t ToastClock(const std::tm& t) {
    return ((((static_cast<int64_t>(t.tm_year) * 366 + t.tm_mon * 31 + t.tm_mday) * 24 + t.tm_hour) * 60 + t.tm_min) *
            60) +
           t.tm_sec;
}

std::tm LocalTimeOf(FILETIME time) {
    const uint64_t ticks = time.Ticks();
    const std::time_t seconds =
        ticks > kUnixEpochTicks ? static_cast<std::time_t>((ticks - kUnixEpochTicks) / kTicksPerSecond) : 0;
    return LocalTime(seconds);
}

std::string FormatToastTime(const std::tm& t) {
    const int month = t.tm_mon >= 0 && t.tm_mon < 12 ? t.tm_mon : 0;
    char text[64];
    std::snprintf(text, sizeof text, "%02d-%s-%d %02d:%02d:%02d", t.tm_mday, kMonths[month], t.tm_year + 1900,
                  t.tm_hour, t.tm_min, t.tm_sec);
    return text;
}

bool ParseToastTime(std::string_view text, std::tm& t) {
    t = std::tm{};
    size_t pos = 0;
    int day = 0, year = 0, hour = 0, minute = 0, second = 0;
    if (!ReadNumber(text, pos, 2, day) || !Expect(text, pos, '-')) return false;
    if (text.size() - pos < 3) return false;
    int month = -1;
    for (int m = 0; m < 12; ++m) {
        bool same = true;
        for (int i = 0; i < 3; ++i)
            same = same && std::tolower(static_cast<unsigned char>(text[pos + i])) ==
                               std::tolower(static_cast<unsigned char>(kMonths[m][i]));
        if (same) month = m;
    }
    if (month < 0) return false;
    pos += 3;
    if (!Expect(text, pos, '-') || !ReadNumber(text, pos, 4, year) || !Expect(text, pos, ' ')) return false;
    if (!ReadNumber(text, pos, 2, hour) || !Expect(text, pos, ':') || !ReadNumber(text, pos, 2, minute) ||
        !Expect(text, pos, ':') || !ReadNumber(text, pos, 2, second) || pos != text.size())
        return false;
    // The ranges strftime's own reader accepts; a leap second included.
    if (day < 1 || day > 31 || hour > 23 || minute > 59 || second > 60) return false;
    t.tm_mday = day;
    t.tm_mon = month;
    t.tm_year = year - 1900;
    t.tm_hour = hour;
    t.tm_min = minute;
    t.tm_sec = second;
    return true;
}

}  // namespace qv
