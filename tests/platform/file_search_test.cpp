// File search: what is reported in which order, which names a pattern takes, and how listings
// end. The wildcard matcher itself is compared with the reference rules by fuzz/paths_fuzz.cpp.
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

// The events of a search, sorted unless `recursive` (the walk's order is checked as it is).
Events Search(const std::string& dir, const char* pattern, bool recursive, int stopAt = 0) {
    Recorder recorder;
    recorder.stopAt = stopAt;
    zulplatform::CFileSearch().FindFile(dir.c_str(), pattern, &recorder, recursive);
    if (!recursive)
        std::sort(recorder.events.begin(), recorder.events.end());
    return recorder.events;
}

} // namespace

// The walk: files first, then each subdirectory depth first, announced after its contents.
// Links to files and to directories are followed; names pass byte for byte.
TEST(FileSearch, ReportsMatchingFilesInWalkOrder) {
    ScratchDir d, real;
    fs::create_directories(d / "s");
    fs::create_directories(real / "x.txt");
    const std::string many(250, 'a');
    for (const std::string& file : {d / "f1", real / "f2", real / "x.txt/f3", real / "a.txt",
                                    real / "ab", real / many, real / "a"})
        WriteFile(file, "x");
    fs::create_symlink(real / "f2", d / "s/f2");
    fs::create_directory_symlink(real / "x.txt", d / "s/t\xE9");
    const Events all = {"F " + d / "f1", "F " + d / "s/f2", "F " + d / "s/t\xE9/f3",
                        "D " + d / "s/t\xE9", "D " + d / "s"};
    EXPECT_EQ(Search(d.path() + "/", "*", true), all); // no doubled slash
    // A callback returning true ends everything at once, inside a subtree too.
    for (int stop = 1; stop <= 5; ++stop)
        EXPECT_EQ(Search(d.path(), "*", true, stop), Events(all.begin(), all.begin() + stop));

    // Only regular files are reported (not the directory x.txt, nor a pipe). Two trailing stars
    // need one more character; many stars against a long name take no exponential time.
    ASSERT_EQ(mkfifo((real / "p.txt").c_str(), 0660), 0);
    EXPECT_EQ(Search(real.path(), "*.txt", false), Events{"F " + real / "a.txt"});
    EXPECT_EQ(Search(real.path(), "a**", false),
              (Events{"F " + real / "a.txt", "F " + real / many, "F " + real / "ab"}));
    EXPECT_EQ(Search(real.path(), "*a*a*a*a*a*a*a*a*a*a*a*a*b", false), Events{});
}

// A listing ends at the first entry that cannot be stat'ed, as if the directory were exhausted:
// a dangling link, or a name that makes the full path too long (in a directory short enough to
// open).
TEST(FileSearch, AnEntryThatCannotBeStatedEndsItsListing) {
    ScratchDir d;
    for (int i = 0; i < 8; ++i)
        WriteFile(d / ("f" + std::to_string(i)), "x");
    fs::create_symlink(d / "nowhere", d / "dangling");
    Events before; // what the listing gives before the link, sorted
    for (fs::directory_iterator it(d.path());
         it != fs::end(it) && it->path().filename() != "dangling"; ++it)
        before.push_back("F " + it->path().string());
    std::sort(before.begin(), before.end());
    EXPECT_EQ(Search(d.path(), "*", false), before);

    std::string deep = d / "deep";
    while (deep.size() < 3900)
        deep += "/" + std::string(200, 'd');
    fs::create_directories(deep);
    CwdGuard cwd;
    ASSERT_EQ(chdir(deep.c_str()), 0);
    const std::string longName(255, 'L');
    WriteFile(longName, "x");
    EXPECT_EQ(Search(deep, "*", false), Events{});
    EXPECT_EQ(unlink(longName.c_str()), 0); // too long for the clean-up's full paths
}
