// UTC <-> local time of the process's zone, through the C library's zone state. No lock of our
// own: tzset, mktime and localtime_r serialise on the C library's.
#include <platform/last_error.h>
#include <platform/local_time.h>

#include <time.h>

namespace zulwin {

namespace {

tm ToTm(const _SYSTEMTIME& st, int isdst) {
    tm t{};
    t.tm_year = st.wYear - 1900;
    t.tm_mon = st.wMonth - 1;
    t.tm_mday = st.wDay;
    t.tm_hour = st.wHour;
    t.tm_min = st.wMinute;
    t.tm_sec = st.wSecond;
    t.tm_isdst = isdst;
    return t;
}

void FromTm(const tm& t, std::uint16_t milliseconds, _SYSTEMTIME& st) {
    // Truncation to 16 bits is what the record can hold; unsigned arithmetic keeps it defined.
    st.wYear = static_cast<std::uint16_t>(static_cast<unsigned int>(t.tm_year) + 1900u);
    st.wMonth = static_cast<std::uint16_t>(t.tm_mon + 1);
    st.wDayOfWeek = static_cast<std::uint16_t>(t.tm_wday);
    st.wDay = static_cast<std::uint16_t>(t.tm_mday);
    st.wHour = static_cast<std::uint16_t>(t.tm_hour);
    st.wMinute = static_cast<std::uint16_t>(t.tm_min);
    st.wSecond = static_cast<std::uint16_t>(t.tm_sec);
    st.wMilliseconds = milliseconds;
}

int InvalidParameter() {
    SetLastError(ERROR_INVALID_PARAMETER);
    return 0;
}

} // namespace

int SystemTimeToTzSpecificLocalTime(_TIME_ZONE_INFORMATION* zone, const _SYSTEMTIME* utc,
                                    _SYSTEMTIME* local) {
    if (zone != nullptr || utc == nullptr || local == nullptr)
        return InvalidParameter();
    std::uint16_t const milliseconds = utc->wMilliseconds;
    tm t = ToTm(*utc, 0);
    // mktime reads the fields as local standard time; adding the offset it leaves behind turns
    // the result back into the UTC instant, except that when the normalised instant lies in
    // daylight time that offset includes the daylight hour, which the check below takes off.
    time_t instant = mktime(&t) + t.tm_gmtoff;
    tzset();
    tm local_tm{};
    if (localtime_r(&instant, &local_tm) == nullptr)
        return 1;
    if (local_tm.tm_isdst > 0) {
        instant -= 3600;
        if (localtime_r(&instant, &local_tm) == nullptr)
            return 1;
    }
    FromTm(local_tm, milliseconds, *local);
    return 1;
}

int TzSpecificLocalTimeToSystemTime(_TIME_ZONE_INFORMATION* zone, const _SYSTEMTIME* local,
                                    _SYSTEMTIME* utc) {
    if (zone != nullptr || local == nullptr || utc == nullptr)
        return InvalidParameter();
    std::uint16_t const milliseconds = local->wMilliseconds;
    tm t = ToTm(*local, -1);
    time_t const instant = mktime(&t);
    tm utc_tm{};
    if (gmtime_r(&instant, &utc_tm) == nullptr)
        return 1;
    FromTm(utc_tm, milliseconds, *utc);
    return 1;
}

} // namespace zulwin
