// Scratch space on disk for tests: a fresh directory removed with everything in it, a guard
// that restores the current directory, and small file helpers.
#pragma once

#include <sys/stat.h> // also the POSIX file calls, for the tests
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>

namespace test_support {

// A fresh directory (under `base`), removed with everything in it at the end of the test.
class ScratchDir {
public:
    explicit ScratchDir(const char* base = "/tmp") {
        std::string pattern = std::string(base) + "/platform-test-XXXXXX";
        if (mkdtemp(&pattern[0]) != nullptr)
            m_path = pattern;
    }
    ScratchDir(const ScratchDir&) = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;
    ~ScratchDir() {
        std::error_code ignored; // also when mkdtemp failed: "" names nothing
        std::filesystem::remove_all(m_path, ignored);
    }
    std::string operator/(const std::string& name) const { return m_path + "/" + name; }
    const std::string& path() const { return m_path; }
    const char* c_str() const { return m_path.c_str(); }

private:
    std::string m_path;
};

// Restores the current directory at the end of the scope (a failure there ends the program).
struct CwdGuard {
    const std::filesystem::path saved = std::filesystem::current_path();
    ~CwdGuard() { std::filesystem::current_path(saved); }
};

inline void WriteFile(const std::string& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
}

// The whole file in one copy (a character iterator is slow for megabytes in unoptimised builds).
inline std::string ReadFile(const std::string& path) {
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
}

// Something is there, a dangling link included.
inline bool Exists(const std::string& path) {
    struct stat st;
    return lstat(path.c_str(), &st) == 0;
}

} // namespace test_support
