// Signal handling: hardware faults inside a guarded scope become a thrown int -1 at the
// faulting instruction, and SIGTERM becomes a flag the application polls.
//
// How a fault becomes an exception. Throwing from inside a signal handler is not allowed, so
// the handler instead edits the interrupted machine context and returns. It pushes the
// interrupted instruction address onto the interrupted stack and points the instruction
// pointer at _ZulFaultTrampoline, so the thread resumes as if the faulting instruction had
// called it. The trampoline aligns the stack and calls a C++ function that throws -1; the
// unwinder then walks trampoline -> faulting function -> its callers like any other frames.
//
// The pushed address is that of the faulting instruction itself, not of an instruction after
// a call. Unwinders normally look up "return address - 1" to stay inside the call; here that
// would land in the previous instruction, which may belong to another function (a fault at a
// function's first instruction) or to a different unwind row (a fault right after a push) or
// call-site range. The trampoline's unwind entry is therefore marked as a signal frame
// (.cfi_signal_frame), which tells the unwinder and the C++ personality routine to use the
// address of the frame below as it is - the same treatment a kernel signal frame receives.
//
// Limits:
// - Without -fnon-call-exceptions a compiler records no throwing point at a plain memory access
//   or division. A faulting function with no catch or cleanup of its own is simply passed
//   through to its caller's call site, a normal throwing point; one that has some (a try block,
//   a local with a destructor) ends the process through std::terminate. The same holds for a
//   call of a function declared not to throw, such as raise().
// - With SIGABRT requested, abort() throws - the abort of std::terminate too, so an exception
//   nobody catches recurses until the stack runs out. CSignalScope does not request it.
// - Eight bytes below the interrupted stack pointer (and the trampoline's frame below them)
//   are overwritten. Only a leaf function keeps data there (the red zone), and a leaf function
//   has no handler of its own, so its frame is being discarded anyway.
// - A fault with no usable stack (stack overflow) cannot run the handler and kills the process;
//   no alternate signal stack is set up.
// - Caller-saved registers at the landing pad hold whatever the unwinder left; compilers do not
//   keep values there across exception edges, so compiled code does not notice.
// - SIGSEGV etc. sent by kill() are redirected the same way, throwing wherever the thread was.
// - x86-64 only; and a hardware shadow stack, if a process enabled one, would not know the
//   pushed frame.
#include "platform/internal/signal_table.h"

#include <platform/exception.h>
#include <platform/signals.h>

#include <signal.h>
#include <ucontext.h>

#include <atomic>
#include <cstdint>
#include <map>

#if !defined(__x86_64__)
#error "The fault redirection rewrites x86-64 machine contexts only."
#endif

namespace zulplatform {

namespace {

std::atomic<bool> bTerminationRequested{false};
static_assert(std::atomic<bool>::is_always_lock_free, "The SIGTERM handler needs a lock-free flag");

// The signals CSignalScope requests and releases, in this order.
constexpr int kScopeSignals[] = {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGTERM, SIGPIPE};

} // namespace

// The action in force before the library's handler, per requested signal. Its constructor runs
// after the module entry (102) and before the path character table (104).
std::map<int, struct sigaction> _astSignals __attribute__((init_priority(103)));

} // namespace zulplatform

// What the redirected thread runs. Called only by the trampoline below, with an aligned stack.
extern "C" [[noreturn]] __attribute__((visibility("hidden"), used, noinline)) void
_ZulThrowFaultException() {
    throw -1;
}

extern "C" __attribute__((visibility("hidden"))) void _ZulFaultTrampoline();

// Entered with the faulting instruction's address on top of the stack and the stack pointer at
// any alignment. The frame pointer makes the unwind rule independent of the realignment.
asm(R"(
    .pushsection .text
    .p2align 4
    .globl _ZulFaultTrampoline
    .hidden _ZulFaultTrampoline
    .type _ZulFaultTrampoline, @function
_ZulFaultTrampoline:
    .cfi_startproc
    .cfi_signal_frame
    pushq %rbp
    .cfi_def_cfa_offset 16
    .cfi_offset %rbp, -16
    movq %rsp, %rbp
    .cfi_def_cfa_register %rbp
    andq $-16, %rsp
    call _ZulThrowFaultException
    ud2
    .cfi_endproc
    .size _ZulFaultTrampoline, .-_ZulFaultTrampoline
    .popsection
)");

namespace zulplatform {

namespace {

bool IsRedirectedFault(int sig) {
    switch (sig) {
    case SIGSEGV:
    case SIGBUS:
    case SIGILL:
    case SIGFPE:
    case SIGTRAP:
    case SIGABRT:
        return true;
    default:
        return false;
    }
}

// Async-signal-safe: touches only the interrupted context, the interrupted stack and a
// lock-free flag.
void _SignalHandler(int sig, siginfo_t*, void* context) {
    if (IsRedirectedFault(sig)) {
        auto& registers = static_cast<ucontext_t*>(context)->uc_mcontext.gregs;
        const greg_t faultAddress = registers[REG_RIP];
        registers[REG_RSP] -= static_cast<greg_t>(sizeof(greg_t));
        *reinterpret_cast<greg_t*>(registers[REG_RSP]) = faultAddress;
        registers[REG_RIP] = reinterpret_cast<greg_t>(&_ZulFaultTrampoline);
    } else if (sig == SIGTERM) {
        bTerminationRequested.store(true, std::memory_order_relaxed);
    }
}

} // namespace

int _RequestSignal(int sig) {
    struct sigaction action {};
    action.sa_sigaction = &_SignalHandler;
    action.sa_flags = SA_SIGINFO;
    sigemptyset(&action.sa_mask);
    struct sigaction previous {};
    if (sigaction(sig, &action, &previous) != 0)
        return -1;
    try {
        _astSignals[sig] = previous;
    } catch (...) {
        // Without a place to remember the earlier action, do not keep the handler either.
        sigaction(sig, &previous, nullptr);
        throw;
    }
    return 0;
}

void _ReleaseSignal(int sig) {
    const auto saved = _astSignals.find(sig);
    if (saved == _astSignals.end())
        return;
    sigaction(sig, &saved->second, nullptr);
    _astSignals.erase(saved);
}

CSignalScope::CSignalScope() {
    std::size_t requested = 0;
    try {
        for (const int sig : kScopeSignals) {
            _RequestSignal(sig);
            ++requested;
        }
    } catch (...) {
        // The destructor will not run for a scope that failed to start.
        for (std::size_t i = 0; i < requested; ++i)
            _ReleaseSignal(kScopeSignals[i]);
        throw;
    }
}

CSignalScope::~CSignalScope() {
    for (const int sig : kScopeSignals)
        _ReleaseSignal(sig);
}

bool IsTerminationRequested() {
    return bTerminationRequested.load(std::memory_order_relaxed);
}

} // namespace zulplatform
