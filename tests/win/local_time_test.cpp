// UTC <-> local time of the process zone under several TZ settings: zone files with and
// without daylight saving, POSIX rule strings, a half-hour zone. Each test sets TZ and puts the
// earlier setting back.
#include <platform/last_error.h>
#include <platform/local_time.h>

#include "support/scoped_tz.h"
#include "support/time_records.h"

#include <gtest/gtest.h>

#include <time.h>

#include <functional>
#include <random>
#include <string>
#include <tuple>

using namespace test_support;

namespace {

const char* const kCet = "CET-1CEST,M3.5.0,M10.5.0/3";
const char* const kEst = "EST5EDT,M3.2.0,M11.1.0";
const char* const kZones[] = {"UTC", "Europe/Berlin", "America/New_York", kCet,
                              kEst,  "Asia/Kolkata"};

// True when the offset is the same from half a day before t to half a day after (the standard
// offset plus the daylight hour, either way, is the reach of the correction).
bool FarFromAChange(time_t t) {
    tm a{}, b{}, c{};
    time_t const before = t - 12 * 3600, after = t + 12 * 3600;
    localtime_r(&before, &a);
    localtime_r(&t, &b);
    localtime_r(&after, &c);
    return a.tm_gmtoff == b.tm_gmtoff && b.tm_gmtoff == c.tm_gmtoff;
}

} // namespace

// Away from the changes of offset both directions agree with the C library's own breakdown.
TEST(LocalTime, AgreesWithTheZoneAwayFromChanges) {
    for (const char* zone : kZones) {
        test_support::ScopedTz scope(zone);
        std::mt19937_64 rng(std::hash<std::string>()(zone));
        std::uniform_int_distribution<time_t> instant(0, 2145916800); // 1970 to 2038
        int checked = 0;
        while (checked < 3000) {
            time_t const t = instant(rng);
            if (!FarFromAChange(t))
                continue;
            ++checked;
            std::uint16_t const ms = static_cast<std::uint16_t>(rng() % 1000);
            tm u{}, l{};
            gmtime_r(&t, &u);
            localtime_r(&t, &l);
            _SYSTEMTIME const utc = Record(u, ms), local = Record(l, ms);
            _SYSTEMTIME out{};
            ASSERT_EQ(zulwin::SystemTimeToTzSpecificLocalTime(nullptr, &utc, &out), 1);
            ASSERT_TRUE(Same(out, local)) << zone << " " << Show(utc) << " -> " << Show(out);
            ASSERT_EQ(zulwin::TzSpecificLocalTimeToSystemTime(nullptr, &local, &out), 1);
            ASSERT_TRUE(Same(out, utc)) << zone << " " << Show(local) << " -> " << Show(out);
        }
    }
}

// Next to a change the UTC-to-local direction reads the UTC fields as local standard time and
// takes an hour off when the result is in daylight time; the hour after the change to daylight
// time therefore comes out an hour early, on standard time. Kept as it always behaved.
TEST(LocalTime, BehaviourNextToChanges) {
    // {zone, record, to local time (else to UTC), the result}
    const std::tuple<const char*, _SYSTEMTIME, bool, _SYSTEMTIME> cases[] = {
        // In UTC the record stays as it was, but its weekday is computed: a Monday marked Saturday.
        {"UTC", {2024, 5, 6, 6, 7, 8, 9, 999}, true, {2024, 5, 1, 6, 7, 8, 9, 999}},
        {"UTC", {2024, 5, 6, 6, 7, 8, 9, 999}, false, {2024, 5, 1, 6, 7, 8, 9, 999}},
        // Berlin changes at 01:00 UTC on 2024-03-31 (a Sunday).
        {"Europe/Berlin", {2024, 3, 0, 31, 0, 59, 59, 5}, true, {2024, 3, 0, 31, 1, 59, 59, 5}},
        {"Europe/Berlin", {2024, 3, 0, 31, 1, 30, 0, 0}, true, {2024, 3, 0, 31, 1, 30, 0, 0}},
        {kCet, {2024, 3, 0, 31, 1, 30, 0, 0}, true, {2024, 3, 0, 31, 1, 30, 0, 0}},
        {"Europe/Berlin", {2024, 3, 0, 31, 2, 0, 0, 0}, true, {2024, 3, 0, 31, 4, 0, 0, 0}},
        // New York changes at 07:00 UTC on 2024-03-10 and back at 06:00 UTC on 2024-11-03;
        // west of Greenwich it is the hours before the change back that come out early.
        {"America/New_York", {2024, 3, 0, 10, 7, 30, 0, 0}, true, {2024, 3, 0, 10, 3, 30, 0, 0}},
        {"America/New_York", {2024, 11, 0, 3, 2, 0, 0, 0}, true, {2024, 11, 6, 2, 21, 0, 0, 0}},
        {kEst, {2024, 11, 0, 3, 2, 0, 0, 0}, true, {2024, 11, 6, 2, 21, 0, 0, 0}},
        // Local 02:30 does not exist in New York that night; mktime reads it as standard time.
        {"America/New_York", {2024, 3, 0, 10, 2, 30, 0, 0}, false, {2024, 3, 0, 10, 7, 30, 0, 0}},
        // A half-hour zone without daylight saving.
        {"Asia/Kolkata", {2024, 1, 0, 1, 0, 0, 0, 0}, true, {2024, 1, 1, 1, 5, 30, 0, 0}},
        {"Asia/Kolkata", {2024, 1, 1, 1, 5, 29, 59, 0}, false, {2023, 12, 0, 31, 23, 59, 59, 0}},
        // Fields are not validated: month 13 is January of the next year.
        {"Europe/Berlin", {2024, 13, 0, 1, 12, 0, 0, 0}, false, {2025, 1, 3, 1, 11, 0, 0, 0}}};
    for (const auto& [zone, in, toLocal, want] : cases) {
        test_support::ScopedTz scope(zone);
        _SYSTEMTIME out{};
        ASSERT_EQ(toLocal ? zulwin::SystemTimeToTzSpecificLocalTime(nullptr, &in, &out)
                          : zulwin::TzSpecificLocalTimeToSystemTime(nullptr, &in, &out),
                  1);
        EXPECT_TRUE(Same(out, want)) << zone << " " << Show(in) << " -> " << Show(out);
    }
}

TEST(LocalTime, OnlyTheProcessZoneAndRealRecordsAreAccepted) {
    _TIME_ZONE_INFORMATION zone{};
    _SYSTEMTIME const in{2024, 5, 1, 6, 7, 8, 9, 10};
    _SYSTEMTIME const marker{1, 2, 3, 4, 5, 6, 7, 8};
    using Fn = int (*)(_TIME_ZONE_INFORMATION*, const _SYSTEMTIME*, _SYSTEMTIME*);
    for (Fn fn : {Fn{zulwin::SystemTimeToTzSpecificLocalTime},
                  Fn{zulwin::TzSpecificLocalTimeToSystemTime}}) {
        _SYSTEMTIME out = marker;
        zulwin::SetLastError(0);
        EXPECT_EQ(fn(&zone, &in, &out), 0);
        EXPECT_EQ(zulwin::GetLastError(), 87u);
        EXPECT_TRUE(Same(out, marker));
        zulwin::SetLastError(0);
        EXPECT_EQ(fn(nullptr, nullptr, nullptr), 0);
        EXPECT_EQ(fn(nullptr, &in, nullptr), 0);
        EXPECT_EQ(fn(nullptr, nullptr, &out), 0);
        EXPECT_EQ(zulwin::GetLastError(), 87u);
        EXPECT_TRUE(Same(out, marker));
    }
}

// Whatever the C library makes of records out of every range comes back, without a crash.
TEST(LocalTime, UnvalidatedRecordsAreNormalised) {
    test_support::ScopedTz scope("Europe/Berlin");
    std::uint16_t const m = 65535;
    _SYSTEMTIME const odd[] = {{2024, 0, 0, 0, 0, 0, 0, 7}, {}, {m, m, m, m, m, m, m, m}};
    for (const _SYSTEMTIME& in : odd) {
        _SYSTEMTIME out{};
        EXPECT_EQ(zulwin::SystemTimeToTzSpecificLocalTime(nullptr, &in, &out), 1);
        EXPECT_EQ(out.wMilliseconds, in.wMilliseconds);
        EXPECT_EQ(zulwin::TzSpecificLocalTimeToSystemTime(nullptr, &in, &out), 1);
        EXPECT_EQ(out.wMilliseconds, in.wMilliseconds);
    }
}
