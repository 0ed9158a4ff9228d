// The wildcard matcher of the file search against the matching rules as written.
#include "platform/internal/file_search_impl.h"
#include "support/path_reference.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

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
            ASSERT_EQ(match(p.c_str(), n.c_str()), test_support::RefWildcard(p.c_str(), n.c_str()))
                << p << ' ' << n;
    EXPECT_FALSE(match("*a*a*a*a*a*a*a*a*a*a*a*a*b", std::string(250, 'a').c_str()));
}
