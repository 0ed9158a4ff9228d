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

using namespace utf8_private::detail;

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
        ASSERT_TRUE(!valid || len == n);
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
        std::string text = test_support::RandomText(rng, round % 4 == 1 ? 300 : 40);
        if (round % 8 == 0) {
            text.assign(200 + rng() % 3800, 'a');
            text.replace(rng() % (text.size() - 4), 4, disturbances[rng() % 7]);
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
        for (std::size_t n = 0; n <= 140; ++n) { // plain ASCII, or mixed text cut anywhere
            std::string text;
            while (text.size() < n)
                text += n % 3 == 0 ? "a" : test_support::RandomText(rng, 8);
            texts.push_back(text.substr(0, n));
        }
        for (const char* sequence : {"\xC3\x80", "\xE4\xB8\xAD", "\xF0\x9F\x98\x80"})
            texts.push_back(std::string(63 - off, 'a') + sequence[0] + std::string(64, 'a') +
                            (sequence + 1) + "a");
        for (std::string const& text : texts) {
            std::size_t const n = text.size();
            void* block = nullptr; // exact size, or 64 bytes of slack for odd lengths
            ASSERT_EQ(0, posix_memalign(&block, 64, off + n + 1 + (n % 2 == 0 ? 0 : 64)));
            std::memcpy(static_cast<char*>(block) + off, text.c_str(), n + 1);
            Check(static_cast<char*>(block) + off, n);
            std::free(block);
            if (HasFatalFailure())
                return;
        }
    }
}

std::string Name(testing::TestParamInfo<ScanKernels::ParamType> const& info) {
    static char const* const names[] = {"Best", "Avx2", "Sse2", "Scalar"};
    return names[static_cast<int>(std::get<0>(info.param))] +
           std::string(std::get<1>(info.param) ? "ReadingAhead" : "UnitByUnit");
}

INSTANTIATE_TEST_SUITE_P(EveryKernel, ScanKernels,
                         testing::Combine(testing::Values(ScanKernel::Avx2, ScanKernel::Sse2,
                                                          ScanKernel::Scalar),
                                          testing::Bool()),
                         Name);

} // namespace
