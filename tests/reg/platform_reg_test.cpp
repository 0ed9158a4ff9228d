// platform-reg run as a process on a fresh application directory: each command against a known
// registry file, its output, exit status and the file it leaves; the confirmation prompt at a
// terminal through tmux.
#include "support/child_process.h"
#include "support/scratch.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace test_support;

// The parts of `text` between the separators: the words of a command line at ' ', the pieces
// of a list at '|'.
std::vector<std::string> Split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    std::istringstream in(text);
    for (std::string part; std::getline(in, part, separator);)
        parts.push_back(part);
    return parts;
}

using Files = std::vector<std::pair<std::string, std::string>>; // names and contents

// A fresh application directory with `files` (name, content) in its data directory, which
// exists only when there are files.
struct App {
    ScratchDir scratch;
    std::string dir = scratch / "app", data = dir + "/user_data/";

    explicit App(const Files& files) {
        mkdir(dir.c_str(), 0755);
        if (!files.empty())
            mkdir(data.c_str(), 0755);
        for (const auto& [name, content] : files)
            WriteFile(data + name, content);
    }
    // The tool's command line for `command` with "--dir APPDIR" put first, run in APPDIR,
    // standard error sent to standard output.
    std::vector<std::string> Command(const std::string& command) const {
        std::vector<std::string> argv = {
            "/bin/sh", "-c", "cd \"$0\" && exec \"$@\" 2>&1", dir, PLATFORM_REG_PATH, "--dir", dir};
        for (const std::string& word : Split(command, ' '))
            argv.push_back(word);
        return argv;
    }
    std::string File(const std::string& name) const { return ReadFile(data + name); }
};

// `file` holds each of the '|'-separated texts of `pieces`, and none of those marked "!".
void ExpectPieces(const std::string& file, const std::string& pieces) {
    for (const std::string& piece : Split(pieces, '|')) // "!" first: lacks the rest
        EXPECT_EQ(file.find(piece.substr(piece[0] == '!')) == std::string::npos, piece[0] == '!')
            << piece << file;
}

struct Case {
    std::string command; // see App::Command
    int status;
    const char* out = "";  // the exact output of a command that succeeds
    const char* file = ""; // what s.ini holds afterwards (see ExpectPieces)
};

// Runs `c` and checks its status and output: a failure only says why, "ERROR: " first.
void Check(const App& app, const Case& c) {
    SCOPED_TRACE(c.command);
    int status = 0;
    std::string const out = RunAndCapture(app.Command(c.command), &status);
    EXPECT_EQ(WIFEXITED(status) ? WEXITSTATUS(status) : -1, c.status) << out;
    EXPECT_TRUE(c.status == 0 ? out == c.out : out.rfind("ERROR: ", 0) == 0) << out;
    ExpectPieces(app.File("s.ini"), c.file);
}

std::string const kBig = std::string(3000, 'v') + "\n"; // longer than the tool's first buffer
std::string const kSeed =
    "[Net]\nPort@DWORD = 502\nName@STRING = hello world\nBlob@binary = 01ab\n"
    "Flag@DWORD = 1\nFlag@STRING = on\nuntyped = not a registry value\n\n"
    "[Net\\Sub]\nBin@BINARY = 01ab00\nDepth@DWORD = 2\nPath@STRING = a\\b \"c\"\n\n"
    "[Net\\Sub\\Deep]\n@DWORD = 5\n\n[Netxy]\nKeep@DWORD = 1\n\n"
    "[Odd]\n@STRING = default\nat@sign@DWORD = 0\nB@BINARY = \n\n[Big]\nk = " +
    kBig;

// The seed as s.ini; bad.ini is not registry text (the tool must refuse to act on it rather
// than save over it); o.ini has a key whose parent is no section of its own, which a refused
// add must not leave behind.
const Files kFiles = {
    {"s.ini", kSeed}, {"bad.ini", "[broken\nx@DWORD = 1\n"}, {"o.ini", "[P\\C]\nV@DWORD = 1\n"}};

const char kDone[] = "The operation completed successfully.\n";

const Case kCases[] = {
    // Typed values in order, then the direct subkeys.
    {"query s.ini Net", 0,
     "\nNet\n    Blob    REG_BINARY    01AB\n    Flag    REG_DWORD    0x1\n    Flag    REG_SZ    "
     "on\n    Name    REG_SZ    hello world\n    Port    REG_DWORD    0x1f6\n\nNet\\Sub\n"},
    {"query s.ini odd", 0,
     "\nodd\n    (Default)    REG_SZ    default\n    at@sign    REG_DWORD    0x0\n    B    "
     "REG_BINARY    \n\n"},
    {"add s.ini Net -V New /t reg_dword /d 0x2A", 0, kDone, "New@DWORD = 42|Port@DWORD = 502"},
    {"add o.ini P\\C /v V /t REG_DWORD /d 2", 5},
    {"add s.ini Net /v Port /t REG_DWORD /d 7 /f", 0, kDone, "Port@DWORD = 7|!Port@DWORD = 502"},
    // Another type beside an existing one does not ask.
    {"add s.ini Net /v Port /d text", 0, kDone, "Port@DWORD = 502|Port@STRING = text"},
    {"add bad.ini K /v V /d x /f", 13},
    {"delete s.ini Net /v flag /f", 0, kDone, "Port@DWORD = 502|[Net]|!Flag@"},
    // The key's subkeys go too; a sibling with the same prefix stays.
    {"delete s.ini net /f", 0, kDone,
     "[Netxy]|Keep@DWORD = 1|![Net]|![Net\\Sub]|!Port@|!Depth@|!@DWORD = 5"},
    // Empty parts of a key path are dropped.
    {"export s.ini \\net\\\\sub\\", 0,
     "Windows Registry Editor Version 5.00\n\n[Net\\Sub]\n\"Bin\"=hex:01,ab,00\n"
     "\"Depth\"=dword:00000002\n\"Path\"=\"a\\\\b "
     "\\\"c\\\"\"\n\n[Net\\Sub\\Deep]\n@=dword:00000005\n\n"},
    // Profile files are paths as given, relative ones to the working directory.
    {"profile set user_data/s.ini S k new", 0, "", "[S]|k = new"},
    {"profile get user_data/s.ini big K", 0, kBig.c_str()},
};

TEST(PlatformReg, Commands) {
    Check(App(Files{}), {"add n.ini K", 0, kDone}); // creates the missing data directory
    for (const Case& c : kCases) {
        App const app(kFiles);
        Check(app, c);
        // A command that failed left every file as it was.
        for (const auto& [name, content] : kFiles)
            EXPECT_TRUE(c.status == 0 || app.File(name) == content) << c.command << ": " << name;
    }
}

// The prompt at a real terminal: the tool runs in a tmux session of its own and the test types
// the answers (a dialogue's `out`, '|' between).
TEST(PlatformRegTerminal, PromptAnswers) {
    if (std::system("command -v tmux >/dev/null 2>&1") != 0)
        GTEST_SKIP() << "tmux is not installed (tools/install-deps.sh installs it)";
    Case const dialogues[] = {
        // An unclear answer is asked again, and then decides nothing.
        {"add s.ini K /v V /t REG_DWORD /d 9", 0, "maybe|YES", "V@DWORD = 9|!V@DWORD = 1"},
        {"delete s.ini K", 5, "maybe|No", "[K]|V@DWORD = 1"},
    };
    for (const Case& d : dialogues) {
        SCOPED_TRACE(d.command);
        App const app(Files{{"s.ini", "[K]\nV@DWORD = 1\n"}});
        auto const tmux = [&](std::vector<std::string> args) {
            args.insert(args.begin(), {"/usr/bin/env", "tmux", "-S", app.scratch / "tmux.sock",
                                       "-f", "/dev/null"});
            return RunAndCapture(args);
        };
        // The pane stays, with the status on it, until the server ends.
        std::vector<std::string> session = app.Command(d.command);
        session.insert(session.begin(), {"new-session", "-d", "-x", "160", "-y", "40", "/bin/sh",
                                         "-c", "\"$@\"; echo EXIT=$?; sleep 60", "-"});
        tmux(session);
        for (const std::string& answer : Split(d.out, '|'))
            tmux({"send-keys", "-t", "0", "-l", answer + "\n"});
        std::string screen;
        for (int i = 0; i < 400 && screen.find("EXIT=") == std::string::npos; ++i) {
            usleep(50000);
            screen = tmux({"capture-pane", "-p", "-t", "0"});
        }
        EXPECT_NE(screen.find("EXIT=" + std::to_string(d.status) + "\n"), std::string::npos)
            << screen;
        ExpectPieces(app.File("s.ini"), d.file);
        tmux({"kill-server"});
    }
}

} // namespace
