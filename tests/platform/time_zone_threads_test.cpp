// Zones loaded and used from many threads at once: every thread must see the same shared zone
// and the same conversions as a single thread does.
#include <platform/time_zone.h>

#include "support/time_records.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace {

constexpr std::int64_t kEpochTicks = 116444736000000000;

zulplatform::CTimeStamp Unix(std::int64_t seconds) {
    return zulplatform::CTimeStamp(
        test_support::FileTime(static_cast<std::uint64_t>(seconds * 10000000 + kEpochTicks)));
}

// A digest of a zone's conversions over a spread of instants and wall times.
std::uint64_t Digest(const CTimeZone& zone) {
    std::uint64_t sum = 0;
    for (std::int64_t t = -3000000000; t < 5000000000; t += 15555557) {
        sum = sum * 31 + zone.UtcToLocal(Unix(t)).GetFileTime();
        sum = sum * 31 + zone.LocalToUtc(Unix(t), static_cast<int>(t & 1)).GetFileTime();
        sum = sum * 31 + static_cast<std::uint64_t>(zone.IsDaylightTime(Unix(t)));
    }
    return sum;
}

} // namespace

TEST(TimeZoneThreads, ConcurrentLoadsShareOneZoneAndAgree) {
    // Names not loaded before in this process, so that the threads race on the first load.
    const char* const names[] = {"Europe/Vienna", "Australia/Adelaide", "Tokyo Standard Time",
                                 "<-0330>3:30<-0230>,M3.2.0,M11.1.0"};
    constexpr std::size_t kThreads = 6, kNames = std::size(names);
    std::vector<std::vector<std::uint64_t>> got(kThreads);
    std::atomic<std::size_t> ready{0};
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < kThreads; ++i) {
        threads.emplace_back([&, i] {
            for (++ready; ready.load() < kThreads;) {
            }
            for (std::size_t k = 0; k < kNames; ++k) {
                CTimeZone zone;
                bool const loaded = zone.Load(names[(k + i) % kNames]);
                CTimeZone const copy = zone; // values copied across threads share the zone
                got[i].push_back(loaded ? Digest(copy) : 0);
            }
        });
    }
    for (std::thread& t : threads)
        t.join();
    for (std::size_t k = 0; k < kNames; ++k) {
        CTimeZone zone;
        ASSERT_TRUE(zone.Load(names[k])) << names[k];
        for (std::size_t i = 0; i < kThreads; ++i)
            EXPECT_EQ(got[i][(k + kNames - i % kNames) % kNames], Digest(zone)) << i << " " << k;
    }
}
