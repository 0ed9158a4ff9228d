// CStdioFile and the FILE* text-file helpers: the stream mode table, line reading in pieces,
// errors with their errno, the byte-order-mark check and the one-character UTF-16 reader.
#include <platform/files.h>

#include "support/scratch.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <random>
#include <string>
#include <utility>
#include <vector>

using namespace test_support;
using zulwin::CFileException;
using zulwin::CStdioFile;
using zulwin::CString;

// "<cause> <os error> <file name>" of the CFileException* that `action` throws, or "none".
template <class Action> static std::string Thrown(Action&& action) {
    try {
        action();
    } catch (CFileException* e) {
        std::string const what = std::to_string(e->m_cause) + " " + std::to_string(e->m_lOsError) +
                                 " " + e->m_strFileName.GetString();
        e->Delete();
        return what;
    }
    return "none";
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
        char mode[4] = {'?', '?', '?', '?'};
        int const result = zulwin::_XlatStdioOpenFlags(flags, mode);
        EXPECT_EQ(result, want != nullptr ? 1 : 0) << std::hex << flags;
        if (want != nullptr) {
            EXPECT_STREQ(mode, want) << std::hex << flags;
        }
    }
    char mode[4];
    EXPECT_EQ(zulwin::_XlatStdioOpenFlags(0, nullptr), 0);
    EXPECT_EQ(zulwin::_XlatStdioOpenFlags(0, mode), 1);
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
    EXPECT_EQ(Thrown([&] {
                  closed.Flush();
                  closed.WriteString("x");
              }),
              "none");

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
    const std::pair<std::string, int> cases[] = {{"", EOF},
                                                 {"abc", 'a'},
                                                 {"\xEF\xBB\xBFx", 'x'},
                                                 {"\xEF\xBB\xBF", EOF},
                                                 {"\xEF\xBBx", -2},
                                                 {"\xEF", -2},
                                                 {"\xFF\xFEx", -2},
                                                 {"\xFE\xFFx", -2},
                                                 {std::string("\0\0\xFE\xFF", 4), -2},
                                                 {"\xC3\xA9", 0xC3}};
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
    const std::string atoms[] = {"a",
                                 "bc",
                                 "\n",
                                 "\r\n",
                                 std::string(1, '\0'),
                                 "\xC3\xA9",
                                 "\xE2\x82\xAC",
                                 "\xFF",
                                 "\x80",
                                 std::string(60, 'x'),
                                 std::string(130, 'y'),
                                 "\n\n"};
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
            for (;;) {
                char piece[128] = {};
                if (fgets(piece, sizeof piece, reference) == nullptr)
                    break;
                std::size_t const n = strlen(piece);
                if (n == 0)
                    break;
                if (piece[n - 1] == '\n') {
                    piece[n - 1] = '\0';
                    line += piece;
                    break;
                }
                line += piece;
            }
            want.emplace_back(line.IsEmpty() ? 0 : 1, line.GetString());
        } while (!feof(reference));
        fclose(reference);

        for (std::size_t bufferSize : {std::size_t(7), std::size_t(64), std::size_t(4096)}) {
            CStdioFile file(name.c_str(), 0);
            std::vector<char> buffer(bufferSize);
            ASSERT_EQ(setvbuf(file.m_pStream, buffer.data(), _IOFBF, bufferSize), 0);
            std::vector<std::pair<int, std::string>> got;
            do {
                CString line;
                int const result = file.ReadString(line);
                got.emplace_back(result, line.GetString());
            } while (!feof(file.m_pStream));
            ASSERT_EQ(got, want) << "round " << round << ", buffer " << bufferSize;
            file.Close();
        }
    }
}
