// CFileLock within one process and between processes, synchronised through pipes.
#include <platform/files.h>

#include "support/scratch.h"

#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

using namespace test_support;
using zulplatform::CFileLock;

namespace {

// 1 when the lock was taken, 2 when it failed because another holder has it, 3 otherwise.
int TryLock(const char* path, bool wait) {
    try {
        CFileLock lock(path, wait);
        return 1;
    } catch (CFileLock::failure const& f) {
        return f.IsHeldElsewhere() ? 2 : 3;
    }
}

// Runs `body` in a child process and returns its pid; the child ends with _exit, 0 when the
// body returned and 1 when it threw.
template <class Body> pid_t Fork(Body&& body) {
    pid_t const pid = fork();
    if (pid == 0) {
        try {
            body();
        } catch (...) {
            _exit(1);
        }
        _exit(0);
    }
    return pid;
}

char ReadByte(int fd) {
    char c = 0;
    return read(fd, &c, 1) == 1 ? c : '\0';
}

// Whether the kernel lists `pid` as blocked on a lock (a "->" line of /proc/locks).
bool IsWaitingForLock(pid_t pid) {
    std::ifstream locks("/proc/locks");
    std::string line;
    std::string const mark = " " + std::to_string(pid) + " ";
    while (std::getline(locks, line))
        if (line.find("->") != std::string::npos && line.find(mark) != std::string::npos)
            return true;
    return false;
}

} // namespace

TEST(FileLock, WithinOneProcess) {
    ScratchDir dir;
    std::string const path = dir / "lock";
    WriteFile(path, "");
    EXPECT_EQ(TryLock((dir / "missing").c_str(), false), 3);
    EXPECT_EQ(TryLock((dir / "missing").c_str(), true), 3);
    EXPECT_EQ(TryLock(nullptr, false), 3);
    {
        CFileLock held(path.c_str(), false);
        // Locks belong to the open file: a second object is another holder.
        EXPECT_EQ(TryLock(path.c_str(), false), 2);
    }
    EXPECT_EQ(TryLock(path.c_str(), false), 1);
    EXPECT_EQ(TryLock(dir.c_str(), false), 1); // a directory can be locked too
}

TEST(FileLock, BetweenProcesses) {
    ScratchDir dir;
    std::string const path = dir / "lock";
    WriteFile(path, "");
    int locked[2], release[2], waited[2];
    ASSERT_EQ(pipe(locked) | pipe(release) | pipe(waited), 0);

    // The holder: takes the lock, says so, and keeps it until told to end.
    pid_t const holder = Fork([&] {
        close(release[1]); // so that the end of the test process ends the wait too
        CFileLock lock(path.c_str(), false);
        (void)!write(locked[1], "L", 1);
        ReadByte(release[0]);
    });
    ASSERT_EQ(ReadByte(locked[0]), 'L');
    // A non-waiting attempt fails at once with the flag set.
    auto const start = std::chrono::steady_clock::now();
    EXPECT_EQ(TryLock(path.c_str(), false), 2);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));

    // A waiting attempt in another process gets the lock once the holder has ended.
    pid_t const waiter = Fork([&] {
        CFileLock lock(path.c_str(), true);
        (void)!write(waited[1], "W", 1);
    });
    // The kernel shows the waiter blocked before the holder is let go.
    for (int i = 0; i < 20000 && !IsWaitingForLock(waiter); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_TRUE(IsWaitingForLock(waiter));
    (void)!write(release[1], "R", 1);
    int status = -1;
    ASSERT_EQ(waitpid(holder, &status, 0), holder);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(ReadByte(waited[0]), 'W');
    ASSERT_EQ(waitpid(waiter, &status, 0), waiter);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(TryLock(path.c_str(), false), 1);
    for (int fd : {locked[0], locked[1], release[0], release[1], waited[0], waited[1]})
        close(fd);
}
