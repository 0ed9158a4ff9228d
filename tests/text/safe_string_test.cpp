#include <platform/files.h>
#include <platform/strings.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <vector>

using zulplatform::CException;
using zulwin::CString;

namespace {

// Runs `f`, expecting a zulplatform::CException, and returns its code (0 if nothing thrown).
template <typename F> int ThrownCode(F&& f) {
    try {
        f();
    } catch (CException const& e) {
        return e.GetCode();
    }
    ADD_FAILURE() << "no zulplatform::CException thrown";
    return 0;
}

// A CString holding exactly `bytes`, raw (embedded NULs and invalid UTF-8 kept).
CString RawCString(std::string const& bytes) {
    CString s;
    char* buffer = s.GetBufferSetLength(static_cast<int>(bytes.size()));
    if (!bytes.empty())
        std::memcpy(buffer, bytes.data(), bytes.size());
    return s;
}

std::size_t StdHash(std::string const& s) {
    return std::hash<std::string>{}(s);
}

} // namespace

TEST(StrcpyS, CopiesWhenTheTerminatorFits) {
    char buf[5] = "zzzz";
    EXPECT_EQ(strcpy_s(buf, sizeof buf, "abcd"), 0);
    EXPECT_STREQ(buf, "abcd");
    EXPECT_EQ(strcpy_s(buf, sizeof buf, ""), 0);
    EXPECT_STREQ(buf, "");
}

TEST(StrcpyS, TooLongEmptiesTheDestinationAndThrowsRange) {
    char buf[5] = "zzzz";
    EXPECT_EQ(ThrownCode([&] { strcpy_s(buf, 4, "abcd"); }), 34);
    EXPECT_EQ(buf[0], '\0');
    EXPECT_EQ(buf[1], 'z'); // nothing else is touched
    // Size 0 must not write at all.
    char guard = 'g';
    EXPECT_EQ(ThrownCode([&] { strcpy_s(&guard, 0, ""); }), 34);
    EXPECT_EQ(guard, 'g');
}

TEST(StrcpyS, NullArgumentsThrowInvalid) {
    char buf[4];
    EXPECT_EQ(ThrownCode([&] { strcpy_s(nullptr, 4, "a"); }), 22);
    EXPECT_EQ(ThrownCode([&] { strcpy_s(buf, 4, nullptr); }), 22);
}

TEST(StrncpyS, CountActsAsABufferSize) {
    struct Case {
        unsigned long size, count;
        char const* expected;
    } const cases[] = {
        {10, 3, "ab"}, {3, 10, "ab"}, {10, 10, "abcdef"}, {7, 7, "abcdef"}, {1, 5, ""},
    };
    for (auto const& c : cases) {
        char buf[16];
        std::memset(buf, 'z', sizeof buf);
        EXPECT_EQ(strncpy_s(buf, c.size, "abcdef", c.count), 0);
        EXPECT_STREQ(buf, c.expected) << c.size << "/" << c.count;
    }
    // Nothing is written for a zero bound or null pointers, and nothing throws.
    char buf[4] = "xyz";
    EXPECT_EQ(strncpy_s(buf, 0, "abc", 5), 0);
    EXPECT_EQ(strncpy_s(buf, 4, "abc", 0), 0);
    EXPECT_EQ(strncpy_s(buf, 4, nullptr, 4), 0);
    EXPECT_EQ(strncpy_s(nullptr, 4, "abc", 4), 0);
    EXPECT_STREQ(buf, "xyz");
}

TEST(StrcatS, AppendsWhenItFits) {
    char buf[7] = "ab";
    EXPECT_EQ(strcat_s(buf, sizeof buf, "cdef"), 0);
    EXPECT_STREQ(buf, "abcdef");
}

TEST(StrcatS, OverflowLosesTheExistingContent) {
    char buf[7] = "abc";
    EXPECT_EQ(ThrownCode([&] { strcat_s(buf, sizeof buf, "defg"); }), 34);
    EXPECT_EQ(buf[0], '\0');
    // An unterminated destination counts as full and is not read beyond `size`.
    char full[3] = {'x', 'y', 'z'};
    EXPECT_EQ(ThrownCode([&] { strcat_s(full, sizeof full, ""); }), 34);
    EXPECT_EQ(full[0], '\0');
    EXPECT_EQ(ThrownCode([&] { strcat_s(nullptr, 3, "a"); }), 22);
    EXPECT_EQ(ThrownCode([&] { strcat_s(buf, 3, nullptr); }), 22);
}

TEST(MemcpyS, Behaviour) {
    EXPECT_EQ(memcpy_s(nullptr, 0, nullptr, 0), 0);
    EXPECT_EQ(memcpy_s(nullptr, 8, nullptr, 0), 0);

    unsigned char dst[4] = {9, 9, 9, 9};
    unsigned char const src[5] = {1, 2, 3, 4, 5};
    EXPECT_EQ(memcpy_s(dst, 4, src, 4), 0);
    EXPECT_EQ(std::memcmp(dst, src, 4), 0);

    EXPECT_EQ(ThrownCode([&] { memcpy_s(dst, 4, src, 5); }), 34);
    for (unsigned char b : dst)
        EXPECT_EQ(b, 0);

    EXPECT_EQ(ThrownCode([&] { memcpy_s(nullptr, 4, src, 1); }), 22);
    EXPECT_EQ(ThrownCode([&] { memcpy_s(dst, 4, nullptr, 1); }), 22);
}

TEST(SprintfS, FormatsAndReturnsTheCount) {
    char buf[16];
    EXPECT_EQ(sprintf_s(buf, sizeof buf, "%d-%s", 42, "x"), 4);
    EXPECT_STREQ(buf, "42-x");
    // Exactly size - 1 characters still fit.
    EXPECT_EQ(sprintf_s(buf, 5, "%s", "abcd"), 4);
    EXPECT_STREQ(buf, "abcd");
}

TEST(SprintfS, FailuresEmptyTheBufferAndThrowMinusFour) {
    char buf[8] = "keep";
    EXPECT_EQ(ThrownCode([&] { sprintf_s(buf, 5, "%s", "abcde"); }), -4);
    EXPECT_STREQ(buf, "");

    std::strcpy(buf, "keep");
    char const* noFormat = nullptr;
    EXPECT_EQ(ThrownCode([&] { sprintf_s(buf, sizeof buf, noFormat); }), -4);
    EXPECT_STREQ(buf, "");

    std::strcpy(buf, "keep");
    EXPECT_EQ(ThrownCode([&] { sprintf_s(buf, 0, "x"); }), -4);
    EXPECT_STREQ(buf, "keep"); // a zero-sized buffer is never written
    EXPECT_EQ(ThrownCode([&] { sprintf_s(nullptr, 8, "x"); }), -4);
}

TEST(AccessS, NullThrowsOtherwiseAccessResult) {
    EXPECT_EQ(ThrownCode([] { access_s(nullptr, 0); }), 22);
    EXPECT_EQ(access_s("/", 0), 0);
    errno = 0;
    EXPECT_EQ(access_s("/no/such/path/at/all", 0), -1);
    EXPECT_EQ(errno, ENOENT);
}

TEST(LstrlenW, CountsUnits) {
    EXPECT_EQ(lstrlenW(nullptr), 0);
    EXPECT_EQ(lstrlenW(u""), 0);
    EXPECT_EQ(lstrlenW(u"abc"), 3);
    EXPECT_EQ(lstrlenW(u"\U0001F600x"), 3); // a surrogate pair counts as two units
}

TEST(Lstrcpyn, CopiesAtMostNMinusOneBytes) {
    char buf[8];
    std::memset(buf, 'z', sizeof buf);
    EXPECT_EQ(lstrcpyn(buf, "abc", 1), buf);
    EXPECT_EQ(buf[0], '\0');
    EXPECT_EQ(buf[1], 'z');

    EXPECT_STREQ(lstrcpyn(buf, "abcdef", 4), "abc");
    EXPECT_STREQ(lstrcpyn(buf, "ab", 8), "ab");

    std::strcpy(buf, "same");
    EXPECT_EQ(lstrcpyn(buf, nullptr, 4), buf);
    EXPECT_EQ(lstrcpyn(buf, "x", 0), buf);
    EXPECT_STREQ(buf, "same");
    EXPECT_EQ(lstrcpyn(nullptr, "x", 4), nullptr);
}

TEST(UnsignedParsers, Table) {
    struct Case {
        char const* text;
        unsigned long long expected;
    } const cases[] = {
        {"", 0},
        {"  +42x", 42},
        {"\t\n 7", 7},
        {"-1", 0},
        {"+-1", 0},
        {"++1", 0},
        {"x1", 0},
        {"007", 7},
        {"18446744073709551615", ULLONG_MAX},
        {"18446744073709551616", ULLONG_MAX},
        {"18446744073709551620", ULLONG_MAX},
        {"99999999999999999999999", ULLONG_MAX},
        {"1844674407370955161", 1844674407370955161ULL},
        {"18446744073709551610", 18446744073709551610ULL},
    };
    for (auto const& c : cases) {
        EXPECT_EQ(_ttoull(c.text), c.expected) << c.text;
        EXPECT_EQ(_ttoul(c.text), c.expected) << c.text;
    }
    EXPECT_EQ(_ttoull(nullptr), 0u);
    EXPECT_EQ(_ttoul(nullptr), 0u);
    EXPECT_EQ(_ttoui(nullptr), 0u);
    EXPECT_EQ(_ttoui("4294967295"), 4294967295u);
    EXPECT_EQ(_ttoui("4294967296"), 4294967295u);
    EXPECT_EQ(_ttoui("-5"), 0u);
}

TEST(SignedParsers, Table) {
    EXPECT_EQ(_ttoll(nullptr), 0);
    EXPECT_EQ(_ttoll(""), 0);
    EXPECT_EQ(_ttoll(" -12ab"), -12);
    EXPECT_EQ(_ttoll("9223372036854775808"), LLONG_MAX);
    EXPECT_EQ(_ttoll("-9223372036854775809"), LLONG_MIN);
    EXPECT_EQ(_ttol("-9223372036854775808"), LONG_MIN);
    EXPECT_EQ(_ttoi(nullptr), 0);
    EXPECT_EQ(_ttoi("99999999999"), INT_MAX);
    EXPECT_EQ(_ttoi("-99999999999"), INT_MIN);
    EXPECT_EQ(_ttoi("2147483647"), INT_MAX);
    EXPECT_EQ(_ttoi("-2147483648"), INT_MIN);
    EXPECT_EQ(_ttoi("+17"), 17);
}

namespace {

// Random numeric-looking text: white space, signs, digit runs of any length, stray letters.
std::string RandomNumberText(std::mt19937_64& rng) {
    static char const kPieces[] = " \t\n\v+-0123456789012345678901234567890123456789ax.";
    std::uniform_int_distribution<int> length(0, 28);
    std::uniform_int_distribution<std::size_t> pick(0, sizeof kPieces - 2);
    std::string s;
    int const n = length(rng);
    for (int i = 0; i < n; ++i)
        s += kPieces[pick(rng)];
    // Often make it a clean, long digit string to reach the overflow boundary.
    if (rng() % 3 == 0) {
        s = (rng() % 2 ? "  " : "+");
        int const digits = 15 + static_cast<int>(rng() % 8);
        s += static_cast<char>('1' + rng() % 9);
        for (int i = 1; i < digits; ++i)
            s += static_cast<char>('0' + rng() % 10);
    }
    return s;
}

unsigned long long ReferenceUnsigned(std::string const& s) {
    std::size_t i = 0;
    while (i < s.size() && std::isspace(static_cast<unsigned char>(s[i])))
        ++i;
    if (i < s.size() && s[i] == '+')
        ++i;
    unsigned __int128 value = 0;
    for (; i < s.size() && s[i] >= '0' && s[i] <= '9'; ++i) {
        value = value * 10 + static_cast<unsigned>(s[i] - '0');
        if (value > ULLONG_MAX)
            return ULLONG_MAX;
    }
    return static_cast<unsigned long long>(value);
}

} // namespace

TEST(Parsers, RandomInputAgainstReferences) {
    std::mt19937_64 rng(20240611);
    for (int round = 0; round < 20000; ++round) {
        std::string const text = RandomNumberText(rng);
        unsigned long long const expectedUnsigned = ReferenceUnsigned(text);
        ASSERT_EQ(_ttoull(text.c_str()), expectedUnsigned) << '"' << text << '"';
        ASSERT_EQ(_ttoui(text.c_str()), std::min<unsigned long long>(expectedUnsigned, UINT_MAX))
            << '"' << text << '"';

        long long const expectedSigned = std::strtoll(text.c_str(), nullptr, 10);
        ASSERT_EQ(_ttoll(text.c_str()), expectedSigned) << '"' << text << '"';
        ASSERT_EQ(_ttol(text.c_str()), expectedSigned) << '"' << text << '"';
        ASSERT_EQ(_ttoi(text.c_str()), std::clamp<long long>(expectedSigned, INT_MIN, INT_MAX))
            << '"' << text << '"';
    }
}

TEST(NaturalCompare, OrdersDigitRunsByValue) {
    auto sign = [](int v) { return (v > 0) - (v < 0); };
    struct Case {
        char const* a;
        char const* b;
        int expected;
    } const cases[] = {
        {"file9", "file10", -1}, {"file10", "file9", 1},   {"a", "a", 0},
        {"", "a", -1},           {"abc", "abd", -1},       {"v1.2", "v1.10", -1},
        {"x2y", "x2y", 0},       {"file10", "file010", 1},
    };
    for (auto const& c : cases)
        EXPECT_EQ(sign(_NaturalCompare(CString(c.a), CString(c.b))), c.expected)
            << c.a << " vs " << c.b;
}

TEST(HashCString, EqualsTheStandardStringHash) {
    for (char const* text : {"", "a", "abcdefg", "abcdefgh", "abcdefghi", "0123456789abcdef",
                             "The quick brown fox jumps over the lazy dog", "caf\xc3\xa9"}) {
        EXPECT_EQ(zulplatform::HashCString(CString(text)), StdHash(text)) << text;
    }
}

TEST(HashCString, StopsAtTheFirstNul) {
    std::string const withNul("abc\0def", 7);
    EXPECT_EQ(zulplatform::HashCString(RawCString(withNul)), StdHash("abc"));
    EXPECT_EQ(zulplatform::HashCString(RawCString(std::string(1, '\0'))), StdHash(""));
    std::string longer(40, 'q');
    longer[33] = '\0';
    EXPECT_EQ(zulplatform::HashCString(RawCString(longer)), StdHash(std::string(33, 'q')));
}

TEST(HashCString, RandomBytesOfRandomLengths) {
    std::mt19937_64 rng(7);
    std::uniform_int_distribution<int> length(0, 300);
    for (int round = 0; round < 5000; ++round) {
        std::string bytes(static_cast<std::size_t>(length(rng)), '\0');
        // Nonzero bytes mostly; now and then one NUL somewhere (or a 0x80/0x01 pattern that
        // resembles a zero byte to a careless word test).
        for (char& b : bytes)
            b = static_cast<char>(1 + rng() % 255);
        if (!bytes.empty() && round % 5 == 0)
            bytes[rng() % bytes.size()] = '\0';
        if (!bytes.empty() && round % 7 == 0)
            bytes[rng() % bytes.size()] = '\x80';

        std::string const upToNul(bytes.c_str());
        ASSERT_EQ(zulplatform::HashCString(RawCString(bytes)), StdHash(upToNul))
            << "length " << bytes.size() << ", round " << round;
    }
}
