// The wildcard matcher of the file search against the matching rules as written.
#include "platform/internal/file_search_impl.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

// The matching rules as written, recursion and all: the reference for the matcher.
bool Rules(const char* p, const char* n) {
    if (*p == '\0')
        return *n == '\0';
    if (*p != '*')
        return *n != '\0' && (*p == '?' || *p == *n) && Rules(p + 1, n + 1);
    for (; *n != '\0'; ++n) // a '*' is never tried at the empty end of the name...
        if (Rules(p + 1, n))
            return true;
    return p[1] == '\0'; // ...unless it is the last pattern character
}

// Every string of up to `maxLength` characters over `alphabet`.
std::vector<std::string> AllStrings(const std::string& alphabet, size_t maxLength) {
    std::vector<std::string> out{""};
    for (size_t i = 0; i < out.size() && out[i].size() < maxLength; ++i)
        for (const char c : alphabet)
            out.push_back(out[i] + c);
    return out;
}

} // namespace

TEST(Wildcard, AgreesWithTheRulesOnEverySmallCaseAndStaysFast) {
    const auto match = &zulplatform::_CFileSearchImpl::_MatchWildcard;
    EXPECT_FALSE(match("a**", "a") || match("*x", "") || match("**", "")); // settled quirks
    for (const std::string& p : AllStrings("ab*?", 5))
        for (const std::string& n : AllStrings("ab", 5))
            ASSERT_EQ(match(p.c_str(), n.c_str()), Rules(p.c_str(), n.c_str())) << p << ' ' << n;
    EXPECT_FALSE(match("*a*a*a*a*a*a*a*a*a*a*a*a*b", std::string(250, 'a').c_str()));
}
