/// \file
/// The per-thread last error of the compatibility layer, and texts for error codes.
#pragma once

#include <platform/export.h>
#include <platform/winerror.h>

namespace zulwin {

/// The calling thread's last-error cell; 0 when the thread starts. Only SetLastError changes it.
PLATFORM_API unsigned int& _lasterror();
/// Sets the calling thread's last error.
PLATFORM_API void SetLastError(unsigned int code);
/// The calling thread's last error: the value last set in this thread, 0 before any.
PLATFORM_API unsigned int GetLastError();

} // namespace zulwin

namespace zulplatform {

/// A message for an error code. Known codes are matched on their low 16 bits; others take the C
/// library's text, or "0x%08x" of the code when the C library does not know it either. The text
/// for an unknown code lives in per-thread storage until the same thread's next such call.
PLATFORM_API char const* XlatErrorCode(unsigned int code);

} // namespace zulplatform
