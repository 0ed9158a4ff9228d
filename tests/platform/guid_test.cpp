// GUIDs: the text form both ways, the parser against sscanf on distorted texts, and creation
// from the kernel.
#include <platform/system.h>

#include <gtest/gtest.h>

#include <cctype>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>

using zulplatform::guid_t;

// Canonical texts with characters replaced, dropped or inserted: the result and the fields must
// be sscanf's with the documented format, a failed parse leaves the value untouched, and a
// parsed value prints as its lower-case canonical text.
TEST(Guid, TextFormBothWays) {
    std::mt19937 rng(7);
    const char hex[] = "0123456789abcdefABCDEF";
    const std::string symbols("0123456789abcdefABCDEF-+xX {} \t\n\0g", 35); // with the NUL
    int accepted = 0;
    for (int i = 0; i < 10000; ++i) {
        std::string text = "........-....-....-....-............";
        for (char& c : text)
            c = c == '.' ? hex[rng() % 22] : c;
        std::string const canonical = text;
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
        _GUID mine, ref{};
        std::memset(&mine, 0xAB, sizeof mine);
        int const fields = std::sscanf(
            text.c_str(), "%08x-%04hx-%04hx-%02hhx%02hhx-%02hhx%02hhx%02hhx%02hhx%02hhx%02hhx",
            &ref.Data1, &ref.Data2, &ref.Data3, &ref.Data4[0], &ref.Data4[1], &ref.Data4[2],
            &ref.Data4[3], &ref.Data4[4], &ref.Data4[5], &ref.Data4[6], &ref.Data4[7]);
        bool const ok = zulplatform::GuidFromString(text, mine);
        ASSERT_EQ(ok, fields == 11) << text;
        if (!ok) {
            ASSERT_EQ(guid_t(mine).ToString(), "abababab-abab-abab-abab-abababababab") << text;
            continue;
        }
        ++accepted;
        ASSERT_EQ(std::memcmp(&mine, &ref, sizeof mine), 0) << text;
        if (text == canonical) {
            for (char& c : text)
                c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
            ASSERT_EQ(guid_t(mine).ToString(), text.c_str());
        }
    }
    EXPECT_GT(accepted, 3000);
    _GUID g;
    EXPECT_FALSE(zulplatform::GuidFromString("{6f9619ff-8b86-d011-b42d-00c04fc964ff}", g));
}

TEST(Guid, CreationFromTheKernel) {
    // Random (version 4, variant 1) GUIDs as the kernel makes them, each new.
    std::string const first = guid_t(true).ToString().GetString();
    std::string const second = guid_t(true).ToString().GetString();
    EXPECT_TRUE(first[14] == '4' && std::string("89ab").find(first[19]) != std::string::npos)
        << first;
    EXPECT_NE(first, second);
}
