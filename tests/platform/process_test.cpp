// The recursive mutex, process and thread identifiers, and the processor count.
#include <platform/module.h>

#include <gtest/gtest.h>

#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <thread>

using zulplatform::CZULMutex;
using zulplatform::GetCurrentThreadIdentifier;

namespace {

uint64_t KernelThreadId() {
    return static_cast<uint64_t>(syscall(SYS_gettid));
}

} // namespace

TEST(CZULMutexTest, OneThreadLocksRecursivelyAndMustUnlockAsOften) {
    CZULMutex mutex;
    ASSERT_TRUE(mutex.Lock());
    ASSERT_TRUE(mutex.Lock());
    EXPECT_TRUE(mutex.Unlock());
    EXPECT_TRUE(mutex.Unlock());
#if !defined(__SANITIZE_THREAD__) // ThreadSanitizer reports the deliberate misuse itself
    // A recursive mutex knows its owner: one unlock too many is refused.
    EXPECT_FALSE(mutex.Unlock());
#endif
}

TEST(CZULMutexTest, StaysHeldUntilTheLastUnlock) {
    CZULMutex mutex;
    ASSERT_TRUE(mutex.Lock());
    ASSERT_TRUE(mutex.Lock());
    ASSERT_TRUE(mutex.Unlock());

    // Still held once: another thread can neither unlock it nor get it.
#if !defined(__SANITIZE_THREAD__) // ThreadSanitizer reports the deliberate misuse itself
    bool foreignUnlock = true;
    std::thread([&] { foreignUnlock = mutex.Unlock(); }).join();
    EXPECT_FALSE(foreignUnlock);
#endif

    std::atomic<bool> acquired{false};
    std::thread waiter([&] {
        mutex.Lock();
        acquired = true;
        mutex.Unlock();
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_FALSE(acquired);
    ASSERT_TRUE(mutex.Unlock());
    waiter.join();
    EXPECT_TRUE(acquired);
}

TEST(ThreadIdentifierTest, IsTheKernelThreadIdAndStableWithinAThread) {
    const uint64_t first = GetCurrentThreadIdentifier();
    EXPECT_EQ(first, KernelThreadId());
    EXPECT_EQ(GetCurrentThreadIdentifier(), first);
    // The main thread's kernel id is the process id.
    EXPECT_EQ(first, static_cast<uint64_t>(zulplatform::GetProcessID()));
}

TEST(ThreadIdentifierTest, DiffersBetweenLiveThreads) {
    struct Seen {
        uint64_t first = 0, second = 0, kernel = 0;
    };
    Seen seen[2];
    // Both threads stay alive until both have answered, so the kernel cannot reuse an id.
    std::atomic<int> answered{0};
    auto probe = [&answered](Seen& out) {
        out.first = GetCurrentThreadIdentifier();
        out.kernel = KernelThreadId();
        answered.fetch_add(1);
        while (answered.load() < 2)
            std::this_thread::yield();
        out.second = GetCurrentThreadIdentifier();
    };
    std::thread a(probe, std::ref(seen[0]));
    std::thread b(probe, std::ref(seen[1]));
    a.join();
    b.join();

    for (const Seen& s : seen) {
        EXPECT_EQ(s.first, s.kernel);
        EXPECT_EQ(s.second, s.first);
        EXPECT_NE(s.first, GetCurrentThreadIdentifier());
    }
    EXPECT_NE(seen[0].first, seen[1].first);
}

TEST(ThreadIdentifierTest, AForkedChildReportsItsOwnId) {
    const uint64_t parentId = GetCurrentThreadIdentifier(); // cached before the fork
    const pid_t child = fork();
    ASSERT_NE(child, -1);
    if (child == 0) {
        const uint64_t childId = GetCurrentThreadIdentifier();
        _exit(childId != parentId && childId == KernelThreadId() ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST(ProcessServicesTest, ReportsProcessCpuCountAndTraceId) {
    EXPECT_EQ(zulplatform::GetProcessID(), getpid());
    EXPECT_EQ(zulplatform::GetTraceId(), 0u);

    const unsigned int cpus = zulplatform::GetCpuCount();
    EXPECT_GE(cpus, 1u);
    const unsigned int reported = std::thread::hardware_concurrency();
    if (reported != 0) {
        EXPECT_EQ(cpus, reported);
    }
}
