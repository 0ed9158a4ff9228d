// The private profile functions on real files: defaults, truncation, number clamping, removal,
// and concurrent writers in separate processes.
#include <platform/ini_file.h>
#include <platform/profile.h>

#include "support/scratch.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <tuple>

using namespace test_support;
using zulwin::GetPrivateProfileInt;
using zulwin::GetPrivateProfileString;
using zulwin::WritePrivateProfileString;

namespace {

TEST(GetPrivateProfileString, CopiesTruncatesAndFallsBack) {
    ScratchDir dir;
    std::string const file = dir / "p.ini", missing = dir / "missing.ini";
    WriteFile(file, "[S]\nlong=abcdef\nutf=\xC3\xA4\xC3\xB6\n");
    // {section, key, default, size, file, text}; the result is the text's length, and
    // truncation counts bytes.
    std::tuple<char const*, char const*, char const*, unsigned long, std::string, char const*> const
        cases[] = {{"s", "LONG", "d", 4, file, "abc"},
                   {"S", "utf", "d", 4, file, "\xC3\xA4\xC3"},
                   {"S", "none", "default", 16, file, "default"},
                   {"S", "none", nullptr, 16, file, ""},
                   {"S", "long", "xyz", 2, missing, "x"}};
    for (auto const& [section, key, def, size, path, text] : cases) {
        char buffer[16];
        std::memset(buffer, '#', sizeof buffer);
        EXPECT_EQ(GetPrivateProfileString(section, key, def, buffer, size, path.c_str()),
                  std::strlen(text));
        EXPECT_STREQ(buffer, text);
    }
    char untouched[4] = "xyz";
    EXPECT_EQ(GetPrivateProfileString("S", "long", "d", untouched, 0, file.c_str()), 0u);
    EXPECT_STREQ(untouched, "xyz");
}

TEST(GetPrivateProfileInt, ConvertsAndClamps) {
    ScratchDir dir;
    std::string const file = dir / "n.ini";
    WriteFile(file, "[N]\nhex=0x1F\nupper=0X10\nbare=0x\ntail=12abc\nbig=4294967296\n"
                    "max=4294967295\nneg=-5\nspace=  42\nhexbad=0xZZ\n");
    std::pair<char const*, int> const cases[] = {
        {"hex", 31}, {"upper", 16}, {"bare", 0},   {"tail", 12},  {"big", -1},
        {"max", -1}, {"neg", -1},   {"space", 42}, {"hexbad", 0}, {"absent", 77}};
    for (auto const& [key, result] : cases)
        EXPECT_EQ(GetPrivateProfileInt("N", key, 77, file.c_str()), result) << key;
    EXPECT_EQ(GetPrivateProfileInt("N", "hex", 5, (dir / "missing").c_str()), 5);
}

TEST(WritePrivateProfileString, WritesRemovesAndLeavesEqualFilesAlone) {
    ScratchDir dir;
    std::string const file = dir / "w.ini";
    // {section, key, value, the file after the call}; a null value removes the key, a null key
    // the section, a null section everything. Writing what is there leaves the file alone.
    std::tuple<char const*, char const*, char const*, char const*> const steps[] = {
        {"S", "k", "1", "[S]\nk = 1\n\n"},
        {"T", "x", "3", "[S]\nk = 1\n\n[T]\nx = 3\n\n"},
        {"S", "j", "2", "[S]\nj = 2\nk = 1\n\n[T]\nx = 3\n\n"},
        {"s", "K", "1", nullptr},
        {"S", "k", nullptr, "[S]\nj = 2\n\n[T]\nx = 3\n\n"},
        {"S", nullptr, nullptr, "[T]\nx = 3\n\n"},
        {nullptr, nullptr, nullptr, ""}};
    ino_t inode = 0;
    for (auto const& [section, key, value, after] : steps) {
        EXPECT_EQ(WritePrivateProfileString(section, key, value, file.c_str()), 1);
        struct stat st {};
        stat(file.c_str(), &st);
        EXPECT_EQ(ReadFile(file), after != nullptr ? after : "[S]\nj = 2\nk = 1\n\n[T]\nx = 3\n\n");
        EXPECT_EQ(st.st_ino == inode, after == nullptr) << (after ? after : "unchanged");
        inode = st.st_ino;
    }
    // Files that are no INI text, and places where no file can be, stay as they are.
    WriteFile(file, "[S] junk\n");
    EXPECT_EQ(WritePrivateProfileString("S", "k", "1", file.c_str()), 1);
    EXPECT_EQ(ReadFile(file), "[S] junk\n");
    EXPECT_EQ(WritePrivateProfileString("S", "k", "1", (dir / "no/dir/f.ini").c_str()), 1);
    EXPECT_FALSE(Exists(dir / "no"));
}

// Writers in separate processes, each setting its own keys in one file: the writers' lock
// spans each call's load and save, so no update is lost.
TEST(WritePrivateProfileString, ConcurrentProcessesLoseNoUpdate) {
    constexpr int kProcesses = 6, kKeys = 100;
    ScratchDir dir;
    std::string const file = dir / "shared.ini";
    auto const key = [](int p, int k) { return "p" + std::to_string(p) + "k" + std::to_string(k); };
    pid_t children[kProcesses];
    for (int p = 0; p < kProcesses; ++p) {
        children[p] = fork();
        ASSERT_GE(children[p], 0);
        if (children[p] == 0) {
            for (int k = 0; k < kKeys; ++k)
                WritePrivateProfileString("Shared", key(p, k).c_str(), key(p, k).c_str(),
                                          file.c_str());
            _exit(0);
        }
    }
    for (pid_t child : children) {
        int status = 0;
        waitpid(child, &status, 0);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    }
    CIniFile ini;
    ASSERT_TRUE(ini.Load(file.c_str()));
    EXPECT_EQ(ini._GetSectionSize("Shared"), std::size_t{kProcesses * kKeys + 1});
    zulwin::CString value;
    for (int p = 0; p < kProcesses; ++p)
        for (int k = 0; k < kKeys; ++k)
            ASSERT_TRUE(ini.ReadValue("Shared", key(p, k).c_str(), value) &&
                        value == key(p, k).c_str())
                << key(p, k);
}

} // namespace
