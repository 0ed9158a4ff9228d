// CFileLock within one process and between processes, synchronised through pipes.
#include <platform/files.h>

#include "support/scratch.h"

#include <gtest/gtest.h>

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

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

// Takes the lock in a child process and writes `say` to `fd`; with a `release` pipe, keeps the
// lock until a byte arrives there. The child's status is 0 when all of that worked.
pid_t LockInChild(const std::string& path, bool wait, int fd, const char* say,
                  const int* release = nullptr) {
    pid_t const pid = fork();
    if (pid == 0) {
        try {
            CFileLock lock(path.c_str(), wait);
            char c;
            if (write(fd, say, 1) != 1 ||
                (release && (close(release[1]), read(release[0], &c, 1) != 1)))
                _exit(1);
        } catch (...) {
            _exit(1);
        }
        _exit(0);
    }
    return pid;
}

int StatusOf(pid_t pid) {
    int status = -1;
    waitpid(pid, &status, 0);
    return status;
}

} // namespace

TEST(FileLock, WithinOneProcess) {
    ScratchDir dir;
    std::string const path = dir / "lock";
    WriteFile(path, "");
    for (bool wait : {false, true})
        EXPECT_EQ(TryLock((dir / "missing").c_str(), wait) + TryLock(nullptr, wait), 6);
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
    pid_t const holder = LockInChild(path, false, locked[1], "L", release);
    char c = 0;
    ASSERT_EQ(read(locked[0], &c, 1), 1);
    EXPECT_EQ(TryLock(path.c_str(), false), 2); // fails at once, with the flag set
    // A waiting attempt in another process blocks until the holder has ended.
    pid_t const waiter = LockInChild(path, true, waited[1], "W");
    pollfd got{waited[0], POLLIN, 0};
    EXPECT_EQ(poll(&got, 1, 300), 0);
    EXPECT_EQ(write(release[1], "R", 1), 1);
    EXPECT_EQ(StatusOf(holder), 0);
    EXPECT_EQ(StatusOf(waiter), 0);
    EXPECT_EQ(read(waited[0], &c, 1), 1);
    EXPECT_EQ(TryLock(path.c_str(), false), 1);
    for (int fd : {locked[0], locked[1], release[0], release[1], waited[0], waited[1]})
        close(fd);
}
