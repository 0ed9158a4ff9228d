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

using reg_test::App;
using reg_test::Outcome;
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

// Not registry text: the tool must refuse to act on it rather than save over it.
const char kBroken[] = "[broken\nx@DWORD = 1\n";
// A key whose parent is no section of its own.
const char kOrphan[] = "[P\\C]\nV@DWORD = 1\n";

// Every test's application directory: the seed as s.ini, the two texts above as bad.ini and
// o.ini.
const std::vector<std::pair<std::string, std::string>> kFiles = {
    {"s.ini", kSeed}, {"bad.ini", kBroken}, {"o.ini", kOrphan}};

// A run's status and (unless null) its standard output. Every failure says why on standard
// error, "ERROR: " first, and a refusal for want of a terminal names /f; success says nothing
// there.
void Expect(const Outcome& r, int status, const char* out) {
    EXPECT_EQ(r.status, status) << r.err;
    if (out != nullptr) {
        EXPECT_EQ(r.out, out);
    }
    EXPECT_EQ(r.err.empty(), status == 0) << r.err;
    if (status != 0) {
        EXPECT_EQ(r.err.rfind("ERROR: ", 0), 0u) << r.err;
    }
    if (status == 5) {
        EXPECT_NE(r.err.find("/f"), std::string::npos) << r.err;
    }
}

struct Case {
    const char* what;
    const char* command; // the words after "--dir APPDIR"
    int status;
    const char* out;            // exact standard output
    const char* fileHas = "";   // texts s.ini must hold afterwards, separated by '|'
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
     "New@DWORD = 42|Port@DWORD = 502"},
    {"add a DWORD without data stores 0", "add s.ini Net /v Zero /t reg_dword", 0, kDone,
     "Zero@DWORD = 0"},
    {"add a string by default", "add s.ini Net /v Text /d 'two words'", 0, kDone,
     "Text@STRING = two words"},
    {"add binary data in lower-case digits", "add s.ini Net /v Bytes /t REG_BINARY /d 0A0bFF", 0,
     kDone, "Bytes@BINARY = 0a0bff"},
    {"add of an existing value without /f and no terminal is refused",
     "add s.ini Net /v Port /t REG_DWORD /d 7", 5, ""},
    // The prompt comes before the missing parent key [P] would be created.
    {"a refused add creates no key either", "add o.ini P\\C /v V /t REG_DWORD /d 2", 5, ""},
    {"add /f overwrites without asking", "add s.ini Net /v Port /t REG_DWORD /d 7 /f", 0, kDone,
     "Port@DWORD = 7", "Port@DWORD = 502"},
    {"add of another type beside an existing one does not ask", "add s.ini Net /v Port /d text", 0,
     kDone, "Port@DWORD = 502|Port@STRING = text"},
    {"add creates the key and every key above it", "add s.ini A\\B\\C", 0, kDone,
     "[A]|[A\\B]|[A\\B\\C]"},
    {"add of a DWORD beyond 32 bits", "add s.ini Net /v D /t REG_DWORD /d 4294967296", 13, ""},
    {"add of an unknown type", "add s.ini Net /v Q /t REG_QWORD /d 1", 13, ""},
    {"add of a string the file would not keep", "add s.ini Net /v S /d ' padded'", 13, ""},
    {"add of a name the file would not read back", "add s.ini Net /v a=b /d x", 13, ""},
    {"add of a key the file would not read back", "add s.ini x]y", 13, ""},
    {"add of data without a name", "add s.ini Net /d x", 13, ""},
    {"add with a switch given twice", "add s.ini Net /v a /v b", 13, ""},
    {"add to a file that is not registry text", "add bad.ini K /v V /d x /f", 13, ""},
    {"delete a value of every type it holds", "delete s.ini Net /v flag /f", 0, kDone,
     "Port@DWORD = 502|[Net]", "Flag@"},
    {"delete of a value without /f and no terminal is refused", "delete s.ini Net /v Flag", 5, ""},
    {"delete of a missing value", "delete s.ini Net /v Missing /f", 2, ""},
    {"delete of a missing key", "delete s.ini Nope /f", 3, ""},
    {"delete of a key takes its subkeys and leaves a sibling with the same prefix",
     "delete s.ini net /f", 0, kDone, "[Netx]|Keep@DWORD = 1",
     "[Net]|[Net\\Sub]|[Net\\Sub\\Deep]|Port@"},
    {"delete of a subkey keeps its parent", "delete s.ini Net\\Sub /f", 0, kDone,
     "[Net]|Port@DWORD = 502", "[Net\\Sub]|[Net\\Sub\\Deep]"},
    {"delete of a key without /f and no terminal is refused", "delete s.ini Net", 5, ""},
    {"delete in a file that is not registry text", "delete bad.ini K /f", 13, ""},
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
    {"export of a file that is not registry text", "export bad.ini", 13, ""},
    {"export with a switch", "export s.ini /f", 13, ""},
    {"no command", "", 13, ""},
    {"unknown command", "import s.ini", 13, ""},
};

TEST(PlatformReg, Commands) {
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.what);
        App const app(kFiles);
        Expect(app.Reg(c.command), c.status, c.out);
        reg_test::ExpectHoldsAndLacks(app.File("s.ini"), c.fileHas, c.fileLacks);
        // A command that failed left every file as it was.
        if (c.status != 0) {
            for (const auto& [name, content] : kFiles)
                EXPECT_EQ(app.File(name), content);
        }
    }
}

TEST(PlatformReg, AddThenQueryRoundTrips) {
    App const app(kFiles);
    struct {
        const char* add; // the words after "add n.ini K\L"
        const char* line;
    } const values[] = {
        {"/v D /t REG_DWORD /d 4294967295", "    D    REG_DWORD    0xffffffff\n"},
        {"/v S /d 'é ü \"q\" a\\b'", "    S    REG_SZ    é ü \"q\" a\\b\n"},
        {"/v B /t REG_BINARY /d ''", "    B    REG_BINARY    \n"},
        {"/v '' /d default", "    (Default)    REG_SZ    default\n"},
        {"/v at@sign /t REG_DWORD /d 0", "    at@sign    REG_DWORD    0x0\n"},
    };
    for (const auto& v : values) {
        SCOPED_TRACE(v.add);
        Expect(app.Reg(std::string("add n.ini K\\L ") + v.add), 0, kDone);
        Expect(app.Reg("query n.ini K\\L /v '" + reg_test::Split(v.add, ' ')[1] + "'"), 0,
               (std::string("\nK\\L\n") + v.line + "\n").c_str());
    }
}

TEST(PlatformReg, HelpAndDirectory) {
    App const app(kFiles);
    for (const char* help : {"--help", "-h", "/?"}) {
        Outcome const r = reg_test::Run({PLATFORM_REG_PATH, help}, app.scratch.path());
        Expect(r, 0, nullptr);
        for (const char* word : {"Usage:", "query", "add", "delete", "export", "profile", "/f"})
            EXPECT_NE(r.out.find(word), std::string::npos) << word;
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
        SCOPED_TRACE(b.args.size() > 2 ? b.args[2].substr(0, 80) : "");
        Expect(reg_test::Run(b.args, app.scratch.path()), b.status, "");
    }
    // --dir=APPDIR as one word.
    Expect(reg_test::Run(
               {PLATFORM_REG_PATH, "--dir=" + app.dir, "query", "s.ini", "Net", "/v", "Port"},
               app.scratch.path()),
           0, "\nNet\n    Port    REG_DWORD    0x1f6\n\n");
}

// Without --dir the tool works on its own application directory: a copy of it in a fresh
// directory makes that directory's data directory, which is missing, and uses it.
TEST(PlatformReg, DefaultsToItsOwnDirectoryAndCreatesItsDataDirectory) {
    ScratchDir scratch;
    std::string const copy = scratch / "platform-reg";
    WriteFile(copy, ReadFile(PLATFORM_REG_PATH));
    chmod(copy.c_str(), 0755);
    Expect(reg_test::Run({copy, "add", "own.ini", "K", "/v", "V", "/t", "REG_DWORD", "/d", "3"},
                         scratch.path()),
           0, kDone);
    EXPECT_NE(ReadFile(scratch / "user_data/own.ini").find("V@DWORD = 3"), std::string::npos);
}

TEST(PlatformReg, Profile) {
    ScratchDir scratch;
    std::string const ini = scratch / "p.ini", big(3000, 'v');
    struct {
        std::vector<std::string> args; // after "profile"
        int status;
        std::string out;
    } const steps[] = {
        {{"get", ini, "S", "k"}, 2, ""},
        {{"get", ini, "S", "k", "fallback"}, 0, "fallback\n"},
        {{"set", ini, "S", "k", "first value"}, 0, ""},
        {{"get", ini, "s", "K"}, 0, "first value\n"},
        // Longer than the first buffer the tool tries.
        {{"set", ini, "S", "k", big}, 0, ""},
        {{"get", ini, "S", "k"}, 0, big + "\n"},
        {{"get", ini, "S", "other", "d"}, 0, "d\n"},
        {{"get", ini, "S", "other"}, 0, "\n"},
        {{"set", ini, "S", "k", " padded"}, 13, ""},
        {{"set", ini, "", "k", "v"}, 13, ""},
        {{"set", ini, "S", "", "v"}, 13, ""},
        {{"set", ini, "S", "k=j", "v"}, 13, ""},
        {{"set", scratch / "none/p.ini", "S", "k", "v"}, 3, ""},
        {{"set", ini, "S", "k"}, 13, ""},
        {{"get", ini, "S"}, 13, ""},
        {{"list", ini}, 13, ""},
        {{}, 13, ""},
    };
    for (const auto& s : steps) {
        SCOPED_TRACE(s.args.empty() ? "(none)" : s.args[0] + " " + std::to_string(s.args.size()));
        std::vector<std::string> args = {PLATFORM_REG_PATH, "profile"};
        args.insert(args.end(), s.args.begin(), s.args.end());
        Expect(reg_test::Run(args, scratch.path()), s.status, s.out.c_str());
    }
    EXPECT_NE(ReadFile(ini).find("k = " + big), std::string::npos);
}

} // namespace
