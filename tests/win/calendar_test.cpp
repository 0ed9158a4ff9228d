// Calendar conversions: both directions against the C library's breakdown of the same second,
// over random instants and every month boundary of a 400-year cycle and of both ends of the
// range; the validity limits and their failures; variant times; the clock and the tick counter
// (milliseconds of the raw monotonic clock).
#include <platform/calendar.h>
#include <platform/last_error.h>

#include "support/time_records.h"

#include <gtest/gtest.h>

#include <time.h>

#include <chrono>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
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

// Every second of the range is Unix-representable: gmtime_r is the reference for the record,
// and the record, its weekday changed (it is never looked at), converts back to the ticks cut
// to the millisecond.
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
    st.wDayOfWeek = static_cast<std::uint16_t>(st.wDayOfWeek + 3);
    _FILETIME back{};
    ASSERT_EQ(zulwin::SystemTimeToFileTime(&st, &back), 1);
    ASSERT_EQ(Value(back), ticks - ticks % 10000) << Show(st);
}

} // namespace

TEST(Calendar, RandomInstantsAndEveryMonthBoundaryMatchTheCLibraryBothWays) {
    std::mt19937_64 rng(1601);
    std::uniform_int_distribution<std::uint64_t> any(0, kMax);
    for (int i = 0; i < 200000; ++i)
        ExpectBothWays(any(rng));
    // 2000 to 2399 is a whole cycle; the first and last cycles of the range close the ends
    // (tick 0 and kMax included).
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
    // Fails, with last error 87, and leaves the output alone.
    auto rejects = [](auto call, auto& out) {
        auto const before = out;
        zulwin::SetLastError(0);
        return call() == 0 && zulwin::GetLastError() == 87u &&
               std::memcmp(&before, &out, sizeof out) == 0;
    };
    for (const _SYSTEMTIME& st : bad) {
        EXPECT_FALSE(zulplatform::IsValidSystemTime(st)) << Show(st);
        _SYSTEMTIME in = st;
        _FILETIME ft{11, 22};
        double vt = 42.0;
        EXPECT_TRUE(rejects([&] { return zulwin::SystemTimeToFileTime(&in, &ft); }, ft));
        EXPECT_TRUE(rejects([&] { return zulwin::SystemTimeToVariantTime(&in, &vt); }, vt));
    }
    // The weekday is never looked at; 31 February passes the check and runs on into March.
    EXPECT_TRUE(zulplatform::IsValidSystemTime(with(2, 0xFFFF)));
    _SYSTEMTIME st{2023, 2, 0, 31, 0, 0, 0, 0};
    _FILETIME ft{};
    ASSERT_EQ(zulwin::SystemTimeToFileTime(&st, &ft), 1);
    EXPECT_EQ(Value(ft), TicksOf(2023, 3, 3));

    for (std::uint64_t v :
         {kMax + 1, std::uint64_t{0x8000000000000000}, std::numeric_limits<std::uint64_t>::max()}) {
        ft = FileTime(v);
        EXPECT_FALSE(zulplatform::IsValidFileTime(ft));
        EXPECT_TRUE(rejects([&] { return zulwin::FileTimeToSystemTime(&ft, &st); }, st)) << v;
    }
    EXPECT_TRUE(zulplatform::IsValidFileTime(FileTime(kMax)));
    EXPECT_EQ(zulplatform::GetMaxFileTime(), kMax);

    double const nan = std::numeric_limits<double>::quiet_NaN();
    double const inf = std::numeric_limits<double>::infinity();
    for (double vt : {nan, inf, -inf, 1e300, -1e300, 10565737.5, 10565737.000001, -109205.000001}) {
        EXPECT_FALSE(zulplatform::IsValidVariantTime(vt)) << vt;
        EXPECT_TRUE(rejects([&] { return zulwin::VariantTimeToSystemTime(vt, &st); }, st)) << vt;
    }

    // Null pointers, each on its own, with valid records elsewhere.
    st = good;
    ft = {};
    double vt = 0;
    for (auto call : std::initializer_list<std::function<int()>>{
             [&] { return zulwin::FileTimeToSystemTime(nullptr, &st); },
             [&] { return zulwin::FileTimeToSystemTime(&ft, nullptr); },
             [&] { return zulwin::SystemTimeToFileTime(nullptr, &ft); },
             [&] { return zulwin::SystemTimeToFileTime(&st, nullptr); },
             [&] { return zulwin::VariantTimeToSystemTime(1.0, nullptr); },
             [&] { return zulwin::SystemTimeToVariantTime(nullptr, &vt); },
             [&] { return zulwin::SystemTimeToVariantTime(&st, nullptr); }})
        EXPECT_TRUE(rejects(call, vt));
    zulwin::GetSystemTime(nullptr);
    zulwin::GetSystemTimeAsFileTime(nullptr);
}

TEST(Calendar, VariantTimeToSystemTime) {
    const std::pair<double, _SYSTEMTIME> cases[] = {
        {-1.25, {1899, 12, 5, 29, 6, 0, 0, 0}},      // the time of day stays a positive fraction
        {0.99999999, {1899, 12, 0, 31, 0, 0, 0, 0}}, // rounds into the next day
        {-109205.0, {1601, 1, 1, 1, 0, 0, 0, 0}},
        // The upper limit is one day past the last valid system time and is accepted.
        {10565737.0, {30828, 1, 6, 1, 0, 0, 0, 0}}};
    for (const auto& [vt, want] : cases) {
        _SYSTEMTIME st{};
        ASSERT_EQ(zulwin::VariantTimeToSystemTime(vt, &st), 1) << vt;
        EXPECT_TRUE(Same(st, want)) << vt << ": " << Show(st);
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

// Against timegm over random records (milliseconds dropped, 31 February and kin running on,
// linear before 1899-12-30 unlike the reverse direction).
TEST(Calendar, SystemTimeToVariantTime) {
    std::mt19937_64 rng(1899);
    auto pick = [&](int lo, int n) { return static_cast<std::uint16_t>(lo + rng() % n); };
    for (int i = 0; i < 20000; ++i) {
        _SYSTEMTIME st{pick(1601, 29227), pick(1, 12), 0,           pick(1, 31),
                       pick(0, 24),       pick(0, 60), pick(0, 60), pick(0, 1000)};
        tm b{st.wSecond, st.wMinute, st.wHour, st.wDay, st.wMonth - 1, st.wYear - 1900,
             0,          0,          0,        0,       nullptr};
        long long const t = timegm(&b);
        double const expected =
            static_cast<double>(t / 86400) + 25569.0 + static_cast<double>(t % 86400) / 86400.0;
        double vt = 0;
        ASSERT_EQ(zulwin::SystemTimeToVariantTime(&st, &vt), 1);
        ASSERT_EQ(vt, expected) << Show(st);
    }
    _SYSTEMTIME st{1899, 12, 0, 29, 6, 0, 0, 0};
    double vt = 0;
    ASSERT_EQ(zulwin::SystemTimeToVariantTime(&st, &vt), 1);
    EXPECT_EQ(vt, -0.75);
}

TEST(Calendar, SystemTimeIsTheCurrentUtcTime) {
    _SYSTEMTIME st{};
    _FILETIME ft{};
    // The precise clock: time() may lag behind it by a scheduler tick across a second boundary.
    timespec before{}, after{};
    clock_gettime(CLOCK_REALTIME, &before);
    zulwin::GetSystemTime(&st);
    zulwin::GetSystemTimeAsFileTime(&ft);
    clock_gettime(CLOCK_REALTIME, &after);
    EXPECT_TRUE(zulplatform::IsValidSystemTime(st));
    _FILETIME fromRecord{};
    ASSERT_EQ(zulwin::SystemTimeToFileTime(&st, &fromRecord), 1);
    long long const seconds = static_cast<long long>(Value(fromRecord) / 10000000) - 11644473600LL;
    EXPECT_GE(seconds, before.tv_sec);
    EXPECT_LE(seconds, after.tv_sec);
    EXPECT_EQ(Value(ft) % 10000, 0u); // to the millisecond
    EXPECT_GE(Value(ft), Value(fromRecord));
    EXPECT_LE(Value(ft) - Value(fromRecord), 2 * 10000000ull);
}

TEST(TickCount, FollowsTheRawMonotonicClockInMilliseconds) {
    timespec raw{};
    clock_gettime(CLOCK_MONOTONIC_RAW, &raw);
    const std::uint64_t before =
        static_cast<std::uint64_t>(raw.tv_sec) * 1000 + raw.tv_nsec / 1000000;
    const std::uint64_t first = zulwin::GetTickCount();
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    const std::uint64_t second = zulwin::GetTickCount();
    EXPECT_GE(first, before);
    EXPECT_LT(first - before, 1000u);
    EXPECT_GE(second - first, 30u);
    EXPECT_LT(second - first, 5000u);
}
