// Calendar conversions of the compatibility layer, and the tick counter.
#pragma once

#include <platform/export.h>

#include <cstdint>

namespace zulwin {

// Milliseconds of the raw monotonic clock (CLOCK_MONOTONIC_RAW): seconds * 1000 plus the
// whole milliseconds of the nanoseconds. For measuring intervals; it has no epoch of meaning.
PLATFORM_API std::uint64_t GetTickCount();

} // namespace zulwin
