// UTF-8 to UTF-16 conversion of CUtf8String.
//
// Only the strictly valid prefix of the input is converted (the rule of utf8_check: no overlong
// forms, no encoded surrogates, nothing above U+10FFFF); the rest is dropped. Validation and
// conversion happen in one pass: the output is sized for the worst case (one unit per input
// byte), filled, and cut to what was produced.
#include "text/internal/utf8.h"

#include <emmintrin.h>

#include <cstring>
#include <memory>

using utf8_private::detail::IsCont;

namespace {

// Converts the strictly valid prefix of [p, end) into `out`, which has room for end - p units.
// The byte at `end` must be a NUL (the input's terminator): the continuation tests then stop
// on it, so nothing past it is read. Returns one past the last unit written.
//
// Text tends to come in runs of one kind (a word of Greek, a phrase of CJK), so each kind has
// its own inner loop: the branch that picks the kind is taken once per run, not per character.
char16_t* ConvertStrict(const unsigned char* p, const unsigned char* end, char16_t* out) {
    __m128i const zero = _mm_setzero_si128();
    while (p < end) {
        unsigned b = p[0];
        if (b < 0x80) {
            // ASCII: sixteen bytes at a time, then byte by byte to the end of the run.
            while (end - p >= 16) {
                __m128i const v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
                if (_mm_movemask_epi8(v) != 0)
                    break;
                _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_unpacklo_epi8(v, zero));
                _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 8), _mm_unpackhi_epi8(v, zero));
                p += 16;
                out += 16;
            }
            while (p < end && *p < 0x80)
                *out++ = *p++;
        } else if ((b & 0xE0) == 0xC0) {
            do {
                if (b < 0xC2 || !IsCont(p[1]))
                    return out;
                *out++ = static_cast<char16_t>(((b & 0x1Fu) << 6) | (p[1] & 0x3Fu));
                p += 2;
                b = p[0];
            } while ((b & 0xE0) == 0xC0);
        } else if ((b & 0xF0) == 0xE0) {
            do {
                unsigned const b1 = p[1];
                if (!IsCont(b1) || (b == 0xE0 && b1 < 0xA0) || (b == 0xED && b1 >= 0xA0) ||
                    !IsCont(p[2]))
                    return out;
                *out++ = static_cast<char16_t>(((b & 0x0Fu) << 12) | ((b1 & 0x3Fu) << 6) |
                                               (p[2] & 0x3Fu));
                p += 3;
                b = p[0];
            } while ((b & 0xF0) == 0xE0);
        } else if ((b & 0xF8) == 0xF0) {
            do {
                unsigned const b1 = p[1];
                if (b > 0xF4 || !IsCont(b1) || (b == 0xF0 && b1 < 0x90) ||
                    (b == 0xF4 && b1 > 0x8F) || !IsCont(p[2]) || !IsCont(p[3]))
                    return out;
                unsigned const cp = ((b & 0x07u) << 18) | ((b1 & 0x3Fu) << 12) |
                                    ((p[2] & 0x3Fu) << 6) | (p[3] & 0x3Fu);
                out[0] = static_cast<char16_t>(0xD800 + ((cp - 0x10000) >> 10));
                out[1] = static_cast<char16_t>(0xDC00 + (cp & 0x3FF));
                out += 2;
                p += 4;
                b = p[0];
            } while ((b & 0xF8) == 0xF0);
        } else {
            break;
        }
    }
    return out;
}

} // namespace

std::u16string CUtf8String::ToWide(char const* s) {
    if (s == nullptr || *s == 0)
        return std::u16string();
    std::size_t const n = std::strlen(s);
    auto const* p = reinterpret_cast<const unsigned char*>(s);
    // Converted into scratch space (four input bytes make at most two units, so n units always
    // suffice), then copied once into a result of exactly the converted size: no zero-filling
    // of the worst case and no second allocation to shrink it. The scratch space is kept per
    // thread up to a bound, so that small and medium texts never touch fresh pages.
    constexpr std::size_t kKeptScratchUnits = 1 << 20;
    static thread_local std::unique_ptr<char16_t[]> kept;
    static thread_local std::size_t keptUnits = 0;
    std::unique_ptr<char16_t[]> once;
    char16_t* out;
    if (n <= keptUnits) {
        out = kept.get();
    } else if (n <= kKeptScratchUnits) {
        kept.reset(new char16_t[n]);
        keptUnits = n;
        out = kept.get();
    } else {
        once.reset(new char16_t[n]);
        out = once.get();
    }
    return std::u16string(out, ConvertStrict(p, p + n, out));
}

std::u16string CUtf8String::ToWide() const {
    return ToWide(m_str.c_str());
}
