// What the CompareNoCase tests share: the plain reference (lower both sides by the case walk,
// the argument after the acceptance rule, then strcmp), the texts, and the check of an argument
// placed where reading it too far shows: alone in a heap block of its exact size, at every offset
// of a 16-byte unit (the bytes in front of it uninitialised and the ones after its terminator
// outside the block, which a memory checker running the tests watches), and with its terminator
// on the last byte of a mapped page.
#pragma once

#include "support/guarded_page.h"
#include "support/utf8_reference.h"

#include <gtest/gtest.h>

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <random>
#include <string>

namespace compare_no_case {

using test_support::RefAccept;
using test_support::RefConvert;

inline int Sign(int v) {
    return (v > 0) - (v < 0);
}

// The own text `own` (raw content, so it may hold anything) compared with `arg`: the same sign
// as the reference gives.
inline testing::AssertionResult SameAsReference(const std::string& own, const char* arg) {
    int const expected =
        Sign(std::strcmp(RefConvert(own, true).c_str(), RefConvert(RefAccept(arg), true).c_str()));
    int const got = Sign(CUtf8String(std::string(own)).CompareNoCase(arg));
    if (got == expected)
        return testing::AssertionSuccess();
    return testing::AssertionFailure()
           << testing::PrintToString(own) << " vs " << testing::PrintToString(std::string(arg))
           << ": " << got << " instead of " << expected;
}

// Printable ASCII with letters of both cases.
inline std::string RandomAscii(std::mt19937& rng, std::size_t n) {
    static const char kChars[] = "abcxyzABCXYZ@[`{ 09!~";
    std::string s(n, ' ');
    for (char& c : s)
        c = kChars[rng() % (sizeof kChars - 1)];
    return s;
}

inline std::string FlipCase(std::mt19937& rng, std::string s) {
    for (char& c : s)
        if (std::isalpha(static_cast<unsigned char>(c)) && rng() % 2 == 0)
            c = static_cast<char>(c ^ 0x20);
    return s;
}

// clang-format off
// What may stand where the two texts part: letters, the neighbours of the letter ranges,
// characters that lower into ASCII (U+0130, the Kelvin sign), other multi-byte characters, bytes
// that make the argument invalid, and the end of the text.
inline const char* const kPartings[] = {"a", "Z", "@", "[", "`", "{", "\xC4\xB0", "\xE2\x84\xAA",
    "\xC3\xA9", "\xCE\xA3", "\xE4\xB8\xAD", "\xF0\x9F\x98\x80", "\xFF", "\x80", "\xC3", ""};
// clang-format on

// Arguments of every length up to 100 at every placement; the own text equals each, runs
// longer, stops short, or parts from it.
inline void CheckEveryPlacement(unsigned seed) {
    test_support::GuardedPage page;
    std::mt19937 rng(seed);
    for (std::size_t n = 0; n <= 100; ++n) {
        std::string const arg = RandomAscii(rng, n);
        for (std::size_t head = 0; head <= 16; ++head) { // 16: at the end of the page
            void* block = nullptr;
            char* s = nullptr;
            if (head < 16) {
                ASSERT_EQ(0, posix_memalign(&block, 16, head + n + 1));
                s = static_cast<char*>(block) + head;
                std::memcpy(s, arg.c_str(), n + 1);
            } else {
                s = page.Place(arg.c_str(), n + 1);
            }
            std::size_t const at = rng() % (n + 1);
            std::string const parted = FlipCase(rng, arg.substr(0, at)) +
                                       kPartings[rng() % std::size(kPartings)] +
                                       FlipCase(rng, arg.substr(at));
            for (std::string const& own :
                 {FlipCase(rng, arg), FlipCase(rng, arg) + "x", FlipCase(rng, arg) + "\xC3\xA9",
                  FlipCase(rng, arg.substr(0, at)), parted})
                EXPECT_TRUE(SameAsReference(own, s)) << "head " << head;
            std::free(block);
        }
    }
}

} // namespace compare_no_case
