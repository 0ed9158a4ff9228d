// GUIDs: the text form both ways and creation from the kernel. (The parser is compared with
// sscanf on arbitrary input by fuzz/guid_fuzz.cpp.)
#include <platform/system.h>

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <utility>

using zulplatform::guid_t;

// The printed form of each text's GUID, or "" when the text is refused (the value untouched):
// upper-case digits print in lower case, sscanf's leniency (short groups, leading blanks) holds
// off the canonical shape, and braces are refused.
TEST(Guid, TextFormBothWays) {
    std::pair<const char*, const char*> const cases[] = {
        {"6F9619FF-8B86-D011-B42D-00C04FC964FF", "6f9619ff-8b86-d011-b42d-00c04fc964ff"},
        {" 6f9619ff-8b86-d11-b42d-00c04fc964ffxyz", "6f9619ff-8b86-0d11-b42d-00c04fc964ff"},
        {"{6f9619ff-8b86-d011-b42d-00c04fc964ff}", ""},
        {"6f9619ff-8b86-d011-b42d-g0c04fc964ff", ""},
    };
    for (const auto& [text, printed] : cases) {
        _GUID g;
        std::memset(&g, 0xAB, sizeof g);
        bool const ok = zulplatform::GuidFromString(text, g);
        EXPECT_EQ(ok, *printed != '\0') << text;
        EXPECT_EQ(guid_t(g).ToString(), ok ? printed : "abababab-abab-abab-abab-abababababab");
    }
}

TEST(Guid, CreationFromTheKernel) {
    // Random (version 4, variant 1) GUIDs as the kernel makes them, each new.
    std::string const first = guid_t(true).ToString().GetString();
    EXPECT_TRUE(first[14] == '4' && std::string("89ab").find(first[19]) != std::string::npos)
        << first;
    EXPECT_NE(first, guid_t(true).ToString().GetString());
}
