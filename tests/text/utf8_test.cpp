// UTF-8 primitives and CUtf8String: the rules with their deliberate quirks, and differential
// checks of the block-wise fast paths against straightforward reference implementations.
#include <platform/unicode.h>

#include <gtest/gtest.h>

#include <codecvt>
#include <cstring>
#include <locale>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

std::string Bytes(std::initializer_list<unsigned> bytes) {
    std::string s;
    for (unsigned b : bytes)
        s.push_back(static_cast<char>(b));
    return s;
}

// --- Reference implementations, written as plainly as the rules read. ---

bool RefIsValidString(const char* s) {
    while (*s != 0) {
        unsigned long len;
        if (!utf8_private::IsValidCodePoint(s, len))
            return false;
        s += len;
    }
    return true;
}

// The case walk on a buffer padded with NULs, so the unchecked decoder may read past the end.
std::string RefConvert(const std::string& in, bool lower) {
    std::string padded = in + std::string(8, '\0');
    std::string out;
    std::size_t pos = 0;
    while (pos < in.size()) {
        unsigned len = CUtf8String::GetSequenceLen(padded[pos]);
        if (len == 0)
            break;
        unsigned cp = utf8_private::GetCodePoint(padded.data() + pos, len);
        utf8_private::SetCodePoint(out,
                                   lower ? utf8_private::tolower(cp) : utf8_private::toupper(cp));
        pos += len;
    }
    return out;
}

std::string RefAccept(const char* s) {
    std::string out(s);
    if (!RefIsValidString(s))
        for (char& c : out)
            if (static_cast<unsigned char>(c) >= 0x80)
                c = '?';
    return out;
}

int Sign(int v) {
    return (v > 0) - (v < 0);
}

std::u16string RefToWide(const std::string& s) {
    std::string copy = s;
    unsigned long n = CUtf8String::utf8_check(reinterpret_cast<unsigned char*>(&copy[0]));
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    std::wstring_convert<std::codecvt_utf8_utf16<char16_t, 0x10FFFF>, char16_t> conv;
    return conv.from_bytes(copy.data(), copy.data() + n);
#pragma GCC diagnostic pop
}

// Random text mixing valid sequences of every length with the byte patterns that matter:
// stray continuations, truncated sequences, C0/C1, F5..FF, 5- and 6-byte leads.
std::string RandomText(std::mt19937& rng, std::size_t maxLen, bool allowNul) {
    static const std::vector<std::string> pieces = {"a",
                                                    "Z",
                                                    "0",
                                                    " ",
                                                    "\xC3\xA9",
                                                    "\xC3\x89",
                                                    "\xCE\xA3",
                                                    "\xD0\x96",
                                                    "\xC4\xB1",
                                                    "\xC8\xBA",
                                                    "\xE4\xB8\xAD",
                                                    "\xE2\x84\xAA",
                                                    "\xEF\xBC\xA1",
                                                    "\xF0\x9F\x98\x80",
                                                    "\xF0\x90\x90\x80",
                                                    "\x80",
                                                    "\xBF",
                                                    "\xC0\x80",
                                                    "\xC1\xBF",
                                                    "\xC3",
                                                    "\xE4\xB8",
                                                    "\xF0\x9F\x98",
                                                    "\xF5\x80\x80\x80",
                                                    "\xF8\x88\x80\x80\x80",
                                                    "\xFC\x84\x80\x80\x80\x80",
                                                    "\xFE",
                                                    "\xFF",
                                                    "\xE0\x80\x80",
                                                    "\xED\xA0\x80",
                                                    "\xF4\x90\x80\x80",
                                                    "\xE1\x80\xBF",
                                                    std::string(1, '\0')};
    std::uniform_int_distribution<std::size_t> len(0, maxLen);
    std::size_t const n = len(rng);
    std::string s;
    bool const mostlyValid = rng() % 2 == 0;
    while (s.size() < n) {
        std::size_t k = rng() % pieces.size();
        if (mostlyValid && k >= 15 && rng() % 8 != 0)
            k = rng() % 15;
        if (!allowNul && pieces[k][0] == 0)
            continue;
        s += pieces[k];
    }
    return s;
}

TEST(Utf8Primitives, LightValidator) {
    struct Case {
        std::string bytes;
        bool valid;
        unsigned long len;
    } const cases[] = {
        {Bytes({0xC0, 0x80}), false, 0},
        {Bytes({0xF5, 0x80, 0x80, 0x80}), false, 0},
        {Bytes({0xE0, 0x80, 0x80}), true, 3},
        {Bytes({0xED, 0xA0, 0x80}), true, 3},
        {Bytes({0xF4, 0x90, 0x80, 0x80}), true, 4},
        {Bytes({0x80}), false, 0},
        {Bytes({0xC3}), false, 0},
        {Bytes({0xC3, 0x41}), false, 0},
        {"A", true, 1},
        {"", false, 0},
    };
    for (const auto& c : cases) {
        unsigned long len = 99;
        EXPECT_EQ(utf8_private::IsValidCodePoint(c.bytes.c_str(), len), c.valid) << c.bytes;
        EXPECT_EQ(len, c.len);
    }
    unsigned long len = 7;
    EXPECT_FALSE(utf8_private::IsValidCodePoint(nullptr, len));
    EXPECT_EQ(len, 0u);
    EXPECT_TRUE(utf8_private::IsValidString(nullptr));
    EXPECT_TRUE(utf8_private::IsValidString(""));
}

TEST(Utf8Primitives, StrictCheckAndValidSize) {
    auto check = [](std::string s) {
        return CUtf8String::utf8_check(reinterpret_cast<unsigned char*>(&s[0]));
    };
    EXPECT_EQ(check(Bytes({0xE0, 0x80, 0x80})), 0u);
    EXPECT_EQ(check(Bytes({0x41, 0xED, 0xA0, 0x80})), 1u);
    EXPECT_EQ(check(Bytes({0xF0, 0x90, 0x80, 0x80, 0xFF})), 4u);
    EXPECT_EQ(check(Bytes({0xF4, 0x8F, 0xBF, 0xBF, 0xF4, 0x90, 0x80, 0x80})), 4u);
    EXPECT_EQ(check(Bytes({0xC1, 0xBF})), 0u);
    EXPECT_EQ(check(Bytes({0x61, 0xE4, 0xB8})), 1u);

    std::string const s = Bytes({0x61, 0xC3, 0xA9, 0x62});
    EXPECT_EQ(utf8_private::GetValidSize(s.c_str(), 2), 1u);
    EXPECT_EQ(utf8_private::GetValidSize(s.c_str(), 3), 3u);
    EXPECT_EQ(utf8_private::GetValidSize(s.c_str(), 100), 4u);
    EXPECT_EQ(utf8_private::GetValidSize(s.c_str(), 0), 0u);
    // A limit that cuts a sequence: its continuation bytes are not even read.
    char cut[2] = {static_cast<char>(0xE4), static_cast<char>(0xB8)};
    EXPECT_EQ(utf8_private::GetValidSize(cut, 2), 0u);
}

TEST(Utf8Primitives, EncodeDecode) {
    auto enc = [](unsigned cp) {
        std::string out;
        utf8_private::SetCodePoint(out, cp);
        return out;
    };
    EXPECT_EQ(enc(0x110000), "");
    EXPECT_EQ(enc(0xFFFFFF80u), "");
    EXPECT_EQ(enc(0xD800), Bytes({0xED, 0xA0, 0x80}));
    EXPECT_EQ(enc(0x10FFFF), Bytes({0xF4, 0x8F, 0xBF, 0xBF}));
    EXPECT_EQ(enc(0x7FF), Bytes({0xDF, 0xBF}));
    EXPECT_EQ(enc(0), std::string(1, '\0'));

    EXPECT_EQ(utf8_private::GetCodePoint("\x80", 1), 0xFFFFFF80u);
    EXPECT_EQ(utf8_private::GetCodePoint("\xF0\x9F\x98\x80", 4), 0x1F600u);
    EXPECT_EQ(utf8_private::GetCodePoint("\xF8\x88\x80\x80\x80", 5), 0u);

    EXPECT_EQ(utf8_private::_wchar("\xF0\x9F\x98\x80"), u'?');
    EXPECT_EQ(utf8_private::_wchar("\xC3\xA9"), 0xE9);
    EXPECT_EQ(utf8_private::_wchar("\x80"), 0xFF80);
    EXPECT_EQ(utf8_private::_wchar(""), 0);
    EXPECT_EQ(utf8_private::_wchar(nullptr), 0);
    EXPECT_EQ(CUtf8String::ConvertToUtf16("\xE4\xB8\xAD"), 0x4E2D);

    auto app = [](std::u16string units) {
        std::string out;
        utf8_private::_AppendUtf16(units.c_str(), out);
        return out;
    };
    EXPECT_EQ(app(u"\xD83D\xDE00"), Bytes({0xF0, 0x9F, 0x98, 0x80}));
    EXPECT_EQ(app(u"\xDC00"), Bytes({0xED, 0xB0, 0x80}));
    EXPECT_EQ(app(u"a\xD83D"), "a"); // a high surrogate before the terminator is dropped
    // The unit after a high surrogate is combined unchecked; the 32-bit arithmetic wraps.
    EXPECT_EQ(app(u"\xD83D"
                  u"A"),
              Bytes({0xEF, 0x91, 0x81}));
}

TEST(Utf8Primitives, SequenceLengthTable) {
    unsigned const expect[][3] = {{0x00, 0x00, 0}, {0x01, 0xBF, 1}, {0xC0, 0xDF, 2},
                                  {0xE0, 0xEF, 3}, {0xF0, 0xF7, 4}, {0xF8, 0xFB, 5},
                                  {0xFC, 0xFD, 6}, {0xFE, 0xFF, 1}};
    for (auto const& r : expect)
        for (unsigned b = r[0]; b <= r[1]; ++b)
            EXPECT_EQ(CUtf8String::GetSequenceLen(static_cast<char>(b)), r[2]) << b;
}

TEST(Utf8String, ConstructionRoutes) {
    // Acceptance rule: all or nothing.
    EXPECT_EQ(CUtf8String("caf\xC3\xA9").str(), "caf\xC3\xA9");
    EXPECT_EQ(CUtf8String("caf\xE9").str(), "caf?");
    EXPECT_EQ(CUtf8String("\xC3\xA9\xE9").str(), "???");
    EXPECT_EQ(CUtf8String(static_cast<const char*>(nullptr)).str(), "");
    // With a limit: the longest valid prefix, nothing replaced.
    EXPECT_EQ(CUtf8String("\xC3\xA9x", 1).str(), "");
    EXPECT_EQ(CUtf8String("ab\xFF", 3).str(), "ab");
    // From UTF-16 with a byte limit that never splits a sequence.
    const char16_t units[] = {0xD83D, 0xDE00, 0x41, 0};
    EXPECT_EQ(CUtf8String(units, 4).str(), Bytes({0xF0, 0x9F, 0x98, 0x80}));
    EXPECT_EQ(CUtf8String(units, 3).str(), "");
    EXPECT_EQ(CUtf8String(units, 5).str(), Bytes({0xF0, 0x9F, 0x98, 0x80, 0x41}));
    const char32_t wide[] = {0x61, 0x110000, 0x1F600, 0};
    EXPECT_EQ(CUtf8String(wide).str(), Bytes({0x61, 0xF0, 0x9F, 0x98, 0x80}));
    // The raw route and moves.
    CUtf8String raw(std::string("\xFF\x00z", 3));
    EXPECT_EQ(raw.size(), 3u);
    CUtf8String moved(std::move(raw));
    EXPECT_EQ(moved.size(), 3u);
    EXPECT_TRUE(raw.empty()); // NOLINT(bugprone-use-after-move): the rule says it is emptied
}

TEST(Utf8String, AppendAndQueries) {
    CUtf8String s("ab");
    s += s;
    EXPECT_EQ(s.str(), "abab");
    s += "\xE9";
    EXPECT_EQ(s.str(), "abab?");
    s += u"\x00E9";
    EXPECT_EQ(s.str(), "abab?\xC3\xA9");
    s += static_cast<const char16_t*>(nullptr);
    EXPECT_EQ(CUtf8String("a\xC3\xA9\xF0\x9F\x98\x80").GetLength(), 3u);
    EXPECT_EQ(CUtf8String(std::string("\xF8\x88\x80\x80\x80xy")).GetLength(), 3u);
    EXPECT_EQ(CUtf8String(std::string("ab\0cd", 5)).GetLength(), 2u);
    EXPECT_EQ(CUtf8String(std::string("\xE4")).GetLength(), 1u); // cut by the end of the text
    CUtf8String scrambled("hello");
    scrambled.ScrambleText();
    EXPECT_EQ(scrambled.str(), "@@@@@");
    EXPECT_LT(CUtf8String("a").Compare("b"), 0);
    EXPECT_EQ(CUtf8String("a").Compare("a"), 0);
}

TEST(Utf8String, Iterator) {
    CUtf8String s("a\xF0\x9F\x98\x80"
                  "b");
    auto it = s.begin();
    std::vector<char16_t> seen;
    while (*it != 0)
        seen.push_back(*it++);
    EXPECT_EQ(seen, (std::vector<char16_t>{0x61, 0x3F, 0x62}));
    // A sequence cut by the terminator: iteration stops at the terminator.
    CUtf8String cut(std::string("\xE4"));
    auto c = cut.begin();
    EXPECT_EQ(*c, 0x4000); // the missing bytes read as 0, nothing past the end is read
    ++c;
    EXPECT_EQ(*c, 0);
}

TEST(Utf8String, CaseMapping) {
    EXPECT_EQ(CUtf8String("\xC4\xB1").MakeUpper().str(), "I");            // U+0131, 2 bytes -> 1
    EXPECT_EQ(CUtf8String("\xC8\xBA").MakeLower().str(), "\xE2\xB1\xA5"); // U+023A -> U+2C65
    EXPECT_EQ(CUtf8String("\xC3\x89T\xC3\xA9").MakeLower().str(), "\xC3\xA9t\xC3\xA9");
    EXPECT_EQ(CUtf8String("stra\xC3\x9F"
                          "e")
                  .MakeUpper()
                  .str(),
              "STRA\xC3\x9F"
              "E");
    // Raw content: stray bytes vanish, FE/FF vanish, 5-byte leads become NUL, a NUL lead ends.
    EXPECT_EQ(CUtf8String(std::string("a\x80"
                                      "B\xFF"))
                  .MakeLower()
                  .str(),
              "ab");
    EXPECT_EQ(CUtf8String(std::string("A\xF8\x88\x80\x80\x80"
                                      "B"))
                  .MakeLower()
                  .str(),
              std::string("a\0b", 3));
    EXPECT_EQ(CUtf8String(std::string("AB\0CD", 5)).MakeLower().str(), "ab");
    // A two-byte lead at the very end decodes with the terminator as its second byte.
    EXPECT_EQ(CUtf8String(std::string("A\xC3")).MakeLower().str(), "a\xC3\xA0");
}

// Every ASCII byte at every offset of the 8- and 16-byte fast paths, and mixed with a
// multi-byte character right after.
TEST(Utf8String, CaseMappingOfAsciiRuns) {
    std::string all;
    for (int b = 1; b < 128; ++b)
        all.push_back(static_cast<char>(b));
    for (std::size_t start = 0; start < 40; ++start) {
        std::string const text = all.substr(start) + all.substr(0, start) + "\xC3\x89" + all;
        EXPECT_EQ(CUtf8String(text.c_str()).MakeLower().str(), RefConvert(text, true)) << start;
        EXPECT_EQ(CUtf8String(text.c_str()).MakeUpper().str(), RefConvert(text, false)) << start;
    }
}

TEST(Utf8String, CompareNoCase) {
    EXPECT_EQ(CUtf8String("Stra\xC3\x9F"
                          "E")
                  .CompareNoCase("STRA\xC3\x9F"
                                 "e"),
              0);
    EXPECT_EQ(CUtf8String("\xCE\xA3").CompareNoCase("\xCF\x83"), 0);
    EXPECT_NE(CUtf8String("\xC5\xBF").CompareNoCase("s"), 0); // long s is no key of the table
    EXPECT_EQ(CUtf8String("ab?").CompareNoCase("AB\xFF"), 0); // argument accepted with '?'
    EXPECT_LT(CUtf8String("abc").CompareNoCase("ABD"), 0);
    EXPECT_GT(CUtf8String("abc").CompareNoCase(nullptr), 0);
    EXPECT_EQ(CUtf8String("").CompareNoCase(""), 0);
    std::string longA(100, 'x'), longB(100, 'X');
    longB[77] = 'Y';
    EXPECT_LT(CUtf8String(longA.c_str()).CompareNoCase(longB.c_str()), 0);
}

TEST(Utf8String, ToWide) {
    EXPECT_EQ(CUtf8String::ToWide("a\xE0\x80\x80"
                                  "b"),
              u"a");
    EXPECT_EQ(CUtf8String::ToWide("\xF0\x9F\x98\x80"), std::u16string(u"\xD83D\xDE00"));
    EXPECT_EQ(CUtf8String::ToWide(nullptr), u"");
    EXPECT_EQ(CUtf8String("h\xC3\xA9llo").ToWide(), u"h\u00E9llo");
    std::u16string w = CUtf8String::ToWide("0123456789a\xC3\xA9");
    EXPECT_EQ(w.capacity(), w.size());
}

TEST(Utf8String, PositionOperations) {
    zulplatform::_CUtf8String s("abcdef");
    s.ReplaceAt(2, "", 1);
    EXPECT_EQ(s.str(), "ab");
    s = zulplatform::_CUtf8String("abcdef");
    s.ReplaceAt(4, "XYZ", 10);
    EXPECT_EQ(s.str(), "abcdXYZ");
    s.ReplaceAt(7, "Q", 1); // at the end: nothing
    EXPECT_EQ(s.str(), "abcdXYZ");
    s.RemoveAt(1, static_cast<unsigned long>(-7L));
    EXPECT_EQ(s.str(), "a");
    s = zulplatform::_CUtf8String("abcdef");
    s.RemoveAt(1, 2);
    EXPECT_EQ(s.str(), "adef");
    s.RemoveAt(0, 4);
    EXPECT_EQ(s.str(), "");
    s = zulplatform::_CUtf8String("abc");
    s.InsertAt(3, "!");
    s.InsertAt(10, "?");
    s.InsertAt(0, "<");
    EXPECT_EQ(s.str(), "<abc!");

    zulplatform::_CUtf8String multi("\xC3\xA9\xC3\xA9\xC3\xA9x");
    unsigned long pos = 4;
    EXPECT_FALSE(multi.Find("x", pos)); // the start is bounded by the four code points
    pos = 0;
    EXPECT_TRUE(multi.Find("x", pos));
    EXPECT_EQ(pos, 6u);
    pos = 1;
    EXPECT_TRUE(multi.Find("", pos));
    EXPECT_EQ(pos, 1u);

    zulplatform::_CUtf8String buf;
    std::strcpy(buf.GetBufferSetLength(8), "xyz");
    buf.ReleaseBuffer(-1);
    EXPECT_EQ(buf.str(), "xyz");
    buf.ReleaseBuffer(2);
    EXPECT_EQ(buf.str(), "xy");
}

// The fast routes against the references, on random text at every alignment.
TEST(Utf8Differential, RandomInputs) {
    std::mt19937 rng(12345);
    std::vector<char> arena(512);
    for (int round = 0; round < 20000; ++round) {
        std::string text = RandomText(rng, round % 4 == 0 ? 200 : 40, false);
        // Place the text at a random offset so that every alignment of the block scan is hit.
        std::size_t const offset = rng() % 64;
        std::memset(arena.data(), 'x', arena.size());
        std::memcpy(arena.data() + offset, text.c_str(), text.size() + 1);
        const char* s = arena.data() + offset;

        ASSERT_EQ(utf8_private::IsValidString(s), RefIsValidString(s)) << round;
        CUtf8String const accepted(s);
        ASSERT_EQ(accepted.str(), RefAccept(s));

        std::string raw = RandomText(rng, 40, true);
        ASSERT_EQ(CUtf8String(std::string(raw)).MakeLower().str(), RefConvert(raw, true));
        ASSERT_EQ(CUtf8String(std::string(raw)).MakeUpper().str(), RefConvert(raw, false));

        std::string const lowA = RefConvert(raw, true);
        std::string const lowB = RefConvert(RefAccept(s), true);
        ASSERT_EQ(Sign(CUtf8String(std::string(raw)).CompareNoCase(s)),
                  Sign(std::strcmp(lowA.c_str(), lowB.c_str())))
            << round;

        ASSERT_EQ(CUtf8String::ToWide(s), RefToWide(s)) << round;

        unsigned long const limit = rng() % 50;
        ASSERT_EQ(CUtf8String(s, limit).str(),
                  std::string(s, utf8_private::GetValidSize(s, limit)));
    }
}

} // namespace

namespace {

// Long ASCII runs with one sequence of interest somewhere: the block scan's long-run steps
// must stop on it wherever it falls relative to their boundaries.
TEST(Utf8Differential, LongAsciiRunsWithOneDisturbance) {
    std::mt19937 rng(4242);
    const char* disturbances[] = {"\xC3\xA9",         "\xC3",         "\x80", "\xE4\xB8\xAD",
                                  "\xF0\x9F\x98\x80", "\xF0\x9F\x98", "\xFF", "\xC1\x81"};
    std::vector<char> arena(2048 + 64);
    for (int round = 0; round < 4000; ++round) {
        std::size_t const len = 200 + rng() % 1500;
        std::string text(len, 'a');
        std::string const d = disturbances[rng() % 8];
        text.replace(rng() % (len - 4), d.size(), d);
        std::size_t const offset = rng() % 64;
        std::memcpy(arena.data() + offset, text.c_str(), text.size() + 1);
        const char* s = arena.data() + offset;
        ASSERT_EQ(utf8_private::IsValidString(s), RefIsValidString(s)) << round;
    }
}

} // namespace

namespace {

// Raw random bytes, in heap blocks of exactly their size plus the terminator, through every
// primitive that walks text: under AddressSanitizer any read past a terminator or a buffer
// shows.
TEST(Utf8Random, EveryPrimitiveStaysInBounds) {
    std::mt19937 rng(777);
    for (int round = 0; round < 5000; ++round) {
        std::size_t const n = rng() % 24;
        std::unique_ptr<char[]> text(new char[n + 1]);
        for (std::size_t i = 0; i < n; ++i)
            text[i] = static_cast<char>(rng() % 255 + 1); // no NUL inside
        text[n] = 0;
        const char* s = text.get();

        unsigned long len = 0;
        for (std::size_t i = 0; i < n; ++i) {
            if (utf8_private::IsValidCodePoint(s + i, len)) {
                ASSERT_LE(i + len, n);
            }
            (void)utf8_private::_wchar(s + i);
        }
        ASSERT_LE(utf8_private::GetValidSize(s, rng() % 30), n);
        ASSERT_LE(CUtf8String::utf8_check(reinterpret_cast<unsigned char*>(text.get())), n);
        std::u16string const wide = CUtf8String::ToWide(s);
        ASSERT_LE(wide.size(), n);

        unsigned long steps = 0;
        for (auto it = CUtf8String::const_iterator(s); *it != 0; ++it)
            ++steps;
        ASSERT_LE(steps, n);

        CUtf8String raw{std::string(s, n)};
        ASSERT_LE(raw.GetLength(), n);
        CUtf8String lowered(raw);
        lowered.MakeLower();
        (void)raw.CompareNoCase(s);

        // Random UTF-16 and UTF-32 units, terminated, in exact-size blocks too.
        std::unique_ptr<char16_t[]> units(new char16_t[n + 1]);
        std::unique_ptr<char32_t[]> wide32(new char32_t[n + 1]);
        for (std::size_t i = 0; i < n; ++i) {
            units[i] = static_cast<char16_t>(rng() % 0xFFFF + 1);
            wide32[i] = static_cast<char32_t>(rng() | 1u);
        }
        units[n] = 0;
        wide32[n] = 0;
        unsigned long const limit = rng() % 40;
        CUtf8String const from16(units.get(), limit);
        CUtf8String const from32(wide32.get(), limit);
        ASSERT_LE(from16.size(), limit);
        ASSERT_LE(from32.size(), limit);
        // Whatever the encoder produces passes the light rule (values above U+10FFFF vanish,
        // surrogates are encoded like any other three-byte value).
        ASSERT_TRUE(utf8_private::IsValidString(CUtf8String(wide32.get()).c_str()));
        ASSERT_TRUE(utf8_private::IsValidString(CUtf8String(units.get()).c_str()));
    }
}

} // namespace
