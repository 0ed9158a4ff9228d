// CompareNoCase in both of its ways of reading: ahead of the terminators within a page (the
// normal choice), and only in units that hold a byte of the text (the choice under valgrind).
// Texts of every length up to a few units, the argument at every offset of a 16-byte unit and
// ending on the last byte of a mapped page, against the plain reference; under valgrind only the
// second way can be chosen, and the first is skipped.
#include "support/utf8_reference.h"
#include "text/internal/utf8.h"

#include <gtest/gtest.h>

#include <sys/mman.h>
#include <unistd.h>

#include <cctype>
#include <cstring>
#include <random>
#include <string>

namespace {

using utf8_private::detail::ForceScanKernel;
using utf8_private::detail::ScanKernel;

int Sign(int v) {
    return (v > 0) - (v < 0);
}

int RefCompareNoCase(const std::string& own, const char* arg) {
    return Sign(std::strcmp(test_support::RefConvert(own, true).c_str(),
                            test_support::RefConvert(test_support::RefAccept(arg), true).c_str()));
}

std::string FlipCase(std::mt19937& rng, std::string s) {
    for (char& c : s)
        if (std::isalpha(static_cast<unsigned char>(c)) && rng() % 2 == 0)
            c = static_cast<char>(c ^ 0x20);
    return s;
}

// Own texts to set against an argument: equal, longer, shorter, and parting from it at `at` by a
// letter, a neighbour of the letter ranges, a multi-byte character or an invalid byte.
std::vector<std::string> OwnTexts(std::mt19937& rng, const std::string& arg) {
    static const char* const kPartings[] = {"a", "[", "`", "\xC3\xA9", "\xE2\x84\xAA", "\xFF"};
    std::size_t const at = rng() % (arg.size() + 1);
    return {FlipCase(rng, arg), FlipCase(rng, arg) + "x", FlipCase(rng, arg.substr(0, at)),
            FlipCase(rng, arg.substr(0, at)) + kPartings[rng() % std::size(kPartings)] +
                arg.substr(at)};
}

std::string RandomAscii(std::mt19937& rng, std::size_t n) {
    static const char kChars[] = "abcxyzABCXYZ@[`{ 09!~";
    std::string s(n, ' ');
    for (char& c : s)
        c = kChars[rng() % (sizeof kChars - 1)];
    return s;
}

class CompareNoCaseReading : public testing::TestWithParam<bool> {
protected:
    void SetUp() override {
        ASSERT_TRUE(ForceScanKernel(ScanKernel::Best, GetParam()));
        if (utf8_private::detail::ReadAheadAllowed() != GetParam())
            GTEST_SKIP() << "reading ahead is not chosen under valgrind";
    }
    void TearDown() override { ForceScanKernel(ScanKernel::Best); }

    static void Check(const std::string& own, const char* arg, std::size_t where) {
        ASSERT_EQ(RefCompareNoCase(own, arg),
                  Sign(CUtf8String(std::string(own)).CompareNoCase(arg)))
            << where << " " << testing::PrintToString(own) << " vs "
            << testing::PrintToString(std::string(arg));
    }
};

TEST_P(CompareNoCaseReading, ArgumentAtEveryOffsetOfAUnit) {
    std::mt19937 rng(11);
    for (std::size_t head = 0; head < 16; ++head)
        for (std::size_t n = 0; n <= 70; ++n) {
            std::string const arg = RandomAscii(rng, n);
            std::string block(head, '#');
            block += arg;
            for (const std::string& own : OwnTexts(rng, arg))
                Check(own, block.c_str() + head, head);
        }
}

TEST_P(CompareNoCaseReading, ArgumentEndingOnTheLastByteOfAPage) {
    long const page = sysconf(_SC_PAGESIZE);
    void* const map =
        mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(MAP_FAILED, map);
    char* const first = static_cast<char*>(map);
    ASSERT_EQ(0, mprotect(first + page, page, PROT_NONE));
    std::mt19937 rng(12);
    for (std::size_t n = 0; n <= 100; ++n) {
        std::string const arg = RandomAscii(rng, n);
        char* const s = first + page - n - 1;
        std::memcpy(s, arg.c_str(), n + 1);
        for (const std::string& own : OwnTexts(rng, arg))
            Check(own, s, n);
    }
    munmap(map, 2 * page);
}

INSTANTIATE_TEST_SUITE_P(Ways, CompareNoCaseReading, testing::Values(true, false),
                         [](const testing::TestParamInfo<bool>& info) {
                             return info.param ? "ReadingAhead" : "InUnits";
                         });

} // namespace
