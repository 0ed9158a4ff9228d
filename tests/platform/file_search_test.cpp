#include "platform/file_search_impl.h"

#include <platform/files.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <dirent.h>
#include <fstream>
#include <ftw.h>
#include <functional>
#include <stdexcept>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

using zulplatform::_CFileSearchImpl;
using zulplatform::CFileSearch;

namespace {

// A fresh directory under /tmp, removed with everything in it at the end of the test.
class TempDir {
public:
    TempDir() {
        char pattern[] = "/tmp/search_test.XXXXXX";
        char* made = ::mkdtemp(pattern);
        EXPECT_NE(made, nullptr);
        if (made != nullptr) {
            char real[PATH_MAX];
            m_path = ::realpath(made, real) != nullptr ? real : made;
        }
    }
    ~TempDir() {
        if (!m_path.empty())
            ::nftw(m_path.c_str(), RemoveEntry, 16, FTW_DEPTH | FTW_PHYS);
    }
    const std::string& path() const { return m_path; }
    std::string operator/(const std::string& name) const { return m_path + "/" + name; }

    void File(const std::string& name) const { std::ofstream(*this / name) << name; }
    void Dir(const std::string& name) const { EXPECT_EQ(::mkdir((*this / name).c_str(), 0770), 0); }
    void Link(const std::string& target, const std::string& name) const {
        EXPECT_EQ(::symlink(target.c_str(), (*this / name).c_str()), 0);
    }

private:
    static int RemoveEntry(const char* path, const struct stat*, int, struct FTW*) {
        ::remove(path);
        return 0;
    }
    std::string m_path;
};

class CurrentDirectory {
public:
    explicit CurrentDirectory(const std::string& dir) {
        char buffer[PATH_MAX];
        if (::getcwd(buffer, sizeof buffer) != nullptr)
            m_saved = buffer;
        EXPECT_EQ(::chdir(dir.c_str()), 0);
    }
    ~CurrentDirectory() {
        if (!m_saved.empty() && ::chdir(m_saved.c_str()) != 0)
            ADD_FAILURE() << "cannot return to " << m_saved;
    }

private:
    std::string m_saved;
};

// Records "F <path>" and "D <path>" in call order; may stop on a chosen call.
class Recorder : public CFileSearch::IFsCallback {
public:
    bool OnFile(const char* path) override {
        events.push_back(std::string("F ") + path);
        return stopAtCall == static_cast<int>(events.size());
    }
    bool OnDirectory(const char* path) override {
        events.push_back(std::string("D ") + path);
        return stopAtCall == static_cast<int>(events.size());
    }
    std::vector<std::string> events;
    int stopAtCall = 0; // 1-based; 0 never stops
};

// Keeps the default OnDirectory.
class FilesOnly : public CFileSearch::IFsCallback {
public:
    bool OnFile(const char* path) override {
        files.push_back(path);
        return false;
    }
    std::vector<std::string> files;
};

std::vector<std::string> Search(const std::string& dir, const char* pattern, bool recursive,
                                int stopAtCall = 0) {
    Recorder recorder;
    recorder.stopAtCall = stopAtCall;
    CFileSearch().FindFile(dir.c_str(), pattern, &recorder, recursive);
    return recorder.events;
}

std::vector<std::string> Sorted(std::vector<std::string> v) {
    std::sort(v.begin(), v.end());
    return v;
}

int OpenDescriptorCount() {
    int count = 0;
    if (DIR* d = ::opendir("/proc/self/fd")) {
        while (::readdir(d) != nullptr)
            ++count;
        ::closedir(d);
    }
    return count;
}

// The matching rules written out literally, as the reference for the matcher.
bool ReferenceMatch(const char* p, const char* n) {
    if (*p == '\0')
        return *n == '\0';
    for (; *p != '\0'; ++p) {
        if (*p == '*') {
            if (p[1] == '\0')
                return true;
            if (*n == '\0')
                return false;
            for (; *n != '\0'; ++n)
                if (ReferenceMatch(p + 1, n))
                    return true;
            return false;
        }
        if (*n == '\0' || (*p != '?' && *p != *n))
            return false;
        ++n;
    }
    return *n == '\0';
}

// Every string of length 0..maxLength over `alphabet`.
std::vector<std::string> AllStrings(const std::string& alphabet, size_t maxLength) {
    std::vector<std::string> out{""};
    for (size_t begin = 0, length = 1; length <= maxLength; ++length) {
        size_t const end = out.size();
        for (size_t i = begin; i < end; ++i)
            for (char c : alphabet)
                out.push_back(out[i] + c);
        begin = end;
    }
    return out;
}

} // namespace

TEST(Wildcard, SettledCases) {
    const struct {
        const char* pattern;
        const char* name;
        bool match;
    } rows[] = {
        {"", "", true},           {"", "a", false},
        {"a", "", false},         {"*", "", true},
        {"*", "abc", true},       {"a*", "a", true},
        {"a**", "a", false}, // a non-final '*' needs a character
        {"a**", "ab", true},      {"**", "", false},
        {"*x", "", false},        {"*x", "x", true},
        {"*x", "abx", true},      {"*x", "xa", false},
        {"?", "", false},         {"?", "a", true},
        {"??", "a", false},       {"a?c", "abc", true},
        {"*.txt", "a.txt", true}, {"*.txt", "a.txt.bak", false},
        {"*.txt", ".txt", true},  {"*.TXT", "a.txt", false}, // case-sensitive
        {"*a*b", "xaxxb", true},  {"*a*b", "xbxa", false},
        {"*.*", "noext", false}, // only the fast path of the search accepts every name
        {"*.h", "stdio.h", true}, {"*.h", "stdio.hpp", false},
        {"x*y*z", "xyz", true},   {"x*y*z", "xzy", false},
    };
    for (const auto& row : rows)
        EXPECT_EQ(_CFileSearchImpl::_MatchWildcard(row.pattern, row.name), row.match)
            << '"' << row.pattern << "\" vs \"" << row.name << '"';
}

TEST(Wildcard, AgreesWithTheRulesOnEverySmallCase) {
    const std::vector<std::string> patterns = AllStrings("ab*?", 5);
    const std::vector<std::string> names = AllStrings("ab", 5);
    for (const std::string& p : patterns)
        for (const std::string& n : names)
            ASSERT_EQ(_CFileSearchImpl::_MatchWildcard(p.c_str(), n.c_str()),
                      ReferenceMatch(p.c_str(), n.c_str()))
                << '"' << p << "\" vs \"" << n << '"';
}

TEST(Wildcard, ManyStarsStayFast) {
    const std::string name(250, 'a');
    EXPECT_FALSE(_CFileSearchImpl::_MatchWildcard("*a*a*a*a*a*a*a*a*a*a*a*a*b", name.c_str()));
    EXPECT_TRUE(_CFileSearchImpl::_MatchWildcard("*a*a*a*a*a*a*a*a*a*a*a*a*", name.c_str()));
}

TEST(FileSearch, PatternSelectsRegularFilesOnly) {
    TempDir d;
    d.File("a.txt");
    d.File("a.txt.bak");
    d.File("Makefile");
    d.Dir("x.txt");
    d.File("x.txt/inner.txt");
    ASSERT_EQ(::mkfifo((d / "pipe.txt").c_str(), 0660), 0);

    EXPECT_EQ(Search(d.path(), "*.txt", false), std::vector<std::string>{"F " + d / "a.txt"});
    const std::vector<std::string> all = {"F " + d / "Makefile", "F " + d / "a.txt",
                                          "F " + d / "a.txt.bak"};
    EXPECT_EQ(Sorted(Search(d.path(), "*", false)), all);
    EXPECT_EQ(Sorted(Search(d.path(), "*.*", false)), all); // names without a dot too
    EXPECT_EQ(Search(d.path(), "Make????", false), std::vector<std::string>{"F " + d / "Makefile"});
    EXPECT_TRUE(Search(d.path(), "*.TXT", false).empty());
}

TEST(FileSearch, NothingHappensWithoutPatternOrCallback) {
    TempDir d;
    d.File("a");
    EXPECT_TRUE(Search(d.path(), "", true).empty());
    Recorder recorder;
    CFileSearch().FindFile(d.path().c_str(), nullptr, &recorder, true);
    EXPECT_TRUE(recorder.events.empty());
    CFileSearch().FindFile(d.path().c_str(), "*", nullptr, true); // must not crash
}

TEST(FileSearch, PathsJoinTheDirectoryAndTheName) {
    TempDir d;
    d.Dir("s");
    d.File("s/f");
    const std::vector<std::string> expected = {"F " + d / "s/f", "D " + d / "s"};
    EXPECT_EQ(Search(d.path(), "*", true), expected);
    EXPECT_EQ(Search(d.path() + "/", "*", true), expected); // no doubled slash
    EXPECT_EQ(Search(d / "s", "f", false), std::vector<std::string>{"F " + d / "s/f"});
}

TEST(FileSearch, FilesFirstThenSubdirectoriesDepthFirstPostOrder) {
    TempDir d;
    d.File("f1");
    d.Dir("s");
    d.File("s/f2");
    d.Dir("s/t");
    d.File("s/t/f3");
    const std::vector<std::string> expected = {
        "F " + d / "f1", "F " + d / "s/f2", "F " + d / "s/t/f3", "D " + d / "s/t", "D " + d / "s"};
    EXPECT_EQ(Search(d.path(), "*", true), expected);
    // Not recursive: the files of the directory alone, no directory announced.
    EXPECT_EQ(Search(d.path(), "*", false), std::vector<std::string>{"F " + d / "f1"});
}

TEST(FileSearch, EachSubtreeIsContiguousAndAnnouncedAfterItsContents) {
    TempDir d;
    const std::vector<std::string> dirs = {"a", "a/x", "a/y", "b", "b/z", "c"};
    for (const std::string& dir : dirs) {
        d.Dir(dir);
        d.File(dir + "/f1");
        d.File(dir + "/f2");
    }
    d.File("top1");
    d.File("top2");
    const std::vector<std::string> events = Search(d.path(), "*", true);
    ASSERT_EQ(events.size(), 2 + dirs.size() * 3);
    // The top directory's files come first.
    EXPECT_EQ(Sorted({events[0], events[1]}),
              (std::vector<std::string>{"F " + d / "top1", "F " + d / "top2"}));
    for (const std::string& dir : dirs) {
        const std::string prefix = d / dir + "/";
        size_t first = events.size(), last = 0, announced = events.size();
        for (size_t i = 0; i < events.size(); ++i) {
            if (events[i].compare(2, prefix.size(), prefix) == 0) {
                first = std::min(first, i);
                last = std::max(last, i);
            }
            if (events[i] == "D " + d / dir)
                announced = i;
        }
        // Everything beneath the directory, then the directory itself, with nothing between.
        EXPECT_EQ(announced, last + 1) << dir;
        size_t const beneath = static_cast<size_t>(
            std::count_if(dirs.begin(), dirs.end(), [&](const std::string& other) {
                return other.compare(0, dir.size() + 1, dir + "/") == 0;
            }));
        EXPECT_EQ(last - first + 1, 2 + beneath * 3) << dir;
        // Its own files precede its subdirectories.
        EXPECT_EQ(Sorted({events[first], events[first + 1]}),
                  (std::vector<std::string>{"F " + prefix + "f1", "F " + prefix + "f2"}))
            << dir;
    }
}

TEST(FileSearch, DefaultOnDirectoryDoesNotChangeTheFiles) {
    TempDir d;
    d.File("f1");
    d.Dir("s");
    d.File("s/f2");
    FilesOnly callback;
    CFileSearch().FindFile(d.path().c_str(), "*", &callback, true);
    EXPECT_EQ(callback.files, (std::vector<std::string>{d / "f1", d / "s/f2"}));
}

TEST(FileSearch, ACallbackReturningTrueStopsEverything) {
    TempDir d;
    d.File("f1");
    d.File("f2");
    d.Dir("s");
    d.File("s/g1");
    d.File("s/g2");
    d.Dir("s/t");
    d.File("s/t/h");
    d.Dir("u");
    d.File("u/k");
    for (bool recursive : {false, true}) {
        const std::vector<std::string> events = Search(d.path(), "*", recursive, 1);
        ASSERT_EQ(events.size(), 1u);
        EXPECT_EQ(events[0].substr(0, 2), "F ");
    }
    // Stopping inside a subtree: no later file, no announcement of its parents.
    const std::vector<std::string> full = Search(d.path(), "*", true);
    ASSERT_EQ(full.size(), 9u);
    for (int stop = 1; stop <= 9; ++stop) {
        const std::vector<std::string> events = Search(d.path(), "*", true, stop);
        EXPECT_EQ(events, std::vector<std::string>(full.begin(), full.begin() + stop)) << stop;
    }
}

TEST(FileSearch, EmptyDirectoryTextMeansTheCurrentDirectory) {
    TempDir d;
    d.File("here.txt");
    d.Dir("s");
    d.File("s/below.txt");
    CurrentDirectory cd(d.path());
    const std::vector<std::string> expected = {"F " + d / "here.txt", "F " + d / "s/below.txt",
                                               "D " + d / "s"};
    EXPECT_EQ(Search("", "*.txt", true), expected);
    Recorder recorder;
    CFileSearch().FindFile(nullptr, "*.txt", &recorder, true);
    EXPECT_EQ(recorder.events, expected);
}

TEST(FileSearch, MissingOrUnlistableDirectoriesReportNothing) {
    TempDir d;
    d.File("plain");
    EXPECT_TRUE(Search(d / "missing", "*", true).empty());
    EXPECT_TRUE(Search(d / "plain", "*", true).empty());
    // The extended-length prefix is refused even where such a directory exists.
    CurrentDirectory cd(d.path());
    d.Dir("\\\\?\\");
    d.File("\\\\?\\/inside");
    EXPECT_TRUE(Search("\\\\?\\", "*", true).empty());
    // Reached under its full name, the same directory is searched.
    const std::string prefixDir = d / "\\\\?\\";
    EXPECT_EQ(Search(d.path(), "inside", true),
              (std::vector<std::string>{"F " + prefixDir + "/inside", "D " + prefixDir}));
}

TEST(FileSearch, ADanglingLinkEndsTheListingOfItsDirectory) {
    TempDir d;
    for (int i = 0; i < 12; ++i)
        d.File("f" + std::to_string(i));
    d.Link(d / "nowhere", "dangling");
    d.Dir("sub");
    d.File("sub/g");

    // The files that readdir lists before the link are the ones reported.
    std::vector<std::string> before;
    bool linkSeen = false, subBeforeLink = false;
    DIR* dir = ::opendir(d.path().c_str());
    ASSERT_NE(dir, nullptr);
    while (dirent* e = ::readdir(dir)) {
        const std::string name = e->d_name;
        if (name == "dangling") {
            linkSeen = true;
            break;
        }
        if (name == "sub")
            subBeforeLink = true;
        else if (name[0] == 'f')
            before.push_back("F " + d / name);
    }
    ::closedir(dir);
    ASSERT_TRUE(linkSeen);

    std::vector<std::string> expected = before;
    if (subBeforeLink) {
        expected.push_back("F " + d / "sub/g");
        expected.push_back("D " + d / "sub");
    }
    const std::vector<std::string> events = Search(d.path(), "*", true);
    ASSERT_GE(events.size(), before.size());
    EXPECT_EQ(Sorted(std::vector<std::string>(events.begin(), events.begin() + before.size())),
              Sorted(before));
    EXPECT_EQ(Sorted(events), Sorted(expected));
}

TEST(FileSearch, AnEntryPathOverTheSystemLimitEndsTheListing) {
    TempDir d;
    // A directory whose own path is short enough to open, with short names (stat works)
    // and long names (dir + name over 4096 characters: stat fails).
    std::string deep = d.path();
    while (deep.size() < 3800) {
        deep += "/" + std::string(200, 'd');
        ASSERT_EQ(::mkdir(deep.c_str(), 0770), 0);
    }
    const std::string longName(255, 'L');
    const std::vector<std::string> names = {"s1", "s2", "s3", "s4", longName, "s5", "s6"};
    {
        CurrentDirectory cd(deep);
        for (const std::string& name : names)
            std::ofstream(name) << "x";
    }
    std::vector<std::string> before;
    bool longSeen = false;
    DIR* dir = ::opendir(deep.c_str());
    ASSERT_NE(dir, nullptr);
    while (dirent* e = ::readdir(dir)) {
        if (e->d_name == longName) {
            longSeen = true;
            break;
        }
        if (e->d_name[0] == 's')
            before.push_back("F " + deep + "/" + e->d_name);
    }
    ::closedir(dir);
    ASSERT_TRUE(longSeen);
    EXPECT_EQ(Sorted(Search(deep, "*", false)), Sorted(before));

    CurrentDirectory cd(deep);
    EXPECT_EQ(::unlink(longName.c_str()), 0); // too long for the clean-up's full paths
}

TEST(FileSearch, SymbolicLinksAreFollowed) {
    TempDir d;
    d.Dir("real");
    d.File("real/data.txt");
    d.Dir("top");
    d.Link(d / "real", "top/linked");
    d.Link(d / "real/data.txt", "top/alias.txt");
    const std::vector<std::string> expected = {
        "F " + d / "top/alias.txt", "F " + d / "top/linked/data.txt", "D " + d / "top/linked"};
    EXPECT_EQ(Search(d / "top", "*.txt", true), expected);
}

TEST(FileSearch, NamesArePassedThroughByteForByte) {
    TempDir d;
    const std::string dirName = "d\xE9";
    const std::string fileName = "caf\xE9.txt";
    d.Dir(dirName);
    d.File(dirName + "/" + fileName);
    const std::vector<std::string> expected = {"F " + d / (dirName + "/" + fileName),
                                               "D " + d / dirName};
    EXPECT_EQ(Search(d.path(), "*.txt", true), expected);
    EXPECT_EQ(Search(d / dirName, "caf\xE9*", false),
              std::vector<std::string>{"F " + d / (dirName + "/" + fileName)});
}

TEST(FileSearch, CallbackExceptionPassesThroughAndClosesEverything) {
    TempDir d;
    d.Dir("a");
    d.Dir("a/b");
    d.File("a/b/f");
    struct Thrower : CFileSearch::IFsCallback {
        bool OnFile(const char*) override { throw std::runtime_error("from OnFile"); }
    };
    struct DirThrower : CFileSearch::IFsCallback {
        bool OnFile(const char*) override { return false; }
        bool OnDirectory(const char*) override { throw 42; }
    };
    const int before = OpenDescriptorCount();
    Thrower thrower;
    EXPECT_THROW(CFileSearch().FindFile(d.path().c_str(), "*", &thrower, true), std::runtime_error);
    DirThrower dirThrower;
    EXPECT_THROW(CFileSearch().FindFile(d.path().c_str(), "*", &dirThrower, true), int);
    EXPECT_EQ(OpenDescriptorCount(), before);
}

TEST(FileSearch, ACallbackMayRemoveWhatItIsGiven) {
    TempDir d;
    d.File("f");
    d.Dir("s");
    d.File("s/g");
    d.Dir("s/t");
    struct Remover : CFileSearch::IFsCallback {
        bool OnFile(const char* path) override { return ::unlink(path) != 0; }
        bool OnDirectory(const char* path) override { return ::rmdir(path) != 0; }
    } remover;
    CFileSearch().FindFile(d.path().c_str(), "*", &remover, true);
    DIR* dir = ::opendir(d.path().c_str());
    ASSERT_NE(dir, nullptr);
    int left = 0;
    while (dirent* e = ::readdir(dir))
        left += std::string(e->d_name) != "." && std::string(e->d_name) != "..";
    ::closedir(dir);
    EXPECT_EQ(left, 0);
}
