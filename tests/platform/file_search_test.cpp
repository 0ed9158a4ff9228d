// File search: what is reported in which order, and how listings end.
#include <platform/file_search.h>

#include "support/scratch.h" // also <string>, <filesystem> and the POSIX file calls

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

using namespace test_support;
using Events = std::vector<std::string>;
namespace fs = std::filesystem;

namespace {

// Records "F <path>" and "D <path>" in call order; stops the search on call number `stopAt`.
struct Recorder : zulplatform::CFileSearch::IFsCallback {
    bool OnFile(const char* path) override { return Record("F ", path); }
    bool OnDirectory(const char* path) override { return Record("D ", path); }
    bool Record(const char* kind, const char* path) {
        events.push_back(kind + std::string(path));
        return static_cast<int>(events.size()) == stopAt;
    }
    Events events;
    int stopAt = 0;
};

Events Search(const char* dir, const char* pattern, bool recursive, int stopAt = 0) {
    Recorder recorder;
    recorder.stopAt = stopAt;
    zulplatform::CFileSearch().FindFile(dir, pattern, &recorder, recursive);
    return recorder.events;
}

Events Sorted(Events v) {
    std::sort(v.begin(), v.end());
    return v;
}

// "F <path>" of every entry listed in `dir` before `stop`, sorted: what a search reports when
// `stop` ends the listing (the callers' directories hold only files and `stop`).
Events ListedBefore(const std::string& dir, const std::string& stop) {
    Events files;
    for (fs::directory_iterator it(dir); it != fs::end(it) && it->path().filename() != stop; ++it)
        files.push_back("F " + it->path().string());
    return Sorted(files);
}

} // namespace

// The walk: files first, then each subdirectory depth first, announced after its contents.
// Links to files and to directories are followed; names pass byte for byte.
TEST(FileSearch, ReportsMatchingFilesInWalkOrder) {
    ScratchDir d, real;
    fs::create_directories(d / "s");
    fs::create_directories(real / "x.txt");
    for (const std::string& file : {d / "f1", real / "f2", real / "x.txt/f3", real / "a.txt",
                                    real / "a.txt.bak", real / "Makefile"})
        WriteFile(file, "x");
    fs::create_symlink(real / "f2", d / "s/f2");
    fs::create_directory_symlink(real / "x.txt", d / "s/t\xE9");
    const Events all = {"F " + d / "f1", "F " + d / "s/f2", "F " + d / "s/t\xE9/f3",
                        "D " + d / "s/t\xE9", "D " + d / "s"};
    EXPECT_EQ(Search((d.path() + "/").c_str(), "*", true), all); // no doubled slash
    // A callback returning true ends everything at once, inside a subtree too.
    for (int stop = 1; stop <= 5; ++stop)
        EXPECT_EQ(Search(d.c_str(), "*", true, stop), Events(all.begin(), all.begin() + stop));

    // Only regular files are reported (not the directory x.txt, nor a pipe).
    ASSERT_EQ(mkfifo((real / "p.txt").c_str(), 0660), 0);
    EXPECT_EQ(Search(real.c_str(), "*.txt", false), Events{"F " + real / "a.txt"});

    // An empty directory text means the current directory.
    CwdGuard cwd;
    ASSERT_EQ(chdir(d.c_str()), 0);
    EXPECT_EQ(Search("", "*", true), all);
}

// A listing ends at the first entry that cannot be stat'ed, as if the directory were exhausted.
TEST(FileSearch, AnEntryThatCannotBeStatedEndsItsListing) {
    ScratchDir d;
    for (int i = 0; i < 8; ++i)
        WriteFile(d / ("f" + std::to_string(i)), "x");
    fs::create_symlink(d / "nowhere", d / "dangling");
    EXPECT_EQ(Sorted(Search(d.c_str(), "*", true)), ListedBefore(d.path(), "dangling"));

    // A directory short enough to open, holding short names (their stat works) and one long
    // name (directory plus name over 4096 characters).
    std::string deep = d / "deep";
    while (deep.size() < 3800)
        deep += "/" + std::string(200, 'd');
    fs::create_directories(deep);
    const std::string longName(255, 'L');
    CwdGuard cwd;
    ASSERT_EQ(chdir(deep.c_str()), 0);
    for (const char* name : {"f1", "f2", longName.c_str(), "f3", "f4"})
        WriteFile(name, "x");
    EXPECT_EQ(Sorted(Search(deep.c_str(), "*", false)), ListedBefore(deep, longName));
    EXPECT_EQ(unlink(longName.c_str()), 0); // too long for the clean-up's full paths
}
