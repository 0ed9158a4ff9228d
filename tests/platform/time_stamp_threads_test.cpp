// The display settings are process-wide and built on first use: threads formatting while
// others keep clearing them must all see the same settings, and no data race.
#include <platform/time.h>

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

// The local-time conversions share the C library's zone state, which the C library guards with
// an internal lock that ThreadSanitizer cannot see; its reports there are not ours to act on.
// (Only the ThreadSanitizer runtime calls this.)
extern "C" const char* __tsan_default_suppressions() {
    return "race:tzset_internal\nrace:__tzfile_read\nrace:__tzfile_compute\nrace:__tz_compute\n"
           "race:__tz_convert\nrace:__tzstring\n";
}

TEST(TimeStampThreads, DisplaySettingsRebuiltUnderConcurrentUse) {
    // A fixed instant in whatever zone the process has: only consistency is checked. Every
    // thread clears the settings before each use, so builds and uses overlap.
    zulplatform::CTimeStamp const ts(1715000000U);
    auto shown = [&] {
        char date[32], time[32];
        ts.FormatDate(date, sizeof date);
        ts.FormatTime(time, sizeof time, true, true, false);
        return std::string(date) + " " + time;
    };
    std::string const expected = shown();
    std::atomic<int> mismatches{0};
    std::vector<std::thread> workers;
    for (int t = 0; t < 4; ++t)
        workers.emplace_back([&] {
            for (int i = 0; i < 1000; ++i) {
                zulplatform::RefreshDateTimeFormat();
                mismatches += shown() != expected;
            }
        });
    for (std::thread& w : workers)
        w.join();
    EXPECT_EQ(mismatches.load(), 0);
}
