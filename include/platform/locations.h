/// \file
/// Environment and standard locations: environment strings, the country code, the application's
/// own directories and the Java runtime search.
#pragma once

#include <platform/cstring.h>

namespace zulplatform {

/// secure_getenv(name): true and the value when set; false and an empty value otherwise.
PLATFORM_API bool GetEnvironmentString(zulwin::CString& value, zulwin::CString const& name);
/// The country part of "LANG" ("en_US.UTF-8" gives "US"); empty when unset or without a ".".
PLATFORM_API zulwin::CString GetIso3166CountryName();
/// @{
/// The application's own directories, under the executable's directory (not the user's home):
/// GetAppDir() + ".config/" and GetAppDir() + "user_data/". Nothing creates them.
PLATFORM_API zulwin::CString GetAppUserDir();
PLATFORM_API zulwin::CString GetDefaultAppDataDir();
/// @}
/// The root of the Java runtime, ending in "/": found through "LD_LIBRARY_PATH" (libjvm.so) or
/// the "java" on the search path. Computed once. Throws std::runtime_error when not found.
PLATFORM_API char const* GetJavaPath();

} // namespace zulplatform
