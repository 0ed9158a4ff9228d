// CTimeStamp: construction, differences, clamping arithmetic, the binary form and the day
// helpers. Text forms are in time_stamp_text.cpp, display forms in time_stamp_display.cpp.
#include <platform/file.h>
#include <platform/local_time.h>
#include <platform/time_stamp.h>

#include "platform/internal/time_stamp_record.h"
#include "win/internal/filetime.h"

#include <climits>
#include <cmath>

namespace zulplatform {

namespace ft = zulwin::filetime;

namespace {

constexpr std::uint32_t kMagic = 872778100;          // 0x34058974
constexpr std::uint32_t kMagicUtcRecord = 872778099; // 0x34058973
constexpr double kDaysPerMillisecond = 1.1574074074074074e-8;

// The value after adding `step` ticks (step = count * factor): the maximum when the step is
// positive and the sum or the product overflows or passes the maximum, 0 when a negative step
// goes below zero.
std::uint64_t AddSaturated(std::uint64_t value, long long count, long long factor) {
    long long step = 0;
    if (__builtin_mul_overflow(count, factor, &step))
        return count > 0 ? ft::kMaxFileTime : 0;
    // value <= kMaxFileTime < 2^63, so it is a valid signed number.
    long long sum = 0;
    if (__builtin_add_overflow(static_cast<long long>(value), step, &sum))
        return step > 0 ? ft::kMaxFileTime : 0;
    if (sum < 0)
        return 0;
    return static_cast<std::uint64_t>(sum) > ft::kMaxFileTime ? ft::kMaxFileTime
                                                              : static_cast<std::uint64_t>(sum);
}

// The number of bytes read: fewer than asked only at the end of the file.
unsigned int ReadUpTo(zulwin::CFile* file, void* buffer, unsigned int count) {
    auto* bytes = static_cast<unsigned char*>(buffer);
    unsigned int done = 0;
    while (done < count) {
        unsigned int const got = file->Read(bytes + done, count - done);
        if (got == 0)
            break;
        done += got;
    }
    return done;
}

bool ReadFully(zulwin::CFile* file, void* buffer, unsigned int count) {
    return ReadUpTo(file, buffer, count) == count;
}

template <typename T> T LittleEndian(const unsigned char* bytes) {
    T v = 0;
    for (unsigned i = 0; i < sizeof(T); ++i)
        v |= static_cast<T>(bytes[i]) << (8 * i);
    return v;
}

_SYSTEMTIME RecordFromBytes(const unsigned char* bytes) {
    std::uint16_t f[8];
    for (int i = 0; i < 8; ++i)
        f[i] = LittleEndian<std::uint16_t>(bytes + 2 * i);
    return {f[0], f[1], f[2], f[3], f[4], f[5], f[6], f[7]};
}

// The signed difference of two values in range; exact, as both are below 2^63.
long long Difference(std::uint64_t a, std::uint64_t b) {
    return static_cast<long long>(a) - static_cast<long long>(b);
}

} // namespace

CTimeStamp::CTimeStamp(bool now) : m_value(0) {
    if (now)
        Assign();
}

CTimeStamp::CTimeStamp(const _SYSTEMTIME& st) : m_value(0) {
    if (ft::IsValidSystemTime(st))
        m_value = ft::TicksFromSystemTime(st);
}

CTimeStamp::CTimeStamp(const _FILETIME& ftime) : m_value(ft::ToUInt64(ftime)) {
    if (m_value > ft::kMaxFileTime)
        m_value = ft::kMaxFileTime;
}

CTimeStamp::CTimeStamp(const unsigned int& unixSeconds)
    : m_value(unixSeconds * ft::kTicksPerSecond + ft::kUnixEpochTicks) {}

CTimeStamp::CTimeStamp(const long& unixSeconds) : m_value(ft::kMaxFileTime) {
    auto const seconds = static_cast<unsigned long>(unixSeconds);
    if (seconds < ft::kFirstUnsupportedUnixSecond)
        m_value = seconds * ft::kTicksPerSecond + ft::kUnixEpochTicks;
}

CTimeStamp::CTimeStamp(const double& v) : m_value(0) {
    auto const frac = [](double x) { return x - std::floor(x); };
    // The milliseconds are rounded on their own, from the time of day, so that a value a hair
    // below a whole millisecond does not lose it; the rest is converted to whole seconds.
    double const f = v - std::floor(v);
    double const h = frac(f) * 24;
    double const m = frac(h) * 60;
    double const s = std::floor(60 * frac(m) * 10000 + 0.5) / 10000;
    double const ms = std::floor(frac(s) * 1000 + 0.5);
    _SYSTEMTIME st = kDefaultSystemTime;
    // NaN and infinities fail here, before ms is ever made an integer.
    if (!zulwin::VariantTimeToSystemTime(v - ms * kDaysPerMillisecond, &st))
        return;
    int millis = static_cast<int>(ms); // 0 to 1000
    while (millis > 999) {
        millis -= 1000;
        st = CTimeStamp(st).IncSec(1).GetSystemTime();
    }
    st.wMilliseconds = static_cast<std::uint16_t>(millis);
    if (ft::IsValidSystemTime(st))
        m_value = ft::TicksFromSystemTime(st);
}

void CTimeStamp::Assign() {
    _FILETIME now{};
    zulwin::GetSystemTimeAsFileTime(&now);
    m_value = ft::ToUInt64(now);
}

_SYSTEMTIME CTimeStamp::GetSystemTime() const {
    if (m_value > ft::kMaxFileTime)
        return kDefaultSystemTime;
    return ft::SystemTimeFromTicks(m_value);
}

double CTimeStamp::GetVariantTime() const {
    _SYSTEMTIME st = GetSystemTime();
    double vt = 0.0;
    return zulwin::SystemTimeToVariantTime(&st, &vt) ? vt : 0.0;
}

double CTimeStamp::GetVariantTimeWithMs() const {
    _SYSTEMTIME st = GetSystemTime();
    double vt = 0.0;
    if (!zulwin::SystemTimeToVariantTime(&st, &vt))
        return 0.0;
    return vt + st.wMilliseconds * kDaysPerMillisecond;
}

int CTimeStamp::GetUnixTime() const {
    long long const seconds =
        Difference(m_value, ft::kUnixEpochTicks) / static_cast<long long>(ft::kTicksPerSecond);
    // Only the low 32 bits are kept, as the 32-bit Unix time always was.
    return static_cast<int>(static_cast<std::uint32_t>(seconds));
}

unsigned int CTimeStamp::GetUnsignedUnixTime() const {
    // From the last 0.9999999 s before the epoch the truncated quotient is already 0.
    if (m_value < ft::kUnixEpochTicks - ft::kTicksPerSecond + 1)
        return 0;
    long long const seconds =
        Difference(m_value, ft::kUnixEpochTicks) / static_cast<long long>(ft::kTicksPerSecond);
    return seconds > 0xFFFFFFFFLL ? 0xFFFFFFFFu : static_cast<unsigned int>(seconds);
}

int CTimeStamp::DiffMS(const CTimeStamp& other) const {
    long long const d = Difference(m_value, other.m_value);
    if (d > 21474836479999LL)
        return INT_MAX;
    if (d < -21474836489999LL)
        return INT_MIN;
    return static_cast<int>(d / 10000);
}

int CTimeStamp::DiffSec(const CTimeStamp& other) const {
    long long const d = Difference(m_value, other.m_value);
    if (d > 21474836479999999LL)
        return INT_MAX;
    if (d < -21474836489999999LL)
        return INT_MIN;
    return static_cast<int>(d / 10000000);
}

long long CTimeStamp::DiffMS64(const CTimeStamp& other) const {
    return Difference(m_value, other.m_value) / 10000;
}

long long CTimeStamp::DiffUs(const CTimeStamp& other) const {
    return Difference(m_value, other.m_value) / 10;
}

long long CTimeStamp::DiffNs(const CTimeStamp& other) const {
    // Wraps on purpose; done unsigned so that the wrap is defined.
    auto const d = static_cast<std::uint64_t>(Difference(m_value, other.m_value));
    return static_cast<long long>(d * 100u);
}

long long CTimeStamp::DiffMS64AsUnixTimeMS() const {
    return DiffMS64(CTimeStamp(0L));
}

CTimeStamp& CTimeStamp::IncNs(long long ns) {
    m_value = AddSaturated(m_value, ns / 100, 1);
    return *this;
}

CTimeStamp& CTimeStamp::IncUs(long long us) {
    m_value = AddSaturated(m_value, us, 10);
    return *this;
}

CTimeStamp& CTimeStamp::IncMS(int ms) {
    m_value = AddSaturated(m_value, ms, 10000);
    return *this;
}

CTimeStamp& CTimeStamp::IncSec(int s) {
    m_value = AddSaturated(m_value, s, 10000000);
    return *this;
}

CTimeStamp& CTimeStamp::IncDay(int d) {
    m_value = AddSaturated(m_value, d, 864000000000LL);
    return *this;
}

void CTimeStamp::Save(zulwin::CFile* file) const {
    if (file == nullptr)
        return;
    unsigned char bytes[12];
    for (unsigned i = 0; i < 4; ++i)
        bytes[i] = static_cast<unsigned char>(kMagic >> (8 * i));
    for (unsigned i = 0; i < 8; ++i)
        bytes[4 + i] = static_cast<unsigned char>(m_value >> (8 * i));
    file->Write(bytes, 4);
    file->Write(bytes + 4, 8);
}

std::uint64_t CTimeStamp::Load(zulwin::CFile* file) {
    if (file == nullptr)
        return 0;
    unsigned char magic[4] = {};
    unsigned int const got = ReadUpTo(file, magic, 4);
    std::uint32_t const tag = got == 4 ? LittleEndian<std::uint32_t>(magic) : 0;
    if (tag == kMagic) {
        unsigned char value[8];
        if (!ReadFully(file, value, 8))
            return 0;
        std::uint64_t const v = LittleEndian<std::uint64_t>(value);
        m_value = v <= ft::kMaxFileTime ? v : ft::kMaxFileTime;
        return m_value;
    }
    unsigned char record[16];
    if (tag == kMagicUtcRecord) {
        if (!ReadFully(file, record, 16))
            return 0;
        _SYSTEMTIME const utc = RecordFromBytes(record);
        _FILETIME converted{};
        if (!zulwin::SystemTimeToFileTime(&utc, &converted))
            return 0;
        m_value = ft::ToUInt64(converted);
        return 1;
    }
    // The oldest form has no magic: what was read belongs to a local record.
    if (got != 0)
        file->Seek(-static_cast<long>(got), zulwin::CFile::current);
    if (!ReadFully(file, record, 16))
        return 0;
    file->Seek(8, zulwin::CFile::current);
    _SYSTEMTIME const local = RecordFromBytes(record);
    _SYSTEMTIME utc = local;
    if (!zulwin::TzSpecificLocalTimeToSystemTime(nullptr, &local, &utc))
        utc = local;
    _FILETIME converted{};
    if (!zulwin::SystemTimeToFileTime(&utc, &converted))
        return 0;
    m_value = ft::ToUInt64(converted);
    return 1;
}

CTimeStamp CTimeStamp::GetMidnightToday() {
    return GetMidnight(CTimeStamp(true));
}

int CTimeStamp::GetSecondsForToday(const CTimeStamp& ts) {
    return GetElapsedSecondsInDay(ts);
}

int CTimeStamp::GetTimeRemainingTodaySec() {
    return GetRemainingSecInDay(CTimeStamp(true));
}

bool operator==(const CTimeStamp& a, const CTimeStamp& b) {
    return a.GetFileTime() == b.GetFileTime();
}
bool operator!=(const CTimeStamp& a, const CTimeStamp& b) {
    return a.GetFileTime() != b.GetFileTime();
}
bool operator<(const CTimeStamp& a, const CTimeStamp& b) {
    return a.GetFileTime() < b.GetFileTime();
}
bool operator<=(const CTimeStamp& a, const CTimeStamp& b) {
    return a.GetFileTime() <= b.GetFileTime();
}
bool operator>(const CTimeStamp& a, const CTimeStamp& b) {
    return a.GetFileTime() > b.GetFileTime();
}
bool operator>=(const CTimeStamp& a, const CTimeStamp& b) {
    return a.GetFileTime() >= b.GetFileTime();
}

CTimeStamp GetMidnight(const CTimeStamp& ts) {
    _FILETIME const midnight =
        ft::FromUInt64(ts.GetFileTime() - ts.GetFileTime() % ft::kTicksPerDay);
    return CTimeStamp(midnight);
}

int GetElapsedSecondsInDay(const CTimeStamp& ts) {
    return ts.DiffSec(GetMidnight(ts));
}

int GetRemainingSecInDay(const CTimeStamp& ts) {
    // Both ends are read on the local clock as if it were UTC.
    _SYSTEMTIME const local = ConvertUtcToLocal(ts.GetSystemTime());
    _SYSTEMTIME midnight = local;
    midnight.wHour = midnight.wMinute = midnight.wSecond = midnight.wMilliseconds = 0;
    CTimeStamp next(midnight);
    next.IncDay(1);
    return next.DiffSec(CTimeStamp(local));
}

unsigned int GetYearFromSystemTime(const _SYSTEMTIME& st, bool fourDigits) {
    if (!fourDigits)
        return st.wYear % 100u;
    if (st.wYear < 90)
        return st.wYear + 2000u;
    if (st.wYear < 100)
        return st.wYear + 1900u;
    return st.wYear;
}

int GetHourFromSystemTime(const _SYSTEMTIME& st, bool h24) {
    return !h24 && st.wHour >= 13 ? st.wHour - 12 : st.wHour;
}

_SYSTEMTIME ConvertUtcToLocal(const _SYSTEMTIME& utc) {
    _SYSTEMTIME local = kDefaultSystemTime;
    zulwin::SystemTimeToTzSpecificLocalTime(nullptr, &utc, &local);
    return local;
}

_SYSTEMTIME ConvertLocalToUtc(const _SYSTEMTIME& local) {
    _SYSTEMTIME utc = kDefaultSystemTime;
    zulwin::TzSpecificLocalTimeToSystemTime(nullptr, &local, &utc);
    return utc;
}

_SYSTEMTIME GetCurrentLocalSystemTime() {
    _SYSTEMTIME now = kDefaultSystemTime;
    zulwin::GetSystemTime(&now);
    return ConvertUtcToLocal(now);
}

} // namespace zulplatform
