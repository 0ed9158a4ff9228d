// CTimeStamp: construction and clamping, saturating arithmetic and differences against a wide
// model, the text forms against the C library's printf and scanf, the display forms, the
// binary forms and the day helpers.
#include <platform/files.h>
#include <platform/time.h>

#include "support/scoped_tz.h"
#include "support/time_records.h"

#include <gtest/gtest.h>

#include <time.h>

#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

using zulplatform::CTimeStamp;

namespace {

constexpr std::uint64_t kMax = 0x7FFF35F4F06C58F0;
constexpr std::uint64_t kEpoch = 116444736000000000;

CTimeStamp At(std::uint64_t ticks) {
    return CTimeStamp(test_support::FileTime(ticks));
}

// Unix seconds of a UTC calendar time, through the C library.
std::uint64_t TicksOf(int y, int mo, int d, int h = 0, int mi = 0, int s = 0) {
    tm b{};
    b.tm_year = y - 1900;
    b.tm_mon = mo - 1;
    b.tm_mday = d;
    b.tm_hour = h;
    b.tm_min = mi;
    b.tm_sec = s;
    return static_cast<std::uint64_t>(timegm(&b) + 11644473600LL) * 10000000;
}

// What the text gives when read with scanf and converted as the class describes it.
std::uint64_t ParseModel(const char* text) {
    if (text == nullptr || *text == '\0')
        return 0;
    short f[6] = {2000, 1, 1, 0, 0, 0};
    long long fraction = 0;
    int const n = std::sscanf(text, "%hd-%hd-%hdT%hd:%hd:%hd.%lld", &f[0], &f[1], &f[2], &f[3],
                              &f[4], &f[5], &fraction);
    std::uint16_t u[6];
    for (int i = 0; i < 6; ++i)
        u[i] = static_cast<std::uint16_t>(f[i]);
    if (u[0] < 1601 || u[0] > 30827 || u[1] < 1 || u[1] > 12 || u[2] < 1 || u[2] > 31 ||
        u[3] > 23 || u[4] > 59 || u[5] > 59)
        return 0;
    __int128 value = TicksOf(u[0], u[1], u[2], u[3], u[4], u[5]);
    if (n == 7) {
        std::size_t const chars = std::strlen(std::strchr(text, '.') + 1);
        __int128 ns = fraction;
        for (std::size_t i = chars; i < 9; ++i)
            ns *= 10;
        for (std::size_t i = 9; i < chars; ++i)
            ns /= 10;
        value += ns / 100;
        value = value < 0 ? 0 : value > kMax ? kMax : value;
    }
    return static_cast<std::uint64_t>(value);
}

std::string GmtimeText(std::uint64_t ticks, bool hr) {
    time_t const t = static_cast<time_t>(ticks / 10000000) - 11644473600LL;
    tm b{};
    gmtime_r(&t, &b);
    char text[64];
    int const n =
        std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d.", b.tm_year + 1900,
                      b.tm_mon + 1, b.tm_mday, b.tm_hour, b.tm_min, b.tm_sec);
    long long const fraction = static_cast<long long>(ticks % 10000000);
    std::snprintf(text + n, sizeof text - n, hr ? "%09lld" : "%03lld",
                  hr ? fraction * 100 : fraction / 10000);
    return text;
}

} // namespace

TEST(TimeStamp, ConstructionClampsToTheValidRange) {
    struct Case {
        CTimeStamp ts;
        std::uint64_t expected;
    } const cases[] = {
        {CTimeStamp(), 0},
        {CTimeStamp(0U), kEpoch},
        {CTimeStamp(UINT_MAX), kEpoch + 4294967295ull * 10000000},
        {CTimeStamp(0L), kEpoch},
        {CTimeStamp(32535215999L), kEpoch + 32535215999ull * 10000000},
        {CTimeStamp(32535216000L), kMax},
        {CTimeStamp(-1L), kMax},
        {CTimeStamp(LONG_MIN), kMax},
        {CTimeStamp(LONG_MAX), kMax},
        {At(kMax), kMax},
        {At(kMax + 1), kMax},
        {At(~0ull), kMax},
        {CTimeStamp(_SYSTEMTIME{1601, 1, 0, 1, 0, 0, 0, 0}), 0},
        {CTimeStamp(_SYSTEMTIME{30827, 12, 0, 31, 23, 59, 59, 999}), kMax},
        {CTimeStamp(_SYSTEMTIME{2024, 13, 0, 1, 0, 0, 0, 0}), 0},
        {CTimeStamp(_SYSTEMTIME{1600, 12, 0, 31, 0, 0, 0, 0}), 0},
        {CTimeStamp(_SYSTEMTIME{2024, 5, 0, 6, 24, 0, 0, 0}), 0},
    };
    for (std::size_t i = 0; i < sizeof cases / sizeof cases[0]; ++i)
        EXPECT_EQ(cases[i].ts.GetFileTime(), cases[i].expected) << i;

    CTimeStamp const now(true);
    CTimeStamp assigned;
    assigned.Assign();
    long long const unixNow = time(nullptr);
    EXPECT_LE(std::llabs(now.GetUnixTime() - unixNow), 2);
    EXPECT_GE(assigned, now);
    EXPECT_EQ(now.GetFileTime() % 10000, 0u);
}

TEST(TimeStamp, VariantTimes) {
    double const nan = std::numeric_limits<double>::quiet_NaN();
    double const inf = std::numeric_limits<double>::infinity();
    struct Case {
        double vt;
        std::uint64_t expected;
    } const cases[] = {
        {25569.5, kEpoch + 43200ull * 10000000},
        {25569.0 + 1.5 / 86400, kEpoch + 15000000}, // 1.5 s
        {25569.0 + 0.9994 / 86400, kEpoch + 9990000},
        {25569.0 + 0.9999 / 86400, kEpoch + 10000000}, // 1000 ms carry into the second
        {-109205.0, 0},
        {10565736.0, TicksOf(30827, 12, 31)},
        // The upper limit itself converts to 30828-01-01, which no time stamp can hold.
        {10565737.0, 0},
        {nan, 0},
        {inf, 0},
        {-inf, 0},
        {1e300, 0},
        {-1e300, 0},
    };
    for (const auto& c : cases)
        EXPECT_EQ(CTimeStamp(c.vt).GetFileTime(), c.expected) << c.vt;

    // Millisecond instants from 1900 on survive the way there and back.
    std::mt19937_64 rng(42);
    std::uniform_int_distribution<std::uint64_t> ms(TicksOf(1900, 1, 1) / 10000, kMax / 10000);
    for (int i = 0; i < 20000; ++i) {
        CTimeStamp const ts = At(ms(rng) * 10000);
        ASSERT_EQ(CTimeStamp(ts.GetVariantTimeWithMs()), ts) << ts.ToString().GetString();
        ASSERT_EQ(CTimeStamp(ts.GetVariantTime()).GetFileTime(),
                  ts.GetFileTime() - ts.GetFileTime() % 10000000)
            << ts.ToString().GetString();
    }
}

TEST(TimeStamp, UnixTimes) {
    struct Case {
        std::uint64_t ticks;
        int unixTime;
        unsigned unsignedUnixTime;
    } const cases[] = {
        {kEpoch, 0, 0},
        {kEpoch - 1, 0, 0},
        {kEpoch - 9999999, 0, 0},
        {kEpoch - 10000000, -1, 0},
        {kEpoch + 10000000, 1, 1},
        {0, static_cast<int>(static_cast<std::uint32_t>(-11644473600LL)), 0},
        {kEpoch + 4294967295ull * 10000000, -1, 0xFFFFFFFFu},
        {kEpoch + 4294967296ull * 10000000, 0, 0xFFFFFFFFu},
        {kMax, static_cast<int>(static_cast<std::uint32_t>(910670515199LL)), 0xFFFFFFFFu},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(At(c.ticks).GetUnixTime(), c.unixTime) << c.ticks;
        EXPECT_EQ(At(c.ticks).GetUnsignedUnixTime(), c.unsignedUnixTime) << c.ticks;
    }
    EXPECT_EQ(At(kEpoch + 12345678).DiffMS64AsUnixTimeMS(), 1234);
    EXPECT_EQ(At(0).DiffMS64AsUnixTimeMS(), -11644473600000LL);
}

TEST(TimeStamp, StepsSaturateAtBothEnds) {
    auto model = [](std::uint64_t v, __int128 ticks) {
        __int128 const r = static_cast<__int128>(v) + ticks;
        return static_cast<std::uint64_t>(r < 0 ? 0 : r > kMax ? kMax : r);
    };
    std::uint64_t const starts[] = {0, 1, kEpoch, kMax - 1, kMax};
    int const ints[] = {INT_MIN, -1000, -1, 0, 1, 1000, INT_MAX};
    long long const longs[] = {
        LLONG_MIN, LLONG_MIN + 1,        -922337203685477581LL, -101,     -99, -1, 0, 1, 99,
        101,       922337203685477580LL, 922337203685477581LL,  LLONG_MAX};
    for (std::uint64_t v : starts) {
        for (int n : ints) {
            EXPECT_EQ(At(v).IncMS(n).GetFileTime(), model(v, __int128{n} * 10000));
            EXPECT_EQ(At(v).IncSec(n).GetFileTime(), model(v, __int128{n} * 10000000));
            EXPECT_EQ(At(v).IncDay(n).GetFileTime(), model(v, __int128{n} * 864000000000LL));
        }
        for (long long n : longs) {
            EXPECT_EQ(At(v).IncNs(n).GetFileTime(), model(v, n / 100)) << v << " " << n;
            EXPECT_EQ(At(v).IncUs(n).GetFileTime(), model(v, __int128{n} * 10)) << v << " " << n;
        }
    }
    CTimeStamp ts(0U);
    EXPECT_EQ(ts.IncSec(1).IncMS(500).IncUs(250).IncNs(199).GetFileTime(),
              kEpoch + 10000000 + 5000000 + 2500 + 1);
}

TEST(TimeStamp, DifferencesSaturateAtTheirThresholds) {
    struct Case {
        long long d;
        int ms;
        int sec;
    } const cases[] = {
        {0, 0, 0},
        {9999, 0, 0},
        {-9999, 0, 0},
        {10000, 1, 0},
        {-10000, -1, 0},
        {21474836479999LL, INT_MAX, 2147483},
        {21474836480000LL, INT_MAX, 2147483},
        {-21474836489999LL, INT_MIN, -2147483},
        {-21474836490000LL, INT_MIN, -2147483},
        {30LL * 864000000000LL, INT_MAX, 2592000},
        {21474836479999999LL, INT_MAX, INT_MAX},
        {21474836480000000LL, INT_MAX, INT_MAX},
        {-21474836489999999LL, INT_MIN, INT_MIN},
        {-21474836490000000LL, INT_MIN, INT_MIN},
        {static_cast<long long>(kMax), INT_MAX, INT_MAX},
        {-static_cast<long long>(kMax), INT_MIN, INT_MIN},
    };
    for (const Case& c : cases) {
        std::uint64_t const a = c.d >= 0 ? static_cast<std::uint64_t>(c.d) : 0;
        std::uint64_t const b = c.d >= 0 ? 0 : static_cast<std::uint64_t>(-c.d);
        CTimeStamp const x = At(a), y = At(b);
        EXPECT_EQ(x.DiffMS(y), c.ms) << c.d;
        EXPECT_EQ(x.DiffSec(y), c.sec) << c.d;
        EXPECT_EQ(x.DiffMS64(y), c.d / 10000);
        EXPECT_EQ(x.DiffUs(y), c.d / 10);
        EXPECT_EQ(x.DiffNs(y),
                  static_cast<long long>(static_cast<std::uint64_t>(c.d) * 100u)); // wraps
    }
    EXPECT_TRUE(At(1) > At(0) && At(1) >= At(1) && At(0) < At(1) && At(0) <= At(0) &&
                At(2) != At(3) && At(4) == At(4));
    EXPECT_FALSE(At(1) < At(1) || At(2) > At(2) || At(2) == At(3));
}

TEST(TimeStamp, TextReadsExactlyAsScanfWouldAndPrintsAsPrintf) {
    auto expectAsModel = [](std::initializer_list<const char*> texts) {
        for (const char* text : texts)
            EXPECT_EQ(CTimeStamp(text).GetFileTime(), ParseModel(text)) << text;
    };
    // Fractions of any length, fields out of range and the ends of the valid range.
    expectAsModel({"2024-05-06T07:08:09.123456789", "2024-05-06T07:08:09.5",
                   "2024-05-06T07:08:09.123456789012",
                   "2024-05-06T07:08:09.1234567890123456789012345678901234567890",
                   "2024-05-06T07:08:09.000000001", "67560-05-06", "2024-02-31T23:59:59.999",
                   "2024-13-01", "2024-00-10", "2024-05-32", "2024-05-00", "2024-05-06T24:00:00",
                   "1600-12-31T23:59:59.9", "1601-01-01T00:00:00.0", "30827-12-31T23:59:59.9999999",
                   "30827-12-31T23:59:59.99999999999", "30828-01-01"});
    // Signs, blanks, missing or other separators and stray characters.
    expectAsModel({"20240506", "12345678901234567890", "-2024-05-06", "2024--05-06",
                   "2024-05-06T-07:08:09", "2024-05-06T07:08:09.-5", "2024-05-06T07:08:09.+5",
                   " 2024- 5- 6T 7: 8: 9. 5", "2024-05-06t07:08:09", "2024-05-06T07:08:09Z",
                   "2024-05-06T07:08:09.5Z", "\xC3\xA9\xC3\xA9", "2024-05-06T07:08:\xC3\xA9", "-",
                   "T", ".", "abc", "", static_cast<const char*>(nullptr)});
    const char embedded[] = "2024-05-06\0T07:08:09";
    EXPECT_EQ(CTimeStamp(embedded).GetFileTime(), TicksOf(2024, 5, 6));

    // Random texts over the pattern's own alphabet (every cut of the full text included).
    std::mt19937_64 rng(7);
    const char alphabet[] = "0123456789-T:. +-";
    std::string const base = "2024-05-06T07:08:09.123456789";
    for (int i = 0; i < 20000; ++i) {
        std::string text = base;
        for (int k = 1 + static_cast<int>(rng() % 4); k > 0; --k)
            text[rng() % text.size()] = alphabet[rng() % (sizeof alphabet - 1)];
        text.resize(rng() % (text.size() + 1));
        ASSERT_EQ(CTimeStamp(text.c_str()).GetFileTime(), ParseModel(text.c_str())) << text;
    }

    // Printing against gmtime_r and snprintf, over the whole range.
    std::uniform_int_distribution<std::uint64_t> any(0, kMax);
    for (int i = 0; i < 20000; ++i) {
        std::uint64_t const v = any(rng);
        ASSERT_STREQ(At(v).ToString().GetString(), GmtimeText(v, false).c_str());
        ASSERT_STREQ(At(v).ToStringHr().GetString(), GmtimeText(v, true).c_str());
        ASSERT_EQ(CTimeStamp(At(v).ToStringHr().GetString()), At(v));
    }
    EXPECT_STREQ(CTimeStamp(0U).ToString().GetString(), "1970-01-01T00:00:00.000");
    EXPECT_STREQ(At(kMax).ToString().GetString(), "30827-12-31T23:59:59.999");
    EXPECT_STREQ(At(0).ToStringHr().GetString(), "1601-01-01T00:00:00.000000000");
}

TEST(TimeStamp, DisplayForms) {
    test_support::ScopedTz zone("UTC");
    zulplatform::RefreshDateTimeFormat();
    std::uint64_t const pm = TicksOf(2024, 5, 6, 14, 5, 59) + 7000000;
    struct Case {
        std::uint64_t ticks;
        bool seconds, millis, noRounding;
        const char* time;
        const char* date;
    } const cases[] = {
        {pm, false, false, false, " 2:06 PM", "05/06/24"},
        {pm, true, false, false, " 2:06:00 PM", "05/06/24"},
        {pm, true, false, true, " 2:05:59 PM", "05/06/24"},
        {pm, false, true, false, " 2:05:59.700 PM", "05/06/24"},
        // Rounded up to the next day's time, but the date stays.
        {TicksOf(1999, 12, 31, 23, 59, 59) + 5000000, true, false, false, "12:00:00 AM",
         "12/31/99"},
        {TicksOf(2000, 1, 1, 0, 30, 0), false, false, false, "12:30 AM", "01/01/00"},
        {TicksOf(2000, 1, 1, 11, 59, 59) + 9990000, false, false, false, "12:00 PM", "01/01/00"},
        {TicksOf(2000, 1, 1, 12, 0, 0), true, false, false, "12:00:00 PM", "01/01/00"},
        {TicksOf(2000, 1, 1, 13, 0, 0), true, false, false, " 1:00:00 PM", "01/01/00"},
    };
    for (const Case& c : cases) {
        zulwin::CString time, date;
        At(c.ticks).FormatTime(time, c.seconds, c.millis, c.noRounding);
        At(c.ticks).FormatDate(date);
        EXPECT_STREQ(time.GetString(), c.time);
        EXPECT_STREQ(date.GetString(), c.date);
    }
    // Too small: "#" up to the last byte. Untouched for a null buffer or size 0.
    char buffer[16];
    At(0).FormatDate(buffer, 5);
    EXPECT_STREQ(buffer, "####");
    At(0).FormatDate(buffer, 9);
    EXPECT_STREQ(buffer, "01/01/01");
    At(0).FormatTime(buffer, 8, true, false, false);
    EXPECT_STREQ(buffer, "#######");
    At(0).FormatTime(buffer, 1, true, false, false);
    EXPECT_STREQ(buffer, "");
    std::memcpy(buffer, "keep", 5);
    At(0).FormatDate(buffer, 0);
    At(0).FormatTime(buffer, 0, true, true, true);
    At(0).FormatDate(nullptr, 10);
    At(0).FormatTime(nullptr, 10, true, true, true);
    EXPECT_STREQ(buffer, "keep");
    zulplatform::RefreshDateTimeFormat();
    At(0).FormatTime(buffer, sizeof buffer, true, false, false);
    EXPECT_STREQ(buffer, "12:00:00 AM");
    {
        test_support::ScopedTz berlin("Europe/Berlin");
        zulwin::CString time;
        At(TicksOf(2024, 7, 1, 22, 30, 0)).FormatTime(time, false, false, false);
        At(TicksOf(2024, 7, 1, 22, 30, 0)).FormatDate(buffer, sizeof buffer);
        EXPECT_STREQ(time.GetString(), "12:30 AM");
        EXPECT_STREQ(buffer, "07/02/24");
    }
}

TEST(TimeStamp, SaveAndLoadAllThreeForms) {
    test_support::ScopedTz zone("Europe/Berlin");
    std::uint64_t const some = TicksOf(2024, 5, 6, 7, 8, 9) + 1234567;
    // The current form, written by Save.
    zulwin::CMemFile saved;
    At(some).Save(&saved);
    ASSERT_EQ(saved.GetLength(), 12u);
    saved.Seek(0, zulwin::CFile::begin);
    CTimeStamp back;
    EXPECT_EQ(back.Load(&saved), some);
    EXPECT_EQ(back.GetFileTime(), some);

    // Little-endian fields, each a value and its width in bytes; a record adds eight 2-byte
    // fields after `head` and `tail` after them.
    using Fields = std::vector<std::pair<std::uint64_t, int>>;
    auto bytes = [](const Fields& fields) {
        std::vector<unsigned char> out;
        for (const auto& [value, width] : fields)
            for (int i = 0; i < width; ++i)
                out.push_back(static_cast<unsigned char>(value >> (8 * i)));
        return out;
    };
    auto record = [&](Fields head, std::initializer_list<int> st, const Fields& tail) {
        for (int field : st)
            head.push_back({static_cast<std::uint64_t>(field), 2});
        head.insert(head.end(), tail.begin(), tail.end());
        return bytes(head);
    };
    constexpr std::uint64_t kCurrent = 872778100, kUtcRecord = 872778099;
    Fields const none, unused = {{0, 8}};
    std::uint64_t const inRecord = TicksOf(2024, 5, 6, 7, 8, 9) + 1230000;
    struct Case {
        std::vector<unsigned char> bytes;
        std::uint64_t result;
        std::uint64_t value; // starting from 77
        long position;
    } const cases[] = {
        {bytes({{kCurrent, 4}, {kMax + 1, 8}}), kMax, kMax, 12},
        {bytes({{kCurrent, 4}, {some, 4}}), 0, 77, 8}, // value cut short
        {record({{kUtcRecord, 4}}, {2024, 5, 0, 6, 7, 8, 9, 123}, none), 1, inRecord, 20},
        {record({{kUtcRecord, 4}}, {2024, 13, 0, 6, 7, 8, 9, 123}, none), 0, 77, 20},
        {bytes({{kUtcRecord, 4}, {2024, 2}}), 0, 77, 6},
        // The oldest form: a local record, then eight unused bytes, which may be missing (they
        // are skipped, not read).
        {record(none, {2024, 5, 0, 6, 9, 8, 9, 123}, unused), 1, inRecord, 24},
        {record(none, {2024, 5, 0, 6, 9, 8, 9, 123}, none), 1, inRecord, 24},
        // Local normalisation first: month 13 becomes January of the next year.
        {record(none, {2024, 13, 0, 1, 1, 0, 0, 0}, unused), 1, TicksOf(2025, 1, 1), 24},
        {record(none, {2024, 5, 0, 6, 9, 8, 9, 1000}, unused), 0, 77, 24},
        {bytes({{2024, 2}, {5, 2}}), 0, 77, 4},
        {{}, 0, 77, 0},
        {{1, 2, 3}, 0, 77, 3},
    };
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        zulwin::CMemFile file;
        file.Write(cases[i].bytes.data(), static_cast<unsigned long>(cases[i].bytes.size()));
        file.Seek(0, zulwin::CFile::begin);
        CTimeStamp ts = At(77);
        EXPECT_EQ(ts.Load(&file), cases[i].result) << i;
        EXPECT_EQ(ts.GetFileTime(), cases[i].value) << i;
        EXPECT_EQ(file.Seek(0, zulwin::CFile::current), cases[i].position) << i;
    }
    CTimeStamp ts = At(77);
    EXPECT_EQ(ts.Load(nullptr), 0u);
    ts.Save(nullptr);
    EXPECT_EQ(ts.GetFileTime(), 77u);
}

TEST(TimeStamp, DayHelpers) {
    // Half a second past noon: the second counts are truncated.
    std::uint64_t const noon = TicksOf(2024, 5, 6, 12, 0, 0) + 5000000;
    EXPECT_EQ(zulplatform::GetMidnight(At(noon)).GetFileTime(), TicksOf(2024, 5, 6));
    EXPECT_EQ(zulplatform::GetMidnight(At(kMax)).GetFileTime(), TicksOf(30827, 12, 31));
    EXPECT_EQ(zulplatform::GetElapsedSecondsInDay(At(noon)), 43200);
    EXPECT_EQ(CTimeStamp::GetSecondsForToday(At(noon)), 43200);
    {
        test_support::ScopedTz zone("UTC");
        EXPECT_EQ(zulplatform::GetRemainingSecInDay(At(noon)), 43199);
        EXPECT_EQ(zulplatform::GetRemainingSecInDay(At(TicksOf(2024, 5, 6))), 86400);
        int const left = CTimeStamp::GetTimeRemainingTodaySec();
        int const elapsed = CTimeStamp::GetSecondsForToday(CTimeStamp(true));
        EXPECT_LE(std::abs(left + elapsed - 86400), 2);
        EXPECT_EQ(CTimeStamp::GetMidnightToday(), zulplatform::GetMidnight(CTimeStamp(true)));
    }
    {
        // Local time of day, counted on the local clock: 14:00:00.5 CEST leaves 9:59:59.5.
        test_support::ScopedTz zone("Europe/Berlin");
        EXPECT_EQ(zulplatform::GetRemainingSecInDay(At(noon)), 35999);
        test_support::ScopedTz kolkata("Asia/Kolkata");
        EXPECT_EQ(zulplatform::GetRemainingSecInDay(At(noon)), 6 * 3600 + 1799);
        // The UTC midnight stays UTC whatever the zone.
        EXPECT_EQ(zulplatform::GetElapsedSecondsInDay(At(noon)), 43200);
    }
    struct Year {
        std::uint16_t year;
        bool four;
        unsigned expected;
    } const years[] = {{89, true, 2089},  {90, true, 1990}, {95, true, 1995},   {99, true, 1999},
                       {0, true, 2000},   {100, true, 100}, {2024, true, 2024}, {2024, false, 24},
                       {1999, false, 99}, {95, false, 95},  {30827, false, 27}};
    for (const Year& y : years) {
        _SYSTEMTIME st{};
        st.wYear = y.year;
        EXPECT_EQ(zulplatform::GetYearFromSystemTime(st, y.four), y.expected) << y.year;
    }
    int const hours12[] = {0, 1, 11, 12, 1, 11};
    int const hours[] = {0, 1, 11, 12, 13, 23};
    for (int i = 0; i < 6; ++i) {
        _SYSTEMTIME st{};
        st.wHour = static_cast<std::uint16_t>(hours[i]);
        EXPECT_EQ(zulplatform::GetHourFromSystemTime(st, false), hours12[i]);
        EXPECT_EQ(zulplatform::GetHourFromSystemTime(st, true), hours[i]);
    }
    {
        test_support::ScopedTz zone("Asia/Kolkata");
        _SYSTEMTIME const utc{2024, 5, 0, 6, 7, 8, 9, 10};
        _SYSTEMTIME const local = zulplatform::ConvertUtcToLocal(utc);
        EXPECT_EQ(local.wHour * 60 + local.wMinute, 12 * 60 + 38);
        _SYSTEMTIME const again = zulplatform::ConvertLocalToUtc(local);
        EXPECT_EQ(CTimeStamp(again), CTimeStamp(utc));
        _SYSTEMTIME const now = zulplatform::GetCurrentLocalSystemTime();
        EXPECT_TRUE(zulplatform::IsValidSystemTime(now));
    }
}
