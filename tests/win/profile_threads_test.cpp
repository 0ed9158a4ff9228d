// Profile writers in threads of one process: each call opens the file itself, so the writers'
// flock (held per open file, not per process) serialises threads as it does processes.
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
    auto const key = [](int t, int k) { return "t" + std::to_string(t) + "k" + std::to_string(k); };
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([t, &file, &key] {
            for (int k = 0; k < kKeys; ++k)
                zulwin::WritePrivateProfileString("Shared", key(t, k).c_str(), key(t, k).c_str(),
                                                  file.c_str());
        });
    for (std::thread& thread : threads)
        thread.join();
    char buffer[32];
    for (int i = 0; i < kThreads * kKeys; ++i) {
        std::string const want = key(i / kKeys, i % kKeys);
        zulwin::GetPrivateProfileString("shared", want.c_str(), "", buffer, 32, file.c_str());
        ASSERT_EQ(want, buffer);
    }
}
