// Scratch space on disk for tests: a fresh directory removed with everything in it, a guard
// that restores the current directory, and small file helpers.
#pragma once

#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
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
        if (!m_path.empty()) {
            std::error_code ignored;
            std::filesystem::remove_all(m_path, ignored);
        }
    }
    std::string operator/(const std::string& name) const { return m_path + "/" + name; }
    const std::string& path() const { return m_path; }
    const char* c_str() const { return m_path.c_str(); }

private:
    std::string m_path;
};

// Restores the current directory at the end of the scope.
class CwdGuard {
public:
    CwdGuard() {
        if (getcwd(m_saved, sizeof m_saved) == nullptr)
            m_saved[0] = '\0';
    }
    CwdGuard(const CwdGuard&) = delete;
    CwdGuard& operator=(const CwdGuard&) = delete;
    ~CwdGuard() {
        if (m_saved[0] != '\0' && chdir(m_saved) != 0)
            std::abort();
    }

private:
    char m_saved[PATH_MAX];
};

inline void WriteFile(const std::string& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
}

inline std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// Something is there, a dangling link included.
inline bool Exists(const std::string& path) {
    struct stat st;
    return lstat(path.c_str(), &st) == 0;
}

} // namespace test_support
