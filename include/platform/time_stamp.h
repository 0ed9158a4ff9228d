/// \file
/// CTimeStamp: a point in time held as one FILETIME value, with clamping arithmetic,
/// differences, text forms, a binary save form and display formatting.
#pragma once

#include <platform/calendar.h>
#include <platform/cstring.h>

#include <cstdint>

namespace zulwin {
class CFile;
}

namespace zulplatform {

/// 100-nanosecond ticks since 1601-01-01 00:00 UTC, always within 0 to GetMaxFileTime(): every
/// operation that would leave that range stops at its edge. Everything stored is UTC.
class PLATFORM_API CTimeStamp {
public:
    /// 0 (1601-01-01), or the current time to the millisecond when `now` is set.
    explicit CTimeStamp(bool now = false);
    /// 0 when the record fails IsValidSystemTime.
    explicit CTimeStamp(const _SYSTEMTIME& st);
    /// The maximum when the value fails IsValidFileTime.
    explicit CTimeStamp(const _FILETIME& ft);
    /// Unix seconds.
    explicit CTimeStamp(const unsigned int& unixSeconds);
    /// Unix seconds read as unsigned: negative counts and counts from 3001-01-01 on give the
    /// maximum.
    explicit CTimeStamp(const long& unixSeconds);
    /// Variant time, to the millisecond; 0 when it fails IsValidVariantTime.
    explicit CTimeStamp(const double& variantTime);
    /// "YYYY-MM-DDThh:mm:ss.fraction", read leniently: missing trailing fields keep those of
    /// 2000-01-01 00:00:00 ("2024-05-06" is midnight of that day); the fraction counts only when
    /// every field before it was read, and digits past nanoseconds are dropped. Null, empty or
    /// invalid text gives 0.
    explicit CTimeStamp(const char* text);

    /// Sets the current time.
    void Assign();

    /// The value: FILETIME ticks.
    std::uint64_t GetFileTime() const { return m_value; }
    /// UTC; 2000-01-01 00:00:00.000 (a Saturday marked 1) should the value not convert.
    _SYSTEMTIME GetSystemTime() const;
    /// Whole seconds; 0.0 when the conversion fails.
    double GetVariantTime() const;
    /// GetVariantTime plus the milliseconds.
    double GetVariantTimeWithMs() const;
    /// Unix seconds truncated to their low 32 bits.
    int GetUnixTime() const;
    /// Unix seconds, 0 before 1970 and at most 0xFFFFFFFF.
    unsigned int GetUnsignedUnixTime() const;

    /// @{
    /// this - other in milliseconds or seconds, saturated to INT_MIN..INT_MAX.
    int DiffMS(const CTimeStamp& other) const;
    int DiffSec(const CTimeStamp& other) const;
    /// @}
    /// this - other in milliseconds, 64-bit.
    long long DiffMS64(const CTimeStamp& other) const;
    /// this - other in microseconds.
    long long DiffUs(const CTimeStamp& other) const;
    /// Wraps around beyond about 292 years.
    long long DiffNs(const CTimeStamp& other) const;
    /// Milliseconds since 1970-01-01 00:00 UTC.
    long long DiffMS64AsUnixTimeMS() const;

    /// @{
    /// Moves the value by the amount (negative: back) and returns it. Each saturates at 0 and at
    /// the maximum, never wrapping; IncNs drops what is below 100 ns.
    CTimeStamp& IncNs(long long ns);
    CTimeStamp& IncUs(long long us);
    CTimeStamp& IncMS(int ms);
    CTimeStamp& IncSec(int s);
    CTimeStamp& IncDay(int d);
    /// @}

    /// "YYYY-MM-DDThh:mm:ss.mmm" in UTC, no zone suffix.
    zulwin::CString ToString() const;
    /// "YYYY-MM-DDThh:mm:ss.nnnnnnnnn" in UTC.
    zulwin::CString ToStringHr() const;

    /// @{
    /// Display forms in local time ("MM/DD/YY", " h:mm:ss PM"). A result that does not fit
    /// becomes size - 1 "#" characters; nothing happens for a null buffer or size 0. The time
    /// rounds to the nearest second unless `withMilliseconds` or `noRounding` is set. The
    /// settings are process-wide, built on first use (see RefreshDateTimeFormat).
    void FormatDate(char* buffer, unsigned long size) const;
    void FormatDate(zulwin::CString& out) const;
    void FormatTime(char* buffer, unsigned long size, bool withSeconds, bool withMilliseconds,
                    bool noRounding) const;
    void FormatTime(zulwin::CString& out, bool withSeconds, bool withMilliseconds,
                    bool noRounding) const;
    /// @}

    /// The magic 0x34058974 and the value, little-endian. Load also reads the two older forms
    /// (a UTC record after the magic 0x34058973, and a bare local record followed by 8 unused
    /// bytes). It returns the new value for the current form and the conversion's 1 or 0 for the
    /// older ones; a record cut short by the end of the file leaves the value as it was and gives
    /// 0. CFile exceptions pass.
    /// @{
    void Save(zulwin::CFile* file) const;
    std::uint64_t Load(zulwin::CFile* file);
    /// @}

    /// UTC midnight of today.
    static CTimeStamp GetMidnightToday();
    /// Seconds since the UTC midnight of ts.
    static int GetSecondsForToday(const CTimeStamp& ts);
    /// Seconds until the next local midnight.
    static int GetTimeRemainingTodaySec();

private:
    std::uint64_t m_value;
};

/// @{
/// Compare the values.
PLATFORM_API bool operator==(const CTimeStamp& a, const CTimeStamp& b);
PLATFORM_API bool operator!=(const CTimeStamp& a, const CTimeStamp& b);
PLATFORM_API bool operator<(const CTimeStamp& a, const CTimeStamp& b);
PLATFORM_API bool operator<=(const CTimeStamp& a, const CTimeStamp& b);
PLATFORM_API bool operator>(const CTimeStamp& a, const CTimeStamp& b);
PLATFORM_API bool operator>=(const CTimeStamp& a, const CTimeStamp& b);
/// @}

/// ts at 00:00:00.000 of its UTC date (UTC midnight, not local).
PLATFORM_API CTimeStamp GetMidnight(const CTimeStamp& ts);
/// Seconds since ts's UTC midnight.
PLATFORM_API int GetElapsedSecondsInDay(const CTimeStamp& ts);
/// Seconds from ts's local time of day to the next local midnight, counted on the local clock
/// (a daylight-saving change on the way is not taken into account).
PLATFORM_API int GetRemainingSecInDay(const CTimeStamp& ts);
/// Without fourDigits the year modulo 100; with it, 0-89 become 2000-2089, 90-99 become
/// 1990-1999 and any other year stays as it is.
PLATFORM_API unsigned int GetYearFromSystemTime(const _SYSTEMTIME& st, bool fourDigits);
/// The 12-hour form takes 12 off hours from 13 on (0 stays 0).
PLATFORM_API int GetHourFromSystemTime(const _SYSTEMTIME& st, bool h24);
/// @{
/// The process zone's conversions (see SystemTimeToTzSpecificLocalTime), and the current local
/// time; 2000-01-01 00:00:00.000 should one fail.
PLATFORM_API _SYSTEMTIME ConvertUtcToLocal(const _SYSTEMTIME& utc);
PLATFORM_API _SYSTEMTIME ConvertLocalToUtc(const _SYSTEMTIME& local);
PLATFORM_API _SYSTEMTIME GetCurrentLocalSystemTime();
/// @}
/// The display settings are built again on their next use.
PLATFORM_API void RefreshDateTimeFormat();

} // namespace zulplatform
