// The tick counter: milliseconds of the raw monotonic clock.
#include <platform/calendar.h>

#include <gtest/gtest.h>

#include <time.h>

#include <chrono>
#include <thread>

TEST(TickCount, FollowsTheRawMonotonicClockInMilliseconds) {
    timespec raw{};
    clock_gettime(CLOCK_MONOTONIC_RAW, &raw);
    const std::uint64_t before =
        static_cast<std::uint64_t>(raw.tv_sec) * 1000 + raw.tv_nsec / 1000000;
    const std::uint64_t first = zulwin::GetTickCount();
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    const std::uint64_t second = zulwin::GetTickCount();
    EXPECT_GE(first, before);
    EXPECT_LT(first - before, 1000u);
    EXPECT_GE(second - first, 30u);
    EXPECT_LT(second - first, 5000u);
}
