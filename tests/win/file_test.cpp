// CFile, CStdioFile and CFileException: the open-mode translations, open failures as causes, I/O
// on a descriptor and through a stream with the errors of each call, line reading in pieces;
// exceptions thrown by pointer, file-error messages and the errno translations; the FILE*
// text-file helpers with the byte-order-mark check and the one-character UTF-16 reader.
#include "support/opaque.h"
#include "support/scratch.h"

#include <platform/files.h>
#include <platform/module.h>

#include <gtest/gtest.h>

#include <fcntl.h>

#include <cerrno>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

using namespace std::string_literals;
using namespace test_support;
using zulwin::CException;
using zulwin::CFile;
using zulwin::CFileException;
using zulwin::CStdioFile;
using zulwin::CString;

// "<cause> <OS error> <file name>" of a file error; the binary file class always stores OS
// error -1, the stream class the errno of the failed call.
static std::string Describe(const CFileException& e) {
    return std::to_string(e.m_cause) + " " + std::to_string(e.m_lOsError) + " " +
           e.m_strFileName.GetString();
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
        EXPECT_EQ(Describe(error), std::to_string(cause) + " -1 " + dir / relative);
        EXPECT_EQ(file.GetFilePath(), (dir / relative).c_str());
    }
    CFile file;
    CFileException error(0, -1, "kept");
    EXPECT_EQ(file.Open(nullptr, 0, &error), 0);
    EXPECT_EQ(Describe(error), "3 -1 kept");
    ASSERT_EQ(file.Open((dir / "plain").c_str(), 0), 1);
    // Open on an open object fails and leaves the first file in place.
    EXPECT_EQ(file.Open((dir / "a").c_str(), 0, &error), 0);
    EXPECT_EQ(Describe(error), "6 -1 kept");
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
    EXPECT_EQ(Thrown([] { CFile("./missing.txt", 0); }), "2 -1 ./missing.txt");
    EXPECT_EQ(Thrown([] { CFile("w*ld", 0); }), "3 -1 w*ld");
    EXPECT_EQ(Thrown([] { CFile(nullptr, 0); }), "3 -1 an unnamed file");
}

TEST(CFileIo, ReadWriteSeekLengthAndClose) {
    ScratchDir dir;
    const std::string name = dir / "io";
    WriteFile(name, "0123456789");
    CFile file;
    EXPECT_EQ(Thrown([&] { file.Write(nullptr, 0); }), "none"); // count 0: nothing to do
    EXPECT_EQ(Thrown([&] { file.Write(nullptr, 1); }), "1 -1 an unnamed file");
    EXPECT_EQ(Thrown([&] { file.Seek(0, 0); }), "6 -1 ");
    char buffer[32] = {};
    EXPECT_EQ(file.Read(buffer, 4), 0u);

    ASSERT_EQ(file.Open(name.c_str(), 0x3002), 1); // keeps the contents, starts at 0
    EXPECT_EQ(file.Read(nullptr, 4) + file.Read(buffer, 0), 0u);
    EXPECT_EQ(file.Read(buffer, 4), 4u);
    file.Write("AB", 2);
    EXPECT_EQ(Thrown([&] { file.Write(nullptr, 1); }), "1 -1 " + name);
    EXPECT_EQ(file.Read(buffer, sizeof buffer), 4u); // one read, short at the end
    EXPECT_EQ(file.Read(buffer, sizeof buffer), 0u); // end of file
    EXPECT_EQ(file.Seek(-3, CFile::end), 7u);
    EXPECT_EQ(file.GetLength(), 10u);
    EXPECT_EQ(file.GetPosition(), 7u); // GetLength puts the position back
    EXPECT_EQ(Thrown([&] { file.Seek(0, 3); }), "9 -1 " + name);
    EXPECT_EQ(Thrown([&] { file.Seek(-100, CFile::begin); }), "1 -1 " + name); // EINVAL
    file.SetLength(6);
    EXPECT_EQ(file.GetPosition(), 6u); // at the new end
    EXPECT_EQ(ReadFile(name), "0123AB");
    EXPECT_EQ(Thrown([&] { CFile(name.c_str(), 0).Write("x", 1); }), "6 -1 " + name); // EBADF
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
    EXPECT_EQ(Thrown([] { CFile::Remove(nullptr); }), "3 -1 an unnamed file");
    EXPECT_EQ(Thrown([&] { CFile::Remove(from.c_str()); }), "2 -1 " + from);
    WriteFile(from, "payload");
    EXPECT_EQ(Thrown([&] { CFile::Rename(from.c_str(), to.c_str()); }), "none");
    EXPECT_EQ(ReadFile(to), "payload");
    // Every failure is a bad path naming the target: a missing source, an existing target.
    EXPECT_EQ(Thrown([&] { CFile::Rename(from.c_str(), (dir / "x").c_str()); }),
              "3 -1 " + dir / "x");
    WriteFile(from, "second");
    EXPECT_EQ(Thrown([&] { CFile::Rename(from.c_str(), to.c_str()); }), "3 -1 " + to);
    EXPECT_EQ(Thrown([&] { CFile::Remove(to.c_str()); }), "none");
    EXPECT_FALSE(Exists(to));
}

// The message of `e` read through a 256-byte buffer, or "<none>" when it reports no text.
static std::string MessageOf(const CException& e) {
    char buffer[256];
    return e.GetErrorMessage(buffer, sizeof buffer) == 1 ? buffer : "<none>";
}

// Delete is documented to tolerate a null `this`; the sanitizer would stop the call itself.
static __attribute__((TEST_OPAQUE, no_sanitize("null", "vptr"))) void DeleteThrough(CException* e) {
    e->Delete();
}

TEST(ErrnoTablesTest, ListExactlyTheirValues) {
    // ENOSPC and ENOMEM give "directory full", ENOSYS a bad seek, EISDIR access denied.
    const std::map<int, int> cause = {{0, 0},  {1, 5},  {2, 2},   {5, 10},  {6, 6},  {9, 6},
                                      {11, 6}, {12, 8}, {13, 5},  {16, 11}, {20, 3}, {21, 5},
                                      {23, 4}, {24, 4}, {26, 11}, {27, 6},  {28, 8}, {30, 5},
                                      {36, 3}, {38, 9}, {40, 3},  {75, 6},  {105, 4}};
    const std::map<int, std::string> name = {
        {4, "EINTR"},     {5, "EIO"},        {6, "ENXIO"},        {9, "EBADF"},
        {11, "EAGAIN"},   {12, "ENOMEM"},    {21, "EISDIR"},      {22, "EINVAL"},
        {29, "ESPIPE"},   {38, "ENOSYS"},    {74, "EBADMSG"},     {75, "EOVERFLOW"},
        {105, "ENOBUFS"}, {107, "ENOTCONN"}, {104, "ECONNRESET"}, {110, "ETIMEDOUT"}};
    for (int e = -300; e <= 300; ++e) { // negative ones reach the names as huge values
        EXPECT_EQ(CFileException::ErrnoToException(e), cause.count(e) ? cause.at(e) : 1) << e;
        EXPECT_EQ(zulwin::_ErrnoToString(e), name.count(e) ? name.at(e) : "") << e;
    }
}

TEST(GetErrorMessageTest, ResourceSentenceWithTheNameCutToTheBuffer) {
    zulplatform::IModule* own = GetModule();     // the library's own texts
    for (int cause = -3; cause <= 16; ++cause) { // unknown causes read as "no error" (id 101)
        std::string expected = own->LoadString(cause >= 0 && cause < 15 ? 101 + cause : 101);
        if (expected.find("%s") != std::string::npos)
            expected.replace(expected.find("%s"), 2, "n");
        EXPECT_EQ(MessageOf(CFileException(cause, -1, "n")), expected) << cause;
    }
    EXPECT_EQ(MessageOf(CFileException(2, -1, nullptr)), "an unnamed file was not found.");
    EXPECT_EQ(MessageOf(CFileException(3, -1, "/%s%n")), "/%s%n contains an incorrect path.");
    CFileException changed(2, -1, "a"); // the sentence is made when asked for
    changed.m_cause = CFileException::causeDiskFull;
    EXPECT_EQ(MessageOf(changed), "Disk full while accessing a.");

    const CFileException e(CFileException::causeBadSeek, -1, "f"); // "Seek failed on f"
    for (const unsigned long size : {1ul, 6ul, 20ul}) {
        char buffer[24];
        std::memset(buffer, 'Z', sizeof buffer);
        EXPECT_EQ(e.GetErrorMessage(buffer, size), 1);
        std::string expected = std::string("Seek failed on f").substr(0, size - 1);
        expected.resize(size, '\0'); // zero-filled up to and with the last byte
        expected.resize(sizeof buffer, 'Z');
        EXPECT_EQ(std::string(buffer, sizeof buffer), expected) << size;
    }
    DeleteThrough(nullptr); // harmless
}

// A missing wildcard name reads as a bad path after a failed open. (ThrowErrno, which has no
// such rule, is exercised through the file classes.)
TEST(PopulateFileExceptionTest, WildcardNamesThatWereNotFoundAreBadPaths) {
    const std::tuple<int, const char*, int> cases[] = {
        {ENOENT, "/t/a*.txt", 3}, {ENOENT, "/t/a?", 3}, {ENOENT, "/*/a", 3},
        {ENOENT, "/t/a.txt", 2},  {EACCES, "/t/a*", 5}, {0, "/t/a*", 0}};
    for (const auto& [err, name, cause] : cases) {
        CFileException e(CFileException::causeDiskFull, 99, "before");
        errno = err;
        EXPECT_EQ(zulwin::_PopulateFileException(e, name), cause) << name;
        EXPECT_EQ(e.m_cause, cause) << name;
        EXPECT_EQ(e.m_lOsError, -1);
        EXPECT_STREQ(e.m_strFileName.GetString(), name);
    }
}

// Every row of the stream mode table, and the type letters.
TEST(CStdioFileModes, TranslationTable) {
    const std::pair<unsigned int, const char*> rows[] = {
        {0x1002, "w+"},          {0x3002, nullptr}, {0x0002, "r+"},    {0x2002, "r+"},
        {0x0000, "r"},           {0x2000, "r"},     {0x1000, nullptr}, {0x3000, nullptr},
        {0x1001, "w"},           {0x3001, "a"},     {0x0001, "r+"},    {0x2001, "r+"},
        {0x1003, "w+"},          {0x0003, "r+"},    {0x8000, "rb"},    {0xC000, "rt"},
        {0x4000, "rt"},          {0x9001, "wb"},    {0x7001, "at"},    {0xC0C2, "r+t"},
        {0x1000 | 0x4002, "w+t"}};
    for (const auto& [flags, want] : rows) {
        char mode[4] = "???";
        EXPECT_EQ(zulwin::_XlatStdioOpenFlags(flags, mode), want != nullptr) << std::hex << flags;
        EXPECT_STREQ(mode, want != nullptr ? want : "???") << std::hex << flags;
    }
    EXPECT_EQ(zulwin::_XlatStdioOpenFlags(0, nullptr), 0);
}

TEST(CStdioFileOpen, ResultsCausesAndTheConstructor) {
    ScratchDir dir;
    std::string const name = dir / "f.txt";
    WriteFile(name, "old");
    CStdioFile file;
    CFileException error(14, 7, "kept");
    // A refused combination fails without touching the caller's exception.
    EXPECT_EQ(file.Open(name.c_str(), 0x1000, &error), 0);
    EXPECT_EQ(error.m_cause, 14);
    EXPECT_EQ(file.Open(nullptr, 0, &error), 0);
    EXPECT_EQ(error.m_cause, 3);
    EXPECT_EQ(file.Open((dir / "missing").c_str(), 0, &error), 0);
    EXPECT_EQ(error.m_cause, 2);
    EXPECT_EQ(file.m_pStream, nullptr);
    // Write-only without create opens the existing file for update, keeping its contents.
    ASSERT_EQ(file.Open(name.c_str(), 0x0001, &error), 1);
    EXPECT_GT(static_cast<int>(file), 0);
    EXPECT_EQ(file.Open(name.c_str(), 0, &error), 0);
    EXPECT_EQ(error.m_cause, 6);
    file.WriteString("N");
    file.Close();
    EXPECT_EQ(ReadFile(name), "Nld");
    EXPECT_EQ(static_cast<int>(file), 0);
    EXPECT_TRUE(file.GetFilePath().IsEmpty());
    // Create with no-truncate appends.
    ASSERT_EQ(file.Open(name.c_str(), 0x3001), 1);
    file.WriteString("+");
    file.Close();
    EXPECT_EQ(ReadFile(name), "Nld+");

    EXPECT_EQ(Thrown([&] { CStdioFile((dir / "none").c_str(), 0); }), "2 -1 " + dir / "none");
    EXPECT_EQ(Thrown([&] { CStdioFile(name.c_str(), 0x1000); }), "0 -1 " + name);
    EXPECT_EQ(Thrown([&] { CStdioFile(nullptr, 0); }), "3 -1 an unnamed file");
}

TEST(CStdioFileRead, LinesInPiecesEmptyLinesAndCarriageReturns) {
    ScratchDir dir;
    std::string const name = dir / "lines.txt";
    std::string const longLine(300, 'x');
    // A two-byte character split by the 127-byte pieces is judged piece by piece: both halves
    // are invalid alone and become '?'.
    std::string const split = std::string(126, 'a') + "\xC3\xA9" + "b";
    WriteFile(name, "ab\n\nc\r\n" + longLine + "\n" + split + "\nlast");
    CStdioFile file(name.c_str(), 0);
    std::vector<std::pair<int, std::string>> got;
    CString line("stale");
    for (int i = 0; i < 8; ++i) {
        int const result = file.ReadString(line);
        got.emplace_back(result, line.GetString());
    }
    std::vector<std::pair<int, std::string>> const want = {
        {1, "ab"},   {0, ""}, {1, "c\r"}, {1, longLine}, {1, std::string(126, 'a') + "??b"},
        {1, "last"}, {0, ""}, {0, ""}};
    EXPECT_EQ(got, want);
    EXPECT_NE(feof(file.m_pStream), 0);
    // A line that fits one piece keeps its characters.
    WriteFile(name, "caf\xC3\xA9\n");
    CStdioFile again(name.c_str(), 0);
    EXPECT_EQ(again.ReadString(line), 1);
    EXPECT_EQ(line, "caf\xC3\xA9");
    CStdioFile closed;
    EXPECT_EQ(closed.ReadString(line), 0);
    EXPECT_TRUE(line.IsEmpty());
}

TEST(CStdioFileIo, SeekLengthAndTheErrorsOfEachCall) {
    ScratchDir dir;
    std::string const name = dir / "io.txt";
    CStdioFile closed;
    for (auto* call :
         {+[](CStdioFile& f) { f.Seek(0, 0); }, +[](CStdioFile& f) { (void)f.GetPosition(); },
          +[](CStdioFile& f) { (void)f.GetLength(); }})
        EXPECT_EQ(Thrown([&] { call(closed); }), "6 -1 ");
    EXPECT_EQ(Thrown([&] { closed.Flush(), closed.WriteString("x"); }), "none");

    CStdioFile file(name.c_str(), 0x1002);
    file.WriteString("hello\nworld\n");
    file.WriteString(nullptr);
    EXPECT_EQ(file.GetLength(), 12u);
    EXPECT_EQ(file.GetPosition(), 12u); // GetLength puts the position back
    EXPECT_EQ(file.Seek(-6, CStdioFile::end), 6u);
    CString line;
    EXPECT_EQ(file.ReadString(line), 1);
    EXPECT_EQ(line, "world");
    // The origin is fseek's to judge; offsets before the start fail with EINVAL.
    for (auto [offset, origin] :
         {std::pair<long, unsigned>{0, 3}, {-1, 0}, {LONG_MIN, 1}, {LONG_MIN, 2}, {0, 0xFFFFFFFFu}})
        EXPECT_EQ(Thrown([&, o = offset, g = origin] { file.Seek(o, g); }),
                  "9 " + std::to_string(EINVAL) + " " + name);
    EXPECT_EQ(file.Seek(0, CStdioFile::begin), 0u);
    file.Close();

    // Writing a stream opened for reading fails at once (EBADF); so does reading a directory.
    CStdioFile reader(name.c_str(), 0);
    EXPECT_EQ(Thrown([&] { reader.WriteString("x"); }), "13 " + std::to_string(EBADF) + " " + name);
    CStdioFile directory(dir.c_str(), 0);
    EXPECT_EQ(Thrown([&] { directory.ReadString(line); }),
              "1 " + std::to_string(EISDIR) + " " + dir.path());
    // A full device takes the buffered text and refuses it at the flush.
    CStdioFile full("/dev/full", 0x1001);
    full.WriteString("data");
    EXPECT_EQ(Thrown([&] { full.Flush(); }), "13 " + std::to_string(ENOSPC) + " /dev/full");
}

TEST(TextFiles, ByteOrderMarksAndBuffering) {
    ScratchDir dir;
    std::string const name = dir / "t.txt";
    // The file's bytes, and the first byte read after opening (-2: refused).
    // clang-format off
    const std::pair<std::string, int> cases[] = {{"", EOF}, {"abc", 'a'}, {"\xEF\xBB\xBFx", 'x'},
        {"\xEF\xBB\xBF", EOF}, {"\xEF\xBBx", -2}, {"\xEF", -2}, {"\xFF\xFEx", -2}, {"\xFE\xFFx", -2},
        {"\0\0\xFE\xFF"s, -2}, {"\xC3\xA9", 0xC3}};
    // clang-format on
    for (unsigned long bufferSize : {0UL, 16UL, 1UL << 33}) {
        for (const auto& [content, first] : cases) {
            WriteFile(name, content);
            FILE* const stream = zulplatform::OpenTextFileForRead(name.c_str(), bufferSize);
            EXPECT_EQ(stream == nullptr ? -2 : fgetc(stream), first) << content;
            zulplatform::CloseTextFile(stream);
        }
    }
    EXPECT_EQ(zulplatform::OpenTextFileForRead((dir / "missing").c_str(), 0), nullptr);
    zulplatform::CloseTextFile(nullptr);

    FILE* out = zulplatform::CreateTextFileForWrite(name.c_str(), 4);
    ASSERT_NE(out, nullptr);
    fputs("one ", out);
    zulplatform::CloseTextFile(out);
    out = zulplatform::OpenTextFileForAppend(name.c_str(), 0);
    fputs("two", out);
    zulplatform::CloseTextFile(out);
    EXPECT_EQ(ReadFile(name), "one two"); // no mark written
    EXPECT_EQ(zulplatform::_OpenTextFileForWrite(name.c_str(), 0, nullptr), nullptr);
    EXPECT_EQ(zulplatform::CreateTextFileForWrite((dir / "no/such").c_str(), 0), nullptr);
}

TEST(TextFiles, Utf16UnitsFromUtf8Sequences) {
    ScratchDir dir;
    std::string const name = dir / "u.txt";
    // File bytes and the units read until end of file (included, as 0xFFFF).
    const std::pair<std::string, std::vector<unsigned short>> cases[] = {
        {"A\xC3\xA9\xE2\x82\xAC", {0x41, 0xE9, 0x20AC, 0xFFFF}},
        {"\x80\xFE\xFF", {0xFF80, 0xFFFE, 0xFFFF, 0xFFFF}},
        {"\xF0\x9F\x98\x80z", {0x3F, 0x7A, 0xFFFF}}, // beyond the BMP: '?'
        {"\xC3", {0xC0, 0xFFFF}},                    // cut short: zeros for the rest
        {"\xE2\x82", {0x2080, 0xFFFF}},
        {"\xFC\x80\x80\x80\x80\x80q", {0x3F, 0x71, 0xFFFF}}, // six bytes taken whole
        {"\xC3\x41", {0xC1, 0xFFFF}},                        // continuation not checked
        {std::string("\0x", 2), {0, 0x78, 0xFFFF}}};
    for (const auto& [content, units] : cases) {
        WriteFile(name, content);
        FILE* const stream = fopen(name.c_str(), "r");
        ASSERT_NE(stream, nullptr);
        std::vector<unsigned short> got;
        for (std::size_t i = 0; i < units.size(); ++i)
            got.push_back(zulplatform::ReadUtf16CharFromTextFile(stream));
        EXPECT_EQ(got, units) << content;
        fclose(stream);
    }
    EXPECT_EQ(zulplatform::ReadUtf16CharFromTextFile(nullptr), 0xFFFF);
}

// The line reader against the described algorithm (fgets into a cleared 128-byte buffer, each
// piece appended by the acceptance rule) on random text with NULs, carriage returns, valid and
// broken UTF-8 and long lines, read through stream buffers of several sizes.
TEST(CStdioFileRead, MatchesPlainFgetsPiecesOnRandomText) {
    ScratchDir dir;
    std::string const name = dir / "random.txt";
    std::mt19937 rng(11);
    // clang-format off
    const std::string atoms[] = {"a", "bc", "\n", "\r\n", "\0"s, "\xC3\xA9", "\xE2\x82\xAC", "\xFF", "\x80",
                                 std::string(60, 'x'), std::string(130, 'y'), "\n\n"};
    // clang-format on
    for (int round = 0; round < 30; ++round) {
        std::string content;
        while (content.size() < 3000)
            content += atoms[rng() % std::size(atoms)];
        WriteFile(name, content);

        std::vector<std::pair<int, std::string>> want;
        FILE* reference = fopen(name.c_str(), "r");
        ASSERT_NE(reference, nullptr);
        do {
            CString line;
            char piece[128];
            while (fgets(piece, sizeof piece, reference) != nullptr && piece[0] != '\0') {
                std::size_t const n = strlen(piece);
                bool const lineEnd = piece[n - 1] == '\n';
                piece[n - lineEnd] = '\0';
                line += piece;
                if (lineEnd)
                    break;
            }
            want.emplace_back(line.IsEmpty() ? 0 : 1, line.GetString());
        } while (!feof(reference));
        fclose(reference);

        for (std::size_t bufferSize : {std::size_t(7), std::size_t(64), std::size_t(4096)}) {
            CStdioFile file(name.c_str(), 0);
            std::vector<char> buffer(bufferSize);
            ASSERT_EQ(setvbuf(file.m_pStream, buffer.data(), _IOFBF, bufferSize), 0);
            std::vector<std::pair<int, std::string>> got;
            CString line;
            do {
                int const result = file.ReadString(line);
                got.emplace_back(result, line.GetString());
            } while (!feof(file.m_pStream));
            ASSERT_EQ(got, want) << "round " << round << ", buffer " << bufferSize;
            file.Close();
        }
    }
}
