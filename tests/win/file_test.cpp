#include <platform/files.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <ftw.h>
#include <iterator>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

using zulwin::CFile;
using zulwin::CFileException;

namespace {

// A fresh directory under /tmp, removed with everything in it at the end of the test.
class TempDir {
public:
    TempDir() {
        char pattern[] = "/tmp/cfile_test.XXXXXX";
        char* made = ::mkdtemp(pattern);
        EXPECT_NE(made, nullptr);
        if (made != nullptr) {
            char real[PATH_MAX];
            m_path = ::realpath(made, real) != nullptr ? real : made;
        }
    }
    ~TempDir() {
        if (!m_path.empty())
            ::nftw(m_path.c_str(), RemoveEntry, 16, FTW_DEPTH | FTW_PHYS);
    }
    const std::string& path() const { return m_path; }
    std::string operator/(const std::string& name) const { return m_path + "/" + name; }

private:
    static int RemoveEntry(const char* path, const struct stat*, int, struct FTW*) {
        ::remove(path);
        return 0;
    }
    std::string m_path;
};

// Changes the current directory for one test and restores it afterwards.
class CurrentDirectory {
public:
    explicit CurrentDirectory(const std::string& dir) {
        char buffer[PATH_MAX];
        if (::getcwd(buffer, sizeof buffer) != nullptr)
            m_saved = buffer;
        EXPECT_EQ(::chdir(dir.c_str()), 0);
    }
    ~CurrentDirectory() {
        if (!m_saved.empty() && ::chdir(m_saved.c_str()) != 0)
            ADD_FAILURE() << "cannot return to " << m_saved;
    }

private:
    std::string m_saved;
};

void WriteText(const std::string& path, const std::string& text) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << text;
}

std::string ReadText(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

bool Exists(const std::string& path) {
    struct stat st;
    return ::stat(path.c_str(), &st) == 0;
}

// "ab/ab/.../ab" with `count` segments: long, with short components.
std::string RepeatedPath(int count) {
    std::string path = "ab";
    for (int i = 1; i < count; ++i)
        path += "/ab";
    return path;
}

bool DescriptorIsOpen(int fd) {
    return ::fcntl(fd, F_GETFD) != -1;
}

// What a CFileException* thrown by `action` says; cause -100 when nothing was thrown.
struct Thrown {
    int cause = -100;
    int osError = 0;
    std::string fileName;
};

template <class Action> Thrown Catch(Action&& action) {
    Thrown result;
    try {
        action();
    } catch (CFileException* e) {
        result.cause = e->m_cause;
        result.osError = e->m_lOsError;
        result.fileName = e->m_strFileName.GetString();
        e->Delete();
    }
    return result;
}

} // namespace

TEST(XlatOpenFlags, TranslatesTheAccessAndCreationBits) {
    struct Row {
        unsigned int flags;
        int oflag;
        unsigned int mode;
    };
    const Row rows[] = {
        {0x0000, O_RDONLY, 0},
        {0x1000, O_RDONLY, 0}, // read-only never creates
        {0x2000, O_RDONLY, 0},
        {0x3000, O_RDONLY, 0},
        {0x0001, O_WRONLY, 0},
        {0x2001, O_WRONLY, 0}, // no-truncate alone has no effect
        {0x1001, O_WRONLY | O_CREAT | O_TRUNC, 0664},
        {0x3001, O_WRONLY | O_CREAT, 0664},
        {0x0002, O_RDWR, 0},
        {0x2002, O_RDWR, 0},
        {0x1002, O_RDWR | O_CREAT | O_TRUNC, 0664},
        {0x3002, O_RDWR | O_CREAT, 0664},
        {0x0003, O_WRONLY, 0}, // the write bit is tested first
        {0x1003, O_WRONLY | O_CREAT | O_TRUNC, 0664},
        // Share, inheritance and text/binary bits are ignored.
        {0x1001 | 0x0040 | 0x0080 | 0x4000 | 0x8000, O_WRONLY | O_CREAT | O_TRUNC, 0664},
        {0x0010 | 0x0020, O_RDONLY, 0},
    };
    for (const Row& row : rows) {
        int oflag = -1;
        unsigned int mode = 12345;
        EXPECT_EQ(zulwin::_XlatOpenFlags(row.flags, &oflag, &mode), 1);
        EXPECT_EQ(oflag, row.oflag) << std::hex << row.flags;
        EXPECT_EQ(mode, row.mode) << std::hex << row.flags;
    }
    EXPECT_EQ(0x241, O_WRONLY | O_CREAT | O_TRUNC); // the numbers the callers rely on
    EXPECT_EQ(zulwin::_XlatOpenFlags(0x1001, nullptr, nullptr), 1);
}

// The flag table seen from the file system: what happens to an existing or a missing file.
TEST(CFileOpen, FlagTableBehaviour) {
    struct Row {
        unsigned int flags;
        bool existing;
        bool opens;
        const char* contentAfterOpen; // null: the file must not exist afterwards
    };
    const Row rows[] = {
        {0x0000, true, true, "hello"},   {0x0000, false, false, nullptr},
        {0x1000, false, false, nullptr}, {0x3000, false, false, nullptr},
        {0x0001, true, true, "hello"},   {0x0001, false, false, nullptr},
        {0x2001, true, true, "hello"},   {0x2001, false, false, nullptr},
        {0x1001, true, true, ""},        {0x1001, false, true, ""},
        {0x3001, true, true, "hello"},   {0x3001, false, true, ""},
        {0x0002, true, true, "hello"},   {0x0002, false, false, nullptr},
        {0x1002, true, true, ""},        {0x3002, true, true, "hello"},
        {0x3002, false, true, ""},       {0x1003, true, true, ""},
    };
    TempDir dir;
    int index = 0;
    for (const Row& row : rows) {
        const std::string name = dir / ("f" + std::to_string(index++));
        if (row.existing)
            WriteText(name, "hello");
        CFile file;
        CFileException error;
        EXPECT_EQ(file.Open(name.c_str(), row.flags, &error), row.opens ? 1 : 0)
            << std::hex << row.flags << " existing " << row.existing;
        EXPECT_EQ(zulplatform::IsValidFile(file), row.opens);
        if (!row.opens) {
            EXPECT_EQ(error.m_cause, CFileException::causeFileNotFound);
            EXPECT_EQ(error.m_lOsError, -1);
            EXPECT_EQ(error.m_strFileName, name.c_str());
        }
        if (row.contentAfterOpen == nullptr)
            EXPECT_FALSE(Exists(name)) << std::hex << row.flags;
        else
            EXPECT_EQ(ReadText(name), row.contentAfterOpen) << std::hex << row.flags;
    }
}

TEST(CFileOpen, NoTruncateWritesFromTheStartAndReadWriteReadsBack) {
    TempDir dir;
    const std::string name = dir / "data";
    WriteText(name, "hello world");
    {
        CFile file;
        ASSERT_EQ(file.Open(name.c_str(), 0x3001), 1);
        EXPECT_EQ(file.GetPosition(), 0u);
        file.Write("HE", 2);
        EXPECT_EQ(file.GetPosition(), 2u);
    }
    EXPECT_EQ(ReadText(name), "HEllo world");

    CFile file;
    ASSERT_EQ(file.Open(name.c_str(), 0x0002), 1);
    char buffer[16] = {};
    EXPECT_EQ(file.Read(buffer, 5), 5u);
    EXPECT_STREQ(buffer, "HEllo");
    file.Write("!", 1);
    file.Close();
    EXPECT_EQ(ReadText(name), "HEllo!world");
}

TEST(CFileOpen, CreatesWithMode0664UnderTheUmask) {
    TempDir dir;
    const mode_t saved = ::umask(007);
    const std::string name = dir / "created";
    {
        CFile file;
        ASSERT_EQ(file.Open(name.c_str(), CFile::openWrite | CFile::openCreate), 1);
    }
    ::umask(saved);
    struct stat st;
    ASSERT_EQ(::stat(name.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0660u);
}

TEST(CFileOpen, AlreadyOpenFailsWithInvalidFileAndKeepsTheFirstFile) {
    TempDir dir;
    const std::string first = dir / "first";
    const std::string second = dir / "second";
    WriteText(first, "1");
    WriteText(second, "2");
    CFile file;
    ASSERT_EQ(file.Open(first.c_str(), 0), 1);
    const int fd = static_cast<int>(file);

    CFileException error(0, 7, "kept");
    EXPECT_EQ(file.Open(second.c_str(), 0, &error), 0);
    EXPECT_EQ(error.m_cause, CFileException::causeInvalidFile);
    EXPECT_EQ(error.m_lOsError, -1);
    EXPECT_EQ(error.m_strFileName, "kept");
    EXPECT_EQ(static_cast<int>(file), fd);
    EXPECT_EQ(file.GetFilePath(), first.c_str());
    char c = 0;
    EXPECT_EQ(file.Read(&c, 1), 1u);
    EXPECT_EQ(c, '1');
    EXPECT_EQ(file.Open(second.c_str(), 0, nullptr), 0); // no error object: just the result
}

TEST(CFileOpen, NullNameIsABadPath) {
    CFile file;
    CFileException error(0, 7, "kept");
    EXPECT_EQ(file.Open(nullptr, 0, &error), 0);
    EXPECT_EQ(error.m_cause, CFileException::causeBadPath);
    EXPECT_EQ(error.m_lOsError, -1);
    EXPECT_EQ(file.Open(nullptr, 0x1001), 0);
    EXPECT_FALSE(zulplatform::IsValidFile(file));
}

TEST(CFileOpen, FailureCausesFollowTheSystemError) {
    TempDir dir;
    WriteText(dir / "plain", "x");
    ASSERT_EQ(::mkdir((dir / "sub").c_str(), 0770), 0);
    struct Row {
        std::string name;
        unsigned int flags;
        int cause;
    };
    const Row rows[] = {
        {dir / "missing", 0, CFileException::causeFileNotFound},
        // A wildcard name that is not found reads as a bad path.
        {dir / "a*b", 0, CFileException::causeBadPath},
        {dir / "a?b", 0, CFileException::causeBadPath},
        // A file where a directory is expected.
        {dir / "plain/inner", 0, CFileException::causeBadPath},
        {dir / "plain/inner", 0x1001, CFileException::causeBadPath},
        {dir / "nodir/inner", 0x1001, CFileException::causeFileNotFound},
        // A directory opened for writing.
        {dir / "sub", 0x0001, CFileException::causeAccessDenied},
        // Too long: one component over the name limit, and a whole path over 4096.
        {dir / std::string(300, 'n'), 0, CFileException::causeBadPath},
        {dir / std::string(5000, 'n'), 0x1001, CFileException::causeBadPath},
        {dir / RepeatedPath(1500), 0x1001, CFileException::causeBadPath},
    };
    for (const Row& row : rows) {
        CFile file;
        CFileException error;
        EXPECT_EQ(file.Open(row.name.c_str(), row.flags, &error), 0) << row.name;
        EXPECT_EQ(error.m_cause, row.cause) << row.name;
        EXPECT_EQ(error.m_lOsError, -1);
        EXPECT_EQ(error.m_strFileName, row.name.c_str());
        EXPECT_FALSE(zulplatform::IsValidFile(file));
        // The canonical name is kept after a failed open.
        EXPECT_EQ(file.GetFilePath(), row.name.c_str());
    }
}

TEST(CFileOpen, ADirectoryOpensReadOnlyAndReadsNothing) {
    TempDir dir;
    CFile file;
    ASSERT_EQ(file.Open(dir.path().c_str(), 0), 1);
    char buffer[8];
    EXPECT_EQ(file.Read(buffer, sizeof buffer), 0u); // EISDIR, reported as nothing read
}

TEST(CFileOpen, StoresTheCanonicalAbsolutePath) {
    TempDir dir;
    ASSERT_EQ(::mkdir((dir / "a").c_str(), 0770), 0);
    ASSERT_EQ(::mkdir((dir / "a/b").c_str(), 0770), 0);
    CurrentDirectory cd(dir.path());
    struct Row {
        std::string given;
        std::string stored;
    };
    const Row rows[] = {
        {"rel.txt", dir / "rel.txt"},
        {"./a/../rel.txt", dir / "rel.txt"},
        {"a/b/../x.txt", dir / "a/x.txt"},
        {"a//b/./y.txt", dir / "a/b/y.txt"},
        {dir / "./a//b/../z.txt", dir / "a/z.txt"},
        {"/.." + dir.path() + "/w.txt", dir / "w.txt"},
    };
    for (const Row& row : rows) {
        CFile file;
        ASSERT_EQ(file.Open(row.given.c_str(), 0x1001), 1) << row.given;
        EXPECT_EQ(file.GetFilePath(), row.stored.c_str()) << row.given;
        EXPECT_TRUE(Exists(row.stored)) << row.given;
    }
    // The empty name is the current directory itself, which cannot be opened as a file.
    CFile file;
    CFileException error;
    EXPECT_EQ(file.Open("", 0, &error), 0);
    EXPECT_EQ(error.m_cause, CFileException::causeFileNotFound);
    EXPECT_EQ(file.GetFilePath(), dir.path().c_str());
}

TEST(CFileOpen, TheNameIsOpenedAsGivenEvenWhenNotValidText) {
    TempDir dir;
    const std::string raw = dir / "caf\xE9";
    WriteText(raw, "bytes");
    CFile file;
    ASSERT_EQ(file.Open(raw.c_str(), 0), 1);
    char buffer[8] = {};
    EXPECT_EQ(file.Read(buffer, 5), 5u);
    EXPECT_STREQ(buffer, "bytes");
}

TEST(CFileOpen, NeverUsesDescriptorZero) {
    TempDir dir;
    const std::string name = dir / "f";
    WriteText(name, "z");
    const int savedStdin = ::dup(0);
    ASSERT_GE(savedStdin, 0);
    ::close(0);
    int fd = -1;
    {
        CFile file;
        EXPECT_EQ(file.Open(name.c_str(), 0), 1);
        fd = static_cast<int>(file);
        char c = 0;
        EXPECT_EQ(file.Read(&c, 1), 1u);
        EXPECT_EQ(c, 'z');
    }
    const bool zeroLeftOpen = DescriptorIsOpen(0);
    EXPECT_EQ(::dup2(savedStdin, 0), 0);
    ::close(savedStdin);
    EXPECT_GT(fd, 0);
    EXPECT_FALSE(zeroLeftOpen);
}

TEST(CFileConstructor, OpensOrThrowsWithTheNameAsGiven) {
    TempDir dir;
    CurrentDirectory cd(dir.path());
    {
        CFile file("made.txt", 0x1001);
        EXPECT_TRUE(zulplatform::IsValidFile(file));
        EXPECT_EQ(file.GetFilePath(), (dir / "made.txt").c_str());
    }
    Thrown t = Catch([] { CFile file("./missing.txt", 0); });
    EXPECT_EQ(t.cause, CFileException::causeFileNotFound);
    EXPECT_EQ(t.osError, -1);
    EXPECT_EQ(t.fileName, "./missing.txt");

    t = Catch([] { CFile file("w*ld", 0); });
    EXPECT_EQ(t.cause, CFileException::causeBadPath);

    t = Catch([] { CFile file(nullptr, 0); });
    EXPECT_EQ(t.cause, CFileException::causeBadPath);
    EXPECT_EQ(t.fileName, "an unnamed file");
}

TEST(CFileWrite, ArgumentAndStateChecks) {
    CFile closed;
    EXPECT_EQ(Catch([&] { closed.Write(nullptr, 0); }).cause, -100);
    EXPECT_EQ(Catch([&] { closed.Write("x", 0); }).cause, -100);
    Thrown t = Catch([&] { closed.Write(nullptr, 1); });
    EXPECT_EQ(t.cause, CFileException::causeGeneric);
    EXPECT_EQ(t.osError, -1);
    EXPECT_EQ(t.fileName, "an unnamed file");
    EXPECT_EQ(Catch([&] { closed.Write("x", 1); }).cause, CFileException::causeGeneric);

    TempDir dir;
    const std::string name = dir / "w";
    CFile file;
    ASSERT_EQ(file.Open(name.c_str(), 0x1001), 1);
    t = Catch([&] { file.Write(nullptr, 1); });
    EXPECT_EQ(t.cause, CFileException::causeGeneric);
    EXPECT_EQ(t.fileName, name);
    file.Write("abc", 3);
    EXPECT_EQ(file.GetLength(), 3u);
}

TEST(CFileWrite, SystemFailuresTranslateTheErrno) {
    TempDir dir;
    const std::string name = dir / "ro";
    WriteText(name, "data");
    CFile readOnly;
    ASSERT_EQ(readOnly.Open(name.c_str(), 0), 1);
    Thrown t = Catch([&] { readOnly.Write("x", 1); }); // EBADF
    EXPECT_EQ(t.cause, CFileException::causeInvalidFile);
    EXPECT_EQ(t.fileName, name);
    EXPECT_EQ(ReadText(name), "data");

    CFile full;
    if (full.Open("/dev/full", CFile::openWrite) == 1) {
        t = Catch([&] { full.Write("x", 1); }); // ENOSPC
        EXPECT_EQ(t.cause, CFileException::causeDirectoryFull);
        EXPECT_EQ(t.fileName, "/dev/full");
    }
}

TEST(CFileRead, ReportsByCountAndNeverThrows) {
    TempDir dir;
    const std::string name = dir / "r";
    WriteText(name, "0123456789");
    CFile file;
    char buffer[32] = {};
    EXPECT_EQ(file.Read(buffer, sizeof buffer), 0u); // closed
    ASSERT_EQ(file.Open(name.c_str(), 0), 1);
    EXPECT_EQ(file.Read(nullptr, 4), 0u);
    EXPECT_EQ(file.Read(buffer, 0), 0u);
    EXPECT_EQ(file.GetPosition(), 0u); // neither of those read anything
    EXPECT_EQ(file.Read(buffer, 4), 4u);
    EXPECT_EQ(std::string(buffer, 4), "0123");
    EXPECT_EQ(file.Read(buffer, sizeof buffer), 6u); // one read call, short at the end
    EXPECT_EQ(file.Read(buffer, sizeof buffer), 0u); // end of file
    EXPECT_EQ(file.Read(buffer, sizeof buffer), 0u);

    CFile writeOnly;
    ASSERT_EQ(writeOnly.Open(name.c_str(), 0x2001), 1);
    EXPECT_EQ(writeOnly.Read(buffer, 4), 0u); // EBADF reads as nothing
}

TEST(CFileSeek, PositionsLengthAndFailures) {
    TempDir dir;
    const std::string name = dir / "s";
    WriteText(name, "0123456789");
    CFile file;
    EXPECT_EQ(Catch([&] { file.Seek(0, 0); }).cause, CFileException::causeInvalidFile);
    EXPECT_EQ(Catch([&] { file.GetPosition(); }).cause, CFileException::causeInvalidFile);
    EXPECT_EQ(Catch([&] { file.GetLength(); }).cause, CFileException::causeInvalidFile);

    ASSERT_EQ(file.Open(name.c_str(), 0x0002), 1);
    EXPECT_EQ(file.Seek(4, CFile::begin), 4u);
    EXPECT_EQ(file.Seek(2, CFile::current), 6u);
    EXPECT_EQ(file.Seek(-3, CFile::end), 7u);
    EXPECT_EQ(file.GetLength(), 10u);
    EXPECT_EQ(file.GetPosition(), 7u);           // GetLength puts the position back
    EXPECT_EQ(file.Seek(20, CFile::begin), 20u); // past the end is allowed

    Thrown t = Catch([&] { file.Seek(0, 3); });
    EXPECT_EQ(t.cause, CFileException::causeBadSeek);
    EXPECT_EQ(t.fileName, name);
    EXPECT_EQ(Catch([&] { file.Seek(0, 0xFFFFFFFFu); }).cause, CFileException::causeBadSeek);
    t = Catch([&] { file.Seek(-100, CFile::begin); }); // EINVAL is not in the errno table
    EXPECT_EQ(t.cause, CFileException::causeGeneric);
    EXPECT_EQ(t.fileName, name);
    EXPECT_EQ(file.GetPosition(), 20u);
}

TEST(CFileSeek, UnseekableFileThrowsTheErrnoCause) {
    TempDir dir;
    const std::string fifo = dir / "fifo";
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0660), 0);
    CFile file;
    ASSERT_EQ(file.Open(fifo.c_str(), CFile::openReadWrite), 1); // O_RDWR does not block
    // ESPIPE has no entry of its own in the table.
    EXPECT_EQ(Catch([&] { file.Seek(0, 0); }).cause, CFileException::causeGeneric);
    EXPECT_EQ(Catch([&] { file.GetPosition(); }).cause, CFileException::causeGeneric);
    EXPECT_EQ(Catch([&] { file.GetLength(); }).cause, CFileException::causeGeneric);
    file.Write("ab", 2);
    char buffer[4] = {};
    EXPECT_EQ(file.Read(buffer, sizeof buffer), 2u);
}

TEST(CFileSetLength, TruncatesOrExtendsAndMovesToTheEnd) {
    TempDir dir;
    const std::string name = dir / "len";
    WriteText(name, "0123456789");
    CFile file;
    EXPECT_EQ(Catch([&] { file.SetLength(3); }).cause, CFileException::causeInvalidFile);
    ASSERT_EQ(file.Open(name.c_str(), 0x3002), 1);
    file.SetLength(4);
    EXPECT_EQ(file.GetPosition(), 4u);
    EXPECT_EQ(file.GetLength(), 4u);
    file.SetLength(8);
    EXPECT_EQ(file.GetPosition(), 8u);
    file.Flush();
    file.Close();
    EXPECT_EQ(ReadText(name), std::string("0123\0\0\0\0", 8));
    file.Flush(); // closed: nothing to do, no throw
}

TEST(CFileClose, EmptiesThePathAndAllowsReopening) {
    TempDir dir;
    const std::string name = dir / "c";
    WriteText(name, "c");
    CFile file;
    ASSERT_EQ(file.Open(name.c_str(), 0), 1);
    const int fd = static_cast<int>(file);
    file.Close();
    EXPECT_FALSE(DescriptorIsOpen(fd));
    EXPECT_FALSE(zulplatform::IsValidFile(file));
    EXPECT_TRUE(file.GetFilePath().IsEmpty());
    EXPECT_TRUE(file.GetFileName().IsEmpty());
    file.Close(); // twice is harmless
    // Errors after Close name the now empty path.
    EXPECT_EQ(Catch([&] { file.Seek(0, 0); }).fileName, "");

    ASSERT_EQ(file.Open(name.c_str(), 0), 1);
    EXPECT_EQ(file.GetFilePath(), name.c_str());
    file.Abort();
    EXPECT_FALSE(zulplatform::IsValidFile(file));
    EXPECT_TRUE(file.GetFilePath().IsEmpty());
}

TEST(CFileClose, DestructorClosesOnlyWhatItOpened) {
    TempDir dir;
    const std::string name = dir / "d";
    WriteText(name, "d");
    int fd = -1;
    {
        CFile file;
        ASSERT_EQ(file.Open(name.c_str(), 0), 1);
        fd = static_cast<int>(file);
        EXPECT_TRUE(DescriptorIsOpen(fd));
    }
    EXPECT_FALSE(DescriptorIsOpen(fd));
    {
        CFile never;
        never.SetFilePath("/no/such/file");
    } // nothing was opened, nothing to close
}

TEST(CFileNames, FileNameIsTheTextAfterTheLastSlash) {
    const struct {
        const char* path;
        const char* name;
    } rows[] = {
        {"/a/b/c.txt", "c.txt"}, {"c.txt", "c.txt"}, {"/a/b/", ""}, {"/", ""}, {"", ""},
        {"dir/sub/x", "x"},
    };
    for (const auto& row : rows) {
        CFile file;
        file.SetFilePath(row.path);
        EXPECT_EQ(file.GetFileName(), row.name) << row.path;
        EXPECT_EQ(file.GetFilePath(), row.path); // stored as given
    }
    CFile file;
    file.SetFilePath(nullptr);
    EXPECT_TRUE(file.GetFilePath().IsEmpty());
}

TEST(CFileStatics, RemoveAndRename) {
    TempDir dir;
    Thrown t = Catch([] { CFile::Remove(nullptr); });
    EXPECT_EQ(t.cause, CFileException::causeBadPath);
    EXPECT_EQ(t.fileName, "an unnamed file");
    const std::string missing = dir / "missing";
    t = Catch([&] { CFile::Remove(missing.c_str()); });
    EXPECT_EQ(t.cause, CFileException::causeFileNotFound);
    EXPECT_EQ(t.osError, -1);
    EXPECT_EQ(t.fileName, missing);

    const std::string from = dir / "from";
    const std::string to = dir / "to";
    WriteText(from, "payload");
    EXPECT_EQ(Catch([&] { CFile::Rename(from.c_str(), to.c_str()); }).cause, -100);
    EXPECT_FALSE(Exists(from));
    EXPECT_EQ(ReadText(to), "payload");

    // Every failure is a bad path naming the target: missing source, existing target.
    t = Catch([&] { CFile::Rename(from.c_str(), (dir / "other").c_str()); });
    EXPECT_EQ(t.cause, CFileException::causeBadPath);
    EXPECT_EQ(t.fileName, dir / "other");
    WriteText(from, "second");
    t = Catch([&] { CFile::Rename(from.c_str(), to.c_str()); });
    EXPECT_EQ(t.cause, CFileException::causeBadPath);
    EXPECT_EQ(t.fileName, to);
    EXPECT_EQ(ReadText(to), "payload");

    EXPECT_EQ(Catch([&] { CFile::Remove(to.c_str()); }).cause, -100);
    EXPECT_FALSE(Exists(to));
}
