/// \file
/// The private profile functions: each call loads the named INI file (the name used exactly as
/// given, relative to the current directory when relative), acts and, for writes, saves it back.
#pragma once

#include <platform/export.h>

namespace zulwin {

/// Copies the value (or `defaultValue`, "" when null, if the file, section or key is missing)
/// into `buffer`, cut to `size` - 1 bytes with no regard to character boundaries, and returns
/// the bytes copied. `size` 0 writes nothing and returns 0. Null names read as "".
PLATFORM_API unsigned long GetPrivateProfileString(char const* section, char const* key,
                                                   char const* defaultValue, char* buffer,
                                                   unsigned long size, char const* fileName);
/// The value as a number: "0x" or "0X" and at least one more character means base 16, anything
/// else base 10, converted as strtoul does. A number of 2^32 or above, a negative one included,
/// gives -1. `defaultValue` when the file, section or key is missing.
PLATFORM_API int GetPrivateProfileInt(char const* section, char const* key, int defaultValue,
                                      char const* fileName);
/// Sets the key, or with a null value removes it (a null key removes the section, a null section
/// every section), and saves. Always 1: a file that cannot be written, or that holds text that
/// does not parse, is left as it is. Concurrent writers of one file, in any thread or process,
/// are serialised, so none loses another's change.
PLATFORM_API int WritePrivateProfileString(char const* section, char const* key, char const* value,
                                           char const* fileName);

} // namespace zulwin
