// GUIDs: creation from the kernel's random source, the text form and its parser.
#include <platform/guid.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <emmintrin.h>
#include <fcntl.h>
#include <unistd.h>

namespace zulplatform {

namespace {

constexpr char kUuidSource[] = "/proc/sys/kernel/random/uuid";
constexpr char kGuidFormat[] = "%08x-%04hx-%04hx-%02hhx%02hhx-%02hhx%02hhx%02hhx%02hhx%02hhx%02hhx";
constexpr int kGuidFields = 11;
constexpr std::size_t kTextLength = 36;

// Hexadecimal digit values, 0xFF for every other byte.
struct HexDigits {
    unsigned char value[256];
    constexpr HexDigits() : value() {
        for (int i = 0; i < 256; ++i)
            value[i] = 0xFF;
        for (int i = 0; i < 10; ++i)
            value['0' + i] = static_cast<unsigned char>(i);
        for (int i = 0; i < 6; ++i) {
            value['a' + i] = static_cast<unsigned char>(10 + i);
            value['A' + i] = static_cast<unsigned char>(10 + i);
        }
    }
};
constexpr HexDigits kHex;

// The canonical shape: 8-4-4-4-12 hexadecimal digits. On it sscanf converts every field from
// exactly its digits, so the fields can be read directly; any other text goes to sscanf itself,
// with its rules for short groups, white space, signs and prefixes.
bool ParseCanonical(std::string const& text, _GUID& guid) {
    if (text.size() < kTextLength)
        return false;
    // A NUL inside the first 36 characters is no digit and no dash, so nothing beyond the
    // text sscanf would see decides the result.
    auto const* t = reinterpret_cast<const unsigned char*>(text.data());
    unsigned char digits[32];
    unsigned bad = 0;
    for (std::size_t i = 0, d = 0; i < kTextLength; ++i) {
        if (i == 8 || i == 13 || i == 18 || i == 23) {
            bad |= t[i] != '-' ? 0xF0u : 0u;
        } else {
            unsigned char const v = kHex.value[t[i]];
            bad |= v;
            digits[d++] = v;
        }
    }
    if (bad & 0xF0)
        return false;
    auto field = [&](std::size_t first, std::size_t count) {
        unsigned int v = 0;
        for (std::size_t i = 0; i < count; ++i)
            v = (v << 4) | digits[first + i];
        return v;
    };
    guid.Data1 = field(0, 8);
    guid.Data2 = static_cast<unsigned short>(field(8, 4));
    guid.Data3 = static_cast<unsigned short>(field(12, 4));
    for (std::size_t i = 0; i < 8; ++i)
        guid.Data4[i] = static_cast<unsigned char>(field(16 + 2 * i, 2));
    return true;
}

} // namespace

bool GuidFromString(std::string const& text, _GUID& guid) {
    _GUID scratch;
    // Like sscanf, the parse sees the text up to its first NUL.
    const char* const s = text.c_str();
    if (!ParseCanonical(text, scratch)) {
        if (std::sscanf(s, kGuidFormat, &scratch.Data1, &scratch.Data2, &scratch.Data3,
                        &scratch.Data4[0], &scratch.Data4[1], &scratch.Data4[2], &scratch.Data4[3],
                        &scratch.Data4[4], &scratch.Data4[5], &scratch.Data4[6],
                        &scratch.Data4[7]) != kGuidFields)
            return false;
    }
    guid = scratch;
    return true;
}

bool CreateGuid(_GUID& guid) {
    // The line the kernel hands out: 36 characters and a line feed. Errors of this call never
    // reach the caller's errno.
    int const savedErrno = errno;
    int const fd = ::open(kUuidSource, O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        errno = savedErrno;
        return false;
    }
    char line[64];
    std::size_t used = 0;
    while (used < sizeof line - 1) {
        ssize_t const got = ::read(fd, line + used, sizeof line - 1 - used);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            break;
        used += static_cast<std::size_t>(got);
        if (std::memchr(line, '\n', used) != nullptr)
            break;
    }
    ::close(fd);
    errno = savedErrno;
    if (used == 0)
        return false;
    line[used] = '\0';
    if (char* const feed = static_cast<char*>(std::memchr(line, '\n', used)))
        *feed = '\0';
    _GUID scratch;
    if (!GuidFromString(line, scratch))
        return false;
    guid = scratch;
    return true;
}

guid_t::guid_t(bool create) : _GUID() {
    if (create)
        (void)CreateGuid(*this);
}

namespace {

// Writes the 36 characters of the text form of `g` to `out`.
void FormatGuid(_GUID const& g, char* out) {
    // The 16 bytes in printing order (the three number fields most significant byte first),
    // turned into 32 digits 16 at a time, then laid out with the dashes.
    unsigned long long const head =
        __builtin_bswap32(g.Data1) |
        static_cast<unsigned long long>(__builtin_bswap16(g.Data2)) << 32 |
        static_cast<unsigned long long>(__builtin_bswap16(g.Data3)) << 48;
    unsigned long long tail;
    std::memcpy(&tail, g.Data4, 8);
    // Built in registers: a round trip through memory would stall on store forwarding.
    __m128i const v = _mm_set_epi64x(static_cast<long long>(tail), static_cast<long long>(head));
    __m128i const low4 = _mm_set1_epi8(0x0F);
    __m128i const hi = _mm_and_si128(_mm_srli_epi16(v, 4), low4);
    __m128i const lo = _mm_and_si128(v, low4);
    // A nibble n becomes '0' + n, plus 'a' - '0' - 10 more when it is above 9.
    auto const digits = [](__m128i n) {
        __m128i const letter =
            _mm_and_si128(_mm_cmpgt_epi8(n, _mm_set1_epi8(9)), _mm_set1_epi8('a' - '0' - 10));
        return _mm_add_epi8(_mm_add_epi8(n, _mm_set1_epi8('0')), letter);
    };
    char hex[32];
    _mm_storeu_si128(reinterpret_cast<__m128i*>(hex), digits(_mm_unpacklo_epi8(hi, lo)));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(hex + 16), digits(_mm_unpackhi_epi8(hi, lo)));
    std::memcpy(out, hex, 8);
    out[8] = '-';
    std::memcpy(out + 9, hex + 8, 4);
    out[13] = '-';
    std::memcpy(out + 14, hex + 12, 4);
    out[18] = '-';
    std::memcpy(out + 19, hex + 16, 4);
    out[23] = '-';
    std::memcpy(out + 24, hex + 20, 12);
}

} // namespace

// Plain ASCII: written in place, without the acceptance scan of text taken from a pointer.
zulwin::CString guid_t::ToString() const {
    // The string is made at its final size in one allocation.
    zulwin::CString out('-', kTextLength);
    FormatGuid(*this, out.GetBuffer());
    return out;
}

void guid_t::ToString(zulwin::CString& out) const {
    FormatGuid(*this, out.GetBufferSetLength(static_cast<int>(kTextLength)));
}

bool guid_t::IsEmpty() const {
    return *this == guid_t(false);
}

bool operator==(guid_t const& a, guid_t const& b) {
    return a.Data1 == b.Data1 && a.Data2 == b.Data2 && a.Data3 == b.Data3 &&
           std::memcmp(a.Data4, b.Data4, sizeof a.Data4) == 0;
}

} // namespace zulplatform
