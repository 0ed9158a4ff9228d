// Block-wise validation of NUL-terminated UTF-8 by the light rule, and ASCII skipping.
//
// The light rule accepts exactly the byte strings made of
//   01..7F  |  C2..DF c  |  E0..EF c c  |  F0..F4 c c c      (c = 80..BF)
// up to the NUL. Rather than stepping sequence by sequence, each 64-byte block is turned into
// bit masks (one bit per byte): which bytes are continuations, which are leads of length >= 2,
// >= 3 and 4, which can never appear (C0, C1, F5..FF). A byte must be a continuation exactly when
// a lead 1, 2 or 3 places before it asks for one:
//     required = (lead2 << 1) | (lead3 << 2) | (lead4 << 3) | carry-in
// and the text is valid when `required == cont` and no forbidden byte occurs before the NUL, and
// the NUL itself is not required to be a continuation. This is the same verdict as stepping with
// IsValidCodePoint: in a valid text every lead byte sits at a sequence start, and a lead can only
// require the bytes of its own sequence.
//
// Reading NUL-terminated text in blocks: the scan reads whole 64-byte blocks aligned to 64
// bytes. An aligned block never crosses a page boundary, so reading the bytes of the block that
// lie after the terminator cannot fault, and the masks drop them before they can influence the
// result (the same technique the C library's strlen uses). The sanitizers cannot know this
// (those bytes may belong to a freed or a neighbouring block), so the two block kernels are
// excluded from the address and thread instrumentation.
#include "text/internal/utf8.h"

#include <immintrin.h>

#include <atomic>
#include <cstring>

namespace utf8_private {
namespace detail {
namespace {

constexpr std::uintptr_t kBlock = 64;

struct BlockMasks {
    std::uint64_t ascii; // 01..7F
    std::uint64_t zero;
    std::uint64_t cont;  // 80..BF
    std::uint64_t lead2; // C0..FF
    std::uint64_t lead3; // E0..FF
    std::uint64_t lead4; // F0..FF
    std::uint64_t bad;   // C0, C1, F5..FF
};

// Judges one block given its masks. `ignore` has a bit set for each byte in front of the
// string's start (first block only). Returns 1 for valid-and-ended, -1 for invalid, 0 to go on;
// `end` receives the NUL's position in the block when the block ends the text.
inline int JudgeBlock(BlockMasks m, std::uint64_t ignore, std::uint64_t& carry, unsigned& end) {
    std::uint64_t const keep = ~ignore;
    m.zero &= keep;
    m.cont &= keep;
    m.lead2 &= keep;
    m.lead3 &= keep;
    m.lead4 &= keep;
    m.bad &= keep;
    std::uint64_t const required = (m.lead2 << 1) | (m.lead3 << 2) | (m.lead4 << 3) | carry;
    carry = (m.lead2 >> 63) | (m.lead3 >> 62) | (m.lead4 >> 61);
    std::uint64_t err = (required ^ m.cont) | m.bad;
    if (m.zero != 0) {
        unsigned const z = static_cast<unsigned>(__builtin_ctzll(m.zero));
        std::uint64_t const before = (std::uint64_t{1} << z) - 1;
        // Bytes before the NUL must be right; the NUL must not be needed as a continuation.
        if ((err & before) != 0 || (required >> z) & 1)
            return -1;
        end = z;
        return 1;
    }
    return err != 0 ? -1 : 0;
}

__attribute__((target("avx2"))) inline std::uint64_t Mask64(__m256i lo, __m256i hi) {
    return static_cast<std::uint32_t>(_mm256_movemask_epi8(lo)) |
           (std::uint64_t{static_cast<std::uint32_t>(_mm256_movemask_epi8(hi))} << 32);
}

// Bit i set when byte i of the block compares greater than k (as signed bytes).
__attribute__((target("avx2"))) inline std::uint64_t GreaterAvx2(__m256i a, __m256i b, char k) {
    __m256i const kv = _mm256_set1_epi8(k);
    return Mask64(_mm256_cmpgt_epi8(a, kv), _mm256_cmpgt_epi8(b, kv));
}

__attribute__((target("avx2"))) inline BlockMasks MasksAvx2(__m256i a, __m256i b) {
    __m256i const zero = _mm256_setzero_si256();
    __m256i const c0 = _mm256_set1_epi8(char(-64));
    BlockMasks m;
    // Bytes compare as signed: 01..7F are positive, 80..BF are -128..-65, C0..FF are -64..-1.
    m.ascii = GreaterAvx2(a, b, 0);
    m.zero = Mask64(_mm256_cmpeq_epi8(a, zero), _mm256_cmpeq_epi8(b, zero));
    std::uint64_t const nonNeg = m.ascii | m.zero;
    m.cont = Mask64(_mm256_cmpgt_epi8(c0, a), _mm256_cmpgt_epi8(c0, b));
    m.lead2 = GreaterAvx2(a, b, -65) & ~nonNeg;
    m.lead3 = GreaterAvx2(a, b, -33) & ~nonNeg;
    m.lead4 = GreaterAvx2(a, b, -17) & ~nonNeg;
    std::uint64_t const atLeastC2 = GreaterAvx2(a, b, -63) & ~nonNeg;
    std::uint64_t const atLeastF5 = GreaterAvx2(a, b, -12) & ~nonNeg;
    m.bad = (m.lead2 & ~atLeastC2) | atLeastF5;
    return m;
}

__attribute__((target("avx2"), no_sanitize("address", "thread"))) bool ScanAvx2(const char* s,
                                                                                std::size_t& len) {
    std::uintptr_t const off = reinterpret_cast<std::uintptr_t>(s) & (kBlock - 1);
    auto const* block = reinterpret_cast<const __m256i*>(s - off);
    std::uint64_t carry = 0;
    unsigned end = 0;
    // First block: bytes in front of the string are masked out.
    int verdict = JudgeBlock(MasksAvx2(_mm256_load_si256(block), _mm256_load_si256(block + 1)),
                             (std::uint64_t{1} << off) - 1, carry, end);
    __m256i const zero = _mm256_setzero_si256();
    while (verdict == 0) {
        block += 2;
        // Long runs of plain ASCII: 128 bytes a step, from a 128-byte boundary so that a step
        // stays within one page too.
        if (carry == 0 && (reinterpret_cast<std::uintptr_t>(block) & 127) == 0) {
            for (;;) {
                __m256i const m = _mm256_min_epi8(
                    _mm256_min_epi8(_mm256_load_si256(block), _mm256_load_si256(block + 1)),
                    _mm256_min_epi8(_mm256_load_si256(block + 2), _mm256_load_si256(block + 3)));
                if (_mm256_movemask_epi8(_mm256_cmpgt_epi8(m, zero)) != -1)
                    break;
                block += 4;
            }
        }
        __m256i const a = _mm256_load_si256(block);
        __m256i const b = _mm256_load_si256(block + 1);
        // Plain ASCII without a pending sequence: nothing to judge.
        if (carry == 0 &&
            _mm256_movemask_epi8(_mm256_cmpgt_epi8(_mm256_min_epi8(a, b), zero)) == -1)
            continue;
        verdict = JudgeBlock(MasksAvx2(a, b), 0, carry, end);
    }
    if (verdict < 0)
        return false;
    len = static_cast<std::size_t>(reinterpret_cast<const char*>(block) + end - s);
    return true;
}

inline std::uint64_t Mask64(__m128i a, __m128i b, __m128i c, __m128i d) {
    return static_cast<std::uint64_t>(static_cast<std::uint16_t>(_mm_movemask_epi8(a))) |
           (static_cast<std::uint64_t>(static_cast<std::uint16_t>(_mm_movemask_epi8(b))) << 16) |
           (static_cast<std::uint64_t>(static_cast<std::uint16_t>(_mm_movemask_epi8(c))) << 32) |
           (static_cast<std::uint64_t>(static_cast<std::uint16_t>(_mm_movemask_epi8(d))) << 48);
}

template <class Op> inline std::uint64_t Mask64Of(const __m128i* v, Op op) {
    return Mask64(op(v[0]), op(v[1]), op(v[2]), op(v[3]));
}

inline BlockMasks MasksSse2(const __m128i* v) {
    __m128i const zero = _mm_setzero_si128();
    auto gt = [](int k) {
        return [k](__m128i x) { return _mm_cmpgt_epi8(x, _mm_set1_epi8(char(k))); };
    };
    BlockMasks m;
    m.ascii = Mask64Of(v, [&](__m128i x) { return _mm_cmpgt_epi8(x, zero); });
    m.zero = Mask64Of(v, [&](__m128i x) { return _mm_cmpeq_epi8(x, zero); });
    std::uint64_t const nonNeg = m.ascii | m.zero;
    m.cont = Mask64Of(v, [](__m128i x) { return _mm_cmpgt_epi8(_mm_set1_epi8(char(-64)), x); });
    m.lead2 = Mask64Of(v, gt(-65)) & ~nonNeg;
    m.lead3 = Mask64Of(v, gt(-33)) & ~nonNeg;
    m.lead4 = Mask64Of(v, gt(-17)) & ~nonNeg;
    std::uint64_t const atLeastC2 = Mask64Of(v, gt(-63)) & ~nonNeg;
    std::uint64_t const atLeastF5 = Mask64Of(v, gt(-12)) & ~nonNeg;
    m.bad = (m.lead2 & ~atLeastC2) | atLeastF5;
    return m;
}

__attribute__((no_sanitize("address", "thread"))) bool ScanSse2(const char* s, std::size_t& len) {
    std::uintptr_t const off = reinterpret_cast<std::uintptr_t>(s) & (kBlock - 1);
    auto const* block = reinterpret_cast<const __m128i*>(s - off);
    std::uint64_t carry = 0;
    unsigned end = 0;
    __m128i v[4];
    for (int i = 0; i < 4; ++i)
        v[i] = _mm_load_si128(block + i);
    int verdict = JudgeBlock(MasksSse2(v), (std::uint64_t{1} << off) - 1, carry, end);
    while (verdict == 0) {
        block += 4;
        for (int i = 0; i < 4; ++i)
            v[i] = _mm_load_si128(block + i);
        __m128i const zero = _mm_setzero_si128();
        __m128i const allAscii =
            _mm_and_si128(_mm_and_si128(_mm_cmpgt_epi8(v[0], zero), _mm_cmpgt_epi8(v[1], zero)),
                          _mm_and_si128(_mm_cmpgt_epi8(v[2], zero), _mm_cmpgt_epi8(v[3], zero)));
        if (carry == 0 && _mm_movemask_epi8(allAscii) == 0xFFFF)
            continue;
        verdict = JudgeBlock(MasksSse2(v), 0, carry, end);
    }
    if (verdict < 0)
        return false;
    len = static_cast<std::size_t>(reinterpret_cast<const char*>(block) + end - s);
    return true;
}

// Sequence by sequence: the reference the block kernels must agree with, and the path taken
// when they are switched off.
bool ScanScalar(const char* s, std::size_t& len) {
    auto const* const begin = reinterpret_cast<const unsigned char*>(s);
    auto const* p = begin;
    for (;;) {
        unsigned char const b = *p;
        if (b == 0)
            break;
        if (b < 0x80) {
            ++p;
            continue;
        }
        if (b < 0xC2 || b > 0xF4)
            return false;
        unsigned const n = SeqLen(b);
        for (unsigned i = 1; i < n; ++i)
            if (!IsCont(p[i])) // a NUL ends the check here, before anything past it is read
                return false;
        p += n;
    }
    len = static_cast<std::size_t>(p - begin);
    return true;
}

const unsigned char* SkipAsciiScalar(const unsigned char* p, const unsigned char* end) {
    while (p < end && *p - 1u < 0x7Fu)
        ++p;
    return p;
}

const unsigned char* SkipAsciiSse2(const unsigned char* p, const unsigned char* end) {
    // Bounded by `end`, so plain unaligned 16-byte loads suffice.
    __m128i const zero = _mm_setzero_si128();
    while (end - p >= 16) {
        __m128i const v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        unsigned const ok = static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpgt_epi8(v, zero)));
        if (ok != 0xFFFF)
            return p + __builtin_ctz(~ok);
        p += 16;
    }
    return SkipAsciiScalar(p, end);
}

using ScanFn = bool (*)(const char*, std::size_t&);
using SkipFn = const unsigned char* (*)(const unsigned char*, const unsigned char*);

bool HasAvx2() {
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2");
}

ScanFn BestScan() {
    return HasAvx2() ? ScanAvx2 : ScanSse2;
}

// Constant-initialised, so scans from other load-time constructors find them ready; the scan
// kernel is chosen on first use. Relaxed atomics suffice: every thread that races to choose
// stores the same kernel, and tests switch kernels between scans.
std::atomic<ScanFn> g_scan{nullptr};
std::atomic<SkipFn> g_skip{SkipAsciiSse2};

} // namespace

bool ForceScanKernel(ScanKernel kernel) {
    switch (kernel) {
    case ScanKernel::Best:
        g_scan.store(BestScan(), std::memory_order_relaxed);
        g_skip.store(SkipAsciiSse2, std::memory_order_relaxed);
        return true;
    case ScanKernel::Avx2:
        if (!HasAvx2())
            return false;
        g_scan.store(ScanAvx2, std::memory_order_relaxed);
        g_skip.store(SkipAsciiSse2, std::memory_order_relaxed);
        return true;
    case ScanKernel::Sse2:
        g_scan.store(ScanSse2, std::memory_order_relaxed);
        g_skip.store(SkipAsciiSse2, std::memory_order_relaxed);
        return true;
    case ScanKernel::Scalar:
        g_scan.store(ScanScalar, std::memory_order_relaxed);
        g_skip.store(SkipAsciiScalar, std::memory_order_relaxed);
        return true;
    }
    return false;
}

bool ScanValidString(const char* s, std::size_t& len) {
    ScanFn scan = g_scan.load(std::memory_order_relaxed);
    if (scan == nullptr) {
        scan = BestScan();
        g_scan.store(scan, std::memory_order_relaxed);
    }
    return scan(s, len);
}

const unsigned char* SkipAscii(const unsigned char* p, const unsigned char* end) {
    return g_skip.load(std::memory_order_relaxed)(p, end);
}

} // namespace detail
} // namespace utf8_private
