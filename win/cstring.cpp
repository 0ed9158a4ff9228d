// zulwin::CString: a thin layer over zulplatform::_CUtf8String. Every edit goes through the
// UTF-8 value's own routes so that the acceptance rule and the position semantics live in one
// place; this file only maps the string-class interface onto them.
#include <platform/app.h>
#include <platform/cstring.h>
#include <platform/exception.h>
#include <platform/module_object.h>

#include "text/internal/code_point_tally.h"
#include "text/internal/utf8.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

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

// Membership in a set of bytes as strchr decides it, in one step per byte: the terminating NUL
// belongs to every set, so a NUL byte in the content is always a member.
class ByteSet {
public:
    explicit ByteSet(const char* set) : m_bits{1, 0, 0, 0} {
        for (; *set != '\0'; ++set)
            Add(static_cast<unsigned char>(*set));
    }
    bool operator()(char c) const {
        auto const b = static_cast<unsigned char>(c);
        return (m_bits[b >> 6] >> (b & 63)) & 1;
    }

private:
    void Add(unsigned char b) { m_bits[b >> 6] |= std::uint64_t{1} << (b & 63); }
    std::uint64_t m_bits[4];
};

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

// `n` bytes of `s` from `first`, through the acceptance rule. Plain ASCII passes it unchanged
// and is copied once; otherwise the rule works on terminated text, so the piece is terminated
// first (a short piece stays in the small-string buffer).
CString ValidatedPiece(const CString& s, unsigned long first, unsigned long n) {
    auto const* const p = reinterpret_cast<const unsigned char*>(s.GetString()) + first;
    if (utf8_private::detail::SkipAscii(p, p + n) == p + n) {
        CString piece('\0', n);
        std::memcpy(piece.GetBuffer(), p, n);
        return piece;
    }
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

    const ByteSet isDelimiter(delimiters);
    const char* content = GetString();
    long i = pos;
    while (i < length && isDelimiter(content[i]))
        ++i;
    if (i >= length) {
        pos = -1;
        return CString();
    }
    const long start = i;
    while (i < length && !isDelimiter(content[i]))
        ++i;
    // Past the delimiter that ended the token, or one past the end when the content did.
    pos = static_cast<int>(i + 1);
    return ValidatedPiece(*this, static_cast<unsigned long>(start),
                          static_cast<unsigned long>(i - start));
}

CString& CString::MakeLower() {
    m_str.MakeLower();
    return *this;
}

CString& CString::MakeUpper() {
    m_str.MakeUpper();
    return *this;
}

namespace {

using utf8_private::detail::CodePointTally;
using utf8_private::detail::SkipAscii;

bool IsPlainAscii(const char* p, std::size_t n) {
    auto const* const b = reinterpret_cast<const unsigned char*>(p);
    return SkipAscii(b, b + n) == b + n;
}

unsigned long CodePoints(std::string_view s) {
    auto const* const b = reinterpret_cast<const unsigned char*>(s.data());
    return utf8_private::detail::CountCodePoints(b, b + s.size(), ~0UL);
}

// The code-point count an editing loop's search position must stay below, after each hit.
class EditBound {
public:
    // `steady`: the text is valid and every hit swaps whole valid sequences for whole valid
    // sequences, so each hit changes the count by the same `change` and no walking is needed.
    // Otherwise the tally follows the text as it is rebuilt.
    EditBound(std::string_view original, bool steady, long change)
        : m_tally(original), m_steady(steady), m_change(change),
          m_start(steady ? static_cast<long>(CodePoints(original)) : 0) {}

    // The count after `hits` edits, the text reading done + piece + original[from..].
    unsigned long After(unsigned long hits, std::string_view done, std::string_view piece,
                        std::size_t from) {
        if (m_steady)
            return static_cast<unsigned long>(m_start + static_cast<long>(hits) * m_change);
        return m_tally.Count(done, piece, from);
    }

private:
    CodePointTally m_tally;
    bool m_steady;
    long m_change;
    long m_start;
};

// Valid by the light rule up to the first NUL; `searchable` receives that NUL's index.
bool ValidUpToNul(const std::string& s, std::size_t& searchable) {
    if (utf8_private::detail::ScanValidString(s.c_str(), searchable))
        return true;
    searchable = std::strlen(s.c_str());
    return false;
}

// The text replacement with each round applied to the string in place: remove the hit, insert
// the replacement, search again from the start of what was inserted. Kept for replacement texts
// that contain the searched text in strings with multi-byte characters: there the rounds end
// only when the position, which stays inside the growing replacement, reaches the code-point
// count, and only replaying them gives that result.
int ReplaceRoundByRound(zulplatform::_CUtf8String& str, const char* oldText, const char* newText) {
    const unsigned long oldLen = std::strlen(oldText);
    int count = 0;
    unsigned long pos = 0;
    while (str.Find(oldText, pos)) {
        str.RemoveAt(pos, oldLen);
        str.InsertAt(pos, newText);
        ++count;
    }
    return count;
}

// Offsets in `replacement` from which its rest is a proper beginning of `target`: where a hit
// can start inside the text just inserted and run on into the text after it.
std::vector<std::size_t> OverlapStarts(std::string_view replacement, std::string_view target) {
    std::vector<std::size_t> starts;
    std::size_t const first =
        replacement.size() >= target.size() ? replacement.size() - target.size() + 1 : 0;
    for (std::size_t i = first; i < replacement.size(); ++i)
        if (target.compare(0, replacement.size() - i, replacement.substr(i)) == 0)
            starts.push_back(i);
    return starts;
}

} // namespace

int CString::Replace(char oldChar, char newChar) {
    if (IsEmpty() || oldChar == '\0' || newChar == '\0' || oldChar == newChar)
        return 0;
    std::string& bytes = m_str.raw();
    char* const base = &bytes[0];
    // Searches end at the first NUL, and replacing never moves it.
    std::size_t const searchable = std::strlen(base);
    unsigned long count = 0;
    std::size_t pos = 0;
    auto nextHit = [&]() -> char* {
        return static_cast<char*>(std::memchr(base + pos, oldChar, searchable - pos));
    };
    if (static_cast<unsigned char>(oldChar) < 0x80 && static_cast<unsigned char>(newChar) < 0x80) {
        // One ASCII byte for another leaves the code-point count as it is.
        std::size_t const limit = m_str.GetLength();
        for (char* hit; pos < limit && (hit = nextHit()) != nullptr; ++count) {
            *hit = newChar;
            pos = static_cast<std::size_t>(hit - base);
        }
        return static_cast<int>(count);
    }
    // A byte of 0x80 and above changes how the text steps into code points, so the bound is
    // kept up to date hit by hit. The bytes after a hit are still the original ones.
    CodePointTally tally(bytes);
    for (char* hit; (hit = nextHit()) != nullptr; ++count) {
        std::string_view const done(base, pos);
        unsigned long const limit =
            count == 0 ? tally.Count(done, {}, 0) : tally.Count(done, {&newChar, 1}, pos + 1);
        if (pos >= limit)
            break;
        *hit = newChar;
        pos = static_cast<std::size_t>(hit - base);
    }
    return static_cast<int>(count);
}

int CString::Replace(const char* oldText, const char* newText) {
    if (IsEmpty() || oldText == nullptr || newText == nullptr || std::strcmp(oldText, newText) == 0)
        return 0;
    // An empty text matches at the search position itself, before and after each insertion, so
    // the rounds could never end: such a call changes nothing.
    if (*oldText == '\0')
        return 0;
    // The result is built apart from this string's bytes, so arguments that live in them are
    // copied.
    std::string oldCopy, newCopy;
    if (PointsInto(*this, oldText)) {
        oldCopy = oldText;
        oldText = oldCopy.c_str();
    }
    if (PointsInto(*this, newText)) {
        newCopy = newText;
        newText = newCopy.c_str();
    }
    std::string_view const target(oldText), replacement(newText);
    std::string& bytes = m_str.raw();
    std::size_t searchable = 0;
    bool const steady = ValidUpToNul(bytes, searchable) && utf8_private::IsValidString(oldText) &&
                        utf8_private::IsValidString(newText);
    bool const replacementHasTarget = replacement.find(target) != std::string_view::npos;
    if (replacementHasTarget &&
        !(IsPlainAscii(bytes.data(), searchable) && IsPlainAscii(newText, replacement.size())))
        return ReplaceRoundByRound(m_str, oldText, newText);

    // One pass: `done` is the text before the search position, `piece` what the last round
    // inserted there, and the original from `from` follows it. A round searches from the start
    // of the piece, so a hit may begin inside it and run on into the original.
    //
    // A replacement that contains the searched text (in plain ASCII text, the only case left
    // here) would be found inside itself again and again: those rounds never ended and the text
    // grew without bound. Here the search resumes after the inserted text instead, which gives
    // the same result as round by round for every call that ever returned.
    std::vector<std::size_t> const overlaps =
        replacementHasTarget ? std::vector<std::size_t>() : OverlapStarts(replacement, target);
    std::string const& original = bytes;
    std::string_view const source(original);
    std::string done;
    done.reserve(original.size() + (replacement.size() > target.size() ? original.size() / 8 : 0));
    std::string_view piece;
    std::size_t from = 0;
    EditBound bound(source, steady,
                    static_cast<long>(CodePoints(replacement)) -
                        static_cast<long>(CodePoints(target)));
    unsigned long count = 0;
    for (;; ++count) {
        std::size_t consumed = 0; // bytes of the original the hit takes after the piece
        std::size_t keep = 0;     // bytes of the piece before the hit
        bool found = false;
        for (std::size_t start : overlaps) {
            if (start >= piece.size())
                break;
            std::size_t const rest = target.size() - (piece.size() - start);
            if (from + rest <= searchable &&
                source.compare(from, rest, target.substr(piece.size() - start)) == 0) {
                keep = start;
                consumed = rest;
                found = true;
                break;
            }
        }
        const char* hit = nullptr;
        if (!found) {
            std::size_t const at = source.substr(0, searchable).find(target, from);
            if (at == std::string_view::npos)
                break;
            hit = original.data() + at;
            keep = piece.size();
        }
        // The search position is where `done` ends; it must stay below the code-point count.
        if (done.size() >= bound.After(count, done, piece, from))
            break;
        done.append(piece.data(), keep);
        if (hit != nullptr) {
            std::size_t const at = static_cast<std::size_t>(hit - original.data());
            done.append(original, from, at - from);
            from = at + target.size();
        } else {
            from += consumed;
        }
        if (replacementHasTarget) {
            done.append(replacement.data(), replacement.size());
            piece = {};
        } else {
            piece = replacement;
        }
    }
    done.append(piece.data(), piece.size());
    done.append(original, from, std::string::npos);
    bytes.swap(done);
    return static_cast<int>(count);
}

int CString::Remove(char c) {
    if (IsEmpty())
        return 0;
    std::string& bytes = m_str.raw();
    std::size_t searchable = 0;
    bool const valid = ValidUpToNul(bytes, searchable);
    if (c == '\0') {
        // NUL matches at every position: the first byte goes as long as the text has a code
        // point, that is up to the first NUL.
        bytes.erase(0, searchable);
        return static_cast<int>(searchable);
    }
    // Compacted in place, like std::remove. Each round's bound is taken right after its hit,
    // while the bytes after the hit are still where the original had them. In valid text an
    // ASCII byte is a whole code point.
    char* const base = &bytes[0];
    EditBound bound(bytes, valid && static_cast<unsigned char>(c) < 0x80, -1);
    std::size_t write = 0, read = 0;
    unsigned long count = 0;
    bool mayGoOn = bound.After(0, {}, {}, 0) > 0;
    for (; read < searchable; ++read) {
        if (base[read] != c) {
            base[write++] = base[read];
            continue;
        }
        if (!mayGoOn)
            break;
        ++count;
        mayGoOn = write < bound.After(count, {base, write}, {}, read + 1);
    }
    bytes.erase(write, read - write);
    return static_cast<int>(count);
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
