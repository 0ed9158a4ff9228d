// Plain reference implementations of the path rules, for tests and fuzz targets.
#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace test_support {

// ResolveFullPath of an absolute path: the standard lexical normalisation without its trailing
// slashes ("/" gives "").
inline std::string RefResolve(const std::string& path) {
    const std::string normal = std::filesystem::path(path).lexically_normal().string();
    return normal.substr(0, normal.find_last_not_of('/') + 1);
}

// The file search's wildcard rules as written ('*' and '?', byte for byte), memoised so that
// patterns with many stars take time in proportion to pattern length times name length.
inline bool RefWildcard(const char* pattern, const char* name) {
    std::string const p(pattern), n(name);
    // known[i][j]: 0 unknown, 1 no, 2 yes, for pattern[i..] against name[j..]. The last pattern
    // character, if '*', takes the rest of the name, empty or not. Any other '*' takes 0..n-j-1
    // characters, never reaching the name's empty end: the rest of the pattern matches from
    // position j, or this '*' takes one character more.
    std::vector<std::vector<char>> known(p.size() + 1, std::vector<char>(n.size() + 1, 0));
    std::function<bool(std::size_t, std::size_t)> match = [&](std::size_t i, std::size_t j) {
        if (known[i][j] == 0) {
            bool result;
            if (i == p.size())
                result = j == n.size();
            else if (p[i] != '*')
                result = j < n.size() && (p[i] == '?' || p[i] == n[j]) && match(i + 1, j + 1);
            else
                result =
                    i + 1 == p.size() || (j < n.size() && (match(i + 1, j) || match(i, j + 1)));
            known[i][j] = result ? 2 : 1;
        }
        return known[i][j] == 2;
    };
    return match(0, 0);
}

} // namespace test_support
