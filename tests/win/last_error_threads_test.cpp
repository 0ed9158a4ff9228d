#include <platform/last_error.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <thread>

// The fixed table first (found by the low 16 bits), then codes that fall through to the C
// library's text, or to the hex form when the C library does not know the number either.
// clang-format off
static const struct { unsigned int code; const char* text; } kTexts[] = {
    {0x80004005, "Unspecified error"}, {0x57, "The parameter is incorrect."},
    {0x2030, "There is no such object on the server."}, {0x8007054F, "An internal error occurred."},
    {0x0104, "One or more input parameters is invalid."},
    {0x3007, "OSS ASN.1 Error: Encode/Decode version mismatch."},
    {0xABCD0962, "Active connections still exist."}, {2, "No such file or directory"},
    {0x10002, "0x00010002"}, {0xABCDEF12, "0xabcdef12"}};
// clang-format on

// Eight threads, released together, each check that they start with a last error of 0, then
// store their own values while looking up table texts. Returns the number of wrong readings.
static int CountWrongReadingsUnderRace() {
    std::atomic<int> ready{0}, wrong{0};
    std::thread threads[8];
    for (unsigned int t = 0; t < 8; ++t)
        threads[t] = std::thread([&, t] {
            wrong += zulwin::GetLastError() != 0;
            for (++ready; ready.load() < 8;)
                std::this_thread::yield();
            for (unsigned int i = t * 1000003u; i < t * 1000003u + 20000; ++i) {
                zulwin::SetLastError(i);
                const auto& entry = kTexts[i % 7]; // one of the table texts
                wrong += std::strcmp(zulplatform::XlatErrorCode(entry.code), entry.text) != 0;
                wrong += zulwin::_lasterror() != i;
            }
        });
    for (auto& thread : threads)
        thread.join();
    return wrong.load();
}

TEST(XlatErrorCode, TableThenCLibraryThenHex) {
    for (const auto& c : kTexts)
        EXPECT_STREQ(zulplatform::XlatErrorCode(c.code), c.text) << std::hex << c.code;
}

TEST(LastError, PerThreadWhileTextTableIsBuiltConcurrently) {
    // A re-executed child starts without the table, so the threads also race to build it.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto race = [] {
        zulwin::SetLastError(5);
        const int wrong = CountWrongReadingsUnderRace();
        std::exit(wrong + (zulwin::GetLastError() != 5u)); // no other thread touched ours
    };
    EXPECT_EXIT(race(), ::testing::ExitedWithCode(0), "");
}
