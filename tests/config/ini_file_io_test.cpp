// Loading and saving INI documents through files and paths: reads in pieces, failed reads and
// short writes, save-only-when-changed, the merge, refusal to overwrite what does not parse, and
// replacement of the file as a whole, which a killed writer must not tear.
#include <platform/exception.h>
#include <platform/ini_file.h>
#include <platform/mem_file.h>

#include "support/scratch.h"

#include <gtest/gtest.h>

#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <random>
#include <string>
#include <tuple>

using namespace test_support;
using zulwin::CString;

namespace {

// A memory file that reads at most 5 bytes and writes at most 7 at a time, as a disk file may:
// its `failAt`-th read fails with `error`, and once it holds `limit` bytes a write takes none,
// without an error (as near a full disk or the file size limit).
struct SlowFile : zulwin::CMemFile {
    unsigned long limit = ~0ul;
    int failAt = 0, error = 0, reads = 0;
    unsigned int Read(void* buffer, unsigned long count) override {
        errno = ++reads == failAt ? error : 0;
        return errno != 0 ? 0 : CMemFile::Read(buffer, std::min(count, 5ul));
    }
    void Write(const void* buffer, unsigned long count) override {
        CMemFile::Write(buffer, std::min({count, 7ul, limit - std::min(limit, GetPosition())}));
    }
};

// The file is read in pieces: a failed read loads nothing, for a document made from part of a
// file must never be saved over the whole; an interrupted read is only a pause. (Which encoding
// the first bytes choose is the INI fuzz target's.)
TEST(IniFileLoad, ReadsInPiecesAndLoadsNothingAfterAFailedRead) {
    std::string const bytes = "\xEF\xBB\xBF[S]\nk=v\n[T]\nj=w";
    for (int error : {0, EINTR, EIO}) {
        SlowFile file;
        file.CMemFile::Write(bytes.data(), bytes.size());
        file.Seek(0, zulwin::CFile::begin);
        file.failAt = 3; // after 10 bytes, enough for a document
        file.error = error;
        CIniFile ini;
        EXPECT_EQ(ini.Load(file), error != EIO) << error;
        EXPECT_EQ(ini._GetSectionCount(), error != EIO ? 2u : 0u) << error;
    }
}

// Saving into a file goes on after a write that stops short, and throws -3 once one takes
// nothing, rather than taking a cut-off text for a saved one.
TEST(IniFileSave, ShortWritesGoOnAndAStalledOneThrows) {
    CIniFile ini;
    ini.WriteValue("A", "k", std::string(100, 'x').c_str());
    SlowFile stalled;
    stalled.limit = 50; // 7-byte writes go on until one takes nothing
    try {
        ini.Save(stalled);
        ADD_FAILURE() << "a stalled save returned";
    } catch (zulplatform::CException const& e) {
        EXPECT_TRUE(e.GetCode() == -3 && stalled.GetLength() == 50) << e.GetCode();
    }
}

// Saving merges the document into what the file holds, and writes only when that changes it (a
// rewrite would lose the mark and the comment).
TEST(IniFileSave, AnEqualDocumentLeavesTheFileUntouched) {
    // The file, the document, and what the file holds afterwards (null: it is left untouched).
    std::tuple<char const*, char const*, char const*> const cases[] = {
        // Equal content in unsorted text with a comment and a mark.
        {"\xEF\xBB\xBF; settings\n[b]\ny=2\n[A]\nK = 1\n", "[a]\nk=1\n[B]\nY=2\n", nullptr},
        // One section renamed, counts equal: both survive.
        {"[Old]\nk=1\n", "[New]\nk=1\n", "[New]\nk = 1\n\n[Old]\nk = 1\n\n"},
        // Counts differ, or a file section holds a key the document lacks: the document wins.
        {"[A]\nk=1\n[B]\nj=2\n", "[A]\nk=1\n", "[A]\nk = 1\n\n"},
        {"[A]\nk=1\nextra=2\n", "[A]\nk=3\n", "[A]\nk = 3\n\n"},
    };
    ScratchDir dir;
    std::string const path = dir / "merge.ini";
    for (auto const& [file, document, result] : cases) {
        WriteFile(path, file);
        CIniFile ini;
        ASSERT_TRUE(ini.FromText(document));
        ini._SetModified(true);
        EXPECT_TRUE(ini.Save(path.c_str()) && !ini.IsModified());
        EXPECT_EQ(ReadFile(path), result != nullptr ? result : file) << document;
    }
}

TEST(IniFileSave, RefusesToOverwriteWhatItCannotRead) {
    ScratchDir dir;
    WriteFile(dir / "bad.ini", "[A] junk\n");
    CIniFile ini;
    ini.WriteValue("A", "k", "1");
    EXPECT_FALSE(ini.Save((dir / "bad.ini").c_str()));
    EXPECT_EQ(ReadFile(dir / "bad.ini"), "[A] junk\n");
}

TEST(IniFileSave, ReplacesTheFileKeepingModeAndLinks) {
    ScratchDir dir;
    std::string const target = dir / "real.ini";
    WriteFile(target, "[A]\nk=1\n");
    chmod(target.c_str(), 0640);
    ASSERT_EQ(symlink("real.ini", (dir / "link.ini").c_str()), 0);
    CIniFile ini;
    ini.WriteValue("A", "k", "2");
    ASSERT_TRUE(ini.Save((dir / "link.ini").c_str()));
    EXPECT_EQ(ReadFile(target), "[A]\nk = 2\n\n") << "written through the link";
    EXPECT_EQ(std::filesystem::status(target).permissions(), std::filesystem::perms(0640));
}

// Saving replaces the file as a whole: a writer killed at any instant leaves either the old or
// the new complete file (about 1 MiB each), never a torn one.
TEST(IniFileSave, AKilledWriterLeavesTheOldOrTheNewFile) {
    ScratchDir dir;
    std::string const path = dir / "big.ini";
    CIniFile doc;
    for (int i = 0; i < 10000; ++i)
        doc.WriteValue(("Section" + std::to_string(i / 100)).c_str(),
                       ("Key" + std::to_string(i % 100)).c_str(), std::string(90, 'v').c_str());
    CString text;
    doc.ToText(text);
    std::string texts[2] = {text.GetString(), text.GetString()};
    std::replace(texts[0].begin(), texts[0].end(), 'v', 'o'); // the old values
    // A writer saving over the old file, in a process of its own.
    auto const save = [&] {
        WriteFile(path, texts[0]);
        pid_t const child = fork();
        if (child == 0)
            _exit(doc.Save(path.c_str()) ? 0 : 1);
        return child;
    };
    // One save timed to its end, so that the kills land across all of a save.
    auto const start = std::chrono::steady_clock::now();
    waitpid(save(), nullptr, 0);
    long const saveUs = (std::chrono::steady_clock::now() - start) / std::chrono::microseconds(1);
    ASSERT_EQ(ReadFile(path), texts[1]);
    std::mt19937 random(99);
    int saw[2] = {0, 0};
    for (int round = 0; round < 80; ++round) {
        pid_t const child = save();
        usleep(static_cast<useconds_t>(random() % (saveUs * 3 / 2 + 1)));
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        std::string const content = ReadFile(path);
        ASSERT_TRUE(content == texts[0] || content == texts[1]) << round << ": " << content.size();
        ++saw[content == texts[1]];
    }
    // Both outcomes occur, or the kills did not land inside the saves.
    EXPECT_TRUE(saw[0] > 0 && saw[1] > 0) << saw[0] << " old, " << saw[1] << " new";
}

} // namespace
