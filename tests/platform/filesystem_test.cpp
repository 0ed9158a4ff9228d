#include <platform/files.h>
#include <platform/system.h>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/un.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <string>

using namespace zulplatform;
using zulwin::CString;

namespace {

// A fresh directory (under `base`), removed with everything in it at the end of the test.
class ScratchDir {
public:
    explicit ScratchDir(const char* base = "/tmp") {
        std::string pattern = std::string(base) + "/fs-test-XXXXXX";
        if (mkdtemp(&pattern[0]) != nullptr)
            m_path = pattern;
    }
    ~ScratchDir() {
        if (!m_path.empty())
            std::filesystem::remove_all(m_path);
    }
    std::string operator/(const std::string& name) const { return m_path + "/" + name; }
    const std::string& path() const { return m_path; }
    const char* c_str() const { return m_path.c_str(); }

private:
    std::string m_path;
};

class CwdGuard {
public:
    CwdGuard() {
        if (getcwd(m_saved, sizeof m_saved) == nullptr)
            m_saved[0] = '\0';
    }
    ~CwdGuard() {
        if (m_saved[0] != '\0' && chdir(m_saved) != 0)
            std::abort();
    }

private:
    char m_saved[PATH_MAX];
};

void WriteFile(const std::string& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
}

bool Exists(const std::string& path) {
    struct stat st;
    return lstat(path.c_str(), &st) == 0;
}

mode_t PermissionsOf(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0 ? (st.st_mode & 07777) : 0;
}

// Binds a Unix socket at `path`; the descriptor stays open until the caller closes it.
int BindSocket(const std::string& path) {
    const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    if (fd >= 0 && bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        close(fd);
        return -1;
    }
    return fd;
}

} // namespace

// -------------------------------------------------------------------------------------------
// Existence

TEST(FileExists, Answers) {
    ScratchDir dir;
    ASSERT_FALSE(dir.path().empty());
    WriteFile(dir / "file", "x");
    ASSERT_EQ(symlink((dir / "nowhere").c_str(), (dir / "dangling").c_str()), 0);
    ASSERT_EQ(symlink((dir / "file").c_str(), (dir / "link").c_str()), 0);

    struct Case {
        std::string path;
        bool exists;
    } const cases[] = {
        {"/", false},
        {"///", false},
        {"/tmp/", true},
        {dir.path(), true},
        {dir.path() + "/", true},
        {dir.path() + "////", true},
        {dir / "file", true},
        {dir / "file/", true}, // trailing slashes are cut before stat
        {dir / "link", true},
        {dir / "missing", false},
        {dir / "dangling", false},
        {dir / "file/below", false},
        {"", false},
        {dir.path() + std::string(4096, '/'), false}, // over 4096 with a slash at the end
        {"/" + std::string(4200, 'n'), false},
    };
    for (const Case& c : cases)
        EXPECT_EQ(FileExists(c.path.c_str()), c.exists) << c.path.substr(0, 60);
    EXPECT_FALSE(FileExists(nullptr));
}

TEST(FileExists, DriveRootIsStatedAsItStands) {
    CwdGuard guard;
    ScratchDir dir;
    ASSERT_EQ(chdir(dir.c_str()), 0);
    // A file called "C:": cutting the slash would find it, but "C:/" is tested as written.
    WriteFile("C:", "");
    EXPECT_FALSE(FileExists("C:/"));
    EXPECT_TRUE(FileExists("C://")); // four characters: the ordinary rule applies
    ASSERT_EQ(mkdir("D:", 0700), 0);
    EXPECT_TRUE(FileExists("D:/"));
    EXPECT_FALSE(FileExists("E:/"));
}

TEST(DirectoryExists, TestsTheSingleDirectoryBit) {
    ScratchDir dir;
    WriteFile(dir / "file", "x");
    ASSERT_EQ(symlink((dir / "nowhere").c_str(), (dir / "dangling").c_str()), 0);
    ASSERT_EQ(symlink(dir.c_str(), (dir / "dirlink").c_str()), 0);
    const int sock = BindSocket(dir / "sock");
    ASSERT_GE(sock, 0);

    EXPECT_TRUE(DirectoryExists(dir.c_str()));
    EXPECT_TRUE(DirectoryExists((dir.path() + "/").c_str()));
    EXPECT_TRUE(DirectoryExists((dir / "dirlink").c_str()));
    EXPECT_FALSE(DirectoryExists((dir / "file").c_str()));
    EXPECT_FALSE(DirectoryExists((dir / "missing").c_str()));
    EXPECT_FALSE(DirectoryExists((dir / "dangling").c_str()));
    EXPECT_FALSE(DirectoryExists("/dev/null")); // character device: 0x2000 only
    // A socket's type bits (0xC000) include 0x4000.
    EXPECT_TRUE(DirectoryExists((dir / "sock").c_str()));
    // Only one slash is removed, so "/" becomes the empty text.
    EXPECT_FALSE(DirectoryExists("/"));
    EXPECT_FALSE(DirectoryExists(nullptr));
    EXPECT_FALSE(DirectoryExists(""));
    EXPECT_FALSE(DirectoryExists(("/" + std::string(5000, 'd')).c_str()));
    close(sock);
}

// -------------------------------------------------------------------------------------------
// Single files

TEST(FileMove, RenamesInPlace) {
    ScratchDir dir;
    WriteFile(dir / "a", "alpha");
    struct stat before;
    ASSERT_EQ(stat((dir / "a").c_str(), &before), 0);
    EXPECT_TRUE(FileMove((dir / "a").c_str(), (dir / "b").c_str()));
    struct stat after;
    ASSERT_EQ(stat((dir / "b").c_str(), &after), 0);
    EXPECT_EQ(before.st_ino, after.st_ino); // a real rename, not a copy
    EXPECT_FALSE(Exists(dir / "a"));
    EXPECT_FALSE(FileMove((dir / "a").c_str(), (dir / "c").c_str()));
    EXPECT_FALSE(FileMove(nullptr, (dir / "c").c_str()));
    EXPECT_FALSE(FileMove((dir / "b").c_str(), nullptr));
    EXPECT_TRUE(Exists(dir / "b"));
}

TEST(FileDelete, MissingCountsAsGone) {
    ScratchDir dir;
    EXPECT_EQ(FileDelete((dir / "missing").c_str()), 0);
    EXPECT_EQ(FileDelete(nullptr), 0);
    EXPECT_EQ(FileDelete(""), 0);
}

TEST(FileDelete, ReadOnlyFileIsMadeWriteableAndDeleted) {
    ScratchDir dir;
    WriteFile(dir / "ro", "data");
    ASSERT_EQ(chmod((dir / "ro").c_str(), 0400), 0);
    EXPECT_EQ(FileDelete((dir / "ro").c_str()), 0);
    EXPECT_FALSE(Exists(dir / "ro"));
}

TEST(FileDelete, DirectoryIsNotDeleted) {
    ScratchDir dir;
    ASSERT_EQ(mkdir((dir / "sub").c_str(), 0700), 0);
    EXPECT_EQ(FileDelete((dir / "sub").c_str()), -1);
    EXPECT_TRUE(Exists(dir / "sub"));
}

TEST(FileSize, ReportsBytesOrZero) {
    ScratchDir dir;
    WriteFile(dir / "empty", "");
    WriteFile(dir / "five", "12345");
    ASSERT_EQ(truncate((dir / "five").c_str(), 5), 0);
    const int fd = open((dir / "big").c_str(), O_CREAT | O_WRONLY, 0600);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(ftruncate(fd, 5'000'000'000L), 0); // sparse, beyond 32 bits
    close(fd);
    EXPECT_EQ(FileSize((dir / "empty").c_str()), 0);
    EXPECT_EQ(FileSize((dir / "five").c_str()), 5);
    EXPECT_EQ(FileSize((dir / "big").c_str()), 5'000'000'000L);
    EXPECT_EQ(FileSize((dir / "missing").c_str()), 0);
    EXPECT_EQ(FileSize(nullptr), 0);
    EXPECT_EQ(FileSize(""), 0);
}

TEST(FilePermissions, WriteableAndReadOnlyModes) {
    ScratchDir dir;
    WriteFile(dir / "f", "x");
    EXPECT_EQ(FileMakeReadOnly((dir / "f").c_str()), 0);
    EXPECT_EQ(PermissionsOf(dir / "f"), 0400u);
    EXPECT_EQ(FileMakeWriteable((dir / "f").c_str()), 0);
    EXPECT_EQ(PermissionsOf(dir / "f"), 0660u);
    // Missing, dangling and null names change nothing and report 0.
    ASSERT_EQ(symlink((dir / "nowhere").c_str(), (dir / "dangling").c_str()), 0);
    for (const std::string& name : {dir / "missing", dir / "dangling"}) {
        EXPECT_EQ(FileMakeWriteable(name.c_str()), 0);
        EXPECT_EQ(FileMakeReadOnly(name.c_str()), 0);
    }
    EXPECT_EQ(FileMakeWriteable(nullptr), 0);
    EXPECT_EQ(FileMakeReadOnly(""), 0);
    EXPECT_FALSE(Exists(dir / "nowhere"));
}

TEST(FileCreateMask, SetsSevenAndReturnsThePrevious) {
    const mode_t original = umask(022);
    EXPECT_EQ(SetProcessFileCreateMask(), 022u);
    EXPECT_EQ(umask(original), 007u);
}

TEST(FreeDiskSpace, AvailableBytesOrAllOnes) {
    ScratchDir dir;
    EXPECT_EQ(GetFreeDiskSpaceFromPath(CString((dir / "missing").c_str())),
              std::numeric_limits<unsigned long>::max());
    EXPECT_EQ(GetFreeDiskSpaceFromPath(CString("")), std::numeric_limits<unsigned long>::max());
    struct statvfs fs;
    ASSERT_EQ(statvfs(dir.c_str(), &fs), 0);
    const unsigned long space = GetFreeDiskSpaceFromPath(CString(dir.c_str()));
    EXPECT_GT(space, 0u);
    EXPECT_LE(space, static_cast<unsigned long>(fs.f_blocks) * fs.f_frsize);
    EXPECT_EQ(space % fs.f_bsize, 0u);
}

TEST(LastModificationTime, WholeSecondsAsFileTime) {
    // tmpfs keeps 64-bit times; ext4 would cut the far-future ones.
    ScratchDir dir(Exists("/dev/shm") ? "/dev/shm" : "/tmp");
    const std::string file = dir / "f";
    WriteFile(file, "");
    auto setMtime = [&](long seconds, long nanoseconds) {
        const timespec times[2] = {{0, UTIME_OMIT}, {seconds, nanoseconds}};
        return utimensat(AT_FDCWD, file.c_str(), times, 0) == 0;
    };
    constexpr unsigned long kMax = 0x7FFF35F4F06C58F0UL;

    ASSERT_TRUE(setMtime(1700000000, 999999999));
    EXPECT_EQ(GetLastModificationTime(file.c_str()), 133444736000000000UL); // 2023-11-14 22:13:20
    ASSERT_TRUE(setMtime(0, 0));
    EXPECT_EQ(GetLastModificationTime(file.c_str()), 116444736000000000UL);
    ASSERT_TRUE(setMtime(-1, 0)); // before 1970: huge when read as unsigned
    EXPECT_EQ(GetLastModificationTime(file.c_str()), kMax);

    struct stat st;
    if (setMtime(32535216000L, 0) && stat(file.c_str(), &st) == 0 &&
        st.st_mtim.tv_sec == 32535216000L) {
        EXPECT_EQ(GetLastModificationTime(file.c_str()), kMax);
        ASSERT_TRUE(setMtime(32535215999L, 0));
        EXPECT_EQ(GetLastModificationTime(file.c_str()), 441796895990000000UL);
    }

    EXPECT_EQ(GetLastModificationTime((dir / "missing").c_str()), 0u);
    EXPECT_EQ(GetLastModificationTime(""), 0u);
    EXPECT_EQ(GetLastModificationTime(nullptr), 0u);
}

// -------------------------------------------------------------------------------------------
// Directories

TEST(CreatePath, MakesEveryMissingLevel) {
    ScratchDir dir;
    const std::string target = dir / "a/b/c/";
    EXPECT_TRUE(CreatePath(target.c_str()));
    EXPECT_TRUE(DirectoryExists((dir / "a").c_str()));
    EXPECT_TRUE(DirectoryExists((dir / "a/b").c_str()));
    EXPECT_TRUE(DirectoryExists((dir / "a/b/c").c_str()));
    EXPECT_EQ(PermissionsOf(dir / "a/b/c") & 0777 & ~0770, 0u);

    EXPECT_TRUE(CreatePath((dir / "x//y").c_str()));
    EXPECT_TRUE(DirectoryExists((dir / "x/y").c_str()));
}

TEST(CreatePath, ExistingNameIsSuccessWithoutCreating) {
    ScratchDir dir;
    WriteFile(dir / "plain", "x");
    // A file already there counts: nothing is made and the file stays a file.
    EXPECT_TRUE(CreatePath((dir / "plain").c_str()));
    EXPECT_FALSE(DirectoryExists((dir / "plain").c_str()));
    EXPECT_TRUE(CreatePath(dir.c_str()));
}

TEST(CreatePath, FailsBelowAFileOrOnBadNames) {
    ScratchDir dir;
    WriteFile(dir / "plain", "x");
    EXPECT_FALSE(CreatePath((dir / "plain/sub/deeper").c_str()));
    EXPECT_FALSE(CreatePath(nullptr));
    EXPECT_FALSE(CreatePath(""));
}

TEST(CreatePath, RelativeNamesUseTheCurrentDirectory) {
    CwdGuard guard;
    ScratchDir dir;
    ASSERT_EQ(chdir(dir.c_str()), 0);
    EXPECT_TRUE(CreatePath("r/s/t"));
    EXPECT_TRUE(DirectoryExists((dir / "r/s/t").c_str()));
    EXPECT_TRUE(CreatePath("single"));
    EXPECT_TRUE(DirectoryExists((dir / "single").c_str()));
}

TEST(CreatePath, DeepChainBelowAFileFailsWithoutCrashing) {
    ScratchDir dir;
    WriteFile(dir / "plain", "x");
    // Thousands of one-letter levels: the recursion goes all the way up to the file.
    std::string deep = dir / "plain";
    while (deep.size() < 6000)
        deep += "/d";
    EXPECT_FALSE(CreatePath(deep.c_str()));
    EXPECT_EQ(FileSize((dir / "plain").c_str()), 1);
}

TEST(CreatePath, OverlongPathFailsWithoutLeavingTheNamedPlace) {
    ScratchDir dir;
    // Levels are made while they fit the system's limit; the whole name does not.
    std::string deep = dir.path();
    while (deep.size() < 5000)
        deep += "/level-name-of-32-characters-abc";
    EXPECT_FALSE(CreatePath(deep.c_str()));
    const std::string first = dir / "level-name-of-32-characters-abc";
    EXPECT_TRUE(DirectoryExists(first.c_str()));
    EXPECT_FALSE(CreatePath((dir / std::string(4200, 'n')).c_str()));
    // Whatever was made lies inside the scratch directory, on the named chain.
    for (const auto& entry : std::filesystem::directory_iterator(dir.path()))
        EXPECT_EQ(entry.path().filename(), "level-name-of-32-characters-abc");
}

TEST(IsDirectoryEmpty, CountsOnlyRegularFiles) {
    ScratchDir dir;
    ASSERT_EQ(mkdir((dir / "empty").c_str(), 0700), 0);
    ASSERT_EQ(mkdir((dir / "onlysub").c_str(), 0700), 0);
    ASSERT_EQ(mkdir((dir / "onlysub/inner").c_str(), 0700), 0);
    ASSERT_EQ(mkdir((dir / "nested").c_str(), 0700), 0);
    ASSERT_EQ(mkdir((dir / "nested/inner").c_str(), 0700), 0);
    WriteFile(dir / "nested/inner/f", "x");
    ASSERT_EQ(mkdir((dir / "withfile").c_str(), 0700), 0);
    WriteFile(dir / "withfile/noext", "x");
    ASSERT_EQ(mkdir((dir / "fifo").c_str(), 0700), 0);
    ASSERT_EQ(mkfifo((dir / "fifo/pipe").c_str(), 0600), 0);
    WriteFile(dir / "plain", "x");

    EXPECT_TRUE(IsDirectoryEmpty((dir / "empty").c_str()));
    EXPECT_TRUE(IsDirectoryEmpty((dir / "onlysub").c_str()));
    EXPECT_TRUE(IsDirectoryEmpty((dir / "nested").c_str())); // not recursive
    EXPECT_TRUE(IsDirectoryEmpty((dir / "fifo").c_str()));
    EXPECT_FALSE(IsDirectoryEmpty((dir / "withfile").c_str()));
    EXPECT_FALSE(IsDirectoryEmpty((dir.path() + "/withfile/").c_str()));
    EXPECT_TRUE(IsDirectoryEmpty((dir / "missing").c_str()));
    EXPECT_TRUE(IsDirectoryEmpty((dir / "plain").c_str()));
    EXPECT_TRUE(IsDirectoryEmpty(nullptr));
    EXPECT_TRUE(IsDirectoryEmpty(""));
}

TEST(DeleteDirectory, RemovesTheWholeTree) {
    ScratchDir dir;
    const std::string root = dir / "tree";
    ASSERT_TRUE(CreatePath((root + "/a/b/c").c_str()));
    ASSERT_TRUE(CreatePath((root + "/empty").c_str()));
    WriteFile(root + "/top.txt", "1");
    WriteFile(root + "/a/mid", "2");
    WriteFile(root + "/a/b/c/deep.bin", "3");
    ASSERT_EQ(chmod((root + "/a/mid").c_str(), 0400), 0);
    WriteFile(dir / "sibling", "stays");

    EXPECT_TRUE(DeleteDirectory(CString(root.c_str())));
    EXPECT_EQ(zulwin::GetLastError(), 0u);
    EXPECT_FALSE(Exists(root));
    EXPECT_TRUE(Exists(dir / "sibling"));
}

TEST(DeleteDirectory, MissingOrEmptyNamesTouchNothing) {
    CwdGuard guard;
    ScratchDir dir;
    ASSERT_EQ(chdir(dir.c_str()), 0);
    WriteFile(dir / "keep", "x");
    ASSERT_EQ(mkdir((dir / "sub").c_str(), 0700), 0);

    EXPECT_TRUE(DeleteDirectory(CString((dir / "missing").c_str())));
    EXPECT_EQ(zulwin::GetLastError(), 3u);
    EXPECT_TRUE(DeleteDirectory(CString("")));
    EXPECT_EQ(zulwin::GetLastError(), 87u);
    EXPECT_TRUE(Exists(dir / "keep"));
    EXPECT_TRUE(Exists(dir / "sub"));
}

TEST(DeleteDirectory, AFileNameIsLeftAlone) {
    ScratchDir dir;
    WriteFile(dir / "plain", "x");
    EXPECT_TRUE(DeleteDirectory(CString((dir / "plain").c_str())));
    EXPECT_EQ(zulwin::GetLastError(), 3u);
    EXPECT_TRUE(Exists(dir / "plain"));
}

TEST(DeleteDirectory, AFileThatCannotBeRemovedThrows) {
    // Nothing under /proc can be unlinked, not even by root.
    bool threw = false;
    try {
        DeleteDirectory(CString("/proc/sys/kernel/random"));
    } catch (zulwin::CFileException* e) {
        threw = true;
        EXPECT_NE(e->m_cause, 0);
        e->Delete();
    }
    EXPECT_TRUE(threw);
    EXPECT_TRUE(Exists("/proc/sys/kernel/random/uuid"));
}

// -------------------------------------------------------------------------------------------
// Share roots

TEST(IsPathUNCShare, ShareRootsOnly) {
    struct Case {
        const char* path;
        bool share;
    } const cases[] = {
        {"//srv\\share", true},
        {"//srv\\share\\", true},
        {"//srv\\share\\\\\\", true},
        {"//srv\\\\share", true},
        {"//srv\\\\\\share\\\\", true},
        {"//srv\\share\\dir", false},
        {"//srv\\\\share\\\\dir", false},
        {"//srv/share", false},
        {"//srv", false},
        {"//ab\\", false}, // five characters, but nothing after trimming
        {"//\\b", false},  // four characters or shorter
        {"//a\\b", true},
        {"//\\\\x", true},
        {"/srv\\share", false},
        {"\\\\srv\\share", false},
        {"", false},
    };
    for (const Case& c : cases)
        EXPECT_EQ(IsPathUNCShare(c.path), c.share) << c.path;
    EXPECT_FALSE(IsPathUNCShare(nullptr));
    EXPECT_TRUE(IsPathUNCShare(("//" + std::string(5000, 's') + "\\x").c_str()));
}
