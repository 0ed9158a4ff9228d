// Change monitors on real directories: the events that count and those that do not, the
// draining of other files' changes, renames, and a file monitor that cannot watch.
#include <platform/files.h>

#include "support/scratch.h"

#include <gtest/gtest.h>

#include <cstdio>

using namespace test_support;
using zulplatform::CDirectoryMonitor;
using zulplatform::CFileChangeMonitor;

TEST(DirectoryMonitor, EventsThatCountAndThoseThatDoNot) {
    ScratchDir dir;
    CDirectoryMonitor monitor(dir.c_str());
    // Without a name any event counts; reading them consumes them; attributes do not count.
    WriteFile(dir / "moved", "0");
    EXPECT_TRUE(monitor.IsChangePending(nullptr));
    ASSERT_EQ(chmod((dir / "moved").c_str(), 0600), 0);
    EXPECT_FALSE(monitor.IsChangePending(""));
    // By name: only events on exactly that name count, and the others are consumed with them
    // (the file monitor checks that a prefix of the name is another name).
    WriteFile(dir / "moved", "1");
    WriteFile(dir / "other", "2");
    EXPECT_TRUE(monitor.IsChangePending("moved"));
    WriteFile(dir / "other", "3");
    EXPECT_FALSE(monitor.IsChangePending("moved") || monitor.IsChangePending("other"));
}

TEST(FileChangeMonitor, WatchedFileOnly) {
    ScratchDir dir;
    std::string const file = dir / "config.ini";
    std::string backslashed = file; // backslashes separate too
    backslashed[dir.path().size()] = '\\';
    CFileChangeMonitor monitor(backslashed.c_str());
    // Another file's change is consumed and forgotten; the watched file's then shows, once.
    WriteFile(dir / "config.in", "1");
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
