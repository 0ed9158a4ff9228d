// CFileLock within one process and between processes.
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

} // namespace

// Locks belong to the open file: another object, in this process or another, is another holder;
// a waiting attempt in another process blocks until the holder lets go.
TEST(FileLock, HolderExcludesOthersUntilItLetsGo) {
    ScratchDir dir;
    std::string const path = dir / "lock";
    WriteFile(path, "");
    EXPECT_EQ(TryLock((dir / "missing").c_str(), true), 3);
    int waited[2];
    ASSERT_EQ(pipe(waited), 0);
    pid_t waiter;
    {
        CFileLock held(path.c_str(), false);
        EXPECT_EQ(TryLock(path.c_str(), false), 2);
        waiter = fork();
        if (waiter == 0)
            _exit(TryLock(path.c_str(), true) == 1 && write(waited[1], "W", 1) == 1 ? 0 : 1);
        pollfd got{waited[0], POLLIN, 0};
        EXPECT_EQ(poll(&got, 1, 300), 0);
    }
    int status = -1;
    EXPECT_EQ(waitpid(waiter, &status, 0), waiter);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(TryLock(path.c_str(), false), 1);
    close(waited[0]);
    close(waited[1]);
}
