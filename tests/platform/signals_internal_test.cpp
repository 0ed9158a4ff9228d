// Signal handling: faults inside a CSignalScope become a thrown int -1, SIGTERM sets the
// termination flag, and the earlier actions come back when the scope ends.
//
// Compiled with -fnon-call-exceptions (tests/CMakeLists.txt), so that a fault directly inside a
// try block is a throwing point the compiler records.
#include "platform/internal/signal_table.h"
#include "support/opaque.h"

#include <platform/signals.h>

#include <gtest/gtest.h>

#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include <string>
#include <thread>

using zulplatform::CSignalScope;

// Faults where an unwinder that looked up "address - 1" would go wrong: an illegal instruction
// right after a push, and a fault at the first instruction of a function that directly follows
// one with another frame layout.
extern "C" void SignalsTestIllegalAfterPush();
extern "C" void SignalsTestFaultAtEntry(volatile int* p);
asm(".pushsection .text; .globl SignalsTestIllegalAfterPush, SignalsTestFaultAtEntry\n"
    "SignalsTestIllegalAfterPush: .cfi_startproc; pushq %rbx; .cfi_def_cfa_offset 16; ud2\n"
    ".cfi_endproc; SignalsTestFaultAtEntry: .cfi_startproc; movl $1, (%rdi); ret; .cfi_endproc\n"
    ".popsection");

namespace {

// The sanitizer's own null and division checks would report before the processor faults.
#define FAULT_HELPER __attribute__((TEST_OPAQUE, no_sanitize("undefined")))

FAULT_HELPER int Divide(int dividend, int divisor) {
    return dividend / divisor;
}

// A mapping of an empty file: touching it raises SIGBUS.
volatile int* const g_emptyFile = static_cast<volatile int*>(
    mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED, memfd_create("signals_test", 0), 0));

const struct {
    const char* name;
    void (*run)(); // null: the bus error directly inside the try block
} kFaults[] = {
    {"bus error at a function's entry", [] { SignalsTestFaultAtEntry(g_emptyFile); }},
    {"illegal instruction after a push", SignalsTestIllegalAfterPush},
    {"division by zero", [] { Divide(1, 0); }},
    {"segmentation fault at a function's entry", [] { SignalsTestFaultAtEntry(nullptr); }},
#if !defined(__clang__) // clang accepts -fnon-call-exceptions but records no memory access
    {"bus error inside the try block", nullptr},
#endif
};

// Every fault kind `rounds` times; names each that did not end as a caught -1.
FAULT_HELPER std::string FaultsNotCaught(int rounds) {
    std::string failures;
    for (int round = 0; round < rounds; ++round)
        for (const auto& fault : kFaults) {
            try {
                fault.run ? fault.run() : void(*g_emptyFile = 1);
            } catch (int code) {
                if (code == -1)
                    continue;
            }
            failures += std::string(fault.name) + "; ";
        }
    return failures;
}

} // namespace

TEST(SignalScopeTest, FaultsBecomeACaughtMinusOneRepeatedlyOnTheFaultingThread) {
    ASSERT_NE(g_emptyFile, MAP_FAILED);
    CSignalScope scope; // requested by this thread only
    std::string onOtherThread;
    std::thread other([&] { onOtherThread = FaultsNotCaught(10); });
    EXPECT_EQ(FaultsNotCaught(10), "");
    other.join();
    EXPECT_EQ(onOtherThread, "");
}

TEST(SignalScopeTest, EarlierActionsComeBackAndNothingLingers) {
    for (int sig : {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGTERM, SIGPIPE}) {
        auto* const original = signal(sig, SIG_IGN);
        static_cast<void>(CSignalScope()); // a scope that starts and ends
        EXPECT_TRUE(signal(sig, original) == SIG_IGN && !zulplatform::_astSignals.count(sig))
            << sig;
    }
}

// SIGTERM (sent to the process rather than the thread) sets a flag that outlasts the scope; a
// broken pipe, whose default action would end the program, is ignored.
TEST(SignalScopeTest, TerminationSetsALastingFlagAndBrokenPipeIsIgnored) {
    {
        CSignalScope scope;
        kill(getpid(), SIGTERM);
        raise(SIGPIPE);
    }
    EXPECT_TRUE(zulplatform::IsTerminationRequested());
}
