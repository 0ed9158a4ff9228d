// Calendar conversions: both directions against the C library's breakdown of the same second,
// over random instants and every month boundary of a 400-year cycle and of both ends of the
// range; the validity limits and their failures; variant times; the tick counter (milliseconds
// of the raw monotonic clock).
#include <platform/calendar.h>
#include <platform/last_error.h>

#include "support/time_records.h"

#include <gtest/gtest.h>

#include <time.h>

#include <chrono>
#include <cmath>
#include <cstring>
#include <random>
#include <thread>
#include <utility>

using namespace test_support;

namespace {

constexpr std::uint64_t kMax = 0x7FFF35F4F06C58F0; // 30827-12-31 23:59:59.999

// The ticks of a UTC calendar time through the C library (which normalises month 13).
std::uint64_t TicksOf(int y, int mo, int d) {
    tm b{0, 0, 0, d, mo - 1, y - 1900, 0, 0, 0, 0, nullptr};
    return static_cast<std::uint64_t>(timegm(&b) + 11644473600LL) * 10000000;
}

// gmtime_r is the reference for the record; the record converts back to the ticks cut to the
// millisecond.
void ExpectBothWays(std::uint64_t ticks) {
    time_t const t = static_cast<time_t>(ticks / 10000000) - 11644473600LL;
    tm broken{};
    _SYSTEMTIME st{};
    _FILETIME in = FileTime(ticks), back{};
    ASSERT_TRUE(gmtime_r(&t, &broken) && zulwin::FileTimeToSystemTime(&in, &st) == 1 &&
                Same(st, Record(broken, ticks % 10000000 / 10000)))
        << ticks << ": " << Show(st);
    ASSERT_TRUE(zulwin::SystemTimeToFileTime(&st, &back) == 1 &&
                Value(back) == ticks - ticks % 10000)
        << Show(st);
}

// Fails with last error 87 and leaves `out` alone.
template <class F, class T> bool Rejects(F call, const T& out) {
    T const before = out;
    zulwin::SetLastError(0);
    return call() == 0 && zulwin::GetLastError() == 87u &&
           std::memcmp(&before, &out, sizeof out) == 0;
}

} // namespace

TEST(Calendar, RandomInstantsAndEveryMonthBoundaryMatchTheCLibraryBothWays) {
    std::mt19937_64 rng(1601);
    for (int i = 0; i < 100000; ++i)
        ExpectBothWays(rng() % (kMax + 1));
    // 2000 to 2399 is a whole cycle; the first and last cycles of the range close the ends
    // (tick 0 included).
    for (int first : {1601, 2000, 30428})
        for (int y = first; y < first + 400 && y <= 30827; ++y)
            for (int m = 1; m <= 12; ++m) {
                ExpectBothWays(TicksOf(y, m, 1));
                ExpectBothWays(TicksOf(y, m, 1) - (y > 1601 || m > 1)); // the tick before
            }
}

TEST(Calendar, InvalidInputFailsWithError87AndLeavesTheOutput) {
    _SYSTEMTIME st{2024, 5, 1, 6, 7, 8, 9, 123};
    _FILETIME ft{11, 22};
    double vt = 42.0;
    // {field, value}: each field just outside its range.
    const std::pair<int, std::uint16_t> bad[] = {{0, 1600}, {0, 30828}, {1, 0},  {1, 13},
                                                 {3, 0},    {3, 32},    {4, 24}, {5, 60},
                                                 {6, 60},   {7, 1000}};
    for (auto [field, value] : bad) {
        _SYSTEMTIME in = st;
        reinterpret_cast<std::uint16_t*>(&in)[field] = value;
        EXPECT_TRUE(Rejects([&] { return zulwin::SystemTimeToFileTime(&in, &ft); }, ft));
        EXPECT_TRUE(Rejects([&] { return zulwin::SystemTimeToVariantTime(&in, &vt); }, vt));
    }
    _FILETIME const big = FileTime(kMax + 1);
    EXPECT_TRUE(Rejects([&] { return zulwin::FileTimeToSystemTime(&big, &st); }, st));
    for (double v : {std::nan(""), 10565737.000001, -109205.000001})
        EXPECT_TRUE(Rejects([&] { return zulwin::VariantTimeToSystemTime(v, &st); }, st)) << v;
    // A null input record with a valid output.
    EXPECT_TRUE(Rejects([&] { return zulwin::FileTimeToSystemTime(nullptr, &st); }, st));
    // The weekday is never looked at; 31 February passes the check and runs on into March.
    st = {2023, 2, 0xFFFF, 31, 0, 0, 0, 0};
    ASSERT_EQ(zulwin::SystemTimeToFileTime(&st, &ft), 1);
    EXPECT_EQ(Value(ft), TicksOf(2023, 3, 3));
}

// Rounded to the second, against the C library's breakdown of the same Unix seconds: both
// limits (the upper one a day past the last valid system time), a rounding into the next day,
// then random times.
TEST(Calendar, VariantTimeToSystemTime) {
    std::mt19937_64 rng(30827);
    std::uniform_real_distribution<double> any(-109205.0, 10565737.0);
    const double fixed[] = {-109205.0, 10565737.0, 0.99999999};
    for (int i = 0; i < 20000; ++i) {
        double const vt = i < 3 ? fixed[i] : any(rng), days = std::trunc(vt);
        time_t const t = (static_cast<long long>(days) - 25569) * 86400 +
                         static_cast<long long>(std::fabs(vt - days) * 86400.0 + 0.5);
        tm b{};
        ASSERT_NE(gmtime_r(&t, &b), nullptr);
        _SYSTEMTIME st{};
        ASSERT_TRUE(zulwin::VariantTimeToSystemTime(vt, &st) && Same(st, Record(b, 0))) << vt;
    }
}

// Against timegm over random records: milliseconds dropped, 31 February and kin running on,
// linear before 1899-12-30 unlike the reverse direction.
TEST(Calendar, SystemTimeToVariantTime) {
    std::mt19937_64 rng(1899);
    auto pick = [&](int lo, int n) { return static_cast<std::uint16_t>(lo + rng() % n); };
    for (int i = 0; i < 20000; ++i) {
        _SYSTEMTIME st{pick(1601, 29227), pick(1, 12), 0,           pick(1, 31),
                       pick(0, 24),       pick(0, 60), pick(0, 60), pick(0, 1000)};
        tm b{st.wSecond, st.wMinute, st.wHour, st.wDay, st.wMonth - 1, st.wYear - 1900,
             0,          0,          0,        0,       nullptr};
        long long const t = timegm(&b);
        double vt = 0, want = static_cast<double>(t / 86400) + 25569 + (t % 86400) / 86400.0;
        ASSERT_TRUE(zulwin::SystemTimeToVariantTime(&st, &vt) && vt == want) << Show(st);
    }
}

TEST(TickCount, FollowsTheRawMonotonicClockInMilliseconds) {
    timespec raw{};
    clock_gettime(CLOCK_MONOTONIC_RAW, &raw);
    const std::uint64_t first = zulwin::GetTickCount(),
                        before = raw.tv_sec * 1000ULL + raw.tv_nsec / 1000000;
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    const std::uint64_t second = zulwin::GetTickCount();
    EXPECT_TRUE(first >= before && first - before < 1000u) << first - before;
    EXPECT_TRUE(second - first >= 30u && second - first < 5000u) << second - first;
}
