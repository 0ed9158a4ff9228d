// The tick counter of the compatibility layer.
#include <platform/calendar.h>

#include <time.h>

namespace zulwin {

std::uint64_t GetTickCount() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC_RAW, &now);
    // Both parts are non-negative for this clock; the product stays far below 2^64.
    return static_cast<std::uint64_t>(now.tv_sec) * 1000u +
           static_cast<std::uint64_t>(now.tv_nsec) / 1000000u;
}

} // namespace zulwin
