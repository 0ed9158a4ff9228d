// The process and thread identifiers.
#include <platform/process.h>

#include <gtest/gtest.h>

#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <future>

using zulplatform::GetCurrentThreadIdentifier;

TEST(ThreadIdentifierTest, IsTheCallingThreadsKernelIdAlsoInAForkedChild) {
    EXPECT_EQ(GetCurrentThreadIdentifier(), uint64_t(getpid())); // the main thread's, cached now
    EXPECT_TRUE(std::async(std::launch::async, [] {
                    return GetCurrentThreadIdentifier() == uint64_t(syscall(SYS_gettid));
                }).get());
    // fork() copies the calling thread's cached id into a child with a new one.
    const pid_t child = fork();
    if (child == 0)
        _exit(GetCurrentThreadIdentifier() == static_cast<uint64_t>(getpid()) ? 0 : 1);
    int status = -1;
    EXPECT_TRUE(waitpid(child, &status, 0) == child && status == 0);
}
