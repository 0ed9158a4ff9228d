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

// Each test runs in a fresh current directory (on tmpfs where there is one, which keeps
// far-future times) holding a file "f" of 5 bytes, a directory "sub" and the links "dirlink"
// (to "sub") and "dangling".
class FileSystem : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(chdir(dir.c_str()), 0);
        WriteFile("f", "12345");
        ASSERT_EQ(mkdir("sub", 0700) | symlink("sub", "dirlink") | symlink("x", "dangling"), 0);
    }
    CwdGuard guard;
    ScratchDir dir{Exists("/dev/shm") ? "/dev/shm" : "/tmp"};
};

} // namespace

TEST_F(FileSystem, ExistenceOfFilesDirectoriesAndShareRoots) {
    WriteFile("C:", ""); // "C:/" is stated as it stands, so this file is not found through it
    ExpectEach(true, FileExists, {"/tmp/", dir.path() + "////", "f/", "dirlink", "C://"});
    ExpectEach(false, FileExists,
               {"/", "///", "C:/", "E:/", "dangling", "f/x", "", "f" + std::string(4096, '/')});
    EXPECT_FALSE(FileExists(nullptr) || DirectoryExists(nullptr) || IsPathUNCShare(nullptr) ||
                 CreatePath(nullptr) || !IsDirectoryEmpty(nullptr));
    // A socket's type bits (0xC000) include 0x4000, so it counts as a directory. Only one slash
    // is removed, so "/" is the empty text.
    sockaddr_un address{AF_UNIX, "sock"};
    const int sock = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(bind(sock, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    close(sock);
    ExpectEach(true, DirectoryExists, {"sub/", "dirlink", "sock"});
    ExpectEach(false, DirectoryExists, {"f", "dangling", "/dev/null", "/", ""});
    // Trailing backslashes are trimmed and doubled ones collapse before the test.
    ExpectEach(true, IsPathUNCShare,
               {"//srv\\share", "//srv\\share\\\\", "//srv\\\\share", "//\\\\x"});
    ExpectEach(false, IsPathUNCShare,
               {"//srv\\share\\dir", "//srv/share", "//srv", "//ab\\", "\\\\srv\\share", ""});
}

TEST_F(FileSystem, SingleFilesAndTheirTimes) {
    namespace fs = std::filesystem;
    EXPECT_TRUE(FileMove("f", "g"));
    ASSERT_EQ(truncate("g", 5'000'000'000L), 0); // sparse, beyond 32 bits
    EXPECT_EQ(FileSize("g"), 5'000'000'000L);
    EXPECT_EQ(FileMakeWriteable("g"), 0);
    EXPECT_EQ(fs::status("g").permissions(), fs::perms(0660));
    EXPECT_EQ(FileMakeReadOnly("g"), 0);
    EXPECT_EQ(fs::status("g").permissions(), fs::perms(0400));
    EXPECT_EQ(FileDelete("g"), 0); // read-only: made writeable, then deleted
    EXPECT_FALSE(Exists("g"));
    EXPECT_EQ(FileDelete("sub"), -1);
    // Nothing there: 0 from each, and the dangling link is left.
    for (auto function : {FileMakeWriteable, FileMakeReadOnly, FileDelete})
        ExpectEach(0, function, {"missing", "dangling", ""});
    ExpectEach(0L, FileSize, {"missing", "dangling", ""});
    EXPECT_EQ(FileDelete(nullptr) + FileSize(nullptr) + FileMakeWriteable(nullptr), 0);
    EXPECT_TRUE(Exists("dangling"));
    EXPECT_EQ(GetFreeDiskSpaceFromPath("missing"), ~0UL);
    // Modification times in whole seconds as FILETIME values.
    auto at = [](long seconds, long nanoseconds) {
        const timespec times[2] = {{0, UTIME_OMIT}, {seconds, nanoseconds}};
        EXPECT_EQ(utimensat(AT_FDCWD, "t", times, 0), 0);
        return GetLastModificationTime("t");
    };
    WriteFile("t", "");
    EXPECT_EQ(at(1700000000, 999999999), 133444736000000000UL); // 2023-11-14 22:13:20
    EXPECT_EQ(at(-1, 0), 0x7FFF35F4F06C58F0UL); // before 1970: huge when read as unsigned
    if (dir.path().rfind("/dev/shm", 0) == 0) { // ext4 would cut it
        EXPECT_EQ(at(32535216000L, 0), 0x7FFF35F4F06C58F0UL);
    }
    EXPECT_EQ(GetLastModificationTime("missing") + GetLastModificationTime(nullptr), 0u);
}

TEST_F(FileSystem, DirectoryTrees) {
    // CreatePath: a level at a time, relative to the current directory too; something already
    // there is success and stays what it is.
    ExpectEach(true, CreatePath, {dir / "a/b/c/", "r//s/t", "f", "sub/inner/empty"});
    ExpectEach(true, DirectoryExists, {"a", "a/b", "a/b/c", "r/s/t"});
    // Below a file, with thousands of levels of recursion up to it (the copy is cut to 4095
    // characters); a name too long for the system; nothing at all.
    std::string belowFile = "f";
    while (belowFile.size() < 6000)
        belowFile += "/d";
    ExpectEach(false, CreatePath, {belowFile, std::string(4200, 'n'), ""});
    // IsDirectoryEmpty: only regular files directly inside count, with or without an extension
    // for "*.*". The dangling link goes now: it would end a listing of the current directory
    // before "f", which the empty name given to DeleteDirectory below must not remove.
    WriteFile("sub/inner/f", "x");
    ASSERT_EQ(mkfifo("sub/pipe", 0600) + unlink("dangling"), 0);
    ExpectEach(true, IsDirectoryEmpty, {"sub", "sub/inner/empty", "missing", "f", ""});
    ExpectEach(false, IsDirectoryEmpty, {"sub/inner", "sub/inner/"});
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
