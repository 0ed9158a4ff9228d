// Time: conversions between SYSTEMTIME, FILETIME, variant time and Unix time, and the tick
// counter.
#pragma once

#include <platform/calendar.h>
