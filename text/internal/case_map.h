// Simple Unicode case mapping for the hot loops of the UTF-8 string code (MakeLower, MakeUpper,
// CompareNoCase): one constant-data lookup per code point.
//
// The tables are constexpr data, so they are usable from load-time constructors before any
// dynamic initialisation has run, need no locks and can be read from any thread. Facts the
// callers may rely on for fast paths (checked by the tests):
//  - no code point at or above kCaseMapLimit maps to anything but itself;
//  - a code point below 0x80 maps to a code point below 0x80 (but code points above 0x7F may
//    map into ASCII, e.g. U+0130 to 'i' and U+017F to 'S').
#pragma once

#include <cstdint>

// The data is internal: keep it out of the library's exported symbols, which also lets the
// library address it directly instead of through the global offset table.
#pragma GCC visibility push(hidden)

#include "text/internal/unicode_tables.inc"

namespace utf8_private::detail {

inline constexpr unsigned int kCaseMapLimit =
    kLowerMapLimit > kUpperMapLimit ? kLowerMapLimit : kUpperMapLimit;
inline constexpr unsigned int kCaseBlockMask = (1u << kCaseBlockShift) - 1;

// The mapped value of `cp`, or `cp` itself when it is not an upper-case letter with a simple
// lowercase mapping. Defined for every 32-bit value.
constexpr unsigned int LowerOf(unsigned int cp) {
    if (cp >= kLowerMapLimit)
        return cp;
    unsigned int const block = kLowerBlockIndex[cp >> kCaseBlockShift];
    // Unsigned addition wraps, which is what adding a negative delta needs.
    return cp + static_cast<unsigned int>(
                    kLowerDeltas[(block << kCaseBlockShift) | (cp & kCaseBlockMask)]);
}

// The mapped value of `cp`, or `cp` itself when it is not a lower-case letter with a simple
// uppercase mapping. Defined for every 32-bit value.
constexpr unsigned int UpperOf(unsigned int cp) {
    if (cp >= kUpperMapLimit)
        return cp;
    unsigned int const block = kUpperBlockIndex[cp >> kCaseBlockShift];
    return cp + static_cast<unsigned int>(
                    kUpperDeltas[(block << kCaseBlockShift) | (cp & kCaseBlockMask)]);
}

} // namespace utf8_private::detail

#pragma GCC visibility pop
