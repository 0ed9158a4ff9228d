// UTF-8 primitives and CUtf8String: the rules with their deliberate quirks, and differential
// checks of the block-wise fast paths against plain reference implementations.
#include "support/allocation_counter.h"
#include "support/utf8_reference.h"

#include <platform/unicode.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

using namespace test_support;
using utf8_private::IsValidString;

std::string const kEmoji = "\xF0\x9F\x98\x80"; // U+1F600

int Sign(int v) {
    return (v > 0) - (v < 0);
}

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
    struct Case {
        const char* bytes;
        unsigned long len, strict; // len 0: rejected by the light rule
    } const cases[] = {
        // clang-format off
        {"\xC0\x80", 0, 0}, {"\xF5\x80\x80\x80", 0, 0}, {"\xE0\x80\x80", 3, 0},
        {"\xED\xA0\x80", 3, 0}, {"\xF4\x90\x80\x80", 4, 0}, {"\xC3\x41", 0, 0},
        {"a\xE4\xB8", 1, 1}, {"\xF0\x90\x80\x80\xFF", 4, 4}, {"", 0, 0},
        // clang-format on
    };
    for (const Case& c : cases) {
        unsigned long len = 99;
        EXPECT_EQ(utf8_private::IsValidCodePoint(c.bytes, len), c.len != 0) << c.bytes;
        EXPECT_EQ(len, c.len) << c.bytes;
        std::string copy = c.bytes;
        EXPECT_EQ(CUtf8String::utf8_check(reinterpret_cast<unsigned char*>(&copy[0])), c.strict);
    }
    unsigned long len = 7;
    EXPECT_FALSE(utf8_private::IsValidCodePoint(nullptr, len) || len != 0);
    char cut[2] = {'\xE4', '\xB8'}; // not terminated: the limit bounds what is read
    EXPECT_EQ(utf8_private::GetValidSize(cut, 2), 0u);
    unsigned const lengths[][3] = {{0x00, 0x00, 0}, {0x01, 0xBF, 1}, {0xC0, 0xDF, 2},
                                   {0xE0, 0xEF, 3}, {0xF0, 0xF7, 4}, {0xF8, 0xFB, 5},
                                   {0xFC, 0xFD, 6}, {0xFE, 0xFF, 1}};
    for (auto const& r : lengths)
        for (unsigned b = r[0]; b <= r[1]; ++b)
            EXPECT_EQ(CUtf8String::GetSequenceLen(static_cast<char>(b)), r[2]) << b;
}

TEST(Utf8Primitives, EncodeDecode) {
    auto enc = [](unsigned cp) {
        std::string out;
        utf8_private::SetCodePoint(out, cp);
        return out;
    };
    EXPECT_EQ(enc(0x110000) + enc(0xFFFFFF80u), "");
    EXPECT_EQ(enc(0xD800) + enc(0x10FFFF), "\xED\xA0\x80\xF4\x8F\xBF\xBF");
    EXPECT_EQ(utf8_private::GetCodePoint("\x80", 1), 0xFFFFFF80u);
    EXPECT_EQ(utf8_private::GetCodePoint("\xF8\x88\x80\x80\x80", 5), 0u);
    EXPECT_EQ(utf8_private::_wchar(kEmoji.c_str()), u'?'); // one unit per character
    EXPECT_EQ(utf8_private::_wchar("\x80"), 0xFF80);
    EXPECT_EQ(utf8_private::_wchar(nullptr), 0);
    auto app = [](std::u16string units) {
        std::string out;
        utf8_private::_AppendUtf16(units.c_str(), out);
        return out;
    };
    EXPECT_EQ(app(u"\xD83D\xDE00"), kEmoji);
    EXPECT_EQ(app(u"\xDC00"), "\xED\xB0\x80");
    EXPECT_EQ(app(u"a\xD83D"), "a"); // a high surrogate before the terminator is dropped
    // The unit after a high surrogate is combined unchecked; the 32-bit arithmetic wraps.
    EXPECT_EQ(app({0xD83D, u'A'}), "\xEF\x91\x81");
}

TEST(Utf8String, RoutesAndQueries) {
    EXPECT_EQ(CUtf8String("\xC3\xA9\xE9").str(), "???"); // all or nothing
    const char16_t units[] = {0xD83D, 0xDE00, 0x41, 0};
    EXPECT_EQ(CUtf8String(units, 3).str(), ""); // the byte limit holds no whole pair plus 'A'
    const char32_t wide[] = {0x61, 0x110000, 0x1F600, 0};
    EXPECT_EQ(CUtf8String(wide).str(), "a" + kEmoji);
    CUtf8String raw(std::string("\xFF\0z", 3));
    CUtf8String moved(std::move(raw));
    EXPECT_TRUE(moved.size() == 3 && raw.empty()); // NOLINT(bugprone-use-after-move)
    CUtf8String s("ab");
    s += s;
    s += "\xE9";
    s += u"\x00E9";
    EXPECT_EQ(s.str(), "abab?\xC3\xA9");
    EXPECT_EQ(s.GetLength(), 6u); // code points
    s.ScrambleText();
    EXPECT_EQ(s.str(), "@@@@@@@");
    CUtf8String const cutText(std::string("\xE4"));
    auto cut = cutText.begin(); // a sequence cut by the terminator
    EXPECT_TRUE(*cut == 0x4000 && *++cut == 0);
}

TEST(Utf8String, CaseMappingAndComparison) {
    EXPECT_EQ(CUtf8String("\xC4\xB1").MakeUpper().str(), "I"); // U+0131: 2 bytes -> 1
    EXPECT_EQ(CUtf8String("stra\u00DFe").MakeUpper().str(), "STRA\u00DFE");
    // Raw content: a two-byte lead at the very end decodes with the terminator as its second byte.
    EXPECT_EQ(CUtf8String(std::string("A\xC3")).MakeLower().str(), "a\xC3\xA0");
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
    EXPECT_NE(CUtf8String("\xC5\xBF").CompareNoCase("s"), 0); // long s is no key of the table
    EXPECT_GT(CUtf8String("abc").CompareNoCase(nullptr), 0);
}

TEST(Utf8String, ToWideAndPositionOperations) {
    EXPECT_EQ(CUtf8String::ToWide("a\xE0\x80\x80z"), u"a"); // the strictly valid prefix
    std::u16string const w = CUtf8String::ToWide("0123456789a\xC3\xA9");
    EXPECT_EQ(w.capacity(), w.size());
    zulplatform::_CUtf8String s("abcdef");
    s.ReplaceAt(2, "", 1); // an empty replacement erases to the end
    s.InsertAt(10, "?");   // beyond the end: nothing
    EXPECT_EQ(s.str(), "ab");
    s.RemoveAt(1, static_cast<unsigned long>(-7L)); // a count from a negative number
    EXPECT_EQ(s.str(), "a");
    zulplatform::_CUtf8String const multi("\xC3\xA9\xC3\xA9\xC3\xA9x");
    unsigned long pos = 4;
    EXPECT_FALSE(multi.Find("x", pos)); // the start is bounded by the four code points
}

// The fast routes against the references, on random text at every alignment, each text alone in
// a heap block of exactly its size so that under AddressSanitizer any read past its terminator
// shows; the iterator against a model; CompareNoCase allocates nothing; random UTF-16 and UTF-32
// units keep their byte limit and encode to text the light rule accepts.
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
        std::vector<char16_t> seen, expected;
        for (auto it = CUtf8String::const_iterator(s); *it != 0 && seen.size() <= n; ++it)
            seen.push_back(*it);
        for (std::size_t i = 0; i < n && utf8_private::_wchar(s + i) != 0;
             i += std::max<std::size_t>(1, CUtf8String::GetSequenceLen(s[i])))
            expected.push_back(utf8_private::_wchar(s + i)); // a unit of 0 ends the walk
        ASSERT_EQ(seen, expected);
        ASSERT_LE(CUtf8String::utf8_check(reinterpret_cast<unsigned char*>(s)), n);

        std::string const raw = RandomText(rng, 40, true);
        ASSERT_EQ(CUtf8String(std::string(raw)).GetLength(), RefLength(raw));
        ASSERT_EQ(CUtf8String(std::string(raw)).MakeLower().str(), RefConvert(raw, true));
        ASSERT_EQ(CUtf8String(std::string(raw)).MakeUpper().str(), RefConvert(raw, false));
        // CompareNoCase sits on the configuration lookup path: it must not allocate.
        CUtf8String const own{std::string(raw)};
        long const before = Allocations();
        int const sign = Sign(own.CompareNoCase(s));
        ASSERT_EQ(Allocations(), before);
        ASSERT_EQ(sign, Sign(std::strcmp(RefConvert(raw, true).c_str(),
                                         RefConvert(RefAccept(s), true).c_str())));

        std::size_t const m = rng() % 24;
        std::unique_ptr<char16_t[]> units(new char16_t[m + 1]);
        std::unique_ptr<char32_t[]> wide(new char32_t[m + 1]);
        for (std::size_t i = 0; i < m; ++i) {
            units[i] = static_cast<char16_t>(rng() % 0xFFFF + 1);
            wide[i] = static_cast<char32_t>(rng() | 1u);
        }
        units[m] = wide[m] = 0;
        ASSERT_LE(CUtf8String(units.get(), limit).size(), limit);
        ASSERT_LE(CUtf8String(wide.get(), limit).size(), limit);
        ASSERT_TRUE(IsValidString(CUtf8String(wide.get()).c_str()));
        ASSERT_TRUE(IsValidString(CUtf8String(units.get()).c_str()));
    }
}

} // namespace
