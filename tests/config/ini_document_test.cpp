// The INI document: case-insensitive names with the first spelling kept, sorted enumeration,
// the modified flag, the hashed lookup, and reading a value without allocating (this program's
// global operator new counts allocations).
#include <platform/ini_file.h>
#include <platform/utf8.h>

#include "config/internal/name_table.h"

#include "support/allocation_counter.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
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
    EXPECT_FALSE(ini.IsModified());
    EXPECT_TRUE(ini.WriteValue("A", "k", "1"));
    EXPECT_TRUE(ini.IsModified());
    ini._SetModified(false);
    EXPECT_TRUE(ini.WriteValue("a", "K", "1"));
    EXPECT_FALSE(ini.IsModified()) << "an equal value is no change";
    EXPECT_EQ(Names(ini), std::vector<std::string>{"A"});
    EXPECT_EQ(Names(ini, "a"), std::vector<std::string>{"k"});
    EXPECT_TRUE(ini.HasSection("a"));
    EXPECT_FALSE(ini.HasSection("other"));
    EXPECT_EQ(ini._GetSectionSize("other"), 0u);
    EXPECT_TRUE(ini.WriteValue("a", "K", "X"));
    EXPECT_TRUE(ini.IsModified());
    ini._SetModified(false);
    EXPECT_TRUE(ini.WriteValue("a", "K", "x")) << "values compare with case";
    EXPECT_TRUE(ini.IsModified());
    CString value;
    EXPECT_TRUE(ini.ReadValue("A", "k", value));
    EXPECT_EQ(value, "x");
    // Non-ASCII names fold through the library's case tables.
    ini.WriteValue("\xC3\x84rger", "\xCE\xA3", "v");
    EXPECT_TRUE(ini.ReadValue("\xC3\xA4RGER", "\xCF\x83", value));
    EXPECT_EQ(value, "v");
}

TEST(IniDocument, NullValuesNeverDelete) {
    CIniFile ini;
    EXPECT_TRUE(ini.WriteValue("S", "k", nullptr));
    EXPECT_EQ(ini._GetSectionCount(), 0u);
    EXPECT_FALSE(ini.IsModified());
    ini.WriteValue("S", "k", "x");
    ini._SetModified(false);
    EXPECT_TRUE(ini.WriteValue("S", "missing", nullptr));
    EXPECT_FALSE(ini.IsModified());
    EXPECT_EQ(ini._GetSectionSize("S"), 1u);
    EXPECT_TRUE(ini.WriteValue("S", "k", nullptr));
    EXPECT_TRUE(ini.IsModified());
    CString value("unchanged");
    EXPECT_TRUE(ini.ReadValue("S", "k", value));
    EXPECT_EQ(value, "");
}

TEST(IniDocument, RemoveValueResultsAndFlag) {
    struct Case {
        char const* section;
        char const* key;
        bool result;
        bool modified;
        std::vector<std::string> sections;
        std::size_t sizeOfS;
    };
    Case const cases[] = {
        {"s", "K", true, true, {"S", "T"}, 1},         {"S", "missing", true, true, {"S", "T"}, 2},
        {"Missing", "k", false, false, {"S", "T"}, 2}, {"S", nullptr, true, true, {"T"}, 0},
        {nullptr, "anything", true, true, {}, 0},
    };
    for (Case const& c : cases) {
        CIniFile ini;
        ini.WriteValue("S", "k", "1");
        ini.WriteValue("S", "j", "2");
        ini.WriteValue("T", "k", "3");
        ini._SetModified(false);
        EXPECT_EQ(ini.RemoveValue(c.section, c.key), c.result);
        EXPECT_EQ(ini.IsModified(), c.modified);
        EXPECT_EQ(Names(ini), c.sections);
        EXPECT_EQ(ini._GetSectionSize("S"), c.sizeOfS);
    }
    CIniFile empty;
    EXPECT_TRUE(empty.RemoveValue(nullptr, nullptr));
    EXPECT_TRUE(empty.IsModified());
    empty.WriteValue("S", "k", "1");
    empty.Reset();
    EXPECT_FALSE(empty.IsModified());
    EXPECT_EQ(empty._GetSectionCount(), 0u);
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

    std::string walk;
    ini.Iterate([&](CString const& s) { walk += "[" + std::string(s.GetString()) + "]"; },
                [&](CString const& k, CString const& v) {
                    walk += std::string(k.GetString()) + "=" + v.GetString() + ";";
                });
    EXPECT_EQ(walk, "[A]=v;X=v;x1=v;y=v;z=1;[a1]z=1;[b]z=1;[B2]z=1;[c]z=1;");
    EXPECT_THROW(ini.Iterate(nullptr, [](CString const&, CString const&) {}),
                 std::bad_function_call);
    EXPECT_THROW(ini.Iterate([](CString const&) {}, nullptr), std::bad_function_call);
    CIniFile empty;
    EXPECT_NO_THROW(empty.Iterate(nullptr, nullptr));
}

// Many names through removals and re-insertions: the hashed index must keep finding every
// survivor and none of the removed.
TEST(IniDocument, ManyNamesSurviveRemovals) {
    CIniFile ini;
    for (int i = 0; i < 2000; ++i)
        ini.WriteValue("S", ("Key" + std::to_string(i)).c_str(), std::to_string(i).c_str());
    for (int i = 0; i < 2000; i += 3)
        ini.RemoveValue("S", ("KEY" + std::to_string(i)).c_str());
    for (int i = 0; i < 2000; i += 6)
        ini.WriteValue("S", ("kEY" + std::to_string(i)).c_str(), std::to_string(i).c_str());
    CString value;
    for (int i = 0; i < 2000; ++i) {
        bool const present = ini.ReadValue("s", ("key" + std::to_string(i)).c_str(), value);
        ASSERT_EQ(present, i % 3 != 0 || i % 6 == 0) << i;
        if (present) {
            ASSERT_EQ(value, std::to_string(i).c_str());
        }
    }
    EXPECT_EQ(ini._GetSectionSize("S"), 2000u - 667u + 334u);
}

TEST(IniReadValue, AllocatesNothing) {
    CIniFile ini;
    for (int s = 0; s < 50; ++s)
        for (int k = 0; k < 50; ++k)
            ini.WriteValue(("Section" + std::to_string(s)).c_str(),
                           ("Key" + std::to_string(k)).c_str(),
                           "a value long enough to be on the heap");
    CString value("reserved room for the value, long enough for the value");
    char const* queries[][2] = {{"SECTION7", "key42"}, {"section49", "KEY0"},
                                {"Missing", "key1"},   {"section1", "missing"},
                                {"sect\xFFion", "k"},  {"\xC3\x84", "\xCE\xA3"}};
    long const before = test_support::Allocations();
    int found = 0;
    for (auto const& q : queries)
        found += ini.ReadValue(q[0], q[1], value) ? 1 : 0;
    EXPECT_EQ(test_support::Allocations(), before);
    EXPECT_EQ(found, 2);
}

// The lookup hash leaves out the only ASCII bytes a lowered text can hold without an equal
// byte in the original. That holds only while no other code point lowers to ASCII.
TEST(IniNameHash, OnlyTheKnownCodePointsLowerToAscii) {
    for (unsigned cp = 0x80; cp <= 0x10FFFF; ++cp) {
        unsigned const lower = utf8_private::tolower(cp);
        if (lower < 0x80) {
            EXPECT_TRUE(lower == 'i' || lower == 'k') << std::hex << cp << " -> " << lower;
        }
    }
    // And names that compare equal across those cases hash equal and find each other.
    char const* pairs[][2] = {{"\u212Aey", "KEY"}, {"ab\xFF", "AB?"}, {"\xC4\xB0tem", "item"}};
    for (auto const& p : pairs) {
        EXPECT_EQ(CString(p[0]).CompareNoCase(p[1]), 0) << p[1];
        EXPECT_EQ(inifile::_NameHash(p[0], std::strlen(p[0])),
                  inifile::_NameHash(p[1], std::strlen(p[1])));
        CIniFile ini;
        ini.WriteValue("S", p[0], "v");
        CString value;
        EXPECT_TRUE(ini.ReadValue("s", p[1], value)) << p[1];
    }
}

} // namespace
