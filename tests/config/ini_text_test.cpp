// The INI text form: the parser's quirks and failures, and the writer's layout (the round trip
// of written text through the parser is the INI fuzz target's).
#include <platform/ini_file.h>

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <tuple>

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
    std::tuple<char const*, char const*, bool> const cases[] = {
        // text, document, parsed
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
    for (auto const& [source, dump, ok] : cases) {
        // A header walked character by character (a carriage return or a non-ASCII name) is
        // parsed from a copy of its line; sizing the new section must look ahead in the text
        // itself. The text lies on this frame, above the parser's heap copy, so that a
        // look-ahead from the copy runs out of it and the address sanitizer stops it.
        char text[64];
        std::strcpy(text, source);
        CIniFile ini;
        ini.WriteValue("Old", "k", "v");
        EXPECT_EQ(inifile::FromText(ini, text), ok) << source;
        EXPECT_EQ(Dump(ini), dump) << source;
        EXPECT_EQ(ini.IsModified(), !ok && *dump != 0) << source;
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

} // namespace
