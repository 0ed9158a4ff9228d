// The scanning kernels, each forced in turn, against the plain references: the same verdicts
// and lengths on random text and on long ASCII runs with one disturbance, at every alignment and
// ending right before an unmapped page, and on texts alone in heap blocks of their own, so that
// no kernel goes unchecked on a machine that would never choose it.
#include "support/guarded_page.h"
#include "support/utf8_reference.h"
#include "text/internal/utf8.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <tuple>
#include <vector>

namespace {

using utf8_private::detail::CountCodePoints;
using utf8_private::detail::ForceScanKernel;
using utf8_private::detail::ScanKernel;
using utf8_private::detail::ScanValidString;
using utf8_private::detail::SkipAscii;

std::string KernelName(ScanKernel k) {
    static char const* const names[] = {"Best", "Avx2", "Sse2", "Scalar"};
    return names[static_cast<int>(k)];
}

// A kernel to force, and for the block kernels the variant: reading ahead over long ASCII runs,
// or unit by unit.
class ScanKernels : public testing::TestWithParam<std::tuple<ScanKernel, bool>> {
protected:
    void SetUp() override {
        if (!ForceScanKernel(std::get<0>(GetParam()), std::get<1>(GetParam())))
            GTEST_SKIP() << "not available here (CPU, or valgrind)";
    }
    void TearDown() override { ForceScanKernel(ScanKernel::Best); }

    // One text through every scanner, compared with the references.
    static void Check(const char* s, std::size_t n) {
        std::size_t len = ~std::size_t{0};
        bool const valid = test_support::RefIsValidString(s);
        ASSERT_EQ(valid, ScanValidString(s, len)) << testing::PrintToString(std::string(s, n));
        if (valid) {
            ASSERT_EQ(std::strlen(s), len);
        }
        auto const* const b = reinterpret_cast<const unsigned char*>(s);
        auto notAscii = [](unsigned char c) { return c == 0 || c > 0x7F; };
        ASSERT_EQ(std::find_if(b, b + n, notAscii), SkipAscii(b, b + n));
        ASSERT_EQ(test_support::RefLength(std::string(s, n)), CountCodePoints(b, b + n, ~0UL));
    }
};

// Random text, and long ASCII runs (which take the fast steps) with one disturbance anywhere that
// must stop them; each at every offset within a block, and with its terminator on the last byte
// of a mapped page, where reading whole blocks must stay on that page and a cut sequence at the
// very end must not send a scanner past it.
TEST_P(ScanKernels, AgreeWithTheReferencesAtEveryAlignmentAndAtAPageEnd) {
    const char* const disturbances[] = {"\xC3\xA9", "\xC3",     "\x80",        "\xF0\x9F\x98",
                                        "\xFF",     "\xC1\x81", "\xE4\xB8\xAD"};
    test_support::GuardedPage page;
    std::mt19937 rng(12345);
    std::vector<char> arena(4096 + 64);
    for (int round = 0; round < 24000; ++round) {
        std::string text;
        if (round % 8 == 0) {
            text.assign(200 + rng() % 3800, 'a');
            std::string const d = disturbances[rng() % std::size(disturbances)];
            text.replace(rng() % (text.size() - 4), d.size(), d);
        } else {
            text = test_support::RandomText(rng, round % 4 == 1 ? 300 : 40);
        }
        for (char* s : {arena.data() + rng() % 64, page.End() - text.size() - 1}) {
            std::memcpy(s, text.c_str(), text.size() + 1);
            ASSERT_NO_FATAL_FAILURE(Check(s, text.size()));
        }
    }
}

// Texts alone in a heap block of their own, starting at every offset of a 64-byte block and
// ending at every place in the first and second half of one: the bytes in front of the start are
// uninitialised, and the ones after the terminator either outside the heap block or
// uninitialised. Run under a memory checker, this shows whether a kernel reads a unit holding no
// byte of the text, or lets such bytes decide anything. Last, at each offset, a lead on the last
// byte of a block, a whole block of ASCII, then the continuations it asked for: the ASCII block
// must be judged for the pending sequence, not passed over.
TEST_P(ScanKernels, TextsInHeapBlocksOfTheirOwnAtEveryOffset) {
    std::mt19937 rng(99);
    for (std::size_t off = 0; off < 64; ++off) {
        std::vector<std::string> texts;
        for (std::size_t n = 0; n <= 140; ++n) {
            // Plain ASCII reaches the terminator on the fast steps; mixed text (cut anywhere,
            // so sometimes in a sequence) on the judged blocks.
            std::string text;
            while (text.size() < n)
                text += n % 3 == 0 ? "a" : test_support::RandomText(rng, 8);
            text.resize(n);
            texts.push_back(text);
        }
        for (const char* sequence : {"\xC3\x80", "\xE4\xB8\xAD", "\xF0\x9F\x98\x80"})
            texts.push_back(std::string(63 - off, 'a') + sequence[0] + std::string(64, 'a') +
                            (sequence + 1) + "a");
        for (std::string const& text : texts) {
            std::size_t const n = text.size(), slack = n % 2 == 0 ? 0 : 64;
            void* block = nullptr;
            ASSERT_EQ(0, posix_memalign(&block, 64, off + n + 1 + slack));
            char* const s = static_cast<char*>(block) + off;
            std::memcpy(s, text.c_str(), n + 1);
            Check(s, n);
            std::free(block);
            if (HasFatalFailure())
                return;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(EveryKernel, ScanKernels,
                         testing::Combine(testing::Values(ScanKernel::Avx2, ScanKernel::Sse2,
                                                          ScanKernel::Scalar),
                                          testing::Bool()),
                         [](auto const& info) {
                             return KernelName(std::get<0>(info.param)) +
                                    (std::get<1>(info.param) ? "ReadingAhead" : "UnitByUnit");
                         });

} // namespace
