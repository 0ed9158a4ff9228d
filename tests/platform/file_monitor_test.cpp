// Change monitors on real directories: the events that count and those that do not, the
// draining of other files' changes, renames, and monitors that cannot watch.
#include <platform/files.h>
#include <platform/last_error.h>

#include "support/scratch.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fcntl.h>
#include <functional>
#include <string>
#include <sys/stat.h>
#include <utility>
#include <vector>

using namespace test_support;
using zulplatform::CDirectoryMonitor;
using zulplatform::CFileChangeMonitor;

TEST(DirectoryMonitor, EventsThatCountAndThoseThatDoNot) {
    ScratchDir dir;
    std::string const file = dir / "watched.txt";
    WriteFile(file, "x");
    CDirectoryMonitor monitor(dir.c_str());
    EXPECT_FALSE(monitor.IsChangePending(""));
    // Each action, and whether the directory monitor (any name) reports it.
    const std::pair<const char*, std::function<void()>> actions[] = {
        {"modify", [&] { WriteFile(file, "changed"); }},
        {"create", [&] { WriteFile(dir / "new", ""); }},
        {"delete", [&] { std::remove((dir / "new").c_str()); }},
        {"rename", [&] { std::rename(file.c_str(), (dir / "moved").c_str()); }},
        {"mkdir", [&] { mkdir((dir / "sub").c_str(), 0700); }},
        {"chmod", [&] { chmod((dir / "moved").c_str(), 0600); }},
        {"touch", [&] { utimensat(AT_FDCWD, (dir / "moved").c_str(), nullptr, 0); }},
        {"read", [&] { (void)ReadFile(dir / "moved"); }},
        {"nested", [&] { WriteFile(dir / "sub/inner", "y"); }},
    };
    const bool counts[] = {true, true, true, true, true, false, false, false, false};
    for (std::size_t i = 0; i < std::size(actions); ++i) {
        actions[i].second();
        EXPECT_EQ(monitor.IsChangePending(nullptr), counts[i]) << actions[i].first;
        EXPECT_FALSE(monitor.IsChangePending("")) << actions[i].first; // consumed
    }
    // By name: only events on exactly that name count, and the others are consumed with them.
    WriteFile(dir / "moved", "1");
    WriteFile(dir / "other", "2");
    EXPECT_TRUE(monitor.IsChangePending("moved"));
    WriteFile(dir / "other", "3");
    EXPECT_FALSE(monitor.IsChangePending("moved"));
    EXPECT_FALSE(monitor.IsChangePending("other"));
    WriteFile(dir / "Moved", "4");
    EXPECT_FALSE(monitor.IsChangePending("moved")); // case-sensitive
    EXPECT_FALSE(monitor.IsChangePending("move"));
}

TEST(FileChangeMonitor, WatchedFileOnly) {
    ScratchDir dir;
    std::string const file = dir / "config.ini";
    WriteFile(file, "a");
    CFileChangeMonitor monitor(file.c_str());
    EXPECT_FALSE(monitor.IsChangePending());
    // Changes to two other files are consumed and forgotten; the watched file's then shows.
    WriteFile(dir / "one", "1");
    WriteFile(dir / "two", "2");
    EXPECT_FALSE(monitor.IsChangePending());
    WriteFile(file, "b");
    EXPECT_TRUE(monitor.IsChangePending());
    EXPECT_FALSE(monitor.IsChangePending());
    // A rename onto the watched name counts; a change of its mode does not.
    WriteFile(dir / "replacement", "c");
    EXPECT_FALSE(monitor.IsChangePending());
    ASSERT_EQ(std::rename((dir / "replacement").c_str(), file.c_str()), 0);
    EXPECT_TRUE(monitor.IsChangePending());
    ASSERT_EQ(chmod(file.c_str(), 0600), 0);
    EXPECT_FALSE(monitor.IsChangePending());
    ASSERT_EQ(std::remove(file.c_str()), 0);
    EXPECT_TRUE(monitor.IsChangePending());

    // Backslashes separate too.
    std::string backslashed = file;
    backslashed[dir.path().size()] = '\\';
    CFileChangeMonitor windowsStyle(backslashed.c_str());
    WriteFile(file, "again");
    EXPECT_TRUE(windowsStyle.IsChangePending());
}

TEST(FileChangeMonitor, PathsThatCannotBeWatched) {
    ScratchDir dir;
    CwdGuard cwd;
    ASSERT_EQ(chdir(dir.c_str()), 0);
    // No directory part, directly under "/", or in a missing directory: never a change.
    for (const char* path : {"name.txt", "/name.txt", "missing/name.txt"}) {
        CFileChangeMonitor monitor(path);
        WriteFile("name.txt", "x");
        EXPECT_FALSE(monitor.IsChangePending()) << path;
    }
    auto thrown = [](auto construct) {
        try {
            construct();
        } catch (zulplatform::CException const& e) {
            return e.GetCode();
        }
        return 0;
    };
    // An empty path throws the last error as it stands.
    for (const char* path : {"", static_cast<const char*>(nullptr)}) {
        zulwin::SetLastError(1234);
        EXPECT_EQ(thrown([&] { CFileChangeMonitor monitor(path); }), 1234);
    }
    // A missing directory throws the last error too, not errno.
    std::string const missing = dir / "missing";
    for (const char* path : {missing.c_str(), "", static_cast<const char*>(nullptr)}) {
        zulwin::SetLastError(87);
        EXPECT_EQ(thrown([&] { CDirectoryMonitor monitor(path); }), 87);
    }
}
