// The Windows call for the process zone's information record, on CTimeZone::Local().
#include <platform/last_error.h>
#include <platform/time_zone.h>

namespace zulwin {

unsigned int GetTimeZoneInformation(_TIME_ZONE_INFORMATION* tzi) {
    if (tzi == nullptr) {
        SetLastError(87);
        return 0xFFFFFFFF;
    }
    zulplatform::CTimeStamp const now(true);
    CTimeZone const zone = CTimeZone::Local();
    zone.GetTimeZoneInformation(now.GetSystemTime().wYear, *tzi);
    // The daylight bias is zero exactly when the year has a single offset (to the minute).
    if (tzi->DaylightBias == 0)
        return 0;
    return zone.IsDaylightTime(now) ? 2 : 1;
}

} // namespace zulwin
