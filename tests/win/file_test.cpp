// CFile, CStdioFile and CFileException: the open-mode translations and what they do to files,
// the errors of each I/O call, line reading in pieces (also against plain fgets on random
// text), the errno translations and messages, and the byte-order-mark check of the FILE*
// text-file helpers.
#include "support/scratch.h"

#include <platform/files.h>
#include <platform/module.h>

#include <gtest/gtest.h>

#include <fcntl.h>

#include <cerrno>
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
    for (const auto& [flags, wantOflag, wantMode] : rows) {
        int oflag = -1;
        unsigned int mode = 1;
        EXPECT_EQ(zulwin::_XlatOpenFlags(flags, &oflag, &mode), 1);
        EXPECT_EQ(std::make_tuple(oflag, mode), std::make_tuple(wantOflag, wantMode)) << flags;
        // Creates a missing file only when asked to; truncates an existing one only then.
        const std::string name = dir / std::to_string(flags);
        EXPECT_EQ(CFile().Open(name.c_str(), flags), (wantOflag & O_CREAT) ? 1 : 0) << flags;
        WriteFile(name, "hello");
        EXPECT_EQ(CFile().Open(name.c_str(), flags), 1);
        EXPECT_EQ(ReadFile(name), wantOflag & O_TRUNC ? "" : "hello") << flags;
    }
    // Two objects may write one file even when both ask for exclusive use.
    CFile first, second;
    const std::string shared = dir / "shared";
    EXPECT_EQ(first.Open(shared.c_str(), 0x1011) + second.Open(shared.c_str(), 0x11), 2);
}

TEST(CFileIo, ReadWriteSeekLengthAndClose) {
    ScratchDir dir;
    const std::string name = dir / "io";
    WriteFile(name, "0123456789");
    CFile file;
    char buffer[32] = {};
    EXPECT_EQ(file.Read(buffer, 4), 0u);                                // closed: Read never throws
    EXPECT_EQ(Thrown([] { CFile("./missing", 0); }), "2 -1 ./missing"); // the name as given

    ASSERT_EQ(file.Open(name.c_str(), 0x3002), 1); // keeps the contents, starts at 0
    EXPECT_EQ(file.Read(buffer, 4), 4u);
    file.Write("AB", 2);
    EXPECT_EQ(file.Read(buffer, sizeof buffer), 4u); // one read, short at the end
    EXPECT_EQ(file.Read(buffer, sizeof buffer), 0u); // end of file
    EXPECT_EQ(file.Seek(-3, CFile::end), 7u);
    EXPECT_EQ(file.GetLength(), 10u);
    EXPECT_EQ(file.GetPosition(), 7u); // GetLength puts the position back
    file.SetLength(6);
    EXPECT_EQ(file.GetPosition(), 6u); // at the new end
    EXPECT_EQ(ReadFile(name), "0123AB");
    EXPECT_EQ(CFile(name.c_str(), 0x0001).Read(buffer, 4), 0u); // EBADF, no throw
    file.SetFilePath("/a/b/c.txt");
    EXPECT_EQ(file.GetFileName(), "c.txt");
}

TEST(FileErrors, ErrnoTranslationsAndMessages) {
    // The odd pairings (ENOSPC and ENOMEM give "directory full", ENOSYS a bad seek, EISDIR
    // access denied), the table's ends, and values missing from it or outside it (generic).
    const std::pair<int, int> causes[] = {{0, 0},  {2, 2},   {12, 8}, {21, 5},  {28, 8},
                                          {38, 9}, {105, 4}, {3, 1},  {106, 1}, {-1, 1}};
    for (const auto& [e, cause] : causes)
        EXPECT_EQ(CFileException::ErrnoToException(e), cause) << e;
    // Each cause's sentence from the library's own texts, made when asked for; unknown causes
    // read as "no error" (id 101), and a name is not a format.
    for (int cause = -1; cause <= 15; ++cause) {
        std::string want = GetModule()->LoadString(cause >= 0 && cause < 15 ? 101 + cause : 101);
        if (want.find("%s") != std::string::npos)
            want.replace(want.find("%s"), 2, "%s%n");
        CFileException e(cause + 1, -1, "%s%n");
        e.m_cause = cause;
        char buffer[256] = "";
        e.GetErrorMessage(buffer, sizeof buffer);
        EXPECT_EQ(buffer, want) << cause;
    }
}

// A missing wildcard name reads as a bad path after a failed open.
TEST(PopulateFileExceptionTest, WildcardNamesThatWereNotFoundAreBadPaths) {
    const std::tuple<int, const char*, int> cases[] = {
        {ENOENT, "/t/a*", 3}, {ENOENT, "/t/a?", 3}, {ENOENT, "/t/a", 2}, {EACCES, "/t/a*", 5}};
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
    CStdioFile file(name.c_str(), 0x3001); // appends
    file.WriteString("+\nworld\n");
    EXPECT_EQ(file.Seek(-6, CStdioFile::end), 5u);
    EXPECT_EQ(file.GetLength(), 11u);
    EXPECT_EQ(file.GetPosition(), 5u); // GetLength puts the position back
    // Writing a stream opened for reading fails at once (EBADF); so does reading a directory.
    CStdioFile reader(name.c_str(), 0);
    EXPECT_EQ(Thrown([&] { reader.WriteString("x"); }), "13 " + std::to_string(EBADF) + " " + name);
    CStdioFile directory(dir.c_str(), 0);
    EXPECT_EQ(Thrown([&] { ReadLines(directory); }),
              "1 " + std::to_string(EISDIR) + " " + dir.path());
}

TEST(CStdioFileRead, LinesInPiecesEmptyLinesAndCarriageReturns) {
    ScratchDir dir;
    WriteFile(dir / "lines.txt", "ab\n\nc\r\nlast");
    CStdioFile file((dir / "lines.txt").c_str(), 0);
    // An empty line reads as 0, like the end; a carriage return is text.
    const std::vector<std::pair<int, std::string>> want = {
        {1, "ab"}, {0, ""}, {1, "c\r"}, {1, "last"}};
    EXPECT_EQ(ReadLines(file), want);
}

// The line reader against fgets into 128-byte pieces, each appended by the acceptance rule, on
// random text with NULs, carriage returns, valid and broken UTF-8 and long lines, read through
// stream buffers of several sizes.
TEST(CStdioFileRead, MatchesPlainFgetsPiecesOnRandomText) {
    ScratchDir dir;
    const std::string name = dir / "random.txt";
    std::mt19937 rng(11);
    const std::string x(60, 'x'), y(130, 'y');
    const std::string atoms[] = {"a",        "bc",           "\n",   "\r\n", "\0"s,
                                 "\xC3\xA9", "\xE2\x82\xAC", "\x80", x,      y};
    for (int round = 0; round < 10; ++round) {
        std::string content;
        while (content.size() < 3000)
            content += atoms[rng() % std::size(atoms)];
        WriteFile(name, content);
        std::vector<std::pair<int, std::string>> want;
        FILE* reference = fopen(name.c_str(), "r");
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
            want.emplace_back(!line.IsEmpty(), line.GetString());
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
    for (const auto& [content, first] : cases) {
        WriteFile(name, content);
        FILE* const stream = zulplatform::OpenTextFileForRead(name.c_str(), 16);
        EXPECT_EQ(stream == nullptr ? -2 : fgetc(stream), first) << content;
        zulplatform::CloseTextFile(stream);
    }
}
