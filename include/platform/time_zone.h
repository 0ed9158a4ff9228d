/// \file
/// Named time zones from the system's zone database: zone lists, Windows ids, display names,
/// daylight saving, and conversion between UTC and a zone's local time.
#pragma once

#include <platform/cstring.h>
#include <platform/export.h>
#include <platform/local_time.h>
#include <platform/time_stamp.h>

#include <memory>
#include <vector>

namespace zulplatform {
class _TzZone;
} // namespace zulplatform

/// One change of a zone's local time.
struct CTimeZoneTransition {
    zulplatform::CTimeStamp at;   ///< the first instant with the new values
    int offset;                   ///< seconds east of UTC from then on
    bool daylight;                ///< IsDaylightTime from then on
    zulwin::CString abbreviation; ///< the abbreviation from then on ("CEST")
};

/// A time zone: a cheap value sharing its zone, which is loaded once per name for the whole
/// process and never changes, so copies may be used from any thread.
class PLATFORM_API CTimeZone {
public:
    /// UTC, named "Etc/UTC".
    CTimeZone();

    /// Becomes the zone named by a Windows id (case ignored), a name of the zone database
    /// (below TZDIR, else /usr/share/zoneinfo) or a POSIX TZ rule, tried in that order. False,
    /// and the object unchanged, for anything else, including a file that is not a valid zone.
    bool Load(const char* name);

    /// UTC, named "Etc/UTC".
    static CTimeZone Utc();
    /// The process's zone: TZ when set (empty is UTC, a leading ":" is dropped), else
    /// /etc/localtime; UTC when that names nothing usable, as the C library does.
    static CTimeZone Local();
    /// Every zone and link name of the database, sorted bytewise.
    static void GetZoneNames(std::vector<zulwin::CString>& names);
    /// Every Windows id known, sorted bytewise.
    static void GetWindowsIds(std::vector<zulwin::CString>& ids);

    /// The name loaded; for a Windows id, the database zone it stands for.
    zulwin::CString GetName() const;
    /// Empty when the zone has no Windows id.
    zulwin::CString GetWindowsId() const;
    /// "(UTC+01:00) Europe/Berlin", with this year's standard offset.
    zulwin::CString GetDisplayName() const;

    /// Seconds east of UTC at `at`.
    int GetUtcOffset(const zulplatform::CTimeStamp& at) const;
    /// The abbreviation in use at `at` ("CET", "CEST").
    zulwin::CString GetAbbreviation(const zulplatform::CTimeStamp& at) const;
    /// True when the offset at `at` exceeds the smallest offset of its UTC calendar year, so
    /// summer time counts as daylight time even where the data marks winter as the exception.
    bool IsDaylightTime(const zulplatform::CTimeStamp& at) const;
    /// Every instant of the UTC calendar year at which the offset, the daylight flag or the
    /// abbreviation changes, in order; empty for a year outside 1601 to 30827.
    void GetTransitions(int year, std::vector<CTimeZoneTransition>& transitions) const;

    /// False with last error 87, and the output untouched, for an invalid input record or a
    /// result outside the valid range. The day of the week is computed, milliseconds kept.
    bool UtcToLocal(const _SYSTEMTIME& utc, _SYSTEMTIME& local) const;
    /// A local time that occurs twice gives the earlier instant for `fold` 0, the later for 1;
    /// one that never occurs is read with the offset from before the gap for 0, after it for 1.
    bool LocalToUtc(const _SYSTEMTIME& local, _SYSTEMTIME& utc, int fold = 0) const;
    /// A local time stamp holds the wall time as if it were UTC. Results saturate at the ends
    /// of the time stamp range.
    /// @{
    zulplatform::CTimeStamp UtcToLocal(const zulplatform::CTimeStamp& utc) const;
    zulplatform::CTimeStamp LocalToUtc(const zulplatform::CTimeStamp& local, int fold = 0) const;
    /// @}

    /// The Windows information record of `year` (1601 to 30827, else false): standard time is the
    /// smallest offset of the year, daylight time the largest, with the dates of the first
    /// changes between them as Windows rule dates.
    bool GetTimeZoneInformation(int year, _TIME_ZONE_INFORMATION& tzi) const;

private:
    std::shared_ptr<const zulplatform::_TzZone> m_zone;
};

namespace zulwin {

/// The record of CTimeZone::Local() for the current year. Returns 0 when the year has no
/// daylight saving, 1 when standard time is in effect now, 2 when daylight time is; for a null
/// `tzi`, 0xFFFFFFFF with last error 87.
PLATFORM_API unsigned int GetTimeZoneInformation(_TIME_ZONE_INFORMATION* tzi);

} // namespace zulwin
