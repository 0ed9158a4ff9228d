// The bounded string functions, the number parsers against the C library, and HashCString
// against the standard string hash.
#include <platform/exception.h>
#include <platform/strings.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <random>
#include <string>
#include <tuple>

using namespace std::string_literals;

// Runs `call` on a buffer holding "keepXYZ" and describes what happened: "<result>|<bytes>" or
// "throw <code>|<bytes>", where <bytes> are the buffer's first seven bytes.
template <typename F> static std::string Outcome(F call) {
    char buf[8] = "keepXYZ";
    try {
        std::string const result = std::to_string(call(buf));
        return result + "|" + std::string(buf, 7);
    } catch (zulplatform::CException const& e) {
        return "throw " + std::to_string(e.GetCode()) + "|" + std::string(buf, 7);
    }
}

// The bounded functions throw instead of returning error numbers and clear the destination
// (or zero-fill it, for memcpy_s) only where they must; strncpy_s treats its count as a size.
TEST(SafeString, BoundedAndCopyFunctions) {
    EXPECT_EQ("throw 34|\0eepXYZ"s, Outcome([](char* b) { return strcpy_s(b, 4, "abcd"); }));
    EXPECT_EQ("0|abcd\0YZ"s, Outcome([](char* b) { return strcpy_s(b, 5, "abcd"); }));
    EXPECT_EQ("throw 22|keepXYZ", Outcome([](char*) { return strcpy_s(nullptr, 4, "a"); }));
    EXPECT_EQ("throw 34|\0eepXYZ"s, Outcome([](char* b) { return strcat_s(b, 8, "x"); }));
    EXPECT_EQ("throw 34|\0\0\0\0XYZ"s, Outcome([](char* b) { return memcpy_s(b, 4, "abcde", 5); }));
    EXPECT_EQ("throw -4|\0bcd\0YZ"s, Outcome([](char* b) { return sprintf_s(b, 5, "abcd!"); }));
    EXPECT_EQ("0|ab\0pXYZ"s, Outcome([](char* b) { return strncpy_s(b, 8, "abcdef", 3); }));
}

TEST(SafeString, ParsersAgainstReferencesOnRandomText) {
    // White space, signs, letters, and digit runs that stop just short of the 32- and 64-bit
    // limits, so that the next digit lands exactly on, below or past them.
    // clang-format off
    char const* const pieces[] = {" ", "\t", "+", "-", "x", "0", "1", "5", "6", "7", "8", "9",
                                  "429496729", "214748364", "922337203685477580", "1844674407370955161"};
    // clang-format on
    std::mt19937_64 rng(20240611);
    for (int round = 0; round < 20000; ++round) {
        std::string text;
        for (int n = static_cast<int>(rng() % 7); n > 0; --n)
            text += pieces[rng() % std::size(pieces)];
        char const* s = text.c_str();
        // The unsigned rule is strtoull's, except that a minus sign gives 0 instead of negating.
        auto const u = s[std::strspn(s, " \t")] == '-' ? 0ULL : std::strtoull(s, nullptr, 10);
        long long const ll = std::strtoll(s, nullptr, 10);
        ASSERT_EQ(std::make_tuple(_ttoull(s), _ttoul(s), _ttoui(s), _ttoll(s), _ttol(s), _ttoi(s)),
                  std::make_tuple(u, u, std::min<unsigned long long>(u, UINT_MAX), ll, ll,
                                  std::clamp<long long>(ll, INT_MIN, INT_MAX)))
            << '"' << text << '"';
    }
}

// Every length each path handles (short, medium, and several blocks of the long one), with no
// NUL and with one at every position: the NUL watch of each path must see every byte.
TEST(SafeString, HashCStringEqualsTheStandardStringHashUpToTheFirstNul) {
    std::mt19937_64 rng(11);
    for (std::size_t len = 0; len <= 100; ++len) {
        for (std::size_t nulAt = 0; nulAt <= len; ++nulAt) { // nulAt == len: none inside
            zulwin::CString raw('\0', len);
            char* const bytes = raw.GetBuffer();
            for (std::size_t i = 0; i < len; ++i)
                bytes[i] = i == nulAt ? '\0' : static_cast<char>(1 + rng() % 255);
            ASSERT_EQ(zulplatform::HashCString(raw), std::hash<std::string>{}(bytes))
                << len << " " << nulAt;
        }
    }
}
