// Running platform-reg as a child process on a fresh application directory, with its standard
// output and error captured apart and its standard input taken from a file or /dev/null; the
// command lines and file expectations of the test tables written as single texts.
#pragma once

#include "support/scratch.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

namespace reg_test {

struct Outcome {
    int status = -1; // the exit status; -1 when the program did not exit normally
    std::string out;
    std::string err;
};

// Runs `argv` to its end with `input` (a path) as standard input.
inline Outcome Run(const std::vector<std::string>& argv, const std::string& scratch,
                   const std::string& input = "/dev/null") {
    std::string const outPath = scratch + "/.stdout";
    std::string const errPath = scratch + "/.stderr";
    std::vector<char*> args;
    for (const std::string& a : argv)
        args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, input.c_str(), O_RDONLY, 0);
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

// The words of a command line: split at spaces; a word in single quotes may hold spaces or be
// empty.
inline std::vector<std::string> Words(const std::string& line) {
    std::vector<std::string> words;
    for (std::size_t at = 0; at < line.size(); ++at) {
        bool const quoted = line[at] == '\'';
        std::size_t const end = line.find(quoted ? '\'' : ' ', at + quoted);
        words.push_back(line.substr(at + quoted, end - at - quoted));
        at = end == std::string::npos ? line.size() : end + quoted;
    }
    return words;
}

// The pieces of a list written as one text, separated by '|'; none for "".
inline std::vector<std::string> Pieces(const std::string& list) {
    std::vector<std::string> pieces;
    for (std::size_t at = 0; at < list.size();) {
        std::size_t const end = std::min(list.find('|', at), list.size());
        pieces.push_back(list.substr(at, end - at));
        at = end + 1;
    }
    return pieces;
}

} // namespace reg_test
