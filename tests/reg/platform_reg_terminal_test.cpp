// The confirmation prompt of platform-reg at a real terminal: the tool runs in a tmux session,
// the test reads the screen and types the answer.
#include "reg/reg_process.h"
#include "support/scratch.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

namespace {

using test_support::ReadFile;
using test_support::ScratchDir;
using test_support::WriteFile;

// The output of a shell command line.
std::string Shell(const std::string& command) {
    std::string out;
    if (FILE* pipe = popen(command.c_str(), "r")) {
        char buf[4096];
        std::size_t n;
        while ((n = std::fread(buf, 1, sizeof buf, pipe)) > 0)
            out.append(buf, n);
        pclose(pipe);
    }
    return out;
}

std::string Quote(const std::string& text) {
    std::string out = "'";
    for (char c : text)
        out += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return out + "'";
}

// A tmux server of this test alone (its own socket), killed at the end.
class Tmux {
public:
    explicit Tmux(const std::string& socketDir) : m_socket(socketDir + "/tmux.sock") {}
    ~Tmux() { Shell(Base() + " kill-server 2>/dev/null"); }

    bool Start(const std::string& command) {
        return std::system((Base() + " new-session -d -x 160 -y 40 " + Quote(command)).c_str()) ==
               0;
    }
    std::string Screen() { return Shell(Base() + " capture-pane -p -t 0 2>/dev/null"); }
    void Type(const std::string& keys) {
        Shell(Base() + " send-keys -t 0 -l " + Quote(keys) + " && " + Base() +
              " send-keys -t 0 Enter");
    }
    // Waits up to 20 s for `text` to appear on the screen.
    bool WaitFor(const std::string& text, std::size_t occurrences = 1) {
        for (int i = 0; i < 400; ++i) {
            std::string const screen = Screen();
            std::size_t count = 0;
            for (std::size_t at = screen.find(text); at != std::string::npos;
                 at = screen.find(text, at + 1))
                ++count;
            if (count >= occurrences)
                return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        return false;
    }

private:
    std::string Base() const { return "tmux -S " + Quote(m_socket) + " -f /dev/null"; }
    std::string m_socket;
};

bool HaveTmux() {
    return std::system("command -v tmux >/dev/null 2>&1") == 0;
}

struct Dialogue {
    const char* what;
    const char* command; // the words after "--dir APPDIR"
    const char* answers; // typed one after another, each after a fresh prompt; '|' between
    int status;
    const char* fileHas;   // texts the file must hold afterwards, separated by '|'
    const char* fileLacks; // texts it must not hold
};

const Dialogue kDialogues[] = {
    {"yes overwrites", "add s.ini K /v V /t REG_DWORD /d 9", "y", 0, "V@DWORD = 9", "V@DWORD = 1"},
    {"no keeps the value", "add s.ini K /v V /t REG_DWORD /d 9", "n", 5, "V@DWORD = 1",
     "V@DWORD = 9"},
    {"an unclear answer is asked again", "add s.ini K /v V /t REG_DWORD /d 9", "maybe|YES", 0,
     "V@DWORD = 9", ""},
    {"yes deletes a value", "delete s.ini K /v V", "yes", 0, "[K]", "V@"},
    {"no keeps a key", "delete s.ini K", "No", 5, "[K]|V@DWORD = 1", ""},
};

TEST(PlatformRegTerminal, PromptAnswers) {
    if (!HaveTmux())
        GTEST_SKIP() << "tmux is not installed (tools/install-deps.sh installs it); the prompt "
                        "at a terminal is not tested";
    for (const Dialogue& d : kDialogues) {
        SCOPED_TRACE(d.what);
        ScratchDir scratch;
        std::string const app = scratch / "app";
        mkdir(app.c_str(), 0755);
        mkdir((app + "/user_data").c_str(), 0755);
        WriteFile(app + "/user_data/s.ini", "[K]\nV@DWORD = 1\n");
        std::string command = Quote(PLATFORM_REG_PATH) + " --dir " + Quote(app);
        for (const std::string& a : reg_test::Words(d.command))
            command += " " + Quote(a);
        // The status goes to the screen and to a file; the pane stays until the server ends.
        std::string const statusFile = scratch / "status";
        command += "; s=$?; echo \"EXIT=$s\"; echo $s > " + Quote(statusFile) + "; sleep 60";
        Tmux tmux(scratch.path());
        ASSERT_TRUE(tmux.Start(command));
        std::vector<std::string> const answers = reg_test::Pieces(d.answers);
        for (std::size_t i = 0; i < answers.size(); ++i) {
            ASSERT_TRUE(tmux.WaitFor("(Yes/No)?", i + 1)) << tmux.Screen();
            tmux.Type(answers[i]);
        }
        ASSERT_TRUE(tmux.WaitFor("EXIT=")) << tmux.Screen();
        EXPECT_EQ(ReadFile(statusFile), std::to_string(d.status) + "\n") << tmux.Screen();
        std::string const file = ReadFile(app + "/user_data/s.ini");
        for (const std::string& has : reg_test::Pieces(d.fileHas))
            EXPECT_NE(file.find(has), std::string::npos) << has << " missing from\n" << file;
        for (const std::string& lacks : reg_test::Pieces(d.fileLacks))
            EXPECT_EQ(file.find(lacks), std::string::npos) << lacks << " still in\n" << file;
    }
}

} // namespace
