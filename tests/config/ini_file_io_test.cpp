// Loading and saving INI documents through files and paths: encodings, save-only-when-changed,
// the merge, refusal to overwrite what does not parse, and replacement of the file as a whole,
// which a writer killed at any instant or stopped by a failed write must not tear.
#include <platform/exception.h>
#include <platform/file.h>
#include <platform/ini_file.h>
#include <platform/mem_file.h>

#include "support/scratch.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
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
    int const fd = open(path.c_str(), O_RDONLY);
    char buffer[1 << 16];
    for (ssize_t n; fd >= 0 && (n = read(fd, buffer, sizeof buffer)) > 0;)
        content.append(buffer, static_cast<std::size_t>(n));
    if (fd >= 0)
        close(fd);
    return content;
}

std::string Utf16Le(std::string const& ascii) {
    std::string out;
    for (char c : ascii) {
        out += c;
        out += '\0';
    }
    return out;
}

TEST(IniFileLoad, ChoosesTheEncodingByTheFirstBytes) {
    struct Case {
        std::string bytes;
        bool ok;
        char const* value; // of [S] k, or null when absent
    };
    Case const cases[] = {
        {"[S]\nk=v\n", true, "v"},
        {"\xEF\xBB\xBF[S]\nk=v\n", true, "v"},
        // Read from the first byte: the lone EF BB fail validation and turn into "??", so the
        // header is not one and the key line before any section is ignored.
        {"\xEF\xBB[S]\nk=v\n", true, nullptr},
        {"\xFF\xFE" + Utf16Le("[S]\nk=v\n"), true, "v"},
        {Utf16Le("[S]\nk=v\n"), true, "v"},
        {Utf16Le("[S]\nk=v") + "\n", true, "v"}, // an odd length
        {"\xFE\xFF" + std::string("\0[\0S\0]", 6), false, nullptr},
        {"\xFF\xFE", true, nullptr},
        {"\xFE\xFF", false, nullptr},
        {"\xEF\xBB\xBF", true, nullptr},
        {std::string("\0[S]\nk=v\n", 9), true, nullptr},
        {"", true, nullptr},
        {"[S]\nk=v\xFF\n", true, "v?"},
        {std::string("[S]\nk=v\0junk\n[", 14), true, "v"}, // a NUL ends the text
    };
    ScratchDir dir;
    for (Case const& c : cases) {
        std::string const path = dir / "in.ini";
        WriteFile(path, c.bytes);
        CIniFile ini;
        EXPECT_EQ(ini.Load(path.c_str()), c.ok) << testing::PrintToString(c.bytes);
        CString value("(absent)"); // a missing value leaves it untouched
        ini.ReadValue("S", "k", value);
        EXPECT_EQ(value, c.value != nullptr ? c.value : "(absent)")
            << testing::PrintToString(c.bytes);
    }
    CIniFile ini;
    EXPECT_FALSE(ini.Load((dir / "missing.ini").c_str()));
    EXPECT_FALSE(ini.Load(dir.c_str())) << "a directory is no INI file";
}

// A memory file that hands out a few bytes a read and makes its `failAt`-th read fail as a
// disk file's does: nothing read, errno set.
class FailingReads : public zulwin::CMemFile {
public:
    FailingReads(std::string& text, int failAt, int error)
        : CMemFile(reinterpret_cast<unsigned char*>(&text[0]),
                   static_cast<unsigned long>(text.size())),
          m_failAt(failAt), m_error(error) {}
    unsigned int Read(void* buffer, unsigned long count) override {
        if (++m_reads == m_failAt) {
            errno = m_error;
            return 0;
        }
        return CMemFile::Read(buffer, std::min(count, 5ul));
    }
    int Reads() const { return m_reads; }

private:
    int m_reads = 0;
    int const m_failAt;
    int const m_error;
};

// A document made from part of a file must never be taken for the file: a save would merge it
// into, or write it over, the whole. An interrupted read is only a pause.
TEST(IniFileLoad, AFailedReadLoadsNothingAndAnInterruptedOneIsRetried) {
    std::string image = "[A]\nk = v\n\n[B]\nx = 1\n\n";
    FailingReads whole(image, 0, 0);
    CIniFile ini;
    ASSERT_TRUE(ini.Load(whole));
    int const reads = whole.Reads();
    ASSERT_GT(reads, 3);
    for (int failAt = 1; failAt <= reads; ++failAt) {
        SCOPED_TRACE(failAt);
        FailingReads broken(image, failAt, EIO);
        EXPECT_FALSE(ini.Load(broken));
        EXPECT_EQ(broken.GetPosition(), 0u);
        FailingReads interrupted(image, failAt, EINTR);
        ASSERT_TRUE(ini.Load(interrupted));
        CString value;
        EXPECT_TRUE(ini.ReadValue("B", "x", value));
        EXPECT_EQ(value, "1");
    }
}

// A memory file whose writes take at most `chunk` bytes each and, once it holds `limit` bytes,
// none at all, without an error: as a disk file does near a full disk or its size limit.
class ShortWrites : public zulwin::CMemFile {
public:
    ShortWrites(unsigned long chunk, unsigned long limit) : m_chunk(chunk), m_limit(limit) {}
    void Write(const void* buffer, unsigned long count) override {
        unsigned long const room = m_limit - std::min(m_limit, GetPosition());
        CMemFile::Write(buffer, std::min({count, m_chunk, room}));
    }

    std::string Text() {
        std::string text(GetLength(), '\0');
        Seek(0, CFile::begin);
        text.resize(CMemFile::Read(&text[0], static_cast<unsigned long>(text.size())));
        return text;
    }

private:
    unsigned long const m_chunk;
    unsigned long const m_limit;
};

// Saving into a file goes on after a write that stops short, and throws -3 once one takes
// nothing, rather than taking a cut-off text for a saved one.
TEST(IniFileSave, ShortWritesGoOnAndAStalledOneThrows) {
    CIniFile ini;
    ini.WriteValue("A", "k", std::string(100, 'x').c_str());
    CString text;
    ini.ToText(text);
    ShortWrites slow(7, ~0ul);
    ASSERT_TRUE(ini.Save(slow));
    EXPECT_EQ(slow.Text(), text.GetString());
    ShortWrites stalled(7, 50);
    try {
        ini.Save(stalled);
        ADD_FAILURE() << "a stalled save returned";
    } catch (zulplatform::CException const& e) {
        EXPECT_EQ(e.GetCode(), -3);
    }
    EXPECT_EQ(stalled.Text(), std::string(text.GetString()).substr(0, 50));
}

// The modification time and inode: unchanged only when the file was not written or replaced.
std::tuple<time_t, long, ino_t> StatOf(std::string const& path) {
    struct stat st {};
    stat(path.c_str(), &st);
    return {st.st_mtim.tv_sec, st.st_mtim.tv_nsec, st.st_ino};
}

TEST(IniFileSave, AnEqualDocumentLeavesTheFileUntouched) {
    ScratchDir dir;
    std::string const path = dir / "same.ini";
    // Unsorted, with comments and a mark: equal content, not equal text.
    std::string const original = "\xEF\xBB\xBF; settings\n[b]\ny=2\n[A]\nK = 1\n";
    WriteFile(path, original);
    auto const before = StatOf(path);
    usleep(20000);

    // The document as a reader of the file sees it, changed to equal values: the merge finds
    // nothing new. (A document built without the header entries counts fewer entries per
    // section than the file and is written whole.)
    CIniFile ini;
    ASSERT_TRUE(ini.Load(path.c_str()));
    ini.WriteValue("a", "k", "1");
    ini.WriteValue("B", "Y", "2");
    ini._SetModified(true);
    EXPECT_TRUE(ini.Save(path.c_str()));
    EXPECT_FALSE(ini.IsModified());
    EXPECT_EQ(StatOf(path), before);
    EXPECT_EQ(ReadFile(path), original);

    ini.WriteValue("A", "k", "changed");
    EXPECT_TRUE(ini.Save(path.c_str()));
    EXPECT_EQ(ReadFile(path), "[A]\nK = changed\n\n[b]\ny = 2\n\n");

    CIniFile built;
    built.WriteValue("A", "K", "changed");
    built.WriteValue("b", "y", "2");
    EXPECT_TRUE(built.Save(path.c_str()));
    EXPECT_EQ(ReadFile(path), "[A]\nK = changed\n\n[b]\ny = 2\n\n");
    EXPECT_NE(StatOf(path), before);
}

TEST(IniFileSave, MergesIntoTheFileAsDocumented) {
    struct Case {
        char const* file;
        char const* document;
        char const* result;
    };
    Case const cases[] = {
        // One section renamed, counts equal: both survive.
        {"[Old]\nk=1\n", "[New]\nk=1\n", "[New]\nk = 1\n\n[Old]\nk = 1\n\n"},
        // Counts differ: the document replaces the file.
        {"[A]\nk=1\n[B]\nj=2\n", "[A]\nk=1\n", "[A]\nk = 1\n\n"},
        // A file section with a key the document lacks: the document is written.
        {"[A]\nk=1\nextra=2\n", "[A]\nk=3\n", "[A]\nk = 3\n\n"},
        // Keys added to the file's sections.
        {"[A]\nk=1\n", "[A]\nk=1\nj=2\n", "[A]\nj = 2\nk = 1\n\n"},
        // Nothing but a missing file: created.
        {nullptr, "[A]\nk=1\n", "[A]\nk = 1\n\n"},
    };
    ScratchDir dir;
    for (Case const& c : cases) {
        std::string const path = dir / "merge.ini";
        unlink(path.c_str());
        if (c.file != nullptr)
            WriteFile(path, c.file);
        CIniFile ini;
        ASSERT_TRUE(ini.FromText(c.document));
        EXPECT_TRUE(ini.Save(path.c_str()));
        EXPECT_EQ(ReadFile(path), c.result) << c.document;
    }
}

TEST(IniFileSave, RefusesToOverwriteWhatItCannotRead) {
    ScratchDir dir;
    CIniFile ini;
    ini.WriteValue("A", "k", "1");
    for (std::string const& bad : {std::string("[A] junk\n"), std::string("\xFE\xFF\0[", 4)}) {
        std::string const path = dir / "bad.ini";
        WriteFile(path, bad);
        EXPECT_FALSE(ini.Save(path.c_str()));
        EXPECT_TRUE(ini.IsModified());
        EXPECT_EQ(ReadFile(path), bad);
    }
    EXPECT_FALSE(ini.Save(dir.c_str())) << "a directory";
    EXPECT_FALSE(ini.Save((dir / "no/such/dir/x.ini").c_str()));
    EXPECT_TRUE(ini.IsModified());
}

// The names in `dir`: a temporary file left behind counts too.
long Entries(ScratchDir const& dir) {
    return std::distance(std::filesystem::directory_iterator(dir.path()), {});
}

TEST(IniFileSave, ReplacesTheFileKeepingModeAndLinks) {
    ScratchDir dir;
    std::string const target = dir / "real.ini";
    std::string const link = dir / "link.ini";
    WriteFile(target, "[A]\nk=1\n");
    chmod(target.c_str(), 0640);
    // Another owner, where this process may give one (as root).
    bool const owned = geteuid() == 0 && chown(target.c_str(), 4321, 4321) == 0;
    ASSERT_EQ(symlink("real.ini", link.c_str()), 0);
    CIniFile ini;
    ini.WriteValue("A", "k", "2");
    ASSERT_TRUE(ini.Save(link.c_str()));
    struct stat st {};
    ASSERT_EQ(lstat(link.c_str(), &st), 0);
    EXPECT_TRUE(S_ISLNK(st.st_mode)) << "the link stays a link";
    EXPECT_EQ(ReadFile(target), "[A]\nk = 2\n\n");
    ASSERT_EQ(stat(target.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0640u);
    if (owned) {
        EXPECT_EQ(st.st_uid, 4321u);
        EXPECT_EQ(st.st_gid, 4321u);
    }
    EXPECT_EQ(Entries(dir), 2) << "a temporary file was left behind";
}

// A write that fails half way (the file size limit stops it) throws -3 out of the path form
// and leaves the old file as it was, with no temporary file behind.
TEST(IniFileSave, AFailedWriteLeavesTheOldFile) {
    ScratchDir dir;
    std::string const path = dir / "limited.ini";
    WriteFile(path, "[A]\nk=1\n");
    pid_t const child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        signal(SIGXFSZ, SIG_IGN);
        rlimit const limit{64, 64};
        setrlimit(RLIMIT_FSIZE, &limit);
        CIniFile ini;
        ini.WriteValue("A", "k", std::string(500, 'x').c_str());
        try {
            ini.Save(path.c_str());
        } catch (zulplatform::CException const& e) {
            _exit(e.GetCode() == -3 ? 0 : 1);
        }
        _exit(2);
    }
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
    EXPECT_EQ(ReadFile(path), "[A]\nk=1\n");
    EXPECT_EQ(Entries(dir), 1);
}

// About 1 MiB of text: 100 sections of 100 keys, every value tagged with `tag`.
void Fill(CIniFile& ini, char const* tag) {
    std::string const value = std::string(tag) + std::string(90, 'v');
    for (int s = 0; s < 100; ++s)
        for (int k = 0; k < 100; ++k)
            ini.WriteValue(("Section" + std::to_string(s)).c_str(),
                           ("Key" + std::to_string(k)).c_str(), value.c_str());
}

// Saving replaces the file as a whole: a writer killed at any instant leaves either the old or
// the new complete file, never a torn one.
TEST(IniFileSave, AKilledWriterLeavesTheOldOrTheNewFile) {
    ScratchDir dir;
    std::string const path = dir / "big.ini";
    CIniFile before, after;
    Fill(before, "old");
    Fill(after, "new");
    CString oldText, newText;
    before.ToText(oldText);
    after.ToText(newText);
    ASSERT_GT(oldText.GetLength(), 1000000);
    std::string const oldContent = oldText.GetString(), newContent = newText.GetString();

    // How long one save takes here, so that the kills land across all of it.
    WriteFile(path, oldContent);
    auto const start = std::chrono::steady_clock::now();
    ASSERT_TRUE(after.Save(path.c_str()));
    auto const saveUs = std::chrono::duration_cast<std::chrono::microseconds>(
                            std::chrono::steady_clock::now() - start)
                            .count();
    ASSERT_EQ(ReadFile(path), newContent);

    std::mt19937 random(99);
    int sawOld = 0, sawNew = 0;
    for (int round = 0; round < 200; ++round) {
        WriteFile(path, oldContent);
        pid_t const child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            after.Save(path.c_str());
            _exit(0);
        }
        usleep(static_cast<useconds_t>(random() % (saveUs + saveUs / 4 + 1)));
        kill(child, SIGKILL);
        int status = 0;
        waitpid(child, &status, 0);
        std::string const content = ReadFile(path);
        bool const isOld = content == oldContent;
        bool const isNew = content == newContent;
        ASSERT_TRUE(isOld || isNew) << "round " << round << ": " << content.size() << " bytes";
        sawOld += isOld;
        sawNew += isNew;
    }
    // Equal to a complete text is the stronger check; that text also loads.
    CIniFile check;
    EXPECT_TRUE(check.Load(path.c_str()));
    // Both outcomes occur, or the kills did not land inside the saves.
    EXPECT_GT(sawOld, 0);
    EXPECT_GT(sawNew, 0);
}

} // namespace
