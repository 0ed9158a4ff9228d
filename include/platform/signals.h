/// \file
/// Signals: faults turned into exceptions, the termination flag, and the library's handlers.
#pragma once

#include <platform/export.h>

namespace zulplatform {

/// Installs the library's handler for `sig`, remembering the earlier action (a second request
/// replaces the remembered action by the library's own). -1 when sigaction fails.
PLATFORM_API int _RequestSignal(int sig);
/// Puts back the action remembered for `sig`; nothing when none is remembered.
PLATFORM_API void _ReleaseSignal(int sig);

/// While it lives, SIGSEGV, SIGBUS, SIGILL and SIGFPE become a thrown int -1 at the faulting
/// instruction, SIGTERM sets the termination flag, and SIGPIPE is ignored. Use one scope, from
/// one thread, around the main loop. A catch sees such a fault only when the compiler kept it:
/// build the code that may fault, and the code that catches, with -fnon-call-exceptions (GCC;
/// clang accepts the flag but does not treat a plain memory access inside a try block as a
/// throwing point, so there only faults inside called functions are caught).
class PLATFORM_API CSignalScope {
public:
    CSignalScope();
    CSignalScope(const CSignalScope&) = delete;
    CSignalScope& operator=(const CSignalScope&) = delete;
    ~CSignalScope();
};

/// True once SIGTERM arrived inside a CSignalScope; never reset.
PLATFORM_API bool IsTerminationRequested();

} // namespace zulplatform
