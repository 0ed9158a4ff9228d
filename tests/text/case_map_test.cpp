#include "text/case_map.h"

#include <cstdint>
#include <iterator>
#include <vector>

#include <gtest/gtest.h>

#include "platform/unicode.h"

namespace {

using utf8_private::normalize;
using utf8_private::tolower;
using utf8_private::toupper;
using utf8_private::detail::kCaseMapLimit;
using utf8_private::detail::kComposePairs;
using utf8_private::detail::kLowerPairs;
using utf8_private::detail::kUpperPairs;
using utf8_private::detail::LowerOf;
using utf8_private::detail::UpperOf;

constexpr unsigned int kLastCodePoint = 0x10FFFF;

// Identity for every code point, overwritten by the pairs: the reference the fast lookups must
// reproduce.
template <std::size_t N> std::vector<unsigned int> DenseMap(std::uint32_t const (&pairs)[N][2]) {
    std::vector<unsigned int> map(kLastCodePoint + 1);
    for (unsigned int cp = 0; cp <= kLastCodePoint; ++cp)
        map[cp] = cp;
    for (auto const& pair : pairs)
        map[pair[0]] = pair[1];
    return map;
}

template <std::size_t N> void ExpectStrictlyIncreasingKeys(std::uint32_t const (&pairs)[N][2]) {
    for (std::size_t i = 0; i < N; ++i) {
        EXPECT_NE(pairs[i][0], pairs[i][1]) << "identity pair at " << i;
        if (i > 0) {
            EXPECT_LT(pairs[i - 1][0], pairs[i][0]) << "order broken at " << i;
        }
    }
}

TEST(CaseMapTables, HaveTheUnicode9PairCounts) {
    EXPECT_EQ(std::size(kLowerPairs), 1231u);
    EXPECT_EQ(std::size(kUpperPairs), 1274u);
    EXPECT_EQ(std::size(kComposePairs), 827u);
}

TEST(CaseMapTables, AreSortedWithUniqueKeys) {
    ExpectStrictlyIncreasingKeys(kLowerPairs);
    ExpectStrictlyIncreasingKeys(kUpperPairs);
    ExpectStrictlyIncreasingKeys(kComposePairs);
}

TEST(CaseMapLookup, AgreesWithThePairsForEveryCodePoint) {
    std::vector<unsigned int> const lower = DenseMap(kLowerPairs);
    std::vector<unsigned int> const upper = DenseMap(kUpperPairs);
    unsigned int lowerMismatches = 0;
    unsigned int upperMismatches = 0;
    for (unsigned int cp = 0; cp <= kLastCodePoint; ++cp) {
        // The exported functions run on the library's copy of the data, the inline ones on
        // this program's: both must match the reference.
        lowerMismatches += LowerOf(cp) != lower[cp] || tolower(cp) != lower[cp];
        upperMismatches += UpperOf(cp) != upper[cp] || toupper(cp) != upper[cp];
        if (cp >= kCaseMapLimit) {
            lowerMismatches += lower[cp] != cp;
            upperMismatches += upper[cp] != cp;
        }
        if (cp < 0x80) {
            lowerMismatches += lower[cp] >= 0x80;
            upperMismatches += upper[cp] >= 0x80;
        }
    }
    EXPECT_EQ(lowerMismatches, 0u);
    EXPECT_EQ(upperMismatches, 0u);
}

TEST(CaseMapLookup, LeavesValuesBeyondUnicodeUnchanged) {
    for (unsigned int cp : {0x110000u, 0x7FFFFFFFu, 0x80000000u, 0x80000041u, 0xFFFFFFFFu,
                            kCaseMapLimit, kCaseMapLimit - 1}) {
        EXPECT_EQ(LowerOf(cp), cp) << std::hex << cp;
        EXPECT_EQ(UpperOf(cp), cp) << std::hex << cp;
        EXPECT_EQ(tolower(cp), cp) << std::hex << cp;
        EXPECT_EQ(toupper(cp), cp) << std::hex << cp;
    }
}

struct Mapping {
    unsigned int from;
    unsigned int to;
};

TEST(CaseMapLookup, LowerCaseSpecialCases) {
    Mapping const cases[] = {
        {0x41, 0x61},       {0x130, 0x69},    {0x1E9E, 0xDF},   {0x2126, 0x3C9},
        {0x212A, 0x6B},     {0x212B, 0xE5},   {0x3F4, 0x3B8},   {0x10400, 0x10428},
        {0x1C5, 0x1C5},     {0x1F88, 0x1F88}, {0x61, 0x61},     {0xDF, 0xDF},
        {0x1E921, 0x1E943}, {0x10A0, 0x2D00}, {0x13A0, 0xAB70}, {0x13F0, 0x13F8},
    };
    for (Mapping const& c : cases)
        EXPECT_EQ(tolower(c.from), c.to) << std::hex << "U+" << c.from;
}

TEST(CaseMapLookup, UpperCaseSpecialCases) {
    Mapping const cases[] = {
        {0x61, 0x41},     {0xB5, 0x39C},   {0xFF, 0x178},    {0x131, 0x49},    {0x17F, 0x53},
        {0x1E9B, 0x1E60}, {0x1FBE, 0x399}, {0x1F80, 0x1F88}, {0x1FB3, 0x1FBC}, {0xAB53, 0xA7B3},
        {0xDF, 0xDF},     {0x1C5, 0x1C5},  {0x24D0, 0x24D0}, {0x41, 0x41},     {0x1E943, 0x1E921},
        {0x23A, 0x23A},   {0x2C65, 0x23A},
    };
    for (Mapping const& c : cases)
        EXPECT_EQ(toupper(c.from), c.to) << std::hex << "U+" << c.from;
}

TEST(CaseMapLookup, CyrillicExtendedCVariantsMapToTheirCapitals) {
    unsigned int const capitals[] = {0x412, 0x414, 0x41E, 0x421, 0x422,
                                     0x422, 0x42A, 0x462, 0xA64A};
    for (unsigned int i = 0; i < std::size(capitals); ++i) {
        EXPECT_EQ(toupper(0x1C80 + i), capitals[i]) << i;
        EXPECT_EQ(tolower(0x1C80 + i), 0x1C80 + i) << i;
    }
}

TEST(CaseMapLookup, CherokeeSmallLettersMapToTheMainBlock) {
    for (unsigned int i = 0; i < 0x50; ++i) {
        EXPECT_EQ(toupper(0xAB70 + i), 0x13A0 + i);
        EXPECT_EQ(tolower(0x13A0 + i), 0xAB70 + i);
    }
}

TEST(CaseMapLookup, CasedNonLettersStayUnchanged) {
    // Roman numerals U+2160..U+217F and circled letters U+24B6..U+24E9 are not letters.
    for (unsigned int first : {0x2160u, 0x24B6u}) {
        unsigned int const count = first == 0x2160u ? 0x20 : 0x34;
        for (unsigned int cp = first; cp < first + count; ++cp) {
            EXPECT_EQ(tolower(cp), cp) << std::hex << cp;
            EXPECT_EQ(toupper(cp), cp) << std::hex << cp;
        }
    }
}

TEST(Normalize, ComposesBaseAndMark) {
    struct Case {
        unsigned int base, mark, composed;
    };
    Case const cases[] = {
        {0x41, 0x301, 0xC1},
        {0x3B1, 0x345, 0x1FB3},
        {0x41, 0x30D, 0},
        {0xC2, 0x301, 0x1EA4},
        {0x2ADD, 0x338, 0x2ADC},
        {0x41, 0x300, 0xC0},
        {0x418, 0x306, 0x419},
        {0x1100, 0x1161, 0},
        {0, 0, 0},
        {0xFFFFFFFF, 0xFFFFFFFF, 0},
        // The key is formed in 32 bits: high bits of the base fall off, those of the mark stay.
        {0x10041, 0x301, 0xC1},
        {0x41, 0x10301, 0xC1},
        {0x41, 0x20000301, 0},
    };
    for (Case const& c : cases)
        EXPECT_EQ(normalize(c.base, c.mark), c.composed) << std::hex << c.base << " + " << c.mark;
}

TEST(Normalize, FindsEveryTablePairAndChainsStepByStep) {
    for (auto const& pair : kComposePairs)
        EXPECT_EQ(normalize(pair[0] >> 16, pair[0] & 0xFFFF), pair[1]) << std::hex << pair[1];
    // A, circumflex, acute: the intermediate U+00C2 is itself a base.
    EXPECT_EQ(normalize(normalize(0x41, 0x302), 0x301), 0x1EA4u);
    // Greek alpha with psili, then oxia, then ypogegrammeni.
    EXPECT_EQ(normalize(normalize(normalize(0x3B1, 0x313), 0x301), 0x345), 0x1F84u);
}

} // namespace
