#include <platform/system.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

using zulplatform::XlatErrorCode;

TEST(LastError, SetAndGetThroughTheCell) {
    zulwin::SetLastError(87);
    EXPECT_EQ(zulwin::GetLastError(), 87u);
    EXPECT_EQ(zulwin::_lasterror(), 87u);
    zulwin::_lasterror() = 0xFFFFFFFFu;
    EXPECT_EQ(zulwin::GetLastError(), 0xFFFFFFFFu);
    EXPECT_EQ(&zulwin::_lasterror(), &zulwin::_lasterror());
    zulwin::SetLastError(0);
}

TEST(LastError, NewThreadStartsAtZero) {
    zulwin::SetLastError(5);
    unsigned int seen = 1;
    std::thread([&] { seen = zulwin::GetLastError(); }).join();
    EXPECT_EQ(seen, 0u);
    EXPECT_EQ(zulwin::GetLastError(), 5u); // the other thread did not touch ours
    zulwin::SetLastError(0);
}

TEST(LastError, ThreadsSeeOnlyTheirOwnValue) {
    constexpr int kThreads = 8;
    constexpr int kRounds = 20000;
    std::atomic<int> ready{0};
    std::atomic<int> mismatches{0};
    std::atomic<int> nonZeroStarts{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            if (zulwin::GetLastError() != 0)
                ++nonZeroStarts;
            ++ready;
            while (ready.load() < kThreads) {
            }
            for (int i = 0; i < kRounds; ++i) {
                unsigned int const mine = static_cast<unsigned int>(t * 1000003 + i);
                zulwin::SetLastError(mine);
                std::this_thread::yield();
                if (zulwin::GetLastError() != mine)
                    ++mismatches;
            }
        });
    }
    for (auto& th : threads)
        th.join();
    EXPECT_EQ(nonZeroStarts.load(), 0);
    EXPECT_EQ(mismatches.load(), 0);
}

TEST(XlatErrorCode, TableMatchesOnTheLow16Bits) {
    struct Case {
        unsigned int code;
        char const* text;
    } const cases[] = {
        {0x4005, "Unspecified error"},
        {0x80004005, "Unspecified error"},
        {0x57, "The parameter is incorrect."},
        {0x80070057, "The parameter is incorrect."},
        {0x2030, "There is no such object on the server."},
        {0x054F, "An internal error occurred."},
        {0x0104, "One or more input parameters is invalid."},
        {0x3007, "OSS ASN.1 Error: Encode/Decode version mismatch."},
        {0x0962, "Active connections still exist."},
        {0xABCD0962, "Active connections still exist."},
    };
    for (auto const& c : cases)
        EXPECT_STREQ(XlatErrorCode(c.code), c.text) << std::hex << c.code;
}

TEST(XlatErrorCode, OtherCodesUseTheCLibraryText) {
    EXPECT_EQ(std::string(XlatErrorCode(ENOENT)), std::string(std::strerror(ENOENT)));
    EXPECT_EQ(std::string(XlatErrorCode(EACCES)), std::string(std::strerror(EACCES)));
    EXPECT_STREQ(XlatErrorCode(2), "No such file or directory");
}

TEST(XlatErrorCode, UnknownToBothGivesHex) {
    EXPECT_STREQ(XlatErrorCode(0x12345678), "0x12345678");
    EXPECT_STREQ(XlatErrorCode(0x10002), "0x00010002"); // low half 2 is not in the table
    EXPECT_STREQ(XlatErrorCode(0xFFFFFFFF), "0xffffffff");
}

TEST(XlatErrorCode, ConcurrentFirstUseOfTheTable) {
    // A re-executed child process starts without the table, so these threads really race to
    // build it.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            constexpr int kThreads = 8;
            std::atomic<int> ready{0};
            std::atomic<int> wrong{0};
            std::vector<std::thread> threads;
            for (int t = 0; t < kThreads; ++t) {
                threads.emplace_back([&, t] {
                    ++ready;
                    while (ready.load() < kThreads) {
                    }
                    for (int i = 0; i < 2000; ++i) {
                        bool const even = (t + i) % 2 == 0;
                        char const* text = XlatErrorCode(even ? 0x80004005u : 0x57u);
                        char const* expected =
                            even ? "Unspecified error" : "The parameter is incorrect.";
                        if (std::strcmp(text, expected) != 0)
                            ++wrong;
                    }
                });
            }
            for (auto& th : threads)
                th.join();
            std::exit(wrong.load() == 0 ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
}
