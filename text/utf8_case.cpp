// Unicode case conversion of CUtf8String and the case-insensitive comparison.
//
// The rule is simple: walk the text by the sequence-length table, decode each sequence, map the
// code point through the case table and re-encode it; stop at a NUL lead byte. Raw content can
// make the byte length change (U+0131 becomes 'I', stray continuation bytes vanish, 5- and 6-byte
// leads decode to NUL). The fast routes below produce exactly those bytes: ASCII runs are
// converted sixteen bytes at a time in place, sequences whose mapped form has the same length are
// rewritten in place, and only from the first length change on is the rest rebuilt.
#include "text/internal/case_map.h"
#include "text/internal/utf8.h"

#include <emmintrin.h>

#include <array>
#include <cstdint>
#include <cstring>

using utf8_private::detail::DecodeBounded;
using utf8_private::detail::EncodedLen;
using utf8_private::detail::EncodeTo;
using utf8_private::detail::SeqLen;

namespace {

enum class Case { Lower, Upper };

template <Case C> constexpr unsigned int MapCodePoint(unsigned int cp) {
    return C == Case::Lower ? utf8_private::detail::LowerOf(cp) : utf8_private::detail::UpperOf(cp);
}

// For every two-byte code point (0x80 to 0x7FF): the two bytes of its mapped form, first byte
// in the low half, or 0 when the mapped form is not two bytes long. One load instead of the
// decode, two-stage lookup and encode, for the sequences that dominate Latin, Greek and Cyrillic
// text.
template <Case C> constexpr std::array<std::uint16_t, 0x800> BuildTwoByteTable() {
    std::array<std::uint16_t, 0x800> table{};
    for (unsigned cp = 0x80; cp < 0x800; ++cp) {
        unsigned const mapped = MapCodePoint<C>(cp);
        if (mapped >= 0x80 && mapped < 0x800)
            table[cp] = static_cast<std::uint16_t>((0xC0 | (mapped >> 6)) |
                                                   ((0x80 | (mapped & 0x3F)) << 8));
    }
    return table;
}

template <Case C> struct TwoByteTable {
    static constexpr std::array<std::uint16_t, 0x800> value = BuildTwoByteTable<C>();
};

// ASCII letters map within ASCII in both tables (A-Z <-> a-z and nothing else).
template <Case C> inline unsigned char MapAscii(unsigned char b) {
    unsigned char const first = C == Case::Lower ? 'A' : 'a';
    return static_cast<unsigned char>(static_cast<unsigned>(b - first) < 26u ? b ^ 0x20 : b);
}

// Case-maps 16 ASCII bytes; `v` must hold only 01..7F.
template <Case C> inline __m128i MapAscii16(__m128i v) {
    char const first = C == Case::Lower ? 'A' : 'a';
    // Shift the letter range to the bottom of the signed range, then one signed compare.
    __m128i const shifted = _mm_add_epi8(v, _mm_set1_epi8(static_cast<char>(0x80 - first)));
    __m128i const isLetter = _mm_cmplt_epi8(shifted, _mm_set1_epi8(static_cast<char>(-128 + 26)));
    return _mm_xor_si128(v, _mm_and_si128(isLetter, _mm_set1_epi8(0x20)));
}

inline bool AllAscii16(__m128i v) {
    return _mm_movemask_epi8(_mm_cmpgt_epi8(v, _mm_setzero_si128())) == 0xFFFF;
}

// Converts the ASCII run at `p` in place; returns the first byte that is not 01..7F.
template <Case C> unsigned char* MapAsciiRun(unsigned char* p, unsigned char* end) {
    while (end - p >= 16) {
        __m128i const v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        if (!AllAscii16(v))
            break;
        _mm_storeu_si128(reinterpret_cast<__m128i*>(p), MapAscii16<C>(v));
        p += 16;
    }
    for (; p < end && static_cast<unsigned>(*p - 1u) < 0x7Fu; ++p)
        *p = MapAscii<C>(*p);
    return p;
}

// Rebuilds the text from byte `from` on by the plain rule.
template <Case C> void ConvertRest(std::string& str, std::size_t from) {
    auto const* p = reinterpret_cast<const unsigned char*>(str.data()) + from;
    auto const* const end = reinterpret_cast<const unsigned char*>(str.data()) + str.size();
    std::string out;
    out.reserve(str.size());
    out.append(str.data(), from);
    unsigned char buf[4];
    while (p < end) {
        unsigned const len = SeqLen(*p);
        if (len == 0)
            break;
        unsigned int const cp = MapCodePoint<C>(DecodeBounded(p, len, end));
        out.append(reinterpret_cast<const char*>(buf), EncodeTo(buf, cp));
        p += len < static_cast<std::size_t>(end - p) ? len : static_cast<std::size_t>(end - p);
    }
    str.swap(out);
}

// Rewrites the sequence of `len` bytes at `p` in place when its mapped form has the same
// length; returns false (touching nothing) when the length would change.
template <Case C> inline bool MapSequenceInPlace(unsigned char* p, unsigned len) {
    unsigned int cp;
    switch (len) {
    case 2: {
        std::uint16_t const bytes = TwoByteTable<C>::value[((p[0] & 0x1Fu) << 6) | (p[1] & 0x3Fu)];
        if (bytes == 0)
            return false;
        p[0] = static_cast<unsigned char>(bytes);
        p[1] = static_cast<unsigned char>(bytes >> 8);
        return true;
    }
    case 3:
        cp = MapCodePoint<C>(((p[0] & 0x0Fu) << 12) | ((p[1] & 0x3Fu) << 6) | (p[2] & 0x3Fu));
        if (cp - 0x800u >= 0xF800u)
            return false;
        break;
    case 4:
        cp = MapCodePoint<C>(((p[0] & 0x07u) << 18) | ((p[1] & 0x3Fu) << 12) |
                             ((p[2] & 0x3Fu) << 6) | (p[3] & 0x3Fu));
        if (cp - 0x10000u >= 0x100000u)
            return false;
        break;
    default:
        return false;
    }
    EncodeTo(p, cp);
    return true;
}

// Maps the eight bytes of `w` when all of them are 01..7F and returns true; false (nothing
// done) otherwise.
template <Case C> inline bool MapAscii8(std::uint64_t& w) {
    constexpr std::uint64_t kOnes = 0x0101010101010101ull;
    constexpr std::uint64_t kHigh = 0x8080808080808080ull;
    if ((((w - kOnes) | w) & kHigh) != 0) // a NUL or a byte of 0x80 and above
        return false;
    unsigned const first = C == Case::Lower ? 'A' : 'a';
    // High bit of each byte: at least `first`, and above `first + 25`.
    std::uint64_t const atLeast = w + kOnes * (0x80 - first);
    std::uint64_t const beyond = w + kOnes * (0x80 - first - 26);
    w ^= ((atLeast & ~beyond) & kHigh) >> 2;
    return true;
}

template <Case C> void ConvertCase(std::string& str) {
    if (str.empty())
        return;
    auto* const begin = reinterpret_cast<unsigned char*>(&str[0]);
    auto* const end = begin + str.size();
    unsigned char* p = begin;
    // One character per round. Mixed text switches between ASCII and multi-byte characters
    // all the time, so both are handled in the same loop; eight or sixteen ASCII bytes in a
    // row are mapped at once.
    while (p < end) {
        unsigned const b = *p;
        if (b < 0x80) {
            if (end - p >= 16) {
                __m128i const v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
                if (AllAscii16(v)) {
                    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), MapAscii16<C>(v));
                    p += 16;
                    continue;
                }
            }
            if (end - p >= 8) {
                std::uint64_t w;
                std::memcpy(&w, p, 8);
                if (MapAscii8<C>(w)) {
                    std::memcpy(p, &w, 8);
                    p += 8;
                    continue;
                }
            }
            if (b == 0) { // a NUL lead byte ends the text
                str.resize(static_cast<std::size_t>(p - begin));
                return;
            }
            *p++ = MapAscii<C>(static_cast<unsigned char>(b));
            continue;
        }
        unsigned const len = SeqLen(static_cast<unsigned char>(b));
        if (len == 2 && end - p >= 2) { // the most frequent case first
            std::uint16_t const bytes = TwoByteTable<C>::value[((b & 0x1Fu) << 6) | (p[1] & 0x3Fu)];
            if (bytes != 0) {
                p[0] = static_cast<unsigned char>(bytes);
                p[1] = static_cast<unsigned char>(bytes >> 8);
                p += 2;
                continue;
            }
        } else if (len <= static_cast<std::size_t>(end - p) && MapSequenceInPlace<C>(p, len)) {
            p += len;
            continue;
        }
        ConvertRest<C>(str, static_cast<std::size_t>(p - begin));
        return;
    }
}

// The bytes of a text as MakeLower would write them, one at a time, without building the
// lowered text. The end of the text (and a NUL lead byte) reads as 0, like a terminator.
class LoweredBytes {
public:
    // `replace`: the text failed validation, so every byte of 0x80 and above reads as '?'.
    LoweredBytes(const unsigned char* p, const unsigned char* end, bool replace)
        : m_p(p), m_end(end), m_replace(replace) {}

    unsigned Next() {
        if (m_next < m_count)
            return m_pending[m_next++];
        for (;;) {
            if (m_p >= m_end)
                return 0;
            unsigned char const b = *m_p;
            if (b < 0x80 || m_replace) {
                ++m_p;
                if (b == 0)
                    m_p = m_end;
                return b >= 0x80 ? '?' : MapAscii<Case::Lower>(b);
            }
            unsigned const len = SeqLen(b);
            unsigned int const cp = MapCodePoint<Case::Lower>(DecodeBounded(m_p, len, m_end));
            std::size_t const left = static_cast<std::size_t>(m_end - m_p);
            m_p += len < left ? len : left;
            m_count = EncodeTo(m_pending, cp);
            if (m_count != 0) {
                m_next = 1;
                return m_pending[0];
            }
        }
    }

private:
    const unsigned char* m_p;
    const unsigned char* m_end;
    bool m_replace;
    unsigned char m_pending[4] = {};
    unsigned m_count = 0;
    unsigned m_next = 0;
};

inline __m128i Load16(const unsigned char* p) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}

// Carries the sanitizer exclusion of its caller below, where it may read past a terminator.
__attribute__((no_sanitize("address", "thread"))) inline __m128i
LoadAligned16(const unsigned char* p) {
    return _mm_load_si128(reinterpret_cast<const __m128i*>(p));
}

// `v` moved down by `n` bytes (0 to 15), zeros moving in at the top. SSE2 moves whole registers
// by constant byte counts only, so the 64-bit halves are shifted by bit counts: a count of 64 or
// more (a negative one reads as huge) clears the half.
inline __m128i ShiftDownBytes(__m128i v, unsigned n) {
    int const bits = 8 * static_cast<int>(n);
    __m128i const high = _mm_srli_si128(v, 8);
    return _mm_or_si128(_mm_or_si128(_mm_srl_epi64(v, _mm_cvtsi32_si128(bits)),
                                     _mm_sll_epi64(high, _mm_cvtsi32_si128(64 - bits))),
                        _mm_srl_epi64(high, _mm_cvtsi32_si128(bits - 64)));
}

// Bit i set when byte i of `va` is 01..7F and byte i of `vb` is the same letter in either case or
// the same byte. Lowering leaves bytes of 0x80 and above alone, so a set bit also means that
// byte i of `vb` is 01..7F.
inline unsigned SameLowerAscii16(__m128i va, __m128i vb) {
    __m128i const same =
        _mm_and_si128(_mm_cmpgt_epi8(va, _mm_setzero_si128()),
                      _mm_cmpeq_epi8(MapAscii16<Case::Lower>(va), MapAscii16<Case::Lower>(vb)));
    return static_cast<unsigned>(_mm_movemask_epi8(same));
}

// The byte-at-a-time end of CompareAsciiPrefix, from a pair of bytes not yet compared; the end
// of `a` (or a NUL in it) reads as the terminator.
inline bool CompareAsciiBytes(const unsigned char*& a, const unsigned char* aEnd,
                              const unsigned char*& b, int& result) {
    for (;;) {
        unsigned const x = a < aEnd ? *a : 0;
        unsigned const y = *b;
        if (x >= 0x80 || y >= 0x80)
            return false;
        unsigned const lx = MapAscii<Case::Lower>(static_cast<unsigned char>(x));
        unsigned const ly = MapAscii<Case::Lower>(static_cast<unsigned char>(y));
        if (lx != ly || x == 0) {
            result = int(lx) - int(ly);
            return true;
        }
        ++a;
        ++b;
    }
}

// Where a block comparison found the first pair that differs (or is not plain ASCII), `i`
// bytes on: that pair decides.
inline bool CompareFrom(const unsigned char*& a, const unsigned char* aEnd, const unsigned char*& b,
                        unsigned i, int& result) {
    a += i;
    b += i;
    return CompareAsciiBytes(a, aEnd, b, result);
}

// The case-insensitive comparison while both sides read ASCII, which is where most comparisons
// are decided. ASCII bytes read the same whether or not the argument `b` turns out to be valid
// (only bytes of 0x80 and above are replaced), so its validity matters only once a non-ASCII
// byte shows up. `a` is a position in the own text, [a, aEnd] readable (aEnd holds its
// terminator).
//
// The length of `b` is not measured first: that alone would cost about as much as the whole
// comparison of short texts. Instead both sides are read sixteen bytes at a time, and a unit
// decides where its first pair of bytes differs or is not plain ASCII. Bytes past either
// terminator decide nothing: the terminator of `a` never counts as matching, and that of `b`
// differs from any byte of `a` but a NUL, so the first deciding pair comes at or before both.
// The sanitizers cannot know this, hence their exclusion from the functions that load.
//
// While the units match, both sides move on by amounts known from the addresses alone, never by
// a count taken from the compared bytes, so that the processor need not wait for one comparison
// before it reads on; and the matching path runs straight through (the partings are marked
// unlikely, which measurably shortens it).
//
// CompareAsciiInUnits reads only units that hold a byte of the text: `b` in aligned units, each
// holding a byte of it (the first one holds its start, and a further one is read only when all of
// the one before matched bytes of `a`, so held no terminator), and `a` at the same place within
// its known bounds. An aligned unit stays in one page, so the bytes it holds outside `b` cannot
// fault; those in front of it are moved out. valgrind's memcheck accepts such loads (an aligned
// load of which some bytes are addressable), so it is the variant used under valgrind. Returns
// true with the result when the comparison is decided; otherwise `a` and `b` are left at the
// first pair of bytes that needs the general walk.
__attribute__((no_sanitize("address", "thread"))) bool
CompareAsciiInUnits(const unsigned char*& a, const unsigned char* aEnd, const unsigned char*& b,
                    int& result) {
    // The loads of `b` stay in this function, which the sanitizers leave alone.
    auto const* const aBegin = a;
    unsigned const head = reinterpret_cast<std::uintptr_t>(b) & 15;
    if (head != 0 && aEnd - a >= 16) {
        // The part of b's first unit from b on, moved down to line up with `a`.
        unsigned const same =
            SameLowerAscii16(Load16(a), ShiftDownBytes(LoadAligned16(b - head), head));
        unsigned const take = 16 - head;
        if (__builtin_expect((~same & ((1u << take) - 1)) != 0, 0))
            return CompareFrom(a, aEnd, b, static_cast<unsigned>(__builtin_ctz(~same)), result);
        a += take;
        b += take;
    }
    if ((reinterpret_cast<std::uintptr_t>(b) & 15) == 0) {
        // Two units a round: each is read only once the one before it matched.
        for (; aEnd - a >= 32; a += 32, b += 32) {
            unsigned const same = SameLowerAscii16(Load16(a), LoadAligned16(b));
            if (__builtin_expect(same != 0xFFFF, 0))
                return CompareFrom(a, aEnd, b, static_cast<unsigned>(__builtin_ctz(~same)), result);
            unsigned const next = SameLowerAscii16(Load16(a + 16), LoadAligned16(b + 16));
            if (__builtin_expect(next != 0xFFFF, 0))
                return CompareFrom(a, aEnd, b, 16 + static_cast<unsigned>(__builtin_ctz(~next)),
                                   result);
        }
        if (aEnd - a >= 16) {
            unsigned const same = SameLowerAscii16(Load16(a), LoadAligned16(b));
            if (__builtin_expect(same != 0xFFFF, 0))
                return CompareFrom(a, aEnd, b, static_cast<unsigned>(__builtin_ctz(~same)), result);
            a += 16;
            b += 16;
        }
        // The rest of `a`, read as the sixteen bytes ending at its terminator and moved down.
        unsigned const left = static_cast<unsigned>(aEnd - a);
        if (left > 0 && aEnd - aBegin >= 15) {
            unsigned const same =
                SameLowerAscii16(ShiftDownBytes(Load16(aEnd - 15), 15 - left), LoadAligned16(b));
            if (__builtin_expect((~same & ((1u << left) - 1)) != 0, 0))
                return CompareFrom(a, aEnd, b, static_cast<unsigned>(__builtin_ctz(~same)), result);
            a += left;
            b += left;
        }
    }
    return CompareAsciiBytes(a, aEnd, b, result);
}

// The general walk, from the first pair that is not plain ASCII on both sides. Kept out of line
// so that the ASCII comparison needs no saved registers. Everything before `b` was ASCII, so the
// argument is valid exactly when its rest is.
[[gnu::noinline]] int CompareLoweredRest(const unsigned char* a, const unsigned char* aEnd,
                                         const unsigned char* b) {
    auto const* const bEnd = b + std::strlen(reinterpret_cast<const char*>(b));
    std::size_t restLen;
    bool const valid = b == bEnd || utf8_private::detail::ScanValidString(
                                        reinterpret_cast<const char*>(b), restLen);
    LoweredBytes x(a, aEnd, false);
    LoweredBytes y(b, bEnd, !valid);
    for (;;) {
        unsigned const cx = x.Next();
        unsigned const cy = y.Next();
        if (cx != cy)
            return int(cx) - int(cy);
        if (cx == 0)
            return 0;
    }
}

// The whole comparison from `a` and `b` on, reading in units that hold a byte of the text.
[[gnu::noinline]] int CompareInUnits(const unsigned char* a, const unsigned char* aEnd,
                                     const unsigned char* b) {
    int result;
    if (CompareAsciiInUnits(a, aEnd, b, result))
        return result;
    return CompareLoweredRest(a, aEnd, b);
}

// Whether the `n` bytes from `p` lie in one page, so that reading them cannot fault whatever they
// hold. Pages are 4 KiB or a multiple of it.
inline bool InOnePage(const unsigned char* p, std::uintptr_t n) {
    return (reinterpret_cast<std::uintptr_t>(p) & 4095) <= 4096 - n;
}

// The same for `a` and `b` each.
inline bool BothInOnePage(const unsigned char* a, const unsigned char* b, std::uintptr_t n) {
    std::uintptr_t const inPageA = reinterpret_cast<std::uintptr_t>(a) & 4095;
    std::uintptr_t const inPageB = reinterpret_cast<std::uintptr_t>(b) & 4095;
    return (inPageA > inPageB ? inPageA : inPageB) <= 4096 - n;
}

// Carries the sanitizer exclusion of its caller below, where it may read past a terminator.
__attribute__((no_sanitize("address", "thread"))) inline __m128i
LoadAhead16(const unsigned char* p) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}

// The whole comparison from the pair of bytes `i` on, which a unit found to differ or not to be
// plain ASCII: byte by byte while both sides read ASCII, then the general walk.
inline int CompareOnFrom(const unsigned char* a, const unsigned char* aEnd, const unsigned char* b,
                         unsigned i) {
    int result;
    if (CompareFrom(a, aEnd, b, i, result))
        return result;
    return CompareLoweredRest(a, aEnd, b);
}

// The whole comparison, reading ahead: both sides sixteen bytes at a time from where they stand,
// at any alignment, while no unit reaches into the next page; no unit needs moving, and a text of
// up to fifteen bytes takes a single unit. At a page's edge the rest goes to CompareInUnits.
__attribute__((no_sanitize("address", "thread"))) inline int
CompareReadingAhead(const unsigned char* a, const unsigned char* aEnd, const unsigned char* b) {
    // Two units a round while `a` has that many bytes left, so that only `b` can reach past its
    // page.
    for (; aEnd - a >= 32; a += 32, b += 32) {
        if (__builtin_expect(!InOnePage(b, 32), 0))
            return CompareInUnits(a, aEnd, b);
        unsigned const same = SameLowerAscii16(LoadAhead16(a), LoadAhead16(b));
        if (__builtin_expect(same != 0xFFFF, 0))
            return CompareOnFrom(a, aEnd, b, static_cast<unsigned>(__builtin_ctz(~same)));
        unsigned const next = SameLowerAscii16(LoadAhead16(a + 16), LoadAhead16(b + 16));
        if (__builtin_expect(next != 0xFFFF, 0))
            return CompareOnFrom(a, aEnd, b, 16 + static_cast<unsigned>(__builtin_ctz(~next)));
    }
    // A unit that matches whole holds no terminator of `a`, so `a` stays within its text.
    for (; a != aEnd; a += 16, b += 16) {
        if (__builtin_expect(!BothInOnePage(a, b, 16), 0))
            return CompareInUnits(a, aEnd, b);
        unsigned const same = SameLowerAscii16(LoadAhead16(a), LoadAhead16(b));
        if (__builtin_expect(same != 0xFFFF, 0))
            return CompareOnFrom(a, aEnd, b, static_cast<unsigned>(__builtin_ctz(~same)));
    }
    return CompareOnFrom(a, aEnd, b, 0);
}

} // namespace

CUtf8String& CUtf8String::MakeLower() {
    ConvertCase<Case::Lower>(m_str);
    return *this;
}

CUtf8String& CUtf8String::MakeUpper() {
    ConvertCase<Case::Upper>(m_str);
    return *this;
}

int CUtf8String::CompareNoCase(char const* s) const {
    if (s == nullptr)
        s = "";
    auto const* const a = reinterpret_cast<const unsigned char*>(m_str.data());
    auto const* const aEnd = a + m_str.size();
    auto const* const b = reinterpret_cast<const unsigned char*>(s);
    if (__builtin_expect(!utf8_private::detail::ReadAheadAllowed(), 0))
        return CompareInUnits(a, aEnd, b);
    return CompareReadingAhead(a, aEnd, b);
}
