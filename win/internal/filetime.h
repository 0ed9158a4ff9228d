// FILETIME arithmetic: 100-nanosecond ticks since 1601-01-01 00:00:00 UTC.
#pragma once

#include <cstdint>

namespace zulwin::filetime {

constexpr std::uint64_t kTicksPerSecond = 10000000;
// The Unix epoch, 1970-01-01 00:00:00 UTC, in ticks.
constexpr std::uint64_t kUnixEpochTicks = 116444736000000000;
// The largest valid value: 30827-12-31 23:59:59.999.
constexpr std::uint64_t kMaxFileTime = 0x7FFF35F4F06C58F0;
// The first Unix second past the valid range: 30828-01-01 00:00:00 UTC.
constexpr std::uint64_t kFirstUnsupportedUnixSecond = 32535216000;

} // namespace zulwin::filetime
