// GUIDs: creation from the kernel's random source, the text form and its parser.
#include <platform/guid.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
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

zulwin::CString guid_t::ToString() const {
    static constexpr char kDigits[] = "0123456789abcdef";
    char text[kTextLength];
    char* p = text;
    auto put = [&p](unsigned int v, int digits) {
        for (int shift = 4 * (digits - 1); shift >= 0; shift -= 4)
            *p++ = kDigits[(v >> shift) & 0xF];
    };
    put(Data1, 8);
    *p++ = '-';
    put(Data2, 4);
    *p++ = '-';
    put(Data3, 4);
    *p++ = '-';
    put(Data4[0], 2);
    put(Data4[1], 2);
    *p++ = '-';
    for (int i = 2; i < 8; ++i)
        put(Data4[i], 2);
    // Plain ASCII: filled in place without the acceptance scan.
    zulwin::CString out('0', kTextLength);
    std::memcpy(out.GetBuffer(), text, kTextLength);
    return out;
}

bool guid_t::IsEmpty() const {
    return *this == guid_t(false);
}

bool operator==(guid_t const& a, guid_t const& b) {
    return a.Data1 == b.Data1 && a.Data2 == b.Data2 && a.Data3 == b.Data3 &&
           std::memcmp(a.Data4, b.Data4, sizeof a.Data4) == 0;
}

} // namespace zulplatform
