// Zone rules in the POSIX TZ form ("CET-1CEST,M3.5.0,M10.5.0/3"), as the C library reads them
// from TZ and as zone files carry them for the instants past their tables.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace zulplatform {

// The day and local time at which daylight saving starts or ends.
struct _TzRuleDate {
    enum Kind : unsigned char {
        julianNoLeap, // Jn: 1 to 365, February 29 never counted
        julianZero,   // n: 0 to 365, February 29 counted
        monthWeekDay, // Mm.w.d: weekday d of week w (5 = last) of month m
    };
    Kind kind = monthWeekDay;
    unsigned char month = 0;
    unsigned char week = 0;
    unsigned char weekday = 0;
    int day = 0;
    // Seconds after local midnight; may be negative or beyond a day.
    std::int32_t seconds = 7200;
};

struct _TzPosixRule {
    std::string stdAbbr;
    std::string dstAbbr;
    std::int32_t stdOffset = 0; // seconds east of UTC
    std::int32_t dstOffset = 0;
    bool hasDst = false;
    _TzRuleDate start; // to daylight saving, read in standard time
    _TzRuleDate end;   // back to standard time, read in daylight time
};

// Parses the whole of `text` (length `len`, no NUL needed). False for anything the C library
// would not read as a rule, and for trailing characters it would ignore.
bool _ParseTzPosixRule(const char* text, std::size_t len, _TzPosixRule& rule);

// The UTC instants at which daylight saving starts and ends in `year` (|year| below 2^31).
void _TzRuleChanges(const _TzPosixRule& rule, std::int64_t year, std::int64_t& toDst,
                    std::int64_t& toStd);

} // namespace zulplatform
