// Shared by the time-stamp sources: the record conversions start from.
#pragma once

#include <platform/calendar.h>

namespace zulplatform {

// 2000-01-01 00:00:00.000, weekday field 1: what a failed conversion hands back.
constexpr _SYSTEMTIME kDefaultSystemTime = {2000, 1, 1, 1, 0, 0, 0, 0};

} // namespace zulplatform
