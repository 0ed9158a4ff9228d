// Change monitors on real directories: the events that count and those that do not, the
// draining of other files' changes, renames, and monitors that cannot watch.
#include <platform/files.h>
#include <platform/last_error.h>

#include "support/scratch.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <string>
#include <sys/stat.h>
#include <utility>

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
    const std::pair<std::function<void()>, bool> actions[] = {
        {[&] { WriteFile(file, "changed"); }, true},
        {[&] { WriteFile(dir / "new", ""); }, true},
        {[&] { std::remove((dir / "new").c_str()); }, true},
        {[&] { std::rename(file.c_str(), (dir / "moved").c_str()); }, true},
        {[&] { chmod((dir / "moved").c_str(), 0600); }, false},
        {[&] { (void)ReadFile(dir / "moved"); }, false},
    };
    for (std::size_t i = 0; i < std::size(actions); ++i) {
        actions[i].first();
        EXPECT_EQ(monitor.IsChangePending(nullptr), actions[i].second) << i;
        EXPECT_FALSE(monitor.IsChangePending("")) << i; // consumed
    }
    // By name: only events on exactly that name count, and the others are consumed with them.
    WriteFile(dir / "moved", "1");
    WriteFile(dir / "other", "2");
    EXPECT_TRUE(monitor.IsChangePending("moved"));
    WriteFile(dir / "other", "3");
    WriteFile(dir / "Moved", "4");
    EXPECT_FALSE(monitor.IsChangePending("moved")); // case-sensitive
    EXPECT_FALSE(monitor.IsChangePending("other"));
    WriteFile(dir / "moved", "5");
    EXPECT_FALSE(monitor.IsChangePending("move"));
}

TEST(FileChangeMonitor, WatchedFileOnly) {
    ScratchDir dir;
    std::string const file = dir / "config.ini";
    std::string backslashed = file; // backslashes separate too
    backslashed[dir.path().size()] = '\\';
    CFileChangeMonitor monitor(backslashed.c_str());
    // Changes to two other files are consumed and forgotten; the watched file's then shows.
    WriteFile(dir / "one", "1");
    WriteFile(dir / "two", "2");
    EXPECT_FALSE(monitor.IsChangePending());
    WriteFile(file, "b");
    EXPECT_TRUE(monitor.IsChangePending());
    EXPECT_FALSE(monitor.IsChangePending());
    WriteFile(dir / "replacement", "c"); // a rename onto the watched name counts
    EXPECT_FALSE(monitor.IsChangePending());
    ASSERT_EQ(std::rename((dir / "replacement").c_str(), file.c_str()), 0);
    EXPECT_TRUE(monitor.IsChangePending());
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
    // Empty paths, and a missing directory for a directory monitor, throw the last error as it
    // stands, not errno.
    const std::function<void(const char*)> construct[] = {
        [](const char* path) { CFileChangeMonitor monitor(path); },
        [](const char* path) { CDirectoryMonitor monitor(path); }};
    for (const char* path : {"", static_cast<const char*>(nullptr), "missing"})
        for (int kind = path && *path ? 1 : 0; kind < 2; ++kind) {
            zulwin::SetLastError(1234 + kind);
            try {
                construct[kind](path);
                ADD_FAILURE() << kind << " " << (path ? path : "null");
            } catch (zulplatform::CException const& e) {
                EXPECT_EQ(e.GetCode(), 1234 + kind);
            }
        }
}
