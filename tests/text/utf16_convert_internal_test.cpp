// The UTF-8 to UTF-16 kernels, each forced in turn, against the plain reference (utf8_check, then
// the standard converter): random texts that switch script every few words, valid and broken,
// at every alignment and with their terminator on the last byte of a mapped page; every cut of
// such a text; and every byte of it replaced by each kind of bad byte.
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

using test_support::RefToWide;
using utf8_private::detail::ConvertStrictToUtf16;
using utf8_private::detail::ForceUtf16Kernel;
using utf8_private::detail::ScanKernel;

// clang-format off
// Valid words of one to four bytes per character, including the edges of each length's range.
const char* const kWords[] = {"a", "to", "words", " ", "caf\xC3\xA9", "gar\xC3\xA7on",
    "\xC2\x80", "\xDF\xBF", "\xCE\x9A\xCF\x8C\xCF\x83\xCE\xBC\xCE\xBF\xCF\x82",
    "\xD0\x9C\xD0\xB8\xD1\x80", "\xE4\xB8\xAD\xE6\x96\x87", "\xE0\xA0\x80", "\xED\x9F\xBF",
    "\xEE\x80\x80", "\xEF\xBF\xBF", "\xE2\x82\xAC", "\xF0\x9F\x98\x80", "\xF0\x90\x80\x80",
    "\xF4\x8F\xBF\xBF", "\xF0\x9F\x9A\x80\xF0\x9F\x91\x8D"};
// Everything the strict rule rejects: overlong forms, surrogates, values above U+10FFFF, bytes
// that never lead, stray continuations and cut sequences.
const char* const kBroken[] = {"\xC0\xAF", "\xC1\xBF", "\xE0\x9F\xBF", "\xE0\x80\x80",
    "\xED\xA0\x80", "\xED\xBF\xBF", "\xF0\x8F\xBF\xBF", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80",
    "\xF8\x88\x80\x80\x80", "\xFE", "\xFF", "\x80", "\xBF", "\xC3", "\xE4\xB8", "\xF0\x9F\x98",
    "\xC3\x41", "\xE4\x41\x80"};
// Bytes that break a text wherever they are put.
const unsigned char kBadBytes[] = {0x80, 0xBF, 0xC0, 0xC1, 0xC3, 0xE0, 0xED, 0xF0, 0xF4, 0xF5,
    0xFF};
// clang-format on

const char* Name(ScanKernel k) {
    return k == ScanKernel::Avx2 ? "Avx2" : "Scalar";
}

// Words of one script after another, switching every one to three words; with `broken`, now and
// then a piece that ends the valid prefix.
std::string RandomText(std::mt19937& rng, std::size_t maxLen, bool broken) {
    std::size_t const n = rng() % (maxLen + 1);
    std::string s;
    while (s.size() < n) {
        if (broken && rng() % 16 == 0)
            s += kBroken[rng() % std::size(kBroken)];
        const char* const word = kWords[rng() % std::size(kWords)];
        for (unsigned repeat = 1 + rng() % 3; repeat > 0; --repeat)
            s.append(word).append(rng() % 2 ? " " : "");
    }
    return s;
}

class Utf16Kernels : public testing::TestWithParam<ScanKernel> {
protected:
    void SetUp() override {
        if (!ForceUtf16Kernel(GetParam()))
            GTEST_SKIP() << "this CPU has no " << Name(GetParam());
    }
    void TearDown() override { ForceUtf16Kernel(ScanKernel::Best); }

    // Converts the NUL-terminated text at `s` into a buffer of exactly its length (so that the
    // address sanitizer sees any store beyond the promised room) and through ToWide.
    static void Check(const char* s) {
        std::string const text(s);
        std::u16string const expected = RefToWide(text);
        std::vector<char16_t> out(text.size());
        auto const* p = reinterpret_cast<const unsigned char*>(s);
        char16_t* const last = ConvertStrictToUtf16(p, p + text.size(), out.data());
        ASSERT_EQ(expected, std::u16string(out.data(), last)) << testing::PrintToString(text);
        ASSERT_EQ(expected, CUtf8String::ToWide(s)) << testing::PrintToString(text);
    }
};

// Each text at every alignment, and with its terminator on the last byte of a mapped page, where
// the block loads must not reach past it.
TEST_P(Utf16Kernels, AgreeWithTheReferenceAtEveryAlignmentAndAtAPageEnd) {
    test_support::GuardedPage page;
    std::mt19937 rng(2718);
    std::vector<char> arena(600);
    for (int round = 0; round < 20000; ++round) {
        std::string const text = RandomText(rng, round % 4 == 0 ? 400 : 60, round % 2 == 0);
        for (char* s : {arena.data() + round % 64, page.End() - text.size() - 1}) {
            std::memcpy(s, text.c_str(), text.size() + 1);
            ASSERT_NO_FATAL_FAILURE(Check(s));
        }
    }
}

// Every cut of a valid text, and every byte of it replaced by each kind of bad byte.
TEST_P(Utf16Kernels, EveryCutAndEveryBrokenByteOfAValidText) {
    std::mt19937 rng(31415);
    for (int round = 0; round < 40; ++round) {
        std::string const text = RandomText(rng, 160, false);
        for (std::size_t at = 0; at <= text.size(); ++at) {
            ASSERT_NO_FATAL_FAILURE(Check(text.substr(0, at).c_str()));
            std::string broken = text;
            for (std::size_t k = 0; at < text.size() && k < std::size(kBadBytes); ++k) {
                broken[at] = static_cast<char>(kBadBytes[k]);
                ASSERT_NO_FATAL_FAILURE(Check(broken.c_str()));
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(EveryKernel, Utf16Kernels,
                         testing::Values(ScanKernel::Avx2, ScanKernel::Scalar),
                         [](const testing::TestParamInfo<ScanKernel>& info) {
                             return std::string(Name(info.param));
                         });

} // namespace
