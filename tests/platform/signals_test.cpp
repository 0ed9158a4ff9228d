// Signal handling: faults inside a CSignalScope become a thrown int -1, SIGTERM sets the
// termination flag, and the earlier actions come back when the scope ends.
//
// This file is compiled with -fnon-call-exceptions (tests/CMakeLists.txt) so that a fault
// directly inside a try block - not only one inside a called function - is a throwing point
// the compiler records in its unwind tables.
#include <platform/module.h>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace zulplatform {
// The library's table of remembered actions, looked at to check that nothing lingers.
extern std::map<int, struct sigaction> _astSignals;
} // namespace zulplatform

using zulplatform::CSignalScope;

// The faulting helpers. noipa keeps the optimiser from inlining them, from learning that the
// pointer is null or the divisor zero (it would then emit a trap of its own instead of the
// fault under test), and from concluding that they cannot throw (which would let it drop the
// caller's catch).
#define FAULT_HELPER __attribute__((noinline, noipa))

// Assembly helpers whose faulting instruction sits where an unwinder that looked up the
// address before the faulting one would go wrong: at the very first instruction of a function
// that directly follows another with a different frame layout, and right after a push, where
// the faulting instruction's own unwind row is the first one that counts the push.
extern "C" void SignalsTestFaultAtEntry(volatile int* p);
extern "C" void SignalsTestFaultAfterPush(volatile int* p);
asm(R"(
    .pushsection .text
    .p2align 4
    .type SignalsTestDecoy, @function
SignalsTestDecoy:
    .cfi_startproc
    pushq %rbx
    .cfi_def_cfa_offset 16
    ud2
    .cfi_endproc
    .size SignalsTestDecoy, .-SignalsTestDecoy
    .globl SignalsTestFaultAtEntry
    .type SignalsTestFaultAtEntry, @function
SignalsTestFaultAtEntry:
    .cfi_startproc
    movl $1, (%rdi)
    ret
    .cfi_endproc
    .size SignalsTestFaultAtEntry, .-SignalsTestFaultAtEntry
    .p2align 4
    .globl SignalsTestFaultAfterPush
    .type SignalsTestFaultAfterPush, @function
SignalsTestFaultAfterPush:
    .cfi_startproc
    pushq %rbx
    .cfi_def_cfa_offset 16
    .cfi_offset %rbx, -16
    movl $1, (%rdi)
    popq %rbx
    .cfi_def_cfa_offset 8
    ret
    .cfi_endproc
    .size SignalsTestFaultAfterPush, .-SignalsTestFaultAfterPush
    .popsection
)");

namespace {

// Null and zero the optimiser cannot see through.
volatile int* volatile g_nullPointer = nullptr;
volatile int g_zero = 0;
volatile int g_minusOne = -1;

// The null check of the undefined-behaviour sanitizer would report this write before the
// processor faults; the fault itself is what is under test.
FAULT_HELPER __attribute__((no_sanitize("null"))) void WriteThrough(volatile int* p) {
    *p = 1;
}

FAULT_HELPER int ReadByte(const volatile char* p) {
    return *p;
}

FAULT_HELPER void ExecuteIllegalInstruction() {
    __builtin_trap();
}

FAULT_HELPER void ExecuteBreakpoint() {
    asm volatile("int3");
}

// raise() is declared not to throw, so a call of it directly inside a try block may have no
// entry in the unwind tables; called from a helper, the throwing call is the helper's.
FAULT_HELPER void RaiseAbort() {
    raise(SIGABRT);
}

// As above: the sanitizer's own division checks would report before the processor faults.
FAULT_HELPER __attribute__((no_sanitize("integer-divide-by-zero", "signed-integer-overflow"))) int
Divide(int dividend, int divisor) {
    return dividend / divisor;
}

// A fault in this function's own body, inside its own try block.
FAULT_HELPER __attribute__((no_sanitize("null"))) int CatchInlineWrite(volatile int* p) {
    try {
        *p = 7;
    } catch (int code) {
        return code;
    }
    return 0;
}

// The int that `action` throws, if any.
template <class Action> std::optional<int> CaughtInt(Action action) {
    try {
        action();
    } catch (int code) {
        return code;
    }
    return std::nullopt;
}

// A page whose file has been cut to nothing: touching it raises SIGBUS.
class TruncatedMapping {
public:
    TruncatedMapping() {
        const long page = sysconf(_SC_PAGESIZE);
        m_size = static_cast<size_t>(page);
        m_fd = memfd_create("signals_test", 0);
        if (m_fd < 0 || ftruncate(m_fd, page) != 0)
            return;
        void* p = mmap(nullptr, m_size, PROT_READ | PROT_WRITE, MAP_SHARED, m_fd, 0);
        if (p == MAP_FAILED || ftruncate(m_fd, 0) != 0)
            return;
        m_page = static_cast<char*>(p);
    }
    ~TruncatedMapping() {
        if (m_page != nullptr)
            munmap(m_page, m_size);
        if (m_fd >= 0)
            close(m_fd);
    }
    const volatile char* Page() const { return m_page; }

private:
    int m_fd = -1;
    size_t m_size = 0;
    char* m_page = nullptr;
};

struct FaultKind {
    const char* name;
    std::optional<int> (*run)(const TruncatedMapping&);
};

const FaultKind kFaults[] = {
    {"null write",
     [](const TruncatedMapping&) { return CaughtInt([] { WriteThrough(g_nullPointer); }); }},
    {"bus error", [](const TruncatedMapping& m) { return CaughtInt([&] { ReadByte(m.Page()); }); }},
    {"illegal instruction",
     [](const TruncatedMapping&) { return CaughtInt(ExecuteIllegalInstruction); }},
    {"division by zero",
     [](const TruncatedMapping&) { return CaughtInt([] { Divide(1, g_zero); }); }},
    {"division overflow",
     [](const TruncatedMapping&) { return CaughtInt([] { Divide(INT_MIN, g_minusOne); }); }},
    {"fault at a function's entry",
     [](const TruncatedMapping&) {
         return CaughtInt([] { SignalsTestFaultAtEntry(g_nullPointer); });
     }},
    {"fault after a push",
     [](const TruncatedMapping&) {
         return CaughtInt([] { SignalsTestFaultAfterPush(g_nullPointer); });
     }},
    {"fault inside the catching function",
     [](const TruncatedMapping&) -> std::optional<int> { return CatchInlineWrite(g_nullPointer); }},
};

// Runs every fault kind `rounds` times; returns a description of each one that did not end as
// a caught -1.
std::vector<std::string> RunAllFaults(const TruncatedMapping& mapping, int rounds) {
    std::vector<std::string> failures;
    for (int round = 0; round < rounds; ++round) {
        for (const FaultKind& fault : kFaults) {
            const std::optional<int> caught = fault.run(mapping);
            if (caught != -1)
                failures.push_back(
                    std::string(fault.name) + " in round " + std::to_string(round) +
                    (caught ? " gave " + std::to_string(*caught) : " threw nothing"));
        }
    }
    return failures;
}

struct sigaction CurrentAction(int sig) {
    struct sigaction action {};
    sigaction(sig, nullptr, &action);
    return action;
}

// The handler a test installs to see whether it comes back.
void KnownHandler(int, siginfo_t*, void*) {}

bool IsKnownHandler(const struct sigaction& action) {
    return (action.sa_flags & SA_SIGINFO) != 0 && action.sa_sigaction == &KnownHandler;
}

constexpr int kScopeSignals[] = {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGTERM, SIGPIPE};

// Installs `action` for a signal and puts the earlier one back at the end of the test.
class ActionOverride {
public:
    ActionOverride(int sig, const struct sigaction& action) : m_sig(sig) {
        sigaction(sig, &action, &m_saved);
    }
    ~ActionOverride() { sigaction(m_sig, &m_saved, nullptr); }
    ActionOverride(const ActionOverride&) = delete;
    ActionOverride& operator=(const ActionOverride&) = delete;

private:
    int m_sig;
    struct sigaction m_saved {};
};

struct sigaction KnownAction() {
    struct sigaction action {};
    action.sa_sigaction = &KnownHandler;
    action.sa_flags = SA_SIGINFO | SA_RESTART;
    sigemptyset(&action.sa_mask);
    sigaddset(&action.sa_mask, SIGUSR2);
    return action;
}

} // namespace

TEST(SignalScopeTest, FaultsBecomeACaughtMinusOneRepeatedly) {
    TruncatedMapping mapping;
    ASSERT_NE(mapping.Page(), nullptr);
    CSignalScope scope;
    const std::vector<std::string> failures = RunAllFaults(mapping, 20);
    EXPECT_TRUE(failures.empty()) << failures.front();
}

TEST(SignalScopeTest, FaultsOnAnotherThreadAreThrownOnThatThread) {
    TruncatedMapping mapping;
    ASSERT_NE(mapping.Page(), nullptr);
    // Signals are requested by this thread only; the table is not locked.
    CSignalScope scope;
    std::vector<std::string> failures[2];
    std::thread first([&] { failures[0] = RunAllFaults(mapping, 10); });
    std::thread second([&] { failures[1] = RunAllFaults(mapping, 10); });
    first.join();
    second.join();
    for (const auto& threadFailures : failures)
        EXPECT_TRUE(threadFailures.empty()) << threadFailures.front();
    // And the requesting thread is still served afterwards.
    EXPECT_TRUE(RunAllFaults(mapping, 1).empty());
}

TEST(SignalScopeTest, EarlierActionsComeBackAndNothingLingers) {
    const struct sigaction known = KnownAction();
    std::vector<std::unique_ptr<ActionOverride>> overrides;
    for (const int sig : kScopeSignals)
        overrides.push_back(std::make_unique<ActionOverride>(sig, known));

    {
        CSignalScope scope;
        for (const int sig : kScopeSignals) {
            const struct sigaction during = CurrentAction(sig);
            EXPECT_FALSE(IsKnownHandler(during)) << sig;
            EXPECT_EQ(during.sa_flags & (SA_SIGINFO | SA_RESTART | SA_ONSTACK), SA_SIGINFO) << sig;
            EXPECT_EQ(sigismember(&during.sa_mask, SIGUSR2), 0) << sig;
        }
    }
    for (const int sig : kScopeSignals) {
        const struct sigaction after = CurrentAction(sig);
        EXPECT_TRUE(IsKnownHandler(after)) << sig;
        EXPECT_NE(after.sa_flags & SA_RESTART, 0) << sig;
        EXPECT_EQ(sigismember(&after.sa_mask, SIGUSR2), 1) << sig;
        EXPECT_EQ(zulplatform::_astSignals.count(sig), 0u) << sig;
    }
}

TEST(SignalScopeTest, AfterTheScopeAFaultTakesTheDefaultActionAgain) {
    EXPECT_EXIT(
        {
            signal(SIGSEGV, SIG_DFL);
            {
                CSignalScope scope;
                if (CaughtInt([] { WriteThrough(g_nullPointer); }) != -1)
                    _exit(3);
            }
            WriteThrough(g_nullPointer);
            _exit(4);
        },
        testing::KilledBySignal(SIGSEGV), "");
}

TEST(SignalScopeTest, TerminationRequestSetsTheFlagAndTheProcessLivesOn) {
    EXPECT_EXIT(
        {
            if (zulplatform::IsTerminationRequested())
                _exit(2);
            CSignalScope scope;
            raise(SIGTERM);
            if (!zulplatform::IsTerminationRequested())
                _exit(3);
            // Delivered to the process rather than the thread, and a second time: still
            // alive, still set.
            kill(getpid(), SIGTERM);
            _exit(zulplatform::IsTerminationRequested() ? 0 : 4);
        },
        testing::ExitedWithCode(0), "");
}

TEST(SignalScopeTest, TerminationFlagOutlivesTheScope) {
    EXPECT_EXIT(
        {
            {
                CSignalScope scope;
                raise(SIGTERM);
            }
            _exit(zulplatform::IsTerminationRequested() ? 0 : 3);
        },
        testing::ExitedWithCode(0), "");
}

TEST(SignalScopeTest, BrokenPipeIsIgnoredWhileInScope) {
    EXPECT_EXIT(
        {
            signal(SIGPIPE, SIG_DFL);
            CSignalScope scope;
            int fds[2];
            if (pipe(fds) != 0)
                _exit(2);
            close(fds[0]);
            const char byte = 'x';
            const bool failedWithEpipe = write(fds[1], &byte, 1) == -1 && errno == EPIPE;
            raise(SIGPIPE);
            _exit(failedWithEpipe ? 0 : 3);
        },
        testing::ExitedWithCode(0), "");
}

TEST(RequestSignalTest, TrapAndAbortAreRedirectedWhenRequested) {
    EXPECT_EXIT(
        {
            if (zulplatform::_RequestSignal(SIGTRAP) != 0 ||
                zulplatform::_RequestSignal(SIGABRT) != 0)
                _exit(2);
            if (CaughtInt(ExecuteBreakpoint) != -1)
                _exit(3);
            // Thrown from inside the C library's raise, through its frames.
            if (CaughtInt(RaiseAbort) != -1)
                _exit(4);
            zulplatform::_ReleaseSignal(SIGTRAP);
            zulplatform::_ReleaseSignal(SIGABRT);
            _exit(0);
        },
        testing::ExitedWithCode(0), "");
}

TEST(RequestSignalTest, OtherSignalsAreIgnoredWhileRequested) {
    ActionOverride defaultAction(SIGUSR1, [] {
        struct sigaction action {};
        action.sa_handler = SIG_DFL;
        return action;
    }());
    ASSERT_EQ(zulplatform::_RequestSignal(SIGUSR1), 0);
    raise(SIGUSR1); // would end the process under the default action
    zulplatform::_ReleaseSignal(SIGUSR1);
    EXPECT_EQ(CurrentAction(SIGUSR1).sa_handler, SIG_DFL);
}

TEST(RequestSignalTest, SecondRequestThenReleaseKeepsTheLibraryHandler) {
    ActionOverride known(SIGUSR1, KnownAction());
    ASSERT_EQ(zulplatform::_RequestSignal(SIGUSR1), 0);
    const struct sigaction library = CurrentAction(SIGUSR1);
    ASSERT_FALSE(IsKnownHandler(library));

    ASSERT_EQ(zulplatform::_RequestSignal(SIGUSR1), 0);
    zulplatform::_ReleaseSignal(SIGUSR1);
    const struct sigaction after = CurrentAction(SIGUSR1);
    EXPECT_EQ(after.sa_sigaction, library.sa_sigaction);
    EXPECT_NE(after.sa_flags & SA_SIGINFO, 0);
    EXPECT_EQ(zulplatform::_astSignals.count(SIGUSR1), 0u);

    // Nothing is remembered any more, so a further release changes nothing.
    zulplatform::_ReleaseSignal(SIGUSR1);
    EXPECT_EQ(CurrentAction(SIGUSR1).sa_sigaction, library.sa_sigaction);
}

TEST(RequestSignalTest, ReleasingANeverRequestedSignalIsHarmless) {
    ActionOverride known(SIGUSR2, KnownAction());
    zulplatform::_ReleaseSignal(SIGUSR2);
    EXPECT_TRUE(IsKnownHandler(CurrentAction(SIGUSR2)));
    zulplatform::_ReleaseSignal(0);
    zulplatform::_ReleaseSignal(-5);
    zulplatform::_ReleaseSignal(100000);
}

TEST(RequestSignalTest, FailedRequestReturnsMinusOneAndRemembersNothing) {
    for (const int sig : {SIGKILL, SIGSTOP, 0, -1, 100000}) {
        EXPECT_EQ(zulplatform::_RequestSignal(sig), -1) << sig;
        EXPECT_EQ(zulplatform::_astSignals.count(sig), 0u) << sig;
    }
}
