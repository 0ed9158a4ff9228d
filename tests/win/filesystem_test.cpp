#include <platform/files.h>
#include <platform/system.h>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>

using zulwin::GetLastError;
using zulwin::SetLastError;

namespace {

constexpr unsigned int kSentinel = 0xDEADu;

class ScratchDir {
public:
    ScratchDir() {
        char name[] = "/tmp/winfs-test-XXXXXX";
        if (mkdtemp(name) != nullptr)
            m_path = name;
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

std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

bool Exists(const std::string& path) {
    struct stat st;
    return lstat(path.c_str(), &st) == 0;
}

std::string RandomBytes(std::size_t n, unsigned seed) {
    std::mt19937 rng(seed);
    std::string s(n, '\0');
    for (char& c : s)
        c = static_cast<char>(rng());
    return s;
}

} // namespace

// -------------------------------------------------------------------------------------------
// Directories

TEST(CreateDirectory, MakesOneLevelWithGroupAccess) {
    ScratchDir dir;
    const mode_t saved = umask(0);
    SetLastError(kSentinel);
    EXPECT_EQ(zulwin::CreateDirectory((dir / "new").c_str(), nullptr), 1);
    umask(saved);
    EXPECT_EQ(GetLastError(), 0u);
    struct stat st;
    ASSERT_EQ(stat((dir / "new").c_str(), &st), 0);
    EXPECT_TRUE(S_ISDIR(st.st_mode));
    EXPECT_EQ(st.st_mode & 07777, 0770u);
}

TEST(CreateDirectory, EveryFailureIsPathNotFound) {
    ScratchDir dir;
    ASSERT_EQ(mkdir((dir / "there").c_str(), 0700), 0);
    WriteFile(dir / "file", "x");
    const std::string cases[] = {
        "",
        dir / "there",               // exists
        dir / "missing/child",       // parent missing
        dir / "file/child",          // parent is a file
        dir / std::string(300, 'n'), // name too long for the file system
        "/" + std::string(5000, 'p'),
    };
    for (const std::string& path : cases) {
        SetLastError(kSentinel);
        EXPECT_EQ(zulwin::CreateDirectory(path.c_str(), nullptr), 0) << path.substr(0, 60);
        EXPECT_EQ(GetLastError(), 3u) << path.substr(0, 60);
    }
    SetLastError(kSentinel);
    EXPECT_EQ(zulwin::CreateDirectory(nullptr, nullptr), 0);
    EXPECT_EQ(GetLastError(), 3u);
}

TEST(RemoveDirectory, ResultsAndLastErrors) {
    ScratchDir dir;
    ASSERT_EQ(mkdir((dir / "empty").c_str(), 0700), 0);
    ASSERT_EQ(mkdir((dir / "full").c_str(), 0700), 0);
    WriteFile(dir / "full/f", "x");
    WriteFile(dir / "file", "x");
    ASSERT_EQ(symlink((dir / "empty").c_str(), (dir / "link").c_str()), 0);

    struct Case {
        std::string path;
        int result;
        unsigned int error;
    } const cases[] = {
        {"", 0, 87},           {dir / "full", 0, 3}, {dir / "missing", 0, 3},
        {dir / "file", 0, 3},  {dir / "link", 0, 3}, // rmdir does not follow the link
        {dir / "empty", 1, 0},
    };
    for (const Case& c : cases) {
        SetLastError(kSentinel);
        EXPECT_EQ(zulwin::RemoveDirectory(c.path.c_str()), c.result) << c.path;
        EXPECT_EQ(GetLastError(), c.error) << c.path;
    }
    EXPECT_FALSE(Exists(dir / "empty"));
    EXPECT_TRUE(Exists(dir / "full/f"));
    EXPECT_TRUE(Exists(dir / "file"));
    SetLastError(kSentinel);
    EXPECT_EQ(zulwin::RemoveDirectory(nullptr), 0);
    EXPECT_EQ(GetLastError(), 87u);
}

TEST(PathIsDirectory, ReturnsTheBitAndLeavesTheLastError) {
    ScratchDir dir;
    WriteFile(dir / "file", "x");
    ASSERT_EQ(symlink(dir.c_str(), (dir / "dirlink").c_str()), 0);
    ASSERT_EQ(symlink((dir / "nowhere").c_str(), (dir / "dangling").c_str()), 0);
    SetLastError(kSentinel);
    EXPECT_EQ(zulwin::PathIsDirectory(dir.c_str()), 0x4000u);
    EXPECT_EQ(zulwin::PathIsDirectory((dir / "dirlink").c_str()), 0x4000u);
    EXPECT_EQ(zulwin::PathIsDirectory((dir / "file").c_str()), 0u);
    EXPECT_EQ(zulwin::PathIsDirectory((dir / "dangling").c_str()), 0u);
    EXPECT_EQ(zulwin::PathIsDirectory((dir / "missing").c_str()), 0u);
    EXPECT_EQ(zulwin::PathIsDirectory(""), 0u);
    EXPECT_EQ(zulwin::PathIsDirectory(nullptr), 0u);
    EXPECT_EQ(zulwin::PathIsDirectory(("/" + std::string(5000, 'x')).c_str()), 0u);
    EXPECT_EQ(GetLastError(), kSentinel);
}

TEST(GetCurrentDirectory, LengthAndCopy) {
    CwdGuard guard;
    ScratchDir dir;
    ASSERT_EQ(chdir(dir.c_str()), 0);
    const unsigned int expected = static_cast<unsigned int>(dir.path().size());

    SetLastError(kSentinel);
    EXPECT_EQ(zulwin::GetCurrentDirectory(0, nullptr), expected);
    EXPECT_EQ(GetLastError(), 0u);

    std::string buffer(expected + 8, '#');
    SetLastError(kSentinel);
    EXPECT_EQ(zulwin::GetCurrentDirectory(static_cast<unsigned int>(buffer.size()), &buffer[0]),
              expected);
    EXPECT_EQ(GetLastError(), 0u);
    EXPECT_STREQ(buffer.c_str(), dir.c_str());
    EXPECT_EQ(buffer[expected + 1], '#'); // exactly the path and its terminator

    // Size 0 with a buffer: only the length, nothing written.
    std::string untouched(8, '#');
    EXPECT_EQ(zulwin::GetCurrentDirectory(0, &untouched[0]), expected);
    EXPECT_EQ(untouched, std::string(8, '#'));
}

TEST(GetCurrentDirectory, Failures) {
    SetLastError(kSentinel);
    EXPECT_EQ(zulwin::GetCurrentDirectory(10, nullptr), 0u);
    EXPECT_EQ(GetLastError(), 87u);

    CwdGuard guard;
    ScratchDir dir;
    ASSERT_EQ(mkdir((dir / "gone").c_str(), 0700), 0);
    ASSERT_EQ(chdir((dir / "gone").c_str()), 0);
    ASSERT_EQ(rmdir((dir / "gone").c_str()), 0);
    char buffer[16] = "keep";
    SetLastError(kSentinel);
    EXPECT_EQ(zulwin::GetCurrentDirectory(sizeof buffer, buffer), 0u);
    EXPECT_EQ(GetLastError(), 3u);
    EXPECT_STREQ(buffer, "keep");
}

// -------------------------------------------------------------------------------------------
// CopyFile

TEST(CopyFile, CopiesContentsOfEverySize) {
    ScratchDir dir;
    // Around the 16384-byte chunk: a read of exactly a chunk is followed by one of 0 bytes.
    for (std::size_t size : {0ul, 1ul, 16383ul, 16384ul, 16385ul, 3 * 16384ul + 7, 1ul << 20}) {
        const std::string content = RandomBytes(size, static_cast<unsigned>(size));
        WriteFile(dir / "src", content);
        SetLastError(kSentinel);
        ASSERT_EQ(zulwin::CopyFile((dir / "src").c_str(), (dir / "dst").c_str(), 1), 1) << size;
        EXPECT_EQ(GetLastError(), 0u);
        EXPECT_EQ(ReadFile(dir / "dst"), content) << size;
        EXPECT_EQ(ReadFile(dir / "src"), content);
        ASSERT_EQ(unlink((dir / "dst").c_str()), 0);
    }
}

TEST(CopyFile, ExistingTargetIsRefusedOrReplaced) {
    ScratchDir dir;
    WriteFile(dir / "a", "new contents");
    WriteFile(dir / "b", "old contents that are longer");
    SetLastError(kSentinel);
    EXPECT_EQ(zulwin::CopyFile((dir / "a").c_str(), (dir / "b").c_str(), 1), 0);
    EXPECT_EQ(GetLastError(), 183u);
    EXPECT_EQ(ReadFile(dir / "b"), "old contents that are longer");

    EXPECT_EQ(zulwin::CopyFile((dir / "a").c_str(), (dir / "b").c_str(), 0), 1);
    EXPECT_EQ(GetLastError(), 0u);
    EXPECT_EQ(ReadFile(dir / "b"), "new contents");
}

TEST(CopyFile, CopiesNeitherPermissionsNorTimes) {
    ScratchDir dir;
    WriteFile(dir / "a", "x");
    ASSERT_EQ(chmod((dir / "a").c_str(), 0400), 0);
    const timespec old[2] = {{1000000, 0}, {1000000, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, (dir / "a").c_str(), old, 0), 0);
    const mode_t saved = umask(007);
    EXPECT_EQ(zulwin::CopyFile((dir / "a").c_str(), (dir / "b").c_str(), 1), 1);
    umask(saved);
    struct stat st;
    ASSERT_EQ(stat((dir / "b").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0660u);
    EXPECT_NE(st.st_mtim.tv_sec, 1000000);
}

TEST(CopyFile, BadNamesAndMissingFiles) {
    ScratchDir dir;
    WriteFile(dir / "a", "x");
    ASSERT_EQ(mkdir((dir / "sub").c_str(), 0700), 0);
    ASSERT_EQ(symlink((dir / "nowhere").c_str(), (dir / "dangling").c_str()), 0);
    const std::string a = dir / "a";
    const std::string longName = dir / std::string(5000, 'l');
    const std::string names[] = {dir / "missing", dir / "dangling", dir / "no/such/dir",
                                 dir / "a/below", dir / "sub",      dir / "t1",
                                 dir / "t2",      dir / "t3",       dir / "t4"};
    enum { missing, dangling, noDir, belowFile, sub, t1, t2, t3, t4 };

    struct Case {
        const char* from;
        const char* to;
        int failIfExists;
        unsigned int error;
    } const cases[] = {
        {nullptr, a.c_str(), 0, 13},
        {a.c_str(), nullptr, 0, 13},
        {"", a.c_str(), 0, 13},
        {a.c_str(), "", 0, 13},
        {names[missing].c_str(), names[t1].c_str(), 0, 2},
        {names[dangling].c_str(), names[t2].c_str(), 0, 2},
        {longName.c_str(), names[t3].c_str(), 0, 2},
        {a.c_str(), names[noDir].c_str(), 0, 5},
        {a.c_str(), names[belowFile].c_str(), 0, 5},
        {a.c_str(), longName.c_str(), 0, 5},
        {a.c_str(), names[sub].c_str(), 0, 5},   // a directory cannot be unlinked
        {a.c_str(), names[sub].c_str(), 1, 183}, // but it does exist
        {names[sub].c_str(), names[t4].c_str(), 0, 5},
    };
    for (const Case& c : cases) {
        const std::string label =
            std::string(c.from ? c.from : "(null)") + " -> " + (c.to ? c.to : "(null)");
        SetLastError(kSentinel);
        EXPECT_EQ(zulwin::CopyFile(c.from, c.to, c.failIfExists), 0) << label.substr(0, 200);
        EXPECT_EQ(GetLastError(), c.error) << label.substr(0, 200);
    }
    for (int i : {t1, t2, t3, t4})
        EXPECT_FALSE(Exists(names[i])) << names[i];
    EXPECT_TRUE(Exists(names[sub]));
    EXPECT_EQ(ReadFile(a), "x");
}

TEST(CopyFile, DanglingLinkTargetIsReplacedNotWrittenThrough) {
    ScratchDir dir;
    WriteFile(dir / "a", "payload");
    ASSERT_EQ(symlink((dir / "elsewhere").c_str(), (dir / "dangling").c_str()), 0);
    SetLastError(kSentinel);
    EXPECT_EQ(zulwin::CopyFile((dir / "a").c_str(), (dir / "dangling").c_str(), 1), 0);
    EXPECT_EQ(GetLastError(), 183u);
    EXPECT_EQ(zulwin::CopyFile((dir / "a").c_str(), (dir / "dangling").c_str(), 0), 1);
    struct stat st;
    ASSERT_EQ(lstat((dir / "dangling").c_str(), &st), 0);
    EXPECT_TRUE(S_ISREG(st.st_mode));
    EXPECT_EQ(ReadFile(dir / "dangling"), "payload");
    EXPECT_FALSE(Exists(dir / "elsewhere"));
}

TEST(CopyFile, LinkedTargetIsReplacedAndItsFileKept) {
    ScratchDir dir;
    WriteFile(dir / "a", "payload");
    WriteFile(dir / "real", "keep me");
    ASSERT_EQ(symlink((dir / "real").c_str(), (dir / "link").c_str()), 0);
    EXPECT_EQ(zulwin::CopyFile((dir / "a").c_str(), (dir / "link").c_str(), 0), 1);
    EXPECT_EQ(ReadFile(dir / "real"), "keep me");
    EXPECT_EQ(ReadFile(dir / "link"), "payload");
}

// -------------------------------------------------------------------------------------------
// MoveFileEx and MoveFile

TEST(MoveFile, CopiesThenRemovesTheSource) {
    ScratchDir dir;
    const std::string content = RandomBytes(40000, 7);
    WriteFile(dir / "a", content);
    WriteFile(dir / "b", "occupied");

    SetLastError(kSentinel);
    EXPECT_EQ(zulwin::MoveFileEx((dir / "a").c_str(), (dir / "b").c_str(), 0), 0);
    EXPECT_EQ(GetLastError(), 183u);
    EXPECT_EQ(ReadFile(dir / "a"), content);
    EXPECT_EQ(ReadFile(dir / "b"), "occupied");

    EXPECT_EQ(zulwin::MoveFile((dir / "a").c_str(), (dir / "b").c_str()), 0);
    EXPECT_EQ(GetLastError(), 183u);

    // Other flag bits are ignored: 0x2 alone still refuses.
    EXPECT_EQ(zulwin::MoveFileEx((dir / "a").c_str(), (dir / "b").c_str(), 0x2), 0);
    EXPECT_EQ(GetLastError(), 183u);

    EXPECT_EQ(zulwin::MoveFileEx((dir / "a").c_str(), (dir / "b").c_str(), 0x3), 1);
    EXPECT_EQ(GetLastError(), 0u);
    EXPECT_FALSE(Exists(dir / "a"));
    EXPECT_EQ(ReadFile(dir / "b"), content);

    EXPECT_EQ(zulwin::MoveFile((dir / "b").c_str(), (dir / "c").c_str()), 1);
    EXPECT_FALSE(Exists(dir / "b"));
    EXPECT_EQ(ReadFile(dir / "c"), content);
}

TEST(MoveFile, IsNeverARename) {
    ScratchDir dir;
    WriteFile(dir / "a", "x");
    struct stat before;
    ASSERT_EQ(stat((dir / "a").c_str(), &before), 0);
    const int fd = open((dir / "a").c_str(), O_RDONLY); // keeps the old inode alive
    ASSERT_GE(fd, 0);
    ASSERT_EQ(zulwin::MoveFile((dir / "a").c_str(), (dir / "b").c_str()), 1);
    struct stat after;
    ASSERT_EQ(stat((dir / "b").c_str(), &after), 0);
    EXPECT_NE(before.st_ino, after.st_ino);
    close(fd);
}

TEST(MoveFile, FailuresKeepTheSource) {
    ScratchDir dir;
    WriteFile(dir / "a", "x");
    SetLastError(kSentinel);
    EXPECT_EQ(zulwin::MoveFile((dir / "missing").c_str(), (dir / "b").c_str()), 0);
    EXPECT_EQ(GetLastError(), 2u);
    EXPECT_EQ(zulwin::MoveFile((dir / "a").c_str(), (dir / "no/dir/b").c_str()), 0);
    EXPECT_EQ(GetLastError(), 5u);
    EXPECT_EQ(zulwin::MoveFileEx(nullptr, (dir / "b").c_str(), 1), 0);
    EXPECT_EQ(GetLastError(), 13u);
    EXPECT_EQ(ReadFile(dir / "a"), "x");
}

TEST(MoveFile, OntoItselfLosesTheFileAsDocumented) {
    ScratchDir dir;
    WriteFile(dir / "a", "x");
    EXPECT_EQ(zulwin::MoveFile((dir / "a").c_str(), (dir / "a").c_str()), 0);
    EXPECT_EQ(GetLastError(), 183u);
    EXPECT_TRUE(Exists(dir / "a"));
    // Replacing unlinks the target first, which is the source.
    EXPECT_EQ(zulwin::MoveFileEx((dir / "a").c_str(), (dir / "a").c_str(), 1), 0);
    EXPECT_EQ(GetLastError(), 5u);
    EXPECT_FALSE(Exists(dir / "a"));
}
