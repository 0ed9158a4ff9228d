// Path splitting, validation and canonical absolute paths.
#include <platform/files.h>

#include "support/path_reference.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

using namespace zulplatform;
using zulwin::CString;

namespace {

// "folder|extension|base name|" followed by F for a file name and A for an absolute path.
std::string Split(const char* text) {
    const CPath p{CString(text)};
    return std::string(p.GetFolder().GetString()) + "|" + p.GetFileExtension().GetString() + "|" +
           p.GetFileBaseName().GetString() + "|" + (p.IsFileName() ? "F" : "") +
           (p.IsAbsolute() ? "A" : "");
}

// "<Validate's result> <normalised text>"; ValidateSyntax must give the same result.
std::string Judge(const std::string& text, CPathValidator::flags f = CPathValidator::none) {
    CString path(text.c_str()), viaSyntax(text.c_str());
    const unsigned int result = CPathValidator::Validate(path, f, GetDriveInfo());
    EXPECT_EQ(CPathValidator::ValidateSyntax(viaSyntax, f), result) << text;
    return std::to_string(result) + " " + path.GetString();
}

} // namespace

TEST(ResolveFullPath, AgreesWithModelAndRefusesRelativePaths) {
    // Random texts, half of them absolute ("/" and "/.." among them), once 30000 long. An empty
    // or relative text (" /a" too) is refused and left as it was.
    std::mt19937 rng(12345);
    const char alphabet[] = {'/', '/', '.', '.', 'a', ' '};
    for (int round = 0; round < 4000; ++round) {
        std::string text = round % 2 ? "/" : "";
        for (unsigned i = 0, n = round == 1 ? 30000 : rng() % 40; i < n; ++i)
            text += alphabet[rng() % sizeof alphabet];
        CString path(text.c_str());
        const bool absolute = !text.empty() && text[0] == '/';
        ASSERT_EQ(ResolveFullPath(path), absolute) << text;
        ASSERT_EQ(path.GetString(), absolute ? test_support::RefResolve(text) : text) << text;
    }
}

TEST(CPath, SplitsIntoParts) {
    EXPECT_EQ(Split("/x/y.tar.gz"), "/x|gz|y.tar|A");
    EXPECT_EQ(Split(".cfg"), "|cfg|.cfg|F"); // a leading dot belongs to the name
    EXPECT_EQ(Split("dir/.cfg"), "dir|cfg||");
    EXPECT_EQ(Split("~/x"), "~||x|"); // the folder "~" does not begin with "~/"
    EXPECT_EQ(Split("~/X/y"), "~/X||y|A");
    EXPECT_EQ(Split(" \t/a/b. txt/ c .d \r\n"), "/a/b. txt|d|c|A"); // trimmed twice
    EXPECT_TRUE(CPath(CString("a\\b")).HasInvalidCharacters() &&
                CPath(CString("x..y")).HasInvalidCharacters() &&
                !CPath(CString("/a/b.c ~/./x")).HasInvalidCharacters());
}

TEST(CPathValidator, NormalisesAndJudges) {
    EXPECT_EQ(Judge("  \\x"), "0 /x");
    EXPECT_EQ(Judge("/a///b"), "0 /a//b"); // one pass: three slashes become two
    EXPECT_EQ(Judge("//"), "2 ");
    EXPECT_EQ(Judge("C:\\d"), "5 C:/d");
    EXPECT_EQ(Judge("a\\b", CPathValidator::allowRelative), "0 a/b");
    EXPECT_EQ(Judge("rel?", CPathValidator::allowRelative), "4 rel?");
    EXPECT_EQ(Judge("/a\""), "4 /a\"");
    EXPECT_EQ(Judge("/" + std::string(4095, 'a')).substr(0, 2), "0 ");
    EXPECT_EQ(Judge("/" + std::string(4096, 'a')).substr(0, 2), "3 ");
}
