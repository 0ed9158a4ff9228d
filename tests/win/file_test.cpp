// CFile, CStdioFile and CFileException: the open-mode translations and what they do to files,
// open failures as causes, the errors of each I/O call, line reading in pieces (also against
// plain fgets on random text), the errno translations and messages, and the byte-order-mark
// check of the FILE* text-file helpers.
#include "support/scratch.h"

#include <platform/files.h>
#include <platform/module.h>

#include <gtest/gtest.h>

#include <fcntl.h>

#include <cerrno>
#include <climits>
#include <map>
#include <random>
#include <string>
#include <tuple>
#include <vector>

using namespace std::string_literals;
using namespace test_support;
using zulwin::CFile;
using zulwin::CFileException;
using zulwin::CStdioFile;
using zulwin::CString;

// "<cause> <OS error> <file name>" of a file error.
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

// Lines and results of ReadString until the end of the stream.
static std::vector<std::pair<int, std::string>> ReadLines(CStdioFile& file) {
    std::vector<std::pair<int, std::string>> lines;
    CString line("stale");
    do {
        const int result = file.ReadString(line);
        lines.emplace_back(result, line.GetString());
    } while (!feof(file.m_pStream));
    return lines;
}

TEST(CFileOpen, ModeWordsTranslateAndActOnTheFileSystem) {
    // Read-only never creates, no-truncate alone does nothing, the write bit wins over
    // read-write, and the share, inheritance and text/binary bits (0xC0C0) are ignored.
    const std::tuple<unsigned int, int, unsigned int> rows[] = {
        {0x1000, O_RDONLY, 0}, {0x2001, O_WRONLY, 0}, {0x3001, 0x41, 0664},  {0x1002, 0x242, 0664},
        {0x3002, 0x42, 0664},  {0x0003, O_WRONLY, 0}, {0x1003, 0x241, 0664}, {0xD0C1, 0x241, 0664}};
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
            EXPECT_EQ(stat(name.c_str(), &st) == 0 ? st.st_mode & 0777 : 0, opens ? 0660u : 0u);
            EXPECT_EQ(ReadFile(name), existing && !(wantOflag & O_TRUNC) ? "hello" : "");
        }
    }
    umask(savedMask);
    // Two objects may write one file even when both ask for exclusive use.
    CFile first, second;
    const std::string shared = dir / "shared";
    EXPECT_EQ(first.Open(shared.c_str(), 0x1011) + second.Open(shared.c_str(), 0x11), 2);
}

TEST(CFileOpen, FailuresAndTheConstructor) {
    ScratchDir dir;
    const std::string plain = dir / "plain", to = dir / "to";
    WriteFile(plain, "x");
    // A missing wildcard name is a bad path, as are a file used as a directory and a name too
    // long for the system; the name is kept after a failure.
    const std::tuple<int, unsigned int, std::string> failures[] = {{2, 0, "missing"},
                                                                   {3, 0x1000, "a?b"},
                                                                   {3, 0x1001, "plain/in"},
                                                                   {3, 0, std::string(300, 'n')}};
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
    ASSERT_EQ(file.Open(plain.c_str(), 0), 1);
    EXPECT_EQ(file.Open(dir.c_str(), 0, &error), 0); // already open: the first file stays
    EXPECT_EQ(Describe(error), "6 -1 kept");
    EXPECT_EQ(file.GetLength(), 1u);
    // The constructor throws with the name as given; Rename reports every failure as a bad
    // target path.
    EXPECT_EQ(Thrown([] { CFile("./missing", 0); }), "2 -1 ./missing");
    EXPECT_EQ(Thrown([] { CFile(nullptr, 0); }), "3 -1 an unnamed file");
    EXPECT_EQ(Thrown([&] { CFile::Remove(to.c_str()); }), "2 -1 " + to);
    EXPECT_EQ(Thrown([&] { CFile::Rename(to.c_str(), plain.c_str()); }), "3 -1 " + plain);
    EXPECT_EQ(Thrown([&] { CFile::Rename(plain.c_str(), to.c_str()), CFile::Remove(to.c_str()); }),
              "none");
    EXPECT_FALSE(Exists(to) || Exists(plain));
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
    file.Close();
    EXPECT_TRUE(file.GetFilePath().IsEmpty());
    file.SetFilePath("/a/b/c.txt"); // as given
    EXPECT_EQ(file.GetFileName(), "c.txt");
}

TEST(FileErrors, ErrnoTranslationsAndMessages) {
    // ENOSPC and ENOMEM give "directory full", ENOSYS a bad seek, EISDIR access denied.
    const std::map<int, int> cause = {{0, 0},  {1, 5},  {2, 2},   {5, 10},  {6, 6},  {9, 6},
                                      {11, 6}, {12, 8}, {13, 5},  {16, 11}, {20, 3}, {21, 5},
                                      {23, 4}, {24, 4}, {26, 11}, {27, 6},  {28, 8}, {30, 5},
                                      {36, 3}, {38, 9}, {40, 3},  {75, 6},  {105, 4}};
    for (int e = -300; e <= 300; ++e) // outside the table: generic
        EXPECT_EQ(CFileException::ErrnoToException(e), cause.count(e) ? cause.at(e) : 1) << e;
    for (const auto& [e, name] : {std::pair{4, "EINTR"}, {110, "ETIMEDOUT"}, {2, ""}, {-4, ""}})
        EXPECT_STREQ(zulwin::_ErrnoToString(e), name) << e;
    // Each cause's sentence from the library's own texts, made when asked for; unknown causes
    // read as "no error" (id 101), and a name is not a format.
    for (int cause = -1; cause <= 15; ++cause) {
        std::string want = GetModule()->LoadString(cause >= 0 && cause < 15 ? 101 + cause : 101);
        if (want.find("%s") != std::string::npos)
            want.replace(want.find("%s"), 2, "%s%n");
        CFileException e(cause + 1, -1, "%s%n");
        e.m_cause = cause;
        char buffer[256];
        EXPECT_EQ(e.GetErrorMessage(buffer, sizeof buffer), 1) << cause;
        EXPECT_EQ(buffer, want) << cause;
    }
    char buffer[8] = "ZZZZZZZ"; // cut to the size
    EXPECT_EQ(CFileException(9, -1, nullptr).GetErrorMessage(buffer, 6), 1);
    EXPECT_EQ(std::string(buffer, 7), "Seek \0Z"s);
}

// A missing wildcard name reads as a bad path after a failed open.
TEST(PopulateFileExceptionTest, WildcardNamesThatWereNotFoundAreBadPaths) {
    const std::tuple<int, const char*, int> cases[] = {{ENOENT, "/t/a*.txt", 3},
                                                       {ENOENT, "/t/a?", 3},
                                                       {ENOENT, "/t/a.txt", 2},
                                                       {EACCES, "/t/a*", 5}};
    for (const auto& [err, name, cause] : cases) {
        CFileException e(CFileException::causeDiskFull, 99, "before");
        errno = err;
        EXPECT_EQ(zulwin::_PopulateFileException(e, name), cause) << name;
        EXPECT_EQ(Describe(e), std::to_string(cause) + " -1 " + name);
    }
}

TEST(CStdioFileIo, ModesSeekWriteAndTheErrorsOfEachCall) {
    // Read-write is tested before write-only; create with read-only, or with read-write and
    // no-truncate, is refused; "t" wins over "b".
    const std::pair<unsigned int, const char*> modes[] = {
        {0x0003, "r+"}, {0x1003, "w+"}, {0x3002, nullptr}, {0x1000, nullptr}, {0x0000, "r"},
        {0x0001, "r+"}, {0x1001, "w"},  {0x3001, "a"},     {0xC000, "rt"},    {0x9001, "wb"}};
    for (const auto& [flags, want] : modes) {
        char mode[4] = "???";
        EXPECT_EQ(zulwin::_XlatStdioOpenFlags(flags, mode), want != nullptr) << std::hex << flags;
        EXPECT_STREQ(mode, want != nullptr ? want : "???") << std::hex << flags;
    }
    ScratchDir dir;
    const std::string name = dir / "io.txt";
    WriteFile(name, "old");
    CStdioFile file;
    EXPECT_EQ(Thrown([&] { file.Seek(0, 0); }), "6 -1 ");
    EXPECT_EQ(Thrown([&] { file.Flush(), file.WriteString("x"); }), "none");
    CFileException error(14, 7, "kept");
    EXPECT_EQ(file.Open(name.c_str(), 0x1000, &error), 0); // refused: the error is untouched
    EXPECT_EQ(Describe(error), "14 7 kept");
    EXPECT_EQ(Thrown([&] { CStdioFile(name.c_str(), 0x1000); }), "0 -1 " + name);
    ASSERT_EQ(file.Open(name.c_str(), 0x0001), 1); // updates in place
    file.WriteString("N");
    file.Close();
    ASSERT_EQ(file.Open(name.c_str(), 0x3001), 1); // appends
    file.WriteString("+\nworld\n");
    file.WriteString(nullptr);
    EXPECT_EQ(file.Seek(-6, CStdioFile::end), 5u);
    EXPECT_EQ(file.GetLength(), 11u);
    EXPECT_EQ(file.GetPosition(), 5u); // GetLength puts the position back
    // The origin is fseek's to judge; offsets before the start fail with EINVAL.
    for (auto [offset, origin] : {std::pair<long, unsigned>{0, 3}, {-1, 0}, {LONG_MIN, 1}})
        EXPECT_EQ(Thrown([&, o = offset, g = origin] { file.Seek(o, g); }),
                  "9 " + std::to_string(EINVAL) + " " + name);
    file.Close();
    EXPECT_EQ(ReadFile(name), "Nld+\nworld\n");
    // Writing a stream opened for reading fails at once (EBADF); so does reading a directory.
    CStdioFile reader(name.c_str(), 0);
    EXPECT_EQ(Thrown([&] { reader.WriteString("x"); }), "13 " + std::to_string(EBADF) + " " + name);
    CStdioFile directory(dir.c_str(), 0);
    EXPECT_EQ(Thrown([&] { ReadLines(directory); }),
              "1 " + std::to_string(EISDIR) + " " + dir.path());
    // A full device takes the buffered text and refuses it at the flush.
    CStdioFile full("/dev/full", 0x1001);
    full.WriteString("data");
    EXPECT_EQ(Thrown([&] { full.Flush(); }), "13 " + std::to_string(ENOSPC) + " /dev/full");
}

TEST(CStdioFileRead, LinesInPiecesEmptyLinesAndCarriageReturns) {
    ScratchDir dir;
    const std::string name = dir / "lines.txt", longLine(300, 'x');
    // A two-byte character split by the 127-byte pieces is judged piece by piece: both halves
    // are invalid alone and become '?'. One that fits a piece is kept.
    const std::string split = std::string(126, 'a') + "\xC3\xA9" + "b";
    WriteFile(name, "ab\n\nc\r\n" + longLine + "\n" + split + "\ncaf\xC3\xA9\nlast");
    CStdioFile file(name.c_str(), 0);
    const std::vector<std::pair<int, std::string>> want = {{1, "ab"},
                                                           {0, ""},
                                                           {1, "c\r"},
                                                           {1, longLine},
                                                           {1, std::string(126, 'a') + "??b"},
                                                           {1, "caf\xC3\xA9"},
                                                           {1, "last"}};
    EXPECT_EQ(ReadLines(file), want);
    CString line("stale");
    EXPECT_EQ(file.ReadString(line), 0);
    EXPECT_TRUE(line.IsEmpty());
}

// The line reader against fgets into 128-byte pieces, each appended by the acceptance rule, on
// random text with NULs, carriage returns, valid and broken UTF-8 and long lines, read through
// stream buffers of several sizes.
TEST(CStdioFileRead, MatchesPlainFgetsPiecesOnRandomText) {
    ScratchDir dir;
    const std::string name = dir / "random.txt";
    std::mt19937 rng(11);
    const std::string atoms[] = {"a",
                                 "bc",
                                 "\n",
                                 "\r\n",
                                 "\0"s,
                                 "\xC3\xA9",
                                 "\xE2\x82\xAC",
                                 "\xFF",
                                 "\x80",
                                 "\n\n",
                                 std::string(60, 'x'),
                                 std::string(130, 'y')};
    for (int round = 0; round < 12; ++round) {
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
                const std::size_t n = strlen(piece);
                const bool lineEnd = piece[n - 1] == '\n';
                piece[n - lineEnd] = '\0';
                line += piece;
                if (lineEnd)
                    break;
            }
            want.emplace_back(line.IsEmpty() ? 0 : 1, line.GetString());
        } while (!feof(reference));
        fclose(reference);
        for (const std::size_t bufferSize : {7, 64, 4096}) {
            CStdioFile file(name.c_str(), 0);
            std::vector<char> buffer(bufferSize);
            ASSERT_EQ(setvbuf(file.m_pStream, buffer.data(), _IOFBF, bufferSize), 0);
            ASSERT_EQ(ReadLines(file), want) << "round " << round << ", buffer " << bufferSize;
        }
    }
}

TEST(TextFiles, ByteOrderMarksAndBuffering) {
    ScratchDir dir;
    const std::string name = dir / "t.txt";
    // The file's bytes, and the first byte read after opening (-2: refused).
    const std::pair<std::string, int> cases[] = {
        {"", EOF},         {"abc", 'a'},      {"\xEF\xBB\xBFx", 'x'}, {"\xEF\xBB\xBF", EOF},
        {"\xEF\xBBx", -2}, {"\xFF\xFEx", -2}, {"\xFE\xFFx", -2},      {"\0\0\xFE\xFF"s, -2}};
    for (const unsigned long bufferSize : {0UL, 16UL, 1UL << 33}) {
        for (const auto& [content, first] : cases) {
            WriteFile(name, content);
            FILE* const stream = zulplatform::OpenTextFileForRead(name.c_str(), bufferSize);
            EXPECT_EQ(stream == nullptr ? -2 : fgetc(stream), first) << content;
            zulplatform::CloseTextFile(stream);
        }
    }
}
