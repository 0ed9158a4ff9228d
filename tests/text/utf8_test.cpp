// UTF-8 primitives and CUtf8String: the rules with their deliberate quirks, and differential
// checks of the block-wise fast paths against plain reference implementations.
#include "support/utf8_reference.h"

#include <platform/unicode.h>

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

using namespace test_support;
using utf8_private::GetValidSize;
using utf8_private::IsValidString;

std::string const kEmoji = "\xF0\x9F\x98\x80"; // U+1F600

int Sign(int v) {
    return (v > 0) - (v < 0);
}

// Random text of valid sequences of every length and the byte patterns that matter: stray
// continuations, cut sequences, C0/C1, F5..FF, 5- and 6-byte leads, overlong and surrogate forms.
std::string RandomText(std::mt19937& rng, std::size_t maxLen, bool allowNul) {
    // clang-format off
    static const char* const valid[] = {"a", "Z", " ", "\xC3\xA9", "\xC3\x89", "\xCE\xA3",
        "\xD0\x96", "\xC4\xB1", "\xC8\xBA", "\xE4\xB8\xAD", "\xE2\x84\xAA", "\xF0\x9F\x98\x80",
        "\xF0\x90\x90\x80"};
    static const char* const odd[] = {"\x80", "\xBF", "\xC0\x80", "\xC1\xBF", "\xC3", "\xE4\xB8",
        "\xF0\x9F\x98", "\xF5\x80\x80\x80", "\xF8\x88\x80\x80\x80", "\xFC\x84\x80\x80\x80\x80",
        "\xFE", "\xFF", "\xE0\x80\x80", "\xED\xA0\x80", "\xF4\x90\x80\x80", ""};
    // clang-format on
    std::size_t const n = rng() % (maxLen + 1);
    bool const mostlyValid = rng() % 2 == 0;
    std::string s;
    while (s.size() < n) {
        if (!mostlyValid || rng() % 8 == 0) {
            const char* piece = odd[rng() % std::size(odd)];
            if (*piece == 0 && allowNul)
                s.push_back('\0');
            s += piece;
        } else {
            s += valid[rng() % std::size(valid)];
        }
    }
    return s;
}

// The longest prefix of whole sequences passing the light rule within `n` bytes.
unsigned long RefValidSize(const char* s, unsigned long n) {
    unsigned long pos = 0, len;
    while (utf8_private::IsValidCodePoint(s + pos, len) && pos + len <= n)
        pos += len;
    return pos;
}

TEST(Utf8Primitives, Validators) {
    struct Case {
        const char* bytes;
        bool light;           // IsValidCodePoint
        unsigned long len;    // its length
        unsigned long strict; // utf8_check
    } const cases[] = {
        // clang-format off
        {"\xC0\x80", false, 0, 0}, {"\xF5\x80\x80\x80", false, 0, 0}, {"\xE0\x80\x80", true, 3, 0},
        {"\xED\xA0\x80", true, 3, 0}, {"\xF4\x90\x80\x80", true, 4, 0}, {"\x80", false, 0, 0},
        {"\xC3\x41", false, 0, 0}, {"A\xED\xA0\x80", true, 1, 1}, {"a\xE4\xB8", true, 1, 1},
        {"\xF0\x90\x80\x80\xFF", true, 4, 4}, {"", false, 0, 0},
        // clang-format on
    };
    for (const Case& c : cases) {
        unsigned long len = 99;
        EXPECT_EQ(utf8_private::IsValidCodePoint(c.bytes, len), c.light) << c.bytes;
        EXPECT_EQ(len, c.len) << c.bytes;
        std::string copy = c.bytes;
        EXPECT_EQ(CUtf8String::utf8_check(reinterpret_cast<unsigned char*>(&copy[0])), c.strict);
    }
    unsigned long len = 7;
    EXPECT_FALSE(utf8_private::IsValidCodePoint(nullptr, len));
    EXPECT_EQ(len, 0u);
    EXPECT_TRUE(IsValidString(nullptr) && IsValidString(""));
    EXPECT_EQ(GetValidSize("a\xC3\xA9z", 2), 1u);
    EXPECT_EQ(GetValidSize("a\xC3\xA9z", 3), 3u);
    char cut[2] = {'\xE4', '\xB8'}; // not terminated: the limit bounds what is read
    EXPECT_EQ(GetValidSize(cut, 2), 0u);
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
    EXPECT_EQ(enc(0xD800), "\xED\xA0\x80");
    EXPECT_EQ(enc(0x10FFFF), "\xF4\x8F\xBF\xBF");
    EXPECT_EQ(enc(0), std::string(1, '\0'));
    EXPECT_EQ(utf8_private::GetCodePoint("\x80", 1), 0xFFFFFF80u);
    EXPECT_EQ(utf8_private::GetCodePoint("\xF8\x88\x80\x80\x80", 5), 0u);
    EXPECT_EQ(utf8_private::_wchar(kEmoji.c_str()), u'?');
    EXPECT_EQ(utf8_private::_wchar("\xC3\xA9"), 0xE9);
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
    EXPECT_EQ(CUtf8String("\xC3\xA9x", 1).str(), "");
    const char16_t units[] = {0xD83D, 0xDE00, 0x41, 0};
    EXPECT_EQ(CUtf8String(units, 4).str(), kEmoji);
    EXPECT_EQ(CUtf8String(units, 3).str(), "");
    EXPECT_EQ(CUtf8String(units, 5).str(), kEmoji + "A");
    const char32_t wide[] = {0x61, 0x110000, 0x1F600, 0};
    EXPECT_EQ(CUtf8String(wide).str(), "a" + kEmoji);
    CUtf8String raw(std::string("\xFF\0z", 3));
    CUtf8String moved(std::move(raw));
    EXPECT_EQ(moved.size(), 3u);
    EXPECT_TRUE(raw.empty()); // NOLINT(bugprone-use-after-move): documented to be emptied

    CUtf8String s("ab");
    s += s;
    s += "\xE9";
    s += u"\x00E9";
    EXPECT_EQ(s.str(), "abab?\xC3\xA9");
    EXPECT_EQ(CUtf8String(("a\xC3\xA9" + kEmoji).c_str()).GetLength(), 3u);
    EXPECT_EQ(CUtf8String(std::string("\xF8\x88\x80\x80\x80xy")).GetLength(), 3u);
    EXPECT_EQ(CUtf8String(std::string("ab\0cd", 5)).GetLength(), 2u);
    s.ScrambleText();
    EXPECT_EQ(s.str(), "@@@@@@@");

    CUtf8String const emoji(("a" + kEmoji + "b").c_str()), cutText(std::string("\xE4"));
    std::vector<char16_t> seen;
    for (auto it = emoji.begin(); *it != 0; it++)
        seen.push_back(*it);
    EXPECT_EQ(seen, (std::vector<char16_t>{0x61, 0x3F, 0x62}));
    auto cut = cutText.begin(); // a sequence cut by the terminator
    EXPECT_EQ(*cut, 0x4000);
    EXPECT_EQ(*++cut, 0);
}

TEST(Utf8String, CaseMappingAndComparison) {
    EXPECT_EQ(CUtf8String("\xC4\xB1").MakeUpper().str(), "I");            // U+0131: 2 bytes -> 1
    EXPECT_EQ(CUtf8String("\xC8\xBA").MakeLower().str(), "\xE2\xB1\xA5"); // U+023A -> U+2C65
    EXPECT_EQ(CUtf8String("stra\u00DFe").MakeUpper().str(), "STRA\u00DFE");
    // Raw content: stray bytes and FE/FF vanish, 5-byte leads become NUL, a NUL lead ends.
    EXPECT_EQ(CUtf8String(std::string("a\x80Q\xFF")).MakeLower().str(), "aq");
    EXPECT_EQ(CUtf8String(std::string("A\xF8\x88\x80\x80\x80Q")).MakeLower().str(),
              std::string("a\0q", 3));
    EXPECT_EQ(CUtf8String(std::string("AB\0CD", 5)).MakeLower().str(), "ab");
    // A two-byte lead at the very end decodes with the terminator as its second byte.
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
    EXPECT_EQ(CUtf8String("ab?").CompareNoCase("AB\xFF"), 0); // the argument with its '?'
    EXPECT_LT(CUtf8String("abc").CompareNoCase("ABD"), 0);
    EXPECT_GT(CUtf8String("abc").CompareNoCase(nullptr), 0);
}

TEST(Utf8String, ToWideAndPositionOperations) {
    EXPECT_EQ(CUtf8String::ToWide("a\xE0\x80\x80z"), u"a");
    EXPECT_EQ(CUtf8String::ToWide(nullptr), u"");
    std::u16string const w = CUtf8String::ToWide("0123456789a\xC3\xA9");
    EXPECT_EQ(w.capacity(), w.size());

    zulplatform::_CUtf8String s("abcdef");
    s.ReplaceAt(2, "", 1); // an empty replacement erases to the end
    EXPECT_EQ(s.str(), "ab");
    s = std::string("abcdef");
    s.ReplaceAt(4, "XYZ", 10);
    s.ReplaceAt(7, "Q", 1);
    EXPECT_EQ(s.str(), "abcdXYZ");
    s.RemoveAt(1, static_cast<unsigned long>(-7L)); // a count from a negative number
    EXPECT_EQ(s.str(), "a");
    s.InsertAt(1, "!");
    s.InsertAt(10, "?");
    s.InsertAt(0, "<");
    EXPECT_EQ(s.str(), "<a!");
    zulplatform::_CUtf8String const multi("\xC3\xA9\xC3\xA9\xC3\xA9x");
    unsigned long pos = 4;
    EXPECT_FALSE(multi.Find("x", pos)); // the start is bounded by the four code points
    pos = 0;
    EXPECT_TRUE(multi.Find("x", pos) && pos == 6);
    std::strcpy(s.GetBufferSetLength(8), "xyz");
    s.ReleaseBuffer(-1);
    EXPECT_EQ(s.str(), "xyz");
}

// The fast routes against the references, on random text at every alignment, each text alone in
// a heap block of exactly its size so that under AddressSanitizer any read past its terminator
// shows; every walking primitive from every position stays inside the text; and random UTF-16
// and UTF-32 units keep their byte limit and encode to text the light rule accepts.
TEST(Utf8Differential, RandomInputs) {
    std::mt19937 rng(12345);
    for (int round = 0; round < 20000; ++round) {
        std::string const text = RandomText(rng, round % 4 == 0 ? 200 : 40, false);
        std::size_t const n = text.size(), offset = rng() % 64; // every alignment of the scan
        std::unique_ptr<char[]> block(new char[offset + n + 1]);
        char* const s = block.get() + offset;
        std::memcpy(s, text.c_str(), n + 1);
        ASSERT_EQ(IsValidString(s), RefIsValidString(s)) << round;
        ASSERT_EQ(CUtf8String(s).str(), RefAccept(s));
        ASSERT_EQ(CUtf8String::ToWide(s), RefToWide(s));
        unsigned long const limit = rng() % 50;
        ASSERT_EQ(CUtf8String(s, limit).str(), std::string(s, RefValidSize(s, limit)));
        unsigned long len, steps = 0;
        for (std::size_t i = 0; i < n; ++i) {
            (void)utf8_private::_wchar(s + i);
            if (utf8_private::IsValidCodePoint(s + i, len)) {
                ASSERT_LE(i + len, n);
            }
        }
        for (auto it = CUtf8String::const_iterator(s); *it != 0; ++it)
            ++steps;
        ASSERT_LE(steps, n);
        ASSERT_LE(CUtf8String::utf8_check(reinterpret_cast<unsigned char*>(s)), n);

        std::string const raw = RandomText(rng, 40, true);
        ASSERT_EQ(CUtf8String(std::string(raw)).GetLength(), RefLength(raw));
        ASSERT_EQ(CUtf8String(std::string(raw)).MakeLower().str(), RefConvert(raw, true));
        ASSERT_EQ(CUtf8String(std::string(raw)).MakeUpper().str(), RefConvert(raw, false));
        ASSERT_EQ(Sign(CUtf8String(std::string(raw)).CompareNoCase(s)),
                  Sign(std::strcmp(RefConvert(raw, true).c_str(),
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
