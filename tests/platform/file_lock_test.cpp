// CFileLock within one process and between processes.
#include <platform/files.h>

#include "support/scratch.h"

#include <gtest/gtest.h>

#include <sys/wait.h>

using namespace test_support;
using zulplatform::CFileLock;

namespace {

// 1 when the lock was taken, 2 when it failed because another holder has it, 3 otherwise.
int TryLock(const std::string& path, bool wait) {
    try {
        CFileLock lock(path.c_str(), wait);
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
    pid_t waiter;
    {
        CFileLock held(path.c_str(), false);
        EXPECT_EQ(TryLock(path, false), 2);
        if ((waiter = fork()) == 0)
            _exit(TryLock(path, true));
        usleep(300000);
        EXPECT_EQ(waitpid(waiter, nullptr, WNOHANG), 0); // still waiting
    }
    int status = -1;
    EXPECT_EQ(waitpid(waiter, &status, 0), waiter);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 1);
    EXPECT_EQ(TryLock(path, false), 1);
}
