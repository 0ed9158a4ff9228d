// TZif reading. Every count is checked against the bytes left before anything is read.
#include "platform/internal/tzif_reader.h"

#include <cstring>
#include <string>
#include <vector>

namespace zulplatform {
namespace {

constexpr std::size_t kHeaderSize = 44;

std::uint32_t Be32(const unsigned char* p) {
    return static_cast<std::uint32_t>(p[0]) << 24 | static_cast<std::uint32_t>(p[1]) << 16 |
           static_cast<std::uint32_t>(p[2]) << 8 | p[3];
}

std::int64_t Be64(const unsigned char* p) {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(Be32(p)) << 32 | Be32(p + 4));
}

struct Header {
    char version;
    std::uint32_t isutcnt, isstdcnt, leapcnt, timecnt, typecnt, charcnt;

    // Bytes of the data block that follows, with times of `timeSize` bytes.
    std::uint64_t DataSize(std::size_t timeSize) const {
        return std::uint64_t{timecnt} * timeSize + timecnt + std::uint64_t{typecnt} * 6 + charcnt +
               std::uint64_t{leapcnt} * (timeSize + 4) + isstdcnt + isutcnt;
    }
};

bool ReadHeader(const unsigned char* p, std::size_t left, Header& h) {
    if (left < kHeaderSize || std::memcmp(p, "TZif", 4) != 0)
        return false;
    h.version = static_cast<char>(p[4]);
    if (h.version != 0 && (h.version < '2' || h.version > '4'))
        return false;
    h.isutcnt = Be32(p + 20);
    h.isstdcnt = Be32(p + 24);
    h.leapcnt = Be32(p + 28);
    h.timecnt = Be32(p + 32);
    h.typecnt = Be32(p + 36);
    h.charcnt = Be32(p + 40);
    return h.typecnt != 0 && h.typecnt <= 256 && h.charcnt != 0 &&
           (h.isutcnt == 0 || h.isutcnt == h.typecnt) &&
           (h.isstdcnt == 0 || h.isstdcnt == h.typecnt);
}

// One data block; `p` points just past its header, which fits `left` bytes of data.
bool ReadBlock(const Header& h, const unsigned char* p, std::size_t timeSize,
               std::vector<std::int64_t>& times, std::vector<unsigned char>& typeOf,
               std::vector<_TzLocalType>& types, std::vector<std::string>& abbrs) {
    times.resize(h.timecnt);
    for (std::size_t i = 0; i < h.timecnt; ++i, p += timeSize)
        times[i] = timeSize == 8 ? Be64(p) : static_cast<std::int32_t>(Be32(p));
    typeOf.assign(p, p + h.timecnt);
    p += h.timecnt;
    const unsigned char* const chars = p + std::size_t{h.typecnt} * 6;
    types.clear();
    abbrs.clear();
    for (std::size_t i = 0; i < h.typecnt; ++i, p += 6) {
        std::int32_t const offset = static_cast<std::int32_t>(Be32(p));
        unsigned const isDst = p[4], index = p[5];
        if (isDst > 1 || index >= h.charcnt)
            return false;
        const void* const nul = std::memchr(chars + index, 0, h.charcnt - index);
        if (nul == nullptr)
            return false;
        std::string abbr(reinterpret_cast<const char*>(chars + index),
                         static_cast<const unsigned char*>(nul) - (chars + index));
        std::size_t a = 0;
        while (a < abbrs.size() && abbrs[a] != abbr)
            ++a;
        if (a == abbrs.size())
            abbrs.push_back(abbr);
        types.push_back({offset, isDst != 0, static_cast<std::uint16_t>(a)});
    }
    p = chars + h.charcnt;
    // Leap-second records: occurrences ascending, as the format requires.
    for (std::size_t i = 0; i < h.leapcnt; ++i, p += timeSize + 4) {
        std::int64_t const at = timeSize == 8 ? Be64(p) : static_cast<std::int32_t>(Be32(p));
        if (i > 0 && at <= (timeSize == 8 ? Be64(p - 12) : static_cast<std::int32_t>(Be32(p - 8))))
            return false;
    }
    for (std::size_t i = 0; i < std::size_t{h.isstdcnt} + h.isutcnt; ++i)
        if (p[i] > 1)
            return false;
    return true;
}

} // namespace

bool _ReadTzif(const unsigned char* data, std::size_t size, _TzZone& zone) {
    Header h1;
    if (data == nullptr || !ReadHeader(data, size, h1))
        return false;
    std::uint64_t const size1 = h1.DataSize(4);
    if (size1 > size - kHeaderSize)
        return false;
    std::vector<std::int64_t> times;
    std::vector<unsigned char> typeOf;
    std::vector<_TzLocalType> types;
    std::vector<std::string> abbrs;
    if (h1.version == 0) {
        return ReadBlock(h1, data + kHeaderSize, 4, times, typeOf, types, abbrs) &&
               zone.Build(times, typeOf, types, abbrs, nullptr);
    }
    // Version 2 on: the 64-bit block after the 32-bit one is the one that counts.
    const unsigned char* p = data + kHeaderSize + size1;
    std::size_t left = size - kHeaderSize - static_cast<std::size_t>(size1);
    Header h2;
    if (!ReadHeader(p, left, h2) || h2.version != h1.version)
        return false;
    std::uint64_t const size2 = h2.DataSize(8);
    if (size2 > left - kHeaderSize)
        return false;
    if (!ReadBlock(h2, p + kHeaderSize, 8, times, typeOf, types, abbrs))
        return false;
    p += kHeaderSize + size2;
    left -= kHeaderSize + static_cast<std::size_t>(size2);
    // The footer: a rule between two line feeds; empty when none.
    if (left < 2 || p[0] != '\n')
        return false;
    const void* const close = std::memchr(p + 1, '\n', left - 1);
    if (close == nullptr)
        return false;
    std::size_t const ruleLength = static_cast<const unsigned char*>(close) - (p + 1);
    if (ruleLength == 0)
        return zone.Build(times, typeOf, types, abbrs, nullptr);
    _TzPosixRule rule;
    return _ParseTzPosixRule(reinterpret_cast<const char*>(p + 1), ruleLength, rule) &&
           zone.Build(times, typeOf, types, abbrs, &rule);
}

} // namespace zulplatform
