// CTimeZone: every zone of the database against the C library in child processes, the wall
// time rules against Python's zoneinfo (a data file made by tools/gen_tz_fold_cases.py), and
// name resolution, the Windows record and the conversion limits.
#include <platform/last_error.h>
#include <platform/time_zone.h>

#include "support/scratch.h"
#include "support/time_records.h"

#include <gtest/gtest.h>

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <optional>
#include <random>
#include <sstream>
#include <string>
#include <vector>

using test_support::Record;
using zulplatform::CTimeStamp;

namespace {

constexpr std::int64_t kEpochTicks = 116444736000000000;
constexpr std::int64_t kTicksPerSecond = 10000000;
constexpr std::uint64_t kMaxTicks = 0x7FFF35F4F06C58F0;

CTimeStamp Stamp(std::uint64_t ticks) {
    return CTimeStamp(test_support::FileTime(ticks));
}
CTimeStamp Unix(std::int64_t seconds) {
    return Stamp(static_cast<std::uint64_t>(seconds * kTicksPerSecond + kEpochTicks));
}
std::int64_t UnixOf(const CTimeStamp& stamp) {
    return (static_cast<std::int64_t>(stamp.GetFileTime()) - kEpochTicks) / kTicksPerSecond;
}

std::string Utf8(const char16_t* s) {
    std::string out;
    for (; *s != 0; ++s)
        out += static_cast<char>(*s);
    return out;
}

// Sets or clears an environment variable for the life of the object.
struct ScopedEnv {
    ScopedEnv(const char* name, const char* value) : name(name) {
        if (const char* const was = std::getenv(name))
            old = was;
        value != nullptr ? setenv(name, value, 1) : unsetenv(name);
    }
    ~ScopedEnv() { old ? setenv(name.c_str(), old->c_str(), 1) : unsetenv(name.c_str()); }
    std::string name;
    std::optional<std::string> old;
};

struct CLibraryReading {
    long offset;
    char abbr[16];
};

// localtime_r under TZ=`zone` for each instant, computed in a child process (writing to shared
// memory) so that this process's zone state stays untouched.
std::vector<CLibraryReading> ReadInChild(const std::string& zone,
                                         const std::vector<std::int64_t>& instants) {
    std::size_t const bytes = instants.size() * sizeof(CLibraryReading);
    void* const shared =
        mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (shared == MAP_FAILED)
        return {};
    auto* const readings = static_cast<CLibraryReading*>(shared);
    pid_t const pid = fork();
    if (pid == 0) {
        setenv("TZ", zone.c_str(), 1);
        tzset();
        for (std::size_t i = 0; i < instants.size(); ++i) {
            time_t const t = static_cast<time_t>(instants[i]);
            struct tm tm;
            readings[i] = CLibraryReading{};
            if (localtime_r(&t, &tm) != nullptr) {
                readings[i].offset = tm.tm_gmtoff;
                std::strncpy(readings[i].abbr, tm.tm_zone, sizeof readings[i].abbr - 1);
            }
        }
        _exit(0);
    }
    int status = 0;
    waitpid(pid, &status, 0);
    std::vector<CLibraryReading> out(readings, readings + instants.size());
    munmap(shared, bytes);
    if (pid < 0 || !WIFEXITED(status) || WEXITSTATUS(status) != 0)
        return {};
    return out;
}

} // namespace

TEST(TimeZone, EveryZoneAgreesWithTheCLibrary) {
    std::vector<zulwin::CString> names;
    CTimeZone::GetZoneNames(names);
    ASSERT_GT(names.size(), 400u);
    std::mt19937_64 rng(2024);
    // 1800-01-01 to 2400-01-01.
    std::uniform_int_distribution<std::int64_t> instants(-5364662400, 13569465600);
    for (const zulwin::CString& name : names) {
        CTimeZone zone;
        ASSERT_TRUE(zone.Load(name.GetString())) << name.GetString();
        std::vector<std::int64_t> at(2000);
        for (std::int64_t& t : at)
            t = instants(rng);
        std::vector<CLibraryReading> const expected = ReadInChild(name.GetString(), at);
        ASSERT_EQ(expected.size(), at.size()) << name.GetString();
        for (std::size_t i = 0; i < at.size(); ++i) {
            CTimeStamp const utc = Unix(at[i]);
            ASSERT_EQ(zone.GetUtcOffset(utc), expected[i].offset)
                << name.GetString() << " " << at[i];
            ASSERT_EQ(std::string(zone.GetAbbreviation(utc).GetString()), expected[i].abbr)
                << name.GetString() << " " << at[i];
            ASSERT_EQ(UnixOf(zone.UtcToLocal(utc)), at[i] + expected[i].offset);
        }
    }
}

TEST(TimeZone, WallTimesResolveAsZoneinfoDoes) {
    std::string const path = std::string(__FILE__).substr(0, std::string(__FILE__).rfind('/')) +
                             "/data/tz_fold_cases.txt";
    std::ifstream in(path);
    ASSERT_TRUE(in) << path;
    std::string line;
    CTimeZone zone;
    std::string name;
    int zones = 0, cases = 0;
    while (std::getline(in, line)) {
        if (line.empty() || line[0] == '#')
            continue;
        std::istringstream fields(line);
        if (line.compare(0, 5, "zone ") == 0) {
            fields >> name >> name;
            ASSERT_TRUE(zone.Load(name.c_str())) << name;
            ++zones;
            continue;
        }
        std::int64_t wall, utc0, utc1;
        ASSERT_TRUE(fields >> wall >> utc0 >> utc1) << line;
        EXPECT_EQ(UnixOf(zone.LocalToUtc(Unix(wall), 0)), utc0) << name << " " << wall;
        EXPECT_EQ(UnixOf(zone.LocalToUtc(Unix(wall), 1)), utc1) << name << " " << wall;
        // The record form agrees with the time stamp form.
        _SYSTEMTIME const local = Unix(wall).GetSystemTime();
        _SYSTEMTIME out{};
        ASSERT_TRUE(zone.LocalToUtc(local, out, 1));
        EXPECT_EQ(UnixOf(CTimeStamp(out)), utc1) << name << " " << wall;
        ++cases;
    }
    EXPECT_EQ(zones, 12);
    EXPECT_GT(cases, 5000);
}

TEST(TimeZone, ResolvesNamesInOrder) {
    struct Case {
        const char* load;
        const char* name;
        const char* windowsId;
    };
    Case const cases[] = {
        {"W. Europe Standard Time", "Europe/Berlin", "W. Europe Standard Time"},
        {"w. europe STANDARD time", "Europe/Berlin", "W. Europe Standard Time"},
        {"India Standard Time", "Asia/Kolkata", "India Standard Time"},
        {"Asia/Calcutta", "Asia/Calcutta", "India Standard Time"},
        {"Asia/Kolkata", "Asia/Kolkata", "India Standard Time"},
        {"US/Eastern", "US/Eastern", "Eastern Standard Time"},
        {"Europe/Kiev", "Europe/Kiev", "FLE Standard Time"},
        {"UTC", "Etc/UTC", "UTC"},
        {"Etc/GMT-14", "Etc/GMT-14", "Line Islands Standard Time"},
        {"Antarctica/Troll", "Antarctica/Troll", ""},
        {"CET-1CEST,M3.5.0,M10.5.0/3", "CET-1CEST,M3.5.0,M10.5.0/3", ""},
        {"<+0330>-3:30", "<+0330>-3:30", ""},
    };
    for (const Case& c : cases) {
        CTimeZone zone;
        ASSERT_TRUE(zone.Load(c.load)) << c.load;
        EXPECT_STREQ(zone.GetName().GetString(), c.name) << c.load;
        EXPECT_STREQ(zone.GetWindowsId().GetString(), c.windowsId) << c.load;
    }
    // Paths, directories, near misses and malformed rules load nothing and keep the old zone.
    for (const char* name :
         {"", "/usr/share/zoneinfo/Europe/Berlin", "../zoneinfo/Europe/Berlin",
          "Europe/../Europe/Berlin", "Europe/Berlin ", "Europe\\Berlin", "No/Such_Zone", "Europe",
          "EST5EDT,M3.2.0,M13.1.0", "posix/..", static_cast<const char*>(nullptr)}) {
        CTimeZone zone;
        ASSERT_TRUE(zone.Load("Asia/Tokyo"));
        EXPECT_FALSE(zone.Load(name)) << name;
        EXPECT_STREQ(zone.GetName().GetString(), "Asia/Tokyo") << name;
    }
    EXPECT_STREQ(CTimeZone().GetName().GetString(), "Etc/UTC");
}

TEST(TimeZone, ZoneDirectoryComesFromTzdirAndBadFilesAreRefused) {
    test_support::ScratchDir dir;
    std::ifstream src("/usr/share/zoneinfo/Europe/Paris", std::ios::binary);
    std::string const bytes((std::istreambuf_iterator<char>(src)), {});
    ASSERT_GT(bytes.size(), 100u);
    std::filesystem::create_directories(dir / "Mine/right");
    std::filesystem::create_directories(dir / "right");
    std::ofstream(dir / "Mine/Zone", std::ios::binary) << bytes;
    std::ofstream(dir / "Mine/right/Deep", std::ios::binary) << bytes;
    std::ofstream(dir / "right/Skipped", std::ios::binary) << bytes;
    std::ofstream(dir / "posixrules", std::ios::binary) << bytes;
    std::ofstream(dir / "Short", std::ios::binary) << bytes.substr(0, bytes.size() / 2);
    std::ofstream(dir / "Text", std::ios::binary) << "not a zone\n";
    ScopedEnv tzdir("TZDIR", dir.c_str());
    CTimeZone zone;
    EXPECT_TRUE(zone.Load("Mine/Zone"));
    EXPECT_EQ(zone.GetUtcOffset(Unix(1719792000)), 7200); // 2024-07-01
    EXPECT_FALSE(zone.Load("Short"));
    EXPECT_FALSE(zone.Load("Text"));
    EXPECT_FALSE(zone.Load("Europe/Berlin"));
    EXPECT_STREQ(zone.GetName().GetString(), "Mine/Zone");
    // Without tzdata.zi the list is every zone file, leaving out the special ones at the top.
    std::vector<zulwin::CString> names;
    CTimeZone::GetZoneNames(names);
    std::vector<std::string> got;
    for (const zulwin::CString& n : names)
        got.emplace_back(n.GetString());
    EXPECT_EQ(got, (std::vector<std::string>{"Mine/Zone", "Mine/right/Deep", "Short"}));
}

TEST(TimeZone, ListsAreSortedAndComplete) {
    std::vector<zulwin::CString> names, ids;
    CTimeZone::GetZoneNames(names);
    CTimeZone::GetWindowsIds(ids);
    for (auto* list : {&names, &ids}) {
        ASSERT_FALSE(list->empty());
        for (std::size_t i = 1; i < list->size(); ++i)
            EXPECT_LT(std::strcmp((*list)[i - 1].GetString(), (*list)[i].GetString()), 0);
    }
    auto has = [](const std::vector<zulwin::CString>& list, const char* s) {
        return std::find(list.begin(), list.end(), s) != list.end();
    };
    EXPECT_TRUE(has(names, "Europe/Berlin"));
    EXPECT_TRUE(has(names, "US/Eastern"));
    EXPECT_FALSE(has(names, "posixrules"));
    EXPECT_TRUE(has(ids, "W. Europe Standard Time"));
    // Every id loads, and names a zone that has that id again unless the zone is shared.
    for (const zulwin::CString& id : ids) {
        CTimeZone zone;
        EXPECT_TRUE(zone.Load(id.GetString())) << id.GetString();
        EXPECT_FALSE(zone.GetWindowsId().IsEmpty()) << id.GetString();
    }
}

TEST(TimeZone, LocalFollowsTz) {
    struct Case {
        const char* tz; // null: unset
        const char* name;
    };
    Case const cases[] = {
        {"", "Etc/UTC"},
        {":Europe/Berlin", "Europe/Berlin"},
        {"Asia/Tokyo", "Asia/Tokyo"},
        {"EST5EDT,M3.2.0,M11.1.0", "EST5EDT,M3.2.0,M11.1.0"},
        {"No/Such_Zone", "Etc/UTC"},
        {"/usr/share/zoneinfo/Europe/Paris", "Europe/Paris"},
    };
    for (const Case& c : cases) {
        ScopedEnv tz("TZ", c.tz);
        EXPECT_STREQ(CTimeZone::Local().GetName().GetString(), c.name) << c.tz;
    }
    // Unset: /etc/localtime, named after its link target when that lies in the zone directory.
    ScopedEnv tz("TZ", nullptr);
    char target[4096] = {};
    ssize_t const n = readlink("/etc/localtime", target, sizeof target - 1);
    std::string const prefix = "/usr/share/zoneinfo/";
    if (n > 0 && std::string(target).compare(0, prefix.size(), prefix) == 0) {
        EXPECT_EQ(CTimeZone::Local().GetName().GetString(),
                  std::string(target).substr(prefix.size()));
    }
}

TEST(TimeZone, WindowsRecordAndDisplayName) {
    struct Case {
        const char* zone;
        int year;
        int bias, daylightBias;
        int dstMonth, dstWeekday, dstWeek, dstHour;
        int stdMonth, stdWeekday, stdWeek, stdHour;
        const char* standardName;
        const char* daylightName;
        const char* display;
    };
    Case const cases[] = {
        {"Europe/Berlin", 2024, -60, -60, 3, 0, 5, 2, 10, 0, 5, 3, "W. Europe Standard Time",
         "W. Europe Daylight Time", "(UTC+01:00) Europe/Berlin"},
        {"America/New_York", 2024, 300, -60, 3, 0, 2, 2, 11, 0, 1, 2, "Eastern Standard Time",
         "Eastern Daylight Time", "(UTC-05:00) America/New_York"},
        {"Australia/Sydney", 2024, -600, -60, 10, 0, 1, 2, 4, 0, 1, 3, "AUS Eastern Standard Time",
         "AUS Eastern Daylight Time", "(UTC+10:00) Australia/Sydney"},
        {"Europe/Dublin", 2024, 0, -60, 3, 0, 5, 1, 10, 0, 5, 2, "GMT Standard Time",
         "GMT Daylight Time", "(UTC+00:00) Europe/Dublin"},
        {"Australia/Lord_Howe", 2024, -630, -30, 10, 0, 1, 2, 4, 0, 1, 2, "Lord Howe Standard Time",
         "Lord Howe Daylight Time", "(UTC+10:30) Australia/Lord_Howe"},
        {"Asia/Kolkata", 2024, -330, 0, 0, 0, 0, 0, 0, 0, 0, 0, "India Standard Time",
         "India Daylight Time", "(UTC+05:30) Asia/Kolkata"},
        {"America/St_Johns", 2024, 210, -60, 3, 0, 2, 2, 11, 0, 1, 2, "Newfoundland Standard Time",
         "Newfoundland Daylight Time", "(UTC-03:30) America/St_Johns"},
        {"Antarctica/Troll", 2024, 0, -120, 3, 0, 5, 1, 10, 0, 5, 3, "+00", "+02",
         "(UTC+00:00) Antarctica/Troll"},
        {"<+0545>-5:45", 2024, -345, 0, 0, 0, 0, 0, 0, 0, 0, 0, "+0545", "+0545",
         "(UTC+05:45) <+0545>-5:45"},
    };
    for (const Case& c : cases) {
        CTimeZone zone;
        ASSERT_TRUE(zone.Load(c.zone)) << c.zone;
        _TIME_ZONE_INFORMATION tzi;
        ASSERT_TRUE(zone.GetTimeZoneInformation(c.year, tzi));
        EXPECT_EQ(tzi.Bias, c.bias) << c.zone;
        EXPECT_EQ(tzi.StandardBias, 0) << c.zone;
        EXPECT_EQ(tzi.DaylightBias, c.daylightBias) << c.zone;
        auto rule = [](const _SYSTEMTIME& d) {
            return std::vector<int>{d.wYear, d.wMonth, d.wDayOfWeek, d.wDay, d.wHour};
        };
        EXPECT_EQ(rule(tzi.DaylightDate),
                  (std::vector<int>{0, c.dstMonth, c.dstWeekday, c.dstWeek, c.dstHour}))
            << c.zone;
        EXPECT_EQ(rule(tzi.StandardDate),
                  (std::vector<int>{0, c.stdMonth, c.stdWeekday, c.stdWeek, c.stdHour}))
            << c.zone;
        EXPECT_EQ(Utf8(tzi.StandardName), c.standardName) << c.zone;
        EXPECT_EQ(Utf8(tzi.DaylightName), c.daylightName) << c.zone;
        EXPECT_STREQ(zone.GetDisplayName().GetString(), c.display) << c.zone;
    }
    _TIME_ZONE_INFORMATION tzi;
    EXPECT_FALSE(CTimeZone().GetTimeZoneInformation(1600, tzi));
    EXPECT_FALSE(CTimeZone().GetTimeZoneInformation(30828, tzi));
    zulwin::SetLastError(0);
    EXPECT_EQ(zulwin::GetTimeZoneInformation(nullptr), 0xFFFFFFFFu);
    EXPECT_EQ(zulwin::GetLastError(), 87u);
    ScopedEnv tz("TZ", "Asia/Tokyo");
    EXPECT_EQ(zulwin::GetTimeZoneInformation(&tzi), 0u);
    EXPECT_EQ(tzi.Bias, -540);
}

TEST(TimeZone, DaylightFlagAndTransitions) {
    struct Case {
        const char* zone;
        std::int64_t at;
        bool daylight;
    };
    Case const cases[] = {
        {"Europe/Dublin", 1719792000, true},    // 2024-07-01, IST
        {"Europe/Dublin", 1704067200, false},   // 2024-01-01, GMT
        {"Australia/Sydney", 1704067200, true}, // January is summer
        {"Australia/Sydney", 1719792000, false},  {"Asia/Kolkata", 1719792000, false},
        {"Africa/Casablanca", 1710000000, true},  // 2024-03-09: +01 above the Ramadan +00
        {"Africa/Casablanca", 1711000000, false}, // 2024-03-21: +00, the smallest of the year
    };
    for (const Case& c : cases) {
        CTimeZone zone;
        ASSERT_TRUE(zone.Load(c.zone));
        EXPECT_EQ(zone.IsDaylightTime(Unix(c.at)), c.daylight) << c.zone << " " << c.at;
    }
    // Each reported change is one the zone makes, reported in order with the values the zone
    // gives at it, and none is missed: checked against the offset and abbreviation at every
    // quarter hour of the year.
    for (const char* name : {"Europe/Berlin", "Australia/Lord_Howe", "Africa/Casablanca",
                             "America/Sao_Paulo", "Europe/Dublin", "Asia/Kolkata"}) {
        CTimeZone zone;
        ASSERT_TRUE(zone.Load(name));
        auto changed = [&](std::int64_t t) {
            return zone.GetUtcOffset(Unix(t)) != zone.GetUtcOffset(Unix(t - 900)) ||
                   zone.GetAbbreviation(Unix(t)) != zone.GetAbbreviation(Unix(t - 900));
        };
        for (int year : {1918, 1980, 2018, 2019, 2024, 2087, 2500}) {
            std::vector<CTimeZoneTransition> list;
            zone.GetTransitions(year, list);
            std::int64_t const from = UnixOf(CTimeStamp(Record(year, 1, 1)));
            std::int64_t const to = UnixOf(CTimeStamp(Record(year + 1, 1, 1)));
            std::size_t next = 0;
            std::int64_t previous = from - 900; // the last reported change
            for (std::int64_t t = from; t < to; t += 900) {
                for (; next < list.size() && UnixOf(list[next].at) <= t; ++next) {
                    EXPECT_GT(UnixOf(list[next].at), previous) << name << " " << year;
                    previous = UnixOf(list[next].at);
                    EXPECT_EQ(zone.GetUtcOffset(list[next].at), list[next].offset);
                    EXPECT_EQ(zone.IsDaylightTime(list[next].at), list[next].daylight);
                    EXPECT_EQ(zone.GetAbbreviation(list[next].at), list[next].abbreviation);
                }
                EXPECT_FALSE(t != from && changed(t) && previous <= t - 900)
                    << "unreported change: " << name << " " << t;
            }
            EXPECT_EQ(next, list.size()) << name << " " << year;
        }
    }
    std::vector<CTimeZoneTransition> list;
    CTimeZone berlin;
    ASSERT_TRUE(berlin.Load("Europe/Berlin"));
    berlin.GetTransitions(2024, list);
    ASSERT_EQ(list.size(), 2u);
    EXPECT_EQ(UnixOf(list[0].at), 1711846800); // 2024-03-31 01:00Z
    EXPECT_EQ(list[0].offset, 7200);
    EXPECT_TRUE(list[0].daylight);
    EXPECT_STREQ(list[1].abbreviation.GetString(), "CET");
    berlin.GetTransitions(1600, list);
    EXPECT_TRUE(list.empty());
}

TEST(TimeZone, RecordConversionsKeepToTheValidRange) {
    CTimeZone tokyo, honolulu;
    ASSERT_TRUE(tokyo.Load("Asia/Tokyo"));
    ASSERT_TRUE(honolulu.Load("Pacific/Honolulu"));
    _SYSTEMTIME out = Record(1999, 9, 9);
    _SYSTEMTIME const untouched = out;
    struct Case {
        const CTimeZone* zone;
        bool toLocal;
        _SYSTEMTIME in;
    };
    Case const bad[] = {
        {&tokyo, true, Record(30827, 12, 31, 20)}, // past the last valid year once moved
        {&honolulu, false, Record(30827, 12, 31, 20)},
        {&honolulu, true, Record(1601, 1, 1, 3)}, // before the first valid year
        {&tokyo, false, Record(1601, 1, 1, 3)},
        {&tokyo, true, Record(2024, 13, 1)}, // invalid records
        {&tokyo, false, Record(2024, 1, 1, 24)},
        {&tokyo, true, Record(2024, 1, 1, 0, 0, 0, 1000)},
        {&tokyo, false, Record(1600, 12, 31)},
    };
    for (const Case& c : bad) {
        zulwin::SetLastError(0);
        bool const ok = c.toLocal ? c.zone->UtcToLocal(c.in, out) : c.zone->LocalToUtc(c.in, out);
        EXPECT_FALSE(ok) << c.in.wYear;
        EXPECT_EQ(zulwin::GetLastError(), 87u);
        EXPECT_TRUE(test_support::Same(out, untouched));
    }
    // 2024-02-29 23:30:00.999 UTC is Friday 2024-03-01 08:30 in Tokyo, and back.
    ASSERT_TRUE(tokyo.UtcToLocal(Record(2024, 2, 29, 23, 30, 0, 999), out));
    EXPECT_TRUE(test_support::Same(out, [] {
        _SYSTEMTIME s = Record(2024, 3, 1, 8, 30, 0, 999);
        s.wDayOfWeek = 5;
        return s;
    }()));
    ASSERT_TRUE(tokyo.LocalToUtc(out, out));
    EXPECT_EQ(out.wDay, 29);
    EXPECT_EQ(out.wDayOfWeek, 4);
    EXPECT_EQ(out.wMilliseconds, 999);
    // Time stamps saturate at both ends, and keep their sub-second ticks.
    EXPECT_EQ(tokyo.UtcToLocal(Stamp(kMaxTicks)).GetFileTime(), kMaxTicks);
    EXPECT_EQ(tokyo.LocalToUtc(Stamp(0)).GetFileTime(), 0u);
    EXPECT_EQ(honolulu.UtcToLocal(Stamp(5)).GetFileTime(), 0u);
    EXPECT_EQ(honolulu.LocalToUtc(Stamp(kMaxTicks - 5)).GetFileTime(), kMaxTicks);
    EXPECT_EQ(tokyo.UtcToLocal(Stamp(kEpochTicks + 1234567)).GetFileTime(),
              static_cast<std::uint64_t>(kEpochTicks + 9 * 3600 * kTicksPerSecond + 1234567));
    // Zones whose changes fall on the first and last days of the valid years.
    for (const char* name : {"AAA-10BBB-11,J1/-30,J365/40", "EST5EDT,0/0,J365/25",
                             "Pacific/Kiritimati", "America/Adak", "Europe/London"}) {
        CTimeZone zone;
        ASSERT_TRUE(zone.Load(name)) << name;
        for (int year : {1601, 30827}) {
            _TIME_ZONE_INFORMATION tzi;
            EXPECT_TRUE(zone.GetTimeZoneInformation(year, tzi)) << name;
            EXPECT_LE(tzi.DaylightDate.wMonth, 12) << name;
            EXPECT_LE(tzi.StandardDate.wDay, 5) << name;
            std::vector<CTimeZoneTransition> list;
            zone.GetTransitions(year, list);
            for (const CTimeZoneTransition& t : list)
                EXPECT_EQ(zone.GetUtcOffset(t.at), t.offset) << name << " " << year;
        }
        // At the first instant a zone west of UTC saturates at 0, one east of it moves on.
        EXPECT_EQ(UnixOf(zone.UtcToLocal(Stamp(0))),
                  UnixOf(Stamp(0)) + std::max(0, zone.GetUtcOffset(Stamp(0))));
    }
}
