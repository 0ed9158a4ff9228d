/// \file
/// Safe C-string functions, number parsers, natural comparison and the string hash.
#pragma once

#include <platform/cstring.h>

#include <cstddef>

/// Bounded string functions. Unlike their namesakes elsewhere they throw
/// zulplatform::CException (22 EINVAL, 34 ERANGE, -4 formatting) instead of returning an error
/// number; strcpy_s returns 0.
PLATFORM_API int strcpy_s(char* dst, unsigned long size, char const* src);
/// count works like a buffer size: at most min(size, count) - 1 bytes are copied. Never throws.
PLATFORM_API int strncpy_s(char* dst, unsigned long size, char const* src, unsigned long count);
/// Appends `src` when the result and its NUL fit in `size`; otherwise empties `dst` and throws
/// 34. A null argument throws 22.
PLATFORM_API int strcat_s(char* dst, unsigned long size, char const* src);
/// Copies `count` bytes when they fit in `size`; otherwise zero-fills `dst` and throws 34. A
/// null argument with a count throws 22.
PLATFORM_API int memcpy_s(void* dst, unsigned long size, void const* src, unsigned long count);
/// vsnprintf into `buf`, returning the length written; throws -4 (leaving `buf` empty) when
/// the result does not fit, formatting fails, or an argument is null or 0.
PLATFORM_API int sprintf_s(char* buf, unsigned long size, char const* format, ...)
    __attribute__((format(printf, 3, 4)));
/// access(2)'s result; a null path throws 22.
PLATFORM_API int access_s(char const* path, int mode);

/// Number of UTF-16 units before the terminator; 0 for null.
PLATFORM_API int lstrlenW(char16_t const* s);
/// Copies at most n - 1 bytes and always terminates; does nothing for null src/dst or n == 0.
PLATFORM_API char* lstrcpyn(char* dst, char const* src, unsigned long n);

/// Unsigned parsers: optional '+', no '-', saturate at the type's maximum.
/// @{
PLATFORM_API unsigned long long _ttoull(char const* s);
PLATFORM_API unsigned long _ttoul(char const* s);
PLATFORM_API unsigned int _ttoui(char const* s);
/// @}
/// Signed parsers: strtoll rules, _ttoi clamped to the int range.
/// @{
PLATFORM_API long long _ttoll(char const* s);
PLATFORM_API long _ttol(char const* s);
PLATFORM_API int _ttoi(char const* s);
/// @}

/// Version-order comparison (file9 before file10).
PLATFORM_API int _NaturalCompare(zulwin::CString const& a, zulwin::CString const& b);

namespace zulplatform {

/// 64-bit hash of the content up to its first NUL; equal to the GNU standard library's
/// std::hash<std::string> of the same bytes, and stable across builds.
PLATFORM_API std::size_t HashCString(zulwin::CString const& s);

} // namespace zulplatform
