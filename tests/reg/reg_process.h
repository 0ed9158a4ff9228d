// platform-reg on a fresh application directory: running it as a child process with its
// standard output and error captured apart and /dev/null as its standard input; the command
// lines and file expectations of the test tables written as single texts.
#pragma once

#include "support/scratch.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <utility>
#include <vector>

namespace reg_test {

struct Outcome {
    int status = -1; // the exit status; -1 when the program did not exit normally
    std::string out;
    std::string err;
};

// Runs `argv` to its end; the captured output goes through files in `scratch`.
inline Outcome Run(const std::vector<std::string>& argv, const std::string& scratch) {
    std::string const outPath = scratch + "/.stdout", errPath = scratch + "/.stderr";
    std::vector<char*> args;
    for (const std::string& a : argv)
        args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                     0600);
    posix_spawn_file_actions_addopen(&actions, 2, errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                     0600);
    Outcome outcome;
    pid_t pid = -1;
    if (posix_spawn(&pid, args[0], &actions, nullptr, args.data(), environ) == 0) {
        int status = 0;
        waitpid(pid, &status, 0);
        if (WIFEXITED(status))
            outcome.status = WEXITSTATUS(status);
        outcome.out = test_support::ReadFile(outPath);
        outcome.err = test_support::ReadFile(errPath);
    }
    posix_spawn_file_actions_destroy(&actions);
    return outcome;
}

// The parts of `text` between the separators (the words of a command line at ' ', the pieces
// of a list at '|'): a part in single quotes may hold the separator or be empty. None for "".
inline std::vector<std::string> Split(const std::string& text, char separator) {
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
    test_support::ScratchDir scratch;
    std::string dir = scratch / "app";
    std::string data = dir + "/user_data/";

    explicit App(const std::vector<std::pair<std::string, std::string>>& files) {
        mkdir(dir.c_str(), 0755);
        mkdir(data.c_str(), 0755);
        for (const auto& [name, content] : files)
            test_support::WriteFile(data + name, content);
    }
    // The tool's command line for `command` (the words after "--dir APPDIR").
    std::vector<std::string> Command(const std::string& command) const {
        std::vector<std::string> argv = {PLATFORM_REG_PATH, "--dir", dir};
        for (const std::string& word : Split(command, ' '))
            argv.push_back(word);
        return argv;
    }
    Outcome Reg(const std::string& command) const { return Run(Command(command), scratch.path()); }
    std::string File(const std::string& name) const { return test_support::ReadFile(data + name); }
};

// `file` holds each of the '|'-separated texts `has` and none of `lacks`.
inline void ExpectHoldsAndLacks(const std::string& file, const std::string& has,
                                const std::string& lacks) {
    for (const std::string& piece : Split(has, '|'))
        EXPECT_NE(file.find(piece), std::string::npos) << piece << " missing from\n" << file;
    for (const std::string& piece : Split(lacks, '|'))
        EXPECT_EQ(file.find(piece), std::string::npos) << piece << " still in\n" << file;
}

} // namespace reg_test
