// CompareNoCase sits on the configuration lookup path: it must not allocate. This program's
// global operator new counts allocations so the test can see any.
#include <platform/unicode.h>

#include "support/allocation_counter.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace {

TEST(CompareNoCase, AllocatesNothing) {
    CUtf8String const ascii("The Quick Brown Fox Jumps Over The Lazy Dog, Twice Over Again");
    CUtf8String const mixed("Stra\xC3\x9F"
                            "e \xCE\xA3\xCE\xBF\xCF\x86\xCE\xAF\xCE\xB1 "
                            "\xD0\x9C\xD0\xBE\xD1\x81\xD0\xBA\xD0\xB2\xD0\xB0 \xF0\x9F\x98\x80");
    const char* others[] = {"the quick brown fox jumps over the lazy dog, twice over again",
                            "STRASSE",
                            "stra\xC3\x9F"
                            "E \xCF\x83\xCE\xBF\xCF\x86\xCE\xAF\xCE\xB1",
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
