// Profile writers in threads of one process: each call opens the file itself, so the writers'
// flock (held per open file, not per process) serialises threads as it does processes.
#include <platform/ini_file.h>
#include <platform/profile.h>

#include "support/scratch.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

TEST(WritePrivateProfileStringThreads, ConcurrentThreadsLoseNoUpdate) {
    constexpr int kThreads = 4, kKeys = 40;
    test_support::ScratchDir dir;
    std::string const file = dir / "threads.ini";
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([t, &file] {
            for (int k = t * kKeys; k < (t + 1) * kKeys; ++k)
                zulwin::WritePrivateProfileString("Shared", std::to_string(k).c_str(), "v",
                                                  file.c_str());
        });
    for (std::thread& thread : threads)
        thread.join();
    CIniFile ini;
    ASSERT_TRUE(ini.Load(file.c_str()));
    // Every key, and the section's own empty key.
    EXPECT_EQ(ini._GetSectionSize("Shared"), std::size_t{kThreads * kKeys + 1});
}
