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
// Reading NUL-terminated text of unknown length: the scan works on 64-byte blocks aligned to 64
// bytes, read as two 32-byte (or four 16-byte) naturally aligned units. An aligned unit never
// crosses a page boundary, so the bytes it holds in front of the start or after the terminator
// cannot fault, and the masks drop them before they can influence the result (the same
// technique the C library's strlen uses). In the first block a unit lying wholly in front of
// the start is not read: zeros stand in for it.
//
// Each kernel comes in two variants. The one normally chosen reads ahead: whole blocks, and over
// long runs of plain ASCII with no sequence pending whole 128-byte chunks (with AVX2; aligned so
// that a chunk stays in one page too), of which the test only decides whether to read on. The
// other reads only units that hold a byte of the text up to and including the NUL: a unit only
// when the units before it showed no NUL (zeros stand in for the rest of a block once one did),
// and over ASCII runs one unit at a time, each only once the one before it proved to be plain
// ASCII. That costs a test per unit and makes long ASCII text about a third slower. It is the
// variant chosen under valgrind, whose memcheck accepts its loads (an aligned load of which some
// bytes are addressable; the others read as undefined) but reports a unit lying wholly past the
// end of a heap block.
//
// The sanitizers cannot know any of this (the bytes outside the text may belong to a freed or a
// neighbouring block), so the functions that load are excluded from the address and thread
// instrumentation.
#include "text/internal/utf8.h"

#include <immintrin.h>

#include <atomic>
#include <cstring>

#if defined(__has_include)
#if __has_include(<valgrind/valgrind.h>)
#include <valgrind/valgrind.h>
#endif
#endif

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

// Bit i set when byte i of `v` is NUL.
__attribute__((target("avx2"))) inline std::uint32_t NulBits(__m256i v) {
    return static_cast<std::uint32_t>(
        _mm256_movemask_epi8(_mm256_cmpeq_epi8(v, _mm256_setzero_si256())));
}

// Bit i set when byte i of the 32 bytes at `p` is NUL or 80..FF: adding -1 with signed
// saturation leaves the sign bit set exactly for those (0 becomes -1, -128 stays).
__attribute__((target("avx2"), no_sanitize("address", "thread"))) inline std::uint32_t
OtherThanAsciiAt(const __m256i* p) {
    return static_cast<std::uint32_t>(
        _mm256_movemask_epi8(_mm256_adds_epi8(_mm256_set1_epi8(-1), _mm256_load_si256(p))));
}

// The first 32-byte unit at or after `p` holding a byte outside 01..7F (a NUL included). A unit
// is read only once the one before it proved to be plain ASCII.
__attribute__((target("avx2"), no_sanitize("address", "thread"))) inline const __m256i*
SkipAsciiUnitsAvx2(const __m256i* p) {
    for (;;) {
        for (int i = 0; i < 8; ++i)
            if (OtherThanAsciiAt(p + i) != 0)
                return p + i;
        p += 8;
    }
}

// True when the 64 bytes at `p` (a block) or the 128 at `p` (aligned to 128) are all 01..7F.
// The whole block or chunk is read.
__attribute__((target("avx2"), no_sanitize("address", "thread"))) inline bool
AllAscii64(const __m256i* p) {
    __m256i const m = _mm256_min_epi8(_mm256_load_si256(p), _mm256_load_si256(p + 1));
    return _mm256_movemask_epi8(_mm256_cmpgt_epi8(m, _mm256_setzero_si256())) == -1;
}
__attribute__((target("avx2"), no_sanitize("address", "thread"))) inline bool
AllAscii128(const __m256i* p) {
    __m256i const m =
        _mm256_min_epi8(_mm256_min_epi8(_mm256_load_si256(p), _mm256_load_si256(p + 1)),
                        _mm256_min_epi8(_mm256_load_si256(p + 2), _mm256_load_si256(p + 3)));
    return _mm256_movemask_epi8(_mm256_cmpgt_epi8(m, _mm256_setzero_si256())) == -1;
}

template <bool kReadAhead>
__attribute__((target("avx2"), no_sanitize("address", "thread"))) bool ScanAvx2(const char* s,
                                                                                std::size_t& len) {
    std::uintptr_t const off = reinterpret_cast<std::uintptr_t>(s) & (kBlock - 1);
    auto const* block = reinterpret_cast<const __m256i*>(s - off);
    __m256i const zero = _mm256_setzero_si256();
    std::uint64_t carry = 0;
    unsigned end = 0;
    // First block: bytes in front of the string are masked out, and a half lying wholly in front
    // of it is not read.
    __m256i a = zero;
    __m256i b = zero;
    if (off < 32) {
        a = _mm256_load_si256(block);
        if ((NulBits(a) >> off) == 0)
            b = _mm256_load_si256(block + 1);
    } else {
        b = _mm256_load_si256(block + 1);
    }
    int verdict = JudgeBlock(MasksAvx2(a, b), (std::uint64_t{1} << off) - 1, carry, end);
    while (verdict == 0) {
        block += 2;
        // Plain ASCII without a pending sequence needs no judging: it is passed over, and
        // judging resumes with the block holding the first other byte.
        if constexpr (kReadAhead) {
            if (carry == 0) {
                if ((reinterpret_cast<std::uintptr_t>(block) & 127) == 0)
                    while (AllAscii128(block))
                        block += 4;
                if (AllAscii64(block))
                    continue;
            }
            a = _mm256_load_si256(block);
            b = _mm256_load_si256(block + 1);
        } else {
            if (carry == 0)
                block += (SkipAsciiUnitsAvx2(block) - block) & ~std::ptrdiff_t{1};
            a = _mm256_load_si256(block);
            b = NulBits(a) == 0 ? _mm256_load_si256(block + 1) : zero;
        }
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

// The same helpers for the SSE2 kernel, 16 bytes at a time.
inline std::uint32_t NulBits(__m128i v) {
    return static_cast<std::uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(v, _mm_setzero_si128())));
}

__attribute__((no_sanitize("address", "thread"))) inline std::uint32_t
OtherThanAsciiAt(const __m128i* p) {
    return static_cast<std::uint32_t>(
        _mm_movemask_epi8(_mm_adds_epi8(_mm_set1_epi8(-1), _mm_load_si128(p))));
}

__attribute__((no_sanitize("address", "thread"))) inline const __m128i*
SkipAsciiUnitsSse2(const __m128i* p) {
    for (;;) {
        for (int i = 0; i < 4; ++i)
            if (OtherThanAsciiAt(p + i) != 0)
                return p + i;
        p += 4;
    }
}

// True when the four units of a block are all 01..7F.
inline bool AllAscii(const __m128i* v) {
    __m128i const zero = _mm_setzero_si128();
    __m128i const all =
        _mm_and_si128(_mm_and_si128(_mm_cmpgt_epi8(v[0], zero), _mm_cmpgt_epi8(v[1], zero)),
                      _mm_and_si128(_mm_cmpgt_epi8(v[2], zero), _mm_cmpgt_epi8(v[3], zero)));
    return _mm_movemask_epi8(all) == 0xFFFF;
}

// Reads the units of the block from unit `first` on until one holds a NUL that is not in
// `ignore`; zeros stand in for the units not read.
__attribute__((no_sanitize("address", "thread"))) inline void
LoadBlockSse2(const __m128i* block, unsigned first, std::uint64_t ignore, __m128i* v) {
    unsigned i = 0;
    for (; i < first; ++i)
        v[i] = _mm_setzero_si128();
    for (; i < 4; ++i) {
        v[i] = _mm_load_si128(block + i);
        if ((NulBits(v[i]) & ~(ignore >> (16 * i)) & 0xFFFF) != 0)
            break;
    }
    for (++i; i < 4; ++i)
        v[i] = _mm_setzero_si128();
}

template <bool kReadAhead>
__attribute__((no_sanitize("address", "thread"))) bool ScanSse2(const char* s, std::size_t& len) {
    std::uintptr_t const off = reinterpret_cast<std::uintptr_t>(s) & (kBlock - 1);
    auto const* block = reinterpret_cast<const __m128i*>(s - off);
    std::uint64_t carry = 0;
    unsigned end = 0;
    __m128i v[4];
    std::uint64_t const ignore = (std::uint64_t{1} << off) - 1;
    LoadBlockSse2(block, static_cast<unsigned>(off / 16), ignore, v);
    int verdict = JudgeBlock(MasksSse2(v), ignore, carry, end);
    while (verdict == 0) {
        block += 4;
        if constexpr (kReadAhead) {
            for (int i = 0; i < 4; ++i)
                v[i] = _mm_load_si128(block + i);
            if (carry == 0 && AllAscii(v))
                continue;
        } else {
            if (carry == 0)
                block += (SkipAsciiUnitsSse2(block) - block) & ~std::ptrdiff_t{3};
            LoadBlockSse2(block, 0, 0, v);
        }
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

// True when the process runs under valgrind (never when its header was missing at build time).
bool UnderValgrind() {
#ifdef RUNNING_ON_VALGRIND
    return RUNNING_ON_VALGRIND != 0;
#else
    return false;
#endif
}

ScanFn BestScan() {
    bool const readAhead = !UnderValgrind();
    if (HasAvx2())
        return readAhead ? ScanAvx2<true> : ScanAvx2<false>;
    return readAhead ? ScanSse2<true> : ScanSse2<false>;
}

// Constant-initialised, so scans from other load-time constructors find them ready; the scan
// kernel is chosen on first use. Relaxed atomics suffice: every thread that races to choose
// stores the same kernel, and tests switch kernels between scans.
std::atomic<ScanFn> g_scan{nullptr};
std::atomic<SkipFn> g_skip{SkipAsciiSse2};

} // namespace

// Constant-initialised to the variant that is always safe, so that comparisons from other
// load-time constructors may run before this one has decided.
std::atomic<bool> g_readAhead{false};

namespace {
[[maybe_unused]] bool const g_readAheadChosen =
    (g_readAhead.store(!UnderValgrind(), std::memory_order_relaxed), true);
} // namespace

bool ForceScanKernel(ScanKernel kernel, bool readAhead) {
    ScanFn scan = nullptr;
    SkipFn skip = SkipAsciiSse2;
    bool const variantAvailable = !readAhead || !UnderValgrind();
    switch (kernel) {
    case ScanKernel::Best:
        scan = BestScan();
        break;
    case ScanKernel::Avx2:
        if (HasAvx2() && variantAvailable)
            scan = readAhead ? ScanAvx2<true> : ScanAvx2<false>;
        break;
    case ScanKernel::Sse2:
        if (variantAvailable)
            scan = readAhead ? ScanSse2<true> : ScanSse2<false>;
        break;
    case ScanKernel::Scalar:
        scan = ScanScalar;
        skip = SkipAsciiScalar;
        break;
    }
    if (scan == nullptr)
        return false;
    g_scan.store(scan, std::memory_order_relaxed);
    g_skip.store(skip, std::memory_order_relaxed);
    g_readAhead.store(readAhead && !UnderValgrind(), std::memory_order_relaxed);
    return true;
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
