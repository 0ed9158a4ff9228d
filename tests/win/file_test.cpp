// CFile: the open-mode translation, open failures as causes, I/O on a descriptor, statics.
#include <platform/files.h>

#include "support/scratch.h"

#include <gtest/gtest.h>

#include <fcntl.h>

#include <string>
#include <tuple>

using namespace test_support;
using zulwin::CFile;
using zulwin::CFileException;

// "<cause> <file name>" of a file error; the binary file class always stores OS error -1.
static std::string Describe(const CFileException& e) {
    EXPECT_EQ(e.m_lOsError, -1);
    return std::to_string(e.m_cause) + " " + e.m_strFileName.GetString();
}

// Describes the CFileException* that `action` throws (and deletes it), or says "none".
template <class Action> static std::string Thrown(Action&& action) {
    try {
        action();
    } catch (CFileException* e) {
        const std::string what = Describe(*e);
        e->Delete();
        return what;
    }
    return "none";
}

// The translation table, and what each word does to an existing and to a missing file.
TEST(CFileOpen, ModeWordsTranslateAndActOnTheFileSystem) {
    // Read-only never creates, no-truncate alone does nothing, the write bit wins over
    // read-write, and the share, inheritance and text/binary bits (0xC0C0) are ignored.
    const std::tuple<unsigned int, int, unsigned int> rows[] = {
        {0x0000, O_RDONLY, 0}, {0x1000, O_RDONLY, 0}, {0x3000, O_RDONLY, 0}, {0x0001, O_WRONLY, 0},
        {0x2001, O_WRONLY, 0}, {0x1001, 0x241, 0664}, {0x3001, 0x41, 0664},  {0x0002, O_RDWR, 0},
        {0x1002, 0x242, 0664}, {0x3002, 0x42, 0664},  {0x0003, O_WRONLY, 0}, {0x1003, 0x241, 0664},
        {0xD0C1, 0x241, 0664}};
    ScratchDir dir;
    const mode_t savedMask = umask(007);
    for (const auto& [flags, wantOflag, wantMode] : rows) {
        int oflag = -1;
        unsigned int mode = 1;
        EXPECT_EQ(zulwin::_XlatOpenFlags(flags, &oflag, &mode), 1);
        EXPECT_EQ(std::make_tuple(oflag, mode), std::make_tuple(wantOflag, wantMode)) << flags;
        for (const bool existing : {false, true}) {
            const std::string name = dir / (std::to_string(flags) + std::to_string(existing));
            if (existing)
                WriteFile(name, "hello");
            const bool opens = existing || (wantOflag & O_CREAT) != 0;
            EXPECT_EQ(CFile().Open(name.c_str(), flags), opens ? 1 : 0) << std::hex << flags;
            struct stat st {};
            // Created files get 0664 under the umask.
            EXPECT_EQ(stat(name.c_str(), &st) == 0 ? st.st_mode & 0777 : 0, opens ? 0660u : 0u);
            EXPECT_EQ(ReadFile(name), existing && !(wantOflag & O_TRUNC) ? "hello" : "");
        }
    }
    umask(savedMask);
}

TEST(CFileOpen, FailuresCanonicalNamesAndTheConstructor) {
    ScratchDir dir;
    WriteFile(dir / "plain", "x");
    ASSERT_EQ(mkdir((dir / "a").c_str(), 0770), 0);
    // A missing wildcard name is a bad path; so are a file used as a directory and names
    // too long for the system. The canonical name is kept after a failure.
    const std::string longName(300, 'n'), hugeName(5000, 'n');
    const std::tuple<int, unsigned int, std::string> failures[] = {
        {2, 0, "missing"},      {3, 0, "a*b"},    {3, 0x1000, "a?b"}, {3, 0x1001, "plain/in"},
        {2, 0x1001, "none/in"}, {5, 0x0001, "a"}, {3, 0, longName},   {3, 0x1001, hugeName}};
    for (const auto& [cause, flags, relative] : failures) {
        CFile file;
        CFileException error;
        EXPECT_EQ(file.Open((dir / relative).c_str(), flags, &error), 0);
        EXPECT_EQ(Describe(error), std::to_string(cause) + " " + dir / relative);
        EXPECT_EQ(file.GetFilePath(), (dir / relative).c_str());
    }
    CFile file;
    CFileException error(0, -1, "kept");
    EXPECT_EQ(file.Open(nullptr, 0, &error), 0);
    EXPECT_EQ(Describe(error), "3 kept");
    ASSERT_EQ(file.Open((dir / "plain").c_str(), 0), 1);
    // Open on an open object fails and leaves the first file in place.
    EXPECT_EQ(file.Open((dir / "a").c_str(), 0, &error), 0);
    EXPECT_EQ(Describe(error), "6 kept");
    EXPECT_EQ(file.GetLength(), 1u);

    // Relative names are opened as given and stored canonical.
    CwdGuard cwd;
    ASSERT_EQ(chdir(dir.c_str()), 0);
    const char* const names[][2] = {{"rel.txt", "rel.txt"}, {"./a/../r2", "r2"}, {"a//./y", "a/y"}};
    for (const auto& name : names) {
        CFile created;
        ASSERT_EQ(created.Open(name[0], 0x1001), 1) << name[0];
        EXPECT_STREQ(created.GetFilePath().GetString(), (dir / name[1]).c_str());
    }
    ASSERT_EQ(CFile().Open("caf\xE9", 0x1001), 1); // no valid text: opened byte for byte
    EXPECT_TRUE(Exists(dir / "caf\xE9"));
    CFile empty;
    EXPECT_EQ(empty.Open("", 0), 0); // the current directory itself, not a file
    EXPECT_EQ(empty.GetFilePath(), dir.c_str());
    // The constructor throws the cause with the name as given.
    EXPECT_EQ(Thrown([] { CFile("./missing.txt", 0); }), "2 ./missing.txt");
    EXPECT_EQ(Thrown([] { CFile("w*ld", 0); }), "3 w*ld");
    EXPECT_EQ(Thrown([] { CFile(nullptr, 0); }), "3 an unnamed file");
}

TEST(CFileIo, ReadWriteSeekLengthAndClose) {
    ScratchDir dir;
    const std::string name = dir / "io";
    WriteFile(name, "0123456789");
    CFile file;
    EXPECT_EQ(Thrown([&] { file.Write(nullptr, 0); }), "none"); // count 0: nothing to do
    EXPECT_EQ(Thrown([&] { file.Write(nullptr, 1); }), "1 an unnamed file");
    EXPECT_EQ(Thrown([&] { file.Seek(0, 0); }), "6 ");
    char buffer[32] = {};
    EXPECT_EQ(file.Read(buffer, 4), 0u);

    ASSERT_EQ(file.Open(name.c_str(), 0x3002), 1); // keeps the contents, starts at 0
    EXPECT_EQ(file.Read(nullptr, 4) + file.Read(buffer, 0), 0u);
    EXPECT_EQ(file.Read(buffer, 4), 4u);
    file.Write("AB", 2);
    EXPECT_EQ(Thrown([&] { file.Write(nullptr, 1); }), "1 " + name);
    EXPECT_EQ(file.Read(buffer, sizeof buffer), 4u); // one read, short at the end
    EXPECT_EQ(file.Read(buffer, sizeof buffer), 0u); // end of file
    EXPECT_EQ(file.Seek(-3, CFile::end), 7u);
    EXPECT_EQ(file.GetLength(), 10u);
    EXPECT_EQ(file.GetPosition(), 7u); // GetLength puts the position back
    EXPECT_EQ(Thrown([&] { file.Seek(0, 3); }), "9 " + name);
    EXPECT_EQ(Thrown([&] { file.Seek(-100, CFile::begin); }), "1 " + name); // EINVAL
    file.SetLength(6);
    EXPECT_EQ(file.GetPosition(), 6u); // at the new end
    EXPECT_EQ(ReadFile(name), "0123AB");
    EXPECT_EQ(Thrown([&] { CFile(name.c_str(), 0).Write("x", 1); }), "6 " + name); // EBADF
    EXPECT_EQ(CFile(name.c_str(), 0x0001).Read(buffer, 4), 0u); // EBADF, no throw
    const int fd = static_cast<int>(CFile(name.c_str(), 0));
    EXPECT_EQ(fcntl(fd, F_GETFD), -1); // the destructor closed it

    file.Close();
    EXPECT_TRUE(file.GetFilePath().IsEmpty());
    const char* const rows[][2] = {{"/a/b/c.txt", "c.txt"}, {"c.txt", "c.txt"}, {"/a/b/", ""}};
    for (const auto& row : rows) {
        file.SetFilePath(row[0]); // as given
        EXPECT_EQ(file.GetFileName(), row[1]) << row[0];
    }
}

TEST(CFileStatics, RemoveAndRename) {
    ScratchDir dir;
    const std::string from = dir / "from", to = dir / "to";
    EXPECT_EQ(Thrown([] { CFile::Remove(nullptr); }), "3 an unnamed file");
    EXPECT_EQ(Thrown([&] { CFile::Remove(from.c_str()); }), "2 " + from);
    WriteFile(from, "payload");
    EXPECT_EQ(Thrown([&] { CFile::Rename(from.c_str(), to.c_str()); }), "none");
    EXPECT_EQ(ReadFile(to), "payload");
    // Every failure is a bad path naming the target: a missing source, an existing target.
    EXPECT_EQ(Thrown([&] { CFile::Rename(from.c_str(), (dir / "x").c_str()); }), "3 " + dir / "x");
    WriteFile(from, "second");
    EXPECT_EQ(Thrown([&] { CFile::Rename(from.c_str(), to.c_str()); }), "3 " + to);
    EXPECT_EQ(Thrown([&] { CFile::Remove(to.c_str()); }), "none");
    EXPECT_FALSE(Exists(to));
}
