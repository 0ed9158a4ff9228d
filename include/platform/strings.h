// Strings and buffers: the CString byte string of the compatibility layer.
//
// CString holds UTF-8. Lengths, indexes and positions are byte counts (Find's start bound is the
// one place where a code-point count takes part). Text entering through `char const*` passes the
// acceptance rule of CUtf8String: valid UTF-8 is taken as it is, anything else has every byte of
// 0x80 and above replaced by '?'. Copies are deep; there is no reference counting.
#pragma once

#include <platform/unicode.h>

#include <cstdarg>
#include <cstddef>
#include <vector>

namespace zulplatform {
class IModule;
}

namespace zulwin {

class CString {
public:
    CString() = default;
    CString(const CString& other) : m_str(other.m_str) {}
    CString(CString&& other) noexcept = default;
    virtual ~CString();

    // Validated copy (acceptance rule); null gives the empty string.
    CString(const char* s);
    // n == CUtf8String::default_max_utf8_bytes: as CString(s). Otherwise the longest prefix of
    // whole valid sequences of at most n bytes (nothing replaced).
    CString(const char* s, unsigned long n);
    CString(const char16_t* s);
    CString(char16_t c);
    // n raw copies of the byte c (not validated).
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

    // strcmp of the content with s.
    int Compare(char const* s) const;
    // strcmp of both sides lower-cased by the Unicode table (s validated first).
    int CompareNoCase(char const* s) const;

    long GetLength() const noexcept { return static_cast<long>(m_str.size()); }
    bool IsEmpty() const noexcept { return m_str.empty(); }
    void Empty() noexcept { m_str.raw().clear(); }
    // No bounds check; index == length yields the terminating NUL.
    char GetAt(unsigned long i) const { return m_str.c_str()[i]; }
    char operator[](unsigned long i) const { return m_str.c_str()[i]; }
    void SetAt(unsigned long i, char c);

    CString Mid(int first, long count) const;
    CString Left(long n) const;
    CString Right(long n) const;
    // Throws zulplatform::CException(-1) for a null set.
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
    // Throws the int 0x80070057 for a negative n; a larger n pads with NUL bytes.
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
    // The format is the string resource `id` of the current resource module.
    void Format(unsigned int id, ...);
    void AppendFormat(unsigned int id, ...);

    bool LoadString(zulplatform::IModule* module, unsigned int id);
    bool LoadString(unsigned int id);

    char* GetBuffer() { return m_str.GetBuffer(); }
    char* GetBufferSetLength(int n);
    void ReleaseBuffer(int n = -1);

    // The content as a NUL-terminated string.
    const char* GetString() const noexcept { return m_str.c_str(); }
    explicit operator const char*() const noexcept { return m_str.c_str(); }
    // The underlying UTF-8 value.
    const zulplatform::_CUtf8String& GetUtf8() const noexcept { return m_str; }

private:
    zulplatform::_CUtf8String m_str;
};

bool operator==(const CString& a, const CString& b);
bool operator!=(const CString& a, const CString& b);
bool operator==(const CString& a, const char* b);
bool operator==(const char* a, const CString& b);
bool operator!=(const CString& a, const char* b);
bool operator!=(const char* a, const CString& b);
bool operator<(const CString& a, const CString& b);
bool operator>(const CString& a, const CString& b);
bool operator<=(const CString& a, const CString& b);
bool operator>=(const CString& a, const CString& b);

CString operator+(const CString& a, const CString& b);
CString operator+(const char* a, const CString& b);
CString operator+(const char16_t* a, const CString& b);
CString operator+(char16_t a, const CString& b);
CString operator+(char a, const CString& b);
CString operator+(const CString& a, char b);
CString operator+(const CString& a, char16_t b);
CString operator+(const CString& a, const char* b);
CString operator+(const CString& a, const char16_t* b);

// Ordered list of CString values, each owned by the array. Indexes and counts are signed 64-bit.
// Not copyable: use Copy.
class CStringArray {
public:
    CStringArray() = default;
    CStringArray(const CStringArray&) = delete;
    CStringArray& operator=(const CStringArray&) = delete;
    ~CStringArray();

    long GetCount() const noexcept { return static_cast<long>(m_items.size()); }
    // Appends a copy; returns its index.
    long Add(CString const& s);
    // Throws zulplatform::CException(-1) for an index outside 0..count-1.
    CString& operator[](long i);
    const CString& operator[](long i) const;
    // growBy is ignored. A negative n throws zulplatform::CException(-1).
    void SetSize(long n, int growBy = -1);
    void RemoveAt(int index, int count = 1);
    void RemoveAll();
    void Copy(CStringArray const& src);
    // Returns the index of the first appended element.
    long Append(CStringArray const& src);

private:
    std::vector<CString*> m_items;
};

} // namespace zulwin

// Bounded string functions. Unlike their namesakes elsewhere they throw
// zulplatform::CException (22 EINVAL, 34 ERANGE, -4 formatting) instead of returning an error
// number, and return 0 only on success.
int strcpy_s(char* dst, unsigned long size, char const* src);
// count works like a buffer size: at most min(size, count) - 1 bytes are copied. Never throws.
int strncpy_s(char* dst, unsigned long size, char const* src, unsigned long count);
int strcat_s(char* dst, unsigned long size, char const* src);
int memcpy_s(void* dst, unsigned long size, void const* src, unsigned long count);
int sprintf_s(char* buf, unsigned long size, char const* format, ...)
    __attribute__((format(printf, 3, 4)));
int access_s(char const* path, int mode);

// Number of UTF-16 units before the terminator; 0 for null.
int lstrlenW(char16_t const* s);
// Copies at most n - 1 bytes and always terminates; does nothing for null src/dst or n == 0.
char* lstrcpyn(char* dst, char const* src, unsigned long n);

// Unsigned parsers: optional '+', no '-', saturate at the type's maximum.
unsigned long long _ttoull(char const* s);
unsigned long _ttoul(char const* s);
unsigned int _ttoui(char const* s);
// Signed parsers: strtoll rules, _ttoi clamped to the int range.
long long _ttoll(char const* s);
long _ttol(char const* s);
int _ttoi(char const* s);

// Version-order comparison (file9 before file10).
int _NaturalCompare(zulwin::CString const& a, zulwin::CString const& b);

namespace zulplatform {

// 64-bit hash of the content up to its first NUL; equal to the GNU standard library's
// std::hash<std::string> of the same bytes, and stable across builds.
std::size_t HashCString(zulwin::CString const& s);

// CString(s): the acceptance rule applies.
zulwin::CString CStringFromUtf8String(char const* s);
// From the content of u up to its first NUL, through the acceptance rule again.
zulwin::CString CStringFromUtf8String(CUtf8String const& u);
zulwin::CString CStringFromUtf16String(char16_t const* s);

} // namespace zulplatform
