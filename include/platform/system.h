// System services: per-thread last error and error-code texts.
#pragma once

namespace zulwin {

// The calling thread's last-error cell; 0 when the thread starts. Only SetLastError changes it.
unsigned int& _lasterror();
void SetLastError(unsigned int code);
unsigned int GetLastError();

} // namespace zulwin

namespace zulplatform {

// A message for an error code. Known codes are matched on their low 16 bits; others take the C
// library's text, or "0x%08x" of the code when the C library does not know it either. The text
// for an unknown code lives in shared storage until the next such call from any thread.
char const* XlatErrorCode(unsigned int code);

} // namespace zulplatform
