// Calendar conversions between SYSTEMTIME, FILETIME and variant time, all in UTC.
//
// Dates are computed in closed form from day numbers (see internal/filetime.h); no year is ever
// walked and nothing is cached, so every function here is reentrant.
#include <platform/calendar.h>
#include <platform/last_error.h>

#include "win/internal/filetime.h"

#include <sys/time.h>

#include <cmath>

namespace zulplatform {

bool IsValidSystemTime(const _SYSTEMTIME& st) {
    return zulwin::filetime::IsValidSystemTime(st);
}

unsigned long long GetMaxFileTime() {
    return zulwin::filetime::kMaxFileTime;
}

bool IsValidFileTime(const _FILETIME& ft) {
    return zulwin::filetime::ToUInt64(ft) <= zulwin::filetime::kMaxFileTime;
}

bool IsValidVariantTime(double vt) {
    // Written so that NaN fails both comparisons.
    return vt >= zulwin::filetime::kMinVariantTime && vt <= zulwin::filetime::kMaxVariantTime;
}

} // namespace zulplatform

namespace zulwin {

namespace {

int InvalidParameter() {
    SetLastError(ERROR_INVALID_PARAMETER);
    return 0;
}

} // namespace

int FileTimeToSystemTime(const _FILETIME* in, _SYSTEMTIME* out) {
    if (in == nullptr || out == nullptr || !zulplatform::IsValidFileTime(*in))
        return InvalidParameter();
    *out = filetime::SystemTimeFromTicks(filetime::ToUInt64(*in));
    return 1;
}

int SystemTimeToFileTime(const _SYSTEMTIME* in, _FILETIME* out) {
    if (in == nullptr || out == nullptr || !filetime::IsValidSystemTime(*in))
        return InvalidParameter();
    *out = filetime::FromUInt64(filetime::TicksFromSystemTime(*in));
    return 1;
}

int VariantTimeToSystemTime(double vt, _SYSTEMTIME* out) {
    if (out == nullptr || !zulplatform::IsValidVariantTime(vt))
        return InvalidParameter();
    // Within the limits both parts are small enough for exact integer arithmetic.
    double const days = std::trunc(vt);
    auto const seconds = static_cast<std::int64_t>(std::fabs(vt - days) * 86400.0 + 0.5);
    std::int64_t const t =
        (static_cast<std::int64_t>(days) - filetime::kVariantUnixEpochDay) * 86400 + seconds;
    *out = filetime::SystemTimeFromUnixSeconds(t);
    return 1;
}

int SystemTimeToVariantTime(_SYSTEMTIME* in, double* out) {
    if (in == nullptr || out == nullptr || !filetime::IsValidSystemTime(*in))
        return InvalidParameter();
    // Unix seconds of the record without its milliseconds, as the C library's timegm makes them
    // (a day past the month's end runs on the same way).
    std::int64_t const days =
        static_cast<std::int64_t>(filetime::DaysFromCivil(in->wYear, in->wMonth, in->wDay)) -
        filetime::kUnixEpochDays;
    std::int64_t const t = days * 86400 + in->wHour * 3600 + in->wMinute * 60 + in->wSecond;
    *out = static_cast<double>(t / 86400) + static_cast<double>(filetime::kVariantUnixEpochDay) +
           static_cast<double>(t % 86400) / 86400.0;
    return 1;
}

void GetSystemTime(_SYSTEMTIME* out) {
    if (out == nullptr)
        return;
    timeval now{};
    gettimeofday(&now, nullptr);
    // A clock outside the representable years leaves the record as it was.
    std::int64_t const first = -filetime::kUnixEpochDays * 86400;
    std::int64_t const end = static_cast<std::int64_t>(filetime::kFirstUnsupportedUnixSecond);
    if (now.tv_sec < first || now.tv_sec >= end)
        return;
    _SYSTEMTIME st = filetime::SystemTimeFromUnixSeconds(now.tv_sec);
    st.wMilliseconds = static_cast<std::uint16_t>(now.tv_usec / 1000);
    *out = st;
}

void GetSystemTimeAsFileTime(_FILETIME* out) {
    if (out == nullptr)
        return;
    _SYSTEMTIME st{};
    GetSystemTime(&st);
    SystemTimeToFileTime(&st, out);
}

} // namespace zulwin
