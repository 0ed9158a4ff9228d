// Zone internals: the POSIX rule parser against the C library's reading of the same rules, and
// the rule parser and the TZif reader against damaged input of every kind. (The reader's
// reading of every system zone is compared with the C library's through CTimeZone.)
#include "platform/internal/civil_days.h"
#include "platform/internal/tz_posix_rule.h"
#include "platform/internal/tz_zone.h"
#include "platform/internal/tzif_reader.h"

#include "support/scoped_tz.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

using namespace zulplatform;

namespace {

bool Parse(const std::string& text, _TzPosixRule& rule) {
    return _ParseTzPosixRule(text.data(), text.size(), rule);
}

std::vector<unsigned char> ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<unsigned char>(std::istreambuf_iterator<char>(in), {});
}

// Compares a zone with the C library's localtime_r under TZ=`tz` at random instants from
// `from` (Unix seconds) to 2400.
void ExpectSameAsCLibrary(const _TzZone& zone, const std::string& tz, unsigned seed,
                          std::int64_t from) {
    test_support::ScopedTz scoped(tz);
    std::mt19937_64 rng(seed);
    std::uniform_int_distribution<std::int64_t> instants(from, 13569465600);
    for (int i = 0; i < 2000; ++i) {
        std::int64_t const t = instants(rng);
        time_t const tt = static_cast<time_t>(t);
        struct tm tm;
        ASSERT_NE(localtime_r(&tt, &tm), nullptr);
        const _TzLocalType& type = zone.TypeAt(t);
        ASSERT_EQ(type.offset, tm.tm_gmtoff) << tz << " at " << t;
        ASSERT_EQ(zone.Abbreviation(type), tm.tm_zone) << tz << " at " << t;
    }
}

} // namespace

// Each rule makes a zone that must give the C library's offsets and abbreviations. The C library
// evaluates a rule for any year up to 1970 as if it were 1970, so comparisons start in 1971.
TEST(TzPosixRule, ZonesMadeFromRulesMatchTheCLibrary) {
    struct Case {
        const char* text;
        std::int64_t from = 31536000;
    } const cases[] = {
        {"UTC0"},
        {"EST5"},
        {"<+0330>-3:30"},
        {"<+0545>-5:45"},
        {"CET-1CEST,M3.5.0,M10.5.0/3"},
        {"EST5EDT,M3.2.0,M11.1.0"},
        {"NZST-12NZDT,M9.5.0,M4.1.0/3"},
        {"<+1030>-10:30<+11>-11,M10.1.0,M4.1.0"},
        {"IST-1GMT0,M10.5.0,M3.5.0/1"}, // daylight time below standard time
        {"<-03>3<-02>,M3.5.0/-2,M10.5.0/-1"},
        {"<-02>2<-01>,M3.5.0/-1,M10.5.0/0"},
        {"AAA3BBB,J60/30,100/-20"},
        {"AAA+25BBB-30:99:99,J60/30,100/-167"}, // offsets clamped to 24:00 and 24:59:59
        {"XXX-2YYY,M3.5.4/26,M10.5.5/1"},
        {"EST5EDT,0/0,J365/25"},
        {"AAA-10BBB-11,J1/-30,J365/40"},
        // No dates: the United States rule of 2007. The C library reads the zone file of this
        // name instead, which follows the same rule from 2007 on.
        {"EST5EDT", 1199145600},
    };
    unsigned seed = 1;
    for (const Case& c : cases) {
        _TzPosixRule rule;
        ASSERT_TRUE(Parse(c.text, rule)) << c.text;
        _TzZone zone;
        ASSERT_TRUE(zone.Build(rule));
        ExpectSameAsCLibrary(zone, c.text, seed++, c.from);
    }
}

TEST(TzPosixRule, RefusesMalformedRules) {
    for (const char* text :
         {"", "UT0", "<AB>1", "<ABC1", "EST", "EST+", "EST5EDT,M3", "EST5EDT,M13.1.0,M11.1.0",
          "EST5EDT,M3.6.0,M11.1.0", "EST5EDT,M3.2.7,M11.1.0", "EST5EDT,J0,J100", "EST5EDT,366,J100",
          "EST5 ", "EST5EDT4x", "CET-1CEST,M3.5.0,M10.5.0/3,", "EST5EDT,M3.2.0/9999999,M11.1.0",
          "EST1234567"}) {
        _TzPosixRule rule;
        EXPECT_FALSE(Parse(text, rule)) << text;
    }
}

TEST(TzifReader, RefusesEveryTruncation) {
    std::vector<unsigned char> const bytes = ReadFile("/usr/share/zoneinfo/Europe/Berlin");
    ASSERT_GT(bytes.size(), 100u);
    for (std::size_t n = 0; n < bytes.size(); ++n) {
        // An exact-size heap copy, so that a read past the end is caught by the sanitizers.
        std::vector<unsigned char> cut(bytes.begin(),
                                       bytes.begin() + static_cast<std::ptrdiff_t>(n));
        _TzZone zone;
        EXPECT_FALSE(_ReadTzif(cut.data(), cut.size(), zone)) << n;
    }
}

TEST(TzifReader, RefusesCorruptedCountsAndIndexes) {
    std::vector<unsigned char> const bytes = ReadFile("/usr/share/zoneinfo/America/New_York");
    ASSERT_GT(bytes.size(), 100u);
    // Whether the file is refused with the `width` bytes at `at` set to `value`, big-endian.
    auto refused = [&](std::size_t at, std::uint64_t value, std::size_t width) {
        std::vector<unsigned char> bad = bytes;
        for (std::size_t k = 0; k < width; ++k)
            bad[at + k] = static_cast<unsigned char>(value >> (8 * (width - 1 - k)));
        _TzZone zone;
        return !_ReadTzif(bad.data(), bad.size(), zone);
    };
    const char magic[] = "TZif";
    std::size_t const second = static_cast<std::size_t>(
        std::search(bytes.begin() + 4, bytes.end(), magic, magic + 4) - bytes.begin());
    ASSERT_LT(second, bytes.size());
    ASSERT_FALSE(refused(0, 'T', 1)); // unchanged
    // Each of the six counts of both headers set to values that cannot fit.
    for (std::size_t header : {std::size_t{0}, second})
        for (std::size_t field = 0; field < 6; ++field)
            for (std::uint32_t value : {0xFFFFFFFFu, 0x80000000u, 0x10000u, 257u})
                EXPECT_TRUE(refused(header + 20 + field * 4, value, 4)) << header << " " << field;
    // In the 64-bit block that counts: a transition's type index, a type's abbreviation index
    // and daylight flag out of range, and more.
    auto count = [&](std::size_t field) {
        std::size_t const at = second + 20 + field * 4;
        return std::size_t{bytes[at]} << 24 | std::size_t{bytes[at + 1]} << 16 |
               std::size_t{bytes[at + 2]} << 8 | bytes[at + 3];
    };
    std::size_t const timecnt = count(3), typecnt = count(4), charcnt = count(5);
    std::size_t const indexes = second + 44 + timecnt * 8;
    std::size_t const types = indexes + timecnt;
    ASSERT_GT(timecnt, 1u);
    struct Corruption {
        std::size_t at;
        std::uint64_t value;
        std::size_t width;
    } const corruptions[] = {
        {indexes, typecnt, 1},
        {indexes + timecnt - 1, 0xFF, 1},
        {types + 5, charcnt, 1},
        {types + 4, 2, 1},
        {second + 4, '5', 1},                  // unknown version
        {second, 'X', 1},                      // second header's magic
        {indexes - 8, 0x8000000000000000u, 8}, // the last transition moved far back
        {bytes.size() - 3, '!', 1},            // a footer that is not a rule
    };
    for (const Corruption& c : corruptions)
        EXPECT_TRUE(refused(c.at, c.value, c.width)) << c.at;
}

TEST(TzZone, WallTimesInGapsAndFoldsFollowTheFoldRules) {
    _TzPosixRule rule;
    ASSERT_TRUE(Parse("CET-1CEST,M3.5.0,M10.5.0/3", rule));
    _TzZone zone;
    ASSERT_TRUE(zone.Build(rule));
    auto local = [](int y, int m, int d, int h, int min) {
        return _DaysFromCivil(y, m, d) * kSecondsPerDay + h * 3600 + min * 60;
    };
    struct Case {
        std::int64_t wall;
        int fold;
        int offset;
    };
    // 2024: the gap is 02:00-03:00 on March 31, the repeated hour 02:00-03:00 on October 27;
    // the same days of 2424 (a cycle later) and of 1624 (before) behave alike.
    for (int cycle : {-1, 0, 1, 20}) {
        int const y = 2024 + 400 * cycle;
        Case const cases[] = {
            {local(y, 3, 31, 1, 59), 0, 3600},  {local(y, 3, 31, 1, 59), 1, 3600},
            {local(y, 3, 31, 2, 30), 0, 3600},  {local(y, 3, 31, 2, 30), 1, 7200},
            {local(y, 3, 31, 3, 0), 0, 7200},   {local(y, 3, 31, 3, 0), 1, 7200},
            {local(y, 10, 27, 1, 59), 1, 7200}, {local(y, 10, 27, 2, 30), 0, 7200},
            {local(y, 10, 27, 2, 30), 1, 3600}, {local(y, 10, 27, 3, 0), 0, 3600},
        };
        for (const Case& c : cases)
            EXPECT_EQ(zone.WallOffset(c.wall, c.fold), c.offset) << y << " " << c.wall;
    }
}
