// The text checks of platform-reg apart from any process: what is refused before a file is
// touched, how value data and entry names are read, switches and answers.
#include "reg/reg_text.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace {

using reg_text::Type;
using reg_text::Value;

// The check accepts every text of `good`, refuses every text of `bad` and says why only then.
void ExpectChecks(const std::function<bool(const std::string&, std::string&)>& check,
                  const std::vector<std::string>& good, const std::vector<std::string>& bad) {
    for (const std::string& text : good) {
        std::string problem;
        EXPECT_TRUE(check(text, problem) && problem.empty()) << text;
    }
    for (const std::string& text : bad) {
        std::string problem;
        EXPECT_FALSE(check(text, problem) || problem.empty()) << text;
    }
}

TEST(RegText, DataParsing) {
    std::vector<std::string> const bad[] = {{"4294967296", "0x100000000", "-1", "0x", "0xg", ""},
                                            {" lead", "trail\t", "line\nbreak"},
                                            {"0", "0g"}}; // in the order of Type
    Value value;
    for (Type type : {Type::Dword, Type::String, Type::Binary})
        ExpectChecks(
            [&](const std::string& text, std::string& problem) {
                return reg_text::ParseData(type, true, text, value, problem);
            },
            {}, bad[static_cast<int>(type)]);
    std::string problem;
    EXPECT_TRUE(reg_text::ParseData(Type::Dword, true, "4294967295", value, problem));
    EXPECT_EQ(value.dword, 0xffffffffu);
}

TEST(RegText, NamesAndPaths) {
    ExpectChecks(reg_text::ValidValueName, {"Port", "", "mid;dle#", "a b"},
                 {" lead", "a=b", "#c", "[x", "a\rb"});
    std::string normal;
    ExpectChecks([&](const std::string& key,
                     std::string& problem) { return reg_text::NormaliseKey(key, normal, problem); },
                 {"[x"}, {"\\\\", "a]b", "a\x7f"});
    std::string problem;
    EXPECT_TRUE(reg_text::NormaliseKey("\\A\\\\B\\", normal, problem));
    EXPECT_EQ(normal, "A\\B");
}

TEST(RegText, EntryNamesSwitchesAndAnswers) {
    std::string name;
    Type type = Type::String;
    EXPECT_TRUE(reg_text::SplitEntryName("a@b@binary", name, type));
    EXPECT_EQ(name + "|" + reg_text::TypeName(type), "a@b|REG_BINARY");
    EXPECT_EQ(reg_text::SwitchLetter("-V"), 'v');
    // White space around an answer, a carriage return too, is no part of it.
    EXPECT_EQ(reg_text::ParseAnswer("  YES \r\n"), reg_text::Answer::Yes);
    EXPECT_EQ(reg_text::ParseAnswer("yess"), reg_text::Answer::Unclear);
}

} // namespace
