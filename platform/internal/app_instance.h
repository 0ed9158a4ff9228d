// The application object as the library's own code reaches it.
#pragma once

#include <platform/app.h>

namespace zulplatform {

// The application object, created on first use; null once it has been destroyed at process
// exit. Libraries of the family unregister in their load-time destructors, which can run after
// the application object's destructor when the library was loaded late (the C runtime runs
// the exit handlers of function-local statics and the libraries' destructors in the reverse
// order of their registration).
CApp* _LiveApp();

} // namespace zulplatform
