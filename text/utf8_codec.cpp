// UTF-8 codec primitives: the sequence-length table, the light and strict validators, decoding
// and encoding of single code points, and UTF-16 to UTF-8 appending.
#include "text/internal/utf8.h"

#include <cstring>

using utf8_private::detail::IsCont;
using utf8_private::detail::SeqLen;

// Length of the sequence a lead byte starts. Continuation bytes met as lead bytes count as
// one-byte sequences; FE and FF too. 5- and 6-byte leads keep their historical lengths so that
// stepping over raw content stays in step with the bytes.
// clang-format off
unsigned char const CUtf8String::s_sequenceLen[256] = {
    0, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1,  1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, // 00
    1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1,  1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, // 20
    1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1,  1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, // 40
    1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1,  1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, // 60
    1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1,  1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, // 80
    1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1,  1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, // A0
    2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2,  2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, // C0
    3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3,  4, 4, 4, 4, 4, 4, 4, 4, 5, 5, 5, 5, 6, 6, 1, 1, // E0
};
// clang-format on

namespace utf8_private {

bool IsValidCodePoint(char const* p, unsigned long& len) {
    len = 0;
    if (p == nullptr)
        return false;
    auto const* u = reinterpret_cast<unsigned char const*>(p);
    unsigned char const lead = u[0];
    if (!((lead >= 0x01 && lead <= 0x7F) || (lead >= 0xC2 && lead <= 0xF4)))
        return false;
    unsigned const n = SeqLen(lead);
    // A NUL fails the continuation test, so nothing past a terminator is read.
    for (unsigned i = 1; i < n; ++i)
        if (!IsCont(u[i]))
            return false;
    len = n;
    return true;
}

bool IsValidString(char const* s) {
    std::size_t len;
    return s == nullptr || detail::ScanValidString(s, len);
}

unsigned long GetValidSize(char const* s, unsigned long n) {
    if (s == nullptr)
        return 0;
    auto const* u = reinterpret_cast<unsigned char const*>(s);
    unsigned long pos = 0;
    while (pos < n) {
        unsigned char const lead = u[pos];
        if (lead < 0x80) {
            if (lead == 0)
                break;
            ++pos;
            continue;
        }
        if (lead < 0xC2 || lead > 0xF4)
            break;
        unsigned const len = SeqLen(lead);
        // A sequence that would end beyond `n` is not counted; test that before reading its
        // continuation bytes so that a caller's `n` also bounds what is read.
        if (len > n - pos)
            break;
        unsigned i = 1;
        while (i < len && IsCont(u[pos + i]))
            ++i;
        if (i < len)
            break;
        pos += len;
    }
    return pos;
}

unsigned int GetCodePoint(char const* p, unsigned long len) {
    if (p == nullptr)
        return 0;
    auto const* u = reinterpret_cast<unsigned char const*>(p);
    switch (len) {
    case 0:
    case 1:
        return static_cast<unsigned int>(static_cast<int>(static_cast<signed char>(u[0])));
    case 2:
        return ((u[0] & 0x1Fu) << 6) | (u[1] & 0x3Fu);
    case 3:
        return ((u[0] & 0x0Fu) << 12) | ((u[1] & 0x3Fu) << 6) | (u[2] & 0x3Fu);
    case 4:
        return ((u[0] & 0x07u) << 18) | ((u[1] & 0x3Fu) << 12) | ((u[2] & 0x3Fu) << 6) |
               (u[3] & 0x3Fu);
    default:
        return 0;
    }
}

void SetCodePoint(std::string& out, unsigned int cp) {
    unsigned char buf[4];
    unsigned const n = detail::EncodeTo(buf, cp);
    out.append(reinterpret_cast<char const*>(buf), n);
}

char16_t _wchar(char const* p) {
    if (p == nullptr || *p == 0)
        return 0;
    auto const* u = reinterpret_cast<unsigned char const*>(p);
    unsigned const len = SeqLen(u[0]);
    if (len > 3)
        return u'?';
    // Bytes after a NUL inside the sequence are not read; they count as 0.
    unsigned char b[3] = {u[0], 0, 0};
    for (unsigned i = 1; i < len && u[i - 1] != 0; ++i)
        b[i] = u[i];
    return static_cast<char16_t>(detail::DecodeBounded(b, len, b + 3));
}

void _AppendUtf16(char16_t const* s, std::string& out) {
    if (s == nullptr)
        return;
    std::size_t n = 0;
    while (s[n] != 0)
        ++n;
    out.reserve(out.size() + n);
    unsigned char buf[4];
    for (std::size_t i = 0; i < n; ++i) {
        unsigned int cp = s[i];
        if (cp >= 0xD800 && cp <= 0xDBFF) {
            // A high surrogate takes whatever unit follows it, unchecked, with the 32-bit
            // arithmetic wrapping as it may. One right before the terminator is dropped.
            if (i + 1 == n)
                break;
            unsigned int const low = s[++i];
            cp = (((cp << 10) & 0xFFC00u) | (low - 0xDC00u)) + 0x10000u;
        }
        out.append(reinterpret_cast<char const*>(buf), detail::EncodeTo(buf, cp));
    }
}

} // namespace utf8_private

unsigned long CUtf8String::utf8_check(unsigned char* s) {
    if (s == nullptr)
        return 0;
    unsigned char const* p = s;
    // Every continuation test fails on NUL, so a test on byte i happens only after bytes
    // 1..i-1 proved non-NUL: nothing past the terminator is read.
    for (;;) {
        unsigned char const b = p[0];
        if (b < 0x80) {
            if (b == 0)
                break;
            p += 1;
        } else if ((b & 0xE0) == 0xC0) {
            if (b < 0xC2 || !IsCont(p[1]))
                break;
            p += 2;
        } else if ((b & 0xF0) == 0xE0) {
            if (!IsCont(p[1]) || (b == 0xE0 && p[1] < 0xA0) || (b == 0xED && p[1] >= 0xA0) ||
                !IsCont(p[2]))
                break;
            p += 3;
        } else if ((b & 0xF8) == 0xF0) {
            if (b > 0xF4 || !IsCont(p[1]) || (b == 0xF0 && p[1] < 0x90) ||
                (b == 0xF4 && p[1] > 0x8F) || !IsCont(p[2]) || !IsCont(p[3]))
                break;
            p += 4;
        } else {
            break;
        }
    }
    return static_cast<unsigned long>(p - s);
}
