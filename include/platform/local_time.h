/// \file
/// Conversions of a SYSTEMTIME between UTC and the local time of the process's own zone (the C
/// library's zone rules: TZ and the system zone data).
#pragma once

#include <platform/calendar.h>

#include <cstddef>
#include <cstdint>

/// A zone's rules in the Windows layout (172 bytes). The conversions below accept only a null
/// zone; named zones are handled by CTimeZone, which fills this record.
struct _TIME_ZONE_INFORMATION {
    std::int32_t Bias;         ///< minutes; UTC = local time + Bias
    char16_t StandardName[32]; ///< the standard time's name, NUL-terminated UTF-16
    _SYSTEMTIME StandardDate;  ///< when standard time starts, as a Windows rule date
    std::int32_t StandardBias; ///< minutes added to Bias in standard time (0 here)
    char16_t DaylightName[32]; ///< the daylight time's name
    _SYSTEMTIME DaylightDate;  ///< when daylight time starts; all zero without daylight time
    std::int32_t DaylightBias; ///< minutes added to Bias in daylight time (-60 for one hour)
};
static_assert(sizeof(_TIME_ZONE_INFORMATION) == 172, "the Windows layout");
static_assert(offsetof(_TIME_ZONE_INFORMATION, StandardName) == 4, "the Windows layout");
static_assert(offsetof(_TIME_ZONE_INFORMATION, StandardDate) == 68, "the Windows layout");
static_assert(offsetof(_TIME_ZONE_INFORMATION, StandardBias) == 84, "the Windows layout");
static_assert(offsetof(_TIME_ZONE_INFORMATION, DaylightName) == 88, "the Windows layout");
static_assert(offsetof(_TIME_ZONE_INFORMATION, DaylightDate) == 152, "the Windows layout");
static_assert(offsetof(_TIME_ZONE_INFORMATION, DaylightBias) == 168, "the Windows layout");

namespace zulwin {

/// Both return 1 on success, and 0 with last error 87 (outputs untouched) for a non-null zone or
/// a null record. The fields are not validated; wDayOfWeek is recomputed and wMilliseconds
/// copied from the input, so milliseconds never take part in the conversion.
PLATFORM_API int SystemTimeToTzSpecificLocalTime(_TIME_ZONE_INFORMATION* zone,
                                                 const _SYSTEMTIME* utc, _SYSTEMTIME* local);
/// Whether daylight saving applies to `local` is left to the C library (mktime with
/// tm_isdst = -1), also for the hour skipped or repeated at a change.
PLATFORM_API int TzSpecificLocalTimeToSystemTime(_TIME_ZONE_INFORMATION* zone,
                                                 const _SYSTEMTIME* local, _SYSTEMTIME* utc);

} // namespace zulwin
