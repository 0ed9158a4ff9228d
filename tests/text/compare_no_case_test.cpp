// CompareNoCase against the plain reference (lower both sides by the case walk, the argument
// after the acceptance rule, then strcmp), on texts that share long ASCII prefixes in different
// cases and part anywhere, by any kind of byte; with the argument at every alignment, alone in a
// heap block; and with the argument's terminator on the last byte of a mapped page, where
// reading ahead in blocks must not fault. It sits on the configuration lookup path and must not
// allocate: this program's global operator new counts allocations.
#include "support/allocation_counter.h"
#include "support/utf8_reference.h"

#include <gtest/gtest.h>

#include <sys/mman.h>
#include <unistd.h>

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>

namespace {

using test_support::RefAccept;
using test_support::RefConvert;

int Sign(int v) {
    return (v > 0) - (v < 0);
}

// The own text `own` (raw content, so it may hold anything) compared with `arg`: the same sign
// as the reference gives.
testing::AssertionResult SameAsReference(const std::string& own, const char* arg) {
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
std::string RandomAscii(std::mt19937& rng, std::size_t n) {
    static const char kChars[] = "abcxyzABCXYZ@[`{ 09!~";
    std::string s(n, ' ');
    for (char& c : s)
        c = kChars[rng() % (sizeof kChars - 1)];
    return s;
}

std::string FlipCase(std::mt19937& rng, std::string s) {
    for (char& c : s)
        if (std::isalpha(static_cast<unsigned char>(c)) && rng() % 2 == 0)
            c = static_cast<char>(c ^ 0x20);
    return s;
}

// clang-format off
// What may stand where the two texts part: letters, the neighbours of the letter ranges,
// characters that lower into ASCII (U+0130, the Kelvin sign), other multi-byte characters, bytes
// that make the argument invalid, and the end of the text.
const char* const kPartings[] = {"a", "Z", "@", "[", "`", "{", "\xC4\xB0", "\xE2\x84\xAA",
    "\xC3\xA9", "\xCE\xA3", "\xE4\xB8\xAD", "\xF0\x9F\x98\x80", "\xFF", "\x80", "\xC3", ""};
// clang-format on

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

// The argument alone in a heap block of its own, starting at every offset of a 16-byte unit:
// the bytes in front of it are uninitialised and the ones after its terminator outside the
// block, which a memory checker running the tests watches. Then with its terminator on the last
// byte of a mapped page. The own text equals it, runs longer, stops short, or parts from it.
TEST(CompareNoCase, ArgumentAloneInAHeapBlockOrEndingAtAPageBoundary) {
    long const page = sysconf(_SC_PAGESIZE);
    void* const map =
        mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(MAP_FAILED, map);
    char* const pageEnd = static_cast<char*>(map) + page;
    ASSERT_EQ(0, mprotect(pageEnd, page, PROT_NONE));
    std::mt19937 rng(6);
    for (std::size_t n = 0; n <= 100; ++n) {
        std::string const arg = RandomAscii(rng, n);
        for (std::size_t head = 0; head <= 16; ++head) { // 16: at the end of the page
            void* block = nullptr;
            char* s = pageEnd - n - 1;
            if (head < 16) {
                ASSERT_EQ(0, posix_memalign(&block, 16, head + n + 1));
                s = static_cast<char*>(block) + head;
            }
            std::memcpy(s, arg.c_str(), n + 1);
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
    munmap(map, 2 * page);
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
