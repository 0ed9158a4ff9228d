// Date and time display forms of CTimeStamp, in the process's local time.
//
// The display settings are fixed (they are not taken from any locale); they are built on first
// use and built again after RefreshDateTimeFormat. Threads may build them at the same time:
// the settings live in one immutable object and only an atomic pointer to it is published or
// cleared, so a concurrent build just publishes the same object again.
#include <platform/safe_string.h>
#include <platform/time_stamp.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>

namespace zulplatform {

namespace {

struct DisplaySettings {
    int dateOrder; // 0 month-day-year, 1 day-month-year, 2 year-month-day
    char dateSeparator;
    char timeSeparator;
    char datePattern[32]; // a printf format for the three date numbers
    const char* amText;
    const char* pmText;
    bool hours24;
    bool hourLeadingZero;
    bool fourDigitYear;
    int dateWidth;
    int timeWidth;
};

// Digits shown for a field of the short date pattern: a doubled letter gives two, "yyyy" four.
int FieldDigits(const char* pattern, char letter) {
    const char* at = std::strchr(pattern, letter);
    int run = 0;
    while (at != nullptr && at[run] == letter)
        ++run;
    return run >= 4 ? 4 : run >= 2 ? 2 : 1;
}

DisplaySettings Build() {
    const char* const shortDate = "mm/dd/yy";
    DisplaySettings s{};
    s.dateSeparator = '/';
    s.timeSeparator = ':';
    s.amText = "AM";
    s.pmText = "PM";
    s.hours24 = false;
    s.hourLeadingZero = false;
    // The order follows whichever field letter comes first in the pattern.
    char const first = shortDate[0];
    s.dateOrder = first == 'm' ? 0 : first == 'd' ? 1 : 2;
    s.fourDigitYear = FieldDigits(shortDate, 'y') == 4;
    int digits[3];
    const char order[3][3] = {{'m', 'd', 'y'}, {'d', 'm', 'y'}, {'y', 'm', 'd'}};
    for (int i = 0; i < 3; ++i)
        digits[i] = FieldDigits(shortDate, order[s.dateOrder][i]);
    std::snprintf(s.datePattern, sizeof s.datePattern, "%%.%dd%c%%.%dd%c%%.%dd", digits[0],
                  s.dateSeparator, digits[1], s.dateSeparator, digits[2]);
    s.dateWidth = static_cast<int>(std::strlen(shortDate));
    s.timeWidth = static_cast<int>(std::max(std::strlen(s.amText), std::strlen(s.pmText))) + 6;
    return s;
}

std::atomic<const DisplaySettings*> g_settings{nullptr};

const DisplaySettings& Settings() {
    const DisplaySettings* s = g_settings.load(std::memory_order_acquire);
    if (s == nullptr) {
        static const DisplaySettings built = Build();
        s = &built;
        g_settings.store(s, std::memory_order_release);
    }
    return *s;
}

void FillWithHashes(char* buffer, unsigned long size) {
    std::memset(buffer, '#', size - 1);
    buffer[size - 1] = '\0';
}

} // namespace

void RefreshDateTimeFormat() {
    g_settings.store(nullptr, std::memory_order_release);
}

void CTimeStamp::FormatDate(char* buffer, unsigned long size) const {
    if (buffer == nullptr || size == 0)
        return;
    const DisplaySettings& s = Settings();
    _SYSTEMTIME const local = ConvertUtcToLocal(GetSystemTime());
    int const year = static_cast<int>(GetYearFromSystemTime(local, s.fourDigitYear));
    try {
        switch (s.dateOrder) {
        case 0:
            sprintf_s(buffer, size, s.datePattern, local.wMonth, local.wDay, year);
            break;
        case 1:
            sprintf_s(buffer, size, s.datePattern, local.wDay, local.wMonth, year);
            break;
        case 2:
            sprintf_s(buffer, size, s.datePattern, year, local.wMonth, local.wDay);
            break;
        default:
            sprintf_s(buffer, size, "%d/%02d/%02d", local.wMonth, local.wDay, year % 100);
            break;
        }
    } catch (...) {
        FillWithHashes(buffer, size);
    }
}

void CTimeStamp::FormatDate(zulwin::CString& out) const {
    char buffer[128] = {};
    FormatDate(buffer, 127);
    out = buffer;
}

void CTimeStamp::FormatTime(char* buffer, unsigned long size, bool withSeconds,
                            bool withMilliseconds, bool noRounding) const {
    if (buffer == nullptr || size == 0)
        return;
    const DisplaySettings& s = Settings();
    _SYSTEMTIME const local = ConvertUtcToLocal(GetSystemTime());
    int h = local.wHour;
    int m = local.wMinute;
    int sec = local.wSecond;
    int const ms = local.wMilliseconds;
    if (!withMilliseconds && !noRounding && ms >= 500 && ++sec == 60) {
        sec = 0;
        if (++m == 60) {
            m = 0;
            if (++h == 24)
                h = 0;
        }
    }
    int const shown = s.hours24 ? h : h >= 13 ? h - 12 : h == 0 ? 12 : h;
    char const c = s.timeSeparator;
    bool const zero = s.hourLeadingZero;
    try {
        if (withMilliseconds)
            sprintf_s(buffer, size, zero ? "%02d%c%02d%c%02d.%03d" : "%2d%c%02d%c%02d.%03d", shown,
                      c, m, c, sec, ms);
        else if (withSeconds)
            sprintf_s(buffer, size, zero ? "%02d%c%02d%c%02d" : "%2d%c%02d%c%02d", shown, c, m, c,
                      sec);
        else
            sprintf_s(buffer, size, zero ? "%02d%c%02d" : "%2d%c%02d", shown, c, m);
        if (!s.hours24) {
            strcat_s(buffer, size, " ");
            strcat_s(buffer, size, h < 12 ? s.amText : s.pmText);
        }
    } catch (...) {
        FillWithHashes(buffer, size);
    }
}

void CTimeStamp::FormatTime(zulwin::CString& out, bool withSeconds, bool withMilliseconds,
                            bool noRounding) const {
    char buffer[128] = {};
    FormatTime(buffer, 127, withSeconds, withMilliseconds, noRounding);
    out = buffer;
}

} // namespace zulplatform
