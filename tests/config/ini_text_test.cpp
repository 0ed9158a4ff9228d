// The INI text form: the parser's quirks and failures, the writer's layout, and the round trip
// of written text through the parser.
#include <platform/ini_file.h>

#include <gtest/gtest.h>

#include <iterator>
#include <random>
#include <string>

using zulwin::CString;

namespace {

// The document as "[section]key=value;..." in enumeration order.
std::string Dump(CIniFile const& ini) {
    std::string out;
    ini.Iterate([&](CString const& s) { out += "[" + std::string(s.GetString()) + "]"; },
                [&](CString const& k, CString const& v) {
                    out += std::string(k.GetString()) + "=" + v.GetString() + ";";
                });
    return out;
}

TEST(IniText, ParsesLinesAsDocumented) {
    struct Case {
        std::string text;
        bool ok;
        std::string dump;
    };
    Case const cases[] = {
        {"k=v\n[A]\nx=1", true, "[A]=;x=1;"},
        {"[A] ; note\n", false, ""},
        {"[A]  \t\n", true, "[A]=;"},
        {"[A]\r\na\rb\t=\tc\t\r\n\r\n", true, "[A]=;ab=c;"},
        {"[A]\n; k=1\n  # k=2\n\n", true, "[A]=;"},
        {"[A]\n=v\n", true, "[A]=v;"},
        {"[A]\nk=1\nnoequals\nj=2", false, "[A]=;k=1;"},
        {"[A]\nk=1\n[B\nj=2", false, "[A]=;k=1;"},
        {"[]\n", false, ""},
        // Lines start after any isspace character; names and values trim fewer.
        {"[A]\n\vk\v=\fv\n", true, "[A]=;k\v=\fv;"},
        // A character outside the 16-bit range reads as "?"; one invalid byte makes every byte
        // above 0x7F read as "?".
        {"[\xC3\x84]\nk=\xF0\x9F\x98\x80\n", true, "[\xC3\x84]=;k=?;"},
        {"[\xC3\x84]\nk=\xFF\n", true, "[??]=;k=?;"},
        // Read unit by unit: a high surrogate alone encodes nothing, a low one comes back.
        {"[A]\nk=a\xED\xA0\x80"
         "b\xED\xB0\x80\n",
         true, "[A]=;k=ab\xED\xB0\x80;"},
        // Overlong forms come back in their shortest form: U+0596 in two bytes, 'A' in one.
        {"[\xE0\x96\x96]\nk=\xE0\x81\x81\n", true, "[\xD6\x96]=;k=A;"},
    };
    for (Case const& c : cases) {
        CIniFile ini;
        ini.WriteValue("Old", "k", "v");
        EXPECT_EQ(inifile::FromText(ini, c.text.c_str()), c.ok) << c.text;
        EXPECT_EQ(Dump(ini), c.dump) << c.text;
        EXPECT_EQ(ini.IsModified(), !c.ok && !c.dump.empty()) << c.text;
    }
}

TEST(IniText, WritesSortedSectionsSeparatedByBlankLines) {
    CIniFile ini;
    ini.WriteValue("B", "x", "y");
    ini.WriteValue("A", "k", "v");
    ini.WriteValue("A", "", "hidden");
    ini.WriteValue("C", "", "");
    CString text("before");
    ini.ToText(text);
    EXPECT_EQ(text, "before\n[A]\nk = v\n\n[B]\nx = y\n\n[C]\n\n");
    CString none;
    CIniFile().ToText(none);
    EXPECT_EQ(none, "");
}

// Random documents of names and values the text form can carry (no white space at their ends,
// no "=" in keys, no "]" in section names) parse back from their own text unchanged.
TEST(IniText, WrittenTextParsesBackToTheSameDocument) {
    std::mt19937 random(7);
    char const* const pieces[] = {"a", "A", " ", "\t",       "=",           ";",
                                  "#", "[", "]", "\xC3\xA4", "\xE2\x82\xAC"};
    // Up to four pieces other than `excluded`, between two `edge` letters.
    auto text = [&](char excluded, std::string const& edge) {
        std::string s = edge;
        for (int n = random() % 5; n > 0; --n)
            if (char const* piece = pieces[random() % std::size(pieces)]; *piece != excluded)
                s += piece;
        return s + edge;
    };
    for (int round = 0; round < 300; ++round) {
        CIniFile built, parsed;
        for (int s = random() % 4; s > 0; --s) {
            std::string const section = text(']', "S");
            built.WriteValue(section.c_str(), "", ""); // as its header line gives it
            for (int k = random() % 4; k > 0; --k) {
                std::string const value = random() % 4 == 0 ? "" : text(0, "v");
                built.WriteValue(section.c_str(), text('=', "k").c_str(), value.c_str());
            }
        }
        CString written;
        built.ToText(written);
        ASSERT_TRUE(parsed.FromText(written.GetString())) << written.GetString();
        EXPECT_EQ(Dump(parsed), Dump(built)) << written.GetString();
        EXPECT_FALSE(parsed.IsModified());
    }
}

// A header walked character by character (a carriage return or a non-ASCII name) is parsed
// from a copy of its line; sizing the new section must look ahead in the text itself. The text
// lies on this frame, above the parser's copy, so that a look-ahead from the copy runs over the
// frames between and the address sanitizer stops it.
TEST(IniText, HeadersReadCharacterWiseLookAheadInTheText) {
    char const* const expected[] = {"[\xC3\x9Cn\xC3\xAF]=;k2=w;key=v;", "[A]=;k2=w;key=v;"};
    char texts[][64] = {"[\xC3\x9Cn\xC3\xAF]\nkey=v\nk2=w", "[A]\r\nkey=v\r\nk2=w\r\n"};
    for (std::size_t i = 0; i < 2; ++i) {
        CIniFile ini;
        ASSERT_TRUE(ini.FromText(texts[i])) << i;
        EXPECT_EQ(Dump(ini), expected[i]);
    }
}

} // namespace
