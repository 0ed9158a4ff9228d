// GUIDs: the text form both ways, the parser against sscanf itself on distorted texts, and
// creation from the kernel.
#include <platform/system.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <random>
#include <set>
#include <string>

using zulplatform::guid_t;

namespace {

// What sscanf makes of the text with the documented format: the reference for the parser.
bool ReferenceParse(std::string const& text, _GUID& g) {
    _GUID s{};
    int const n = std::sscanf(text.c_str(),
                              "%08x-%04hx-%04hx-%02hhx%02hhx-%02hhx%02hhx%02hhx%02hhx%02hhx%02hhx",
                              &s.Data1, &s.Data2, &s.Data3, &s.Data4[0], &s.Data4[1], &s.Data4[2],
                              &s.Data4[3], &s.Data4[4], &s.Data4[5], &s.Data4[6], &s.Data4[7]);
    if (n != 11)
        return false;
    g = s;
    return true;
}

} // namespace

TEST(Guid, TextFormBothWays) {
    guid_t const empty(false);
    EXPECT_TRUE(empty.IsEmpty());
    EXPECT_EQ(empty.ToString(), "00000000-0000-0000-0000-000000000000");

    struct Case {
        const char* text;
        const char* back; // null: the parse fails
    };
    const Case cases[] = {
        {"6F9619FF-8B86-D011-B42D-00C04FC964FF", "6f9619ff-8b86-d011-b42d-00c04fc964ff"},
        {"6f9619ff-8b86-d011-b42d-00c04fc964ff}trailing", "6f9619ff-8b86-d011-b42d-00c04fc964ff"},
        {"{6f9619ff-8b86-d011-b42d-00c04fc964ff}", nullptr},
        {"6f9619ff-8b86-d011-b42d-00c04fc964", nullptr}, // 10 conversions
        {"", nullptr},
        // Short groups and a leading blank are sscanf's to accept.
        {"1-2-3-4455-66778899aabb", "00000001-0002-0003-4455-66778899aabb"},
        {" 6f9619ff-8b86-d011-b42d-00c04fc964ff", "6f9619ff-8b86-d011-b42d-00c04fc964ff"},
    };
    for (const Case& c : cases) {
        _GUID g{};
        std::memset(&g, 0xAB, sizeof g);
        bool const ok = zulplatform::GuidFromString(c.text, g);
        EXPECT_EQ(ok, c.back != nullptr) << c.text;
        // A failed parse leaves the value untouched.
        EXPECT_EQ(guid_t(g).ToString(), ok ? c.back : "abababab-abab-abab-abab-abababababab");
    }
    _GUID g;
    ASSERT_TRUE(zulplatform::GuidFromString("01020304-0506-0708-090a-0b0c0d0e0f10", g));
    EXPECT_FALSE(guid_t(g).IsEmpty());
    EXPECT_TRUE(guid_t(g) == guid_t(g));
    guid_t other(g);
    other.Data4[7] ^= 1;
    EXPECT_TRUE(other != guid_t(g));
}

// Canonical texts with characters replaced, dropped or inserted: the result and the fields
// must be sscanf's in every case.
TEST(Guid, ParserMatchesSscanfOnDistortedTexts) {
    std::mt19937 rng(7);
    const char hex[] = "0123456789abcdefABCDEF";
    const std::string symbols("0123456789abcdefABCDEF-+xX {} \t\n\0g", 35); // with the NUL
    int accepted = 0;
    for (int i = 0; i < 20000; ++i) {
        std::string text = "........-....-....-....-............";
        for (char& c : text)
            c = c == '.' ? hex[rng() % 22] : c;
        for (int edits = static_cast<int>(rng() % 3); edits > 0; --edits) {
            std::size_t const at = rng() % (text.size() + 1);
            char const c = symbols[rng() % symbols.size()];
            if (rng() % 3 == 0)
                text.insert(at, 1, c);
            else if (at < text.size() && rng() % 2 == 0)
                text.erase(at, 1);
            else if (at < text.size())
                text[at] = c;
        }
        _GUID mine{}, ref{};
        bool const ok = zulplatform::GuidFromString(text, mine);
        ASSERT_EQ(ok, ReferenceParse(text, ref)) << text;
        if (ok) {
            ++accepted;
            ASSERT_EQ(std::memcmp(&mine, &ref, sizeof mine), 0) << text;
        }
    }
    EXPECT_GT(accepted, 1000);
}

TEST(Guid, CreationFromTheKernel) {
    std::set<std::string> seen;
    for (int i = 0; i < 50; ++i) {
        _GUID g{};
        ASSERT_TRUE(zulplatform::CreateGuid(g));
        std::string const text = guid_t(g).ToString().GetString();
        // Random (version 4, variant 1) GUIDs as the kernel makes them.
        EXPECT_EQ(text[14], '4') << text;
        EXPECT_NE(std::string("89ab").find(text[19]), std::string::npos) << text;
        seen.insert(text);
    }
    EXPECT_EQ(seen.size(), 50u);
    guid_t const made(true);
    EXPECT_FALSE(made.IsEmpty());
    EXPECT_NE(made, guid_t(true));
}
