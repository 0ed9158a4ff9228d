// Profile writers in threads of one process: each call opens the file itself, so the writers'
// flock (held per open file, not per process) serialises threads as it does processes.
#include <platform/ini_file.h>
#include <platform/profile.h>

#include "support/scratch.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

namespace {

TEST(WritePrivateProfileStringThreads, ConcurrentThreadsLoseNoUpdate) {
    constexpr int kThreads = 4;
    constexpr int kKeys = 50;
    test_support::ScratchDir dir;
    std::string const file = dir / "threads.ini";
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([t, &file] {
            for (int k = 0; k < kKeys; ++k) {
                std::string const key = "t" + std::to_string(t) + "k" + std::to_string(k);
                zulwin::WritePrivateProfileString("Shared", key.c_str(), key.c_str(), file.c_str());
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    CIniFile ini;
    ASSERT_TRUE(ini.Load(file.c_str()));
    EXPECT_EQ(ini._GetSectionSize("Shared"), std::size_t{kThreads * kKeys + 1});
    char buffer[32];
    for (int t = 0; t < kThreads; ++t)
        for (int k = 0; k < kKeys; ++k) {
            std::string const key = "t" + std::to_string(t) + "k" + std::to_string(k);
            zulwin::GetPrivateProfileString("shared", key.c_str(), "", buffer, sizeof buffer,
                                            file.c_str());
            ASSERT_EQ(key, buffer);
        }
}

} // namespace
