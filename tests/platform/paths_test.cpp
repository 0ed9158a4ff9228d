#include <platform/files.h>
#include <platform/system.h>

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

using zulplatform::CPath;
using zulplatform::CPathValidator;
using zulplatform::ResolveFullPath;
using zulwin::CString;

namespace {

// A fresh directory, removed with everything in it at the end of the test.
class ScratchDir {
public:
    ScratchDir() {
        char name[] = "/tmp/paths-test-XXXXXX";
        if (mkdtemp(name) != nullptr)
            m_path = name;
    }
    ~ScratchDir() {
        if (!m_path.empty())
            std::filesystem::remove_all(m_path);
    }
    const std::string& path() const { return m_path; }

private:
    std::string m_path;
};

// Returns to the directory the test started in, whatever happens to the one it moves to.
class CwdGuard {
public:
    CwdGuard() {
        if (getcwd(m_saved, sizeof m_saved) == nullptr)
            m_saved[0] = '\0';
    }
    ~CwdGuard() {
        if (m_saved[0] != '\0' && chdir(m_saved) != 0)
            std::abort();
    }

private:
    char m_saved[PATH_MAX];
};

// Straightforward model of canonicalisation, for comparison on random input.
std::string ModelResolve(const std::string& path) {
    std::vector<std::string> kept;
    std::string segment;
    for (std::size_t i = 1; i <= path.size(); ++i) {
        if (i < path.size() && path[i] != '/') {
            segment += path[i];
            continue;
        }
        if (segment == "..") {
            if (!kept.empty())
                kept.pop_back();
        } else if (!segment.empty() && segment != ".") {
            kept.push_back(segment);
        }
        segment.clear();
    }
    std::string out;
    for (const std::string& s : kept)
        out += "/" + s;
    return out;
}

std::string Str(const CString& s) {
    return std::string(s.GetString(), static_cast<std::size_t>(s.GetLength()));
}

} // namespace

// -------------------------------------------------------------------------------------------
// ResolveFullPath and fullpath

TEST(ResolveFullPath, CanonicalForms) {
    struct Case {
        const char* in;
        const char* out;
    } const cases[] = {
        {"/", ""},
        {"///", ""},
        {"/a//b/./c/../d/", "/a/b/d"},
        {"/..", ""},
        {"/../../a", "/a"},
        {"/a/b/../../..", ""},
        {"/a/b/..", "/a"},
        {"/a/./././b/.", "/a/b"},
        {"/.hidden/..x/.../x..", "/.hidden/..x/.../x.."},
        {"/A/a/../B", "/A/B"},
        {"/\xC3\xA9t\xC3\xA9/\xC3\xBC/../x", "/\xC3\xA9t\xC3\xA9/x"},
        {"/a b/ c /", "/a b/ c "},
    };
    for (const Case& c : cases) {
        CString path(c.in);
        EXPECT_TRUE(ResolveFullPath(path)) << c.in;
        EXPECT_EQ(Str(path), c.out) << c.in;
    }
}

TEST(ResolveFullPath, RefusesEmptyAndRelativePathsUnchanged) {
    for (const char* text : {"", "a/b", "./a", " /a", "~/x", "..", "\\a"}) {
        CString path(text);
        EXPECT_FALSE(ResolveFullPath(path)) << text;
        EXPECT_EQ(Str(path), text);
    }
}

TEST(ResolveFullPath, AgreesWithModelOnRandomPaths) {
    std::mt19937 rng(12345);
    const char alphabet[] = {'/', '/', '.', '.', 'a', 'b'};
    for (int round = 0; round < 5000; ++round) {
        std::string text = "/";
        const int length = static_cast<int>(rng() % 40);
        for (int i = 0; i < length; ++i)
            text += alphabet[rng() % sizeof alphabet];
        CString path(text.c_str());
        ASSERT_TRUE(ResolveFullPath(path));
        ASSERT_EQ(Str(path), ModelResolve(text)) << text;
    }
}

TEST(ResolveFullPath, LongPathsAreHandledWholly) {
    // No length limit applies here: thousands of segments and a 10000-byte name.
    std::string many;
    for (int i = 0; i < 3000; ++i)
        many += "/s/./x/..";
    const std::string big = "/" + std::string(10000, 'n') + "/../" + std::string(5000, 'k');
    for (const std::string& text : {many, big}) {
        CString path(text.c_str());
        ASSERT_TRUE(ResolveFullPath(path));
        EXPECT_EQ(Str(path), ModelResolve(text));
    }
}

TEST(FullPath, CopiesTheResolvedTextWhenSizeCoversItsLength) {
    std::string buffer(16, '#');
    // Resolved length 5: size 5 passes the room test and 6 bytes arrive.
    EXPECT_EQ(fullpath(&buffer[0], "/ab/./c/", 5), &buffer[0]);
    EXPECT_STREQ(buffer.c_str(), "/ab/c");
    EXPECT_EQ(buffer.substr(6), std::string(10, '#'));

    buffer.assign(16, '#');
    EXPECT_EQ(fullpath(&buffer[0], "/ab/cd", 5), nullptr);
    EXPECT_EQ(buffer, std::string(16, '#'));

    // The root resolves to the empty text: one terminator, even with size 0.
    EXPECT_EQ(fullpath(&buffer[0], "/", 0), &buffer[0]);
    EXPECT_EQ(buffer[0], '\0');
    EXPECT_EQ(buffer[1], '#');
}

TEST(FullPath, RefusesWhatCannotBeResolved) {
    char buffer[8] = "keep";
    EXPECT_EQ(fullpath(buffer, nullptr, sizeof buffer), nullptr);
    EXPECT_EQ(fullpath(buffer, "", sizeof buffer), nullptr);
    EXPECT_EQ(fullpath(buffer, "rel/x", sizeof buffer), nullptr);
    EXPECT_EQ(fullpath(nullptr, "/a", 100), nullptr);
    EXPECT_STREQ(buffer, "keep");
}

// -------------------------------------------------------------------------------------------
// CPath

TEST(CPath, SplitsIntoParts) {
    struct Case {
        const char* path;
        const char* folder;
        const char* extension;
        const char* baseName;
        bool isFileName;
        bool isAbsolute;
    } const cases[] = {
        {"/x/y.tar.gz", "/x", "gz", "y.tar", false, true},
        {"a/b/c", "a/b", "", "c", false, false},
        {"/c", "/", "", "c", false, true},
        {"c", "", "", "c", true, false},
        {"a/b.txt", "a", "txt", "b", false, false},
        {".cfg", "", "cfg", ".cfg", true, false},
        {"dir/.cfg", "dir", "cfg", "", false, false},
        {"a.b/c", "a.b", "", "c", false, false},
        {"name.", "", "", "name", true, false},
        {"~/x", "~", "", "x", false, false}, // the folder "~" does not begin with "~/"
        {"~/X/y", "~/X", "", "y", false, true},
        {"~", "", "", "~", true, false},
        {"x/~/y", "x/~", "", "y", false, false},
        {"dir/", "dir", "", "", false, false},
        {"", "", "", "", false, false},
        {"/a/b. txt/ c .d", "/a/b. txt", "d", "c", false, true},
    };
    for (const Case& c : cases) {
        const CPath path{CString(c.path)};
        EXPECT_EQ(Str(path.GetFolder()), c.folder) << c.path;
        EXPECT_EQ(Str(path.GetFileExtension()), c.extension) << c.path;
        EXPECT_EQ(Str(path.GetFileBaseName()), c.baseName) << c.path;
        EXPECT_EQ(path.IsFileName(), c.isFileName) << c.path;
        EXPECT_EQ(path.IsAbsolute(), c.isAbsolute) << c.path;
        EXPECT_EQ(path.IsRelative(), !c.isAbsolute) << c.path;
    }
}

TEST(CPath, TrimsWhiteSpaceAtConstruction) {
    const CPath path(CString(" \t /x/y.txt \r\n"));
    EXPECT_EQ(Str(path.GetText()), "/x/y.txt");
    EXPECT_TRUE(CPath(CString("  \t ")).IsEmpty());
}

TEST(CPath, InvalidCharactersAndParentReferences) {
    for (const char* bad :
         {"a*b", "a?b", "c:x", "a|b", "a<b", "a>b", "a\"b", "a\\b", "a/../b", "..", "x..y"}) {
        EXPECT_TRUE(CPath(CString(bad)).HasInvalidCharacters()) << bad;
    }
    for (const char* good : {"/a/b.c", "a.b.c", "~/x", "./x", "", "a b"})
        EXPECT_FALSE(CPath(CString(good)).HasInvalidCharacters()) << good;
}

TEST(CPath, GetPathAndIsExistPrefixTheFolderAsGiven) {
    ScratchDir dir;
    ASSERT_FALSE(dir.path().empty());
    const std::string file = dir.path() + "/present.txt";
    std::FILE* f = std::fopen(file.c_str(), "w");
    ASSERT_NE(f, nullptr);
    std::fclose(f);
    const CPath name(CString("present.txt"));
    EXPECT_EQ(Str(name.GetPath(CString("/base/"))), "/base/present.txt");
    EXPECT_EQ(Str(name.GetPath(CString("/base"))), "/basepresent.txt");
    EXPECT_TRUE(name.IsExist(CString((dir.path() + "/").c_str())));
    EXPECT_FALSE(name.IsExist(CString(dir.path().c_str())));
    EXPECT_FALSE(CPath(CString("missing.txt")).IsExist(CString((dir.path() + "/").c_str())));
}

// -------------------------------------------------------------------------------------------
// CPathValidator

TEST(CPathValidator, NormalisesAndJudges) {
    struct Case {
        std::string in;
        CPathValidator::flags f;
        unsigned int result;
        std::string normalised;
    } const cases[] = {
        {"  \\x", CPathValidator::none, 0, "/x"},
        {"a", CPathValidator::none, 2, "a"},
        {"a/b", CPathValidator::none, 5, "a/b"},
        {"a/b", CPathValidator::allowRelative, 0, "a/b"},
        {"/a?b", CPathValidator::none, 4, "/a?b"},
        {"/a///b", CPathValidator::none, 0, "/a//b"},
        {"/a////b", CPathValidator::none, 0, "/a//b"},
        {"/\\\\x", CPathValidator::none, 0, "//x"},
        {"/a/b///", CPathValidator::none, 0, "/a/b"},
        {"//", CPathValidator::none, 2, ""},
        {" \t\r\n", CPathValidator::none, 2, ""},
        {"", CPathValidator::allowRelative, 2, ""},
        {"/x:y", CPathValidator::none, 0, "/x:y"},
        {"C:\\dir", CPathValidator::none, 5, "C:/dir"},
        {"rel?", CPathValidator::allowRelative, 4, "rel?"},
        {"/" + std::string(4095, 'a'), CPathValidator::none, 0, "/" + std::string(4095, 'a')},
        {"/" + std::string(4096, 'a'), CPathValidator::none, 3, "/" + std::string(4096, 'a')},
        {std::string(5000, 'a') + "?", CPathValidator::none, 3, std::string(5000, 'a') + "?"},
    };
    for (const Case& c : cases) {
        CString path(c.in.c_str());
        EXPECT_EQ(CPathValidator::Validate(path, c.f, zulplatform::GetDriveInfo()), c.result)
            << c.in.substr(0, 40);
        EXPECT_EQ(Str(path), c.normalised) << c.in.substr(0, 40);
    }
}

TEST(CPathValidator, EachTableCharacterIsRejected) {
    for (char bad : {'?', '>', '<', '|', '*', '"'}) {
        CString path((std::string("/dir/a") + bad + "b").c_str());
        EXPECT_EQ(CPathValidator::Validate(path, CPathValidator::none, zulplatform::GetDriveInfo()),
                  4u)
            << bad;
    }
}

TEST(CPathValidator, SyntaxResultsNeverIncludeDriveResults) {
    std::mt19937 rng(99);
    const char alphabet[] = {'/', '\\', 'a', ' ', ':', '?', 'C', '.'};
    for (int round = 0; round < 2000; ++round) {
        std::string text;
        const int length = static_cast<int>(rng() % 12);
        for (int i = 0; i < length; ++i)
            text += alphabet[rng() % sizeof alphabet];
        CString viaSyntax(text.c_str());
        CString viaValidate(text.c_str());
        const auto f = round % 2 ? CPathValidator::allowRelative : CPathValidator::none;
        const unsigned int syntax = CPathValidator::ValidateSyntax(viaSyntax, f);
        EXPECT_TRUE(syntax == 0 || (syntax >= 2 && syntax <= 5)) << text;
        EXPECT_EQ(syntax, CPathValidator::Validate(viaValidate, f, zulplatform::GetDriveInfo()));
        EXPECT_EQ(Str(viaSyntax), Str(viaValidate));
    }
}

TEST(CPathValidator, ValidateLengthDoesNotNormalise) {
    EXPECT_EQ(CPathValidator::ValidateLength(CString("")), 2u);
    EXPECT_EQ(CPathValidator::ValidateLength(CString("a")), 2u);
    EXPECT_EQ(CPathValidator::ValidateLength(CString("  ")), 0u);
    EXPECT_EQ(CPathValidator::ValidateLength(CString("//")), 0u);
    EXPECT_EQ(CPathValidator::ValidateLength(CString(std::string(4096, 'x').c_str())), 0u);
    EXPECT_EQ(CPathValidator::ValidateLength(CString(std::string(4097, 'x').c_str())), 3u);
}

TEST(DriveInfo, OneInstanceWithNoDrives) {
    zulplatform::IDriveInfo& first = zulplatform::GetDriveInfo();
    EXPECT_EQ(&first, &zulplatform::GetDriveInfo());
    EXPECT_FALSE(first.HasDriveLetters());
}

// -------------------------------------------------------------------------------------------
// Current directory

TEST(CurrentDirectory, ReportsTheProcessDirectory) {
    CwdGuard guard;
    ScratchDir dir;
    ASSERT_FALSE(dir.path().empty());
    ASSERT_EQ(chdir(dir.path().c_str()), 0);
    CString out("old");
    ASSERT_TRUE(zulplatform::_GetCurrentDirectory(out));
    EXPECT_EQ(Str(out), dir.path());
}

TEST(CurrentDirectory, FailureLeavesTheOutputAlone) {
    CwdGuard guard;
    ScratchDir dir;
    ASSERT_FALSE(dir.path().empty());
    const std::string doomed = dir.path() + "/gone";
    ASSERT_EQ(mkdir(doomed.c_str(), 0700), 0);
    ASSERT_EQ(chdir(doomed.c_str()), 0);
    ASSERT_EQ(rmdir(doomed.c_str()), 0);
    CString out("untouched");
    EXPECT_FALSE(zulplatform::_GetCurrentDirectory(out));
    EXPECT_EQ(Str(out), "untouched");
}
