// Reading a value is on the hot path of every configuration lookup: it must not allocate. This
// program's global operator new counts allocations so the test can see any.
#include <platform/ini_file.h>
#include <platform/utf8.h>

#include "config/internal/name_table.h"

#include "support/allocation_counter.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace {

TEST(IniReadValue, AllocatesNothing) {
    CIniFile ini;
    for (int s = 0; s < 50; ++s)
        for (int k = 0; k < 50; ++k)
            ini.WriteValue(("Section" + std::to_string(s)).c_str(),
                           ("Key" + std::to_string(k)).c_str(),
                           "a value long enough to be on the heap");
    zulwin::CString value("reserved room for the value, long enough for the value");
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
    // And names that compare equal hash equal across those cases.
    char const* pairs[][2] = {{"\xE2\x84\xAA"
                               "ey",
                               "KEY"},
                              {"ab\xFF", "AB?"},
                              {"\xC4\xB0tem", "item"}};
    for (auto const& p : pairs) {
        if (zulwin::CString(p[0]).CompareNoCase(p[1]) != 0)
            continue;
        EXPECT_EQ(inifile::_NameHash(p[0], std::strlen(p[0])),
                  inifile::_NameHash(p[1], std::strlen(p[1])));
        CIniFile ini;
        ini.WriteValue("S", p[0], "v");
        zulwin::CString value;
        EXPECT_TRUE(ini.ReadValue("s", p[1], value)) << p[1];
    }
}

} // namespace
