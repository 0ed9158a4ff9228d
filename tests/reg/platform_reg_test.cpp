// platform-reg run as a process on a fresh application directory: every command against a
// known registry file, its output, its exit status, the file it leaves, and the confirmation
// prompt.
#include "reg/reg_process.h"
#include "support/scratch.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>
#include <vector>

namespace {

using reg_test::Outcome;
using reg_test::Pieces;
using reg_test::Words;
using test_support::ReadFile;
using test_support::ScratchDir;
using test_support::WriteFile;

const char kSeed[] = "[Net]\n"
                     "Port@DWORD = 502\n"
                     "Name@STRING = hello world\n"
                     "Blob@BINARY = 01ab\n"
                     "Flag@DWORD = 1\n"
                     "Flag@STRING = on\n"
                     "untyped = not a registry value\n"
                     "\n"
                     "[Net\\Sub]\n"
                     "Depth@DWORD = 2\n"
                     "Path@STRING = a\\b \"c\"\n"
                     "\n"
                     "[Net\\Sub\\Deep]\n"
                     "@DWORD = 5\n"
                     "\n"
                     "[Netx]\n"
                     "Keep@DWORD = 1\n";

// A fresh application directory whose data directory holds the seed as s.ini.
struct App {
    ScratchDir scratch;
    std::string dir = scratch / "app";
    std::string data = dir + "/user_data/";

    App() {
        mkdir(dir.c_str(), 0755);
        mkdir(data.c_str(), 0755);
        WriteFile(data + "s.ini", kSeed);
    }
    Outcome Reg(std::vector<std::string> args, const std::string& input = "/dev/null") const {
        args.insert(args.begin(), {PLATFORM_REG_PATH, "--dir", dir});
        return reg_test::Run(args, scratch.path(), input);
    }
    std::string File(const std::string& name = "s.ini") const { return ReadFile(data + name); }
};

struct Case {
    const char* what;
    const char* command; // the words after "--dir APPDIR"
    int status;
    const char* out;            // exact standard output
    const char* fileHas = "";   // texts the file must hold afterwards, separated by '|'
    const char* fileLacks = ""; // texts it must not hold
};

const char kDone[] = "The operation completed successfully.\n";

const Case kCases[] = {
    {"query lists typed values in order, then the direct subkeys", "query s.ini Net", 0,
     "\nNet\n"
     "    Blob    REG_BINARY    01AB\n"
     "    Flag    REG_DWORD    0x1\n"
     "    Flag    REG_SZ    on\n"
     "    Name    REG_SZ    hello world\n"
     "    Port    REG_DWORD    0x1f6\n"
     "\nNet\\Sub\n"},
    {"query of one value matches names without regard to case", "query s.ini NET /v port", 0,
     "\nNET\n    port    REG_DWORD    0x1f6\n\n"},
    {"query of a name held in two types shows both", "query s.ini Net /V Flag", 0,
     "\nNet\n    Flag    REG_DWORD    0x1\n    Flag    REG_SZ    on\n\n"},
    {"query shows the unnamed value as (Default)", "query s.ini \\Net\\Sub\\Deep\\", 0,
     "\nNet\\Sub\\Deep\n    (Default)    REG_DWORD    0x5\n\n"},
    {"query of a missing value", "query s.ini Net /v Missing", 2, ""},
    {"query of an untagged entry", "query s.ini Net /v untyped", 2, ""},
    {"query of a missing key", "query s.ini Nope", 3, ""},
    {"query of a missing file", "query none.ini Net", 3, ""},
    {"query without a key", "query s.ini", 13, ""},
    {"query of an empty key path", "query s.ini \\\\", 13, ""},
    {"query of a file outside the data directory", "query ../s.ini Net", 13, ""},
    {"query with a switch of another command", "query s.ini Net /d x", 13, ""},
    {"query with /v and no name", "query s.ini Net /v", 13, ""},
    {"query with a stray argument", "query s.ini Net extra", 13, ""},
    {"add a DWORD in hexadecimal", "add s.ini Net /v New /t REG_DWORD /d 0x2A", 0, kDone,
     "New@DWORD = 42|Port@DWORD = 502", ""},
    {"add a DWORD without data stores 0", "add s.ini Net /v Zero /t reg_dword", 0, kDone,
     "Zero@DWORD = 0", ""},
    {"add a string by default", "add s.ini Net /v Text /d 'two words'", 0, kDone,
     "Text@STRING = two words", ""},
    {"add binary data in lower-case digits", "add s.ini Net /v Bytes /t REG_BINARY /d 0A0bFF", 0,
     kDone, "Bytes@BINARY = 0a0bff", ""},
    {"add of an existing value without /f and no terminal is refused",
     "add s.ini Net /v Port /t REG_DWORD /d 7", 5, "", "Port@DWORD = 502", "Port@DWORD = 7"},
    {"add /f overwrites without asking", "add s.ini Net /v Port /t REG_DWORD /d 7 /f", 0, kDone,
     "Port@DWORD = 7", "Port@DWORD = 502"},
    {"add of another type beside an existing one does not ask", "add s.ini Net /v Port /d text", 0,
     kDone, "Port@DWORD = 502|Port@STRING = text", ""},
    {"add creates the key and every key above it", "add s.ini A\\B\\C", 0, kDone,
     "[A]|[A\\B]|[A\\B\\C]", ""},
    {"add of a DWORD beyond 32 bits", "add s.ini Net /v D /t REG_DWORD /d 4294967296", 13, "", "",
     "D@DWORD"},
    {"add of an odd number of hexadecimal digits", "add s.ini Net /v B /t REG_BINARY /d 0a0", 13,
     "", "", "B@BINARY"},
    {"add of an unknown type", "add s.ini Net /v Q /t REG_QWORD /d 1", 13, "", "", "Q@"},
    {"add of a string the file would not keep", "add s.ini Net /v S /d ' padded'", 13, "", "",
     "S@STRING"},
    {"add of a name the file would not read back", "add s.ini Net /v a=b /d x", 13, "", "", "a=b"},
    {"add of a key the file would not read back", "add s.ini x]y", 13, "", "", "x]y"},
    {"add of data without a name", "add s.ini Net /d x", 13, ""},
    {"add with a switch given twice", "add s.ini Net /v a /v b", 13, "", "", "\na@|\nb@"},
    {"delete a value of every type it holds", "delete s.ini Net /v flag /f", 0, kDone,
     "Port@DWORD = 502|[Net]", "Flag@"},
    {"delete of a value without /f and no terminal is refused", "delete s.ini Net /v Flag", 5, "",
     "Flag@DWORD = 1|Flag@STRING = on", ""},
    {"delete of a missing value", "delete s.ini Net /v Missing /f", 2, ""},
    {"delete of a missing key", "delete s.ini Nope /f", 3, ""},
    {"delete of a key takes its subkeys and leaves a sibling with the same prefix",
     "delete s.ini net /f", 0, kDone, "[Netx]|Keep@DWORD = 1",
     "[Net]|[Net\\Sub]|[Net\\Sub\\Deep]|Port@"},
    {"delete of a subkey keeps its parent", "delete s.ini Net\\Sub /f", 0, kDone,
     "[Net]|Port@DWORD = 502", "[Net\\Sub]|[Net\\Sub\\Deep]"},
    {"delete of a key without /f and no terminal is refused", "delete s.ini Net", 5, "",
     "[Net]|[Net\\Sub]", ""},
    {"export of a key and its subkeys in the .reg layout", "export s.ini net\\sub", 0,
     "Windows Registry Editor Version 5.00\n\n"
     "[Net\\Sub]\n"
     "\"Depth\"=dword:00000002\n"
     "\"Path\"=\"a\\\\b \\\"c\\\"\"\n"
     "\n"
     "[Net\\Sub\\Deep]\n"
     "@=dword:00000005\n"
     "\n"},
    {"export of the whole file", "export s.ini", 0,
     "Windows Registry Editor Version 5.00\n\n"
     "[Net]\n"
     "\"Blob\"=hex:01,ab\n"
     "\"Flag\"=dword:00000001\n"
     "\"Flag\"=\"on\"\n"
     "\"Name\"=\"hello world\"\n"
     "\"Port\"=dword:000001f6\n"
     "\n"
     "[Net\\Sub]\n"
     "\"Depth\"=dword:00000002\n"
     "\"Path\"=\"a\\\\b \\\"c\\\"\"\n"
     "\n"
     "[Net\\Sub\\Deep]\n"
     "@=dword:00000005\n"
     "\n"
     "[Netx]\n"
     "\"Keep\"=dword:00000001\n"
     "\n"},
    {"export of a missing key", "export s.ini Nope", 3, ""},
    {"export of a missing file", "export none.ini", 2, ""},
    {"export with a switch", "export s.ini /f", 13, ""},
    {"no command", "", 13, ""},
    {"unknown command", "import s.ini", 13, ""},
};

TEST(PlatformReg, Commands) {
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.what);
        App app;
        Outcome const r = app.Reg(Words(c.command));
        EXPECT_EQ(r.status, c.status);
        EXPECT_EQ(r.out, c.out);
        // Every failure says why on standard error; success says nothing there.
        EXPECT_EQ(r.err.empty(), c.status == 0) << r.err;
        if (c.status != 0) {
            EXPECT_EQ(r.err.rfind("ERROR: ", 0), 0u) << r.err;
        }
        std::string const file = app.File();
        for (const std::string& has : Pieces(c.fileHas))
            EXPECT_NE(file.find(has), std::string::npos) << has << " missing from\n" << file;
        for (const std::string& lacks : Pieces(c.fileLacks))
            EXPECT_EQ(file.find(lacks), std::string::npos) << lacks << " still in\n" << file;
        // A command that failed left the file as it was.
        if (c.status != 0) {
            EXPECT_EQ(file, kSeed);
        }
    }
}

TEST(PlatformReg, AddThenQueryRoundTrips) {
    App app;
    struct {
        std::vector<std::string> add;
        const char* line;
    } const values[] = {
        {{"/v", "D", "/t", "REG_DWORD", "/d", "4294967295"}, "    D    REG_DWORD    0xffffffff\n"},
        {{"/v", "S", "/d", "é ü \"q\" a\\b"}, "    S    REG_SZ    é ü \"q\" a\\b\n"},
        {{"/v", "B", "/t", "REG_BINARY", "/d", ""}, "    B    REG_BINARY    \n"},
        {{"/v", "", "/d", "default"}, "    (Default)    REG_SZ    default\n"},
        {{"/v", "at@sign", "/t", "REG_DWORD", "/d", "0"}, "    at@sign    REG_DWORD    0x0\n"},
    };
    for (const auto& v : values) {
        std::vector<std::string> args = {"add", "n.ini", "K\\L"};
        args.insert(args.end(), v.add.begin(), v.add.end());
        Outcome const added = app.Reg(args);
        ASSERT_EQ(added.status, 0) << added.err;
        Outcome const q = app.Reg({"query", "n.ini", "K\\L", "/v", v.add[1]});
        EXPECT_EQ(q.status, 0) << q.err;
        EXPECT_EQ(q.out, std::string("\nK\\L\n") + v.line + "\n");
    }
}

TEST(PlatformReg, HelpAndDirectory) {
    App app;
    for (const char* help : {"--help", "-h", "/?"}) {
        Outcome const r = reg_test::Run({PLATFORM_REG_PATH, help}, app.scratch.path());
        EXPECT_EQ(r.status, 0);
        for (const char* word : {"Usage:", "query", "add", "delete", "export", "profile", "/f"})
            EXPECT_NE(r.out.find(word), std::string::npos) << word;
        EXPECT_EQ(r.err, "");
    }
    struct {
        std::vector<std::string> args;
        int status;
    } const bad[] = {
        {{PLATFORM_REG_PATH, "--dir"}, 13},
        {{PLATFORM_REG_PATH, "--dir", ""}, 13},
        {{PLATFORM_REG_PATH, "--dir", app.scratch / "none", "query", "s.ini", "Net"}, 3},
        {{PLATFORM_REG_PATH, "--dir", app.data + "s.ini", "query", "s.ini", "Net"}, 3},
        {{PLATFORM_REG_PATH, "--dir", std::string(5000, 'a'), "query", "s.ini", "Net"}, 3},
    };
    for (const auto& b : bad) {
        Outcome const r = reg_test::Run(b.args, app.scratch.path());
        EXPECT_EQ(r.status, b.status) << b.args.size();
        EXPECT_NE(r.err, "");
    }
    // --dir=APPDIR, and a relative directory taken from the current one.
    Outcome const joined = reg_test::Run(
        {PLATFORM_REG_PATH, "--dir=" + app.dir, "query", "s.ini", "Net", "/v", "Port"},
        app.scratch.path());
    EXPECT_EQ(joined.status, 0) << joined.err;
}

TEST(PlatformReg, CreatesTheDataDirectoryAndRefusesUnreadableFiles) {
    App app;
    std::string const fresh = app.scratch / "fresh";
    mkdir(fresh.c_str(), 0755);
    Outcome const r = reg_test::Run(
        {PLATFORM_REG_PATH, "--dir", fresh, "add", "r.ini", "K", "/v", "V", "/d", "x"},
        app.scratch.path());
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_NE(ReadFile(fresh + "/user_data/r.ini").find("V@STRING = x"), std::string::npos);

    // A file that is not registry text is left alone, not overwritten with what little of it
    // could be read.
    WriteFile(app.data + "bad.ini", "[broken\nx@DWORD = 1\n");
    Outcome const bad = app.Reg({"add", "bad.ini", "K", "/v", "V", "/d", "x", "/f"});
    EXPECT_EQ(bad.status, 13);
    EXPECT_NE(bad.err, "");
    EXPECT_EQ(app.File("bad.ini"), "[broken\nx@DWORD = 1\n");
    EXPECT_EQ(app.Reg({"delete", "bad.ini", "K", "/f"}).status, 13);
    EXPECT_EQ(app.Reg({"export", "bad.ini"}).status, 13);
}

// A refused overwrite leaves the file exactly as it was, even where adding would also have
// created a missing parent key.
TEST(PlatformReg, RefusalCreatesNothing) {
    App app;
    std::string const text = "[P\\C]\nV@DWORD = 1\n";
    WriteFile(app.data + "o.ini", text);
    Outcome const r = app.Reg({"add", "o.ini", "P\\C", "/v", "V", "/t", "REG_DWORD", "/d", "2"});
    EXPECT_EQ(r.status, 5);
    EXPECT_NE(r.err.find("/f"), std::string::npos) << r.err;
    EXPECT_EQ(app.File("o.ini"), text);
}

// Without --dir the tool works on its own application directory: a copy of it in a fresh
// directory uses that directory's data directory.
TEST(PlatformReg, DefaultsToItsOwnDirectory) {
    App app;
    std::string const copy = app.scratch / "platform-reg";
    WriteFile(copy, ReadFile(PLATFORM_REG_PATH));
    chmod(copy.c_str(), 0755);
    mkdir((app.scratch / "user_data").c_str(), 0755);
    Outcome const r = reg_test::Run(
        {copy, "add", "own.ini", "K", "/v", "V", "/t", "REG_DWORD", "/d", "3"}, app.scratch.path());
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_NE(ReadFile(app.scratch / "user_data/own.ini").find("V@DWORD = 3"), std::string::npos);
}

TEST(PlatformReg, Profile) {
    App app;
    std::string const ini = app.scratch / "p.ini";
    auto const run = [&](std::vector<std::string> args) {
        args.insert(args.begin(), {PLATFORM_REG_PATH, "profile"});
        return reg_test::Run(args, app.scratch.path());
    };
    struct {
        std::vector<std::string> args;
        int status;
        const char* out;
    } const steps[] = {
        {{"get", ini, "S", "k"}, 2, ""},
        {{"get", ini, "S", "k", "fallback"}, 0, "fallback\n"},
        {{"set", ini, "S", "k", "first value"}, 0, ""},
        {{"get", ini, "s", "K"}, 0, "first value\n"},
        {{"set", ini, "S", "k", std::string(3000, 'v')}, 0, ""},
        {{"get", ini, "S", "k"}, 0, nullptr},
        {{"get", ini, "S", "other", "d"}, 0, "d\n"},
        {{"get", ini, "S", "other"}, 0, "\n"},
        {{"set", ini, "S", "k", " padded"}, 13, ""},
        {{"set", ini, "", "k", "v"}, 13, ""},
        {{"set", ini, "S", "", "v"}, 13, ""},
        {{"set", ini, "S", "k=j", "v"}, 13, ""},
        {{"set", app.scratch / "none/p.ini", "S", "k", "v"}, 3, ""},
        {{"set", ini, "S", "k"}, 13, ""},
        {{"get", ini, "S"}, 13, ""},
        {{"list", ini}, 13, ""},
        {{}, 13, ""},
    };
    for (const auto& s : steps) {
        Outcome const r = run(s.args);
        SCOPED_TRACE(s.args.empty() ? "(none)" : s.args[0] + " " + std::to_string(s.args.size()));
        EXPECT_EQ(r.status, s.status) << r.err;
        if (s.out != nullptr) {
            EXPECT_EQ(r.out, s.out);
        }
        EXPECT_EQ(r.err.empty(), s.status == 0) << r.err;
    }
    EXPECT_EQ(run({"get", ini, "S", "k"}).out, std::string(3000, 'v') + "\n");
    EXPECT_NE(ReadFile(ini).find("k = " + std::string(3000, 'v')), std::string::npos);
}

} // namespace
