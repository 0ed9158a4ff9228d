// Proleptic Gregorian day arithmetic on signed 64-bit day counts from 1970-01-01.
#pragma once

#include <cstdint>

namespace zulplatform {

constexpr std::int64_t kSecondsPerDay = 86400;
// The Gregorian calendar repeats itself, weekdays included, every 400 years.
constexpr std::int64_t kSecondsPer400Years = 146097 * kSecondsPerDay;

constexpr bool _IsLeapYear(std::int64_t y) {
    return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0;
}

constexpr int _DaysInMonth(std::int64_t y, int m) {
    constexpr unsigned char days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return m == 2 && _IsLeapYear(y) ? 29 : days[m - 1];
}

// Days from 1970-01-01 to y-m-d; m 1 to 12, d may run past the month (it simply adds days).
// Valid for |y| below 2^40.
constexpr std::int64_t _DaysFromCivil(std::int64_t y, int m, int d) {
    y -= m <= 2;
    std::int64_t const era = (y >= 0 ? y : y - 399) / 400;
    std::int64_t const yoe = y - era * 400;
    std::int64_t const mp = (m + 9) % 12;
    std::int64_t const doy = (153 * mp + 2) / 5 + d - 1;
    std::int64_t const doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + doe - 719468;
}

struct _CivilDate {
    std::int64_t year;
    int month;
    int day;
};

constexpr _CivilDate _CivilFromDays(std::int64_t z) {
    z += 719468;
    std::int64_t const era = (z >= 0 ? z : z - 146096) / 146097;
    std::int64_t const doe = z - era * 146097;
    std::int64_t const yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    std::int64_t const doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    std::int64_t const mp = (5 * doy + 2) / 153;
    int const d = static_cast<int>(doy - (153 * mp + 2) / 5 + 1);
    int const m = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
    return {yoe + era * 400 + (m <= 2), m, d};
}

// 0 = Sunday.
constexpr int _WeekdayFromDays(std::int64_t z) {
    return static_cast<int>(z >= -4 ? (z + 4) % 7 : (z + 5) % 7 + 6);
}

constexpr std::int64_t _FloorDiv(std::int64_t a, std::int64_t b) {
    return a / b - (a % b != 0 && (a < 0) != (b < 0));
}

} // namespace zulplatform
