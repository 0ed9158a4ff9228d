// Running programs as child processes from tests: capture their output, hold their standard
// input open while the test runs.
#pragma once

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <utility>
#include <vector>

namespace test_support {

// A started child with pipes to its standard input and output, closed and waited for at the end.
class ChildProcess {
public:
    // `extraEnv` ("NAME=value" entries) is put in front of this process's environment for the
    // child, so that its entries win over inherited ones of the same name.
    explicit ChildProcess(const std::vector<std::string>& argv,
                          const std::vector<std::string>& extraEnv = {}) {
        // Everything the child needs is prepared before fork: between fork and exec it may
        // only make async-signal-safe calls.
        std::vector<char*> args, env;
        for (const std::string& a : argv)
            args.push_back(const_cast<char*>(a.c_str()));
        for (const std::string& e : extraEnv)
            env.push_back(const_cast<char*>(e.c_str()));
        for (char** e = environ; *e != nullptr; ++e)
            env.push_back(*e);
        args.push_back(nullptr);
        env.push_back(nullptr);
        int in[2], out[2];
        if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0)
            return;
        if ((m_pid = fork()) == 0) {
            dup2(in[0], 0);
            dup2(out[1], 1);
            execve(args[0], args.data(), env.data());
            _exit(127);
        }
        close(in[0]);
        close(out[1]);
        m_stdin = in[1];
        m_stdout = out[0];
    }
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;
    ~ChildProcess() { Wait(); }

    // One line of the child's output, without its line feed; "" at the end of the output.
    std::string ReadLine() { return ReadUpTo('\n'); }

    // Everything the child writes until it closes its output.
    std::string ReadAll() { return ReadUpTo(256); } // no char is 256

    void CloseInput() { close(std::exchange(m_stdin, -1)); }

    // Closes both pipes and returns the exit status (as waitpid reports it), waiting once.
    int Wait() {
        CloseInput();
        close(std::exchange(m_stdout, -1));
        if (m_pid > 0)
            waitpid(std::exchange(m_pid, -1), &m_status, 0);
        return m_status;
    }

private:
    // The child's output up to the character `end` (not included) or the end of the output.
    std::string ReadUpTo(int end) {
        std::string text;
        for (char c; read(m_stdout, &c, 1) == 1 && c != end;)
            text += c;
        return text;
    }

    pid_t m_pid = -1;
    int m_stdin = -1, m_stdout = -1, m_status = -1;
};

// Runs a program to its end and returns its output.
inline std::string RunAndCapture(const std::vector<std::string>& argv, int* status = nullptr,
                                 const std::vector<std::string>& extraEnv = {}) {
    ChildProcess child(argv, extraEnv);
    child.CloseInput();
    std::string out = child.ReadAll();
    if (status != nullptr)
        *status = child.Wait();
    return out;
}

} // namespace test_support
