// CopyFile and MoveFile: contents, links, replacing and refusing, and their last errors.
#include <platform/files.h>
#include <platform/system.h>

#include "support/scratch.h"

#include <gtest/gtest.h>

using namespace test_support;
using namespace zulwin;
namespace fs = std::filesystem;

namespace {

// "<result>/<last error>" of one call.
template <class F, class... Args> std::string Outcome(F function, Args... args) {
    SetLastError(0xDEAD);
    const auto result = function(args...);
    return std::to_string(result) + "/" + std::to_string(GetLastError());
}

} // namespace

TEST(WinFileSystem, CopyFileAndMoveFile) {
    CwdGuard guard;
    ScratchDir dir;
    ASSERT_EQ(chdir(dir.c_str()), 0);
    // Exactly one 16384-byte chunk (longer files are copied under every fault in fault_tests).
    std::string content(16384, '\0');
    for (std::size_t i = 0; i < content.size(); ++i)
        content[i] = static_cast<char>(i * 7 + i / 256);
    WriteFile("a", content);
    ASSERT_EQ(Outcome(CopyFile, "a", "b", 0), "1/0");
    EXPECT_EQ(ReadFile("b"), content);
    ASSERT_EQ(chmod("b", 0400), 0); // permissions are not copied
    EXPECT_EQ(Outcome(CopyFile, "b", "new", 1), "1/0");
    EXPECT_NE(fs::status("new").permissions() & fs::perms::owner_write, fs::perms::none);
    WriteFile("a", "new");
    WriteFile("real", "keep me");
    ASSERT_EQ(mkdir("sub", 0700) + symlink("real", "link") + symlink("nowhere", "dangling"), 0);
    EXPECT_EQ(Outcome(CopyFile, "a", "sub", 0), "0/5"); // a directory is not replaced
    // A dangling link does not exist: the copy goes through it and creates its target.
    EXPECT_EQ(Outcome(CopyFile, "a", "dangling", 1), "1/0");
    EXPECT_EQ(ReadFile("nowhere"), "new");
    // Replacing a link replaces the link, not what it points to.
    EXPECT_EQ(Outcome(CopyFile, "a", "link", 0), "1/0");
    EXPECT_EQ(ReadFile("link") + ReadFile("real"), "newkeep me");
    // Moving copies, then unlinks the source: never a rename, which would carry the second link
    // "a2" along (it ends as the only link to the old file). Only flag 0x1 replaces.
    ASSERT_EQ(link("a", "a2"), 0);
    EXPECT_EQ(Outcome(MoveFileEx, "a", "b", 2u), "0/183");
    EXPECT_EQ(Outcome(MoveFileEx, "a", "b", 3u), "1/0");
    EXPECT_EQ(fs::hard_link_count("a2"), 1u);
    // Onto itself: refused without the flag; with it the target, the source itself, goes first.
    EXPECT_EQ(Outcome(MoveFile, "b", "b"), "0/183");
    EXPECT_EQ(Outcome(MoveFileEx, "b", "b", 1u), "0/5");
    EXPECT_FALSE(Exists("b"));
}
