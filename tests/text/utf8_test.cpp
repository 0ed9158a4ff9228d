// UTF-8 primitives and CUtf8String: the rules with their deliberate quirks, and differential
// checks of the block-wise fast paths against plain reference implementations.
#include "support/allocation_counter.h"
#include "support/utf8_reference.h"

#include <platform/unicode.h>

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <tuple>

namespace {

using namespace test_support;
using utf8_private::IsValidString;

std::string const kEmoji = "\xF0\x9F\x98\x80"; // U+1F600

// The longest prefix of whole sequences passing the light rule within `n` bytes.
unsigned long RefValidSize(const char* s, unsigned long n) {
    unsigned long pos = 0, len;
    while (utf8_private::IsValidCodePoint(s + pos, len) && pos + len <= n)
        pos += len;
    return pos;
}

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

TEST(Utf8String, CaseMappingAndComparison) {
    EXPECT_EQ(CUtf8String("stra\u00DFe").MakeUpper().str(), "STRA\u00DFE");
    // Every ASCII byte at every offset of the 8- and 16-byte steps.
    std::string all;
    for (int b = 1; b < 128; ++b)
        all.push_back(static_cast<char>(b));
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

// The fast routes against the references, on random text at every alignment, each text alone in
// a heap block of exactly its size so that under AddressSanitizer any read past its terminator
// shows; CompareNoCase allocates nothing; random UTF-16 units keep
// their byte limit and encode to text the light rule accepts.
TEST(Utf8Differential, RandomInputs) {
    std::mt19937 rng(12345);
    for (int round = 0; round < 20000; ++round) {
        std::string const text = RandomText(rng, round % 4 == 0 ? 200 : 40);
        std::size_t const n = text.size(), offset = rng() % 64;
        std::unique_ptr<char[]> block(new char[offset + n + 1]);
        char* const s = block.get() + offset;
        std::memcpy(s, text.c_str(), n + 1);
        ASSERT_EQ(IsValidString(s), RefIsValidString(s)) << round;
        ASSERT_EQ(CUtf8String(s).str(), RefAccept(s));
        ASSERT_EQ(CUtf8String::ToWide(s), RefToWide(s));
        unsigned long const limit = rng() % 50;
        ASSERT_EQ(CUtf8String(s, limit).str(), std::string(s, RefValidSize(s, limit)));
        std::string const raw = RandomText(rng, 40, true);
        ASSERT_EQ(CUtf8String(std::string(raw)).GetLength(), RefLength(raw));
        ASSERT_EQ(CUtf8String(std::string(raw)).MakeLower().str(), RefConvert(raw, true));
        ASSERT_EQ(CUtf8String(std::string(raw)).MakeUpper().str(), RefConvert(raw, false));
        // CompareNoCase sits on the configuration lookup path: it must not allocate.
        CUtf8String const own{std::string(raw)};
        long const before = Allocations();
        static_cast<void>(own.CompareNoCase(s));
        ASSERT_EQ(Allocations(), before);

        std::size_t const m = rng() % 24;
        std::unique_ptr<char16_t[]> units(new char16_t[m + 1]);
        for (std::size_t i = 0; i < m; ++i)
            units[i] = static_cast<char16_t>(rng() % 0xFFFF + 1);
        units[m] = 0;
        ASSERT_LE(CUtf8String(units.get(), limit).size(), limit);
        ASSERT_TRUE(IsValidString(CUtf8String(units.get()).c_str()));
    }
}

} // namespace
