// The UTF-8 to UTF-16 kernels behind CUtf8String::ToWide. Not part of the public interface.
#pragma once

#include "text/internal/utf8.h"

namespace utf8_private {
namespace detail {

// Converts the strictly valid prefix of [p, end) (no overlong forms, no encoded surrogates,
// nothing above U+10FFFF) into `out`, which must have room for end - p units; the byte at `end`
// must be the input's NUL terminator. Returns one past the last unit written.
char16_t* ConvertStrictToUtf16(const unsigned char* p, const unsigned char* end, char16_t* out);

// Chooses the kernel of ConvertStrictToUtf16, as ForceScanKernel does for the scans: Avx2 is the
// block transcoder, Sse2 and Scalar the sequence-by-sequence converter. False (and nothing
// changes) when the CPU lacks the kernel. Not for use while other threads convert.
bool ForceUtf16Kernel(ScanKernel kernel);

} // namespace detail
} // namespace utf8_private
