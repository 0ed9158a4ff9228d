/// \file
/// UTF-8 codec primitives: the light validation rule, decoding and encoding single sequences,
/// UTF-16 units, and simple Unicode case mapping and composition of single code points.
///
/// Conventions of the text headers:
///  - Code points travel as `unsigned int`, UTF-16 units as `char16_t`, byte counts as
///    `unsigned long`.
///  - Every loop that walks UTF-8 text steps by the sequence-length table of the lead byte
///    (see CUtf8String::GetSequenceLen) and stops at a NUL lead byte.
///  - Two validators exist on purpose. The light one (IsValidCodePoint and its users) decides
///    what a string may hold: it accepts overlong three- and four-byte forms, encoded surrogates
///    and F4 90..F4 BF. The strict one (CUtf8String::utf8_check) guards the conversion to UTF-16.
#pragma once

#include <platform/export.h>

#include <string>

namespace utf8_private {

/// Checks the sequence at `p` with the light rule. Sets `len` to 0 first; on success stores the
/// sequence length (1 to 4) in `len` and returns true. The lead byte must be 01..7F or C2..F4 and
/// each following byte of the sequence must be 80..BF. False for null and for a NUL byte.
PLATFORM_API bool IsValidCodePoint(char const* p, unsigned long& len);

/// True when every sequence up to the terminating NUL passes IsValidCodePoint; true for null
/// and for the empty string.
PLATFORM_API bool IsValidString(char const* s);

/// Length of the longest prefix of `s` made of whole valid sequences that is at most `n` bytes
/// long. Stops at the first invalid sequence or NUL.
PLATFORM_API unsigned long GetValidSize(char const* s, unsigned long n);

/// Decodes a sequence of `len` bytes without checking it. Lengths 0 and 1 give the byte
/// sign-extended; lengths 2 to 4 the usual bit assembly; any other length gives 0.
PLATFORM_API unsigned int GetCodePoint(char const* p, unsigned long len);

/// Appends the UTF-8 form of `cp`; values above 0x10FFFF append nothing. Surrogate values are
/// encoded like any other three-byte value.
PLATFORM_API void SetCodePoint(std::string& out, unsigned int cp);

/// One UTF-16 unit for the sequence at `p`: 0 for null or NUL, the decoded value truncated to
/// 16 bits for sequences of 1 to 3 bytes, and '?' for longer ones (no surrogate pairs here).
PLATFORM_API char16_t _wchar(char const* p);

/// Appends the UTF-8 form of the NUL-terminated UTF-16 text `s`. A high surrogate is combined
/// with whatever unit follows it; a high surrogate right before the terminator appends nothing.
PLATFORM_API void _AppendUtf16(char16_t const* s, std::string& out);

/// Simple (one-to-one) case mapping of Unicode 9.0: upper-case letters to lower case, lower-case
/// letters to upper case. Any other code point is returned unchanged.
/// @{
PLATFORM_API unsigned int tolower(unsigned int cp);
PLATFORM_API unsigned int toupper(unsigned int cp);
/// @}

/// Canonical composition of `base` with one combining mark of U+0300..U+0345; 0 when there is
/// none. The key is formed in 32 bits as (base << 16) | mark.
PLATFORM_API unsigned int normalize(unsigned int base, unsigned int mark);

} // namespace utf8_private
