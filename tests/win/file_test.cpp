// CFile, CStdioFile and CFileException: the open-mode translations, CFile's I/O calls (reads
// that never throw), line reading in pieces (also against plain fgets on random text), the
// errno table's bounds, a message and the bad-path rule for wildcard names, and the
// byte-order-mark check of the FILE* text-file helpers.
#include "support/scratch.h"

#include <platform/files.h>

#include <gtest/gtest.h>

#include <fcntl.h>

#include <cerrno>
#include <random>
#include <tuple>
#include <vector>

using namespace std::string_literals;
using namespace test_support;
using zulwin::CFile, zulwin::CFileException, zulwin::CStdioFile, zulwin::CString;
using Lines = std::vector<std::pair<int, std::string>>;

// Results and lines of ReadString until the end of the stream.
static Lines ReadLines(CStdioFile& file) {
    Lines lines;
    for (CString line("stale"); lines.empty() || !feof(file.m_pStream);) {
        const int result = file.ReadString(line);
        lines.emplace_back(result, line.GetString());
    }
    return lines;
}

TEST(CFileOpen, ModeWordsTranslateAndActOnTheFileSystem) {
    // Descriptors: read-only never creates, no-truncate alone does nothing, the write bit wins
    // over read-write, and the share, inheritance and text/binary bits (0xC0C0) are ignored.
    const std::tuple<unsigned int, int, unsigned int> rows[] = {
        {0x1000, O_RDONLY, 0}, {0x2001, O_WRONLY, 0}, {0x1002, 0x242, 0664},
        {0x3002, 0x42, 0664},  {0x0003, O_WRONLY, 0}, {0xD0C1, 0x241, 0664}};
    for (const auto& [flags, wantOflag, wantMode] : rows) {
        int oflag = -1;
        unsigned int mode = 1;
        EXPECT_EQ(zulwin::_XlatOpenFlags(flags, &oflag, &mode), 1);
        EXPECT_EQ(std::make_tuple(oflag, mode), std::make_tuple(wantOflag, wantMode)) << flags;
    }
    // A missing file is created, and two objects may write it even when both ask for
    // exclusive use.
    ScratchDir dir;
    CFile first, second;
    const std::string shared = dir / "shared";
    EXPECT_EQ(first.Open(shared.c_str(), 0x1011) + second.Open(shared.c_str(), 0x11), 2);
    // Streams: read-write is tested before write-only; create with read-only, or with
    // read-write and no-truncate, is refused; "t" wins over "b".
    const std::pair<unsigned int, const char*> modes[] = {
        {0x0003, "r+"}, {0x1003, "w+"}, {0x3002, nullptr}, {0x1000, nullptr}, {0x0000, "r"},
        {0x0001, "r+"}, {0x1001, "w"},  {0x3001, "a"},     {0xC000, "rt"},    {0x9001, "wb"}};
    for (const auto& [flags, want] : modes) {
        char mode[4] = "";
        EXPECT_STREQ(zulwin::_XlatStdioOpenFlags(flags, mode) ? mode : nullptr, want) << flags;
    }
}

TEST(CFileIo, ReadWriteSeekLengthAndClose) {
    ScratchDir dir;
    const std::string name = dir / "io";
    WriteFile(name, "0123456789");
    CFile file;
    char buffer[32] = {};
    EXPECT_EQ(file.Read(buffer, 4), 0u); // closed: Read never throws

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
}

// A missing wildcard name reads as a bad path after a failed open; values outside the errno
// table on both sides are generic. A cause's sentence names the file, which is no format.
TEST(PopulateFileExceptionTest, WildcardNamesThatWereNotFoundAreBadPaths) {
    const std::tuple<int, const char*, int> cases[] = {{ENOENT, "/t/a*", 3}, {ENOENT, "/t/a?", 3},
                                                       {ENOENT, "/t/a", 2},  {EACCES, "/t/a*", 5},
                                                       {106, "/t/a", 1},     {-1, "/t/a", 1}};
    for (const auto& [err, name, cause] : cases) {
        CFileException e(CFileException::causeDiskFull, 99, "before");
        errno = err;
        EXPECT_EQ(zulwin::_PopulateFileException(e, name), cause) << name << err;
    }
    char message[128] = "";
    CFileException(14, -1, "%s%n").GetErrorMessage(message, sizeof message);
    EXPECT_STREQ(message, "Attempted to access %s%n past its end.");
}

// The line reader against fgets into 128-byte pieces, each appended by the acceptance rule, on
// random text with NULs, empty lines, carriage returns (text), valid and broken UTF-8 and long
// lines, read through stream buffers of several sizes. An empty line reads as 0, like the end.
TEST(CStdioFileRead, LinesInPiecesEmptyLinesAndCarriageReturns) {
    ScratchDir dir;
    const std::string name = dir / "lines.txt";
    std::mt19937 rng(11);
    const std::string atoms[] = {"a", "\n", "\r\n", "\0"s, "\xC3\xA9", "\xE2\x82\xAC", "\x80"};
    for (int round = 0; round < 10; ++round) {
        std::string content;
        while (content.size() < 3000) // and runs of 0 to 199 letters
            content += rng() % 4 ? atoms[rng() % std::size(atoms)] : std::string(rng() % 200, 'x');
        WriteFile(name, content);
        Lines want;
        FILE* reference = fopen(name.c_str(), "r");
        do {
            CString line;
            for (char piece[128]; fgets(piece, sizeof piece, reference) != nullptr && *piece;) {
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
            CStdioFile reader(name.c_str(), 0);
            std::vector<char> buffer(bufferSize);
            ASSERT_EQ(setvbuf(reader.m_pStream, buffer.data(), _IOFBF, bufferSize), 0);
            ASSERT_EQ(ReadLines(reader), want) << "round " << round << ", buffer " << bufferSize;
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
