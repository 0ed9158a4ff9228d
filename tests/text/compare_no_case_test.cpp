// CompareNoCase against the plain reference (lower both sides by the case walk, the argument
// after the acceptance rule, then strcmp), on texts that share long ASCII prefixes in different
// cases and part anywhere, by any kind of byte; with the argument at every alignment, alone in a
// heap block; and with the argument's terminator on the last byte of a mapped page, where
// reading ahead in blocks must not fault. It sits on the configuration lookup path and must not
// allocate: this program's global operator new counts allocations.
#include "support/allocation_counter.h"
#include "text/compare_no_case_cases.h"

#include <gtest/gtest.h>

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>

namespace {

using namespace compare_no_case;

TEST(CompareNoCase, TextsPartingAtEveryPosition) {
    std::mt19937 rng(777);
    for (int round = 0; round < 400; ++round) {
        std::string const base = RandomAscii(rng, rng() % 80);
        std::string const other = FlipCase(rng, base);
        ASSERT_TRUE(SameAsReference(base, other.c_str()));
        if (!base.empty()) { // an own text with a NUL inside
            std::string withNul = other;
            withNul[rng() % withNul.size()] = '\0';
            ASSERT_TRUE(SameAsReference(withNul, base.c_str()));
        }
        for (std::size_t at = 0; at <= base.size(); ++at) {
            const char* const parting = kPartings[rng() % std::size(kPartings)];
            std::string const tail = base.substr(at);
            std::string const ownParted = base.substr(0, at) + parting + tail;
            std::string const argParted = other.substr(0, at) + parting + FlipCase(rng, tail);
            ASSERT_TRUE(SameAsReference(ownParted, other.c_str()));
            ASSERT_TRUE(SameAsReference(base, argParted.c_str()));
            // The same bytes on both sides still compare by their lowered forms: an invalid
            // argument reads '?' where the own text keeps (or drops) its bytes.
            ASSERT_TRUE(SameAsReference(ownParted, argParted.c_str()));
        }
    }
}

// The argument where reading too far shows (see CheckEveryPlacement).
TEST(CompareNoCase, ArgumentAloneInAHeapBlockOrEndingAtAPageBoundary) {
    compare_no_case::CheckEveryPlacement(6);
}

TEST(CompareNoCase, AllocatesNothing) {
    CUtf8String const ascii("The Quick Brown Fox Jumps Over The Lazy Dog, Twice Over Again");
    CUtf8String const mixed("Stra\u00DFe \u03A3\u03BF\u03C6\u03AF\u03B1 "
                            "\u041C\u043E\u0441\u043A\u0432\u0430 \U0001F600");
    const char* others[] = {"the quick brown fox jumps over the lazy dog, twice over again",
                            "STRASSE",
                            "stra\u00DFE \u03C3\u03BF\u03C6\u03AF\u03B1",
                            "invalid \xFF\xFE text",
                            "",
                            nullptr};
    long const before = test_support::Allocations();
    int sink = 0;
    for (const char* other : others) {
        sink += ascii.CompareNoCase(other);
        sink += mixed.CompareNoCase(other);
    }
    EXPECT_EQ(test_support::Allocations(), before);
    EXPECT_EQ(ascii.CompareNoCase(others[0]), 0);
    EXPECT_NE(sink, 0);
}

} // namespace
