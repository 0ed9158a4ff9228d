// The checks and layouts of platform-reg apart from any process: what is refused before a file
// is touched, and the exact shape of a line.
#include "reg/reg_text.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using reg_text::Type;
using reg_text::Value;

TEST(RegText, DataParsing) {
    struct {
        Type type;
        bool given;
        const char* text;
        bool ok;
        unsigned int dword;
        std::string data;
    } const cases[] = {
        {Type::Dword, true, "0", true, 0, ""},
        {Type::Dword, true, "4294967295", true, 0xffffffffu, ""},
        {Type::Dword, true, "0xFFFFFFFF", true, 0xffffffffu, ""},
        {Type::Dword, true, "0X1f", true, 31, ""},
        {Type::Dword, false, "", true, 0, ""},
        {Type::Dword, true, "4294967296", false, 0, ""},
        {Type::Dword, true, "0x100000000", false, 0, ""},
        {Type::Dword, true, "99999999999999999999999", false, 0, ""},
        {Type::Dword, true, "-1", false, 0, ""},
        {Type::Dword, true, "+1", false, 0, ""},
        {Type::Dword, true, " 1", false, 0, ""},
        {Type::Dword, true, "12abc", false, 0, ""},
        {Type::Dword, true, "0x", false, 0, ""},
        {Type::Dword, true, "0xg", false, 0, ""},
        {Type::Dword, true, "", false, 0, ""},
        {Type::Binary, true, "", true, 0, ""},
        {Type::Binary, true, "00ff7F", true, 0, std::string("\x00\xff\x7f", 3)},
        {Type::Binary, true, "0", false, 0, ""},
        {Type::Binary, true, "0g", false, 0, ""},
        {Type::Binary, true, "01 02", false, 0, ""},
        {Type::String, true, "plain text = ; # [x]", true, 0, "plain text = ; # [x]"},
        {Type::String, true, "", true, 0, ""},
        {Type::String, false, "", true, 0, ""},
        {Type::String, true, " lead", false, 0, ""},
        {Type::String, true, "trail\t", false, 0, ""},
        {Type::String, true, "line\nbreak", false, 0, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(reg_text::TypeName(c.type)) + " \"" + c.text + "\"");
        Value value;
        std::string problem;
        EXPECT_EQ(reg_text::ParseData(c.type, c.given, c.text, value, problem), c.ok);
        EXPECT_EQ(problem.empty(), c.ok);
        if (c.ok) {
            EXPECT_EQ(value.dword, c.dword);
            EXPECT_EQ(value.data, c.data);
        }
    }
}

TEST(RegText, NamesAndPaths) {
    struct {
        const char* key;
        const char* normal; // null: refused
    } const keys[] = {
        {"A", "A"},        {"A\\B", "A\\B"},   {"\\A\\\\B\\", "A\\B"}, {"with space", "with space"},
        {"[x", "[x"},      {"", nullptr},      {"\\\\", nullptr},      {"a]b", nullptr},
        {"a\nb", nullptr}, {"a\x7f", nullptr},
    };
    for (const auto& k : keys) {
        std::string normal, problem;
        bool const ok = reg_text::NormaliseKey(k.key, normal, problem);
        EXPECT_EQ(ok, k.normal != nullptr) << k.key;
        if (ok) {
            EXPECT_EQ(normal, k.normal);
        }
        EXPECT_EQ(problem.empty(), ok) << k.key;
    }
    struct {
        const char* name;
        bool ok;
    } const names[] = {
        {"Port", true}, {"", true},       {"a@b", true},  {"mid;dle#", true},
        {"a b", true},  {" lead", false}, {"\tx", false}, {"a=b", false},
        {";c", false},  {"#c", false},    {"[x", false},  {"a\rb", false},
    };
    for (const auto& n : names) {
        std::string problem;
        EXPECT_EQ(reg_text::ValidValueName(n.name, problem), n.ok) << n.name;
    }
    struct {
        const char* file;
        bool ok;
    } const files[] = {
        {"s.ini", true}, {"no-ext", true}, {"..x", true},  {"", false},
        {".", false},    {"..", false},    {"a/b", false}, {"/etc/passwd", false},
    };
    for (const auto& f : files) {
        std::string problem;
        EXPECT_EQ(reg_text::ValidFileName(f.file, problem), f.ok) << f.file;
    }
    struct {
        const char* section;
        const char* key;
        const char* value;
        bool ok;
    } const profile[] = {
        {"S", "k", "v", true},   {"S", "k", "", true},    {"", "k", "v", false},
        {"S]", "k", "v", false}, {"S", "", "v", false},   {"S", "k ", "v", false},
        {"S", "=k", "v", false}, {"S", "k", " v", false}, {"S", "k", "v\n", false},
    };
    for (const auto& p : profile) {
        std::string problem;
        EXPECT_EQ(reg_text::ValidProfileText(p.section, p.key, p.value, problem), p.ok)
            << p.section << "|" << p.key << "|" << p.value;
    }
}

TEST(RegText, EntryNamesAndKeyRelations) {
    struct {
        const char* entry;
        bool ok;
        const char* name;
        Type type;
    } const entries[] = {
        {"Port@DWORD", true, "Port", Type::Dword}, {"x@string", true, "x", Type::String},
        {"a@b@BINARY", true, "a@b", Type::Binary}, {"@DWORD", true, "", Type::Dword},
        {"untyped", false, "", Type::String},      {"x@QWORD", false, "", Type::String},
        {"x@DWORD ", false, "", Type::String},     {"", false, "", Type::String},
    };
    for (const auto& e : entries) {
        std::string name;
        Type type = Type::String;
        EXPECT_EQ(reg_text::SplitEntryName(e.entry, name, type), e.ok) << e.entry;
        if (e.ok) {
            EXPECT_EQ(name, e.name);
            EXPECT_EQ(type, e.type);
            EXPECT_TRUE(reg_text::SplitEntryName(reg_text::EntryName(name, type), name, type));
        }
    }
    struct {
        const char* key;
        const char* parent;
        bool same, below, child;
    } const relations[] = {
        {"A", "a", true, false, false},       {"A\\B", "a", false, true, true},
        {"A\\B\\C", "A", false, true, false}, {"AB", "A", false, false, false},
        {"A\\", "A", false, false, false},    {"B\\A", "A", false, false, false},
        {"Ä\\x", "ä", false, true, true},
    };
    for (const auto& r : relations) {
        EXPECT_EQ(reg_text::SameKey(r.key, r.parent), r.same) << r.key << " " << r.parent;
        EXPECT_EQ(reg_text::IsBelow(r.key, r.parent), r.below) << r.key << " " << r.parent;
        EXPECT_EQ(reg_text::IsChild(r.key, r.parent), r.child) << r.key << " " << r.parent;
    }
}

TEST(RegText, SwitchesAndAnswers) {
    struct {
        const char* arg;
        char letter;
    } const switches[] = {{"/v", 'v'}, {"-V", 'v'}, {"/T", 't'}, {"/d", 'd'}, {"-f", 'f'},
                          {"/x", 0},   {"/vv", 0},  {"v", 0},    {"/", 0},    {"", 0}};
    for (const auto& s : switches)
        EXPECT_EQ(reg_text::SwitchLetter(s.arg), s.letter) << s.arg;
    struct {
        const char* line;
        reg_text::Answer answer;
    } const answers[] = {
        {"y\n", reg_text::Answer::Yes},    {"  YES \n", reg_text::Answer::Yes},
        {"n", reg_text::Answer::No},       {"No\r\n", reg_text::Answer::No},
        {"\n", reg_text::Answer::Unclear}, {"yess", reg_text::Answer::Unclear},
        {"ja", reg_text::Answer::Unclear},
    };
    for (const auto& a : answers)
        EXPECT_EQ(reg_text::ParseAnswer(a.line), a.answer) << a.line;
}

TEST(RegText, Layouts) {
    Value const dword{"Port", Type::Dword, 502, ""};
    Value const text{"", Type::String, 0, "say \"hi\" C:\\x"};
    Value const bytes{"B", Type::Binary, 0, std::string("\x01\xab\x00", 3)};
    Value const none{"E", Type::Binary, 0, ""};
    EXPECT_EQ(reg_text::FormatValueLine(dword), "    Port    REG_DWORD    0x1f6\n");
    EXPECT_EQ(reg_text::FormatValueLine(text), "    (Default)    REG_SZ    say \"hi\" C:\\x\n");
    EXPECT_EQ(reg_text::FormatValueLine(bytes), "    B    REG_BINARY    01AB00\n");
    EXPECT_EQ(reg_text::FormatValueLine(none), "    E    REG_BINARY    \n");
    EXPECT_EQ(reg_text::FormatQuery("K", {dword}, {"K\\S", "K\\T"}),
              "\nK\n    Port    REG_DWORD    0x1f6\n\nK\\S\nK\\T\n");
    EXPECT_EQ(reg_text::FormatQuery("K", {}, {}), "\nK\n\n");
    EXPECT_EQ(reg_text::FormatExportKey("K\\S", {dword, text, bytes, none}),
              "[K\\S]\n\"Port\"=dword:000001f6\n@=\"say \\\"hi\\\" C:\\\\x\"\n"
              "\"B\"=hex:01,ab,00\n\"E\"=hex:\n\n");
}

} // namespace
