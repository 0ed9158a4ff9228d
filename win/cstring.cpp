// zulwin::CString: a thin layer over zulplatform::_CUtf8String. Every edit goes through the
// UTF-8 value's own routes so that the acceptance rule and the position semantics live in one
// place; this file only maps the string-class interface onto them.
#include <platform/app.h>
#include <platform/cstring.h>
#include <platform/exception.h>
#include <platform/module_object.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <utility>

namespace zulwin {

namespace {

// Bytes that TrimLeft(), TrimRight() and Trim() remove. Backspace is white space here; vertical
// tab and form feed are not.
constexpr const char kWhiteSpace[] = "\r\n\t\b ";

// Size of the formatting work buffer, terminator included. Nearly every result fits, so the
// common case formats on the stack and copies once.
constexpr std::size_t kFormatBufferSize = 1025;

// HRESULT E_INVALIDARG, thrown as a plain int by Truncate.
constexpr unsigned int kInvalidArgument = 0x80070057u;

// Signed positions and counts become the unsigned ones of the position operations with their
// sign kept, so that a negative value lands far beyond any end.
unsigned long Widen(long v) {
    return static_cast<unsigned long>(v);
}

// The one-character text {c}; {NUL} is the empty text.
struct CharText {
    explicit CharText(char c) : text{c, '\0'} {}
    char text[2];
};

// True when p points into the bytes (terminator included) of s. An edit in several steps would
// move or overwrite such an argument, so callers copy it first.
bool PointsInto(const CString& s, const char* p) {
    const char* begin = s.GetString();
    const char* end = begin + s.GetLength() + 1;
    std::less<const char*> before;
    return !before(p, begin) && before(p, end);
}

bool ContainsByte(const char* set, std::size_t setLen, char c) {
    return std::memchr(set, c, setLen) != nullptr;
}

} // namespace

CString::~CString() = default;

CString::CString(const char* s) : m_str(s, CUtf8String::default_max_utf8_bytes) {}

CString::CString(const char* s, unsigned long n) : m_str(s, n) {}

CString::CString(const char16_t* s) : m_str(s, CUtf8String::default_max_utf8_bytes) {}

CString::CString(char16_t c) {
    *this = c;
}

CString::CString(char c, unsigned long n) : m_str(std::string(n, c)) {}

CString& CString::operator=(const CString& other) {
    if (this != &other)
        m_str = other.m_str;
    return *this;
}

CString& CString::operator=(CString&& other) noexcept {
    if (this != &other)
        m_str = std::move(other.m_str);
    return *this;
}

// The validated assignment copes with `s` pointing into this string's own bytes.
CString& CString::operator=(const char* s) {
    m_str._assign(s);
    return *this;
}

// {c} passes the acceptance rule: a byte of 0x80 and above is invalid alone and becomes '?'.
CString& CString::operator=(char c) {
    const CharText ct(c);
    m_str._assign(ct.text);
    return *this;
}

CString& CString::operator=(const char16_t* s) {
    m_str._FromWide(s, CUtf8String::default_max_utf8_bytes);
    return *this;
}

CString& CString::operator=(char16_t c) {
    const char16_t text[2] = {c, u'\0'};
    m_str._FromWide(text, CUtf8String::default_max_utf8_bytes);
    return *this;
}

CString& CString::operator+=(const CString& other) {
    m_str += other.m_str;
    return *this;
}

CString& CString::operator+=(const char* s) {
    m_str += s;
    return *this;
}

CString& CString::operator+=(char c) {
    const CharText ct(c);
    m_str += ct.text;
    return *this;
}

CString& CString::operator+=(const char16_t* s) {
    m_str += s;
    return *this;
}

CString& CString::operator+=(char16_t c) {
    const char16_t text[2] = {c, u'\0'};
    m_str += text;
    return *this;
}

// A null argument compares as the empty text rather than crashing in strcmp.
int CString::Compare(char const* s) const {
    return m_str.Compare(s != nullptr ? s : "");
}

int CString::CompareNoCase(char const* s) const {
    return m_str.CompareNoCase(s);
}

void CString::SetAt(unsigned long i, char c) {
    // The replacement is raw, so a byte that cannot stand alone in UTF-8 is written as '?'. A
    // NUL makes the replacement empty, which cuts the string at i.
    const CharText ct(static_cast<unsigned char>(c) >= 0x80 ? '?' : c);
    m_str.ReplaceAt(i, ct.text, 1);
}

namespace {

// `n` bytes of `s` from `first`, through the acceptance rule. The rule works on terminated
// text, so the piece is terminated first (a short piece stays in the small-string buffer).
CString ValidatedPiece(const CString& s, unsigned long first, unsigned long n) {
    const std::string piece(s.GetString() + first, n);
    return CString(piece.c_str());
}

} // namespace

CString CString::Mid(int first, long count) const {
    const long length = GetLength();
    const long from = first < 0 ? 0 : first;
    if (count < 0 || from > length)
        return CString();
    const long n = std::min(length - from, count);
    return ValidatedPiece(*this, from, n);
}

CString CString::Left(long n) const {
    if (n < 1)
        return CString();
    if (n >= GetLength())
        return *this;
    return ValidatedPiece(*this, 0, n);
}

CString CString::Right(long n) const {
    if (n < 1)
        return CString();
    const long length = GetLength();
    if (n < length)
        return ValidatedPiece(*this, length - n, n);
    return *this;
}

CString CString::SpanIncluding(char const* set) const {
    if (set == nullptr)
        zulplatform::CException::Throw(-1);
    if (*set == '\0' || IsEmpty())
        return CString();
    return Left(static_cast<long>(std::strspn(GetString(), set)));
}

CString CString::Tokenize(char const* delimiters, int& pos) const {
    const long length = GetLength();
    if (pos < 0) {
        pos = -1;
        return CString();
    }
    if (delimiters == nullptr || *delimiters == '\0') {
        if (pos < length) {
            CString rest = Right(length - pos);
            pos = static_cast<int>(length);
            return rest;
        }
        pos = -1;
        return CString();
    }
    if (pos >= length) {
        pos = -1;
        return CString();
    }

    // Membership is tested with strchr, so a NUL byte in the content counts as a delimiter.
    const char* content = GetString();
    long i = pos;
    while (i < length && std::strchr(delimiters, content[i]) != nullptr)
        ++i;
    if (i >= length) {
        pos = -1;
        return CString();
    }
    const long start = i;
    while (i < length && std::strchr(delimiters, content[i]) == nullptr)
        ++i;
    const std::string token(content + start, static_cast<std::size_t>(i - start));
    // Past the delimiter that ended the token, or one past the end when the content did.
    pos = static_cast<int>(i + 1);
    return CString(token.c_str());
}

CString& CString::MakeLower() {
    m_str.MakeLower();
    return *this;
}

CString& CString::MakeUpper() {
    m_str.MakeUpper();
    return *this;
}

int CString::Replace(char oldChar, char newChar) {
    if (IsEmpty() || oldChar == '\0' || newChar == '\0' || oldChar == newChar)
        return 0;
    const CharText target(oldChar);
    const CharText replacement(newChar);
    int count = 0;
    unsigned long pos = 0;
    while (m_str.Find(target.text, pos)) {
        m_str.ReplaceAt(pos, replacement.text, 1);
        ++count;
    }
    return count;
}

int CString::Replace(const char* oldText, const char* newText) {
    if (IsEmpty() || oldText == nullptr || newText == nullptr || std::strcmp(oldText, newText) == 0)
        return 0;
    // The edits below move this string's bytes, so arguments that live in them are copied.
    std::string oldCopy, newCopy;
    if (PointsInto(*this, oldText)) {
        oldCopy = oldText;
        oldText = oldCopy.c_str();
    }
    if (PointsInto(*this, newText)) {
        newCopy = newText;
        newText = newCopy.c_str();
    }
    const unsigned long oldLen = std::strlen(oldText);
    int count = 0;
    unsigned long pos = 0;
    // The search resumes at the start of the inserted text, not after it.
    while (m_str.Find(oldText, pos)) {
        m_str.RemoveAt(pos, oldLen);
        m_str.InsertAt(pos, newText);
        ++count;
    }
    return count;
}

int CString::Remove(char c) {
    if (IsEmpty())
        return 0;
    // For NUL the text is empty, which matches at every position: the string empties.
    const CharText target(c);
    int count = 0;
    unsigned long pos = 0;
    while (m_str.Find(target.text, pos)) {
        m_str.RemoveAt(pos, 1);
        ++count;
    }
    return count;
}

// A single insertion copes with `s` pointing into this string's own bytes.
int CString::Insert(int pos, const char* s) {
    m_str.InsertAt(Widen(pos), s);
    return static_cast<int>(GetLength());
}

int CString::Insert(int pos, char c) {
    const CharText ct(c);
    return Insert(pos, ct.text);
}

int CString::Delete(int pos, int count) {
    m_str.RemoveAt(Widen(pos), Widen(count));
    return static_cast<int>(GetLength());
}

void CString::Truncate(int n) {
    if (n < 0)
        throw static_cast<int>(kInvalidArgument);
    m_str.GetBufferSetLength(Widen(n));
}

CString& CString::TrimLeft(char c) {
    const CharText ct(c);
    return TrimLeft(ct.text);
}

CString& CString::TrimLeft(const char* set) {
    if (set == nullptr || *set == '\0')
        return *this;
    const std::size_t setLen = std::strlen(set);
    const char* content = GetString();
    const unsigned long length = m_str.size();
    unsigned long run = 0;
    while (run < length && ContainsByte(set, setLen, content[run]))
        ++run;
    m_str.RemoveAt(0, run);
    return *this;
}

CString& CString::TrimLeft() {
    return TrimLeft(kWhiteSpace);
}

CString& CString::TrimRight(char c) {
    const CharText ct(c);
    return TrimRight(ct.text);
}

CString& CString::TrimRight(const char* set) {
    if (set == nullptr || *set == '\0' || IsEmpty())
        return *this;
    const std::size_t setLen = std::strlen(set);
    const char* content = GetString();
    const unsigned long length = m_str.size();
    unsigned long keep = length;
    while (keep > 0 && ContainsByte(set, setLen, content[keep - 1]))
        --keep;
    m_str.RemoveAt(keep, length - keep);
    return *this;
}

CString& CString::TrimRight() {
    return TrimRight(kWhiteSpace);
}

CString& CString::Trim(char c) {
    return TrimLeft(c).TrimRight(c);
}

CString& CString::Trim(const char* set) {
    return TrimLeft(set).TrimRight(set);
}

CString& CString::Trim() {
    return TrimLeft().TrimRight();
}

int CString::Find(char const* s, int start) const {
    if (s == nullptr)
        return -1;
    unsigned long pos = Widen(start);
    return m_str.Find(s, pos) ? static_cast<int>(pos) : -1;
}

int CString::Find(char const* s) const {
    return Find(s, 0);
}

int CString::Find(char c) const {
    return Find(c, 0);
}

int CString::Find(char c, int start) const {
    const CharText ct(c);
    return Find(ct.text, start);
}

int CString::ReverseFind(char c) const {
    if (c == '\0')
        return -1;
    const char* content = GetString();
    for (long i = GetLength() - 1; i >= 0; --i) {
        if (content[i] == c)
            return static_cast<int>(i);
    }
    return -1;
}

int CString::FindOneOf(char const* set) const {
    if (IsEmpty() || set == nullptr)
        return -1;
    // The first member of the set that occurs decides, wherever its hit lies.
    for (const char* p = set; *p != '\0'; ++p) {
        const int hit = Find(*p);
        if (hit >= 0)
            return hit;
    }
    return -1;
}

void CString::FormatV(const char* format, va_list args) {
    if (format == nullptr || *format == '\0') {
        Empty();
        return;
    }
    char buffer[kFormatBufferSize];
    va_list first;
    va_copy(first, args);
    const int produced = std::vsnprintf(buffer, sizeof buffer, format, first);
    va_end(first);
    if (produced < 0) {
        Empty();
        return;
    }
    const auto length = static_cast<std::size_t>(produced);
    if (length < sizeof buffer) {
        // Formatted text is taken as it is, without validation.
        m_str.raw().assign(buffer, length);
        return;
    }

    // Rare: the text did not fit; make it again at its full size. The arguments may point into
    // this string, so the content is replaced only once the text is complete.
    std::string text(length, '\0');
    va_list second;
    va_copy(second, args);
    const int again = std::vsnprintf(&text[0], length + 1, format, second);
    va_end(second);
    if (again < 0) {
        Empty();
        return;
    }
    text.resize(std::min(length, static_cast<std::size_t>(again)));
    m_str.raw() = std::move(text);
}

void CString::Format(const char* format, ...) {
    va_list args;
    va_start(args, format);
    FormatV(format, args);
    va_end(args);
}

void CString::AppendFormat(const char* format, ...) {
    CString text;
    va_list args;
    va_start(args, format);
    text.FormatV(format, args);
    va_end(args);
    *this += text;
}

void CString::Format(unsigned int id, ...) {
    CString format;
    format.LoadString(id);
    va_list args;
    va_start(args, id);
    FormatV(format.GetString(), args);
    va_end(args);
}

void CString::AppendFormat(unsigned int id, ...) {
    CString format;
    format.LoadString(id);
    CString text;
    va_list args;
    va_start(args, id);
    text.FormatV(format.GetString(), args);
    va_end(args);
    *this += text;
}

bool CString::LoadString(zulplatform::IModule* module, unsigned int id) {
    Empty();
    if (module != nullptr)
        m_str._assign(module->LoadString(id));
    // An id whose text is empty counts as not found.
    return !IsEmpty();
}

bool CString::LoadString(unsigned int id) {
    zulplatform::IModule* module = AfxGetResourceHandle();
    if (module == nullptr) {
        Empty();
        return false;
    }
    return LoadString(module, id);
}

char* CString::GetBufferSetLength(int n) {
    return m_str.GetBufferSetLength(Widen(n));
}

void CString::ReleaseBuffer(int n) {
    m_str.ReleaseBuffer(n);
}

bool operator==(const CString& a, const CString& b) {
    return a.GetUtf8().str() == b.GetUtf8().str();
}

bool operator!=(const CString& a, const CString& b) {
    return !(a == b);
}

bool operator==(const CString& a, const char* b) {
    return a.Compare(b) == 0;
}

bool operator==(const char* a, const CString& b) {
    return b.Compare(a) == 0;
}

bool operator!=(const CString& a, const char* b) {
    return !(a == b);
}

bool operator!=(const char* a, const CString& b) {
    return !(a == b);
}

bool operator<(const CString& a, const CString& b) {
    return a.Compare(b.GetString()) < 0;
}

bool operator>(const CString& a, const CString& b) {
    return a.Compare(b.GetString()) > 0;
}

bool operator<=(const CString& a, const CString& b) {
    return a.Compare(b.GetString()) <= 0;
}

bool operator>=(const CString& a, const CString& b) {
    return a.Compare(b.GetString()) >= 0;
}

CString operator+(const CString& a, const CString& b) {
    CString result(a);
    result += b;
    return result;
}

CString operator+(const char* a, const CString& b) {
    CString result(a);
    result += b;
    return result;
}

CString operator+(const char16_t* a, const CString& b) {
    CString result(a);
    result += b;
    return result;
}

CString operator+(char16_t a, const CString& b) {
    CString result(a);
    result += b;
    return result;
}

// Unlike CString + char, the byte is taken raw here: a byte of 0x80 and above is kept.
CString operator+(char a, const CString& b) {
    CString result(a, 1);
    result += b;
    return result;
}

CString operator+(const CString& a, char b) {
    CString result(a);
    result += b;
    return result;
}

CString operator+(const CString& a, char16_t b) {
    CString result(a);
    result += b;
    return result;
}

CString operator+(const CString& a, const char* b) {
    CString result(a);
    result += b;
    return result;
}

CString operator+(const CString& a, const char16_t* b) {
    CString result(a);
    result += b;
    return result;
}

} // namespace zulwin
