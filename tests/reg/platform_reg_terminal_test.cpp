// The confirmation prompt of platform-reg at a real terminal: the tool runs in a tmux session,
// the test reads the screen and types the answer.
#include "reg/reg_process.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

namespace {

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
    explicit Tmux(const std::string& dir)
        : m_base("tmux -S " + Quote(dir + "/tmux.sock") + " -f /dev/null") {}
    ~Tmux() { Shell(m_base + " kill-server 2>/dev/null"); }

    bool Start(const std::string& command) {
        return std::system((m_base + " new-session -d -x 160 -y 40 " + Quote(command)).c_str()) ==
               0;
    }
    std::string Screen() { return Shell(m_base + " capture-pane -p -t 0 2>/dev/null"); }
    void Type(const std::string& keys) {
        Shell(m_base + " send-keys -t 0 -l " + Quote(keys) + " && " + m_base +
              " send-keys -t 0 Enter");
    }
    // Waits up to 20 s for `text` to be on the screen `occurrences` times.
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
    std::string m_base;
};

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

const std::vector<std::pair<std::string, std::string>> kFiles = {{"s.ini", "[K]\nV@DWORD = 1\n"}};

TEST(PlatformRegTerminal, PromptAnswers) {
    if (std::system("command -v tmux >/dev/null 2>&1") != 0)
        GTEST_SKIP() << "tmux is not installed (tools/install-deps.sh installs it); the prompt "
                        "at a terminal is not tested";
    for (const Dialogue& d : kDialogues) {
        SCOPED_TRACE(d.what);
        reg_test::App const app(kFiles);
        std::string command;
        for (const std::string& word : app.Command(d.command))
            command += Quote(word) + " ";
        // The pane stays, with the status on it, until the server ends.
        command += "; echo \"EXIT=$?\"; sleep 60";
        Tmux tmux(app.scratch.path());
        ASSERT_TRUE(tmux.Start(command));
        std::vector<std::string> const answers = reg_test::Split(d.answers, '|');
        for (std::size_t i = 0; i < answers.size(); ++i) {
            ASSERT_TRUE(tmux.WaitFor("(Yes/No)?", i + 1)) << tmux.Screen();
            tmux.Type(answers[i]);
        }
        ASSERT_TRUE(tmux.WaitFor("EXIT=")) << tmux.Screen();
        std::string const screen = tmux.Screen();
        EXPECT_NE(screen.find("EXIT=" + std::to_string(d.status) + "\n"), std::string::npos)
            << screen;
        reg_test::ExpectHoldsAndLacks(app.File("s.ini"), d.fileHas, d.fileLacks);
    }
}

} // namespace
