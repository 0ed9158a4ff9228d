// CTimeZone: every zone of the database and a set of POSIX rules against the C library, the wall
// time rules against Python's zoneinfo (a data file made by tools/gen_tz_fold_cases.py), name
// resolution, the Windows record and the conversion limits.
#include <platform/last_error.h>
#include <platform/time_zone.h>

#include "support/scoped_tz.h"
#include "support/scratch.h"
#include "support/time_records.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

using test_support::Record;
using zulplatform::CTimeStamp;

namespace {

constexpr std::int64_t kEpochTicks = 116444736000000000;
constexpr std::uint64_t kMaxTicks = 0x7FFF35F4F06C58F0;

CTimeStamp Stamp(std::uint64_t ticks) {
    return CTimeStamp(test_support::FileTime(ticks));
}
CTimeStamp Unix(std::int64_t seconds) {
    return Stamp(static_cast<std::uint64_t>(seconds * 10000000 + kEpochTicks));
}
std::int64_t UnixOf(const CTimeStamp& stamp) {
    return (static_cast<std::int64_t>(stamp.GetFileTime()) - kEpochTicks) / 10000000;
}
std::vector<std::string> ZoneNames() {
    std::vector<zulwin::CString> names;
    CTimeZone::GetZoneNames(names);
    std::vector<std::string> out;
    for (const zulwin::CString& name : names)
        out.emplace_back(name.GetString());
    return out;
}

} // namespace

TEST(TimeZone, EveryZoneAgreesWithTheCLibrary) {
    std::vector<std::string> zones = ZoneNames();
    ASSERT_GT(zones.size(), 400u);
    // POSIX rules, compared from 1971 (the C library reads any earlier year as 1970): southern,
    // daylight time below standard time, clamped offsets, changes overlapping the year's end or
    // coinciding, and no dates (the United States rule of 2007, from 2008 on).
    std::size_t const firstRule = zones.size();
    zones.insert(zones.end(),
                 {"<+0545>-5:45", "CET-1CEST,M3.5.0,M10.5.0/3", "NZST-12NZDT,M9.5.0,M4.1.0/3",
                  "IST-1GMT0,M10.5.0,M3.5.0/1", "<-03>3<-02>,M3.5.0/-2,M10.5.0/-1",
                  "AAA3BBB,J60/30,100/-20", "AAA+25BBB-30:99:99,J60/30,100/-167",
                  "XXX-2YYY,M3.5.4/26,M10.5.5/1", "EST5EDT,0/0,J365/25",
                  "AAA-10BBB-11,J1/-30,J365/40", "<EST>5<EDT>"});
    std::mt19937_64 rng(2024);
    for (std::size_t z = 0; z < zones.size(); ++z) {
        const std::string& name = zones[z];
        CTimeZone zone;
        ASSERT_TRUE(zone.Load(name.c_str())) << name;
        test_support::ScopedTz tz(name);
        std::int64_t const from = z < firstRule           ? -5364662400
                                  : name == "<EST>5<EDT>" ? 1199145600
                                                          : 31536000;
        std::uniform_int_distribution<std::int64_t> instants(from, 13569465600); // to 2400
        for (int i = 0; i < 1000; ++i) {
            time_t const t = static_cast<time_t>(instants(rng));
            struct tm tm;
            ASSERT_NE(localtime_r(&t, &tm), nullptr);
            CTimeStamp const utc = Unix(t);
            ASSERT_EQ(zone.GetUtcOffset(utc), tm.tm_gmtoff) << name << " " << t;
            ASSERT_STREQ(zone.GetAbbreviation(utc).GetString(), tm.tm_zone) << name << " " << t;
            CTimeStamp const local = zone.UtcToLocal(utc);
            ASSERT_EQ(UnixOf(local), t + tm.tm_gmtoff);
            // The wall time maps back to the instant under one fold, the earlier under fold 0.
            std::int64_t const u0 = UnixOf(zone.LocalToUtc(local, 0));
            std::int64_t const u1 = UnixOf(zone.LocalToUtc(local, 1));
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
    int zones = 0, cases = 0;
    while (std::getline(in, line)) {
        std::istringstream fields(line);
        std::int64_t wall, utc0, utc1;
        if (line.compare(0, 5, "zone ") == 0) {
            fields >> name >> name;
            ASSERT_TRUE(zone.Load(name.c_str())) << name;
            ++zones;
        } else if (fields >> wall >> utc0 >> utc1) {
            EXPECT_EQ(UnixOf(zone.LocalToUtc(Unix(wall), 0)), utc0) << name << " " << wall;
            EXPECT_EQ(UnixOf(zone.LocalToUtc(Unix(wall), 1)), utc1) << name << " " << wall;
            ++cases;
        }
    }
    EXPECT_EQ(zones, 12);
    EXPECT_GT(cases, 5000);
}

TEST(TimeZone, ResolvesNamesInOrder) {
    // The name loaded, then the zone's name and Windows id.
    std::pair<const char*, const char*> const cases[] = {
        {"w. europe STANDARD time", "Europe/Berlin|W. Europe Standard Time"},
        {"Asia/Calcutta", "Asia/Calcutta|India Standard Time"},
        {"UTC", "Etc/UTC|UTC"},
        {"Antarctica/Troll", "Antarctica/Troll|"},
        {"CET-1CEST,M3.5.0,M10.5.0/3", "CET-1CEST,M3.5.0,M10.5.0/3|"},
    };
    for (const auto& [load, expected] : cases) {
        CTimeZone zone;
        ASSERT_TRUE(zone.Load(load)) << load;
        EXPECT_EQ(std::string(zone.GetName().GetString()) + "|" + zone.GetWindowsId().GetString(),
                  expected);
    }
    EXPECT_STREQ(CTimeZone().GetName().GetString(), "Etc/UTC");
    // Zone files come from TZDIR when it is set; the list then holds its zone files, leaving out
    // the special ones at the top. Paths, directories, near misses, bad files and malformed rules
    // load nothing and keep the old zone.
    test_support::ScratchDir dir;
    std::ifstream src("/usr/share/zoneinfo/Europe/Paris", std::ios::binary);
    std::string const bytes((std::istreambuf_iterator<char>(src)), {});
    std::filesystem::create_directories(dir / "Mine/right");
    std::filesystem::create_directories(dir / "right");
    for (const char* file : {"Mine/Zone", "Mine/right/Deep", "right/Skipped", "posixrules"})
        std::ofstream(dir / file, std::ios::binary) << bytes;
    std::ofstream(dir / "Short", std::ios::binary) << bytes.substr(0, bytes.size() / 2);
    std::ofstream(dir / "Text", std::ios::binary) << "not a zone\n";
    setenv("TZDIR", dir.c_str(), 1);
    std::unique_ptr<const char, int (*)(const char*)> const unset("TZDIR", unsetenv);
    for (const char* name :
         {"", "/usr/share/zoneinfo/Europe/Berlin", "../zoneinfo/Europe/Berlin", "Mine/../Mine/Zone",
          "Mine/Zone ", "Mine\\Zone", "Europe/Berlin", "Mine", "Short", "Text",
          "EST5EDT,M3.2.0,M13.1.0", "posix/..", static_cast<const char*>(nullptr)}) {
        CTimeZone zone;
        ASSERT_TRUE(zone.Load("Mine/Zone"));
        EXPECT_FALSE(zone.Load(name)) << name;
        EXPECT_STREQ(zone.GetName().GetString(), "Mine/Zone") << name;
    }
    EXPECT_EQ(ZoneNames(), (std::vector<std::string>{"Mine/Zone", "Mine/right/Deep", "Short"}));
}

TEST(TimeZone, LocalFollowsTz) {
    std::pair<const char*, const char*> const cases[] = {
        {"", "Etc/UTC"},
        {":Europe/Berlin", "Europe/Berlin"},
        {"EST5EDT,M3.2.0,M11.1.0", "EST5EDT,M3.2.0,M11.1.0"},
        {"No/Such_Zone", "Etc/UTC"},
        {"/usr/share/zoneinfo/Europe/Paris", "Europe/Paris"},
    };
    for (const auto& [tz, name] : cases) {
        test_support::ScopedTz scoped(tz);
        EXPECT_STREQ(CTimeZone::Local().GetName().GetString(), name) << tz;
    }
    // Unset: /etc/localtime, named after its link target when that lies in the zone directory.
    test_support::ScopedTz scoped("");
    unsetenv("TZ");
    char target[4096] = {};
    std::string const prefix = "/usr/share/zoneinfo/";
    if (readlink("/etc/localtime", target, sizeof target - 1) > 0 &&
        std::string(target).compare(0, prefix.size(), prefix) == 0) {
        EXPECT_EQ(CTimeZone::Local().GetName().GetString(),
                  std::string(target).substr(prefix.size()));
    }
}

TEST(TimeZone, WindowsRecordAndDisplayName) {
    // The biases, the daylight and the standard date (Mmonth.week.weekday/hour), the two names
    // and the display name. Dublin's zone data makes winter the exception; the record does not.
    std::pair<const char*, const char*> const cases[] = {
        {"Australia/Sydney", "-600 0 -60 M10.1.0/2 M4.1.0/3 AUS Eastern Standard Time|AUS Eastern "
                             "Daylight Time|(UTC+10:00) Australia/Sydney"},
        {"Europe/Dublin", "0 0 -60 M3.5.0/1 M10.5.0/2 GMT Standard Time|GMT Daylight "
                          "Time|(UTC+00:00) Europe/Dublin"},
        {"Australia/Lord_Howe", "-630 0 -30 M10.1.0/2 M4.1.0/2 Lord Howe Standard Time|Lord Howe "
                                "Daylight Time|(UTC+10:30) Australia/Lord_Howe"},
        {"Asia/Kolkata", "-330 0 0 M0.0.0/0 M0.0.0/0 India Standard Time|India Daylight "
                         "Time|(UTC+05:30) Asia/Kolkata"},
        {"America/St_Johns", "210 0 -60 M3.2.0/2 M11.1.0/2 Newfoundland Standard "
                             "Time|Newfoundland Daylight Time|(UTC-03:30) America/St_Johns"},
        {"Antarctica/Troll", "0 0 -120 M3.5.0/1 M10.5.0/3 +00|+02|(UTC+00:00) Antarctica/Troll"},
    };
    auto text = [](const char16_t* s) {
        return std::string(s, s + std::char_traits<char16_t>::length(s));
    };
    for (const auto& [name, expected] : cases) {
        CTimeZone zone;
        ASSERT_TRUE(zone.Load(name)) << name;
        _TIME_ZONE_INFORMATION tzi;
        ASSERT_TRUE(zone.GetTimeZoneInformation(2024, tzi));
        const _SYSTEMTIME &d = tzi.DaylightDate, &s = tzi.StandardDate;
        char record[80];
        std::snprintf(record, sizeof record, "%d %d %d M%u.%u.%u/%u M%u.%u.%u/%u ", tzi.Bias,
                      tzi.StandardBias, tzi.DaylightBias, d.wMonth, d.wDay, d.wDayOfWeek, d.wHour,
                      s.wMonth, s.wDay, s.wDayOfWeek, s.wHour);
        EXPECT_EQ(record + text(tzi.StandardName) + "|" + text(tzi.DaylightName) + "|" +
                      zone.GetDisplayName().GetString(),
                  expected);
        EXPECT_EQ(d.wYear + s.wYear, 0) << name;
    }
    // Every Windows id loads a zone that has an id again (the same one unless shared).
    std::vector<zulwin::CString> ids;
    CTimeZone::GetWindowsIds(ids);
    ASSERT_GT(ids.size(), 100u);
    for (const zulwin::CString& id : ids) {
        CTimeZone zone;
        EXPECT_TRUE(zone.Load(id.GetString()) && !zone.GetWindowsId().IsEmpty()) << id.GetString();
    }
    _TIME_ZONE_INFORMATION tzi;
    EXPECT_FALSE(CTimeZone().GetTimeZoneInformation(1600, tzi));
    EXPECT_FALSE(CTimeZone().GetTimeZoneInformation(30828, tzi));
    zulwin::SetLastError(0);
    EXPECT_EQ(zulwin::GetTimeZoneInformation(nullptr), 0xFFFFFFFFu);
    EXPECT_EQ(zulwin::GetLastError(), 87u);
    test_support::ScopedTz tz("Asia/Tokyo");
    EXPECT_EQ(zulwin::GetTimeZoneInformation(&tzi), 0u);
    EXPECT_EQ(tzi.Bias, -540);
}

TEST(TimeZone, DaylightFlagAndTransitions) {
    struct Case {
        const char* zone;
        std::int64_t at;
        bool daylight;
    } const cases[] = {
        {"Europe/Dublin", 1719792000, true},     // 2024-07-01, IST
        {"Europe/Dublin", 1704067200, false},    // 2024-01-01, GMT
        {"Australia/Sydney", 1704067200, true},  // January is summer
        {"Asia/Kolkata", 1719792000, false},     // no change in the year
        {"Africa/Casablanca", 1710000000, true}, // 2024-03-09: +01 above the Ramadan +00
    };
    for (const Case& c : cases) {
        CTimeZone zone;
        ASSERT_TRUE(zone.Load(c.zone));
        EXPECT_EQ(zone.IsDaylightTime(Unix(c.at)), c.daylight) << c.zone << " " << c.at;
    }
    // Each reported change is one the zone makes, in order, with the values the zone gives at
    // it, and none is missed: checked at every quarter hour of the year. The rules and the last
    // three zones change on the first and last days of the valid years.
    for (const char* name : {"Australia/Lord_Howe", "Africa/Casablanca", "America/Sao_Paulo",
                             "Europe/Dublin", "AAA-10BBB-11,J1/-30,J365/40", "EST5EDT,0/0,J365/25",
                             "Pacific/Kiritimati", "America/Adak", "Europe/London"}) {
        CTimeZone zone;
        ASSERT_TRUE(zone.Load(name));
        for (int year : {1600, 1601, 1918, 2019, 2500, 30827}) {
            _TIME_ZONE_INFORMATION tzi{};
            EXPECT_EQ(zone.GetTimeZoneInformation(year, tzi), year > 1600) << name;
            EXPECT_TRUE(tzi.DaylightDate.wMonth <= 12 && tzi.StandardDate.wDay <= 5) << name;
            std::vector<CTimeZoneTransition> list;
            zone.GetTransitions(year, list);
            std::int64_t const from = UnixOf(CTimeStamp(Record(year, 1, 1)));
            std::int64_t const to = year < 30827 ? UnixOf(CTimeStamp(Record(year + 1, 1, 1)))
                                                 : UnixOf(Stamp(kMaxTicks)) + 1;
            std::size_t next = 0;
            std::int64_t previous = from - 900; // the last reported change
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
                bool const changed =
                    t != from &&
                    (zone.GetUtcOffset(Unix(t)) != zone.GetUtcOffset(Unix(t - 900)) ||
                     zone.GetAbbreviation(Unix(t)) != zone.GetAbbreviation(Unix(t - 900)));
                EXPECT_FALSE(changed && previous <= t - 900) << "unreported: " << name << " " << t;
            }
            EXPECT_EQ(next, list.size()) << name << " " << year;
        }
        // At the first instant a zone west of UTC saturates at 0, one east of it moves on.
        EXPECT_EQ(UnixOf(zone.UtcToLocal(Stamp(0))),
                  UnixOf(Stamp(0)) + std::max(0, zone.GetUtcOffset(Stamp(0))));
    }
}

TEST(TimeZone, RecordConversionsKeepToTheValidRange) {
    CTimeZone tokyo, honolulu;
    ASSERT_TRUE(tokyo.Load("Asia/Tokyo") && honolulu.Load("Pacific/Honolulu"));
    _SYSTEMTIME out = Record(1999, 9, 9);
    _SYSTEMTIME const untouched = out;
    zulwin::SetLastError(0);
    // Out of the valid years once moved, or invalid records: all fail with error 87.
    for (bool ok : {tokyo.UtcToLocal(Record(30827, 12, 31, 20), out),
                    tokyo.LocalToUtc(Record(1601, 1, 1, 3), out),
                    honolulu.UtcToLocal(Record(1601, 1, 1, 3), out),
                    tokyo.UtcToLocal(Record(2024, 13, 1), out),
                    tokyo.LocalToUtc(Record(2024, 1, 1, 24), out)})
        EXPECT_FALSE(ok);
    EXPECT_EQ(zulwin::GetLastError(), 87u);
    EXPECT_TRUE(test_support::Same(out, untouched));
    // 2024-02-29 23:30:00.999 UTC is Friday 2024-03-01 08:30 in Tokyo, and back.
    ASSERT_TRUE(tokyo.UtcToLocal(Record(2024, 2, 29, 23, 30, 0, 999), out));
    EXPECT_EQ(test_support::Show(out), "2024-03-01 (dow 5) 08:30:00.999");
    ASSERT_TRUE(tokyo.LocalToUtc(out, out));
    EXPECT_EQ(test_support::Show(out), "2024-02-29 (dow 4) 23:30:00.999");
    // Time stamps saturate at both ends, and keep their sub-second ticks.
    EXPECT_EQ(tokyo.UtcToLocal(Stamp(kMaxTicks)).GetFileTime(), kMaxTicks);
    EXPECT_EQ(tokyo.LocalToUtc(Stamp(0)).GetFileTime(), 0u);
    EXPECT_EQ(honolulu.UtcToLocal(Stamp(5)).GetFileTime(), 0u);
    EXPECT_EQ(honolulu.LocalToUtc(Stamp(kMaxTicks - 5)).GetFileTime(), kMaxTicks);
    EXPECT_EQ(tokyo.UtcToLocal(Stamp(kEpochTicks + 1234567)).GetFileTime(),
              static_cast<std::uint64_t>(kEpochTicks + 9 * 3600 * 10000000LL + 1234567));
}
