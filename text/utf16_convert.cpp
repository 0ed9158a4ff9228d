// UTF-8 to UTF-16 conversion of CUtf8String.
//
// Only the strictly valid prefix of the input is converted (the rule of utf8_check: no overlong
// forms, no encoded surrogates, nothing above U+10FFFF); the rest is dropped. Validation and
// conversion happen in one pass: the output is sized for the worst case (one unit per input
// byte), filled, and cut to what was produced.
#include "text/internal/utf16_convert.h"

#include <immintrin.h>

#include <atomic>
#include <cstring>
#include <memory>

using utf8_private::detail::IsCont;

namespace utf8_private {
namespace detail {
namespace {

// Converts the one sequence at `p` if it is strictly valid, advancing `p` and `out`; false
// (nothing changed) otherwise. A NUL is no continuation byte, so nothing past the terminator
// is read.
inline bool ConvertOne(const unsigned char*& p, char16_t*& out) {
    unsigned const b = p[0];
    if (b < 0x80) {
        *out++ = static_cast<char16_t>(b);
        p += 1;
        return true;
    }
    if ((b & 0xE0) == 0xC0) {
        if (b < 0xC2 || !IsCont(p[1]))
            return false;
        *out++ = static_cast<char16_t>(((b & 0x1Fu) << 6) | (p[1] & 0x3Fu));
        p += 2;
        return true;
    }
    unsigned const b1 = p[1];
    if ((b & 0xF0) == 0xE0) {
        if (!IsCont(b1) || (b == 0xE0 && b1 < 0xA0) || (b == 0xED && b1 >= 0xA0) || !IsCont(p[2]))
            return false;
        *out++ = static_cast<char16_t>(((b & 0x0Fu) << 12) | ((b1 & 0x3Fu) << 6) | (p[2] & 0x3Fu));
        p += 3;
        return true;
    }
    if (b > 0xF4 || (b & 0xF8) != 0xF0 || !IsCont(b1) || (b == 0xF0 && b1 < 0x90) ||
        (b == 0xF4 && b1 > 0x8F) || !IsCont(p[2]) || !IsCont(p[3]))
        return false;
    unsigned const cp =
        ((b & 0x07u) << 18) | ((b1 & 0x3Fu) << 12) | ((p[2] & 0x3Fu) << 6) | (p[3] & 0x3Fu);
    out[0] = static_cast<char16_t>(0xD800 + ((cp - 0x10000) >> 10));
    out[1] = static_cast<char16_t>(0xDC00 + (cp & 0x3FF));
    out += 2;
    p += 4;
    return true;
}

// Sequence by sequence, with ASCII sixteen bytes at a time: the reference the block kernel must
// agree with, the kernel of CPUs without AVX2, and the end of every conversion.
char16_t* ConvertScalar(const unsigned char* p, const unsigned char* end, char16_t* out) {
    __m128i const zero = _mm_setzero_si128();
    while (p < end) {
        while (end - p >= 16) {
            __m128i const v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
            if (_mm_movemask_epi8(v) != 0)
                break;
            _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_unpacklo_epi8(v, zero));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 8), _mm_unpackhi_epi8(v, zero));
            p += 16;
            out += 16;
        }
        if (p < end && !ConvertOne(p, out))
            break;
    }
    return out;
}

// For each 8-bit mask of kept 16-bit lanes, the byte shuffle that moves those lanes, in order,
// to the front of a register.
struct LaneCompaction {
    alignas(16) unsigned char shuffle[256][16];
};

constexpr LaneCompaction BuildLaneCompaction() {
    LaneCompaction t{};
    for (unsigned mask = 0; mask < 256; ++mask) {
        unsigned k = 0;
        for (unsigned lane = 0; lane < 8; ++lane) {
            if ((mask >> lane) & 1) {
                t.shuffle[mask][k++] = static_cast<unsigned char>(2 * lane);
                t.shuffle[mask][k++] = static_cast<unsigned char>(2 * lane + 1);
            }
        }
        while (k < 16)
            t.shuffle[mask][k++] = 0x80; // zero: the lane is written but not counted
    }
    return t;
}

constexpr LaneCompaction kLaneCompaction = BuildLaneCompaction();

// Bit i of the result is bit k of byte i of `v`: moving the 16-bit lanes up moves each byte's
// bits up within it (the bits entering a lane's high byte from its low one stay below the top).
template <int K> __attribute__((target("avx2"))) inline std::uint32_t BitOfEachByte(__m256i v) {
    return static_cast<std::uint32_t>(_mm256_movemask_epi8(_mm256_slli_epi16(v, 7 - K)));
}

// Sixteen bytes at `q` decoded each as if it started a sequence: a lane holds the value of the
// sequence its byte leads, and `badLanes` has two bits for each lane whose value the strict rule
// refuses. With `lead4` (a four-byte lead is among the bytes, or just before them), a four-byte
// lead's lane holds the high surrogate, and the lanes that `afterLead4` selects the low
// surrogate of the lead before. Reads q[0..17].
struct DecodedLanes {
    __m256i units;
    std::uint32_t badLanes;
};

__attribute__((target("avx2"))) inline DecodedLanes
DecodeSixteen(const unsigned char* q, bool lead4, std::uint32_t afterLead4) {
    __m256i const w0 = _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(q)));
    __m256i const c1 = _mm256_and_si256(
        _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(q + 1))),
        _mm256_set1_epi16(0x3F));
    __m256i const c2 = _mm256_and_si256(
        _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(q + 2))),
        _mm256_set1_epi16(0x3F));
    // The low five bits of the lead moved to bits 6..10, by shifts alone: constants cost
    // registers, of which the loop has too few.
    __m256i const cp2 = _mm256_or_si256(_mm256_srli_epi16(_mm256_slli_epi16(w0, 11), 5), c1);
    // The shift by 12 drops the E of the lead byte by itself.
    __m256i const cp3 =
        _mm256_or_si256(_mm256_or_si256(_mm256_slli_epi16(w0, 12), _mm256_slli_epi16(c1, 6)), c2);
    __m256i const is2 = _mm256_srai_epi16(_mm256_slli_epi16(w0, 8), 15);
    __m256i const is3 = _mm256_cmpgt_epi16(w0, _mm256_set1_epi16(0xDF));
    // Three-byte values below U+0800 are overlong, D800..DFFF are surrogates: the top five
    // bits are 0 or 0x1B.
    __m256i const top = _mm256_srli_epi16(cp3, 11);
    __m256i bad =
        _mm256_and_si256(is3, _mm256_or_si256(_mm256_cmpeq_epi16(top, _mm256_setzero_si256()),
                                              _mm256_cmpeq_epi16(top, _mm256_set1_epi16(0x1B))));
    __m256i units = _mm256_blendv_epi8(_mm256_blendv_epi8(w0, cp2, is2), cp3, is3);
    if (__builtin_expect(lead4, 0)) {
        // The code point's bits above the low ten, from the lead and the next two bytes:
        // 0x40..0x43F for U+10000..U+10FFFF, anything else overlong or too large.
        __m256i const is4 = _mm256_cmpgt_epi16(w0, _mm256_set1_epi16(0xEF));
        __m256i const above10 =
            _mm256_or_si256(_mm256_or_si256(_mm256_srli_epi16(_mm256_slli_epi16(w0, 13), 5),
                                            _mm256_slli_epi16(c1, 2)),
                            _mm256_srli_epi16(c2, 4));
        __m256i const bad4 = _mm256_or_si256(_mm256_cmpgt_epi16(_mm256_set1_epi16(0x40), above10),
                                             _mm256_cmpgt_epi16(above10, _mm256_set1_epi16(0x43F)));
        bad = _mm256_blendv_epi8(bad, bad4, is4);
        __m256i const highUnit = _mm256_add_epi16(above10, _mm256_set1_epi16(0xD7C0));
        // In the lane after a four-byte lead, its third and fourth bytes: the low unit.
        __m256i const lowUnit =
            _mm256_or_si256(_mm256_or_si256(_mm256_srli_epi16(_mm256_slli_epi16(c1, 12), 6), c2),
                            _mm256_set1_epi16(static_cast<short>(0xDC00)));
        // The lanes whose bit is set in `afterLead4`.
        __m256i const laneBits =
            _mm256_setr_epi16(1, 2, 4, 8, 16, 32, 64, 128, 256, 512, 1024, 2048, 4096, 8192, 16384,
                              static_cast<short>(0x8000));
        __m256i const after = _mm256_cmpeq_epi16(
            _mm256_and_si256(_mm256_set1_epi16(static_cast<short>(afterLead4)), laneBits),
            laneBits);
        units = _mm256_blendv_epi8(_mm256_blendv_epi8(units, highUnit, is4), lowUnit, after);
    }
    return {units, static_cast<std::uint32_t>(_mm256_movemask_epi8(bad))};
}

// Stores the lanes of `units` that `keep` selects, in order, at `out`; returns the end. Writes
// sixteen units at most, whatever it keeps.
__attribute__((target("avx2,popcnt"))) inline char16_t* StoreKept(__m256i units, unsigned keep,
                                                                  char16_t* out) {
    unsigned const keepLo = keep & 0xFF;
    unsigned const keepHi = (keep >> 8) & 0xFF;
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out),
                     _mm_shuffle_epi8(_mm256_castsi256_si128(units),
                                      _mm_load_si128(reinterpret_cast<const __m128i*>(
                                          kLaneCompaction.shuffle[keepLo]))));
    out += __builtin_popcount(keepLo);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out),
                     _mm_shuffle_epi8(_mm256_extracti128_si256(units, 1),
                                      _mm_load_si128(reinterpret_cast<const __m128i*>(
                                          kLaneCompaction.shuffle[keepHi]))));
    return out + __builtin_popcount(keepHi);
}

// The block transcoder. Text that switches script every few words mixes sequences of every
// length within a few bytes, so rather than branching per sequence it decodes a window of 32
// bytes at once: every byte is decoded as if it started a sequence (from itself and the next
// two bytes), the lanes of continuation bytes are dropped, and the rest are packed together. A
// four-byte sequence keeps two lanes: its lead's for the high surrogate, and its first
// continuation's for the low one (which the next two bytes give). Validation is done on bit
// masks of the window (one bit per byte) and on the decoded values, exactly by the strict rule.
// Anything invalid and the last bytes of the text go through ConvertOne and ConvertScalar.
__attribute__((target("avx2,popcnt"))) char16_t*
ConvertAvx2(const unsigned char* p, const unsigned char* end, char16_t* out) {
    // The loads reach p[33], which must lie within the text. Each step writes at most 32 units
    // at `out` and consumes at least as many bytes as it keeps units, so the stores stay within
    // the room of one unit per input byte.
    while (end - p >= 34) {
        __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
        std::uint32_t const high = static_cast<std::uint32_t>(_mm256_movemask_epi8(v));
        if (high == 0) {
            // An ASCII run, to its end. Sixteen-byte stores: wider ones would straddle cache
            // lines half the time.
            do {
                __m128i const lo = _mm256_castsi256_si128(v);
                __m128i const hi = _mm256_extracti128_si256(v, 1);
                __m128i const zero = _mm_setzero_si128();
                _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_unpacklo_epi8(lo, zero));
                _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 8), _mm_unpackhi_epi8(lo, zero));
                _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 16), _mm_unpacklo_epi8(hi, zero));
                _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 24), _mm_unpackhi_epi8(hi, zero));
                p += 32;
                out += 32;
                if (end - p < 34)
                    break;
                v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
            } while (_mm256_movemask_epi8(v) == 0);
            continue;
        }
        std::uint32_t const b6 = BitOfEachByte<6>(v), b5 = BitOfEachByte<5>(v);
        std::uint32_t const b4 = BitOfEachByte<4>(v), b3 = BitOfEachByte<3>(v);
        std::uint32_t const cont = high & ~b6;       // 80..BF
        std::uint32_t const lead3 = high & b6 & b5;  // E0..FF
        std::uint32_t const lead4 = lead3 & b4;      // F0..FF
        std::uint32_t const f8up = lead4 & b3;       // F8..FF: never a lead
        std::uint32_t const lead2 = high & b6 & ~b5; // C0..DF
        std::uint32_t const c0c1 =                   // C0, C1: overlong
            lead2 & ~(b4 | b3 | BitOfEachByte<2>(v) | BitOfEachByte<1>(v));
        // The window ends at the first lead from 30 on, whose sequence may reach past it, or at
        // a four-byte lead at 29. Worked out from those three bytes alone rather than from the
        // masks: the next window's start waits for it, and this way it does not wait for them.
        unsigned const cont30 = (p[30] & 0xC0u) == 0x80u;
        unsigned const cont31 = (p[31] & 0xC0u) == 0x80u;
        unsigned const advance = p[29] >= 0xF0 ? 29 : 30 + cont30 + (cont30 & cont31);
        std::uint64_t const taken = (std::uint64_t{1} << advance) - 1;
        // Each lead asks for its continuations; the bytes taken, and the lead just after them,
        // must be continuations exactly where asked.
        std::uint64_t const required = (std::uint64_t{lead2 | lead3} << 1) |
                                       (std::uint64_t{lead3} << 2) | (std::uint64_t{lead4} << 3);
        bool bad = (((required ^ cont) & ((taken << 1) | 1)) | ((c0c1 | f8up) & taken)) != 0;
        std::uint32_t const lead4Taken = static_cast<std::uint32_t>(lead4 & taken);
        std::uint32_t const afterLead4 = lead4Taken << 1;
        DecodedLanes const lo = DecodeSixteen(p, (lead4Taken & 0xFFFF) != 0, afterLead4 & 0xFFFF);
        DecodedLanes const hi = DecodeSixteen(p + 16, (lead4Taken >> 15) != 0, afterLead4 >> 16);
        // Two mask bits per 16-bit lane.
        std::uint64_t const takenLanes =
            advance >= 32 ? ~std::uint64_t{0} : (std::uint64_t{1} << (2 * advance)) - 1;
        bad |= ((lo.badLanes | (std::uint64_t{hi.badLanes} << 32)) & takenLanes) != 0;
        if (bad) {
            // Something in the window breaks the rule: the conversion ends within it.
            const unsigned char* const stop = p + advance;
            while (p < stop)
                if (!ConvertOne(p, out))
                    return out;
            continue;
        }
        std::uint32_t const keep =
            static_cast<std::uint32_t>(((~cont & 0xFFFFFFFFu) | afterLead4) & taken);
        out = StoreKept(lo.units, keep & 0xFFFF, out);
        out = StoreKept(hi.units, keep >> 16, out);
        p += advance;
    }
    return ConvertScalar(p, end, out);
}

using ConvertFn = char16_t* (*)(const unsigned char*, const unsigned char*, char16_t*);

bool HasAvx2() {
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("popcnt");
}

ConvertFn BestConvert() {
    return HasAvx2() ? ConvertAvx2 : ConvertScalar;
}

// Chosen on first use; relaxed, since every thread that races to choose stores the same kernel.
std::atomic<ConvertFn> g_convert{nullptr};

} // namespace

char16_t* ConvertStrictToUtf16(const unsigned char* p, const unsigned char* end, char16_t* out) {
    ConvertFn convert = g_convert.load(std::memory_order_relaxed);
    if (convert == nullptr) {
        convert = BestConvert();
        g_convert.store(convert, std::memory_order_relaxed);
    }
    return convert(p, end, out);
}

bool ForceUtf16Kernel(ScanKernel kernel) {
    switch (kernel) {
    case ScanKernel::Best:
        g_convert.store(BestConvert(), std::memory_order_relaxed);
        return true;
    case ScanKernel::Avx2:
        if (!HasAvx2())
            return false;
        g_convert.store(ConvertAvx2, std::memory_order_relaxed);
        return true;
    case ScanKernel::Sse2:
    case ScanKernel::Scalar:
        g_convert.store(ConvertScalar, std::memory_order_relaxed);
        return true;
    }
    return false;
}

} // namespace detail
} // namespace utf8_private

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
    return std::u16string(out, utf8_private::detail::ConvertStrictToUtf16(p, p + n, out));
}

std::u16string CUtf8String::ToWide() const {
    return ToWide(m_str.c_str());
}
