// The INI document: case-insensitive names with the first spelling kept, sorted enumeration,
// null values, the hashed lookup with removals, and reading a value without allocating (this
// program's global operator new counts allocations).
#include <platform/ini_file.h>

#include "support/allocation_counter.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using zulwin::CString;

namespace {

// The section names, or with `section` its keys, in enumeration order.
std::vector<std::string> Names(CIniFile const& ini, char const* section = nullptr) {
    std::vector<char const*> names;
    section == nullptr ? ini.QuerySections(names) : ini.QueryKeys(section, names);
    return {names.begin(), names.end()};
}

TEST(IniDocument, NamesMatchWithoutCaseAndKeepTheFirstSpelling) {
    CIniFile ini;
    ini.WriteValue("A", "k", "X");
    ini.WriteValue("a", "K", "x");
    EXPECT_EQ(Names(ini), std::vector<std::string>{"A"});
    EXPECT_EQ(Names(ini, "a"), std::vector<std::string>{"k"});
    CString value;
    EXPECT_TRUE(ini.ReadValue("A", "k", value) && value == "x") << "values compare with case";
    // Non-ASCII names fold through the library's case tables, some to ASCII letters (which the
    // lookup hash allows for); a stored name holds "?" for an invalid byte, a looked-up one the
    // byte itself.
    char const* const pairs[][2] = {{"\xC3\x84rger", "\xC3\xA4RGER"},
                                    {"\u212Aey", "KEY"},
                                    {"AB?", "ab\xFF"},
                                    {"\xC4\xB0t", "it"}};
    for (auto const& p : pairs) {
        ini.WriteValue(p[0], p[0], "v");
        EXPECT_TRUE(ini.ReadValue(p[1], p[1], value)) << p[1];
    }
}

TEST(IniDocument, NullValuesNeverDelete) {
    CIniFile ini;
    ini.WriteValue("T", "k", "x");
    ini._SetModified(false);
    EXPECT_TRUE(ini.WriteValue("S", "k", nullptr) && !ini.IsModified() && !ini.HasSection("S"));
    EXPECT_TRUE(ini.WriteValue("T", "k", nullptr) && ini.IsModified());
    CString value("unchanged");
    EXPECT_TRUE(ini.ReadValue("T", "k", value) && value == "");
}

TEST(IniDocument, EnumerationIsSortedWithoutCase) {
    CIniFile ini;
    for (char const* name : {"b", "A", "c", "B2", "a1"})
        ini.WriteValue(name, "z", "1");
    EXPECT_EQ(Names(ini), (std::vector<std::string>{"A", "a1", "b", "B2", "c"}));
}

// Many names through removals and re-insertions: the hashed index must keep finding every
// survivor and none of the removed, and reading allocates nothing.
TEST(IniDocument, ManyNamesSurviveRemovalsAndReadingAllocatesNothing) {
    CIniFile ini;
    std::vector<std::string> keys;
    for (int i = 0; i < 2000; ++i) {
        keys.push_back("key" + std::to_string(i));
        ini.WriteValue("S", keys[i].c_str(), keys[i].c_str());
    }
    for (int i = 0; i < 2000; i += 3) { // every third key removed, every other of them put back
        ini.RemoveValue("s", keys[i].c_str());
        if (i % 6 == 0)
            ini.WriteValue("S", keys[i].c_str(), keys[i].c_str());
    }
    CString value(std::string(100, '-').c_str());
    long const before = test_support::Allocations();
    int wrong = ini.ReadValue("Missing", "key1", value) + ini.ReadValue("s\xFF", "\xCE\xA3", value);
    for (int i = 0; i < 2000; ++i) {
        bool const present = ini.ReadValue("s", keys[i].c_str(), value);
        wrong += present != (i % 3 != 0 || i % 6 == 0) || (present && value != keys[i].c_str());
    }
    EXPECT_EQ(test_support::Allocations(), before);
    EXPECT_EQ(wrong, 0);
}

} // namespace
