// Time records for the calendar and time tests: FILETIME values both ways, SYSTEMTIME records
// built from fields or from a C library breakdown, compared byte for byte and shown as text.
#pragma once

#include <platform/calendar.h>

#include <time.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

namespace test_support {

inline _FILETIME FileTime(std::uint64_t ticks) {
    return {static_cast<std::uint32_t>(ticks), static_cast<std::uint32_t>(ticks >> 32)};
}

inline std::uint64_t Value(const _FILETIME& ft) {
    return static_cast<std::uint64_t>(ft.dwHighDateTime) << 32 | ft.dwLowDateTime;
}

// A record of the given fields and weekday.
inline _SYSTEMTIME Record(int y, int mo, int d, int h = 0, int mi = 0, int s = 0, int ms = 0,
                          int dow = 0) {
    auto u = [](int v) { return static_cast<std::uint16_t>(v); };
    return {u(y), u(mo), u(dow), u(d), u(h), u(mi), u(s), u(ms)};
}

// The record of a C library breakdown, its weekday included.
inline _SYSTEMTIME Record(const tm& b, int ms) {
    return Record(b.tm_year + 1900, b.tm_mon + 1, b.tm_mday, b.tm_hour, b.tm_min, b.tm_sec, ms,
                  b.tm_wday);
}

inline bool Same(const _SYSTEMTIME& a, const _SYSTEMTIME& b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

inline std::string Show(const _SYSTEMTIME& st) {
    char text[80];
    std::snprintf(text, sizeof text, "%u-%02u-%02u (dow %u) %02u:%02u:%02u.%03u", st.wYear,
                  st.wMonth, st.wDay, st.wDayOfWeek, st.wHour, st.wMinute, st.wSecond,
                  st.wMilliseconds);
    return text;
}

} // namespace test_support
