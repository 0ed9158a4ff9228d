// The Windows-named file-system functions: their results and last errors.
#include <platform/files.h>
#include <platform/system.h>

#include "support/scratch.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <random>
#include <string>

using namespace test_support;
using namespace zulwin;
namespace fs = std::filesystem;

namespace {

constexpr unsigned int kUntouched = 0xDEAD;

// "<result>/<last error>" of one call; "untouched" when the call left the last error alone.
template <class F, class... Args> std::string Outcome(F function, Args... args) {
    SetLastError(kUntouched);
    const auto result = function(args...);
    const unsigned int error = GetLastError();
    return std::to_string(result) + "/" +
           (error == kUntouched ? "untouched" : std::to_string(error));
}

// Each test runs in a fresh current directory.
class WinFileSystem : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(chdir(dir.c_str()), 0); }
    CwdGuard guard;
    ScratchDir dir;
};

} // namespace

TEST_F(WinFileSystem, DirectoriesAndTheCurrentOne) {
    EXPECT_EQ(Outcome(CreateDirectory, "d", nullptr), "1/0");
    EXPECT_EQ(fs::status("d").permissions() & fs::perms::others_all, fs::perms::none); // 0770
    WriteFile("f", "x");
    ASSERT_EQ(symlink("d", "link"), 0);
    // Every failure is "path not found"; PathIsDirectory follows links and leaves the error.
    for (const char* bad : {"d", "f/child", static_cast<const char*>(nullptr)})
        EXPECT_EQ(Outcome(CreateDirectory, bad, nullptr), "0/3") << bad;
    EXPECT_EQ(Outcome(PathIsDirectory, "link") + Outcome(PathIsDirectory, "f"),
              "16384/untouched0/untouched");
    WriteFile("d/inside", "x");
    for (const char* bad : {"d", "link"})
        EXPECT_EQ(Outcome(RemoveDirectory, bad), "0/3") << bad;
    EXPECT_EQ(Outcome(RemoveDirectory, ""), "0/87");
    ASSERT_EQ(unlink("d/inside"), 0);
    EXPECT_EQ(Outcome(RemoveDirectory, "d"), "1/0");
    // Size 0 only measures; otherwise path and terminator, without comparing the size.
    const std::string length = std::to_string(dir.path().size()) + "/0";
    std::string buffer(dir.path().size() + 4, '#');
    EXPECT_EQ(Outcome(GetCurrentDirectory, 0u, &buffer[1]), length);
    EXPECT_EQ(Outcome(GetCurrentDirectory, 1u, &buffer[0]), length);
    EXPECT_EQ(buffer, dir.path() + '\0' + "###");
    EXPECT_EQ(Outcome(GetCurrentDirectory, 10u, nullptr), "0/87");
}

TEST_F(WinFileSystem, CopyFileAndMoveFile) {
    std::mt19937 rng(7);
    // Around the 16384-byte chunk, largest first, so that each copy replaces a longer file.
    for (std::size_t size : {3 * 16384ul + 7, 16384ul, 16383ul, 0ul}) {
        std::string content(size, '\0');
        for (char& c : content)
            c = static_cast<char>(rng());
        WriteFile("a", content);
        ASSERT_EQ(Outcome(CopyFile, "a", "b", 0), "1/0") << size;
        EXPECT_EQ(ReadFile("b"), content) << size;
    }
    ASSERT_EQ(chmod("b", 0400), 0); // permissions are not copied
    EXPECT_EQ(Outcome(CopyFile, "b", "new", 1), "1/0");
    EXPECT_NE(fs::status("new").permissions() & fs::perms::owner_write, fs::perms::none);
    WriteFile("a", "new");
    WriteFile("real", "keep me");
    ASSERT_EQ(mkdir("sub", 0700) + symlink("real", "link") + symlink("nowhere", "dangling"), 0);
    EXPECT_EQ(Outcome(CopyFile, "a", "", 0), "0/13");
    EXPECT_EQ(Outcome(CopyFile, "dangling", "t", 0), "0/2");
    for (const char* to : {"no/dir", "sub"}) // neither replaced nor created
        EXPECT_EQ(Outcome(CopyFile, "a", to, 0), "0/5") << to;
    EXPECT_EQ(Outcome(CopyFile, "a", "b", 1), "0/183");
    // A dangling link does not exist: the copy goes through it and creates its target.
    EXPECT_EQ(Outcome(CopyFile, "a", "dangling", 1), "1/0");
    EXPECT_EQ(ReadFile("nowhere"), "new");
    // Replacing a link replaces the link, not what it points to.
    EXPECT_EQ(Outcome(CopyFile, "a", "link", 0), "1/0");
    EXPECT_EQ(ReadFile("link") + ReadFile("real"), "newkeep me");
    // Moving copies, then unlinks the source: never a rename, which would carry the second link
    // "a2" along (it ends as the only link to the old file). Only flag 0x1 replaces.
    ASSERT_EQ(link("a", "a2"), 0);
    EXPECT_EQ(Outcome(MoveFile, "a", "b"), "0/183");
    EXPECT_EQ(Outcome(MoveFileEx, "a", "b", 2u), "0/183");
    EXPECT_EQ(Outcome(MoveFileEx, "a", "b", 3u), "1/0");
    EXPECT_EQ(fs::hard_link_count("a2"), 1u);
    EXPECT_FALSE(Exists("a"));
    // Onto itself: refused without the flag; with it the target, the source itself, goes first.
    EXPECT_EQ(Outcome(MoveFile, "b", "b"), "0/183");
    EXPECT_EQ(Outcome(MoveFileEx, "b", "b", 1u), "0/5");
    EXPECT_FALSE(Exists("b"));
}
