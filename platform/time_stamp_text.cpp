// The ISO-8601-like text forms of CTimeStamp: printing and lenient parsing.
//
// Both are written out by hand rather than through printf and scanf: time stamps are printed
// and parsed on hot paths. The parser follows the scanf pattern
// "%hd-%hd-%hdT%hd:%hd:%hd.%lld" to the letter (leading white space and a sign before each
// number, saturation past the long long range, then truncation to 16 bits for the record's
// fields), so any text reads exactly as it did through scanf.
#include <platform/time_stamp.h>

#include "platform/internal/time_stamp_record.h"
#include "win/internal/filetime.h"

#include <climits>
#include <cstring>

namespace zulplatform {

namespace ft = zulwin::filetime;

namespace {

bool IsScanfSpace(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

// One "%lld"-style number at p: white space, an optional sign, at least one digit; the value
// saturates at the long long range as strtoll does. False, with p anywhere, when no digit.
bool ScanNumber(const char*& p, long long& out) {
    while (IsScanfSpace(*p))
        ++p;
    bool const negative = *p == '-';
    if (*p == '-' || *p == '+')
        ++p;
    if (!IsDigit(*p))
        return false;
    // Accumulated as a magnitude; LLONG_MIN's magnitude is one more than LLONG_MAX's.
    unsigned long long const limit =
        negative ? static_cast<unsigned long long>(LLONG_MAX) + 1 : LLONG_MAX;
    unsigned long long magnitude = 0;
    bool saturated = false;
    for (; IsDigit(*p); ++p) {
        unsigned d = static_cast<unsigned>(*p - '0');
        if (!saturated && magnitude <= (limit - d) / 10)
            magnitude = magnitude * 10 + d;
        else
            saturated = true;
    }
    if (saturated)
        magnitude = limit;
    out = negative ? static_cast<long long>(0 - magnitude) : static_cast<long long>(magnitude);
    return true;
}

// Nanoseconds of a fraction whose text after the point is `chars` long.
long long ScaleFraction(long long fraction, std::size_t chars) {
    if (chars < 9) {
        long long scale = 1;
        for (std::size_t i = chars; i < 9; ++i)
            scale *= 10;
        long long ns = 0;
        if (__builtin_mul_overflow(fraction, scale, &ns))
            return fraction < 0 ? LLONG_MIN : LLONG_MAX;
        return ns;
    }
    // Nineteen divisions by ten leave nothing of any long long.
    for (std::size_t i = 9; i < chars && fraction != 0; ++i)
        fraction /= 10;
    return fraction;
}

char* PutTwo(char* p, unsigned v) {
    p[0] = static_cast<char>('0' + v / 10);
    p[1] = static_cast<char>('0' + v % 10);
    return p + 2;
}

// "%04u" of a year below 100000.
char* PutYear(char* p, unsigned year) {
    if (year >= 10000)
        *p++ = static_cast<char>('0' + year / 10000);
    p[0] = static_cast<char>('0' + year / 1000 % 10);
    p[1] = static_cast<char>('0' + year / 100 % 10);
    return PutTwo(p + 2, year % 100);
}

// "YYYY-MM-DDThh:mm:ss." of the record; returns the end.
char* PutDateTime(char* p, const _SYSTEMTIME& st) {
    p = PutYear(p, GetYearFromSystemTime(st, true));
    *p++ = '-';
    p = PutTwo(p, st.wMonth);
    *p++ = '-';
    p = PutTwo(p, st.wDay);
    *p++ = 'T';
    p = PutTwo(p, st.wHour);
    *p++ = ':';
    p = PutTwo(p, st.wMinute);
    *p++ = ':';
    p = PutTwo(p, st.wSecond);
    *p++ = '.';
    return p;
}

char* PutDigits(char* p, unsigned v, int width) {
    for (int i = width - 1; i >= 0; --i, v /= 10)
        p[i] = static_cast<char>('0' + v % 10);
    return p + width;
}

} // namespace

CTimeStamp::CTimeStamp(const char* text) : m_value(0) {
    if (text == nullptr || *text == '\0')
        return;
    _SYSTEMTIME st = kDefaultSystemTime;
    std::uint16_t* const fields[] = {&st.wYear, &st.wMonth,  &st.wDay,
                                     &st.wHour, &st.wMinute, &st.wSecond};
    static constexpr char kSeparators[] = {'-', '-', 'T', ':', ':', '.'};
    const char* p = text;
    long long fraction = 0;
    bool complete = false;
    for (int i = 0; i < 6; ++i) {
        long long n = 0;
        if (!ScanNumber(p, n))
            break;
        // "%hd" keeps the low 16 bits of what it read.
        *fields[i] = static_cast<std::uint16_t>(static_cast<unsigned long long>(n));
        if (*p != kSeparators[i])
            break;
        ++p;
        if (i == 5)
            complete = ScanNumber(p, fraction);
    }
    // Deliberately lenient: whatever was read is converted.
    if (!ft::IsValidSystemTime(st))
        return;
    m_value = ft::TicksFromSystemTime(st);
    if (complete)
        IncNs(ScaleFraction(fraction, std::strlen(std::strchr(text, '.') + 1)));
}

zulwin::CString CTimeStamp::ToString() const {
    _SYSTEMTIME const st = GetSystemTime();
    char text[32];
    char* p = PutDateTime(text, st);
    p = PutDigits(p, st.wMilliseconds, 3);
    return zulwin::CString(text, static_cast<unsigned long>(p - text));
}

zulwin::CString CTimeStamp::ToStringHr() const {
    _SYSTEMTIME const st = GetSystemTime();
    char text[40];
    char* p = PutDateTime(text, st);
    // The nanoseconds within the second: what lies past the record's whole second.
    p = PutDigits(p, static_cast<unsigned>(m_value % ft::kTicksPerSecond) * 100u, 9);
    return zulwin::CString(text, static_cast<unsigned long>(p - text));
}

} // namespace zulplatform
