// The INI document: case-insensitive names with the first spelling kept, sorted enumeration,
// the modified flag, the hashed lookup, and reading a value without allocating (this program's
// global operator new counts allocations).
#include <platform/ini_file.h>
#include <platform/utf8.h>

#include "support/allocation_counter.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using zulwin::CString;

namespace {

// The section names, or with `section` its keys, in enumeration order.
std::vector<std::string> Names(CIniFile const& ini, char const* section = nullptr) {
    std::vector<char const*> names;
    if (section == nullptr)
        ini.QuerySections(names);
    else
        ini.QueryKeys(section, names);
    return std::vector<std::string>(names.begin(), names.end());
}

TEST(IniDocument, NamesMatchWithoutCaseAndKeepTheFirstSpelling) {
    CIniFile ini;
    EXPECT_TRUE(ini.WriteValue("A", "k", "1"));
    ini._SetModified(false);
    EXPECT_TRUE(ini.WriteValue("a", "K", "1"));
    EXPECT_FALSE(ini.IsModified()) << "an equal value is no change";
    EXPECT_EQ(Names(ini), std::vector<std::string>{"A"});
    EXPECT_EQ(Names(ini, "a"), std::vector<std::string>{"k"});
    EXPECT_TRUE(ini.HasSection("a") && !ini.HasSection("other"));
    EXPECT_TRUE(ini.WriteValue("a", "K", "X"));
    ini._SetModified(false);
    EXPECT_TRUE(ini.WriteValue("a", "K", "x") && ini.IsModified()) << "values compare with case";
    // Non-ASCII names fold through the library's case tables, some to ASCII letters (which the
    // lookup hash allows for); an invalid byte reads as "?".
    char const* const pairs[][2] = {{"\xC3\x84rger", "\xC3\xA4RGER"},
                                    {"\u212Aey", "KEY"},
                                    {"ab\xFF", "AB?"},
                                    {"\xC4\xB0t", "it"}};
    for (auto const& p : pairs) {
        ini.WriteValue(p[0], p[0], "v");
        CString value;
        EXPECT_TRUE(ini.ReadValue(p[1], p[1], value)) << p[1];
    }
}

// The hash leaves out the only ASCII bytes a lowered name can hold without an equal byte in
// the original, which holds only while no other code point lowers to ASCII.
TEST(IniNameHash, OnlyTheKnownCodePointsLowerToAscii) {
    for (unsigned cp = 0x80; cp <= 0x10FFFF; ++cp) {
        unsigned const lower = utf8_private::tolower(cp);
        EXPECT_TRUE(lower >= 0x80 || lower == 'i' || lower == 'k') << std::hex << cp;
    }
}

TEST(IniDocument, NullValuesNeverDelete) {
    CIniFile ini;
    EXPECT_TRUE(ini.WriteValue("S", "k", nullptr) && ini.WriteValue("T", "k", "x"));
    ini._SetModified(false);
    EXPECT_TRUE(ini.WriteValue("S", "k", nullptr) && ini.WriteValue("T", "missing", nullptr));
    EXPECT_FALSE(ini.IsModified());
    EXPECT_EQ(ini._GetSectionCount() + ini._GetSectionSize("T"), 2u) << "nothing was added";
    EXPECT_TRUE(ini.WriteValue("T", "k", nullptr) && ini.IsModified());
    CString value("unchanged");
    EXPECT_TRUE(ini.ReadValue("T", "k", value));
    EXPECT_EQ(value, "");
}

TEST(IniDocument, RemoveValueResultsAndFlag) {
    struct Case {
        char const *section, *key;
        bool result; // and whether the document counts as modified
        std::size_t sections, sizeOfS;
    } const cases[] = {
        {"s", "K", true, 2, 1},        {"S", "missing", true, 2, 2}, // a missing key: a change
        {"Missing", "k", false, 2, 2}, {"S", nullptr, true, 1, 0},   {nullptr, "k", true, 0, 0},
    };
    for (Case const& c : cases) {
        CIniFile ini;
        ASSERT_TRUE(ini.FromText("[S]\nk=1\n[T]\nk=3\n"));
        EXPECT_EQ(ini.RemoveValue(c.section, c.key), c.result);
        EXPECT_EQ(ini.IsModified(), c.result);
        EXPECT_EQ(ini._GetSectionCount(), c.sections);
        EXPECT_EQ(ini._GetSectionSize("S"), c.sizeOfS);
        ini.Reset();
        EXPECT_FALSE(ini.IsModified() || ini.HasSection("T"));
    }
}

TEST(IniDocument, EnumerationIsSortedWithoutCase) {
    CIniFile ini;
    for (char const* name : {"b", "A", "c", "B2", "a1"})
        ini.WriteValue(name, "z", "1");
    EXPECT_EQ(Names(ini), (std::vector<std::string>{"A", "a1", "b", "B2", "c"}));
    for (char const* key : {"y", "X", "", "x1"})
        ini.WriteValue("A", key, "v");
    EXPECT_EQ(Names(ini, "a"), (std::vector<std::string>{"", "X", "x1", "y", "z"}));
    EXPECT_TRUE(Names(ini, "none").empty());
}

// Many names through removals and re-insertions: the hashed index must keep finding every
// survivor and none of the removed, and reading allocates nothing.
TEST(IniDocument, ManyNamesSurviveRemovalsAndReadingAllocatesNothing) {
    CIniFile ini;
    std::vector<std::string> keys;
    for (int i = 0; i < 2000; ++i)
        keys.push_back("key" + std::to_string(i));
    for (int i = 0; i < 2000; ++i)
        ini.WriteValue("S", keys[i].c_str(), keys[i].c_str());
    for (int i = 0; i < 2000; i += 3)
        ini.RemoveValue("s", ("KEY" + std::to_string(i)).c_str());
    for (int i = 0; i < 2000; i += 6)
        ini.WriteValue("S", keys[i].c_str(), keys[i].c_str());
    EXPECT_EQ(ini._GetSectionSize("S"), 2000u - 667u + 334u);
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
