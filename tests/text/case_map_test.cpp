// The Unicode 9.0 case and composition tables and their lookups.
#include "text/internal/case_map.h"

#include <platform/unicode.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <iterator>
#include <vector>

namespace {

using utf8_private::normalize;
using utf8_private::tolower;
using utf8_private::toupper;
using namespace utf8_private::detail;

// Identity for every code point, overwritten by the pairs: the reference the fast lookups must
// reproduce.
template <std::size_t N> std::vector<unsigned> DenseMap(std::uint32_t const (&pairs)[N][2]) {
    std::vector<unsigned> map(0x110000);
    for (unsigned cp = 0; cp < map.size(); ++cp)
        map[cp] = cp;
    for (auto const& pair : pairs) {
        EXPECT_NE(pair[0], pair[1]);
        map[pair[0]] = pair[1];
    }
    return map;
}

TEST(CaseTables, CountsAndLookupsAgreeForEveryCodePoint) {
    EXPECT_EQ(std::size(kLowerPairs), 1231u);
    EXPECT_EQ(std::size(kUpperPairs), 1274u);
    EXPECT_EQ(std::size(kComposePairs), 827u);
    std::vector<unsigned> const lower = DenseMap(kLowerPairs);
    std::vector<unsigned> const upper = DenseMap(kUpperPairs);
    unsigned mismatches = 0;
    for (unsigned cp = 0; cp < lower.size(); ++cp) {
        // The exported functions use the library's copy of the data, the inline ones this
        // program's.
        mismatches += LowerOf(cp) != lower[cp] || tolower(cp) != lower[cp];
        mismatches += UpperOf(cp) != upper[cp] || toupper(cp) != upper[cp];
        mismatches += cp >= kCaseMapLimit && (lower[cp] != cp || upper[cp] != cp);
        mismatches += cp < 0x80 && (lower[cp] >= 0x80 || upper[cp] >= 0x80);
    }
    EXPECT_EQ(mismatches, 0u);
    for (unsigned cp : {0x110000u, 0x80000041u, 0xFFFFFFFFu})
        EXPECT_TRUE(tolower(cp) == cp && toupper(cp) == cp && LowerOf(cp) == cp);
}

TEST(CaseTables, SpecialCases) {
    struct Case {
        unsigned from, lower, upper;
    } const cases[] = {
        // clang-format off
        {0x130, 0x69, 0x130}, {0xDF, 0xDF, 0xDF}, {0x1E9E, 0xDF, 0x1E9E}, {0x212A, 0x6B, 0x212A},
        {0x131, 0x131, 0x49}, {0x17F, 0x17F, 0x53}, {0xB5, 0xB5, 0x39C}, {0x1C5, 0x1C5, 0x1C5},
        {0x1F80, 0x1F80, 0x1F88}, {0x10400, 0x10428, 0x10400}, {0x13A0, 0xAB70, 0x13A0},
        {0x1C88, 0x1C88, 0xA64A}, {0x1E921, 0x1E943, 0x1E921}, {0x24D0, 0x24D0, 0x24D0},
        // clang-format on
    };
    for (const Case& c : cases) {
        EXPECT_EQ(tolower(c.from), c.lower) << std::hex << c.from;
        EXPECT_EQ(toupper(c.from), c.upper) << std::hex << c.from;
    }
}

TEST(Composition, PairsChainsAndTheKeyArithmetic) {
    struct Case {
        unsigned base, mark, composed;
    } const cases[] = {
        // clang-format off
        {0x41, 0x301, 0xC1}, {0x41, 0x30D, 0}, {0x1100, 0x1161, 0}, {0, 0, 0},
        // The key is formed in 32 bits: high bits of the base fall off, those of the mark stay.
        {0x10041, 0x301, 0xC1}, {0x41, 0x10301, 0xC1}, {0x41, 0x20000301, 0},
        // clang-format on
    };
    for (const Case& c : cases)
        EXPECT_EQ(normalize(c.base, c.mark), c.composed) << std::hex << c.base << "+" << c.mark;
    for (auto const& pair : kComposePairs)
        EXPECT_EQ(normalize(pair[0] >> 16, pair[0] & 0xFFFF), pair[1]);
    EXPECT_EQ(normalize(normalize(normalize(0x3B1, 0x313), 0x301), 0x345), 0x1F84u);
}

} // namespace
