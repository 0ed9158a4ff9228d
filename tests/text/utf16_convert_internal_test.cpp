// The UTF-8 to UTF-16 kernels, each forced in turn, against the plain reference (utf8_check, then
// the standard converter): random texts that switch script every few words, valid, cut anywhere,
// or with one byte replaced by a bad one (overlong forms, surrogates and values above U+10FFFF
// arise where a lead is replaced), at every alignment and with their terminator on the last byte
// of a mapped page.
#include "support/guarded_page.h"
#include "support/utf8_reference.h"
#include "text/internal/utf16_convert.h"

#include <gtest/gtest.h>

#include <cstring>
#include <iterator>
#include <random>
#include <string>
#include <vector>

namespace {

using namespace utf8_private::detail;

// clang-format off
// Valid words of one to four bytes per character, including the edges of each length's range.
const char* const kWords[] = {"a", "to", "words", " ", "caf\xC3\xA9", "gar\xC3\xA7on",
    "\xC2\x80", "\xDF\xBF", "\xCE\x9A\xCF\x8C\xCF\x83\xCE\xBC\xCE\xBF\xCF\x82",
    "\xD0\x9C\xD0\xB8\xD1\x80", "\xE4\xB8\xAD\xE6\x96\x87", "\xE0\xA0\x80", "\xED\x9F\xBF",
    "\xEE\x80\x80", "\xEF\xBF\xBF", "\xE2\x82\xAC", "\xF0\x9F\x98\x80", "\xF0\x90\x80\x80",
    "\xF4\x8F\xBF\xBF", "\xF0\x9F\x9A\x80\xF0\x9F\x91\x8D"};
// Bytes that break most texts where they replace a byte.
const char kBadBytes[] = "\x80\xBF\xC0\xC1\xC3\xE0\xED\xF0\xF4\xF5\xFF";
// clang-format on

// Words of one script after another, switching every one to three words; with `broken`, one
// byte replaced by a bad one.
std::string RandomText(std::mt19937& rng, std::size_t maxLen, bool broken) {
    std::string s;
    for (std::size_t const n = rng() % (maxLen + 1); s.size() < n;)
        for (unsigned repeat = 1 + rng() % 3, word = rng() % std::size(kWords); repeat > 0;
             --repeat)
            s.append(kWords[word]).append(rng() % 2 ? " " : "");
    if (broken && !s.empty())
        s[rng() % s.size()] = kBadBytes[rng() % (sizeof kBadBytes - 1)];
    return s;
}

class Utf16Kernels : public testing::TestWithParam<ScanKernel> {
protected:
    void SetUp() override {
        if (!ForceUtf16Kernel(GetParam()))
            GTEST_SKIP() << "this CPU lacks the kernel";
    }
    void TearDown() override { ForceUtf16Kernel(ScanKernel::Best); }
};

// Each text, or a cut of it, at every alignment and with its terminator on the last byte of a
// mapped page, where the block loads must not reach past it.
TEST_P(Utf16Kernels, AgreeWithTheReferenceAtEveryAlignmentAndAtAPageEnd) {
    test_support::GuardedPage page;
    std::mt19937 rng(2718);
    std::vector<char> arena(600);
    for (int round = 0; round < 30000; ++round) {
        std::string text = RandomText(rng, round % 4 == 0 ? 400 : 60, round % 2 == 0);
        if (round % 3 == 0)
            text.resize(rng() % (text.size() + 1));
        std::u16string const expected = test_support::RefToWide(text);
        for (char* s : {arena.data() + round % 64, page.End() - text.size() - 1}) {
            std::memcpy(s, text.c_str(), text.size() + 1);
            // Into a buffer of exactly the text's length, so that the address sanitizer sees any
            // store beyond the promised room.
            std::vector<char16_t> out(text.size());
            auto const* p = reinterpret_cast<const unsigned char*>(s);
            char16_t* const last = ConvertStrictToUtf16(p, p + text.size(), out.data());
            ASSERT_EQ(expected, std::u16string(out.data(), last)) << testing::PrintToString(text);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(EveryKernel, Utf16Kernels,
                         testing::Values(ScanKernel::Avx2, ScanKernel::Scalar),
                         [](auto const& info) {
                             return info.param == ScanKernel::Avx2 ? "Avx2" : "Scalar";
                         });

} // namespace
