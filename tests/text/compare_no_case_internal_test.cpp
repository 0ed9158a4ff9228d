// CompareNoCase against the plain reference (lower both sides by the case walk, the argument
// after the acceptance rule, then strcmp) in both of its ways of reading: ahead of the
// terminators within a page (the normal choice), and only in units that hold a byte of the text
// (the choice under valgrind, where the first way is skipped). Texts share ASCII prefixes in
// other cases and part anywhere, by any kind of byte; the argument sits alone in a heap block of
// its exact size at every offset of a 16-byte unit, or ends on the last byte of a mapped page.
#include "support/guarded_page.h"
#include "support/utf8_reference.h"
#include "text/internal/utf8.h"

#include <gtest/gtest.h>

#include <cctype>
#include <cstring>
#include <iterator>
#include <memory>
#include <random>
#include <string>

namespace {

using namespace utf8_private::detail;
using namespace test_support;

int Sign(int v) {
    return (v > 0) - (v < 0);
}

// The own text `own` (raw content, so it may hold anything) compared with `arg`: the same sign
// as the reference gives.
void ExpectSameAsReference(const std::string& own, const char* arg) {
    EXPECT_EQ(
        Sign(CUtf8String(std::string(own)).CompareNoCase(arg)),
        Sign(std::strcmp(RefConvert(own, true).c_str(), RefConvert(RefAccept(arg), true).c_str())))
        << testing::PrintToString(own) << " vs " << testing::PrintToString(std::string(arg));
}

std::string FlipCase(std::mt19937& rng, std::string s) {
    for (char& c : s)
        if (std::isalpha(static_cast<unsigned char>(c)) && rng() % 2 == 0)
            c = static_cast<char>(c ^ 0x20);
    return s;
}

// clang-format off
// What may stand where two texts part: letters, the neighbours of the letter ranges, characters
// that lower into ASCII (U+0130, the Kelvin sign), other multi-byte characters, bytes that make
// the argument invalid, and the end of the text.
const char* const kPartings[] = {"a", "Z", "@", "[", "`", "{", "\xC4\xB0", "\xE2\x84\xAA",
    "\xC3\xA9", "\xCE\xA3", "\xE4\xB8\xAD", "\xF0\x9F\x98\x80", "\xFF", "\x80", "\xC3", ""};
// clang-format on

class CompareNoCaseReading : public testing::TestWithParam<bool> {
protected:
    void SetUp() override {
        ASSERT_TRUE(ForceScanKernel(ScanKernel::Best, GetParam()));
        if (ReadAheadAllowed() != GetParam())
            GTEST_SKIP() << "reading ahead is not chosen under valgrind";
    }
    void TearDown() override { ForceScanKernel(ScanKernel::Best); }
};

TEST_P(CompareNoCaseReading, TextsPartingAnywhereWithTheArgumentAtEveryPlacement) {
    static const char kChars[] = "abcxyzABCXYZ@[`{ 09!~";
    test_support::GuardedPage page;
    std::mt19937 rng(11);
    for (std::size_t n = 0; n <= 100; ++n) {
        std::string arg(n, ' ');
        for (char& c : arg)
            c = kChars[rng() % (sizeof kChars - 1)];
        std::size_t const at = rng() % (n + 1);
        const char* const parting = kPartings[rng() % std::size(kPartings)];
        std::string const parted =
            FlipCase(rng, arg.substr(0, at)) + parting + FlipCase(rng, arg.substr(at));
        for (std::string const& argument : {arg, FlipCase(rng, parted)}) {
            for (std::size_t head = 0; head <= 16; ++head) { // 16: at the end of the page
                SCOPED_TRACE(head);
                std::size_t const size = argument.size() + 1;
                std::unique_ptr<char[]> block(new char[head + size]);
                char* const s = head < 16 ? block.get() + head : page.End() - size;
                std::memcpy(s, argument.c_str(), size);
                for (std::string const& own :
                     {FlipCase(rng, arg), FlipCase(rng, arg) + "x", FlipCase(rng, arg) + "\xC3\xA9",
                      FlipCase(rng, arg.substr(0, at)), parted})
                    ExpectSameAsReference(own, s);
            }
        }
    }
}

// true: reading ahead; false: in units holding a byte of the text.
INSTANTIATE_TEST_SUITE_P(Ways, CompareNoCaseReading, testing::Bool());

} // namespace
