/// \file
/// zulwin::CString, the byte string of the compatibility layer and the text type of every
/// interface of the library.
///
/// CString holds UTF-8. Lengths, indexes and positions are byte counts (Find's start bound is the
/// one place where a code-point count takes part). Text entering through `char const*` passes the
/// acceptance rule of CUtf8String: valid UTF-8 is taken as it is, anything else has every byte of
/// 0x80 and above replaced by '?'. Copies are deep; there is no reference counting.
#pragma once

#include <platform/export.h>
#include <platform/utf8_string.h>

#include <cstdarg>

namespace zulplatform {
class IModule;
}

namespace zulwin {

/// The byte string of the compatibility layer: UTF-8 content, byte lengths and positions, MFC
/// member names. No internal locking: concurrent reads are safe, a write is not.
class PLATFORM_API CString {
public:
    /// The empty string.
    CString() = default;
    /// An exact copy of the bytes (nothing validated again).
    CString(const CString& other) : m_str(other.m_str) {}
    /// Takes the bytes over; `other` is left empty.
    CString(CString&& other) noexcept = default;
    virtual ~CString();

    /// Validated copy (acceptance rule); null gives the empty string.
    CString(const char* s);
    /// n == CUtf8String::default_max_utf8_bytes: as CString(s). Otherwise the longest prefix of
    /// whole valid sequences of at most n bytes (nothing replaced).
    CString(const char* s, unsigned long n);
    /// The UTF-8 form of the UTF-16 text `s` (null: empty).
    CString(const char16_t* s);
    /// The UTF-8 form of the one-unit text {c}.
    CString(char16_t c);
    /// n raw copies of the byte c (not validated).
    CString(char c, unsigned long n);

    /// @{
    /// Assignment by the constructor of the same argument: a CString is copied or moved exactly,
    /// `char const*` and `char` pass the acceptance rule (a byte of 0x80 and above becomes '?'),
    /// UTF-16 is converted.
    CString& operator=(const CString& other);
    CString& operator=(CString&& other) noexcept;
    CString& operator=(const char* s);
    CString& operator=(char c);
    CString& operator=(const char16_t* s);
    CString& operator=(char16_t c);
    /// @}

    /// @{
    /// Appends, returning the string itself: another CString exactly (self-append is safe),
    /// `char const*` validated, a `char` of 0x80 and above as '?' (NUL appends nothing), UTF-16
    /// converted (null appends nothing).
    CString& operator+=(const CString& other);
    CString& operator+=(const char* s);
    CString& operator+=(char c);
    CString& operator+=(const char16_t* s);
    CString& operator+=(char16_t c);
    /// @}

    /// strcmp of the content with s.
    int Compare(char const* s) const;
    /// strcmp of both sides lower-cased by the Unicode table (s validated first).
    int CompareNoCase(char const* s) const;

    /// The length in bytes, not characters.
    long GetLength() const noexcept { return static_cast<long>(m_str.size()); }
    /// Whether the byte length is 0.
    bool IsEmpty() const noexcept { return m_str.empty(); }
    /// Makes the string empty.
    void Empty() noexcept { m_str.raw().clear(); }
    /// @{
    /// The byte at `i`. No bounds check; index == length yields the terminating NUL.
    char GetAt(unsigned long i) const { return m_str.c_str()[i]; }
    char operator[](unsigned long i) const { return m_str.c_str()[i]; }
    /// @}
    /// Replaces the byte at `i` by `c` ('?' for 0x80 and above); nothing at or beyond the end.
    /// NUL cuts the string at `i`.
    void SetAt(unsigned long i, char c);

    /// `count` bytes from byte `first` (a negative first counts as 0), through the acceptance
    /// rule, so a piece that cuts a sequence turns its high bytes into '?'. Empty for a negative
    /// count or a first beyond the length. There is no one-argument form.
    CString Mid(int first, long count) const;
    /// The first `n` bytes (validated); empty for n < 1, an exact copy for n >= length.
    CString Left(long n) const;
    /// The last `n` bytes (validated); empty for n < 1, an exact copy for n >= length.
    CString Right(long n) const;
    /// Throws zulplatform::CException(-1) for a null set.
    CString SpanIncluding(char const* set) const;
    /// The next token from byte `pos`, skipping leading delimiters (so no empty tokens); `pos`
    /// moves just past the delimiter that ended it (length + 1 at the end). When nothing is
    /// left, or for a negative `pos`, returns "" and sets `pos` to -1. A null or empty set
    /// returns the rest of the string.
    CString Tokenize(char const* delimiters, int& pos) const;

    /// @{
    /// Maps every code point by the Unicode 9.0 simple case tables (not byte-wise, not by the
    /// locale); returns the string itself.
    CString& MakeLower();
    CString& MakeUpper();
    /// @}

    /// Replaces each `oldChar` by the raw byte `newChar` and returns the count; 0 for NUL or
    /// equal characters. Searches as Find does, so in text with multi-byte characters hits at
    /// byte positions not below the code-point count are deliberately left alone.
    int Replace(char oldChar, char newChar);
    /// Replaces each `oldText` by `newText` and returns the count. The search resumes at the
    /// start of the inserted text: a `newText` that contains `oldText` never ends, so do not
    /// pass such a pair. Bounded like Find.
    int Replace(const char* oldText, const char* newText);
    /// Removes every byte `c` and returns the count; NUL empties the string.
    int Remove(char c);
    /// @{
    /// Inserts raw before byte `pos` (pos == length appends; beyond, or negative, does nothing);
    /// returns the new byte length.
    int Insert(int pos, const char* s);
    int Insert(int pos, char c);
    /// @}
    /// Removes `count` bytes at `pos`, clamped to the end; a negative count removes to the end.
    /// Returns the new byte length.
    int Delete(int pos, int count = 1);
    /// Throws the int 0x80070057 for a negative n; a larger n pads with NUL bytes.
    void Truncate(int n);

    /// @{
    /// Removes the leading (TrimLeft), trailing (TrimRight) or both runs of the byte `c`, of the
    /// bytes of `set`, or of white space: CR, LF, tab, backspace and space (vertical tab and
    /// form feed are deliberately not white space). NUL or an empty set does nothing. Returns
    /// the string itself.
    CString& TrimLeft(char c);
    CString& TrimLeft(const char* set);
    CString& TrimLeft();
    CString& TrimRight(char c);
    CString& TrimRight(const char* set);
    CString& TrimRight();
    CString& Trim(char c);
    CString& Trim(const char* set);
    CString& Trim();
    /// @}

    /// @{
    /// The byte index of `s` (or `c`) from byte `start` (0 when omitted), -1 when absent. The
    /// start is deliberately bounded by the code-point count, not the byte length: a start not
    /// below GetLength() of the UTF-8 value finds nothing even where the bytes go on. A negative
    /// start or a null `s` finds nothing.
    int Find(char const* s, int start) const;
    int Find(char const* s) const;
    int Find(char c) const;
    int Find(char c, int start) const;
    /// @}
    /// The index of the last byte `c`; -1 when absent, for NUL or an empty string.
    int ReverseFind(char c) const;
    /// The first index of the first character of `set` that occurs at all, taking the set in
    /// its order: deliberately not the leftmost member ("abc" with "cb" gives 2). -1 when none.
    int FindOneOf(char const* set) const;

    /// @{
    /// Replaces the content with the printf formatting of the arguments, unvalidated; a null or
    /// empty format empties the string, an encoding error too. No length limit. AppendFormat
    /// appends the result instead.
    void FormatV(const char* format, va_list args);
    void Format(const char* format, ...) __attribute__((format(printf, 2, 3)));
    void AppendFormat(const char* format, ...) __attribute__((format(printf, 2, 3)));
    /// @}
    /// @{
    /// The format is the string resource `id` of the current resource module; an unknown id
    /// formats nothing (Format empties the string).
    void Format(unsigned int id, ...);
    void AppendFormat(unsigned int id, ...);
    /// @}

    /// Empties the string, then takes the module's text for `id` (validated). True when the
    /// result is not empty: an empty text counts as not found.
    bool LoadString(zulplatform::IModule* module, unsigned int id);
    /// LoadString(AfxGetResourceHandle(), id).
    bool LoadString(unsigned int id);

    /// The content, writable up to the current length.
    char* GetBuffer() { return m_str.GetBuffer(); }
    /// Sets the byte length to `n` (new bytes are NUL) and returns the content.
    char* GetBufferSetLength(int n);
    /// After writing through GetBuffer: -1 sets the length to the buffer's strlen, any other
    /// `n` to exactly `n`.
    void ReleaseBuffer(int n = -1);

    /// @{
    /// The content as a NUL-terminated string.
    const char* GetString() const noexcept { return m_str.c_str(); }
    explicit operator const char*() const noexcept { return m_str.c_str(); }
    /// @}
    /// The underlying UTF-8 value.
    const zulplatform::_CUtf8String& GetUtf8() const noexcept { return m_str; }

private:
    zulplatform::_CUtf8String m_str;
};

/// @{
/// Two strings are equal when their bytes are, embedded NULs included.
PLATFORM_API bool operator==(const CString& a, const CString& b);
PLATFORM_API bool operator!=(const CString& a, const CString& b);
/// @}
/// @{
/// Against a C string: strcmp of the content, so equality stops at the first NUL.
PLATFORM_API bool operator==(const CString& a, const char* b);
PLATFORM_API bool operator==(const char* a, const CString& b);
PLATFORM_API bool operator!=(const CString& a, const char* b);
PLATFORM_API bool operator!=(const char* a, const CString& b);
/// @}
/// @{
/// The sign of strcmp of the contents: unsigned byte order up to the first NUL.
PLATFORM_API bool operator<(const CString& a, const CString& b);
PLATFORM_API bool operator>(const CString& a, const CString& b);
PLATFORM_API bool operator<=(const CString& a, const CString& b);
PLATFORM_API bool operator>=(const CString& a, const CString& b);
/// @}

/// @{
/// The left operand as a CString (by its constructor), then the right one appended by the
/// matching operator+=. Deliberately asymmetric: `char + CString` keeps a byte of 0x80 and
/// above raw (CString(c, 1)), while `CString + char` turns it into '?'.
PLATFORM_API CString operator+(const CString& a, const CString& b);
PLATFORM_API CString operator+(const char* a, const CString& b);
PLATFORM_API CString operator+(const char16_t* a, const CString& b);
PLATFORM_API CString operator+(char16_t a, const CString& b);
PLATFORM_API CString operator+(char a, const CString& b);
PLATFORM_API CString operator+(const CString& a, char b);
PLATFORM_API CString operator+(const CString& a, char16_t b);
PLATFORM_API CString operator+(const CString& a, const char* b);
PLATFORM_API CString operator+(const CString& a, const char16_t* b);
/// @}

} // namespace zulwin

namespace zulplatform {

/// CString(s): the acceptance rule applies.
PLATFORM_API zulwin::CString CStringFromUtf8String(char const* s);
/// From the content of u up to its first NUL, through the acceptance rule again.
PLATFORM_API zulwin::CString CStringFromUtf8String(CUtf8String const& u);
/// CString(s): the UTF-8 form of the UTF-16 text.
PLATFORM_API zulwin::CString CStringFromUtf16String(char16_t const* s);

} // namespace zulplatform
