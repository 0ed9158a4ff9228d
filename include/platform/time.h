/// \file
/// Time: conversions between SYSTEMTIME, FILETIME, variant time and Unix time, the tick
/// counter, conversions to and from the process's local time, CTimeStamp, and named time zones.
#pragma once

#include <platform/calendar.h>
#include <platform/local_time.h>
#include <platform/time_stamp.h>
#include <platform/time_zone.h>
