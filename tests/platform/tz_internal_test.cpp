// Zone internals: the POSIX rule parser and the TZif reader against damaged input, and wall times
// of a rule zone far from the years its table covers. (Rule zones and every system zone are
// compared with the C library through CTimeZone.)
#include "platform/internal/civil_days.h"
#include "platform/internal/tz_posix_rule.h"
#include "platform/internal/tz_zone.h"
#include "platform/internal/tzif_reader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

using namespace zulplatform;

TEST(TzPosixRule, RefusesMalformedRules) {
    for (const char* text :
         {"", "UT0", "<AB>1", "<ABC1", "EST", "EST+", "EST5EDT,M3", "EST5EDT,M13.1.0,M11.1.0",
          "EST5EDT,M3.6.0,M11.1.0", "EST5EDT,M3.2.7,M11.1.0", "EST5EDT,J0,J100", "EST5EDT,366,J100",
          "EST5 ", "EST5EDT4x", "CET-1CEST,M3.5.0,M10.5.0/3,", "EST5EDT,M3.2.0/9999999,M11.1.0",
          "EST1234567"}) {
        _TzPosixRule rule;
        EXPECT_FALSE(_ParseTzPosixRule(text, std::strlen(text), rule)) << text;
    }
}

TEST(TzifReader, RefusesTruncatedAndCorruptedFiles) {
    std::ifstream in("/usr/share/zoneinfo/America/New_York", std::ios::binary);
    std::vector<unsigned char> const bytes(std::istreambuf_iterator<char>(in), {});
    for (std::size_t n = 0; n < bytes.size(); ++n) {
        // An exact-size heap copy, so that a read past the end is caught by the sanitizers.
        std::vector<unsigned char> cut(bytes.begin(), bytes.begin() + static_cast<long>(n));
        _TzZone zone;
        EXPECT_FALSE(_ReadTzif(cut.data(), n, zone)) << n;
    }
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
            for (std::uint32_t value : {0xFFFFFFFFu, 257u})
                EXPECT_TRUE(refused(header + 20 + field * 4, value, 4)) << header << " " << field;
    // A type's daylight flag that is not 0 or 1, the last transition moved back to 1970, a
    // footer that is not a rule. (Indexes out of range are left to the fuzz target.)
    std::size_t const at = second + 32, timecnt = std::size_t{bytes[at + 2]} << 8 | bytes[at + 3];
    std::size_t const indexes = second + 44 + timecnt * 8;
    ASSERT_GT(timecnt, 1u);
    EXPECT_TRUE(refused(indexes + timecnt + 4, 2, 1));
    EXPECT_TRUE(refused(indexes - 8, 0, 8));
    EXPECT_TRUE(refused(bytes.size() - 3, '!', 1));
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
