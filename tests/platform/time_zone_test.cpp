// CTimeZone: every zone of the database and a set of POSIX rules against the C library, the wall
// time rules against Python's zoneinfo (a data file made by tools/gen_tz_fold_cases.py), name
// resolution, the Windows record and the conversion limits.
#include <platform/time_zone.h>

#include "support/scoped_tz.h"
#include "support/scratch.h"
#include "support/time_records.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <initializer_list>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

using test_support::Record;
using zulplatform::CTimeStamp;

namespace {

constexpr std::int64_t kEpochTicks = 116444736000000000;

CTimeStamp Stamp(std::uint64_t ticks) {
    return CTimeStamp(test_support::FileTime(ticks));
}
CTimeStamp Unix(std::int64_t seconds) {
    return Stamp(static_cast<std::uint64_t>(seconds * 10000000 + kEpochTicks));
}
std::int64_t UnixOf(const CTimeStamp& stamp) {
    return (static_cast<std::int64_t>(stamp.GetFileTime()) - kEpochTicks) / 10000000;
}

CTimeZone Zone(const std::string& name) {
    CTimeZone zone;
    EXPECT_TRUE(zone.Load(name.c_str())) << name;
    return zone;
}

} // namespace

TEST(TimeZone, EveryZoneAgreesWithTheCLibrary) {
    std::vector<zulwin::CString> names;
    CTimeZone::GetZoneNames(names);
    ASSERT_GT(names.size(), 400u);
    // POSIX rules, compared from 1971 (the C library reads any earlier year as 1970): southern,
    // daylight time below standard time, clamped offsets, changes overlapping the year's end or
    // coinciding, and no dates (the United States rule of 2007, from 2008 on).
    std::size_t const firstRule = names.size();
    for (const char* rule : {"<+0545>-5:45", "CET-1CEST,M3.5.0,M10.5.0/3",
                             "NZST-12NZDT,M9.5.0,M4.1.0/3", "IST-1GMT0,M10.5.0,M3.5.0/1",
                             "<-03>3<-02>,M3.5.0/-2,M10.5.0/-1", "AAA3BBB,J60/30,100/-20",
                             "AAA+25BBB-30:99:99,J60/30,100/-167", "XXX-2YYY,M3.5.4/26,M10.5.5/1",
                             "EST5EDT,0/0,J365/25", "AAA-10BBB-11,J1/-30,J365/40", "<EST>5<EDT>"})
        names.emplace_back(rule);
    std::mt19937_64 rng(2024);
    for (std::size_t z = 0; z < names.size(); ++z) {
        std::string const name = names[z].GetString();
        CTimeZone const zone = Zone(name);
        test_support::ScopedTz tz(name);
        std::int64_t const from = z < firstRule           ? -5364662400
                                  : name == "<EST>5<EDT>" ? 1199145600
                                                          : 31536000;
        std::uniform_int_distribution<std::int64_t> instants(from, 13569465600); // to 2400
        for (int i = 0; i < 1000; ++i) {
            time_t const t = static_cast<time_t>(instants(rng));
            struct tm tm;
            ASSERT_NE(localtime_r(&t, &tm), nullptr);
            CTimeStamp const utc = Unix(t), local = zone.UtcToLocal(utc);
            ASSERT_EQ(zone.GetUtcOffset(utc), tm.tm_gmtoff) << name << " " << t;
            ASSERT_STREQ(zone.GetAbbreviation(utc).GetString(), tm.tm_zone) << name << " " << t;
            ASSERT_EQ(UnixOf(local), t + tm.tm_gmtoff);
            // The wall time maps back to the instant under one fold, the earlier under fold 0.
            std::int64_t const u0 = UnixOf(zone.LocalToUtc(local, 0)),
                               u1 = UnixOf(zone.LocalToUtc(local, 1));
            ASSERT_TRUE(u0 <= u1 && (u0 == t || u1 == t)) << name << " " << t;
        }
    }
}

TEST(TimeZone, WallTimesResolveAsZoneinfoDoes) {
    std::string const file = __FILE__;
    std::ifstream in(file.substr(0, file.rfind('/')) + "/data/tz_fold_cases.txt");
    ASSERT_TRUE(in);
    std::string line, name;
    CTimeZone zone;
    int cases = 0;
    while (std::getline(in, line)) {
        std::istringstream fields(line);
        std::int64_t wall, utc0, utc1;
        if (line.compare(0, 5, "zone ") == 0) {
            fields >> name >> name;
            zone = Zone(name);
        } else if (fields >> wall >> utc0 >> utc1) {
            EXPECT_EQ(UnixOf(zone.LocalToUtc(Unix(wall), 0)), utc0) << name << " " << wall;
            EXPECT_EQ(UnixOf(zone.LocalToUtc(Unix(wall), 1)), utc1) << name << " " << wall;
            ++cases;
        }
    }
    EXPECT_GT(cases, 5000);
}

TEST(TimeZone, ResolvesNamesInOrder) {
    // The name loaded, then the zone's name and Windows id.
    for (auto [name, zoneName, id] :
         {std::tuple{"w. europe STANDARD time", "Europe/Berlin", "W. Europe Standard Time"},
          {"Asia/Calcutta", "Asia/Calcutta", "India Standard Time"},
          {"UTC", "Etc/UTC", "UTC"},
          {"CET-1CEST,M3.5.0,M10.5.0/3", "CET-1CEST,M3.5.0,M10.5.0/3", ""}}) {
        CTimeZone const zone = Zone(name);
        EXPECT_STREQ(zone.GetName().GetString(), zoneName);
        EXPECT_STREQ(zone.GetWindowsId().GetString(), id);
    }
    // Zone files come from TZDIR when it is set, and from there only. Names that would reach a
    // file through an absolute path or ".." load nothing and keep the zone.
    test_support::ScratchDir dir;
    std::filesystem::copy_file("/usr/share/zoneinfo/Europe/Paris", dir / "Zone");
    setenv("TZDIR", dir.c_str(), 1);
    std::unique_ptr<const char, int (*)(const char*)> const unset("TZDIR", unsetenv);
    CTimeZone zone = Zone("Zone");
    std::string const up = "../" + std::filesystem::path(dir.c_str()).filename().string() + "/Zone";
    for (const std::string& name : {std::string("/Zone"), up, std::string("Europe/Berlin")})
        EXPECT_FALSE(zone.Load(name.c_str())) << name;
    EXPECT_STREQ(zone.GetName().GetString(), "Zone");
}

TEST(TimeZone, LocalFollowsTz) {
    for (auto [tz, name] : {std::pair{":Europe/Berlin", "Europe/Berlin"},
                            {"/usr/share/zoneinfo/Europe/Paris", "Europe/Paris"}}) {
        test_support::ScopedTz scoped(tz);
        EXPECT_STREQ(CTimeZone::Local().GetName().GetString(), name);
    }
}

TEST(TimeZone, WindowsRecordAndDisplayName) {
    // The biases, the daylight and the standard date (Mmonth.week.weekday/hour), the daylight
    // name and the display name (the offset, then the name). Dublin's zone data makes winter the
    // exception; the record does not. A zone without a Windows id takes its abbreviations as names.
    for (auto [name, want] :
         {std::pair{"Australia/Sydney", "-600 -60 M10.1.0/2 M4.1.0/3 AUS Eastern Daylight "
                                        "Time|(UTC+10:00) Australia/Sydney"},
          {"Europe/Dublin", "0 -60 M3.5.0/1 M10.5.0/2 GMT Daylight Time|(UTC+00:00) Europe/Dublin"},
          {"Asia/Kolkata", "-330 0 M0.0.0/0 M0.0.0/0 India Daylight Time|(UTC+05:30) Asia/Kolkata"},
          {"Antarctica/Troll", "0 -120 M3.5.0/1 M10.5.0/3 +02|(UTC+00:00) Antarctica/Troll"}}) {
        CTimeZone const zone = Zone(name);
        _TIME_ZONE_INFORMATION tzi;
        EXPECT_TRUE(zone.GetTimeZoneInformation(2024, tzi));
        const _SYSTEMTIME &d = tzi.DaylightDate, &s = tzi.StandardDate;
        char record[80];
        std::snprintf(record, sizeof record, "%d %d M%u.%u.%u/%u M%u.%u.%u/%u ", tzi.Bias,
                      tzi.DaylightBias, d.wMonth, d.wDay, d.wDayOfWeek, d.wHour, s.wMonth, s.wDay,
                      s.wDayOfWeek, s.wHour);
        std::u16string const daylight = tzi.DaylightName;
        EXPECT_EQ(record + std::string(daylight.begin(), daylight.end()) + "|" +
                      zone.GetDisplayName().GetString(),
                  want);
    }
}

TEST(TimeZone, DaylightFlagAndTransitions) {
    // Each reported change is one the zone makes, in order, with the values the zone gives at
    // it, and none is missed; daylight time is an offset above the smallest of that UTC year
    // (Dublin's summer too, though its zone data marks winter as the exception; London's early
    // 1971 against 1971's own smallest): checked at every quarter hour of the year. The rules and
    // the last three zones change on the first and last days of the valid years.
    for (const char* name : {"Australia/Lord_Howe", "Africa/Casablanca", "America/Sao_Paulo",
                             "Europe/Dublin", "AAA-10BBB-11,J1/-30,J365/40", "EST5EDT,0/0,J365/25",
                             "Pacific/Kiritimati", "America/Adak", "Europe/London"}) {
        CTimeZone const zone = Zone(name);
        for (int year : {1600, 1601, 1918, 1971, 2019, 2500, 30827}) {
            _TIME_ZONE_INFORMATION tzi{};
            EXPECT_EQ(zone.GetTimeZoneInformation(year, tzi), year > 1600) << name;
            EXPECT_TRUE(tzi.DaylightDate.wMonth <= 12 && tzi.StandardDate.wDay <= 5) << name;
            std::vector<CTimeZoneTransition> list;
            zone.GetTransitions(year, list);
            std::int64_t const from = UnixOf(CTimeStamp(Record(year, 1, 1)));
            std::int64_t const to = year < 30827 ? UnixOf(CTimeStamp(Record(year + 1, 1, 1)))
                                                 : UnixOf(Stamp(~0ULL)) + 1;
            std::int32_t least = zone.GetUtcOffset(Unix(from));
            for (const CTimeZoneTransition& c : list)
                least = std::min(least, c.offset);
            std::size_t next = 0;
            std::int64_t previous = from - 900; // the last reported change
            auto changed = [&](std::int64_t t) {
                return zone.GetUtcOffset(Unix(t)) != zone.GetUtcOffset(Unix(t - 900)) ||
                       zone.GetAbbreviation(Unix(t)) != zone.GetAbbreviation(Unix(t - 900));
            };
            for (std::int64_t t = from; t < to; t += 900) {
                for (; next < list.size() && UnixOf(list[next].at) <= t; ++next) {
                    const CTimeZoneTransition& c = list[next];
                    EXPECT_GT(UnixOf(c.at), previous) << name << " " << year;
                    previous = UnixOf(c.at);
                    EXPECT_TRUE(zone.GetUtcOffset(c.at) == c.offset &&
                                zone.IsDaylightTime(c.at) == c.daylight &&
                                zone.GetAbbreviation(c.at) == c.abbreviation)
                        << name << " " << previous;
                }
                EXPECT_FALSE(t != from && previous <= t - 900 && changed(t))
                    << "unreported: " << name << " " << t;
                EXPECT_EQ(zone.IsDaylightTime(Unix(t)), zone.GetUtcOffset(Unix(t)) > least) << t;
            }
            EXPECT_EQ(next, list.size()) << name << " " << year;
        }
        // At the first instant a zone west of UTC saturates at 0, one east of it moves on.
        EXPECT_EQ(UnixOf(zone.UtcToLocal(Stamp(0))),
                  UnixOf(Stamp(0)) + std::max(0, zone.GetUtcOffset(Stamp(0))));
    }
}

TEST(TimeZone, RecordConversionsKeepToTheValidRange) {
    CTimeZone const tokyo = Zone("Asia/Tokyo");
    // Out of the valid years once moved, or an invalid record: no result, the output untouched.
    _SYSTEMTIME out = Record(1999, 9, 9);
    EXPECT_FALSE(tokyo.UtcToLocal(Record(30827, 12, 31, 20), out) ||
                 tokyo.LocalToUtc(Record(2024, 1, 1, 24), out));
    EXPECT_TRUE(test_support::Same(out, Record(1999, 9, 9)));
    // 2024-02-29 23:30:00.999 UTC is Friday 2024-03-01 08:30 in Tokyo.
    ASSERT_TRUE(tokyo.UtcToLocal(Record(2024, 2, 29, 23, 30, 0, 999), out));
    EXPECT_TRUE(test_support::Same(out, Record(2024, 3, 1, 8, 30, 0, 999, 5)));
}
