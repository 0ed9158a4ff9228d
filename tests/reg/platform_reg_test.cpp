// platform-reg run as a process on a fresh application directory: each command against a known
// registry file, its output, exit status and the file it leaves; the confirmation prompt at a
// terminal through tmux.
#include "support/child_process.h"
#include "support/scratch.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using test_support::ReadFile;
using test_support::RunAndCapture;
using test_support::ScratchDir;
using test_support::WriteFile;

struct Outcome {
    int status = -1; // the exit status; -1 when the program did not exit normally
    std::string out, err;
};

// Runs `argv` to its end, its standard input not a terminal; standard error goes through a
// file in `scratch`.
Outcome RunReg(const std::vector<std::string>& argv, const std::string& scratch) {
    std::vector<std::string> shell = {"/bin/sh", "-c", "exec \"$@\" 2>'" + scratch + "/.err'", "-"};
    shell.insert(shell.end(), argv.begin(), argv.end());
    Outcome outcome;
    int status = 0;
    outcome.out = RunAndCapture(shell, &status);
    outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    outcome.err = ReadFile(scratch + "/.err");
    return outcome;
}

// The parts of `text` between the separators (the words of a command line at ' ', the pieces
// of a list at '|'): a part in single quotes may hold the separator or be empty. None for "".
std::vector<std::string> Split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    for (std::size_t at = 0; at < text.size(); ++at) {
        bool const quoted = text[at] == '\'';
        std::size_t const end = text.find(quoted ? '\'' : separator, at + quoted);
        parts.push_back(text.substr(at + quoted, end - at - quoted));
        at = end == std::string::npos ? text.size() : end + quoted;
    }
    return parts;
}

// A fresh application directory with `files` (name, content) in its data directory.
struct App {
    ScratchDir scratch;
    std::string dir = scratch / "app";
    std::string data = dir + "/user_data/";

    explicit App(const std::vector<std::pair<std::string, std::string>>& files) {
        mkdir(dir.c_str(), 0755);
        mkdir(data.c_str(), 0755);
        for (const auto& [name, content] : files)
            WriteFile(data + name, content);
    }
    // The tool's command line for `command`, "--dir APPDIR" put first unless it starts with
    // "-"; APP in a word stands for APPDIR.
    std::vector<std::string> Command(const std::string& command) const {
        std::vector<std::string> argv = {PLATFORM_REG_PATH};
        if (command.rfind('-', 0) != 0)
            argv.insert(argv.end(), {"--dir", dir});
        for (std::string word : Split(command, ' ')) {
            if (std::size_t const at = word.find("APP"); at != std::string::npos)
                word.replace(at, 3, dir);
            argv.push_back(word);
        }
        return argv;
    }
    std::string File(const std::string& name) const { return ReadFile(data + name); }
};

// `file` holds each of the '|'-separated texts `has` and none of `lacks`.
void ExpectHoldsAndLacks(const std::string& file, const std::string& has,
                         const std::string& lacks) {
    for (const std::string& piece : Split(has, '|'))
        EXPECT_NE(file.find(piece), std::string::npos) << piece << " missing from\n" << file;
    for (const std::string& piece : Split(lacks, '|'))
        EXPECT_EQ(file.find(piece), std::string::npos) << piece << " still in\n" << file;
}

struct Case {
    std::string command; // see App::Command
    int status;
    const char* out = "";       // exact standard output; null: not checked
    const char* fileHas = "";   // texts s.ini must hold afterwards, separated by '|'
    const char* fileLacks = ""; // texts it must not hold
};

// Runs `c` and checks its status and output. Every failure says why on standard error,
// "ERROR: " first, and a refusal for want of a terminal names /f; success says nothing there.
void Check(const App& app, const Case& c) {
    SCOPED_TRACE(c.command);
    Outcome const r = RunReg(app.Command(c.command), app.scratch.path());
    EXPECT_EQ(r.status, c.status) << r.err;
    if (c.out != nullptr) {
        EXPECT_EQ(r.out, c.out);
    }
    EXPECT_EQ(r.err.empty(), c.status == 0) << r.err;
    EXPECT_EQ(r.err.rfind("ERROR: ", 0), c.status == 0 ? std::string::npos : 0u) << r.err;
    if (c.status == 5) {
        EXPECT_NE(r.err.find("/f"), std::string::npos) << r.err;
    }
    ExpectHoldsAndLacks(app.File("s.ini"), c.fileHas, c.fileLacks);
}

const char kSeed[] = "[Net]\nPort@DWORD = 502\nName@STRING = hello world\nBlob@BINARY = 01ab\n"
                     "Flag@DWORD = 1\nFlag@STRING = on\nuntyped = not a registry value\n\n"
                     "[Net\\Sub]\nDepth@DWORD = 2\nPath@STRING = a\\b \"c\"\n\n"
                     "[Net\\Sub\\Deep]\n@DWORD = 5\n\n[Netx]\nKeep@DWORD = 1\n";

// The seed as s.ini; bad.ini is not registry text (the tool must refuse to act on it rather
// than save over it); o.ini has a key whose parent is no section of its own.
const std::vector<std::pair<std::string, std::string>> kFiles = {
    {"s.ini", kSeed}, {"bad.ini", "[broken\nx@DWORD = 1\n"}, {"o.ini", "[P\\C]\nV@DWORD = 1\n"}};

const char kDone[] = "The operation completed successfully.\n";
const char kHeader[] = "Windows Registry Editor Version 5.00\n\n";

const Case kCases[] = {
    // Typed values in order, then the direct subkeys.
    {"query s.ini Net", 0,
     "\nNet\n    Blob    REG_BINARY    01AB\n    Flag    REG_DWORD    0x1\n    Flag    REG_SZ    "
     "on\n"
     "    Name    REG_SZ    hello world\n    Port    REG_DWORD    0x1f6\n\nNet\\Sub\n"},
    // Names matched without regard to case; a name held in two types shows both.
    {"query s.ini NET /V flag", 0,
     "\nNET\n    flag    REG_DWORD    0x1\n    flag    REG_SZ    on\n\n"},
    {"query s.ini \\Net\\Sub\\Deep\\", 0,
     "\nNet\\Sub\\Deep\n    (Default)    REG_DWORD    0x5\n\n"},
    {"query s.ini Net /v Missing", 2},
    {"query s.ini Net /v untyped", 2},
    {"query s.ini Nope", 3},
    {"query none.ini Net", 3},
    {"query s.ini", 13},
    {"query ../s.ini Net", 13},
    {"query s.ini Net /d x", 13},
    {"query s.ini Net /v", 13},
    {"add s.ini Net /v New /t REG_DWORD /d 0x2A", 0, kDone, "New@DWORD = 42|Port@DWORD = 502"},
    {"add s.ini Net /v Zero /t reg_dword", 0, kDone, "Zero@DWORD = 0"},
    {"add s.ini Net /v Text /d 'two words'", 0, kDone, "Text@STRING = two words"},
    {"add s.ini Net /v Bytes /t REG_BINARY /d 0A0bFF", 0, kDone, "Bytes@BINARY = 0a0bff"},
    // Refused for want of a terminal before the missing parent key [P] would be created.
    {"add o.ini P\\C /v V /t REG_DWORD /d 2", 5},
    {"add s.ini Net /v Port /t REG_DWORD /d 7 /f", 0, kDone, "Port@DWORD = 7", "Port@DWORD = 502"},
    // Another type beside an existing one does not ask.
    {"add s.ini Net /v Port /d text", 0, kDone, "Port@DWORD = 502|Port@STRING = text"},
    {"add s.ini A\\B\\C", 0, kDone, "[A]|[A\\B]|[A\\B\\C]"},
    {"add s.ini Net /v Q /t REG_QWORD /d 1", 13},
    {"add s.ini Net /v a=b /d x", 13},
    {"add s.ini Net /d x", 13},
    {"add s.ini Net /v a /v b", 13},
    {"add bad.ini K /v V /d x /f", 13},
    {"delete s.ini Net /v flag /f", 0, kDone, "Port@DWORD = 502|[Net]", "Flag@"},
    {"delete s.ini Net /v Flag", 5},
    {"delete s.ini Net /v Missing /f", 2},
    {"delete s.ini Nope /f", 3},
    // The key's subkeys go too; a sibling with the same prefix stays.
    {"delete s.ini net /f", 0, kDone, "[Netx]|Keep@DWORD = 1",
     "[Net]|[Net\\Sub]|Port@|Depth@|@DWORD = 5"},
    {"delete s.ini Net", 5},
    {"delete bad.ini K /f", 13},
    {"export s.ini net\\sub", 0,
     "Windows Registry Editor Version 5.00\n\n[Net\\Sub]\n\"Depth\"=dword:00000002\n"
     "\"Path\"=\"a\\\\b \\\"c\\\"\"\n\n[Net\\Sub\\Deep]\n@=dword:00000005\n\n"},
    {"export o.ini", 0, "Windows Registry Editor Version 5.00\n\n[P\\C]\n\"V\"=dword:00000001\n\n"},
    {"export s.ini Nope", 3},
    {"export none.ini", 2},
    {"", 13},
    {"import s.ini", 13},
    {"--dir", 13},
    {"--dir ''", 13},
    {"--dir APP/none query s.ini Net", 3},
    {"--dir APP/user_data/s.ini query s.ini Net", 3},
    {"--dir=APP query s.ini Net /v Port", 0, "\nNet\n    Port    REG_DWORD    0x1f6\n\n"},
};

TEST(PlatformReg, Commands) {
    for (const Case& c : kCases) {
        App const app(kFiles);
        Check(app, c);
        // A command that failed left every file as it was.
        for (const auto& [name, content] : kFiles)
            EXPECT_TRUE(c.status == 0 || app.File(name) == content) << c.command << ": " << name;
    }
}

// Commands run one after another on one directory.
TEST(PlatformReg, AddThenQueryAndProfile) {
    App const app(kFiles);
    std::pair<const char*, const char*> const values[] = {
        // the words after "add n.ini K\L", and the line query shows
        {"/v D /t REG_DWORD /d 4294967295", "D    REG_DWORD    0xffffffff"},
        {"/v S /d 'é ü \"q\" a\\b'", "S    REG_SZ    é ü \"q\" a\\b"},
        {"/v B /t REG_BINARY /d ''", "B    REG_BINARY    "},
        {"/v '' /d default", "(Default)    REG_SZ    default"},
        {"/v at@sign /t REG_DWORD /d 0", "at@sign    REG_DWORD    0x0"},
    };
    for (const auto& [add, line] : values) {
        Check(app, {std::string("add n.ini K\\L ") + add, 0, kDone});
        std::string const query = "query n.ini K\\L /v '" + Split(add, ' ')[1] + "'";
        Check(app, {query, 0, ("\nK\\L\n    " + std::string(line) + "\n\n").c_str()});
    }
    std::string const big(3000, 'v'), bigLine = big + "\n"; // longer than the tool's first buffer
    Case const steps[] = {
        {"profile get APP/p.ini S k", 2},
        {"profile get APP/p.ini S k fallback", 0, "fallback\n"},
        {"profile set APP/p.ini S k 'first value'", 0},
        {"profile get APP/p.ini s K", 0, "first value\n"},
        {"profile get APP/p.ini S other", 0, "\n"},
        {"profile set APP/p.ini S k ' padded'", 13},
        {"profile set APP/none/p.ini S k v", 3},
        {"profile set APP/p.ini S k", 13},
        {"profile list APP/p.ini", 13},
        {"profile", 13},
        {"profile set APP/p.ini S k " + big, 0},
        {"profile get APP/p.ini S k", 0, bigLine.c_str()},
    };
    for (const Case& step : steps)
        Check(app, step);
    EXPECT_NE(ReadFile(app.dir + "/p.ini").find("k = " + big), std::string::npos);
    for (const char* help : {"--help", "-h", "/?"})
        EXPECT_EQ(RunReg({PLATFORM_REG_PATH, help}, app.scratch.path()).out.rfind("Usage:", 0), 0u);
}

// Without --dir the tool works on its own application directory: a copy of it in a fresh
// directory makes that directory's data directory, which is missing, and uses it.
TEST(PlatformReg, DefaultsToItsOwnDirectoryAndCreatesItsDataDirectory) {
    ScratchDir scratch;
    std::string const copy = scratch / "platform-reg";
    WriteFile(copy, ReadFile(PLATFORM_REG_PATH));
    chmod(copy.c_str(), 0755);
    EXPECT_EQ(RunReg({copy, "add", "own.ini", "K", "/v", "V", "/t", "REG_DWORD", "/d", "3"},
                     scratch.path())
                  .out,
              kDone);
    EXPECT_NE(ReadFile(scratch / "user_data/own.ini").find("V@DWORD = 3"), std::string::npos);
}

// The prompt at a real terminal: the tool runs in a tmux session of its own, the test reads
// the screen and types the answers, each after a fresh prompt.
TEST(PlatformRegTerminal, PromptAnswers) {
    if (std::system("command -v tmux >/dev/null 2>&1") != 0)
        GTEST_SKIP() << "tmux is not installed (tools/install-deps.sh installs it); the prompt "
                        "at a terminal is not tested";
    Case const dialogues[] = {
        // An unclear answer is asked again.
        {"add s.ini K /v V /t REG_DWORD /d 9", 0, "maybe|YES", "V@DWORD = 9", "V@DWORD = 1"},
        {"delete s.ini K /v V", 0, "y", "[K]", "V@"},
        {"delete s.ini K", 5, "No", "[K]|V@DWORD = 1"},
    };
    for (const Case& d : dialogues) {
        SCOPED_TRACE(d.command);
        App const app(
            std::vector<std::pair<std::string, std::string>>{{"s.ini", "[K]\nV@DWORD = 1\n"}});
        auto const quote = [](const std::string& text) {
            std::string out = "'";
            for (char c : text)
                out += c == '\'' ? std::string("'\\''") : std::string(1, c);
            return out + "'";
        };
        std::string const tmux = "tmux -S " + quote(app.scratch / "tmux.sock") + " -f /dev/null ";
        auto const shell = [](const std::string& command) {
            return RunAndCapture({"/bin/sh", "-c", command});
        };
        // Waits up to 20 s for `text` to be on the screen `times` times.
        auto const waitFor = [&](const std::string& text, std::size_t times) {
            for (int i = 0; i < 400; ++i) {
                std::string const screen = shell(tmux + "capture-pane -p -t 0 2>/dev/null");
                std::size_t count = 0;
                for (std::size_t at = screen.find(text); at != std::string::npos;
                     at = screen.find(text, at + 1))
                    ++count;
                if (count >= times)
                    return screen;
                std::this_thread::sleep_for(std::chrono::milliseconds(50));
            }
            return std::string("(timed out)");
        };
        std::string command;
        for (const std::string& word : app.Command(d.command))
            command += quote(word) + " ";
        // The pane stays, with the status on it, until the server ends.
        shell(tmux + "new-session -d -x 160 -y 40 " + quote(command + "; echo EXIT=$?; sleep 60"));
        std::vector<std::string> const answers = Split(d.out, '|');
        for (std::size_t i = 0; i < answers.size(); ++i) {
            EXPECT_NE(waitFor("(Yes/No)?", i + 1), "(timed out)");
            shell(tmux + "send-keys -t 0 -l " + quote(answers[i]) + " && " + tmux +
                  "send-keys -t 0 Enter");
        }
        EXPECT_NE(waitFor("EXIT=" + std::to_string(d.status) + "\n", 1), "(timed out)");
        ExpectHoldsAndLacks(app.File("s.ini"), d.fileHas, d.fileLacks);
        shell(tmux + "kill-server 2>/dev/null");
    }
}

} // namespace
