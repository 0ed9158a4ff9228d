// CTimeZone: conversions, transitions and the Windows information record on a shared zone.
#include <platform/time_zone.h>

#include <platform/calendar.h>
#include <platform/last_error.h>

#include "platform/internal/civil_days.h"
#include "platform/internal/tz_database.h"
#include "platform/internal/windows_zones.h"

#include <algorithm>
#include <cstdio>
#include <ctime>

using zulplatform::_TzLocalType;
using zulplatform::_TzZone;
using zulplatform::CTimeStamp;
using zulplatform::kSecondsPerDay;

namespace {

constexpr std::int64_t kTicksPerSecond = 10000000;
// Seconds from 1601-01-01, where time stamps start, to the Unix epoch.
constexpr std::int64_t kEpochSeconds = 11644473600;
constexpr std::uint64_t kMaxTicks = 0x7FFF35F4F06C58F0;
constexpr int kFirstYear = 1601;
constexpr int kLastYear = 30827;
constexpr unsigned int kInvalidParameter = 87;

std::uint64_t TicksOf(const CTimeStamp& stamp) {
    return stamp.GetFileTime();
}

CTimeStamp StampOf(std::uint64_t ticks) {
    _FILETIME ft;
    ft.dwLowDateTime = static_cast<std::uint32_t>(ticks);
    ft.dwHighDateTime = static_cast<std::uint32_t>(ticks >> 32);
    return CTimeStamp(ft);
}

// Unix seconds of a time stamp, rounded down (a stamp is never before 1601).
std::int64_t UnixSeconds(std::uint64_t ticks) {
    return static_cast<std::int64_t>(ticks / kTicksPerSecond) - kEpochSeconds;
}

CTimeStamp StampOfUnix(std::int64_t seconds) {
    return StampOf(static_cast<std::uint64_t>(seconds + kEpochSeconds) * kTicksPerSecond);
}

// `ticks` moved by `seconds`, held to the time stamp range.
std::uint64_t ShiftTicks(std::uint64_t ticks, std::int32_t seconds) {
    std::int64_t const delta = std::int64_t{seconds} * kTicksPerSecond;
    if (delta < 0 && ticks < static_cast<std::uint64_t>(-delta))
        return 0;
    std::uint64_t const moved = ticks + static_cast<std::uint64_t>(delta);
    return delta > 0 && moved > kMaxTicks ? kMaxTicks : moved;
}

std::int64_t YearStart(std::int64_t year) {
    return zulplatform::_DaysFromCivil(year, 1, 1) * kSecondsPerDay;
}

int UtcYearOf(std::int64_t t) {
    return static_cast<int>(
        zulplatform::_CivilFromDays(zulplatform::_FloorDiv(t, kSecondsPerDay)).year);
}

std::int64_t SecondsOf(const _SYSTEMTIME& st) {
    return zulplatform::_DaysFromCivil(st.wYear, st.wMonth, st.wDay) * kSecondsPerDay +
           st.wHour * 3600 + st.wMinute * 60 + st.wSecond;
}

// Fills `out` from Unix seconds; false when they fall outside the valid years.
bool SystemTimeOf(std::int64_t t, std::uint16_t milliseconds, _SYSTEMTIME& out) {
    if (t < YearStart(kFirstYear) || t >= YearStart(kLastYear + 1))
        return false;
    std::int64_t const days = zulplatform::_FloorDiv(t, kSecondsPerDay);
    std::int64_t const secs = t - days * kSecondsPerDay;
    zulplatform::_CivilDate const date = zulplatform::_CivilFromDays(days);
    out.wYear = static_cast<std::uint16_t>(date.year);
    out.wMonth = static_cast<std::uint16_t>(date.month);
    out.wDayOfWeek = static_cast<std::uint16_t>(zulplatform::_WeekdayFromDays(days));
    out.wDay = static_cast<std::uint16_t>(date.day);
    out.wHour = static_cast<std::uint16_t>(secs / 3600);
    out.wMinute = static_cast<std::uint16_t>(secs / 60 % 60);
    out.wSecond = static_cast<std::uint16_t>(secs % 60);
    out.wMilliseconds = milliseconds;
    return true;
}

bool Fail() {
    zulwin::SetLastError(kInvalidParameter);
    return false;
}

// The smallest and largest offsets in effect during [from, to).
void OffsetRange(const _TzZone& zone, std::int64_t from, std::int64_t to, std::int32_t& least,
                 std::int32_t& most) {
    least = most = zone.TypeAt(from).offset;
    zone.ForEachChange(from, to, [&](std::int64_t, const _TzLocalType& type) {
        least = std::min(least, type.offset);
        most = std::max(most, type.offset);
    });
}

std::int32_t LeastOffsetOfYear(const _TzZone& zone, std::int64_t year) {
    std::int32_t least, most;
    OffsetRange(zone, YearStart(year), YearStart(year + 1), least, most);
    return least;
}

void CopyName(const std::string& text, char16_t (&name)[32]) {
    std::size_t const n = std::min<std::size_t>(text.size(), 31);
    for (std::size_t i = 0; i < n; ++i)
        name[i] = static_cast<unsigned char>(text[i]);
    std::fill(name + n, name + 32, u'\0');
}

// The Windows rule date of a change at `at` from a time with offset `before`: the month, the
// weekday, the week of the month (5 meaning the last) and the wall time before the change.
_SYSTEMTIME RuleDate(std::int64_t at, std::int32_t before) {
    // Computed without the range check of SystemTimeOf: the wall time of a change at the very
    // start or end of the valid years may lie just outside them.
    std::int64_t const wall = at + before;
    std::int64_t const days = zulplatform::_FloorDiv(wall, kSecondsPerDay);
    std::int64_t const secs = wall - days * kSecondsPerDay;
    zulplatform::_CivilDate const date = zulplatform::_CivilFromDays(days);
    int const length = zulplatform::_DaysInMonth(date.year, date.month);
    _SYSTEMTIME rule{};
    rule.wMonth = static_cast<std::uint16_t>(date.month);
    rule.wDayOfWeek = static_cast<std::uint16_t>(zulplatform::_WeekdayFromDays(days));
    rule.wDay = static_cast<std::uint16_t>(date.day + 7 > length ? 5 : (date.day + 6) / 7);
    rule.wHour = static_cast<std::uint16_t>(secs / 3600);
    rule.wMinute = static_cast<std::uint16_t>(secs / 60 % 60);
    rule.wSecond = static_cast<std::uint16_t>(secs % 60);
    return rule;
}

int CurrentYear() {
    return UtcYearOf(static_cast<std::int64_t>(std::time(nullptr)));
}

} // namespace

CTimeZone::CTimeZone() : m_zone(zulplatform::_UtcZone()) {}

bool CTimeZone::Load(const char* name) {
    std::shared_ptr<const _TzZone> zone = zulplatform::_LoadZone(name);
    if (!zone)
        return false;
    m_zone = std::move(zone);
    return true;
}

CTimeZone CTimeZone::Utc() {
    return CTimeZone();
}

CTimeZone CTimeZone::Local() {
    CTimeZone zone;
    zone.m_zone = zulplatform::_LoadLocalZone();
    return zone;
}

void CTimeZone::GetZoneNames(std::vector<zulwin::CString>& names) {
    names.clear();
    for (const std::string& name : zulplatform::_ZoneNames())
        names.emplace_back(name.c_str());
}

void CTimeZone::GetWindowsIds(std::vector<zulwin::CString>& ids) {
    ids.clear();
    for (const std::string& id : zulplatform::_WindowsIds())
        ids.emplace_back(id.c_str());
}

zulwin::CString CTimeZone::GetName() const {
    return zulwin::CString(m_zone->name.c_str());
}

zulwin::CString CTimeZone::GetWindowsId() const {
    const char* const id = zulplatform::_WindowsIdOfZone(m_zone->name.c_str());
    return zulwin::CString(id != nullptr ? id : "");
}

zulwin::CString CTimeZone::GetDisplayName() const {
    _TIME_ZONE_INFORMATION tzi;
    GetTimeZoneInformation(CurrentYear(), tzi);
    int const minutes = -tzi.Bias;
    int const magnitude = minutes < 0 ? -minutes : minutes;
    char prefix[32];
    std::snprintf(prefix, sizeof prefix, "(UTC%c%02d:%02d) ", minutes < 0 ? '-' : '+',
                  magnitude / 60, magnitude % 60);
    return zulwin::CString((prefix + m_zone->name).c_str());
}

int CTimeZone::GetUtcOffset(const CTimeStamp& at) const {
    return m_zone->TypeAt(UnixSeconds(TicksOf(at))).offset;
}

zulwin::CString CTimeZone::GetAbbreviation(const CTimeStamp& at) const {
    return zulwin::CString(m_zone->Abbreviation(m_zone->TypeAt(UnixSeconds(TicksOf(at)))).c_str());
}

bool CTimeZone::IsDaylightTime(const CTimeStamp& at) const {
    std::int64_t const t = UnixSeconds(TicksOf(at));
    return m_zone->TypeAt(t).offset > LeastOffsetOfYear(*m_zone, UtcYearOf(t));
}

void CTimeZone::GetTransitions(int year, std::vector<CTimeZoneTransition>& transitions) const {
    transitions.clear();
    if (year < kFirstYear || year > kLastYear)
        return;
    std::int64_t const from = YearStart(year);
    std::int32_t const least = LeastOffsetOfYear(*m_zone, year);
    // What holds just before the year, judged by that year's own smallest offset, so that a
    // change of the daylight flag at midnight of January 1 is reported too.
    const _TzLocalType* current = &m_zone->TypeAt(from - 1);
    bool daylight = current->offset > LeastOffsetOfYear(*m_zone, year - 1);
    m_zone->ForEachChange(
        from, YearStart(year + 1), [&](std::int64_t at, const _TzLocalType& type) {
            bool const nowDaylight = type.offset > least;
            if (type.offset == current->offset && nowDaylight == daylight &&
                m_zone->Abbreviation(type) == m_zone->Abbreviation(*current))
                return;
            current = &type;
            daylight = nowDaylight;
            transitions.push_back({StampOfUnix(at), type.offset, nowDaylight,
                                   zulwin::CString(m_zone->Abbreviation(type).c_str())});
        });
}

bool CTimeZone::UtcToLocal(const _SYSTEMTIME& utc, _SYSTEMTIME& local) const {
    if (!zulplatform::IsValidSystemTime(utc))
        return Fail();
    std::int64_t const t = SecondsOf(utc);
    _SYSTEMTIME out;
    if (!SystemTimeOf(t + m_zone->TypeAt(t).offset, utc.wMilliseconds, out))
        return Fail();
    local = out;
    return true;
}

bool CTimeZone::LocalToUtc(const _SYSTEMTIME& local, _SYSTEMTIME& utc, int fold) const {
    if (!zulplatform::IsValidSystemTime(local))
        return Fail();
    std::int64_t const wall = SecondsOf(local);
    _SYSTEMTIME out;
    if (!SystemTimeOf(wall - m_zone->WallOffset(wall, fold), local.wMilliseconds, out))
        return Fail();
    utc = out;
    return true;
}

CTimeStamp CTimeZone::UtcToLocal(const CTimeStamp& utc) const {
    std::uint64_t const ticks = TicksOf(utc);
    return StampOf(ShiftTicks(ticks, m_zone->TypeAt(UnixSeconds(ticks)).offset));
}

CTimeStamp CTimeZone::LocalToUtc(const CTimeStamp& local, int fold) const {
    std::uint64_t const ticks = TicksOf(local);
    return StampOf(ShiftTicks(ticks, -m_zone->WallOffset(UnixSeconds(ticks), fold)));
}

bool CTimeZone::GetTimeZoneInformation(int year, _TIME_ZONE_INFORMATION& tzi) const {
    if (year < kFirstYear || year > kLastYear)
        return false;
    std::int64_t const from = YearStart(year);
    std::int64_t const to = YearStart(year + 1);
    std::int32_t least, most;
    OffsetRange(*m_zone, from, to, least, most);
    _TIME_ZONE_INFORMATION out{};
    out.Bias = -least / 60;
    out.StandardBias = 0;
    out.DaylightBias = -(most - least) / 60;
    // The first changes of the year into daylight time and back, and the abbreviations of
    // the two offsets as first seen in the year.
    std::string standardAbbr, daylightAbbr;
    bool haveDaylightDate = false, haveStandardDate = false, first = true;
    std::int32_t previous = 0;
    m_zone->ForEachChange(from, to, [&](std::int64_t at, const _TzLocalType& type) {
        if (type.offset == least && standardAbbr.empty())
            standardAbbr = m_zone->Abbreviation(type);
        if (type.offset == most && daylightAbbr.empty())
            daylightAbbr = m_zone->Abbreviation(type);
        if (!first && least != most && type.offset != previous) {
            if (type.offset == most && !haveDaylightDate) {
                out.DaylightDate = RuleDate(at, previous);
                haveDaylightDate = true;
            } else if (type.offset == least && previous == most && !haveStandardDate) {
                out.StandardDate = RuleDate(at, previous);
                haveStandardDate = true;
            }
        }
        first = false;
        previous = type.offset;
    });
    const char* const id = zulplatform::_WindowsIdOfZone(m_zone->name.c_str());
    if (id != nullptr) {
        std::string const standard = id;
        std::string daylight = standard;
        static const std::string kStandard = "Standard Time";
        if (daylight.size() >= kStandard.size() &&
            daylight.compare(daylight.size() - kStandard.size(), kStandard.size(), kStandard) == 0)
            daylight.replace(daylight.size() - kStandard.size(), kStandard.size(), "Daylight Time");
        CopyName(standard, out.StandardName);
        CopyName(daylight, out.DaylightName);
    } else {
        CopyName(standardAbbr, out.StandardName);
        CopyName(least == most ? standardAbbr : daylightAbbr, out.DaylightName);
    }
    tzi = out;
    return true;
}
