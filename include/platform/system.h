// System services: per-thread last error and error-code texts; environment and standard
// locations.
#pragma once

#include <platform/strings.h>

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

// secure_getenv(name): true and the value when set; false and an empty value otherwise.
bool GetEnvironmentString(zulwin::CString& value, zulwin::CString const& name);
// The country part of "LANG" ("en_US.UTF-8" gives "US"); empty when unset or without a ".".
zulwin::CString GetIso3166CountryName();
// The application's own directories, under the executable's directory (not the user's home):
// GetAppDir() + ".config/" and GetAppDir() + "user_data/". Nothing creates them.
zulwin::CString GetAppUserDir();
zulwin::CString GetDefaultAppDataDir();
// The root of the Java runtime, ending in "/": found through "LD_LIBRARY_PATH" (libjvm.so) or
// the "java" on the search path. Computed once. Throws std::runtime_error when not found.
char const* GetJavaPath();

} // namespace zulplatform
