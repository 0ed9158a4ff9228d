// UTC <-> local time of the process zone under several TZ settings: zones east and west of
// Greenwich with daylight saving. Each test sets TZ and puts the earlier setting back.
#include <platform/last_error.h>
#include <platform/local_time.h>

#include "support/scoped_tz.h"
#include "support/time_records.h"

#include <gtest/gtest.h>

#include <time.h>

#include <tuple>

using namespace test_support;

// Away from the changes of offset both directions agree with the C library's own breakdown:
// on the 15th of every month from 1971 to 2037, at every hour of the day in turn. Neither zone
// changes its offset within a day of a 15th in these years.
TEST(LocalTime, AgreesWithTheZoneAwayFromChanges) {
    for (const char* zone : {"Europe/Berlin", "America/New_York"}) {
        ScopedTz scope(zone);
        for (int i = 0; i < 12 * 67; ++i) {
            tm u{i % 60, i % 59, i % 24, 15, i % 12, 71 + i / 12, 0, 0, 0, 0, nullptr}, l{};
            time_t const t = timegm(&u);
            localtime_r(&t, &l);
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
        // Berlin changes at 01:00 UTC on 2024-03-31 (a Sunday).
        {"Europe/Berlin", {2024, 3, 0, 31, 1, 30, 0, 5}, true, {2024, 3, 0, 31, 1, 30, 0, 5}},
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
        EXPECT_EQ(fn(nullptr, nullptr, &out), 0);
        zulwin::SetLastError(0);
        EXPECT_EQ(fn(&zone, &in, &out), 0); // any zone record of its own
        EXPECT_EQ(zulwin::GetLastError(), 87u);
        EXPECT_TRUE(Same(out, marker));
    }
}
