// Loading and saving INI documents through files and paths: encodings, save-only-when-changed,
// the merge, refusal to overwrite what does not parse, and replacement of the file as a whole.
#include <platform/exception.h>
#include <platform/file.h>
#include <platform/ini_file.h>
#include <platform/mem_file.h>

#include "support/scratch.h"

#include <gtest/gtest.h>

#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <iterator>
#include <string>
#include <tuple>

using test_support::ReadFile;
using test_support::ScratchDir;
using test_support::WriteFile;
using zulwin::CString;

namespace {

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
        CString value;
        bool const found = ini.ReadValue("S", "k", value);
        EXPECT_EQ(found, c.value != nullptr) << testing::PrintToString(c.bytes);
        if (found && c.value != nullptr) {
            EXPECT_EQ(value, c.value);
        }
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
    std::string const text = "[A]\nk = v\n\n[B]\nx = 1\n\n";
    std::string image = text;
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
    // No temporary file is left behind.
    int entries = 0;
    for (auto const& e : std::filesystem::directory_iterator(dir.path()))
        entries += e.path().filename().string()[0] == '.' ? 100 : 1;
    EXPECT_EQ(entries, 2);
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
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()),
                            std::filesystem::directory_iterator()),
              1);
}

TEST(IniFileSave, WriteErrorsThrowMinusThree) {
    zulwin::CFile full;
    if (!full.Open("/dev/full", zulwin::CFile::modeWrite))
        GTEST_SKIP() << "no /dev/full";
    CIniFile ini;
    ini.WriteValue("A", "k", "1");
    try {
        ini.Save(full);
        ADD_FAILURE() << "no exception";
    } catch (zulplatform::CException const& e) {
        EXPECT_EQ(e.GetCode(), -3);
    }
}

} // namespace
