// The file-system utilities without last error: existence, share roots, deleting files and
// directory trees.
#include <platform/files.h>

#include "support/scratch.h"

#include <gtest/gtest.h>

using namespace zulplatform;
using namespace test_support;

namespace {

// Expects `query` to give `expected` for every path.
template <class T, class Query>
void ExpectEach(T expected, Query query, std::initializer_list<std::string> paths) {
    for (const std::string& path : paths)
        EXPECT_EQ(query(path.c_str()), expected) << path.substr(0, 80);
}

} // namespace

// In a fresh current directory holding a file "f", a directory "sub" and the links "dirlink"
// (to "sub") and "dangling".
TEST(FileSystem, ExistenceShareRootsAndDirectoryTrees) {
    CwdGuard guard;
    ScratchDir dir;
    ASSERT_EQ(chdir(dir.c_str()), 0);
    WriteFile("f", "12345");
    ASSERT_EQ(mkdir("sub", 0700) | symlink("sub", "dirlink") | symlink("x", "dangling"), 0);
    ExpectEach(true, FileExists, {dir.path() + "////", "f/", "dirlink"});
    ExpectEach(false, FileExists, {"/", "///", "dangling", "f" + std::string(4096, '/')});
    // Trailing backslashes are trimmed and doubled ones collapse before the test.
    ExpectEach(true, IsPathUNCShare, {"//srv\\share\\\\", "//srv\\\\share"});
    ExpectEach(false, IsPathUNCShare, {"//srv\\share\\dir", "//srv/share"});
    // Deleting a read-only file makes it writeable first; nothing there, or a dangling link, is
    // left alone with 0.
    EXPECT_EQ(FileMakeReadOnly("f") + FileDelete("f") + FileDelete("dangling"), 0);
    EXPECT_TRUE(!Exists("f") && Exists("dangling"));
    WriteFile("f", "12345");

    // CreatePath: a level at a time, relative to the current directory too; something already
    // there is success and stays what it is. Below a file, thousands of levels deep (the copy is
    // cut to 4095 characters); too long for the system; nothing.
    ExpectEach(true, CreatePath, {dir / "a/b/c/", "r//s/t", "f", "sub/inner/empty"});
    ExpectEach(true, DirectoryExists, {"a/b/c", "r/s/t"});
    std::string belowFile = "f";
    while (belowFile.size() < 6000)
        belowFile += "/d";
    ExpectEach(false, CreatePath, {belowFile, std::string(4200, 'n'), ""});
    // IsDirectoryEmpty: only regular files directly inside count. The dangling link goes: it
    // would end a listing of the current directory before "f".
    WriteFile("sub/inner/f", "x");
    ASSERT_EQ(mkfifo("sub/pipe", 0600) + unlink("dangling"), 0);
    EXPECT_TRUE(IsDirectoryEmpty("sub") && !IsDirectoryEmpty("sub/inner/"));
    // DeleteDirectory: files and missing names are left alone; an empty one must not empty the
    // current directory.
    for (const char* name : {"sub", "f", ""})
        EXPECT_TRUE(DeleteDirectory(name)) << name;
    EXPECT_FALSE(Exists("sub/inner")); // "sub" itself stays: the pipe is no regular file
    EXPECT_EQ(ReadFile("f"), "12345");
}
