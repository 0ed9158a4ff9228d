// CTimeStamp: construction and clamping, saturating arithmetic and differences against a wide
// model, the text forms against a model built on the C library's scanf (printed text read back
// through it), the display forms (and the local day's remaining seconds) and the binary forms.
#include <platform/files.h>
#include <platform/time.h>

#include "support/scoped_tz.h"
#include "support/time_records.h"

#include <gtest/gtest.h>

#include <time.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <tuple>
#include <vector>

using zulplatform::CTimeStamp;

namespace {

constexpr std::uint64_t kMax = 0x7FFF35F4F06C58F0;
constexpr std::uint64_t kEpoch = 116444736000000000;

CTimeStamp At(std::uint64_t ticks) {
    return CTimeStamp(test_support::FileTime(ticks));
}

// The ticks of a UTC calendar time, through the C library.
std::uint64_t TicksOf(int y, int mo, int d, int h = 0, int mi = 0, int s = 0) {
    tm b{s, mi, h, d, mo - 1, y - 1900, 0, 0, 0, 0, nullptr};
    return static_cast<std::uint64_t>(timegm(&b) + 11644473600LL) * 10000000;
}

// What the text gives when read with scanf and converted as the class describes it.
std::uint64_t ParseModel(const char* text) {
    short f[6] = {2000, 1, 1, 0, 0, 0};
    long long fraction = 0;
    int const n = std::sscanf(text, "%hd-%hd-%hdT%hd:%hd:%hd.%lld", &f[0], &f[1], &f[2], &f[3],
                              &f[4], &f[5], &fraction);
    std::uint16_t const u[6] = {std::uint16_t(f[0]), std::uint16_t(f[1]), std::uint16_t(f[2]),
                                std::uint16_t(f[3]), std::uint16_t(f[4]), std::uint16_t(f[5])};
    if (!*text || u[0] < 1601 || u[0] > 30827 || u[1] < 1 || u[1] > 12 || u[2] < 1 || u[2] > 31 ||
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

} // namespace

TEST(TimeStamp, ConstructionClampsToTheValidRange) {
    std::pair<CTimeStamp, std::uint64_t> const cases[] = {
        {CTimeStamp(25569.0 + 0.9994 / 86400), kEpoch + 9990000},  // variant times
        {CTimeStamp(25569.0 + 0.9999 / 86400), kEpoch + 10000000}, // 1000 ms carry over
        {CTimeStamp(std::numeric_limits<double>::quiet_NaN()), 0},
    };
    for (const auto& [ts, want] : cases)
        EXPECT_EQ(ts.GetFileTime(), want);
    // Millisecond instants from 1900 on survive the way to variant times and back.
    std::mt19937_64 rng(42);
    std::uniform_int_distribution<std::uint64_t> ms(TicksOf(1900, 1, 1) / 10000, kMax / 10000);
    for (int i = 0; i < 10000; ++i) {
        CTimeStamp const ts = At(ms(rng) * 10000);
        ASSERT_EQ(CTimeStamp(ts.GetVariantTimeWithMs()), ts) << ts.ToString().GetString();
    }
}

TEST(TimeStamp, StepsSaturateAtBothEnds) {
    auto model = [](std::uint64_t v, __int128 ticks) {
        return static_cast<std::uint64_t>(std::clamp<__int128>(v + ticks, 0, kMax));
    };
    for (std::uint64_t v : {std::uint64_t{0}, kEpoch, kMax - 1, kMax}) {
        for (long long n : {LLONG_MIN, -922337203685477581LL, -101LL, -99LL, -1LL, 0LL, 1LL, 99LL,
                            101LL, 922337203685477580LL, 922337203685477581LL, LLONG_MAX}) {
            EXPECT_EQ(At(v).IncNs(n).GetFileTime(), model(v, n / 100)) << v << " " << n;
            EXPECT_EQ(At(v).IncUs(n).GetFileTime(), model(v, __int128{n} * 10)) << v << " " << n;
        }
    }
}

TEST(TimeStamp, DifferencesSaturateAtTheirThresholds) {
    // Around every threshold: the truncated quotient, saturated to the int range for DiffMS and
    // DiffSec; the 64-bit differences never saturate, DiffNs wraps.
    long long const kLimit = static_cast<long long>(kMax);
    for (long long base : {0LL, 10000LL * INT_MAX, 10000LL * INT_MIN, 10000000LL * INT_MAX,
                           10000000LL * INT_MIN, kLimit, -kLimit}) {
        for (long long delta : {-10000000LL, -10000LL, -9999LL, -1LL, 0LL, 1LL, 9999LL, 10000LL}) {
            long long const d = base + delta;
            if (d > kLimit || d < -kLimit)
                continue;
            CTimeStamp const x = At(d >= 0 ? d : 0), y = At(d >= 0 ? 0 : -d);
            EXPECT_EQ(x.DiffMS(y), std::clamp<long long>(d / 10000, INT_MIN, INT_MAX)) << d;
            EXPECT_EQ(x.DiffSec(y), std::clamp<long long>(d / 10000000, INT_MIN, INT_MAX)) << d;
            EXPECT_EQ(x.DiffUs(y), d / 10);
            EXPECT_EQ(x.DiffNs(y), static_cast<long long>(static_cast<std::uint64_t>(d) * 100u));
        }
    }
}

TEST(TimeStamp, TextReadsExactlyAsScanfWouldAndPrintsWhatReadsBack) {
    // What the random texts below cannot reach: long numbers (saturating at either end), the
    // top of the range, trailing bytes.
    for (const char* text : {"2024-05-06T07:08:09.1234567890123456789012345678901234567890",
                             "2024--99999999999999999999-06", "30827-12-31T23:59:59.99999999999",
                             "2024-05-06T07:08:09.5Z"})
        EXPECT_EQ(CTimeStamp(text).GetFileTime(), ParseModel(text)) << text;
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
    // Printing: fixed-width fields, then over the whole range the model reads the text back to
    // the value (to the millisecond for the short form).
    CTimeStamp const some = At(TicksOf(2024, 5, 6, 7, 8, 9) + 1234567);
    EXPECT_STREQ(some.ToString().GetString(), "2024-05-06T07:08:09.123");
    EXPECT_STREQ(some.ToStringHr().GetString(), "2024-05-06T07:08:09.123456700");
    std::uniform_int_distribution<std::uint64_t> any(0, kMax);
    for (int i = 0; i < 10000; ++i) {
        std::uint64_t const v = i == 0 ? kMax : any(rng);
        ASSERT_EQ(ParseModel(At(v).ToStringHr().GetString()), v);
        ASSERT_EQ(ParseModel(At(v).ToString().GetString()), v - v % 10000);
    }
}

TEST(TimeStamp, DisplayForms) {
    // Local time in Berlin, an hour ahead of UTC in winter, two in summer.
    test_support::ScopedTz zone("Europe/Berlin");
    std::uint64_t const pm = TicksOf(2024, 5, 6, 12, 5, 59) + 7000000;
    // Seconds, milliseconds, no rounding, then the time and the date shown.
    for (auto [ticks, seconds, millis, exact, text] : {
             std::tuple{pm, false, false, false, " 2:06 PM 05/06/24"},
             {pm, true, false, true, " 2:05:59 PM 05/06/24"},
             {pm, false, true, false, " 2:05:59.700 PM 05/06/24"},
             // Rounded up to the next day's time, but the date stays (UTC 23:30 is already the
             // next day in Berlin).
             {TicksOf(1999, 12, 31, 22, 59, 59) + 5000000, true, false, false,
              "12:00:00 AM 12/31/99"},
             {TicksOf(1999, 12, 31, 23, 30, 0), false, false, false, "12:30 AM 01/01/00"},
         }) {
        zulwin::CString time, date;
        At(ticks).FormatTime(time, seconds, millis, exact);
        At(ticks).FormatDate(date);
        EXPECT_EQ(std::string(time.GetString()) + " " + date.GetString(), text);
    }
    // The seconds left in the local day: 14:00:00.5 leaves 9:59:59.5, truncated.
    EXPECT_EQ(zulplatform::GetRemainingSecInDay(At(TicksOf(2024, 5, 6, 12) + 5000000)), 35999);
}

TEST(TimeStamp, SaveAndLoadAllThreeForms) {
    // (What Save writes loads back, clamped to the range: fuzz/time_stamp_fuzz.cpp.)
    test_support::ScopedTz zone("Europe/Berlin");
    // Files of little-endian 16-bit words: the magic of the current form (0x8974 0x3405) and a
    // value, here cut short; the magic of the UTC record (0x8973 0x3405) and a record; the oldest
    // form, a local record and eight unused bytes, which may be missing (skipped, not read). Then
    // what Load returns, the value it leaves (starting from 77) and the position after it.
    std::uint64_t const in = TicksOf(2024, 5, 6, 7, 8, 9) + 1230000;
    for (const auto& [words, result, value, position] :
         {std::tuple{std::vector<std::uint16_t>{0x8974, 0x3405, 0x58F1, 0xF06C}, 0ULL, 77ULL, 8UL},
          {{0x8973, 0x3405, 2024, 5, 0, 6, 7, 8, 9, 123}, 1, in, 20},
          {{2024, 5, 0, 6, 9, 8, 9, 123, 0, 0, 0, 0}, 1, in, 24},
          {{2024, 5, 0, 6, 9, 8, 9, 123}, 1, in, 24}}) {
        zulwin::CMemFile file;
        file.Write(words.data(), static_cast<unsigned long>(words.size() * 2));
        file.Seek(0, zulwin::CFile::begin);
        CTimeStamp ts = At(77);
        EXPECT_EQ(
            (std::tuple{ts.Load(&file), ts.GetFileTime(), file.Seek(0, zulwin::CFile::current)}),
            std::tuple(result, value, position))
            << words.size();
    }
}
