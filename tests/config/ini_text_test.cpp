// The INI text form: parsing rules and failures, the writer's layout, and hostile input.
#include <platform/ini_file.h>

#include <gtest/gtest.h>

#include <string>

using zulwin::CString;

namespace {

// The document as one line per entry, "section|key=value", in enumeration order.
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
        {"[ A ]\n", true, "[ A ]=;"},
        {"[A] ; note\n", false, ""},
        {"[A]  \t\n", true, "[A]=;"},
        {"[A]\nk = a = b ; c\n", true, "[A]=;k=a = b ; c;"},
        {"[A]\r\nk=v\r\n\r\n", true, "[A]=;k=v;"},
        {"[A]\n\r\nk=v\r", true, "[A]=;k=v;"},
        {"[A]\na\rb=c\n", true, "[A]=;ab=c;"},
        {"[A]\n[a]\nk=1\nK=2", true, "[A]=;k=2;"},
        {"[A]\n; k=1\n  # k=2\n\n", true, "[A]=;"},
        {"[A]\n=v\n", true, "[A]=v;"},
        {"[A]\n\"q\" = \"v\"\n", true, "[A]=;\"q\"=\"v\";"},
        {"[A]\nk=1\nnoequals\nj=2", false, "[A]=;k=1;"},
        {"[A]\nk=1\n[B\nj=2", false, "[A]=;k=1;"},
        {"[]\n", false, ""},
        {"[", false, ""},
        {"[A]\n\vk\v=\fv\n", true, "[A]=;k\v=\fv;"},
        {"[A]\nk=v\0[B]\n", true, "[A]=;k=v;"},
        {"", true, ""},
        {"\n\n   \n", true, ""},
        {"\xEF\xBB\xBF", true, ""},
        {"[\xC3\x84]\nk=\xF0\x9F\x98\x80\n", true, "[\xC3\x84]=;k=?;"},
        // Encoded surrogates are read unit by unit: a high one alone encodes nothing, a low one
        // comes back as it was.
        {"[A]\nk=a\xED\xA0\x80"
         "b\xED\xB0\x80\n",
         true, "[A]=;k=ab\xED\xB0\x80;"},
        // An overlong three-byte form is read as the unit it stands for, which is written back
        // in its shortest form: U+0596 in two bytes, 'A' in one.
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
    CString text;
    ini.ToText(text);
    EXPECT_EQ(text, "[A]\nk = v\n\n[B]\nx = y\n\n[C]\n\n");
    CString appended("before");
    ini.ToText(appended);
    EXPECT_EQ(appended, "before\n[A]\nk = v\n\n[B]\nx = y\n\n[C]\n\n");

    CString none;
    CIniFile().ToText(none);
    EXPECT_EQ(none, "");

    // A round trip keeps the empty section and comes out identical.
    CIniFile back;
    ASSERT_TRUE(back.FromText(text.GetString()));
    CString again;
    back.ToText(again);
    EXPECT_EQ(again, text);
}

TEST(IniText, HostileInputNeverBreaksTheParser) {
    std::string longLine = "[A]\nk=" + std::string(1 << 20, 'x') + "\n";
    CIniFile ini;
    ASSERT_TRUE(ini.FromText(longLine.c_str()));
    CString value;
    ASSERT_TRUE(ini.ReadValue("a", "K", value));
    EXPECT_EQ(value.GetLength(), 1 << 20);

    std::string many;
    for (int i = 0; i < 100000; ++i)
        many += "[s" + std::to_string(i) + "]\n";
    ASSERT_TRUE(ini.FromText(many.c_str()));
    EXPECT_EQ(ini._GetSectionCount(), 100000u);
    EXPECT_TRUE(ini.HasSection("S99999"));
}

// A header that needs the character-wise walk (a carriage return or a non-ASCII name) is parsed
// from a copy of its line; sizing the new section must look ahead in the text itself, never
// from the copy's end. The text lies on this frame, above the parser's copy on the stack, so a
// look-ahead from the copy runs over the frames between (the address sanitizer stops it).
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
