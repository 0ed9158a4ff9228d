// Change monitors on real directories: the events that count and those that do not, the
// draining of other files' changes, renames, and a file monitor that cannot watch.
#include <platform/files.h>

#include "support/scratch.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <sys/stat.h>

using namespace test_support;
using zulplatform::CDirectoryMonitor;
using zulplatform::CFileChangeMonitor;

TEST(DirectoryMonitor, EventsThatCountAndThoseThatDoNot) {
    ScratchDir dir;
    CDirectoryMonitor monitor(dir.c_str());
    // Without a name any event counts; reading them consumes them.
    WriteFile(dir / "moved", "0");
    EXPECT_TRUE(monitor.IsChangePending(nullptr));
    EXPECT_FALSE(monitor.IsChangePending(""));
    chmod((dir / "moved").c_str(), 0600); // attributes do not count
    EXPECT_FALSE(monitor.IsChangePending(""));
    // By name: only events on exactly that name count, and the others are consumed with them.
    WriteFile(dir / "moved", "1");
    WriteFile(dir / "other", "2");
    EXPECT_TRUE(monitor.IsChangePending("moved"));
    WriteFile(dir / "other", "3");
    EXPECT_FALSE(monitor.IsChangePending("moved"));
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
    // Another file's change is consumed and forgotten; the watched file's then shows.
    WriteFile(dir / "one", "1");
    EXPECT_FALSE(monitor.IsChangePending());
    WriteFile(file, "b");
    EXPECT_TRUE(monitor.IsChangePending());
    EXPECT_FALSE(monitor.IsChangePending());
    WriteFile(dir / "replacement", "c"); // a rename onto the watched name counts
    ASSERT_EQ(std::rename((dir / "replacement").c_str(), file.c_str()), 0);
    EXPECT_TRUE(monitor.IsChangePending());
    // In a missing directory nothing can be watched: never a change.
    EXPECT_FALSE(CFileChangeMonitor("/no/such/dir/name.txt").IsChangePending());
}
