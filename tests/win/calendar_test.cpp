// Calendar conversions: both directions against the C library's breakdown of the same second,
// over random instants and every month boundary of a 400-year cycle and of both ends of the
// range; the validity limits and their failures; variant times.
#include <platform/calendar.h>
#include <platform/last_error.h>

#include "support/time_records.h"

#include <gtest/gtest.h>

#include <time.h>

#include <cmath>
#include <limits>
#include <random>

using namespace test_support;

namespace {

constexpr std::uint64_t kMax = 0x7FFF35F4F06C58F0;

// The ticks of a UTC calendar time through the C library (which normalises month 13).
std::uint64_t TicksOf(int y, int mo, int d) {
    tm b{};
    b.tm_year = y - 1900;
    b.tm_mon = mo - 1;
    b.tm_mday = d;
    return static_cast<std::uint64_t>(timegm(&b) + 11644473600LL) * 10000000;
}

// Every second of the range is Unix-representable: gmtime_r is the reference for the record,
// and the record converts back to the ticks cut to the millisecond.
void ExpectBothWays(std::uint64_t ticks) {
    time_t const t = static_cast<time_t>(ticks / 10000000) - 11644473600LL;
    tm broken{};
    ASSERT_NE(gmtime_r(&t, &broken), nullptr);
    _SYSTEMTIME const expected =
        Record(broken, static_cast<std::uint16_t>(ticks % 10000000 / 10000));
    _SYSTEMTIME st{};
    _FILETIME const in = FileTime(ticks);
    ASSERT_EQ(zulwin::FileTimeToSystemTime(&in, &st), 1) << ticks;
    ASSERT_TRUE(Same(st, expected)) << ticks << ": " << Show(st) << " vs " << Show(expected);
    _FILETIME back{};
    ASSERT_EQ(zulwin::SystemTimeToFileTime(&st, &back), 1);
    ASSERT_EQ(Value(back), ticks - ticks % 10000) << Show(st);
}

} // namespace

TEST(Calendar, RandomInstantsMatchTheCLibraryBothWays) {
    std::mt19937_64 rng(1601);
    std::uniform_int_distribution<std::uint64_t> any(0, kMax);
    for (int i = 0; i < 200000; ++i)
        ExpectBothWays(any(rng));
}

TEST(Calendar, EveryMonthBoundaryOfAFourHundredYearCycleBothWays) {
    // 2000 to 2399 is a whole cycle; the first and last cycles of the range close the ends.
    for (int first : {1601, 2000, 30428}) {
        for (int y = first; y < first + 400 && y <= 30827; ++y) {
            for (int m = 1; m <= 12; ++m) {
                std::uint64_t const start = TicksOf(y, m, 1);
                ExpectBothWays(start);
                ExpectBothWays(TicksOf(y, m + 1, 1) - 10000);
                if (start > 0)
                    ExpectBothWays(start - 1);
            }
        }
    }
}

TEST(Calendar, KnownDates) {
    struct Case {
        std::uint64_t ticks;
        _SYSTEMTIME st;
    } const cases[] = {
        {0, {1601, 1, 1, 1, 0, 0, 0, 0}}, // a Monday
        {kMax, {30827, 12, 5, 31, 23, 59, 59, 999}},
        {116444736000000000, {1970, 1, 4, 1, 0, 0, 0, 0}},
    };
    for (const Case& c : cases) {
        _SYSTEMTIME st{};
        _FILETIME const ft = FileTime(c.ticks);
        ASSERT_EQ(zulwin::FileTimeToSystemTime(&ft, &st), 1);
        EXPECT_TRUE(Same(st, c.st)) << Show(st);
        _FILETIME back{};
        _SYSTEMTIME in = c.st;
        in.wDayOfWeek = 6; // ignored
        ASSERT_EQ(zulwin::SystemTimeToFileTime(&in, &back), 1);
        EXPECT_EQ(Value(back), c.ticks);
    }
    // 1900-02-29 does not exist; 31 February passes the check and runs on into March.
    _SYSTEMTIME feb31{2023, 2, 0, 31, 0, 0, 0, 0};
    EXPECT_TRUE(zulplatform::IsValidSystemTime(feb31));
    _FILETIME ft{};
    ASSERT_EQ(zulwin::SystemTimeToFileTime(&feb31, &ft), 1);
    EXPECT_EQ(Value(ft), TicksOf(2023, 3, 3));
}

TEST(Calendar, InvalidInputFailsWithError87AndLeavesTheOutput) {
    _SYSTEMTIME const good{2024, 5, 1, 6, 7, 8, 9, 123};
    auto with = [&](int field, std::uint16_t v) {
        _SYSTEMTIME st = good;
        reinterpret_cast<std::uint16_t*>(&st)[field] = v;
        return st;
    };
    _SYSTEMTIME const bad[] = {with(0, 1600), with(0, 30828), with(1, 0),     with(1, 13),
                               with(3, 0),    with(3, 32),    with(4, 24),    with(5, 60),
                               with(6, 60),   with(7, 1000),  with(0, 0xFFFF)};
    _SYSTEMTIME const marker{1, 2, 3, 4, 5, 6, 7, 8};
    for (const _SYSTEMTIME& st : bad) {
        EXPECT_FALSE(zulplatform::IsValidSystemTime(st)) << Show(st);
        _SYSTEMTIME in = st;
        _FILETIME ft{11, 22};
        zulwin::SetLastError(0);
        EXPECT_EQ(zulwin::SystemTimeToFileTime(&in, &ft), 0);
        EXPECT_EQ(zulwin::GetLastError(), 87u);
        EXPECT_TRUE(ft.dwLowDateTime == 11 && ft.dwHighDateTime == 22);
        double vt = 42.0;
        zulwin::SetLastError(0);
        EXPECT_EQ(zulwin::SystemTimeToVariantTime(&in, &vt), 0);
        EXPECT_EQ(zulwin::GetLastError(), 87u);
        EXPECT_EQ(vt, 42.0);
    }
    // The weekday is never looked at.
    EXPECT_TRUE(zulplatform::IsValidSystemTime(with(2, 0xFFFF)));

    for (std::uint64_t v :
         {kMax + 1, std::uint64_t{0x8000000000000000}, std::numeric_limits<std::uint64_t>::max()}) {
        _FILETIME const ft = FileTime(v);
        EXPECT_FALSE(zulplatform::IsValidFileTime(ft));
        _SYSTEMTIME out = marker;
        zulwin::SetLastError(0);
        EXPECT_EQ(zulwin::FileTimeToSystemTime(&ft, &out), 0);
        EXPECT_EQ(zulwin::GetLastError(), 87u);
        EXPECT_TRUE(Same(out, marker));
    }
    EXPECT_TRUE(zulplatform::IsValidFileTime(FileTime(kMax)));
    EXPECT_EQ(zulplatform::GetMaxFileTime(), kMax);

    double const nan = std::numeric_limits<double>::quiet_NaN();
    double const inf = std::numeric_limits<double>::infinity();
    for (double vt : {nan, inf, -inf, 1e300, -1e300, 10565737.5, 10565737.000001, -109205.000001}) {
        EXPECT_FALSE(zulplatform::IsValidVariantTime(vt)) << vt;
        _SYSTEMTIME out = marker;
        zulwin::SetLastError(0);
        EXPECT_EQ(zulwin::VariantTimeToSystemTime(vt, &out), 0);
        EXPECT_EQ(zulwin::GetLastError(), 87u);
        EXPECT_TRUE(Same(out, marker));
    }

    // Null pointers.
    _SYSTEMTIME st = good;
    _FILETIME ft{};
    double vt = 0;
    zulwin::SetLastError(0);
    EXPECT_EQ(zulwin::FileTimeToSystemTime(nullptr, &st), 0);
    EXPECT_EQ(zulwin::FileTimeToSystemTime(&ft, nullptr), 0);
    EXPECT_EQ(zulwin::SystemTimeToFileTime(nullptr, &ft), 0);
    EXPECT_EQ(zulwin::SystemTimeToFileTime(&st, nullptr), 0);
    EXPECT_EQ(zulwin::VariantTimeToSystemTime(1.0, nullptr), 0);
    EXPECT_EQ(zulwin::SystemTimeToVariantTime(nullptr, &vt), 0);
    EXPECT_EQ(zulwin::SystemTimeToVariantTime(&st, nullptr), 0);
    EXPECT_EQ(zulwin::GetLastError(), 87u);
    zulwin::GetSystemTime(nullptr);
    zulwin::GetSystemTimeAsFileTime(nullptr);
}

TEST(Calendar, VariantTimeToSystemTime) {
    struct Case {
        double vt;
        _SYSTEMTIME st;
    } const cases[] = {
        {25569.5, {1970, 1, 4, 1, 12, 0, 0, 0}},
        {-1.25, {1899, 12, 5, 29, 6, 0, 0, 0}}, // the time of day stays a positive fraction
        {0.99999999, {1899, 12, 0, 31, 0, 0, 0, 0}},
        {-109205.0, {1601, 1, 1, 1, 0, 0, 0, 0}},
        // The upper limit is one day past the last valid system time and is accepted.
        {10565737.0, {30828, 1, 6, 1, 0, 0, 0, 0}},
        {0.0, {1899, 12, 6, 30, 0, 0, 0, 0}},
        {45418.2967592593, {2024, 5, 1, 6, 7, 7, 20, 0}},
    };
    for (const Case& c : cases) {
        _SYSTEMTIME st{};
        ASSERT_EQ(zulwin::VariantTimeToSystemTime(c.vt, &st), 1) << c.vt;
        EXPECT_TRUE(Same(st, c.st)) << c.vt << ": " << Show(st);
    }
    // Against the C library's breakdown of the same Unix seconds.
    std::mt19937_64 rng(30827);
    std::uniform_real_distribution<double> any(-109205.0, 10565737.0);
    for (int i = 0; i < 20000; ++i) {
        double const vt = any(rng);
        double const days = std::trunc(vt);
        time_t const t = (static_cast<long long>(days) - 25569) * 86400 +
                         static_cast<long long>(std::fabs(vt - days) * 86400.0 + 0.5);
        tm b{};
        ASSERT_NE(gmtime_r(&t, &b), nullptr);
        _SYSTEMTIME st{};
        ASSERT_EQ(zulwin::VariantTimeToSystemTime(vt, &st), 1);
        _SYSTEMTIME const expected = Record(b, 0);
        ASSERT_TRUE(Same(st, expected)) << vt << ": " << Show(st) << " vs " << Show(expected);
    }
}

TEST(Calendar, SystemTimeToVariantTime) {
    struct Case {
        _SYSTEMTIME st;
        double vt;
    } const cases[] = {
        {{1970, 1, 0, 1, 12, 0, 0, 999}, 25569.5}, // milliseconds are dropped
        {{1899, 12, 0, 29, 6, 0, 0, 0}, -0.75},    // linear, unlike the reverse direction
        {{1899, 12, 0, 30, 0, 0, 0, 0}, 0.0},         {{1601, 1, 0, 1, 0, 0, 0, 0}, -109205.0},
        {{30827, 12, 0, 31, 0, 0, 0, 0}, 10565736.0},
    };
    for (const Case& c : cases) {
        _SYSTEMTIME st = c.st;
        double vt = 0;
        ASSERT_EQ(zulwin::SystemTimeToVariantTime(&st, &vt), 1);
        EXPECT_DOUBLE_EQ(vt, c.vt) << Show(c.st);
    }
    // Against timegm over random records, 31 February and kin included.
    std::mt19937_64 rng(1899);
    for (int i = 0; i < 20000; ++i) {
        _SYSTEMTIME st{static_cast<std::uint16_t>(1601 + rng() % 29227),
                       static_cast<std::uint16_t>(1 + rng() % 12),
                       0,
                       static_cast<std::uint16_t>(1 + rng() % 31),
                       static_cast<std::uint16_t>(rng() % 24),
                       static_cast<std::uint16_t>(rng() % 60),
                       static_cast<std::uint16_t>(rng() % 60),
                       static_cast<std::uint16_t>(rng() % 1000)};
        tm b{};
        b.tm_year = st.wYear - 1900;
        b.tm_mon = st.wMonth - 1;
        b.tm_mday = st.wDay;
        b.tm_hour = st.wHour;
        b.tm_min = st.wMinute;
        b.tm_sec = st.wSecond;
        long long const t = timegm(&b);
        double const expected =
            static_cast<double>(t / 86400) + 25569.0 + static_cast<double>(t % 86400) / 86400.0;
        double vt = 0;
        ASSERT_EQ(zulwin::SystemTimeToVariantTime(&st, &vt), 1);
        ASSERT_EQ(vt, expected) << Show(st);
    }
}

TEST(Calendar, SystemTimeIsTheCurrentUtcTime) {
    _SYSTEMTIME st{};
    _FILETIME ft{};
    // The precise clock: time() may lag behind it by a scheduler tick across a second boundary.
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    time_t const before = now.tv_sec;
    zulwin::GetSystemTime(&st);
    zulwin::GetSystemTimeAsFileTime(&ft);
    clock_gettime(CLOCK_REALTIME, &now);
    time_t const after = now.tv_sec;
    EXPECT_TRUE(zulplatform::IsValidSystemTime(st));
    _FILETIME fromRecord{};
    ASSERT_EQ(zulwin::SystemTimeToFileTime(&st, &fromRecord), 1);
    long long const seconds = static_cast<long long>(Value(fromRecord) / 10000000) - 11644473600LL;
    EXPECT_GE(seconds, before);
    EXPECT_LE(seconds, after);
    EXPECT_EQ(Value(ft) % 10000, 0u); // to the millisecond
    EXPECT_GE(Value(ft), Value(fromRecord));
    EXPECT_LE(Value(ft) - Value(fromRecord), 2 * 10000000ull);
}
