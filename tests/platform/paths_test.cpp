// Path splitting, validation and canonical absolute paths.
#include <platform/files.h>

#include "support/path_reference.h"

#include <gtest/gtest.h>

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

// "<Validate's result> <normalised text>" (ValidateSyntax is compared with it by the fuzzer).
std::string Judge(const std::string& text, CPathValidator::flags f = CPathValidator::none) {
    CString path(text.c_str());
    const unsigned int result = CPathValidator::Validate(path, f, GetDriveInfo());
    return std::to_string(result) + " " + path.GetString();
}

} // namespace

// The lexical model is compared on arbitrary text by fuzz/paths_fuzz.cpp; here the documented
// rows: "/.." is the root, written as the empty text, and a relative or empty text is refused
// and left as it was.
TEST(ResolveFullPath, AgreesWithModelAndRefusesRelativePaths) {
    for (const std::string text : {"/..", "/a/./b//../c/", "", " /a", "a/.."}) {
        CString path(text.c_str());
        const bool absolute = !text.empty() && text[0] == '/';
        EXPECT_EQ(ResolveFullPath(path), absolute) << text;
        EXPECT_EQ(path.GetString(), absolute ? test_support::RefResolve(text) : text) << text;
        EXPECT_TRUE(text != "/.." || path.IsEmpty());
    }
}

TEST(CPath, SplitsIntoParts) {
    EXPECT_EQ(Split("/x/y.tar.gz"), "/x|gz|y.tar|A");
    EXPECT_EQ(Split(".cfg"), "|cfg|.cfg|F"); // a leading dot belongs to the name
    EXPECT_EQ(Split("~/x"), "~||x|");        // the folder "~" does not begin with "~/"
    EXPECT_EQ(Split("~/X/y"), "~/X||y|A");
    EXPECT_EQ(Split(" \t/a/b. txt/ c .d \r\n"), "/a/b. txt|d|c|A"); // trimmed twice
}

TEST(CPathValidator, NormalisesAndJudges) {
    EXPECT_EQ(Judge("  \\x"), "0 /x");
    EXPECT_EQ(Judge("/a///b"), "0 /a//b"); // one pass: three slashes become two
    EXPECT_EQ(Judge("//"), "2 ");
    EXPECT_EQ(Judge("C:\\d"), "5 C:/d");
    EXPECT_EQ(Judge("a\\b", CPathValidator::allowRelative), "0 a/b");
    EXPECT_EQ(Judge("rel\"", CPathValidator::allowRelative), "4 rel\""); // before the relative test
    EXPECT_EQ(Judge("/" + std::string(4095, 'a')).substr(0, 2), "0 ");
    EXPECT_EQ(Judge("/" + std::string(4096, 'a')).substr(0, 2), "3 ");
}
