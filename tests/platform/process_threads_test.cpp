// The recursive mutex and the process and thread identifiers.
#include <platform/process.h>

#include <gtest/gtest.h>

#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <future>

using zulplatform::GetCurrentThreadIdentifier;

TEST(CZULMutexTest, RecursiveAndHeldUntilTheLastUnlock) {
    zulplatform::CZULMutex mutex;
    ASSERT_TRUE(mutex.Lock() && mutex.Lock() && mutex.Unlock());
#if !defined(__SANITIZE_THREAD__) // ThreadSanitizer reports the deliberate misuse itself
    // Still held once: another thread cannot unlock it.
    EXPECT_FALSE(std::async(std::launch::async, [&] { return mutex.Unlock(); }).get());
#endif
    auto waiter = std::async(std::launch::async, [&] { return mutex.Lock() && mutex.Unlock(); });
    EXPECT_EQ(waiter.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    ASSERT_TRUE(mutex.Unlock());
    EXPECT_TRUE(waiter.get());
#if !defined(__SANITIZE_THREAD__)
    EXPECT_FALSE(mutex.Unlock()); // one unlock too many is refused
#endif
}

TEST(ThreadIdentifierTest, IsTheCallingThreadsKernelIdAlsoInAForkedChild) {
    const uint64_t mainId = GetCurrentThreadIdentifier();
    EXPECT_EQ(mainId, static_cast<uint64_t>(zulplatform::GetProcessID())); // main: tid == pid
    EXPECT_TRUE(std::async(std::launch::async, [mainId] {
                    return GetCurrentThreadIdentifier() == uint64_t(syscall(SYS_gettid)) &&
                           GetCurrentThreadIdentifier() != mainId;
                }).get());
    EXPECT_EQ(GetCurrentThreadIdentifier(), mainId); // each thread keeps its own
    // fork() copies the calling thread's cached id into a child with a new one.
    const pid_t child = fork();
    if (child == 0)
        _exit(GetCurrentThreadIdentifier() == static_cast<uint64_t>(getpid()) ? 0 : 1);
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}
