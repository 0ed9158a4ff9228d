// CompareNoCase against the plain reference (lower both sides by the case walk, the argument
// after the acceptance rule, then strcmp), on texts that share long ASCII prefixes in different
// cases and part anywhere, by any kind of byte; with the argument at every alignment, alone in a
// heap block; and with the argument's terminator on the last byte of a mapped page, where
// reading ahead in blocks must not fault.
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

int RefCompareNoCase(const std::string& own, const char* arg) {
    return Sign(
        std::strcmp(RefConvert(own, true).c_str(), RefConvert(RefAccept(arg), true).c_str()));
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
        ASSERT_EQ(RefCompareNoCase(base, other.c_str()),
                  Sign(CUtf8String(std::string(base)).CompareNoCase(other.c_str())));
        for (std::size_t at = 0; at <= base.size(); ++at) {
            const char* const parting = kPartings[rng() % std::size(kPartings)];
            std::string const tail = base.substr(at);
            std::string const ownParted = base.substr(0, at) + parting + tail;
            std::string const argParted = other.substr(0, at) + parting + FlipCase(rng, tail);
            // Own content comes in raw, so it may hold anything the argument may.
            ASSERT_EQ(RefCompareNoCase(ownParted, other.c_str()),
                      Sign(CUtf8String(std::string(ownParted)).CompareNoCase(other.c_str())))
                << testing::PrintToString(ownParted) << " vs " << testing::PrintToString(other);
            ASSERT_EQ(RefCompareNoCase(base, argParted.c_str()),
                      Sign(CUtf8String(std::string(base)).CompareNoCase(argParted.c_str())))
                << testing::PrintToString(base) << " vs " << testing::PrintToString(argParted);
            // The same bytes on both sides still compare by their lowered forms: an invalid
            // argument reads '?' where the own text keeps (or drops) its bytes.
            ASSERT_EQ(RefCompareNoCase(ownParted, argParted.c_str()),
                      Sign(CUtf8String(std::string(ownParted)).CompareNoCase(argParted.c_str())))
                << testing::PrintToString(ownParted) << " vs " << testing::PrintToString(argParted);
        }
    }
}

TEST(CompareNoCase, OwnTextWithANulInside) {
    std::mt19937 rng(4);
    for (int round = 0; round < 200; ++round) {
        std::string const base = RandomAscii(rng, 1 + rng() % 70);
        std::string own = FlipCase(rng, base);
        own[rng() % own.size()] = '\0';
        ASSERT_EQ(RefCompareNoCase(own, base.c_str()),
                  Sign(CUtf8String(std::string(own)).CompareNoCase(base.c_str())));
    }
}

// The argument alone in a heap block of its own, starting at every offset of a 16-byte unit:
// the bytes in front of it are uninitialised and the ones after its terminator outside the
// block, which a memory checker running the tests watches. The own text equals it, runs longer,
// stops short, or parts from it anywhere.
TEST(CompareNoCase, ArgumentAtEveryOffsetInABlockOfItsOwn) {
    std::mt19937 rng(6);
    for (std::size_t head = 0; head < 16; ++head) {
        for (std::size_t n = 0; n <= 60; ++n) {
            std::string const arg = RandomAscii(rng, n);
            void* block = nullptr;
            ASSERT_EQ(0, posix_memalign(&block, 16, head + n + 1));
            char* const s = static_cast<char*>(block) + head;
            std::memcpy(s, arg.c_str(), n + 1);
            std::size_t const at = rng() % (n + 1);
            std::string const parted = FlipCase(rng, arg.substr(0, at)) +
                                       kPartings[rng() % std::size(kPartings)] +
                                       FlipCase(rng, arg.substr(at));
            for (std::string const& own : {FlipCase(rng, arg), FlipCase(rng, arg) + "x",
                                           FlipCase(rng, arg.substr(0, at)), parted}) {
                EXPECT_EQ(RefCompareNoCase(own, s),
                          Sign(CUtf8String(std::string(own)).CompareNoCase(s)))
                    << head << " " << testing::PrintToString(own) << " vs "
                    << testing::PrintToString(arg);
            }
            std::free(block);
        }
    }
}

TEST(CompareNoCase, ArgumentEndingAtAPageBoundary) {
    long const page = sysconf(_SC_PAGESIZE);
    void* const map =
        mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(MAP_FAILED, map);
    char* const first = static_cast<char*>(map);
    ASSERT_EQ(0, mprotect(first + page, page, PROT_NONE));
    std::mt19937 rng(5);
    for (std::size_t n = 0; n <= 100; ++n) {
        std::string const arg = RandomAscii(rng, n);
        char* const s = first + page - n - 1;
        std::memcpy(s, arg.c_str(), n + 1);
        // Equal, longer, and parting at the end: each reads the argument up to its terminator.
        for (std::string const& own : {FlipCase(rng, arg), FlipCase(rng, arg) + "x",
                                       FlipCase(rng, arg) + "\xC3\xA9", arg.substr(0, n / 2)})
            ASSERT_EQ(RefCompareNoCase(own, s),
                      Sign(CUtf8String(std::string(own)).CompareNoCase(s)))
                << n << " " << testing::PrintToString(own);
    }
    munmap(map, 2 * page);
}

} // namespace
