/// \file
/// Calendar conversions of the compatibility layer (SYSTEMTIME, FILETIME, variant time), the
/// validity limits they share with CTimeStamp, and the tick counter. All of it is UTC.
#pragma once

#include <platform/export.h>

#include <cstdint>

/// A broken-down time. Field order and width are those of the Windows record, so saved records
/// stay readable.
struct _SYSTEMTIME {
    std::uint16_t wYear;         ///< 1601 to 30827 for a valid time
    std::uint16_t wMonth;        ///< 1 to 12
    std::uint16_t wDayOfWeek;    ///< 0 = Sunday
    std::uint16_t wDay;          ///< 1 to 31
    std::uint16_t wHour;         ///< 0 to 23
    std::uint16_t wMinute;       ///< 0 to 59
    std::uint16_t wSecond;       ///< 0 to 59
    std::uint16_t wMilliseconds; ///< 0 to 999
};
static_assert(sizeof(_SYSTEMTIME) == 16, "the SYSTEMTIME record has no padding");

/// 100-nanosecond ticks since 1601-01-01 00:00:00 UTC, in two halves.
struct _FILETIME {
    std::uint32_t dwLowDateTime;  ///< the low 32 bits of the tick count
    std::uint32_t dwHighDateTime; ///< the high 32 bits
};
static_assert(sizeof(_FILETIME) == 8, "the FILETIME record has no padding");

namespace zulplatform {

/// Year 1601 to 30827, month 1 to 12, day 1 to 31, hour 0 to 23, minute and second 0 to 59,
/// milliseconds 0 to 999. The weekday is not looked at and the day is not checked against the
/// month's length (31 February passes).
PLATFORM_API bool IsValidSystemTime(const _SYSTEMTIME& st);
/// 0x7FFF35F4F06C58F0: 30827-12-31 23:59:59.999.
PLATFORM_API unsigned long long GetMaxFileTime();
/// The value is at most GetMaxFileTime().
PLATFORM_API bool IsValidFileTime(const _FILETIME& ft);
/// -109205.0 (1601-01-01) to 10565737.0 (30828-01-01 00:00, one day past the last valid system
/// time) inclusive; NaN is invalid.
PLATFORM_API bool IsValidVariantTime(double vt);

} // namespace zulplatform

namespace zulwin {

/// Each returns 1 on success; on a null pointer or an invalid input 0, last error 87, and the
/// output untouched.
PLATFORM_API int FileTimeToSystemTime(const _FILETIME* in, _SYSTEMTIME* out);
/// The weekday of `in` is ignored; a day past the month's end runs on into the next month.
PLATFORM_API int SystemTimeToFileTime(const _SYSTEMTIME* in, _FILETIME* out);
/// Rounds to the nearest second (milliseconds come out 0). A negative variant time carries its
/// time of day as a positive fraction: -1.25 is 1899-12-29 06:00.
PLATFORM_API int VariantTimeToSystemTime(double vt, _SYSTEMTIME* out);
/// Milliseconds are dropped. Times before 1899-12-30 give the plain linear value (1899-12-29
/// 06:00 is -0.75), so this is not the inverse of VariantTimeToSystemTime for them.
PLATFORM_API int SystemTimeToVariantTime(_SYSTEMTIME* in, double* out);

/// The current UTC time to the millisecond.
/// @{
PLATFORM_API void GetSystemTime(_SYSTEMTIME* out);
PLATFORM_API void GetSystemTimeAsFileTime(_FILETIME* out);
/// @}

/// Milliseconds of the raw monotonic clock (CLOCK_MONOTONIC_RAW): seconds * 1000 plus the
/// whole milliseconds of the nanoseconds. For measuring intervals; it has no epoch of meaning.
PLATFORM_API std::uint64_t GetTickCount();

} // namespace zulwin
