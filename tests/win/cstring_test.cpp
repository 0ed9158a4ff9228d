#include <platform/files.h>
#include <platform/module.h>
#include <platform/strings.h>

#include <gtest/gtest.h>

#include <climits>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <map>
#include <random>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

using zulwin::CString;

namespace {

// "63 61 66 C3 A9" -> the five bytes.
std::string Hex(const char* text) {
    std::istringstream in(text);
    std::string out;
    unsigned int byte = 0;
    while (in >> std::hex >> byte)
        out.push_back(static_cast<char>(byte));
    return out;
}

// All bytes of the string, embedded NULs included.
std::string Bytes(const CString& s) {
    return s.GetUtf8().str();
}

std::string ToHex(const std::string& bytes) {
    std::string out;
    char buf[4];
    for (unsigned char c : bytes) {
        std::snprintf(buf, sizeof buf, out.empty() ? "%02X" : " %02X", c);
        out += buf;
    }
    return out;
}

#define EXPECT_BYTES(expectedHex, cstr) EXPECT_EQ(ToHex(Hex(expectedHex)), ToHex(Bytes(cstr)))

// A string holding exactly `bytes`, put in through the raw buffer route.
CString Raw(const std::string& bytes) {
    CString s;
    if (!bytes.empty())
        std::memcpy(s.GetBufferSetLength(static_cast<int>(bytes.size())), bytes.data(),
                    bytes.size());
    return s;
}

// What a validated route must make of `bytes` (up to their first NUL).
std::string Accepted(const std::string& bytes) {
    std::string s(bytes.c_str());
    if (utf8_private::IsValidString(s.c_str()))
        return s;
    for (char& c : s) {
        if (static_cast<unsigned char>(c) >= 0x80)
            c = '?';
    }
    return s;
}

const int kInvalidArgumentResult = static_cast<int>(0x80070057u);

} // namespace

// --- Construction and the acceptance rule ------------------------------------------------------

TEST(CStringConstruct, ValidatedRoutesApplyTheAcceptanceRule) {
    struct Case {
        const char* input;
        const char* expected;
    } cases[] = {{"63 61 66 C3 A9", "63 61 66 C3 A9"}, // valid: kept
                 {"63 61 66 E9", "63 61 66 3F"},       // lone lead byte
                 {"C3 A9 E9", "3F 3F 3F"}, // every high byte goes once anything is invalid
                 {"C0 80 41", "3F 3F 41"}, // forbidden lead
                 {"E2 82", "3F 3F"},       // truncated sequence
                 {"FC 80 80 80 80 80", "3F 3F 3F 3F 3F 3F"},
                 {"E0 80 80", "E0 80 80"}, // overlong forms pass the light rule
                 {"F0 9F 98 80", "F0 9F 98 80"},
                 {"", ""}};
    for (const Case& c : cases) {
        const std::string in = Hex(c.input);
        SCOPED_TRACE(c.input);
        EXPECT_BYTES(c.expected, CString(in.c_str()));
        CString assigned("old");
        assigned = in.c_str();
        EXPECT_BYTES(c.expected, assigned);
        CString appended;
        appended += in.c_str();
        EXPECT_BYTES(c.expected, appended);
        EXPECT_BYTES(c.expected, zulplatform::CStringFromUtf8String(in.c_str()));
        EXPECT_BYTES(c.expected, CString(in.c_str(), CUtf8String::default_max_utf8_bytes));
    }
    EXPECT_TRUE(CString(static_cast<const char*>(nullptr)).IsEmpty());
    EXPECT_EQ(3, CString("abc\0def").GetLength());
}

TEST(CStringConstruct, LengthLimitedKeepsWholeValidSequences) {
    struct Case {
        const char* input;
        unsigned long n;
        const char* expected;
    } cases[] = {{"C3 A9 78", 1, ""},      {"C3 A9 78", 2, "C3 A9"},
                 {"61 62 FF", 3, "61 62"}, {"61 E9 62", 10, "61"},
                 {"61 62 63", 0, ""},      {"F0 9F 98 80 41", 4, "F0 9F 98 80"},
                 {"F0 9F 98 80", 3, ""}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.input);
        EXPECT_BYTES(c.expected, CString(Hex(c.input).c_str(), c.n));
    }
}

TEST(CStringConstruct, RepeatedCharIsRaw) {
    EXPECT_BYTES("E9 E9", CString('\xE9', 2));
    EXPECT_BYTES("00 00 00", CString('\0', 3));
    EXPECT_TRUE(CString('a', 0).IsEmpty());
}

TEST(CStringConstruct, SingleCharAssignmentAndAppendValidate) {
    CString s("x");
    s = 'a';
    EXPECT_EQ("a", Bytes(s));
    s = '\xE9';
    EXPECT_EQ("?", Bytes(s));
    s = '\0';
    EXPECT_TRUE(s.IsEmpty());
    s += 'b';
    s += '\xE9';
    s += '\0';
    EXPECT_EQ("b?", Bytes(s));
}

TEST(CStringConstruct, Utf16Routes) {
    EXPECT_BYTES("63 61 66 C3 A9", CString(u"caf\u00e9"));
    EXPECT_BYTES("F0 9F 98 80", zulplatform::CStringFromUtf16String(u"\U0001F600"));
    EXPECT_BYTES("C3 A9", CString(char16_t(0xE9)));
    EXPECT_TRUE(CString(char16_t(0)).IsEmpty());
    EXPECT_TRUE(CString(static_cast<const char16_t*>(nullptr)).IsEmpty());
    CString s("a");
    s += u"\u20ac";
    s += char16_t(u'b');
    s += static_cast<const char16_t*>(nullptr);
    EXPECT_BYTES("61 E2 82 AC 62", s);
    s = u"z";
    EXPECT_EQ("z", Bytes(s));
    s = char16_t(0x3A9);
    EXPECT_BYTES("CE A9", s);
}

TEST(CStringConstruct, CopyMoveAndSelfReference) {
    CString a = Raw(Hex("61 00 E9"));
    CString b(a);
    EXPECT_EQ(Bytes(a), Bytes(b));
    CString c;
    c = a;
    EXPECT_EQ(Bytes(a), Bytes(c));
    CString moved(std::move(b));
    EXPECT_EQ(Bytes(a), Bytes(moved));
    c = std::move(moved);
    EXPECT_EQ(Bytes(a), Bytes(c));

    CString& alias = c;
    c = alias;
    EXPECT_EQ(Bytes(a), Bytes(c));
    c = std::move(alias);
    EXPECT_EQ(Bytes(a), Bytes(c));

    CString self("ab");
    self += self;
    EXPECT_EQ("abab", Bytes(self));
    self = self.GetString() + 1; // a pointer into its own bytes
    EXPECT_EQ("bab", Bytes(self));

    const CUtf8String u(std::string("ab\0cd", 5));
    EXPECT_EQ("ab", Bytes(zulplatform::CStringFromUtf8String(u)));
}

// --- Concatenation ---------------------------------------------------------------------------

TEST(CStringConcat, CharOnTheLeftIsRawOnTheRightValidated) {
    const CString s("x");
    EXPECT_BYTES("E9 78", '\xE9' + s);
    EXPECT_BYTES("78 3F", s + '\xE9');
    EXPECT_BYTES("00 78", '\0' + s); // CString(c, 1) keeps even NUL
    EXPECT_BYTES("78", s + '\0');
    EXPECT_EQ("ax", Bytes('a' + s));
    EXPECT_EQ("xa", Bytes(s + 'a'));
}

TEST(CStringConcat, AllOverloads) {
    const CString s("b");
    EXPECT_EQ("ab", Bytes(CString("a") + s));
    EXPECT_EQ("ab", Bytes("a" + s));
    EXPECT_EQ("?b", Bytes("\xE9" + s));
    EXPECT_EQ("b?", Bytes(s + "\xE9"));
    EXPECT_EQ("ab", Bytes(u"a" + s));
    EXPECT_EQ("ab", Bytes(u'a' + s));
    EXPECT_EQ("bc", Bytes(s + u"c"));
    EXPECT_EQ("bc", Bytes(s + u'c'));
    EXPECT_EQ("b", Bytes(s + static_cast<const char*>(nullptr)));
}

// --- Comparison ------------------------------------------------------------------------------

TEST(CStringCompare, EqualityWithEmbeddedNuls) {
    const CString a = Raw(std::string("a\0b", 3));
    const CString b = Raw(std::string("a\0c", 3));
    EXPECT_FALSE(a == b);
    EXPECT_TRUE(a != b);
    EXPECT_TRUE(a == Raw(std::string("a\0b", 3)));
    EXPECT_FALSE(a == CString("a")); // lengths differ
    // Against char const* and in ordering, only the text before the first NUL counts.
    EXPECT_TRUE(a == "a");
    EXPECT_TRUE("a" == b);
    EXPECT_FALSE(a != "a");
    EXPECT_FALSE(a < b);
    EXPECT_TRUE(a <= b && a >= b);
    EXPECT_EQ(0, a.Compare("a"));
}

TEST(CStringCompare, OrderingIsUnsignedBytes) {
    const CString high("\xC3\xA9"), low("z");
    EXPECT_TRUE(low < high);
    EXPECT_TRUE(high > low);
    EXPECT_FALSE(high <= low);
    EXPECT_GT(high.Compare("z"), 0);
    EXPECT_LT(low.Compare("\xC3\xA9"), 0);
    EXPECT_FALSE(low == static_cast<const char*>(nullptr));
    EXPECT_EQ(0, CString().Compare(nullptr));
}

TEST(CStringCompare, CompareNoCaseUsesUnicodeLowerCase) {
    EXPECT_EQ(0, CString("\xC3\x84"
                         "BC")
                     .CompareNoCase("\xC3\xA4"
                                    "bc"));                              // ÄBC / äbc
    EXPECT_EQ(0, CString("\xCE\xA9mega").CompareNoCase("\xCF\x89MEGA")); // Ωmega / ωMEGA
    EXPECT_LT(CString("abc").CompareNoCase("ABD"), 0);
    EXPECT_GT(CString("abd").CompareNoCase("ABC"), 0);
    // The argument goes through the acceptance rule first.
    EXPECT_EQ(0, CString("AB?").CompareNoCase("ab\xE9"));
    EXPECT_EQ(0, CString().CompareNoCase(nullptr));
}

// --- Access ----------------------------------------------------------------------------------

TEST(CStringAccess, GetAtAndSetAt) {
    const CString s("abc");
    EXPECT_EQ('b', s.GetAt(1));
    EXPECT_EQ('\0', s[3]);

    struct Case {
        const char* input;
        unsigned long index;
        char c;
        const char* expected;
    } cases[] = {{"61 62 63", 1, 'x', "61 78 63"},    {"61 62 63", 1, '\0', "61"},
                 {"61 62 63", 3, 'x', "61 62 63"},    {"61 62 63", ~0UL, 'x', "61 62 63"},
                 {"61 62 63", 1, '\xE9', "61 3F 63"}, {"C3 A9", 0, 'x', "78 A9"}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.input);
        CString t = Raw(Hex(c.input));
        t.SetAt(c.index, c.c);
        EXPECT_BYTES(c.expected, t);
    }
}

// --- Substrings ------------------------------------------------------------------------------

TEST(CStringSubstring, MidLeftRightBounds) {
    const CString s("abcdef");
    EXPECT_EQ(Bytes(s.Mid(0, 2)), Bytes(s.Mid(-5, 2)));
    EXPECT_EQ("ab", Bytes(s.Mid(-5, 2)));
    EXPECT_EQ("cd", Bytes(s.Mid(2, 2)));
    EXPECT_EQ("ef", Bytes(s.Mid(4, 100)));
    EXPECT_TRUE(s.Mid(6, 3).IsEmpty());
    EXPECT_TRUE(s.Mid(7, 3).IsEmpty());
    EXPECT_TRUE(s.Mid(1, -1).IsEmpty());
    EXPECT_TRUE(s.Mid(INT_MAX, 1).IsEmpty());
    EXPECT_TRUE(s.Left(0).IsEmpty());
    EXPECT_TRUE(s.Left(-4).IsEmpty());
    EXPECT_EQ("abc", Bytes(s.Left(3)));
    EXPECT_EQ("abcdef", Bytes(s.Left(16)));
    EXPECT_TRUE(s.Right(-3).IsEmpty());
    EXPECT_EQ("def", Bytes(s.Right(3)));
    EXPECT_EQ("abcdef", Bytes(s.Right(6)));
}

TEST(CStringSubstring, CutSequencesAreValidatedWholeCopiesAreNot) {
    const CString s("a\xC3\xA9"
                    "b"); // 61 C3 A9 62
    EXPECT_BYTES("61 3F", s.Mid(0, 2));
    EXPECT_BYTES("C3 A9", s.Mid(1, 2));
    EXPECT_BYTES("3F 62", s.Mid(2, 2));
    EXPECT_BYTES("61 3F", s.Left(2));
    EXPECT_BYTES("3F 62", s.Right(2));

    // Pieces pass the acceptance rule; whole copies stay byte-exact.
    const CString raw = Raw(Hex("E9 61 00 62"));
    EXPECT_BYTES("3F 61", raw.Mid(0, 4));
    EXPECT_BYTES("3F", raw.Left(1));
    EXPECT_BYTES("E9 61 00 62", raw.Left(4));
    EXPECT_BYTES("E9 61 00 62", raw.Right(9));
    EXPECT_BYTES("", raw.Right(2)); // the piece starts at the NUL
}

TEST(CStringSubstring, SpanIncluding) {
    EXPECT_EQ("aabb", Bytes(CString("aabbcab").SpanIncluding("ab")));
    EXPECT_TRUE(CString("abc").SpanIncluding("").IsEmpty());
    EXPECT_TRUE(CString().SpanIncluding("a").IsEmpty());
    EXPECT_TRUE(CString("xab").SpanIncluding("ab").IsEmpty());
    try {
        CString("abc").SpanIncluding(nullptr);
        FAIL() << "no exception";
    } catch (const zulplatform::CException& e) {
        EXPECT_EQ(-1, e.GetCode());
    }
}

TEST(CStringSubstring, TokenizeSequences) {
    struct Case {
        const char* text;
        const char* delimiters;
        int start;
        std::vector<std::pair<std::string, int>> steps; // token, pos after
    } cases[] = {{"a,b", ",", 0, {{"a", 2}, {"b", 4}, {"", -1}}},
                 {",,a,,b,,", ",", 0, {{"a", 4}, {"b", 7}, {"", -1}}},
                 {"abcdef", "", 2, {{"cdef", 6}, {"", -1}}},
                 {"abcdef", nullptr, 0, {{"abcdef", 6}, {"", -1}}},
                 {"abcdef", "", 6, {{"", -1}}},
                 {" a b;c ", " ;", 0, {{"a", 3}, {"b", 5}, {"c", 7}, {"", -1}}},
                 {"a,b", ",", -3, {{"", -1}}},
                 {"a,b", ",", 9, {{"", -1}}},
                 {",,,", ",", 0, {{"", -1}}},
                 {"", ",", 0, {{"", -1}}}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        const CString s(c.text);
        int pos = c.start;
        for (const auto& step : c.steps) {
            const CString token = s.Tokenize(c.delimiters, pos);
            EXPECT_EQ(step.first, Bytes(token));
            EXPECT_EQ(step.second, pos);
        }
    }
    // Each token passes the acceptance rule on its own.
    const CString multi = Raw(Hex("C3 A9 2C 78 E9"));
    int pos = 0;
    EXPECT_BYTES("C3 A9", multi.Tokenize(",", pos));
    EXPECT_BYTES("78 3F", multi.Tokenize(",", pos));
}

// --- Searching -------------------------------------------------------------------------------

TEST(CStringFind, StartIsBoundedByCodePointCount) {
    const CString multi(Hex("C3 A9 C3 A9 C3 A9 78").c_str()); // 4 code points, 7 bytes
    EXPECT_EQ(6, multi.Find("x"));
    EXPECT_EQ(6, multi.Find('x', 3));
    EXPECT_EQ(-1, multi.Find('x', 4));
    EXPECT_EQ(-1, multi.Find("x", 5));
    EXPECT_EQ(-1, multi.Find("x", -1));

    const CString s("abcabc");
    EXPECT_EQ(1, s.Find("bc"));
    EXPECT_EQ(4, s.Find("bc", 2));
    EXPECT_EQ(-1, s.Find("bd"));
    EXPECT_EQ(-1, s.Find(static_cast<const char*>(nullptr)));
    EXPECT_EQ(2, s.Find("", 2));
    EXPECT_EQ(3, s.Find('\0', 3));
    EXPECT_EQ(-1, s.Find("", 6));
    EXPECT_EQ(-1, s.Find('a', INT_MIN));
    EXPECT_EQ(-1, CString().Find(""));
}

TEST(CStringFind, ReverseFind) {
    EXPECT_EQ(4, CString("abcabc").ReverseFind('b'));
    EXPECT_EQ(-1, CString("abc").ReverseFind('x'));
    EXPECT_EQ(-1, CString("abc").ReverseFind('\0'));
    EXPECT_EQ(-1, CString().ReverseFind('a'));
    EXPECT_EQ(3, Raw(std::string("ab\0b", 4)).ReverseFind('b'));
}

TEST(CStringFind, FindOneOfTakesTheSetInOrder) {
    EXPECT_EQ(2, CString("abc").FindOneOf("cb"));
    EXPECT_EQ(1, CString("abc").FindOneOf("xb"));
    EXPECT_EQ(0, CString("abca").FindOneOf("a"));
    EXPECT_EQ(-1, CString("abc").FindOneOf("xyz"));
    EXPECT_EQ(-1, CString("abc").FindOneOf(""));
    EXPECT_EQ(-1, CString("abc").FindOneOf(nullptr));
    EXPECT_EQ(-1, CString().FindOneOf("a"));
}

// --- Editing ---------------------------------------------------------------------------------

TEST(CStringEdit, ReplaceChar) {
    CString s("banana");
    EXPECT_EQ(3, s.Replace('a', 'o'));
    EXPECT_EQ("bonono", Bytes(s));
    EXPECT_EQ(0, s.Replace('o', 'o'));
    EXPECT_EQ(0, s.Replace('\0', 'x'));
    EXPECT_EQ(0, s.Replace('o', '\0'));
    EXPECT_EQ("bonono", Bytes(s));
    CString empty;
    EXPECT_EQ(0, empty.Replace('a', 'b'));
    // The new byte is not validated.
    CString raw("xax");
    EXPECT_EQ(1, raw.Replace('a', '\xE9'));
    EXPECT_BYTES("78 E9 78", raw);

    // Six code points in nine bytes: the hit at byte 8 lies beyond the search bound.
    CString multi(Hex("C3 A9 C3 A9 C3 A9 61 20 61").c_str());
    EXPECT_EQ(1, multi.Replace('a', 'b'));
    EXPECT_BYTES("C3 A9 C3 A9 C3 A9 62 20 61", multi);
}

TEST(CStringEdit, ReplaceText) {
    struct Case {
        const char* text;
        const char* oldText;
        const char* newText;
        int count;
        const char* expected;
    } cases[] = {{"a-b-c", "-", "::", 2, "a::b::c"},
                 {"a--b", "--", "", 1, "ab"},
                 {"abc", "x", "y", 0, "abc"},
                 {"abc", "abc", "abc", 0, "abc"},
                 {"abc", nullptr, "y", 0, "abc"},
                 {"abc", "b", nullptr, 0, "abc"},
                 {"", "a", "b", 0, ""},
                 // The search resumes at the start of the inserted text.
                 {"abb", "ab", "a", 2, "a"},
                 {"aab", "ab", "a", 1, "aa"},
                 // Six code points, nine bytes: the a at byte 8 is out of reach.
                 {"\xC3\xA9\xC3\xA9\xC3\xA9"
                  "a a",
                  "a", "b", 1,
                  "\xC3\xA9\xC3\xA9\xC3\xA9"
                  "b a"},
                 // A longer replacement grows the string, and with it the bound.
                 {"\xC3\xA9\xC3\xA9\xC3\xA9"
                  "a a",
                  "a", "bb", 2,
                  "\xC3\xA9\xC3\xA9\xC3\xA9"
                  "bb bb"}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        CString s(c.text);
        EXPECT_EQ(c.count, s.Replace(c.oldText, c.newText));
        EXPECT_EQ(c.expected, Bytes(s));
    }
    CString self("abcabc");
    EXPECT_EQ(2, self.Replace(self.GetString() + 3, "x"));
    EXPECT_EQ("xx", Bytes(self));
}

TEST(CStringEdit, Remove) {
    CString s("banana");
    EXPECT_EQ(3, s.Remove('a'));
    EXPECT_EQ("bnn", Bytes(s));
    CString n("abc");
    EXPECT_EQ(3, n.Remove('\0'));
    EXPECT_TRUE(n.IsEmpty());
    CString empty;
    EXPECT_EQ(0, empty.Remove('a'));
    // Five code points in seven bytes: after the first removal the bound drops to 4.
    CString multi("\xC3\xA9\xC3\xA9"
                  "aaa");
    EXPECT_EQ(1, multi.Remove('a'));
    EXPECT_EQ("\xC3\xA9\xC3\xA9"
              "aa",
              Bytes(multi));
}

TEST(CStringEdit, InsertBounds) {
    struct Case {
        int pos;
        const char* s;
        int length;
        const char* expected;
    } cases[] = {{0, "x", 4, "xabc"},    {1, "xy", 5, "axybc"}, {3, "x", 4, "abcx"},
                 {4, "x", 3, "abc"},     {10, "x", 3, "abc"},   {-1, "x", 3, "abc"},
                 {1, nullptr, 3, "abc"}, {1, "", 3, "abc"}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.pos);
        CString s("abc");
        EXPECT_EQ(c.length, s.Insert(c.pos, c.s));
        EXPECT_EQ(c.expected, Bytes(s));
    }
    CString s("abc");
    EXPECT_EQ(3, s.Insert(1, '\0'));
    EXPECT_EQ(4, s.Insert(1, '\xE9')); // inserted raw
    EXPECT_BYTES("61 E9 62 63", s);
    EXPECT_EQ(6, s.Insert(0, s.GetString() + 2));
    EXPECT_BYTES("62 63 61 E9 62 63", s);
}

TEST(CStringEdit, DeleteBounds) {
    struct Case {
        int pos;
        int count;
        const char* expected;
    } cases[] = {{1, -7, "a"},         {1, -1, "a"},
                 {0, 6, ""},           {0, 7, ""},
                 {4, 10, "abcd"},      {2, 2, "abef"},
                 {6, 1, "abcdef"},     {2, 0, "abcdef"},
                 {-1, 2, "abcdef"},    {INT_MIN, -1, "abcdef"},
                 {5, INT_MAX, "abcde"}};
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.pos) + "," + std::to_string(c.count));
        CString s("abcdef");
        EXPECT_EQ(static_cast<int>(std::strlen(c.expected)), s.Delete(c.pos, c.count));
        EXPECT_EQ(c.expected, Bytes(s));
    }
    CString s("abc");
    EXPECT_EQ(2, s.Delete(0));
    EXPECT_EQ("bc", Bytes(s));
}

TEST(CStringEdit, Truncate) {
    CString s("ab");
    s.Truncate(5);
    EXPECT_EQ(5, s.GetLength());
    EXPECT_BYTES("61 62 00 00 00", s);
    s.Truncate(1);
    EXPECT_EQ("a", Bytes(s));
    CString multi("\xC3\xA9");
    multi.Truncate(1); // byte-wise
    EXPECT_BYTES("C3", multi);
    try {
        s.Truncate(-1);
        FAIL() << "no exception";
    } catch (int code) {
        EXPECT_EQ(kInvalidArgumentResult, code);
    }
    EXPECT_EQ("a", Bytes(s));
}

TEST(CStringEdit, TrimSets) {
    struct Case {
        const char* input;
        const char* left;
        const char* right;
        const char* both;
    } cases[] = {
        {"61 62 20 08 09 0D 0A", "61 62 20 08 09 0D 0A", "61 62", "61 62"},
        {"0A 08 20 61 20", "61 20", "0A 08 20 61", "61"},
        {"61 62 0B", "61 62 0B", "61 62 0B", "61 62 0B"}, // vertical tab is not white space
        {"0C 61 0C", "0C 61 0C", "0C 61 0C", "0C 61 0C"}, // nor is form feed
        {"20 09 20", "", "", ""},
        {"", "", "", ""}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.input);
        const CString s = Raw(Hex(c.input));
        CString t = s;
        EXPECT_BYTES(c.left, t.TrimLeft());
        t = s;
        EXPECT_BYTES(c.right, t.TrimRight());
        t = s;
        EXPECT_BYTES(c.both, t.Trim());
    }
}

TEST(CStringEdit, TrimCharAndExplicitSet) {
    CString s("xxaxbxx");
    EXPECT_EQ("axbxx", Bytes(CString(s).TrimLeft('x')));
    EXPECT_EQ("xxaxb", Bytes(CString(s).TrimRight('x')));
    EXPECT_EQ("axb", Bytes(CString(s).Trim('x')));
    EXPECT_EQ("xxaxbxx", Bytes(CString(s).Trim('\0')));
    EXPECT_EQ("b", Bytes(CString("-=a-b=-").Trim("=-a")));
    EXPECT_EQ("xx", Bytes(CString("xx").TrimLeft(static_cast<const char*>(nullptr))));
    EXPECT_EQ("xx", Bytes(CString("xx").TrimRight("")));
    EXPECT_TRUE(CString("xxx").TrimRight('x').IsEmpty());
    // A NUL inside the content is never part of a set.
    EXPECT_BYTES("00 61", Raw(Hex("20 00 61 20")).Trim());
}

TEST(CStringEdit, CaseMapping) {
    CString s("\xC3\x80\xC3\x89\xC3\x8E abc"); // ÀÉÎ abc
    EXPECT_EQ("\xC3\xA0\xC3\xA9\xC3\xAE abc", Bytes(s.MakeLower()));
    EXPECT_EQ("\xC3\x80\xC3\x89\xC3\x8E ABC", Bytes(s.MakeUpper()));
    CString greek("\xCE\x91\xCE\x92\xCE\x93"); // ΑΒΓ
    EXPECT_EQ("\xCE\xB1\xCE\xB2\xCE\xB3", Bytes(greek.MakeLower()));
}

// --- Formatting and resources ----------------------------------------------------------------

TEST(CStringFormat, ShortAndEdgeFormats) {
    CString s("old");
    s.Format("%s=%d", "key", 42);
    EXPECT_EQ("key=42", Bytes(s));
    s.Format("%08x-%s-%.2f", 0xbeefu, "id", 3.14159);
    EXPECT_EQ("0000beef-id-3.14", Bytes(s));
    s.Format("%s", "");
    EXPECT_TRUE(s.IsEmpty());
    s = "x";
    s.Format(static_cast<const char*>(nullptr));
    EXPECT_TRUE(s.IsEmpty());
    // The formatted text is taken as it is: no validation, NULs kept.
    s.Format("a%cb%c", 0, 0xE9);
    EXPECT_BYTES("61 00 62 E9", s);
    s.AppendFormat("[%d]", 7);
    EXPECT_BYTES("61 00 62 E9 5B 37 5D", s);
}

TEST(CStringFormat, LongResultsUseTheSecondPass) {
    for (size_t length : {1023u, 1024u, 1025u, 1026u, 5000u}) {
        SCOPED_TRACE(length);
        const std::string body(length - 1, 'q');
        CString s;
        s.Format("%s!", body.c_str());
        EXPECT_EQ(static_cast<long>(length), s.GetLength());
        EXPECT_EQ(body + "!", Bytes(s));
    }
    // The argument may be the string being formatted, also on the second pass.
    CString s(std::string(3000, 'z').c_str());
    s.Format("<%s>", s.GetString());
    EXPECT_EQ("<" + std::string(3000, 'z') + ">", Bytes(s));
    s.Format("%s", s.GetString() + 2990);
    EXPECT_EQ(std::string(11, 'z') + ">", Bytes(s));
}

TEST(CStringFormat, EncodingErrorGivesEmpty) {
    // Outside a UTF-8 locale the euro sign cannot be converted to bytes.
    if (std::snprintf(nullptr, 0, "%ls", L"\u20ac") >= 0)
        GTEST_SKIP() << "the current locale can encode the euro sign";
    CString s("keep");
    s.Format("%ls", L"\u20ac");
    EXPECT_TRUE(s.IsEmpty());
}

namespace {

class StringTableModule : public zulplatform::IModule {
public:
    const char* LoadString(unsigned int id) const override {
        auto it = m_texts.find(id);
        return it == m_texts.end() ? "" : it->second;
    }
    const char* GetModuleFileName() const override { return "test-module"; }
    const zulplatform::VersionRecord_t* GetVersionInfo() const override { return nullptr; }

private:
    std::map<unsigned int, const char*> m_texts{
        {1, "hello %s"}, {2, ""}, {3, "caf\xE9"}, {4, "caf\xC3\xA9"}};
};

// An id that no module of this library uses.
constexpr unsigned int kUnknownId = 0xFFFFFFF0u;

} // namespace

TEST(CStringResource, LoadStringFromModule) {
    StringTableModule module;
    CString s("old");
    EXPECT_TRUE(s.LoadString(&module, 1));
    EXPECT_EQ("hello %s", Bytes(s));
    EXPECT_FALSE(s.LoadString(&module, 2)); // empty text counts as not found
    EXPECT_TRUE(s.IsEmpty());
    s = "old";
    EXPECT_FALSE(s.LoadString(&module, 99));
    EXPECT_TRUE(s.IsEmpty());
    EXPECT_TRUE(s.LoadString(&module, 3)); // validated
    EXPECT_EQ("caf?", Bytes(s));
    EXPECT_TRUE(s.LoadString(&module, 4));
    EXPECT_EQ("caf\xC3\xA9", Bytes(s));
    EXPECT_FALSE(s.LoadString(nullptr, 1));
    EXPECT_TRUE(s.IsEmpty());
}

TEST(CStringResource, UnknownIdThroughCurrentResourceModule) {
    CString s("old");
    EXPECT_FALSE(s.LoadString(kUnknownId));
    EXPECT_TRUE(s.IsEmpty());
    s = "old";
    s.Format(kUnknownId, 1, 2);
    EXPECT_TRUE(s.IsEmpty());
    s = "old";
    s.AppendFormat(kUnknownId, 1);
    EXPECT_EQ("old", Bytes(s));
    if (zulwin::AfxGetResourceHandle() == nullptr) {
        s = "old";
        EXPECT_FALSE(s.LoadString(1u));
        EXPECT_TRUE(s.IsEmpty());
    }
}

// --- Buffer access and exceptions ------------------------------------------------------------

TEST(CStringBuffer, GetBufferSetLengthAndReleaseBuffer) {
    CString s("abc");
    char* p = s.GetBufferSetLength(6);
    EXPECT_EQ(6, s.GetLength());
    EXPECT_EQ('\0', p[5]);
    std::memcpy(p, "hi\0jk", 5);
    s.ReleaseBuffer();
    EXPECT_EQ("hi", Bytes(s));
    std::memcpy(s.GetBufferSetLength(5), "hi\0jk", 5);
    s.ReleaseBuffer(4);
    EXPECT_BYTES("68 69 00 6A", s);
    s.GetBuffer()[0] = 'H';
    EXPECT_EQ('H', s[0]);
    EXPECT_THROW(s.GetBufferSetLength(-2), std::length_error);
    EXPECT_THROW(s.ReleaseBuffer(-2), std::length_error);
}

TEST(CStringException, ThrowCarriesTheCode) {
    for (int code : {-1, -4, 22, 0}) {
        try {
            zulplatform::CException::Throw(code);
            FAIL() << "no exception";
        } catch (zulplatform::CException e) {
            EXPECT_EQ(code, e.GetCode());
        }
    }
}

// --- Randomized robustness -------------------------------------------------------------------

namespace {

class RandomText {
public:
    explicit RandomText(unsigned seed) : m_rng(seed) {}

    int Int(int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(m_rng); }

    // A position or count around the string's length, now and then an extreme.
    int Around(long length) {
        switch (Int(0, 9)) {
        case 0:
            return INT_MIN;
        case 1:
            return INT_MAX;
        default:
            return Int(-3, static_cast<int>(length) + 3);
        }
    }

    // Bytes biased towards the cases that matter: ASCII, delimiters and white space, valid
    // multi-byte text, stray continuations, forbidden and 5/6-byte leads, cut sequences, NUL.
    std::string Bytes(int maxPieces, bool allowNul) {
        static const std::vector<std::string> pieces = [] {
            std::vector<std::string> out;
            std::istringstream list("61|42|78|2C|3B|20|09|08|0B|0D 0A|C3 A9|E2 82 AC|F0 9F 98 80|"
                                    "C3 84|CE A9|80|BF|C0|C1|F5|FF|F8|FC|FD|E0 80 80|ED A0 80|"
                                    "C3|E2 82|F0 9F 98");
            for (std::string piece; std::getline(list, piece, '|');)
                out.push_back(Hex(piece.c_str()));
            return out;
        }();
        std::string out;
        const int count = Int(0, maxPieces);
        for (int i = 0; i < count; ++i) {
            if (allowNul && Int(0, 15) == 0)
                out.push_back('\0');
            else
                out += pieces[Int(0, static_cast<int>(pieces.size()) - 1)];
        }
        return out;
    }

private:
    std::mt19937 m_rng;
};

// The string's own bookkeeping: byte length, terminator.
void ExpectConsistent(const CString& s) {
    ASSERT_EQ(s.GetLength(), static_cast<long>(Bytes(s).size()));
    ASSERT_EQ('\0', s.GetString()[s.GetLength()]);
    ASSERT_EQ(s.IsEmpty(), s.GetLength() == 0);
}

// Validated results hold acceptable UTF-8 with no NUL inside.
void ExpectValidated(const CString& s) {
    ExpectConsistent(s);
    EXPECT_TRUE(utf8_private::IsValidString(s.GetString())) << ToHex(Bytes(s));
    EXPECT_EQ(std::strlen(s.GetString()), static_cast<size_t>(s.GetLength()));
}

} // namespace

TEST(CStringRandom, ValidatedEntryRoutes) {
    RandomText rnd(20240611u);
    for (int round = 0; round < 3000; ++round) {
        const std::string in = rnd.Bytes(12, false);
        SCOPED_TRACE(ToHex(in));
        const std::string expected = Accepted(in);
        EXPECT_EQ(expected, Bytes(CString(in.c_str())));
        CString assigned("seed");
        assigned = in.c_str();
        EXPECT_EQ(expected, Bytes(assigned));
        CString appended("a");
        appended += in.c_str();
        EXPECT_EQ(Accepted("a") + expected, Bytes(appended));

        const unsigned long n = static_cast<unsigned long>(rnd.Int(0, 20));
        const CString limited(in.c_str(), n);
        ExpectValidated(limited);
        EXPECT_LE(limited.GetLength(), static_cast<long>(n));
        EXPECT_EQ(0, in.compare(0, static_cast<size_t>(limited.GetLength()), Bytes(limited)));
        EXPECT_LE(limited.GetLength(), CString(in.c_str(), n + 1).GetLength());
    }
}

TEST(CStringRandom, EveryEntryPointOnRawContent) {
    RandomText rnd(777u);
    const char* const sets[] = {",", " ;", "\xC3\xA9", "a\x80", "", nullptr};
    for (int round = 0; round < 3000; ++round) {
        const std::string start = rnd.Bytes(10, true);
        SCOPED_TRACE(ToHex(start));
        CString s = Raw(start);
        for (int step = 0; step < 12; ++step) {
            const std::string before = Bytes(s);
            const long length = s.GetLength();
            const int a = rnd.Around(length);
            const int b = rnd.Around(length);
            const std::string arg = rnd.Bytes(3, false);
            const char* set = sets[rnd.Int(0, 5)];
            switch (rnd.Int(0, 17)) {
            case 0: {
                const CString piece = s.Mid(a, b);
                const long from = a < 0 ? 0 : a;
                std::string model;
                if (b >= 0 && from <= length)
                    model = before.substr(static_cast<size_t>(from), static_cast<size_t>(b));
                EXPECT_EQ(Accepted(model), Bytes(piece));
                break;
            }
            case 1: {
                const CString left = s.Left(a), right = s.Right(a);
                if (a >= length) {
                    EXPECT_EQ(before, Bytes(left));
                    EXPECT_EQ(before, Bytes(right));
                } else if (a < 1) {
                    EXPECT_TRUE(left.IsEmpty() && right.IsEmpty());
                } else {
                    EXPECT_EQ(Accepted(before.substr(0, a)), Bytes(left));
                    EXPECT_EQ(Accepted(before.substr(length - a)), Bytes(right));
                }
                break;
            }
            case 2: {
                const int hit = s.Find(arg.c_str(), a);
                if (hit != -1) {
                    EXPECT_GE(hit, a);
                    EXPECT_LT(hit, length);
                    EXPECT_EQ(0, std::strncmp(s.GetString() + hit, arg.c_str(), arg.size()));
                }
                break;
            }
            case 3: {
                const char from = arg.empty() ? 'a' : arg[0];
                const char to = static_cast<char>(rnd.Int(-128, 127));
                const int count = s.Replace(from, to);
                ASSERT_EQ(before.size(), Bytes(s).size());
                int changed = 0;
                for (size_t i = 0; i < before.size(); ++i) {
                    if (before[i] != Bytes(s)[i]) {
                        EXPECT_EQ(from, before[i]);
                        EXPECT_EQ(to, Bytes(s)[i]);
                        ++changed;
                    }
                }
                EXPECT_EQ(changed, count);
                break;
            }
            case 4: {
                // Pairs whose replacement contains the searched text never end; skip them.
                const std::string to = rnd.Bytes(2, false);
                if (arg.empty() || to.find(arg) != std::string::npos)
                    break;
                const int count = s.Replace(arg.c_str(), to.c_str());
                EXPECT_EQ(static_cast<long>(before.size()) +
                              count *
                                  (static_cast<long>(to.size()) - static_cast<long>(arg.size())),
                          s.GetLength());
                break;
            }
            case 5: {
                const int result = s.Insert(a, arg.c_str());
                std::string model = before;
                if (a >= 0 && a <= length)
                    model.insert(static_cast<size_t>(a), arg);
                EXPECT_EQ(model, Bytes(s));
                EXPECT_EQ(static_cast<int>(model.size()), result);
                break;
            }
            case 6: {
                const int result = s.Delete(a, b);
                std::string model = before;
                if (a >= 0 && a < length && b != 0)
                    model.erase(static_cast<size_t>(a),
                                b < 0 ? std::string::npos : static_cast<size_t>(b));
                EXPECT_EQ(model, Bytes(s));
                EXPECT_EQ(static_cast<int>(model.size()), result);
                break;
            }
            case 7: {
                const char c = arg.empty() ? '\0' : arg[0];
                const int count = s.Remove(c);
                EXPECT_EQ(length - count, s.GetLength());
                break;
            }
            case 8: {
                const char* trimSet = set != nullptr ? set : "\r\n\t\b ";
                s.Trim(set);
                const std::string after = Bytes(s);
                EXPECT_NE(std::string::npos, before.find(after));
                if (!after.empty() && set != nullptr) {
                    const size_t setLen = std::strlen(trimSet);
                    EXPECT_EQ(nullptr, std::memchr(trimSet, after.front(), setLen));
                    EXPECT_EQ(nullptr, std::memchr(trimSet, after.back(), setLen));
                }
                s.TrimLeft();
                s.TrimRight('a');
                break;
            }
            case 9: {
                int pos = a;
                int rounds = 0;
                const bool delimited = set != nullptr && *set != '\0';
                while (pos != -1 && rounds++ <= length + 2) {
                    const int from = pos;
                    const CString token = s.Tokenize(set, pos);
                    if (delimited) {
                        ExpectValidated(token);
                        // Empty tokens only come with the end.
                        if (pos != -1) {
                            EXPECT_FALSE(token.IsEmpty());
                        }
                    } else if (pos != -1) {
                        EXPECT_EQ(Bytes(s.Right(length - from)), Bytes(token));
                    }
                }
                EXPECT_EQ(-1, pos);
                break;
            }
            case 10:
                s.MakeLower();
                if (rnd.Int(0, 1) != 0)
                    s.MakeUpper();
                break;
            case 11: {
                const int sign = s.CompareNoCase(arg.c_str());
                if (utf8_private::IsValidString(s.GetString())) {
                    EXPECT_EQ(0, s.CompareNoCase(s.GetString()));
                }
                (void)sign;
                break;
            }
            case 12:
                s += arg.c_str();
                EXPECT_EQ(before + Accepted(arg), Bytes(s));
                break;
            case 13: {
                const int hit = s.FindOneOf(set);
                EXPECT_TRUE(hit == -1 || (hit >= 0 && hit < length));
                const int last = s.ReverseFind(arg.empty() ? 'a' : arg[0]);
                EXPECT_TRUE(last == -1 || before[last] == (arg.empty() ? 'a' : arg[0]));
                break;
            }
            case 14:
                if (set != nullptr) {
                    // The whole string comes back as an exact copy; a part is validated.
                    const CString span = s.SpanIncluding(set);
                    if (span.GetLength() == length && length != 0)
                        EXPECT_EQ(before, Bytes(span));
                    else
                        ExpectValidated(span);
                }
                s.SetAt(static_cast<unsigned long>(a), arg.empty() ? '\0' : arg[0]);
                break;
            case 15:
                if (a >= 0 && a < 64) {
                    s.Truncate(a);
                    EXPECT_EQ(a, s.GetLength());
                }
                break;
            case 16:
                s = s.Mid(a, b) + s;
                s = '\xFC' + s + '\xFC';
                break;
            default:
                s.Format("%s|%d", arg.c_str(), a);
                break;
            }
            ExpectConsistent(s);
            if (s.GetLength() > 256)
                s = Raw(rnd.Bytes(10, true));
        }
    }
}
