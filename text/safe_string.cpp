// Bounded string functions, number parsers, natural comparison and the CString hash.
//
// The bounded functions report failure by throwing zulplatform::CException with an errno number
// (or -4 for formatting) rather than returning it, so callers that ignore results still stop.

#include <platform/exception.h>
#include <platform/safe_string.h>

#include "text/internal/c_string_hash.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif
#if defined(__x86_64__) && defined(__GNUC__)
#include <immintrin.h>
#define PLATFORM_WIDE_HASH 1
#endif

namespace {

constexpr int kInvalidArgument = EINVAL; // 22
constexpr int kResultTooLarge = ERANGE;  // 34
constexpr int kFormatFailure = -4;

static_assert(EINVAL == 22 && ERANGE == 34, "the thrown codes are the Linux errno numbers");

void ThrowIfNull(void const* p) {
    if (p == nullptr)
        zulplatform::CException::Throw(kInvalidArgument);
}

} // namespace

int strcpy_s(char* dst, unsigned long size, char const* src) {
    ThrowIfNull(dst);
    ThrowIfNull(src);
    // strnlen gives the same verdict as strlen (>= size) without running past `size` bytes.
    std::size_t const len = strnlen(src, size);
    if (len >= size) {
        if (size != 0)
            dst[0] = '\0';
        zulplatform::CException::Throw(kResultTooLarge);
    }
    std::memcpy(dst, src, len + 1);
    return 0;
}

int strncpy_s(char* dst, unsigned long size, char const* src, unsigned long count) {
    lstrcpyn(dst, src, std::min(size, count));
    return 0;
}

int strcat_s(char* dst, unsigned long size, char const* src) {
    ThrowIfNull(dst);
    ThrowIfNull(src);
    // Bounded scans: an unterminated destination counts as full instead of being overrun.
    std::size_t const dstLen = strnlen(dst, size);
    std::size_t const srcLen = dstLen < size ? strnlen(src, size - dstLen) : 0;
    if (dstLen >= size || srcLen >= size - dstLen) {
        if (size != 0)
            dst[0] = '\0';
        zulplatform::CException::Throw(kResultTooLarge);
    }
    std::memcpy(dst + dstLen, src, srcLen + 1);
    return 0;
}

int memcpy_s(void* dst, unsigned long size, void const* src, unsigned long count) {
    if (count == 0)
        return 0;
    ThrowIfNull(dst);
    ThrowIfNull(src);
    if (count > size) {
        std::memset(dst, 0, size);
        zulplatform::CException::Throw(kResultTooLarge);
    }
    // memmove: overlapping ranges are a caller error, but must not corrupt memory.
    std::memmove(dst, src, count);
    return 0;
}

int sprintf_s(char* buf, unsigned long size, char const* format, ...) {
    if (format == nullptr || size == 0 || buf == nullptr) {
        // A zero-sized buffer has no room even for the terminator, so it is left untouched.
        if (buf != nullptr && size != 0)
            buf[0] = '\0';
        zulplatform::CException::Throw(kFormatFailure);
    }
    va_list args;
    va_start(args, format);
    int const written = std::vsnprintf(buf, size, format, args);
    va_end(args);
    // Compared as int on purpose: the result of vsnprintf is an int count.
    if (written == -1 || written >= static_cast<int>(size)) {
        buf[0] = '\0';
        zulplatform::CException::Throw(kFormatFailure);
    }
    return written;
}

int access_s(char const* path, int mode) {
    ThrowIfNull(path);
    return access(path, mode);
}

int lstrlenW(char16_t const* s) {
    if (s == nullptr)
        return 0;
    char16_t const* p = s;
    while (*p != 0)
        ++p;
    return static_cast<int>(p - s);
}

char* lstrcpyn(char* dst, char const* src, unsigned long n) {
    if (src == nullptr || n == 0 || dst == nullptr)
        return dst;
    std::size_t const len = strnlen(src, n - 1);
    std::memcpy(dst, src, len);
    dst[len] = '\0';
    return dst;
}

unsigned long long _ttoull(char const* s) {
    if (s == nullptr)
        return 0;
    while (std::isspace(static_cast<unsigned char>(*s)))
        ++s;
    if (*s == '+')
        ++s;
    constexpr unsigned long long kMax = ULLONG_MAX;
    constexpr unsigned long long kMaxBeforeDigit = kMax / 10; // 0x1999999999999999
    unsigned long long value = 0;
    for (; *s >= '0' && *s <= '9'; ++s) {
        if (value > kMaxBeforeDigit)
            return kMax;
        unsigned long long const next = value * 10 + static_cast<unsigned>(*s - '0');
        if (next < value * 10)
            return kMax;
        value = next;
    }
    return value;
}

unsigned long _ttoul(char const* s) {
    return _ttoull(s);
}

unsigned int _ttoui(char const* s) {
    return static_cast<unsigned int>(std::min<unsigned long long>(_ttoull(s), UINT_MAX));
}

long long _ttoll(char const* s) {
    if (s == nullptr || *s == '\0')
        return 0;
    return std::strtoll(s, nullptr, 10);
}

long _ttol(char const* s) {
    return _ttoll(s);
}

int _ttoi(char const* s) {
    return static_cast<int>(std::clamp<long long>(_ttoll(s), INT_MIN, INT_MAX));
}

int _NaturalCompare(zulwin::CString const& a, zulwin::CString const& b) {
    return strverscmp(a.GetString(), b.GetString());
}

namespace {

// MurmurHash64A as the GNU standard library applies it to std::string (seed 0xc70f6907).
constexpr std::uint64_t kHashMul = 0xc6a4a7935bd1e995ULL;
constexpr std::uint64_t kHashSeed = 0xc70f6907ULL;

inline std::uint64_t ShiftMix(std::uint64_t v) {
    return v ^ (v >> 47);
}
inline std::uint64_t MixBlock(std::uint64_t hash, std::uint64_t k) {
    return (hash ^ (ShiftMix(k * kHashMul) * kHashMul)) * kHashMul;
}
inline std::uint64_t Finish(std::uint64_t hash) {
    return ShiftMix(ShiftMix(hash) * kHashMul);
}

// Little-endian loads whatever the host order, so stored hash values stay portable.
inline std::uint64_t Load64(unsigned char const* p) {
    std::uint64_t v;
    std::memcpy(&v, p, sizeof v);
#if __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
    v = __builtin_bswap64(v);
#endif
    return v;
}

inline std::uint64_t Load32(unsigned char const* p) {
    std::uint32_t v;
    std::memcpy(&v, p, sizeof v);
#if __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
    v = __builtin_bswap32(v);
#endif
    return v;
}

// The last len % 8 (1..7) bytes of p[0..len) as one little-endian number. Reads only inside
// the range: an overlapping 8-byte load when a block precedes the tail, else two overlapping
// loads of the short string.
inline std::uint64_t LoadTail(unsigned char const* p, std::size_t len) {
    std::size_t const tail = len & 7;
    if (len >= 8)
        return Load64(p + len - 8) >> (8 * (8 - tail));
    if (len >= 4)
        return Load32(p) | (Load32(p + len - 4) << (8 * (len - 4)));
    return std::uint64_t{p[0]} | (std::uint64_t{p[len / 2]} << (8 * (len / 2))) |
           (std::uint64_t{p[len - 1]} << (8 * (len - 1)));
}

constexpr std::uint64_t kLowBits = 0x0101010101010101ULL;
constexpr std::uint64_t kHighBits = 0x8080808080808080ULL;

// The high bit of some byte is set if and only if some byte of v is zero.
inline std::uint64_t ZeroByteBits(std::uint64_t v) {
    return (v - kLowBits) & ~v & kHighBits;
}

// Tracks whether any of the 16-byte chunks seen holds a NUL, cheaply enough to ride along
// with the hash loop: a byte-wise running minimum where SSE2 exists, the word trick elsewhere.
class ChunkNulWatch {
public:
#if defined(__SSE2__)
    explicit ChunkNulWatch(unsigned char const* first) : m_min(Load128(first)) {}
    void See(unsigned char const* p) {
        m_min = _mm_min_epu8(m_min, Load128(p));
    }
    bool SawNul() const {
        return _mm_movemask_epi8(_mm_cmpeq_epi8(m_min, _mm_setzero_si128())) != 0;
    }

private:
    static __m128i Load128(unsigned char const* p) {
        return _mm_loadu_si128(reinterpret_cast<__m128i const*>(p));
    }
    __m128i m_min;
#else
    explicit ChunkNulWatch(unsigned char const* first) {
        See(first);
    }
    void See(unsigned char const* p) {
        m_zeroBits |= ZeroByteBits(Load64(p)) | ZeroByteBits(Load64(p + 8));
    }
    bool SawNul() const {
        return m_zeroBits != 0;
    }

private:
    std::uint64_t m_zeroBits = 0;
#endif
};

// The plain hash of p[0..len).
std::uint64_t MurmurHash64A(unsigned char const* p, std::size_t len) {
    std::uint64_t hash = kHashSeed ^ (len * kHashMul);
    unsigned char const* const blocksEnd = p + (len & ~std::size_t{7});
    for (unsigned char const* block = p; block != blocksEnd; block += 8)
        hash = MixBlock(hash, Load64(block));
    if ((len & 7) != 0)
        hash = (hash ^ LoadTail(p, len)) * kHashMul;
    return Finish(hash);
}

// `hash` moved on over the block at `block` when len % 16 >= 8 (the last whole block, which
// stands alone) and over the last len % 8 bytes.
inline std::uint64_t MixLastBytes(std::uint64_t hash, unsigned char const* p, std::size_t len,
                                  unsigned char const* block) {
    if ((len & 8) != 0)
        hash = MixBlock(hash, Load64(block));
    if ((len & 7) != 0)
        hash = (hash ^ LoadTail(p, len)) * kHashMul;
    return hash;
}

// The unfinished hash of p[0..len) for len >= 16 (taken for 32 on), two blocks per step; sets
// `sawNul` when a byte of the range is NUL.
inline std::uint64_t HashLongWatchingNul(unsigned char const* p, std::size_t len, bool& sawNul) {
    std::uint64_t hash = kHashSeed ^ (len * kHashMul);
    ChunkNulWatch watch(p);
    hash = MixBlock(hash, Load64(p));
    hash = MixBlock(hash, Load64(p + 8));
    unsigned char const* block = p + 16;
    unsigned char const* const pairsEnd = p + (len & ~std::size_t{15});
    for (; block != pairsEnd; block += 16) {
        watch.See(block);
        hash = MixBlock(hash, Load64(block));
        hash = MixBlock(hash, Load64(block + 8));
    }
    if ((len & 15) != 0) {
        watch.See(p + len - 16); // the last 1..15 bytes, overlapping bytes already seen
        hash = MixLastBytes(hash, p, len, block);
    }
    sawNul = watch.SawNul();
    return hash;
}

// The same for 16 <= len < 32, straight through: on the hash's busiest lengths the loop's tests
// cost measurably.
inline std::uint64_t HashMediumWatchingNul(unsigned char const* p, std::size_t len, bool& sawNul) {
    std::uint64_t hash = kHashSeed ^ (len * kHashMul);
    ChunkNulWatch watch(p);
    watch.See(p + len - 16);
    hash = MixBlock(hash, Load64(p));
    hash = MixBlock(hash, Load64(p + 8));
    hash = MixLastBytes(hash, p, len, p + 16);
    sawNul = watch.SawNul();
    return hash;
}

// The same for len < 16.
inline std::uint64_t HashShortWatchingNul(unsigned char const* p, std::size_t len, bool& sawNul) {
    std::uint64_t hash = kHashSeed ^ (len * kHashMul);
    if (len >= 8) {
        std::uint64_t const k = Load64(p);
        hash = MixBlock(hash, k);
        sawNul = (ZeroByteBits(k) | ZeroByteBits(Load64(p + len - 8))) != 0;
    } else {
        // The bytes above the tail are set so that they never look like a NUL.
        sawNul = len != 0 && ZeroByteBits(LoadTail(p, len) | (~std::uint64_t{0} << (8 * len))) != 0;
    }
    if ((len & 7) != 0)
        hash = (hash ^ LoadTail(p, len)) * kHashMul;
    return hash;
}

// Rare path, kept out of line so the common path needs no saved registers.
[[gnu::noinline]] std::uint64_t HashUpToFirstNul(unsigned char const* p) {
    return MurmurHash64A(p, std::strlen(reinterpret_cast<char const*>(p)));
}

#if defined(PLATFORM_WIDE_HASH)
#define PLATFORM_WIDE_TARGET __attribute__((target("avx512f,avx512dq,avx512vl,avx512bw,bmi2")))

// ShiftMix(k * kHashMul) * kHashMul of the four blocks in v at once.
PLATFORM_WIDE_TARGET inline __m256i MixedBlocks(__m256i v) {
    __m256i const mul = _mm256_set1_epi64x(static_cast<long long>(kHashMul));
    __m256i const k = _mm256_mullo_epi64(v, mul);
    return _mm256_mullo_epi64(_mm256_xor_si256(k, _mm256_srli_epi64(k, 47)), mul);
}

// The finished HashCString of p[0..len) for len >= 32, as HashLongWatchingNul and the rest of
// HashCString give it, with the blocks' own mixing done four blocks at a time by vector
// multiplies: two of the three multiplies per block move to the vector unit, and the scalar
// multiplier is left only the chain from block to block. The last 1..31 bytes are read by a
// masked load, which touches no byte past the text.
PLATFORM_WIDE_TARGET std::uint64_t HashLongWide(unsigned char const* p, std::size_t len) {
    std::uint64_t hash = kHashSeed ^ (len * kHashMul);
    alignas(32) std::uint64_t mixed[4];
    __mmask32 nul = 0;
    unsigned char const* chunk = p;
    for (unsigned char const* const chunksEnd = p + (len & ~std::size_t{31}); chunk != chunksEnd;
         chunk += 32) {
        __m256i const v = _mm256_loadu_si256(reinterpret_cast<__m256i const*>(chunk));
        nul |= _mm256_testn_epi8_mask(v, v);
        _mm256_store_si256(reinterpret_cast<__m256i*>(mixed), MixedBlocks(v));
        for (std::uint64_t const k : mixed)
            hash = (hash ^ k) * kHashMul;
    }
    std::size_t const rest = len & 31;
    if (rest != 0) {
        __mmask32 const inText = _bzhi_u32(~0u, static_cast<unsigned>(rest));
        __m256i const v = _mm256_maskz_loadu_epi8(inText, chunk);
        nul |= _mm256_mask_testn_epi8_mask(inText, v, v);
        alignas(32) std::uint64_t raw[4];
        _mm256_store_si256(reinterpret_cast<__m256i*>(mixed), MixedBlocks(v));
        _mm256_store_si256(reinterpret_cast<__m256i*>(raw), v);
        std::size_t const blocks = rest / 8;
        for (std::size_t i = 0; i != blocks; ++i)
            hash = (hash ^ mixed[i]) * kHashMul;
        if ((rest & 7) != 0) // the tail bytes, zero above, unmixed
            hash = (hash ^ raw[blocks]) * kHashMul;
    }
    if (__builtin_expect(nul != 0, 0))
        return HashUpToFirstNul(p);
    return Finish(hash);
}

bool WideHashAvailable() {
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512dq") &&
           __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512bw") &&
           __builtin_cpu_supports("bmi2");
}

// Chosen when the library is loaded; a hash taken before that (from another static
// initialiser) takes the scalar way, which gives the same value.
bool g_wideHash = WideHashAvailable();
#endif

} // namespace

namespace zulplatform {

// Aligned to a cache line, so the short-key paths take the same few lines from the entry on
// wherever the linker places the function: a placement that straddled one more line measured
// 9% slower on 16-byte keys.
__attribute__((aligned(64))) std::size_t HashCString(zulwin::CString const& s) {
    // Hash the whole byte length on the assumption that the content holds no NUL, watching for
    // one on the way; only if one turns up is the content hashed again up to it. This avoids a
    // separate length scan, which would cost about as much as the hash itself on short strings.
    auto const* const p = reinterpret_cast<unsigned char const*>(s.GetString());
    auto const len = static_cast<std::size_t>(s.GetLength());
    bool sawNul;
    std::uint64_t hash;
    if (__builtin_expect(len - 16 < 16, 1)) // tested first: one test for the commonest key lengths
        hash = HashMediumWatchingNul(p, len, sawNul);
    else if (__builtin_expect(len >= 32, 1)) {
#if defined(PLATFORM_WIDE_HASH)
        if (g_wideHash)
            return HashLongWide(p, len); // a tail call: the common paths keep needing no frame
#endif
        hash = HashLongWatchingNul(p, len, sawNul);
    } else
        hash = HashShortWatchingNul(p, len, sawNul);
    if (__builtin_expect(sawNul, 0))
        return HashUpToFirstNul(p);
    return Finish(hash);
}

} // namespace zulplatform

namespace zulplatform::detail {

bool ForceWideHash(bool wide) {
#if defined(PLATFORM_WIDE_HASH)
    if (wide && !WideHashAvailable())
        return false;
    g_wideHash = wide;
    return true;
#else
    return !wide;
#endif
}

} // namespace zulplatform::detail
