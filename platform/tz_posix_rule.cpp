// The POSIX TZ rule form, read the way the C library reads TZ.
#include "platform/internal/tz_posix_rule.h"

#include "platform/internal/civil_days.h"

namespace zulplatform {
namespace {

bool IsAlpha(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

// A cursor over the text that never moves past its end.
struct Cursor {
    const char* p;
    const char* end;
    char Peek() const { return p < end ? *p : '\0'; }
    bool AtEnd() const { return p >= end; }
    bool Take(char c) {
        if (Peek() != c || AtEnd())
            return false;
        ++p;
        return true;
    }
    // An unsigned decimal number of at most five digits that fits 16 bits, as the C library
    // reads these fields; false when there is no digit.
    bool Number(unsigned& value) {
        const char* const start = p;
        value = 0;
        while (!AtEnd() && IsDigit(*p) && p - start < 6)
            value = value * 10 + static_cast<unsigned>(*p++ - '0');
        return p != start && value <= 65535;
    }
};

// At least three letters, or "<" at least three letters, digits, "+" or "-", then ">".
bool ParseAbbreviation(Cursor& c, std::string& abbr) {
    const char* const start = c.p;
    while (!c.AtEnd() && IsAlpha(*c.p))
        ++c.p;
    if (c.p - start >= 3) {
        abbr.assign(start, c.p);
        return true;
    }
    c.p = start;
    if (!c.Take('<'))
        return false;
    const char* const inner = c.p;
    while (!c.AtEnd() && (IsAlpha(*c.p) || IsDigit(*c.p) || *c.p == '+' || *c.p == '-'))
        ++c.p;
    if (c.p - inner < 3 || !c.Take('>'))
        return false;
    abbr.assign(inner, c.p - 1);
    return true;
}

// [+-]hh[:mm[:ss]], west of UTC positive; hours above 24 and minutes or seconds above 59 are
// clamped as the C library does. Returns seconds east of UTC.
bool ParseOffset(Cursor& c, std::int32_t& east) {
    bool const west = !c.Take('-');
    if (west)
        c.Take('+');
    unsigned hh = 0, mm = 0, ss = 0;
    if (!c.Number(hh))
        return false;
    if (c.Peek() == ':' && c.p + 1 < c.end && IsDigit(c.p[1])) {
        ++c.p;
        if (!c.Number(mm))
            return false;
        if (c.Peek() == ':' && c.p + 1 < c.end && IsDigit(c.p[1])) {
            ++c.p;
            if (!c.Number(ss))
                return false;
        }
    }
    std::int32_t const secs = static_cast<std::int32_t>(
        (hh < 24 ? hh : 24) * 3600 + (mm < 59 ? mm : 59) * 60 + (ss < 59 ? ss : 59));
    east = west ? -secs : secs;
    return true;
}

// One change date with its optional "/time"; an empty rule is the given default date.
bool ParseRuleDate(Cursor& c, _TzRuleDate& date, const _TzRuleDate& fallback) {
    c.Take(',');
    unsigned n = 0;
    if (c.AtEnd()) {
        date = fallback;
        return true;
    }
    if (c.Peek() == 'J' || IsDigit(c.Peek())) {
        bool const noLeap = c.Take('J');
        if (!c.Number(n) || n > 365 || (noLeap && n == 0))
            return false;
        date.kind = noLeap ? _TzRuleDate::julianNoLeap : _TzRuleDate::julianZero;
        date.day = static_cast<int>(n);
    } else if (c.Take('M')) {
        unsigned m = 0, w = 0, d = 0;
        if (!c.Number(m) || !c.Take('.') || !c.Number(w) || !c.Take('.') || !c.Number(d) || m < 1 ||
            m > 12 || w < 1 || w > 5 || d > 6)
            return false;
        date.kind = _TzRuleDate::monthWeekDay;
        date.month = static_cast<unsigned char>(m);
        date.week = static_cast<unsigned char>(w);
        date.weekday = static_cast<unsigned char>(d);
    } else {
        return false;
    }
    date.seconds = 7200;
    if (c.Take('/')) {
        if (c.AtEnd())
            return false;
        bool const negative = c.Take('-');
        if (!negative)
            c.Take('+');
        unsigned hh = 2, mm = 0, ss = 0;
        if (c.Number(hh) && c.Peek() == ':' && c.p + 1 < c.end && IsDigit(c.p[1])) {
            ++c.p;
            if (c.Number(mm) && c.Peek() == ':' && c.p + 1 < c.end && IsDigit(c.p[1])) {
                ++c.p;
                c.Number(ss);
            }
        }
        if (hh > 65535 || mm > 65535 || ss > 65535)
            return false;
        std::int32_t const secs = static_cast<std::int32_t>(hh * 3600 + mm * 60 + ss);
        date.seconds = negative ? -secs : secs;
    }
    return c.AtEnd() || c.Peek() == ',';
}

// Local midnight of the rule's day in `year`, as days from 1970-01-01.
std::int64_t RuleDay(const _TzRuleDate& date, std::int64_t year) {
    std::int64_t const jan1 = _DaysFromCivil(year, 1, 1);
    switch (date.kind) {
    case _TzRuleDate::julianNoLeap:
        return jan1 + date.day - 1 + (date.day >= 60 && _IsLeapYear(year));
    case _TzRuleDate::julianZero:
        return jan1 + date.day;
    case _TzRuleDate::monthWeekDay:
        break;
    }
    std::int64_t const first = _DaysFromCivil(year, date.month, 1);
    int d = date.weekday - _WeekdayFromDays(first);
    if (d < 0)
        d += 7;
    int const length = _DaysInMonth(year, date.month);
    for (int week = 1; week < date.week && d + 7 < length; ++week)
        d += 7;
    return first + d;
}

} // namespace

bool _ParseTzPosixRule(const char* text, std::size_t len, _TzPosixRule& rule) {
    Cursor c{text, text + len};
    _TzPosixRule r;
    if (!ParseAbbreviation(c, r.stdAbbr) || !ParseOffset(c, r.stdOffset))
        return false;
    if (c.AtEnd()) {
        r.dstAbbr = r.stdAbbr;
        r.dstOffset = r.stdOffset;
        rule = r;
        return true;
    }
    if (!ParseAbbreviation(c, r.dstAbbr))
        return false;
    r.hasDst = true;
    r.dstOffset = r.stdOffset + 3600;
    if (!c.AtEnd() && c.Peek() != ',' && !ParseOffset(c, r.dstOffset))
        return false;
    // Without dates, the United States rule of 2007, as the C library assumes.
    _TzRuleDate spring, autumn;
    spring.month = 3;
    spring.week = 2;
    autumn.month = 11;
    autumn.week = 1;
    if (!ParseRuleDate(c, r.start, spring) || !ParseRuleDate(c, r.end, autumn) || !c.AtEnd())
        return false;
    rule = r;
    return true;
}

void _TzRuleChanges(const _TzPosixRule& rule, std::int64_t year, std::int64_t& toDst,
                    std::int64_t& toStd) {
    toDst = RuleDay(rule.start, year) * kSecondsPerDay + rule.start.seconds - rule.stdOffset;
    toStd = RuleDay(rule.end, year) * kSecondsPerDay + rule.end.seconds - rule.dstOffset;
}

} // namespace zulplatform
