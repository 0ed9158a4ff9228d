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
#include <utility>

using test_support::ReadFile;
using test_support::ScratchDir;
using test_support::WriteFile;
using zulwin::GetPrivateProfileInt;
using zulwin::GetPrivateProfileString;
using zulwin::WritePrivateProfileString;

namespace {

TEST(GetPrivateProfileString, CopiesTruncatesAndFallsBack) {
    ScratchDir dir;
    std::string const file = dir / "p.ini";
    WriteFile(file, "[S]\nlong=abcdef\nshort=abc\n");
    std::string const missing = dir / "missing.ini";
    // {section, key, default, size, in the missing file, text}; the result is the text's length.
    using Row = std::tuple<char const*, char const*, char const*, unsigned long, bool, char const*>;
    Row const cases[] = {{"S", "long", "d", 4, false, "abc"},
                         {"s", "SHORT", "d", 4, false, "abc"},
                         {"S", "short", "d", 3, false, "ab"},
                         {"S", "none", "default", 16, false, "default"},
                         {"S", "none", nullptr, 16, false, ""},
                         {"S", "long", nullptr, 16, true, ""},
                         {"S", "long", "xyz", 1, true, ""},
                         {nullptr, nullptr, "null names", 16, false, "null names"}};
    for (auto const& [section, key, def, size, inMissing, text] : cases) {
        char buffer[16];
        std::memset(buffer, '#', sizeof buffer);
        EXPECT_EQ(GetPrivateProfileString(section, key, def, buffer, size,
                                          (inMissing ? missing : file).c_str()),
                  std::strlen(text));
        EXPECT_STREQ(buffer, text);
    }
    char untouched[4] = "xyz";
    EXPECT_EQ(GetPrivateProfileString("S", "long", "d", untouched, 0, file.c_str()), 0u);
    EXPECT_STREQ(untouched, "xyz");
    // Truncation counts bytes, not characters.
    WriteFile(file, "[S]\nk=\xC3\xA4\xC3\xB6\n");
    char buffer[4];
    EXPECT_EQ(GetPrivateProfileString("S", "k", "", buffer, 4, file.c_str()), 3u);
    EXPECT_EQ(std::string(buffer), "\xC3\xA4\xC3");
}

TEST(GetPrivateProfileInt, ConvertsAndClamps) {
    ScratchDir dir;
    std::string const file = dir / "n.ini";
    WriteFile(file, "[N]\nhex=0x1F\nupper=0X10\nbare=0x\ntail=12abc\nbig=4294967296\n"
                    "max=4294967295\nminus=-1\nneg=-5\nspace=  42\nword=abc\nhexbad=0xZZ\n");
    std::pair<char const*, int> const cases[] = {
        {"hex", 31},   {"upper", 16}, {"bare", 0},   {"tail", 12}, {"big", -1},   {"max", -1},
        {"minus", -1}, {"neg", -1},   {"space", 42}, {"word", 0},  {"hexbad", 0}, {"absent", 77}};
    for (auto const& [key, result] : cases)
        EXPECT_EQ(GetPrivateProfileInt("N", key, 77, file.c_str()), result) << key;
    EXPECT_EQ(GetPrivateProfileInt("N", "hex", 5, (dir / "missing").c_str()), 5);
}

TEST(WritePrivateProfileString, WritesRemovesAndLeavesEqualFilesAlone) {
    ScratchDir dir;
    std::string const file = dir / "w.ini";
    EXPECT_EQ(WritePrivateProfileString("S", "k", "1", file.c_str()), 1);
    EXPECT_EQ(WritePrivateProfileString("S", "j", "2", file.c_str()), 1);
    EXPECT_EQ(WritePrivateProfileString("T", "x", "3", file.c_str()), 1);
    EXPECT_EQ(ReadFile(file), "[S]\nj = 2\nk = 1\n\n[T]\nx = 3\n\n");

    struct stat before {};
    stat(file.c_str(), &before);
    usleep(20000);
    EXPECT_EQ(WritePrivateProfileString("s", "K", "1", file.c_str()), 1);
    struct stat after {};
    stat(file.c_str(), &after);
    EXPECT_EQ(before.st_mtim.tv_nsec, after.st_mtim.tv_nsec);
    EXPECT_EQ(before.st_ino, after.st_ino);

    EXPECT_EQ(WritePrivateProfileString("S", "k", nullptr, file.c_str()), 1);
    EXPECT_EQ(ReadFile(file), "[S]\nj = 2\n\n[T]\nx = 3\n\n");
    EXPECT_EQ(WritePrivateProfileString("S", nullptr, nullptr, file.c_str()), 1);
    EXPECT_EQ(ReadFile(file), "[T]\nx = 3\n\n");
    EXPECT_EQ(WritePrivateProfileString(nullptr, nullptr, nullptr, file.c_str()), 1);
    EXPECT_EQ(ReadFile(file), "");

    // Files that are no INI text, and places where no file can be, stay as they are.
    WriteFile(file, "[S] junk\n");
    EXPECT_EQ(WritePrivateProfileString("S", "k", "1", file.c_str()), 1);
    EXPECT_EQ(ReadFile(file), "[S] junk\n");
    EXPECT_EQ(WritePrivateProfileString("S", "k", "1", dir.c_str()), 1);
    EXPECT_EQ(WritePrivateProfileString("S", "k", "1", (dir / "no/dir/f.ini").c_str()), 1);
    EXPECT_FALSE(test_support::Exists(dir / "no"));
}

// Writers in separate processes, each setting its own keys in one file: the writers' lock
// spans each call's load and save, so no update is lost.
TEST(WritePrivateProfileString, ConcurrentProcessesLoseNoUpdate) {
    constexpr int kProcesses = 8;
    constexpr int kKeys = 200;
    ScratchDir dir;
    std::string const file = dir / "shared.ini";
    pid_t children[kProcesses];
    for (int p = 0; p < kProcesses; ++p) {
        children[p] = fork();
        ASSERT_GE(children[p], 0);
        if (children[p] == 0) {
            for (int k = 0; k < kKeys; ++k) {
                std::string const key = "p" + std::to_string(p) + "k" + std::to_string(k);
                WritePrivateProfileString("Shared", key.c_str(), key.c_str(), file.c_str());
            }
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
        for (int k = 0; k < kKeys; ++k) {
            std::string const key = "p" + std::to_string(p) + "k" + std::to_string(k);
            ASSERT_TRUE(ini.ReadValue("Shared", key.c_str(), value)) << key;
            ASSERT_EQ(value, key.c_str());
        }
}

} // namespace
