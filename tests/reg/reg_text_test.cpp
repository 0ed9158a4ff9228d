// The text checks of platform-reg apart from any process: what is refused before a file is
// touched and how value data is read (entry names, switches and answers show in the process
// tests).
#include "reg/reg_text.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace {

using reg_text::Type;

// The check accepts every text of `good`, refuses every text of `bad` and says why only then.
void ExpectChecks(const std::function<bool(const std::string&, std::string&)>& check,
                  const std::vector<std::string>& good, const std::vector<std::string>& bad) {
    for (bool const ok : {true, false})
        for (const std::string& text : ok ? good : bad) {
            std::string problem;
            EXPECT_TRUE(check(text, problem) == ok && problem.empty() == ok) << text;
        }
}

TEST(RegText, DataParsing) {
    std::vector<std::string> const bad[] = {{"4294967296", "0x100000000", "-1", "0x", "0xg", ""},
                                            {" lead", "trail\t", "line\nbreak"},
                                            {"0", "0g"}}; // in the order of Type
    reg_text::Value value;
    for (Type type : {Type::Dword, Type::String, Type::Binary})
        ExpectChecks(
            [&](const std::string& text, std::string& problem) {
                return reg_text::ParseData(type, true, text, value, problem);
            },
            {}, bad[static_cast<int>(type)]);
    std::string problem;
    EXPECT_TRUE(reg_text::ParseData(Type::Dword, true, "4294967295", value, problem) &&
                value.dword == 0xffffffffu);
}

TEST(RegText, NamesAndPaths) {
    ExpectChecks(reg_text::ValidValueName, {"", "mid;dle#"}, {" lead", "a=b", "#c", "a\rb"});
    std::string normal; // the normal form shows in the process tests
    ExpectChecks([&](const std::string& key,
                     std::string& problem) { return reg_text::NormaliseKey(key, normal, problem); },
                 {"[x"}, {"\\\\", "a]b", "a\x7f"});
}

} // namespace
