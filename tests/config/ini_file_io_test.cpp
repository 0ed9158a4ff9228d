// Loading and saving INI documents through files and paths: encodings, failed reads and short
// writes, save-only-when-changed, the merge, refusal to overwrite what does not parse, and
// replacement of the file as a whole, which a killed writer must not tear.
#include <platform/exception.h>
#include <platform/file.h>
#include <platform/ini_file.h>
#include <platform/mem_file.h>

#include "support/scratch.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <iterator>
#include <random>
#include <string>
#include <tuple>

using test_support::ScratchDir;
using test_support::WriteFile;
using zulwin::CString;

namespace {

// The whole file in single reads: the stream helpers are slow for 1 MiB in unoptimised builds.
std::string ReadFile(std::string const& path) {
    std::string content;
    char buffer[1 << 16];
    int const fd = open(path.c_str(), O_RDONLY);
    for (ssize_t n; (n = read(fd, buffer, sizeof buffer)) > 0;)
        content.append(buffer, static_cast<std::size_t>(n));
    close(fd);
    return content;
}

TEST(IniFileLoad, ChoosesTheEncodingByTheFirstBytes) {
    auto const utf16 = [](std::u16string const& s) {
        return std::string(reinterpret_cast<char const*>(s.data()), 2 * s.size());
    };
    struct Case {
        std::string bytes;
        bool ok;
        char const* value; // of [S] k, or null when absent
    } const cases[] = {
        {"\xEF\xBB\xBF[S]\nk=v\n", true, "v"},
        // The lone EF BB read as UTF-8 turn into "??": no header, and the key line is ignored.
        {"\xEF\xBB[[S]\nk=v\n", true, nullptr},
        {"\xFF\xFE" + utf16(u"[S]\nk=v\n"), true, "v"},
        {utf16(u"[S]\nk=v") + "\n", true, "v"}, // no mark, an odd length
        {"\xFE\xFF" + std::string("\0[\0S\0]", 6), false, nullptr},
        {std::string("\0[S]\nk=v\n", 9), true, nullptr},
        {std::string("[S]\nk=v\0junk\n[", 14), true, "v"}, // a NUL ends the text
    };
    ScratchDir dir;
    for (Case const& c : cases) {
        WriteFile(dir / "in.ini", c.bytes);
        CIniFile ini;
        EXPECT_EQ(ini.Load((dir / "in.ini").c_str()), c.ok) << testing::PrintToString(c.bytes);
        CString value("(absent)");
        ini.ReadValue("S", "k", value);
        EXPECT_EQ(value, c.value != nullptr ? c.value : "(absent)");
    }
    CIniFile ini;
    EXPECT_FALSE(ini.Load((dir / "missing.ini").c_str()));
    EXPECT_FALSE(ini.Load(dir.c_str())) << "a directory is no INI file";
}

// A memory file that reads at most 5 bytes and writes at most 7 at a time, as a disk file may:
// its `failAt`-th read fails with `error`, and once it holds `limit` bytes a write takes none,
// without an error (as near a full disk or the file size limit).
class SlowFile : public zulwin::CMemFile {
public:
    explicit SlowFile(unsigned long limit = ~0ul, int failAt = 0, int error = 0)
        : m_limit(limit), m_failAt(failAt), m_error(error) {}
    unsigned int Read(void* buffer, unsigned long count) override {
        if (++m_reads == m_failAt) {
            errno = m_error;
            return 0;
        }
        return CMemFile::Read(buffer, std::min(count, 5ul));
    }
    void Write(const void* buffer, unsigned long count) override {
        unsigned long const room = m_limit - std::min(m_limit, GetPosition());
        CMemFile::Write(buffer, std::min({count, 7ul, room}));
    }

private:
    unsigned long const m_limit;
    int m_reads = 0;
    int const m_failAt, m_error;
};

// A document made from part of a file must never be taken for the file: a save would merge it
// into, or write it over, the whole. An interrupted read is only a pause. (The document is
// saved through short writes, and must load back whole.)
TEST(IniFileLoad, AFailedReadLoadsNothingAndAnInterruptedOneIsRetried) {
    CIniFile ini;
    ASSERT_TRUE(ini.FromText("[A]\nk = v\n[B]\nx = 1\n"));
    for (int failAt = 1; failAt <= 5; ++failAt) {
        for (int error : {EIO, EINTR}) {
            SlowFile file(~0ul, failAt, error);
            ini.Save(file);
            file.Seek(0, zulwin::CFile::begin);
            CIniFile loaded;
            EXPECT_EQ(loaded.Load(file), error == EINTR) << failAt;
            EXPECT_EQ(loaded.HasSection("B"), error == EINTR) << failAt;
            EXPECT_EQ(file.GetPosition(), 0u);
        }
    }
}

// Saving into a file goes on after a write that stops short, and throws -3 once one takes
// nothing, rather than taking a cut-off text for a saved one.
TEST(IniFileSave, ShortWritesGoOnAndAStalledOneThrows) {
    CIniFile ini;
    ini.WriteValue("A", "k", std::string(100, 'x').c_str());
    SlowFile stalled(50);
    try {
        ini.Save(stalled);
        ADD_FAILURE() << "a stalled save returned";
    } catch (zulplatform::CException const& e) {
        EXPECT_EQ(e.GetCode(), -3);
    }
    EXPECT_EQ(stalled.GetLength(), 50u) << "7-byte writes go on until one takes nothing";
}

// The modification time and inode: unchanged only when the file was not written or replaced.
std::tuple<time_t, long, ino_t> StatOf(std::string const& path) {
    struct stat st {};
    stat(path.c_str(), &st);
    return {st.st_mtim.tv_sec, st.st_mtim.tv_nsec, st.st_ino};
}

// Saving merges the document into what the file holds, and writes only when that changes it.
TEST(IniFileSave, AnEqualDocumentLeavesTheFileUntouched) {
    struct Case {
        char const *file, *document, *result; // null result: the file is left untouched
    } const cases[] = {
        // Equal content in unsorted text with a comment and a mark.
        {"\xEF\xBB\xBF; settings\n[b]\ny=2\n[A]\nK = 1\n", "[a]\nk=1\n[B]\nY=2\n", nullptr},
        // One section renamed, counts equal: both survive.
        {"[Old]\nk=1\n", "[New]\nk=1\n", "[New]\nk = 1\n\n[Old]\nk = 1\n\n"},
        // Counts differ, or a file section holds a key the document lacks: the document wins.
        {"[A]\nk=1\n[B]\nj=2\n", "[A]\nk=1\n", "[A]\nk = 1\n\n"},
        {"[A]\nk=1\nextra=2\n", "[A]\nk=3\n", "[A]\nk = 3\n\n"},
        {"[A]\nK=1\n", "[A]\nk=1\nj=2\n", "[A]\nj = 2\nK = 1\n\n"},
        {nullptr, "[A]\nk=1\n", "[A]\nk = 1\n\n"}, // a missing file is created
    };
    ScratchDir dir;
    std::string const path = dir / "merge.ini";
    for (Case const& c : cases) {
        unlink(path.c_str());
        if (c.file != nullptr)
            WriteFile(path, c.file);
        auto const before = StatOf(path);
        usleep(20000);
        CIniFile ini;
        ASSERT_TRUE(ini.FromText(c.document));
        ini._SetModified(true);
        EXPECT_TRUE(ini.Save(path.c_str()));
        EXPECT_FALSE(ini.IsModified());
        EXPECT_EQ(ReadFile(path), c.result != nullptr ? c.result : c.file) << c.document;
        EXPECT_EQ(StatOf(path) == before, c.result == nullptr) << c.document;
    }
}

TEST(IniFileSave, RefusesToOverwriteWhatItCannotRead) {
    ScratchDir dir;
    CIniFile ini;
    ini.WriteValue("A", "k", "1");
    for (std::string const& bad : {std::string("[A] junk\n"), std::string("\xFE\xFF\0[", 4)}) {
        WriteFile(dir / "bad.ini", bad);
        EXPECT_FALSE(ini.Save((dir / "bad.ini").c_str()));
        EXPECT_EQ(ReadFile(dir / "bad.ini"), bad);
    }
    EXPECT_FALSE(ini.Save(dir.c_str())) << "a directory";
    EXPECT_FALSE(ini.Save((dir / "no/such/dir/x.ini").c_str()));
    EXPECT_TRUE(ini.IsModified());
}

TEST(IniFileSave, ReplacesTheFileKeepingModeAndLinks) {
    ScratchDir dir;
    std::string const target = dir / "real.ini";
    WriteFile(target, "[A]\nk=1\n");
    chmod(target.c_str(), 0640);
    // Another owner, where this process may give one (as root).
    bool const owned = geteuid() == 0 && chown(target.c_str(), 4321, 4321) == 0;
    ASSERT_EQ(symlink("real.ini", (dir / "link.ini").c_str()), 0);
    CIniFile ini;
    ini.WriteValue("A", "k", "2");
    ASSERT_TRUE(ini.Save((dir / "link.ini").c_str()));
    struct stat st {};
    ASSERT_EQ(lstat((dir / "link.ini").c_str(), &st), 0);
    EXPECT_TRUE(S_ISLNK(st.st_mode)) << "the link stays a link";
    EXPECT_EQ(ReadFile(target), "[A]\nk = 2\n\n");
    ASSERT_EQ(stat(target.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0640u);
    EXPECT_TRUE(!owned || (st.st_uid == 4321u && st.st_gid == 4321u)) << "the owner is kept";
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 2)
        << "a temporary file was left behind";
}

// Saving replaces the file as a whole: a writer killed at any instant leaves either the old or
// the new complete file (about 1 MiB each), never a torn one.
TEST(IniFileSave, AKilledWriterLeavesTheOldOrTheNewFile) {
    ScratchDir dir;
    std::string const path = dir / "big.ini";
    CIniFile docs[2];
    std::string texts[2];
    for (int d = 0; d < 2; ++d) {
        for (int i = 0; i < 10000; ++i)
            docs[d].WriteValue(("Section" + std::to_string(i / 100)).c_str(),
                               ("Key" + std::to_string(i % 100)).c_str(),
                               (std::to_string(d) + std::string(90, 'v')).c_str());
        CString text;
        docs[d].ToText(text);
        texts[d] = text.GetString();
    }
    // How long a forked writer takes here, so that the kills land across all of it.
    auto const save = [&] {
        WriteFile(path, texts[0]);
        pid_t const child = fork();
        if (child == 0)
            _exit(docs[1].Save(path.c_str()) ? 0 : 1);
        return child;
    };
    auto const start = std::chrono::steady_clock::now();
    waitpid(save(), nullptr, 0);
    long const saveUs = std::chrono::duration_cast<std::chrono::microseconds>(
                            std::chrono::steady_clock::now() - start)
                            .count();
    ASSERT_EQ(ReadFile(path), texts[1]);
    std::mt19937 random(99);
    int saw[2] = {0, 0};
    for (int round = 0; round < 80; ++round) {
        pid_t const child = save();
        ASSERT_GE(child, 0);
        usleep(static_cast<useconds_t>(random() % (saveUs + saveUs / 2 + 1)));
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        std::string const content = ReadFile(path);
        ASSERT_TRUE(content == texts[0] || content == texts[1]) << round << ": " << content.size();
        ++saw[content == texts[1]];
    }
    // Both outcomes occur, or the kills did not land inside the saves.
    EXPECT_GT(saw[0], 0);
    EXPECT_GT(saw[1], 0);
}

} // namespace
