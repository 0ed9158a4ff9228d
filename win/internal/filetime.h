// FILETIME arithmetic: 100-nanosecond ticks since 1601-01-01 00:00:00 UTC.
#pragma once

#include <platform/calendar.h>

#include <cstdint>

namespace zulwin::filetime {

constexpr std::uint64_t kTicksPerMicrosecond = 10;
constexpr std::uint64_t kTicksPerMillisecond = 10000;
constexpr std::uint64_t kTicksPerSecond = 10000000;
constexpr std::uint64_t kTicksPerDay = 864000000000;
constexpr std::uint32_t kSecondsPerDay = 86400;
// The Unix epoch, 1970-01-01 00:00:00 UTC, in ticks.
constexpr std::uint64_t kUnixEpochTicks = 116444736000000000;
// Days from 1601-01-01 to 1970-01-01.
constexpr std::int64_t kUnixEpochDays = 134774;
// The largest valid value: 30827-12-31 23:59:59.999.
constexpr std::uint64_t kMaxFileTime = 0x7FFF35F4F06C58F0;
// Unix seconds from here on (3001-01-01 00:00:00 UTC), and all negative ones read as
// unsigned, stand for the largest valid value when a count of seconds is made a FILETIME.
constexpr std::uint64_t kFirstUnsupportedUnixSecond = 32535216000;
// The variant-time limits: 1601-01-01 and 30828-01-01 (one day past the last valid system
// time, kept for compatibility), as days since 1899-12-30.
constexpr double kMinVariantTime = -109205.0;
constexpr double kMaxVariantTime = 10565737.0;
// Day 0 of variant time is 1899-12-30; this is 1970-01-01.
constexpr std::int64_t kVariantUnixEpochDay = 25569;

constexpr std::uint64_t ToUInt64(const _FILETIME& ft) {
    return static_cast<std::uint64_t>(ft.dwHighDateTime) << 32 | ft.dwLowDateTime;
}

constexpr _FILETIME FromUInt64(std::uint64_t v) {
    return {static_cast<std::uint32_t>(v), static_cast<std::uint32_t>(v >> 32)};
}

constexpr bool IsValidSystemTime(const _SYSTEMTIME& st) {
    return st.wYear >= 1601 && st.wYear <= 30827 && st.wMonth >= 1 && st.wMonth <= 12 &&
           st.wDay >= 1 && st.wDay <= 31 && st.wHour <= 23 && st.wMinute <= 59 &&
           st.wSecond <= 59 && st.wMilliseconds <= 999;
}

// Day numbers count from 0000-03-01 inside the calendar arithmetic, so that the leap day is the
// last day of its year and every quotient is non-negative. 1601-01-01 is day 584694 there.
constexpr std::uint32_t kDay1601FromMarch0 = 584694;

struct CivilDate {
    std::uint32_t year;
    std::uint32_t month;
    std::uint32_t day;
};

// `days` since 1601-01-01, up to a little past 30827. Neri and Schneider's form of the
// computation: centuries, years and months come from multiplications and shifts, with a single
// true division per step, in 32-bit unsigned arithmetic (the 64-bit product is exact).
constexpr CivilDate CivilFromDays(std::uint32_t days) {
    std::uint32_t const n1 = 4 * (days + kDay1601FromMarch0) + 3;
    std::uint32_t const century = n1 / 146097;
    std::uint32_t const n2 = (n1 % 146097) | 3; // 4 * (day of the century) + 3
    std::uint64_t const p2 = std::uint64_t{2939745} * n2;
    auto const yearOfCentury = static_cast<std::uint32_t>(p2 >> 32);
    std::uint32_t const dayOfYear = static_cast<std::uint32_t>(p2) / 2939745 / 4; // from March
    std::uint32_t const n3 = 2141 * dayOfYear + 197913;
    std::uint32_t const month = n3 >> 16; // 3 to 14
    std::uint32_t const day = (n3 & 0xFFFF) / 2141 + 1;
    std::uint32_t const january = dayOfYear >= 306; // January and February end the year
    return {100 * century + yearOfCentury + january, january ? month - 12 : month, day};
}

// Days from 1601-01-01 to year-month-day; year at least 1601, month 1 to 12; a day past the
// month's end simply counts on.
constexpr std::uint32_t DaysFromCivil(std::uint32_t year, std::uint32_t month, std::uint32_t day) {
    std::uint32_t const y = year - (month <= 2);
    std::uint32_t const era = y / 400;
    std::uint32_t const yoe = y - era * 400;
    std::uint32_t const mp = month > 2 ? month - 3 : month + 9;
    std::uint32_t const doy = (153 * mp + 2) / 5 + day - 1;
    return era * 146097 + yoe * 365 + yoe / 4 - yoe / 100 + doy - kDay1601FromMarch0;
}

// The record of `ticks`, which must be at most kMaxFileTime (or a few days more).
constexpr _SYSTEMTIME SystemTimeFromTicks(std::uint64_t ticks) {
    std::uint64_t const seconds = ticks / kTicksPerSecond;
    auto const days = static_cast<std::uint32_t>(seconds / kSecondsPerDay);
    auto const sod = static_cast<std::uint32_t>(seconds - std::uint64_t{days} * kSecondsPerDay);
    auto const subsecond = static_cast<std::uint32_t>(ticks - seconds * kTicksPerSecond);
    CivilDate const date = CivilFromDays(days);
    // 1601-01-01 was a Monday.
    return {static_cast<std::uint16_t>(date.year),
            static_cast<std::uint16_t>(date.month),
            static_cast<std::uint16_t>((days + 1) % 7),
            static_cast<std::uint16_t>(date.day),
            static_cast<std::uint16_t>(sod / 3600),
            static_cast<std::uint16_t>(sod / 60 % 60),
            static_cast<std::uint16_t>(sod % 60),
            static_cast<std::uint16_t>(subsecond / kTicksPerMillisecond)};
}

// The ticks of a record that passes IsValidSystemTime; never above kMaxFileTime.
constexpr std::uint64_t TicksFromSystemTime(const _SYSTEMTIME& st) {
    std::uint64_t const days = DaysFromCivil(st.wYear, st.wMonth, st.wDay);
    std::uint64_t const seconds =
        days * kSecondsPerDay + st.wHour * 3600u + st.wMinute * 60u + st.wSecond;
    return seconds * kTicksPerSecond + st.wMilliseconds * kTicksPerMillisecond;
}

// The record of a Unix second in the range of years 1601 to 30828; milliseconds 0.
constexpr _SYSTEMTIME SystemTimeFromUnixSeconds(std::int64_t t) {
    return SystemTimeFromTicks(static_cast<std::uint64_t>(t + kUnixEpochDays * kSecondsPerDay) *
                               kTicksPerSecond);
}

} // namespace zulwin::filetime
