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

#include <algorithm>
#include <cctype>
#include <cstring>
#include <iterator>
#include <memory>
#include <random>
#include <string>

namespace {

using namespace utf8_private::detail;
using namespace test_support;

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
    GuardedPage page;
    auto const sign = [](int v) { return (v > 0) - (v < 0); };
    std::mt19937 rng(11);
    auto const flip = [&](std::string s) {
        for (char& c : s)
            c = std::isalpha(static_cast<unsigned char>(c)) && rng() % 2 ? c ^ 0x20 : c;
        return s;
    };
    for (std::size_t n = 0; n <= 100; ++n) {
        std::string arg(n, ' ');
        std::generate(arg.begin(), arg.end(), [&] { return kChars[rng() % (sizeof kChars - 1)]; });
        std::size_t const at = rng() % (n + 1);
        std::string const parted = flip(arg.substr(0, at)) +
                                   kPartings[rng() % std::size(kPartings)] + flip(arg.substr(at));
        for (std::string const& argument : {arg, flip(parted)}) {
            for (std::size_t head = 0; head <= 16; ++head) { // 16: at the end of the page
                std::size_t const size = argument.size() + 1;
                std::unique_ptr<char[]> block(new char[head + size]);
                char* const s = head < 16 ? block.get() + head : page.End() - size;
                std::memcpy(s, argument.c_str(), size);
                for (std::string const& own : {flip(arg), flip(arg) + "x", flip(arg) + "\xC3\xA9",
                                               flip(arg.substr(0, at)), parted})
                    EXPECT_EQ(sign(CUtf8String(std::string(own)).CompareNoCase(s)),
                              sign(std::strcmp(RefConvert(own, true).c_str(),
                                               RefConvert(RefAccept(s), true).c_str())))
                        << testing::PrintToString(own) << " vs " << testing::PrintToString(argument)
                        << " at " << head;
            }
        }
    }
}

// true: reading ahead; false: in units holding a byte of the text.
INSTANTIATE_TEST_SUITE_P(Ways, CompareNoCaseReading, testing::Bool());

} // namespace
