// UTC <-> local time of the process zone under several TZ settings: zones east and west of
// Greenwich with daylight saving, away from and next to their changes. Each case sets TZ and
// puts the earlier setting back.
#include <platform/last_error.h>
#include <platform/local_time.h>

#include "support/scoped_tz.h"
#include "support/time_records.h"

#include <gtest/gtest.h>

#include <tuple>

using namespace test_support;

// Next to a change the UTC-to-local direction reads the UTC fields as local standard time and
// takes an hour off when the result is in daylight time; the hour after the change to daylight
// time therefore comes out an hour early, on standard time. Kept as it always behaved.
TEST(LocalTime, BehaviourNextToChanges) {
    // {zone, record, to local time (else to UTC), the result}
    const std::tuple<const char*, _SYSTEMTIME, bool, _SYSTEMTIME> cases[] = {
        // Away from the changes both directions follow the zone (Berlin is two hours ahead in
        // summer, New York five behind in winter).
        {"Europe/Berlin", {2024, 7, 0, 1, 12, 5, 6, 7}, true, {2024, 7, 1, 1, 14, 5, 6, 7}},
        {"America/New_York", {2024, 1, 0, 31, 20, 0, 0, 9}, false, {2024, 2, 4, 1, 1, 0, 0, 9}},
        // Berlin changes at 01:00 UTC on 2024-03-31 (a Sunday).
        {"Europe/Berlin", {2024, 3, 0, 31, 1, 30, 0, 5}, true, {2024, 3, 0, 31, 1, 30, 0, 5}},
        // New York changes back at 06:00 UTC on 2024-11-03; west of Greenwich it is the hours
        // before the change back that come out early.
        {"America/New_York", {2024, 11, 0, 3, 2, 0, 0, 0}, true, {2024, 11, 6, 2, 21, 0, 0, 0}},
        // Local 02:30 does not exist in New York on 2024-03-10; mktime reads it as standard time.
        {"America/New_York", {2024, 3, 0, 10, 2, 30, 0, 0}, false, {2024, 3, 0, 10, 7, 30, 0, 0}}};
    for (const auto& [zone, in, toLocal, want] : cases) {
        ScopedTz scope(zone);
        _SYSTEMTIME out{};
        ASSERT_EQ(toLocal ? zulwin::SystemTimeToTzSpecificLocalTime(nullptr, &in, &out)
                          : zulwin::TzSpecificLocalTimeToSystemTime(nullptr, &in, &out),
                  1);
        EXPECT_TRUE(Same(out, want)) << zone << " " << Show(in) << " -> " << Show(out);
    }
}

// Any zone record of its own, or a null record, fails with error 87 and leaves the output.
TEST(LocalTime, OnlyTheProcessZoneAndRealRecordsAreAccepted) {
    _TIME_ZONE_INFORMATION zone{};
    _SYSTEMTIME const in{2024, 5, 1, 6, 7, 8, 9, 10}, marker{1, 2, 3, 4, 5, 6, 7, 8};
    for (auto fn :
         {zulwin::SystemTimeToTzSpecificLocalTime, zulwin::TzSpecificLocalTimeToSystemTime}) {
        _SYSTEMTIME out = marker;
        zulwin::SetLastError(0);
        EXPECT_TRUE(fn(&zone, &in, &out) == 0 && fn(nullptr, nullptr, &out) == 0);
        EXPECT_TRUE(zulwin::GetLastError() == 87u && Same(out, marker));
    }
}
