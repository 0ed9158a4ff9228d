// The INI text form: the parser's quirks and failures, the writer's layout, and the round trip
// of written text through the parser.
#include <platform/ini_file.h>

#include <gtest/gtest.h>

#include <cstring>
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
        char const *text, *dump;
        bool ok;
    } const cases[] = {
        {"k=v\n[A]\nx=1", "[A]=;x=1;", true},
        {"[A] ; note\n", "", false},
        {"[A]\r\nz=1\na\rb\t=\tc\t\r\n\r\n", "[A]=;ab=c;z=1;", true},
        {"[A]\nk=1\nnoequals\nj=2", "[A]=;k=1;", false},
        {"[]\n", "", false},
        // Lines start after any isspace character; names and values trim fewer.
        {"[A]\n\vk\v=\fv\n", "[A]=;k\v=\fv;", true},
        // One invalid byte makes every byte above 0x7F read as "?".
        {"[\xC3\x84]\nk=\xFF\n", "[??]=;k=?;", true},
        // Overlong forms come back in their shortest form: U+0596 in two bytes, 'A' in one.
        {"[\xE0\x96\x96]\nk=\xE0\x81\x81\n", "[\xD6\x96]=;k=A;", true},
    };
    for (Case const& c : cases) {
        // A header walked character by character (a carriage return or a non-ASCII name) is
        // parsed from a copy of its line; sizing the new section must look ahead in the text
        // itself. The text lies on this frame, above the parser's heap copy, so that a
        // look-ahead from the copy runs out of it and the address sanitizer stops it.
        char text[64];
        std::strcpy(text, c.text);
        CIniFile ini;
        ini.WriteValue("Old", "k", "v");
        EXPECT_EQ(inifile::FromText(ini, text), c.ok) << c.text;
        EXPECT_EQ(Dump(ini), c.dump) << c.text;
        EXPECT_EQ(ini.IsModified(), !c.ok && *c.dump != 0) << c.text;
    }
}

TEST(IniText, WritesSortedSectionsSeparatedByBlankLines) {
    CIniFile ini;
    ini.WriteValue("B", "x", "y");
    ini.WriteValue("A", "k", "v");
    ini.WriteValue("A", "", "hidden");
    CString text("before");
    ini.ToText(text);
    EXPECT_EQ(text, "before\n[A]\nk = v\n\n[B]\nx = y\n\n");
}

// Random documents of names and values the text form can carry (no white space at their ends,
// no "=" in keys, no "]" in section names) parse back from their own text unchanged.
TEST(IniText, WrittenTextParsesBackToTheSameDocument) {
    std::mt19937 random(7);
    char const* const pieces[] = {"a", "A", " ", "\t", "=", ";", "#", "[", "]", "\xC3\xA4"};
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
            for (int k = random() % 4; k > 0; --k)
                built.WriteValue(section.c_str(), text('=', "k").c_str(), text(0, "v").c_str());
        }
        CString written;
        built.ToText(written);
        EXPECT_TRUE(parsed.FromText(written.GetString()) && Dump(parsed) == Dump(built))
            << written.GetString();
    }
}

} // namespace
