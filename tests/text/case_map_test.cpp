// The Unicode 9.0 case and composition tables and their lookups.
#include "text/internal/case_map.h"

#include <platform/unicode.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <iterator>
#include <numeric>
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
    std::iota(map.begin(), map.end(), 0u);
    for (auto const& pair : pairs)
        map[pair[0]] = pair[1];
    return map;
}

TEST(CaseTables, CountsAndLookupsAgreeForEveryCodePoint) {
    std::vector<unsigned> const lower = DenseMap(kLowerPairs), upper = DenseMap(kUpperPairs);
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
}

TEST(CaseTables, SpecialCases) {
    // clang-format off
    unsigned const cases[][3] = { // code point, lower, upper
        {0x130, 0x69, 0x130}, {0xDF, 0xDF, 0xDF}, {0x1E9E, 0xDF, 0x1E9E}, {0x212A, 0x6B, 0x212A},
        {0x131, 0x131, 0x49}, {0x17F, 0x17F, 0x53}, {0xB5, 0xB5, 0x39C}, {0x1C5, 0x1C5, 0x1C5},
        {0x1F80, 0x1F80, 0x1F88}, {0x10400, 0x10428, 0x10400}, {0x13A0, 0xAB70, 0x13A0},
        {0x1C88, 0x1C88, 0xA64A}, {0x1E921, 0x1E943, 0x1E921}, {0x24D0, 0x24D0, 0x24D0}};
    // clang-format on
    for (auto const& c : cases)
        EXPECT_TRUE(tolower(c[0]) == c[1] && toupper(c[0]) == c[2]) << std::hex << c[0];
}

// The lookup finds every pair of the sorted table; a pair not in it composes to 0.
TEST(Composition, PairsOfTheTable) {
    unsigned found = 0;
    for (auto const& pair : kComposePairs)
        found += normalize(pair[0] >> 16, pair[0] & 0xFFFF) == pair[1];
    EXPECT_EQ(found, std::size(kComposePairs));
    EXPECT_TRUE(normalize(0x41, 0x301) == 0xC1 && normalize(0x41, 0x30D) == 0);
}

} // namespace
