// The file-system utilities without last error: existence, single files, directory trees and
// share roots.
#include <platform/files.h>

#include "support/scratch.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <filesystem>
#include <string>

using namespace zulplatform;
using namespace test_support;

namespace {

// Expects `query` to give `expected` for every path.
template <class T, class Query>
void ExpectEach(T expected, Query query, std::initializer_list<std::string> paths) {
    for (const std::string& path : paths)
        EXPECT_EQ(query(path.c_str()), expected) << path.substr(0, 80);
}

// Each test runs in a fresh current directory holding a file "f" of 5 bytes, a directory "sub"
// and the links "dirlink" (to "sub") and "dangling".
class FileSystem : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(chdir(dir.c_str()), 0);
        WriteFile("f", "12345");
        ASSERT_EQ(mkdir("sub", 0700) | symlink("sub", "dirlink") | symlink("x", "dangling"), 0);
    }
    CwdGuard guard;
    ScratchDir dir;
};

} // namespace

TEST_F(FileSystem, ExistenceOfFilesDirectoriesAndShareRoots) {
    WriteFile("C:", ""); // "C:/" is stated as it stands, so this file is not found through it
    ExpectEach(true, FileExists, {dir.path() + "////", "f/", "dirlink", "C://"});
    ExpectEach(false, FileExists,
               {"/", "///", "C:/", "dangling", "", "f" + std::string(4096, '/')});
    EXPECT_FALSE(FileExists(nullptr) || DirectoryExists(nullptr) || IsPathUNCShare(nullptr));
    // A socket's type bits (0xC000) include 0x4000, so it counts as a directory. Only one slash
    // is removed, so "/" is the empty text.
    sockaddr_un address{AF_UNIX, "sock"};
    const int sock = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(bind(sock, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    close(sock);
    ExpectEach(true, DirectoryExists, {"sub/", "dirlink", "sock"});
    ExpectEach(false, DirectoryExists, {"f", "dangling", "/"});
    // Trailing backslashes are trimmed and doubled ones collapse before the test.
    ExpectEach(true, IsPathUNCShare, {"//srv\\share\\\\", "//srv\\\\share"});
    ExpectEach(false, IsPathUNCShare, {"//srv\\share\\dir", "//srv/share", "//ab\\", "\\\\srv\\s"});
}

TEST_F(FileSystem, SingleFilesAndTheirTimes) {
    EXPECT_TRUE(FileMove("f", "g"));
    ASSERT_EQ(truncate("g", 5'000'000'000L), 0); // sparse, beyond 32 bits
    EXPECT_EQ(FileSize("g"), 5'000'000'000L);
    EXPECT_EQ(FileMakeReadOnly("g"), 0);
    EXPECT_EQ(std::filesystem::status("g").permissions(), std::filesystem::perms(0400));
    EXPECT_EQ(FileDelete("g"), 0); // read-only: made writeable, then deleted
    EXPECT_FALSE(Exists("g"));
    EXPECT_EQ(FileDelete("sub"), -1);
    // Nothing there: 0 from each, and the dangling link is left.
    for (auto function : {FileMakeWriteable, FileMakeReadOnly, FileDelete})
        ExpectEach(0, function, {"missing", "dangling"});
    EXPECT_EQ(FileSize("dangling") + FileSize(""), 0);
    EXPECT_TRUE(Exists("dangling"));
    EXPECT_EQ(GetFreeDiskSpaceFromPath("missing"), ~0UL);
    // Modification times in whole seconds as FILETIME values.
    for (auto [seconds, filetime] : {std::pair{1700000000L, 133444736000000000UL},
                                     {-1L, 0x7FFF35F4F06C58F0UL}}) { // before 1970: huge
        const timespec times[2] = {{0, UTIME_OMIT}, {seconds, 999999999}};
        ASSERT_EQ(utimensat(AT_FDCWD, "sub", times, 0), 0);
        EXPECT_EQ(GetLastModificationTime("sub"), filetime);
    }
    EXPECT_EQ(GetLastModificationTime("missing") + GetLastModificationTime(nullptr), 0u);
}

TEST_F(FileSystem, DirectoryTrees) {
    // CreatePath: a level at a time, relative to the current directory too; something already
    // there is success and stays what it is.
    ExpectEach(true, CreatePath, {dir / "a/b/c/", "r//s/t", "f", "sub/inner/empty"});
    ExpectEach(true, DirectoryExists, {"a/b/c", "r/s/t"});
    // Below a file, thousands of levels deep (the copy is cut to 4095 characters); too long for
    // the system; nothing.
    std::string belowFile = "f";
    while (belowFile.size() < 6000)
        belowFile += "/d";
    ExpectEach(false, CreatePath, {belowFile, std::string(4200, 'n'), ""});
    // IsDirectoryEmpty: only regular files directly inside count. The dangling link goes: it
    // would end a listing of the current directory before "f".
    WriteFile("sub/inner/f", "x");
    ASSERT_EQ(mkfifo("sub/pipe", 0600) + unlink("dangling"), 0);
    ExpectEach(true, IsDirectoryEmpty, {"sub", "missing", "f", ""});
    ExpectEach(false, IsDirectoryEmpty, {"sub/inner/"});
    // DeleteDirectory: files and missing names are left alone; an empty one must not empty the
    // current directory.
    for (const char* name : {"sub", "f", "missing", ""})
        EXPECT_TRUE(DeleteDirectory(name)) << name;
    EXPECT_FALSE(Exists("sub/inner")); // "sub" itself stays: the pipe is no regular file
    EXPECT_EQ(ReadFile("f"), "12345");
    try { // nothing under /proc can be unlinked, not even by root
        DeleteDirectory("/proc/sys/kernel/random");
        ADD_FAILURE() << "no exception";
    } catch (zulwin::CFileException* e) {
        e->Delete();
    }
}
