// Zones loaded and used from many threads at once: every thread must see the same conversions
// as a single thread does.
#include <platform/time_zone.h>

#include "support/time_records.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

TEST(TimeZoneThreads, ConcurrentLoadsShareOneZoneAndAgree) {
    // Names not loaded before in this process, so that the threads race on the first load.
    const char* const names[] = {"Europe/Vienna", "Australia/Adelaide", "Tokyo Standard Time",
                                 "<-0330>3:30<-0230>,M3.2.0,M11.1.0"};
    constexpr std::size_t kThreads = 6, kNames = std::size(names);
    // A digest of a zone's conversions over a spread of instants and wall times (1875 to 2128).
    auto digest = [&](std::size_t n) {
        CTimeZone zone;
        std::uint64_t sum = zone.Load(names[n]);
        for (std::uint64_t ticks = 86444736000000000; ticks < 166444736000000000;
             ticks += 155555570000000) {
            zulplatform::CTimeStamp const at(test_support::FileTime(ticks));
            sum = (sum * 31 + zone.UtcToLocal(at).GetFileTime()) * 31 +
                  zone.LocalToUtc(at, static_cast<int>(ticks & 1)).GetFileTime() +
                  zone.IsDaylightTime(at);
        }
        return sum;
    };
    std::uint64_t got[kThreads][kNames] = {};
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < kThreads; ++i) // each thread in another order
        threads.emplace_back([&, i] {
            for (std::size_t k = 0; k < kNames; ++k)
                got[i][(k + i) % kNames] = digest((k + i) % kNames);
        });
    for (std::thread& t : threads)
        t.join();
    for (std::size_t n = 0; n < kNames; ++n)
        for (std::size_t i = 0; i < kThreads; ++i)
            EXPECT_EQ(got[i][n], digest(n)) << i << " " << names[n];
}
