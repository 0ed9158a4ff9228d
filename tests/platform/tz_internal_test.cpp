// Zone internals: the POSIX rule parser and the TZif reader against damaged input, and wall times
// of a rule zone far from the years its table covers. (Rule zones and every system zone are
// compared with the C library through CTimeZone.)
#include "platform/internal/civil_days.h"
#include "platform/internal/tz_posix_rule.h"
#include "platform/internal/tz_zone.h"
#include "platform/internal/tzif_reader.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

using namespace zulplatform;

TEST(TzPosixRule, RefusesMalformedRules) {
    for (const char* text :
         {"UT0", "<AB>1", "<ABC1", "EST+", "EST5EDT,M3", "EST5EDT,M13.1.0,M11.1.0",
          "EST5EDT,M3.6.0,M11.1.0", "EST5EDT,M3.2.7,M11.1.0", "EST5EDT,J0,J100", "EST5EDT,366,J100",
          "EST5 ", "EST5EDT4x", "CET-1CEST,M3.5.0,M10.5.0/3,", "EST5EDT,M3.2.0/9999999,M11.1.0",
          "EST1234567"}) {
        _TzPosixRule rule;
        EXPECT_FALSE(_ParseTzPosixRule(text, std::strlen(text), rule)) << text;
    }
}

TEST(TzifReader, RefusesTruncatedAndCorruptedFiles) {
    std::ifstream in("/usr/share/zoneinfo/America/New_York", std::ios::binary);
    std::vector<unsigned char> bytes(std::istreambuf_iterator<char>(in), {});
    // Every cut is refused, the whole file read. Exact-size heap copies, so that a read past the
    // end is caught by the sanitizers.
    for (std::size_t n = 0; n <= bytes.size(); ++n) {
        std::vector<unsigned char> cut(bytes.begin(), bytes.begin() + static_cast<long>(n));
        _TzZone zone;
        EXPECT_EQ(_ReadTzif(cut.data(), n, zone), n == bytes.size()) << n;
    }
    // A daylight flag above 1 in the first local-time type of the 64-bit block, and a footer
    // that is not a rule. (Counts that do not fit, indexes out of range and changes out of order
    // are left to the fuzz target, which runs under the sanitizers.)
    auto const be32 = [&](std::size_t at) {
        return std::size_t{bytes[at]} << 24 | bytes[at + 1] << 16 | bytes[at + 2] << 8 |
               bytes[at + 3];
    };
    std::size_t const block2 =
        44 + be32(20) + be32(24) + be32(28) * 8 + be32(32) * 5 + be32(36) * 6 + be32(40);
    std::pair<std::size_t, unsigned char> const edits[] = {
        {block2 + 44 + be32(block2 + 32) * 9 + 4, 2}, {bytes.size() - 3, '!'}};
    for (auto const& [at, value] : edits) {
        std::vector<unsigned char> bad(bytes);
        bad[at] = value;
        _TzZone zone;
        EXPECT_FALSE(_ReadTzif(bad.data(), bad.size(), zone)) << at;
    }
}

TEST(TzZone, WallTimesInGapsAndFoldsFollowTheFoldRules) {
    _TzPosixRule rule;
    ASSERT_TRUE(_ParseTzPosixRule("CET-1CEST,M3.5.0,M10.5.0/3", 26, rule));
    _TzZone zone;
    ASSERT_TRUE(zone.Build(rule));
    // 2024: the gap is 02:00-03:00 on March 31, the repeated hour 02:00-03:00 on October 27;
    // the same days 400 years before and after, and further on, behave alike.
    int const cases[][6] = {
        // month, day, hour, minute, then the offset under fold 0 and under fold 1
        {3, 31, 1, 59, 3600, 3600},  {3, 31, 2, 30, 3600, 7200},  {3, 31, 3, 0, 7200, 7200},
        {10, 27, 1, 59, 7200, 7200}, {10, 27, 2, 30, 7200, 3600}, {10, 27, 3, 0, 3600, 3600},
    };
    for (int y : {1624, 2024, 2424, 10024}) {
        for (const auto& c : cases) {
            std::int64_t const wall =
                _DaysFromCivil(y, c[0], c[1]) * kSecondsPerDay + c[2] * 3600 + c[3] * 60;
            EXPECT_EQ(zone.WallOffset(wall, 0), c[4]) << y << " " << c[0] << " " << c[2];
            EXPECT_EQ(zone.WallOffset(wall, 1), c[5]) << y << " " << c[0] << " " << c[2];
        }
    }
}
