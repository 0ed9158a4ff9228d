// The table of signal actions the library replaced, so that they can be put back.
#pragma once

#include <signal.h>

#include <map>

namespace zulplatform {

// Signal number to the action in force before the library installed its handler. Built by a
// load-time constructor after init_dll; meant for one thread at a time (CSignalScope's).
extern std::map<int, struct sigaction> _astSignals;

} // namespace zulplatform
