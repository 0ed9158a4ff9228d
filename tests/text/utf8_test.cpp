// UTF-8 primitives and CUtf8String: the rules with their deliberate quirks, the case walk's
// block steps against the reference, and what the UTF-8 fuzz target does not check.
#include "support/allocation_counter.h"
#include "support/utf8_reference.h"

#include <platform/unicode.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <random>
#include <string>
#include <tuple>

namespace {

using namespace test_support;
using utf8_private::IsValidString;

std::string const kEmoji = "\xF0\x9F\x98\x80"; // U+1F600

TEST(Utf8Primitives, Validators) {
    // The light rule (IsValidCodePoint, with the length) takes overlong 3- and 4-byte forms,
    // surrogates and values above U+10FFFF; the strict one (utf8_check) takes none of them.
    // clang-format off
    std::tuple<const char*, unsigned long, unsigned long> const cases[] = { // length 0: rejected
        {"\xC0\x80", 0, 0}, {"\xF5\x80\x80\x80", 0, 0}, {"\xE0\x80\x80", 3, 0},
        {"\xED\xA0\x80", 3, 0}, {"\xF4\x90\x80\x80", 4, 0}, {"\xC3\x41", 0, 0},
        {"a\xE4\xB8", 1, 1}, {"\xF0\x90\x80\x80\xFF", 4, 4}};
    // clang-format on
    for (auto const& [bytes, light, strict] : cases) {
        unsigned long len = 99;
        std::string copy = bytes;
        EXPECT_TRUE(utf8_private::IsValidCodePoint(bytes, len) == (light != 0) && len == light);
        EXPECT_EQ(CUtf8String::utf8_check(reinterpret_cast<unsigned char*>(&copy[0])), strict);
    }
    char cut[2] = {'\xE4', '\xB8'}; // not terminated: the limit bounds what is read
    EXPECT_EQ(utf8_private::GetValidSize(cut, 2), 0u);
}

TEST(Utf8Primitives, EncodeDecode) {
    std::string out;
    for (unsigned cp : {0x110000u, 0xD800u, 0x10FFFFu}) // out of range: nothing
        utf8_private::SetCodePoint(out, cp);
    EXPECT_EQ(out, "\xED\xA0\x80\xF4\x8F\xBF\xBF");
    EXPECT_EQ(utf8_private::_wchar(kEmoji.c_str()), u'?'); // one unit per character
    auto app = [](std::u16string units) {
        std::string out;
        utf8_private::_AppendUtf16(units.c_str(), out);
        return out;
    };
    EXPECT_EQ(app(u"\xD83D\xDE00"), kEmoji);
    EXPECT_EQ(app(u"a\xD83D"), "a"); // a high surrogate before the terminator is dropped
    // The unit after a high surrogate is combined unchecked; the 32-bit arithmetic wraps.
    EXPECT_EQ(app({0xD83D, u'A'}), "\xEF\x91\x81");
}

TEST(Utf8String, RoutesAndQueries) {
    EXPECT_EQ(CUtf8String("\xC3\xA9\xE9").str(), "???"); // all or nothing
    CUtf8String s("ab");
    s += "\xE9";
    EXPECT_EQ(s.str(), "ab?");
    EXPECT_EQ(CUtf8String("a\xC3\xA9" + kEmoji).GetLength(), 3u); // code points
}

// Unicode tables, not the locale; every ASCII byte at every offset of the 8- and 16-byte steps.
TEST(Utf8String, CaseMappingAndComparison) {
    std::string all(127, '\0');
    std::iota(all.begin(), all.end(), '\1');
    for (std::size_t start = 0; start < 24; ++start) {
        std::string const text = all.substr(start) + all.substr(0, start) + "\xC3\x89" + all;
        EXPECT_EQ(CUtf8String(text.c_str()).MakeLower().str(), RefConvert(text, true));
        EXPECT_EQ(CUtf8String(text.c_str()).MakeUpper().str(), RefConvert(text, false));
    }
    EXPECT_EQ(CUtf8String("\xCE\xA3").CompareNoCase("\xCF\x83"), 0);
}

TEST(Utf8String, ToWideAndPositionOperations) {
    EXPECT_EQ(CUtf8String::ToWide("a\xE0\x80\x80z"), u"a"); // the strictly valid prefix
    zulplatform::_CUtf8String s("abcdef");
    s.RemoveAt(1, static_cast<unsigned long>(-7L)); // a count from a negative number
    EXPECT_EQ(s.str(), "a");
    // The start is bounded by the four code points, not the seven bytes.
    zulplatform::_CUtf8String const multi("\xC3\xA9\xC3\xA9\xC3\xA9x");
    unsigned long found = 3, beyond = 4;
    EXPECT_TRUE(multi.Find("x", found) && found == 6 && !multi.Find("x", beyond));
}

// What the fuzz target leaves out: CompareNoCase sits on the configuration lookup path and must
// not allocate; random UTF-16 units keep their byte limit and encode to text the light rule
// accepts.
TEST(Utf8Differential, RandomInputs) {
    std::mt19937 rng(12345);
    for (int round = 0; round < 5000; ++round) {
        CUtf8String const own{RandomText(rng, 40, true)};
        std::string const arg = RandomText(rng, 40);
        long const before = Allocations();
        static_cast<void>(own.CompareNoCase(arg.c_str()));
        ASSERT_EQ(Allocations(), before);
        std::u16string units(rng() % 24, u'\0');
        std::generate(units.begin(), units.end(), [&] { return char16_t(rng() % 0xFFFF + 1); });
        unsigned long const limit = rng() % 50;
        ASSERT_LE(CUtf8String(units.c_str(), limit).size(), limit);
        ASSERT_TRUE(IsValidString(CUtf8String(units.c_str()).c_str()));
    }
}

} // namespace
