// CUtf8String: construction, the acceptance rule, appending, code-point counting, and the
// byte-position editing of zulplatform::_CUtf8String.
#include "text/internal/utf8.h"

#include <cstring>
#include <utility>

using utf8_private::detail::SeqLen;

namespace {

// Copies `len` bytes of `s` replacing every byte of 0x80 and above by '?': the acceptance
// rule's answer to text that is not valid as a whole.
std::string ReplaceNonAscii(const char* s, std::size_t len) {
    std::string out(s, len);
    for (char& c : out)
        if (static_cast<unsigned char>(c) >= 0x80)
            c = '?';
    return out;
}

// Appends `s` to `out` by the acceptance rule.
void AppendAccepted(std::string& out, const char* s) {
    if (s == nullptr || *s == 0)
        return;
    std::size_t len;
    if (utf8_private::detail::ScanValidString(s, len))
        out.append(s, len);
    else
        out += ReplaceNonAscii(s, std::strlen(s));
}

} // namespace

namespace utf8_private {
namespace detail {

unsigned long CountCodePoints(const unsigned char* p, const unsigned char* end,
                              unsigned long enough) {
    unsigned long count = 0;
    while (p < end && count < enough) {
        // Runs of ASCII count one per byte.
        std::size_t const want = enough - count;
        auto const* const stop = static_cast<std::size_t>(end - p) < want ? end : p + want;
        auto const* const q = SkipAscii(p, stop);
        count += static_cast<unsigned long>(q - p);
        p = q;
        if (p == end || count == enough)
            break;
        unsigned const len = SeqLen(*p);
        if (len == 0)
            break;
        ++count;
        // A sequence cut by the end of the buffer counts once and ends the walk.
        p += len < static_cast<std::size_t>(end - p) ? len : static_cast<std::size_t>(end - p);
    }
    return count;
}

} // namespace detail
} // namespace utf8_private

CUtf8String::CUtf8String(CUtf8String&& other) noexcept : m_str(std::move(other.m_str)) {
    other.m_str.clear();
}

CUtf8String& CUtf8String::operator=(CUtf8String&& other) noexcept {
    if (this != &other) {
        m_str = std::move(other.m_str);
        other.m_str.clear();
    }
    return *this;
}

CUtf8String::CUtf8String(std::string&& raw) noexcept : m_str(std::move(raw)) {}

CUtf8String& CUtf8String::operator=(std::string&& raw) noexcept {
    m_str = std::move(raw);
    return *this;
}

CUtf8String::CUtf8String(char const* s, unsigned long n) {
    if (n == default_max_utf8_bytes)
        _assign(s);
    else
        _assign(s, n);
}

CUtf8String::CUtf8String(char16_t const* s, unsigned long n) {
    _FromWide(s, n);
}

CUtf8String::CUtf8String(char32_t const* s, unsigned long n) {
    _FromWide(s, n);
}

void CUtf8String::_assign(char const* s) {
    if (s == nullptr || *s == 0) {
        m_str.clear();
        return;
    }
    std::size_t len;
    if (utf8_private::detail::ScanValidString(s, len))
        m_str.assign(s, len); // assign copes with `s` pointing into m_str
    else
        m_str = ReplaceNonAscii(s, std::strlen(s));
}

void CUtf8String::_assign(char const* s, unsigned long n) {
    if (s == nullptr || *s == 0) {
        m_str.clear();
        return;
    }
    m_str.assign(s, utf8_private::GetValidSize(s, n));
}

void CUtf8String::_FromWide(char16_t const* s, unsigned long n) {
    m_str.clear();
    if (s == nullptr)
        return;
    utf8_private::_AppendUtf16(s, m_str);
    _Truncate(n);
}

void CUtf8String::_FromWide(char32_t const* s, unsigned long n) {
    m_str.clear();
    if (s == nullptr)
        return;
    for (; *s != 0; ++s)
        utf8_private::SetCodePoint(m_str, static_cast<unsigned int>(*s));
    _Truncate(n);
}

void CUtf8String::_Truncate(unsigned long n) {
    std::size_t const size = m_str.size();
    if (n >= size || m_str[0] == 0)
        return;
    auto const* p = reinterpret_cast<unsigned char const*>(m_str.data());
    std::size_t pos = 0;
    for (;;) {
        unsigned const len = SeqLen(p[pos]);
        if (len == 0 || len > n - pos)
            break;
        pos += len;
    }
    m_str.resize(pos);
}

CUtf8String& CUtf8String::operator+=(CUtf8String const& other) {
    // append copes with appending a string to itself.
    m_str.append(other.m_str);
    return *this;
}

CUtf8String& CUtf8String::operator+=(char const* s) {
    AppendAccepted(m_str, s);
    return *this;
}

CUtf8String& CUtf8String::operator+=(char16_t const* s) {
    if (s != nullptr)
        utf8_private::_AppendUtf16(s, m_str);
    return *this;
}

unsigned long CUtf8String::GetLength() const {
    auto const* p = reinterpret_cast<unsigned char const*>(m_str.data());
    return utf8_private::detail::CountCodePoints(p, p + m_str.size(), ~0UL);
}

int CUtf8String::Compare(char const* s) const {
    return std::strcmp(m_str.c_str(), s ? s : "");
}

void CUtf8String::ScrambleText() {
    std::memset(&m_str[0], '@', m_str.size());
}

namespace zulplatform {

void _CUtf8String::ReplaceAt(unsigned long pos, char const* s, unsigned long n) {
    if (pos >= m_str.size() || s == nullptr || n == 0)
        return;
    if (*s == 0) {
        m_str.erase(pos);
        return;
    }
    unsigned long const rest = m_str.size() - pos;
    m_str.replace(pos, n < rest ? n : rest, s);
}

void _CUtf8String::RemoveAt(unsigned long pos, unsigned long n) {
    unsigned long const size = m_str.size();
    if (pos >= size || n == 0)
        return;
    if (pos == 0 && n == size) {
        m_str.clear();
        return;
    }
    // pos + n is taken modulo 2^64 on purpose: a count that came from a negative number
    // erases to the end.
    unsigned long const count = pos + n > size ? size - pos : n;
    if (count == ~0UL)
        m_str.erase(pos);
    else
        m_str.erase(pos, count);
}

void _CUtf8String::InsertAt(unsigned long pos, char const* s) {
    if (s == nullptr || pos > m_str.size())
        return;
    if (pos == m_str.size())
        m_str.append(s);
    else
        m_str.insert(pos, s);
}

bool _CUtf8String::Find(char const* s, unsigned long& pos) const {
    // The start is bounded by the number of code points, not bytes: text with multi-byte
    // characters cannot be searched from a byte position at or beyond that count. The count never
    // exceeds the byte length, and it is only needed when there is a hit: then the walk stops as
    // soon as it has passed the start, so a search from near the beginning does not pay for the
    // whole text.
    if (s == nullptr || pos >= m_str.size())
        return false;
    char const* const base = m_str.c_str();
    char const* hit =
        (s[0] != 0 && s[1] == 0) ? std::strchr(base + pos, s[0]) : std::strstr(base + pos, s);
    if (hit == nullptr)
        return false;
    auto const* const bytes = reinterpret_cast<unsigned char const*>(base);
    if (utf8_private::detail::CountCodePoints(bytes, bytes + m_str.size(), pos + 1) <= pos)
        return false;
    pos = static_cast<unsigned long>(hit - base);
    return true;
}

char* _CUtf8String::GetBufferSetLength(unsigned long n) {
    m_str.resize(n);
    return &m_str[0];
}

void _CUtf8String::ReleaseBuffer(long n) {
    if (n == -1)
        m_str.resize(std::strlen(m_str.c_str()));
    else
        m_str.resize(static_cast<unsigned long>(n));
}

} // namespace zulplatform
