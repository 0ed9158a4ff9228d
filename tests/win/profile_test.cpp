// The private profile functions on real files: defaults, truncation, number clamping, removal,
// and concurrent writers in separate processes.
#include <platform/ini_file.h>
#include <platform/profile.h>

#include "support/scratch.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <tuple>

using namespace test_support;
using zulwin::GetPrivateProfileInt;
using zulwin::GetPrivateProfileString;
using zulwin::WritePrivateProfileString;

namespace {

TEST(GetPrivateProfileString, CopiesTruncatesAndFallsBack) {
    ScratchDir dir;
    WriteFile(dir / "p.ini", "[S]\nlong=abcdef\n");
    // The length and the text: the value or else the default, cut to the size; size 0 writes
    // nothing.
    auto const get = [&](char const* def, unsigned long size, char const* name) {
        char buffer[16] = "untouched";
        unsigned long const n =
            GetPrivateProfileString("s", "LONG", def, buffer, size, (dir / name).c_str());
        return std::to_string(n) + buffer;
    };
    EXPECT_EQ(get("d", 4, "p.ini") + get("xyz", 2, "missing") + get("d", 0, "p.ini"),
              "3abc1x0untouched");
}

TEST(GetPrivateProfileInt, ConvertsAndClamps) {
    ScratchDir dir;
    std::string const file = dir / "n.ini";
    WriteFile(file, "[N]\nhex=0x1F\nbig=4294967296\ndec=12abc\n");
    std::pair<char const*, int> const cases[] = {{"hex", 31}, {"big", -1}, {"dec", 12}, {"a", 77}};
    for (auto const& [key, result] : cases)
        EXPECT_EQ(GetPrivateProfileInt("N", key, 77, file.c_str()), result) << key;
}

TEST(WritePrivateProfileString, WritesRemovesAndLeavesEqualFilesAlone) {
    ScratchDir dir;
    std::string const file = dir / "w.ini";
    // {section, key, value, the file after the call}; a null value removes the key, a null key
    // the section. Writing what is there leaves the file alone.
    std::tuple<char const*, char const*, char const*, char const*> const steps[] = {
        {"S", "k", "1", "[S]\nk = 1\n\n"},
        {"T", "x", "3", "[S]\nk = 1\n\n[T]\nx = 3\n\n"},
        {"S", "j", "2", "[S]\nj = 2\nk = 1\n\n[T]\nx = 3\n\n"},
        {"s", "K", "1", nullptr},
        {"S", "k", nullptr, "[S]\nj = 2\n\n[T]\nx = 3\n\n"},
        {"S", nullptr, nullptr, "[T]\nx = 3\n\n"}};
    ino_t inode = 0;
    for (auto const& [section, key, value, after] : steps) {
        EXPECT_EQ(WritePrivateProfileString(section, key, value, file.c_str()), 1);
        struct stat st {};
        stat(file.c_str(), &st);
        EXPECT_EQ(ReadFile(file), after != nullptr ? after : "[S]\nj = 2\nk = 1\n\n[T]\nx = 3\n\n");
        EXPECT_EQ(st.st_ino == inode, after == nullptr) << (after ? after : "unchanged");
        inode = st.st_ino;
    }
}

// Writers in separate processes, each setting its own keys in one file: the writers' lock
// spans each call's load and save, so no update is lost.
TEST(WritePrivateProfileString, ConcurrentProcessesLoseNoUpdate) {
    constexpr int kProcesses = 6, kKeys = 100;
    ScratchDir dir;
    std::string const file = dir / "shared.ini";
    pid_t children[kProcesses];
    for (int p = 0; p < kProcesses; ++p)
        if ((children[p] = fork()) == 0) {
            for (int k = p * kKeys; k < (p + 1) * kKeys; ++k)
                WritePrivateProfileString("Shared", std::to_string(k).c_str(), "v", file.c_str());
            _exit(0);
        }
    int status = -1;
    for (pid_t child : children)
        EXPECT_TRUE(child > 0 && waitpid(child, &status, 0) == child && status == 0);
    CIniFile ini;
    ASSERT_TRUE(ini.Load(file.c_str()));
    EXPECT_EQ(ini._GetSectionSize("Shared"), std::size_t{kProcesses * kKeys + 1});
}

} // namespace
