// The checks and layouts of platform-reg apart from any process: what is refused before a file
// is touched, and the exact shape of a line the process tests do not show.
#include "reg/reg_text.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace {

using reg_text::Type;
using reg_text::Value;

// Each check accepts every text of `good`, refuses every text of `bad` and says why only then.
void ExpectChecks(const std::function<bool(const std::string&, std::string&)>& check,
                  const std::vector<std::string>& good, const std::vector<std::string>& bad) {
    for (const std::string& text : good) {
        std::string problem;
        EXPECT_TRUE(check(text, problem)) << text;
        EXPECT_EQ(problem, "") << text;
    }
    for (const std::string& text : bad) {
        std::string problem;
        EXPECT_FALSE(check(text, problem)) << text;
        EXPECT_NE(problem, "") << text;
    }
}

// The data `text` of `type` as ParseData reads it.
Value Parsed(Type type, const std::string& text) {
    Value value;
    std::string problem;
    EXPECT_TRUE(reg_text::ParseData(type, true, text, value, problem)) << text;
    return value;
}

TEST(RegText, DataParsing) {
    for (Type type : {Type::Dword, Type::Binary, Type::String}) {
        std::vector<std::string> const bad[] = {
            {"4294967296", "0x100000000", "99999999999999999999999", "-1", "0x", "0xg", ""},
            {" lead", "trail\t", "line\nbreak"},
            {"0", "0g"}}; // in the order of Type
        ExpectChecks(
            [type](const std::string& text, std::string& problem) {
                Value value;
                return reg_text::ParseData(type, true, text, value, problem);
            },
            {}, bad[static_cast<int>(type)]);
    }
    EXPECT_EQ(Parsed(Type::Dword, "4294967295").dword, 0xffffffffu);
    EXPECT_EQ(Parsed(Type::Dword, "0X1f").dword, 31u);
    EXPECT_EQ(Parsed(Type::Binary, "00ff7F").data, std::string("\x00\xff\x7f", 3));
    EXPECT_EQ(Parsed(Type::String, "a = ; # [x]").data, "a = ; # [x]");
}

TEST(RegText, NamesAndPaths) {
    ExpectChecks(reg_text::ValidValueName, {"Port", "", "a@b", "mid;dle#", "a b"},
                 {" lead", "\tx", "a=b", ";c", "#c", "[x", "a\rb"});
    ExpectChecks(reg_text::ValidFileName, {"s.ini", "..x"}, {"", ".", "..", "a/b", "x\n"});
    // A profile text as "SECTION|KEY|VALUE".
    ExpectChecks(
        [](const std::string& text, std::string& problem) {
            std::size_t const a = text.find('|'), b = text.find('|', a + 1);
            return reg_text::ValidProfileText(text.substr(0, a), text.substr(a + 1, b - a - 1),
                                              text.substr(b + 1), problem);
        },
        {"S|k|v", "S|k|"}, {"|k|v", "S]|k|v", "S||v", "S|k |v", "S|=k|v", "S|k| v", "S|k|v\n"});
    auto const normalise = [](const std::string& key, std::string& problem) {
        std::string normal;
        return reg_text::NormaliseKey(key, normal, problem);
    };
    ExpectChecks(normalise, {"[x"}, {"\\\\", "a]b", "a\x7f"});
    std::string normal, problem;
    EXPECT_TRUE(reg_text::NormaliseKey("\\A\\\\B\\", normal, problem));
    EXPECT_EQ(normal, "A\\B");
}

TEST(RegText, EntryNamesAndKeyRelations) {
    std::string name;
    Type type = Type::String;
    for (const char* entry : {"untyped", "x@QWORD", "x@DWORD "})
        EXPECT_FALSE(reg_text::SplitEntryName(entry, name, type)) << entry;
    EXPECT_TRUE(reg_text::SplitEntryName("a@b@binary", name, type));
    EXPECT_EQ(name + "|" + reg_text::TypeName(type), "a@b|REG_BINARY");
    struct {
        const char *key, *parent;
        bool same, below, child;
    } const relations[] = {
        {"A", "a", true, false, false},       {"A\\B", "a", false, true, true},
        {"A\\B\\C", "A", false, true, false}, {"AB", "A", false, false, false},
        {"A\\", "A", false, false, false},    {"Ä\\x", "ä", false, true, true},
    };
    for (const auto& r : relations) {
        EXPECT_EQ(reg_text::SameKey(r.key, r.parent), r.same) << r.key << " " << r.parent;
        EXPECT_EQ(reg_text::IsBelow(r.key, r.parent), r.below) << r.key << " " << r.parent;
        EXPECT_EQ(reg_text::IsChild(r.key, r.parent), r.child) << r.key << " " << r.parent;
    }
}

TEST(RegText, SwitchesAnswersAndBinaryExport) {
    for (const char* bad : {"/x", "/vv", "v", "/"})
        EXPECT_EQ(reg_text::SwitchLetter(bad), 0) << bad;
    EXPECT_EQ(reg_text::SwitchLetter("-V"), 'v');
    using reg_text::Answer;
    for (const char* yes : {"y\n", "  YES \n"})
        EXPECT_EQ(reg_text::ParseAnswer(yes), Answer::Yes) << yes;
    for (const char* no : {"n", "No\r\n"})
        EXPECT_EQ(reg_text::ParseAnswer(no), Answer::No) << no;
    for (const char* unclear : {"\n", "yess", "ja"})
        EXPECT_EQ(reg_text::ParseAnswer(unclear), Answer::Unclear) << unclear;
    Value const bytes{"B", Type::Binary, 0, std::string("\x01\xab\x00", 3)};
    Value const none{"E", Type::Binary, 0, ""};
    EXPECT_EQ(reg_text::FormatExportKey("K", {bytes, none}),
              "[K]\n\"B\"=hex:01,ab,00\n\"E\"=hex:\n\n");
}

} // namespace
