// Small inline pieces shared by the UTF-8 routines of text/. Not part of the public interface.
#pragma once

#include <platform/unicode.h>

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace utf8_private {
namespace detail {

inline unsigned SeqLen(unsigned char b) {
    return CUtf8String::s_sequenceLen[b];
}

// True for a byte 80..BF.
inline bool IsCont(unsigned char b) {
    return (b & 0xC0) == 0x80;
}

// Decodes the sequence of `len` bytes at `p` exactly like GetCodePoint, but never reads at or
// beyond `end`: bytes that are not there read as 0. Raw content can end in the middle of a
// sequence; within the buffer this gives the very bytes the unchecked decoder would read.
inline unsigned int DecodeBounded(const unsigned char* p, unsigned len, const unsigned char* end) {
    auto at = [&](unsigned i) -> unsigned { return p + i < end ? p[i] : 0u; };
    switch (len) {
    case 0:
    case 1:
        return static_cast<unsigned int>(static_cast<int>(static_cast<signed char>(p[0])));
    case 2:
        return ((p[0] & 0x1Fu) << 6) | (at(1) & 0x3Fu);
    case 3:
        return ((p[0] & 0x0Fu) << 12) | ((at(1) & 0x3Fu) << 6) | (at(2) & 0x3Fu);
    case 4:
        return ((p[0] & 0x07u) << 18) | ((at(1) & 0x3Fu) << 12) | ((at(2) & 0x3Fu) << 6) |
               (at(3) & 0x3Fu);
    default:
        return 0;
    }
}

// Number of bytes SetCodePoint appends for `cp` (0 when it appends nothing).
inline unsigned EncodedLen(unsigned int cp) {
    if (cp < 0x80)
        return 1;
    if (cp < 0x800)
        return 2;
    if (cp < 0x10000)
        return 3;
    return cp <= 0x10FFFF ? 4 : 0;
}

// Writes the UTF-8 form of `cp` (which must have EncodedLen 1 to 4) to `out`; returns the
// number of bytes written.
inline unsigned EncodeTo(unsigned char* out, unsigned int cp) {
    if (cp < 0x80) {
        out[0] = static_cast<unsigned char>(cp);
        return 1;
    }
    if (cp < 0x800) {
        out[0] = static_cast<unsigned char>(0xC0 | (cp >> 6));
        out[1] = static_cast<unsigned char>(0x80 | (cp & 0x3F));
        return 2;
    }
    if (cp < 0x10000) {
        out[0] = static_cast<unsigned char>(0xE0 | (cp >> 12));
        out[1] = static_cast<unsigned char>(0x80 | ((cp >> 6) & 0x3F));
        out[2] = static_cast<unsigned char>(0x80 | (cp & 0x3F));
        return 3;
    }
    if (cp <= 0x10FFFF) {
        out[0] = static_cast<unsigned char>(0xF0 | (cp >> 18));
        out[1] = static_cast<unsigned char>(0x80 | ((cp >> 12) & 0x3F));
        out[2] = static_cast<unsigned char>(0x80 | ((cp >> 6) & 0x3F));
        out[3] = static_cast<unsigned char>(0x80 | (cp & 0x3F));
        return 4;
    }
    return 0;
}

// The kernels of the block scans below. Normally the best the CPU has is chosen once; tests
// force each in turn so that every path runs on every machine.
enum class ScanKernel { Best, Avx2, Sse2, Scalar };
// False (and nothing changes) when the kernel is not available: the CPU lacks it, or it reads
// ahead and the process runs under valgrind. `readAhead` picks the variant of the Avx2 and Sse2
// kernels: whether they pass over long ASCII runs in chunks that may extend past the text, or
// unit by unit (the variant chosen under valgrind). Not for use while other threads scan.
bool ForceScanKernel(ScanKernel kernel, bool readAhead = true);

// Whether code that compares texts block by block may read past a text's terminator, within the
// page the terminator is on: the readAhead choice of the scans, which ForceScanKernel changes.
// False until the library's load-time initialisation has run, and under valgrind.
extern std::atomic<bool> g_readAhead;
inline bool ReadAheadAllowed() {
    return g_readAhead.load(std::memory_order_relaxed);
}

// Validates the NUL-terminated `s` by the light rule (the same verdict as stepping with
// IsValidCodePoint). When it is valid, stores the byte length up to the NUL in `len`.
bool ScanValidString(const char* s, std::size_t& len);

// Position of the first byte at or after `p` (and before `end`) that is not 01..7F.
const unsigned char* SkipAscii(const unsigned char* p, const unsigned char* end);

// Code points of the bytes [p, end), stepping by the sequence-length table until a NUL lead
// byte; a sequence cut by `end` counts once. Stops early once the count reaches `enough`, so a
// caller that only needs to know whether the count exceeds a position pays for that prefix.
unsigned long CountCodePoints(const unsigned char* p, const unsigned char* end,
                              unsigned long enough);

} // namespace detail
} // namespace utf8_private
