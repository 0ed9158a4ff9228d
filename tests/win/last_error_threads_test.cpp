// The per-thread last error, and the error texts: the table by the low 16 bits, then the C
// library's text, then the hexadecimal form.
#include <platform/last_error.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <utility>

// The table by its low 16 bits (the first two), the C library's text, the hexadecimal form.
// clang-format off
static const std::pair<unsigned int, const char*> kTexts[] = {
    {0x8007054F, "An internal error occurred."}, {0xABCD0962, "Active connections still exist."},
    {2, "No such file or directory"}, {0x10002, "0x00010002"}};
// clang-format on

TEST(XlatErrorCode, TableThenCLibraryThenHex) {
    for (const auto& c : kTexts)
        EXPECT_STREQ(zulplatform::XlatErrorCode(c.first), c.second) << std::hex << c.first;
}

// In a re-executed child, which starts without the table, eight threads released together race
// to build it, each with its own buffers for the other texts, while each checks that its own last
// error keeps what it stores and the main thread's is left alone.
TEST(LastError, PerThreadWhileTextTableIsBuiltConcurrently) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto race = [] {
        zulwin::SetLastError(5);
        std::atomic<int> ready{0}, wrong{0};
        std::thread threads[8];
        for (unsigned int t = 0; t < 8; ++t)
            threads[t] = std::thread([&, t] {
                for (++ready; ready.load() < 8;)
                    std::this_thread::yield();
                for (unsigned int i = t * 1000003u; i < t * 1000003u + 5000; ++i) {
                    zulwin::SetLastError(i);
                    const auto& [code, text] = kTexts[i % 4];
                    wrong += std::strcmp(zulplatform::XlatErrorCode(code), text) != 0;
                    wrong += zulwin::_lasterror() != i;
                }
            });
        for (auto& thread : threads)
            thread.join();
        std::exit(wrong.load() + (zulwin::GetLastError() != 5u)); // no other thread touched ours
    };
    EXPECT_EXIT(race(), ::testing::ExitedWithCode(0), "");
}
