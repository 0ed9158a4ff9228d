// UTC <-> local time of the process zone under several TZ settings: zone files with and
// without daylight saving, a POSIX rule string, a half-hour zone. Each test sets TZ and puts
// the earlier setting back.
#include <platform/last_error.h>
#include <platform/local_time.h>

#include "support/scoped_tz.h"
#include "support/time_records.h"

#include <gtest/gtest.h>

#include <time.h>

#include <random>
#include <tuple>

using namespace test_support;

// Away from the changes of offset both directions agree with the C library's own breakdown.
TEST(LocalTime, AgreesWithTheZoneAwayFromChanges) {
    for (const char* zone :
         {"Europe/Berlin", "America/New_York", "EST5EDT,M3.2.0,M11.1.0", "Asia/Kolkata"}) {
        ScopedTz scope(zone);
        std::mt19937_64 rng(42);
        for (int i = 0; i < 3000; ++i) {
            time_t const t = static_cast<time_t>(rng() % 2145916800); // 1970 to 2038
            // The same offset from half a day before to half a day after: the reach of the
            // correction.
            tm u{}, l{}, a{}, b{};
            time_t const before = t - 43200, after = t + 43200;
            localtime_r(&before, &a);
            localtime_r(&after, &b);
            localtime_r(&t, &l);
            if (a.tm_gmtoff != l.tm_gmtoff || b.tm_gmtoff != l.tm_gmtoff)
                continue;
            gmtime_r(&t, &u);
            _SYSTEMTIME const utc = Record(u, i % 1000), local = Record(l, i % 1000);
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
        // Berlin changes at 01:00 UTC on 2024-03-31 (a Sunday).
        {"Europe/Berlin", {2024, 3, 0, 31, 0, 59, 59, 5}, true, {2024, 3, 0, 31, 1, 59, 59, 5}},
        {"Europe/Berlin", {2024, 3, 0, 31, 1, 30, 0, 0}, true, {2024, 3, 0, 31, 1, 30, 0, 0}},
        {"Europe/Berlin", {2024, 3, 0, 31, 2, 0, 0, 0}, true, {2024, 3, 0, 31, 4, 0, 0, 0}},
        // New York changes back at 06:00 UTC on 2024-11-03; west of Greenwich it is the hours
        // before the change back that come out early.
        {"America/New_York", {2024, 11, 0, 3, 2, 0, 0, 0}, true, {2024, 11, 6, 2, 21, 0, 0, 0}},
        // Local 02:30 does not exist in New York on 2024-03-10; mktime reads it as standard time.
        {"America/New_York", {2024, 3, 0, 10, 2, 30, 0, 0}, false, {2024, 3, 0, 10, 7, 30, 0, 0}},
        // Fields are not validated: month 13 is January of the next year.
        {"Europe/Berlin", {2024, 13, 0, 1, 12, 0, 0, 0}, false, {2025, 1, 3, 1, 11, 0, 0, 0}}};
    for (const auto& [zone, in, toLocal, want] : cases) {
        ScopedTz scope(zone);
        _SYSTEMTIME out{};
        ASSERT_EQ(toLocal ? zulwin::SystemTimeToTzSpecificLocalTime(nullptr, &in, &out)
                          : zulwin::TzSpecificLocalTimeToSystemTime(nullptr, &in, &out),
                  1);
        EXPECT_TRUE(Same(out, want)) << zone << " " << Show(in) << " -> " << Show(out);
    }
}

TEST(LocalTime, OnlyTheProcessZoneAndRealRecordsAreAccepted) {
    _TIME_ZONE_INFORMATION zone{};
    _SYSTEMTIME const in{2024, 5, 1, 6, 7, 8, 9, 10}, marker{1, 2, 3, 4, 5, 6, 7, 8};
    using Fn = int (*)(_TIME_ZONE_INFORMATION*, const _SYSTEMTIME*, _SYSTEMTIME*);
    for (Fn fn : {Fn{zulwin::SystemTimeToTzSpecificLocalTime},
                  Fn{zulwin::TzSpecificLocalTimeToSystemTime}}) {
        _SYSTEMTIME out = marker;
        for (auto [z, i, o] :
             {std::tuple{&zone, &in, &out}, {nullptr, nullptr, &out}, {nullptr, &in, nullptr}}) {
            zulwin::SetLastError(0);
            EXPECT_EQ(fn(z, i, o), 0);
            EXPECT_EQ(zulwin::GetLastError(), 87u);
        }
        EXPECT_TRUE(Same(out, marker));
    }
}
