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

class PLATFORM_API CString {
public:
    CString() = default;
    CString(const CString& other) : m_str(other.m_str) {}
    CString(CString&& other) noexcept = default;
    virtual ~CString();

    /// Validated copy (acceptance rule); null gives the empty string.
    CString(const char* s);
    /// n == CUtf8String::default_max_utf8_bytes: as CString(s). Otherwise the longest prefix of
    /// whole valid sequences of at most n bytes (nothing replaced).
    CString(const char* s, unsigned long n);
    CString(const char16_t* s);
    CString(char16_t c);
    /// n raw copies of the byte c (not validated).
    CString(char c, unsigned long n);

    CString& operator=(const CString& other);
    CString& operator=(CString&& other) noexcept;
    CString& operator=(const char* s);
    CString& operator=(char c);
    CString& operator=(const char16_t* s);
    CString& operator=(char16_t c);

    CString& operator+=(const CString& other);
    CString& operator+=(const char* s);
    CString& operator+=(char c);
    CString& operator+=(const char16_t* s);
    CString& operator+=(char16_t c);

    /// strcmp of the content with s.
    int Compare(char const* s) const;
    /// strcmp of both sides lower-cased by the Unicode table (s validated first).
    int CompareNoCase(char const* s) const;

    long GetLength() const noexcept { return static_cast<long>(m_str.size()); }
    bool IsEmpty() const noexcept { return m_str.empty(); }
    void Empty() noexcept { m_str.raw().clear(); }
    /// No bounds check; index == length yields the terminating NUL.
    char GetAt(unsigned long i) const { return m_str.c_str()[i]; }
    char operator[](unsigned long i) const { return m_str.c_str()[i]; }
    void SetAt(unsigned long i, char c);

    CString Mid(int first, long count) const;
    CString Left(long n) const;
    CString Right(long n) const;
    /// Throws zulplatform::CException(-1) for a null set.
    CString SpanIncluding(char const* set) const;
    CString Tokenize(char const* delimiters, int& pos) const;

    CString& MakeLower();
    CString& MakeUpper();

    int Replace(char oldChar, char newChar);
    int Replace(const char* oldText, const char* newText);
    int Remove(char c);
    int Insert(int pos, const char* s);
    int Insert(int pos, char c);
    int Delete(int pos, int count = 1);
    /// Throws the int 0x80070057 for a negative n; a larger n pads with NUL bytes.
    void Truncate(int n);

    CString& TrimLeft(char c);
    CString& TrimLeft(const char* set);
    CString& TrimLeft();
    CString& TrimRight(char c);
    CString& TrimRight(const char* set);
    CString& TrimRight();
    CString& Trim(char c);
    CString& Trim(const char* set);
    CString& Trim();

    int Find(char const* s, int start) const;
    int Find(char const* s) const;
    int Find(char c) const;
    int Find(char c, int start) const;
    int ReverseFind(char c) const;
    int FindOneOf(char const* set) const;

    void FormatV(const char* format, va_list args);
    void Format(const char* format, ...) __attribute__((format(printf, 2, 3)));
    void AppendFormat(const char* format, ...) __attribute__((format(printf, 2, 3)));
    /// The format is the string resource `id` of the current resource module.
    void Format(unsigned int id, ...);
    void AppendFormat(unsigned int id, ...);

    bool LoadString(zulplatform::IModule* module, unsigned int id);
    bool LoadString(unsigned int id);

    char* GetBuffer() { return m_str.GetBuffer(); }
    char* GetBufferSetLength(int n);
    void ReleaseBuffer(int n = -1);

    /// The content as a NUL-terminated string.
    const char* GetString() const noexcept { return m_str.c_str(); }
    explicit operator const char*() const noexcept { return m_str.c_str(); }
    /// The underlying UTF-8 value.
    const zulplatform::_CUtf8String& GetUtf8() const noexcept { return m_str; }

private:
    zulplatform::_CUtf8String m_str;
};

PLATFORM_API bool operator==(const CString& a, const CString& b);
PLATFORM_API bool operator!=(const CString& a, const CString& b);
PLATFORM_API bool operator==(const CString& a, const char* b);
PLATFORM_API bool operator==(const char* a, const CString& b);
PLATFORM_API bool operator!=(const CString& a, const char* b);
PLATFORM_API bool operator!=(const char* a, const CString& b);
PLATFORM_API bool operator<(const CString& a, const CString& b);
PLATFORM_API bool operator>(const CString& a, const CString& b);
PLATFORM_API bool operator<=(const CString& a, const CString& b);
PLATFORM_API bool operator>=(const CString& a, const CString& b);

PLATFORM_API CString operator+(const CString& a, const CString& b);
PLATFORM_API CString operator+(const char* a, const CString& b);
PLATFORM_API CString operator+(const char16_t* a, const CString& b);
PLATFORM_API CString operator+(char16_t a, const CString& b);
PLATFORM_API CString operator+(char a, const CString& b);
PLATFORM_API CString operator+(const CString& a, char b);
PLATFORM_API CString operator+(const CString& a, char16_t b);
PLATFORM_API CString operator+(const CString& a, const char* b);
PLATFORM_API CString operator+(const CString& a, const char16_t* b);

} // namespace zulwin

namespace zulplatform {

/// CString(s): the acceptance rule applies.
PLATFORM_API zulwin::CString CStringFromUtf8String(char const* s);
/// From the content of u up to its first NUL, through the acceptance rule again.
PLATFORM_API zulwin::CString CStringFromUtf8String(CUtf8String const& u);
PLATFORM_API zulwin::CString CStringFromUtf16String(char16_t const* s);

} // namespace zulplatform
