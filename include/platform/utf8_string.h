/// \file
/// CUtf8String, the library's UTF-8 string value, and zulplatform::_CUtf8String, its byte-position
/// editing extension that zulwin::CString is built on.
#pragma once

#include <platform/utf8.h>

#include <string>

/// A UTF-8 byte string. Its validated entry routes follow the acceptance rule: text that is valid
/// by the light rule is taken as it is; any other text has every byte of 0x80 and above replaced
/// by '?' (all of them, not per bad sequence). The raw routes (std::string&&, and the position
/// operations of zulplatform::_CUtf8String) take bytes as they come.
class PLATFORM_API CUtf8String {
public:
    /// Passed as a byte limit: no limit, and the request for the validated, replacing route.
    static constexpr unsigned long default_max_utf8_bytes = ~0UL;

    /// Walks the text by code point, yielding one UTF-16 unit per sequence (see _wchar):
    /// characters beyond the Basic Multilingual Plane read as '?', the end reads as 0.
    class const_iterator {
    public:
        /// An iterator at the sequence that starts at `p`.
        explicit const_iterator(char const* p) : m_p(p), m_unit(utf8_private::_wchar(p)) {}
        /// The UTF-16 unit of the current sequence.
        const char16_t& operator*() {
            m_unit = utf8_private::_wchar(m_p);
            return m_unit;
        }
        /// Steps by the sequence length of the lead byte; a sequence cut short by the
        /// terminator ends on the terminator, so nothing past it is read.
        const_iterator& operator++() {
            if (m_p != nullptr && *m_p != 0) {
                unsigned n = GetSequenceLen(*m_p);
                do
                    ++m_p;
                while (--n != 0 && *m_p != 0);
            }
            return *this;
        }
        /// Postfix form of the step above.
        const_iterator operator++(int) {
            const_iterator old = *this;
            ++*this;
            return old;
        }
        /// The first byte of the current sequence.
        char const* GetPointer() const { return m_p; }

    private:
        char const* m_p;
        char16_t m_unit;
    };

    /// @{
    /// The empty string; copies are exact, a moved-from string is empty.
    CUtf8String() = default;
    CUtf8String(CUtf8String const&) = default;
    CUtf8String(CUtf8String&& other) noexcept;
    CUtf8String& operator=(CUtf8String const&) = default;
    CUtf8String& operator=(CUtf8String&& other) noexcept;
    /// @}

    /// @{
    /// Takes the bytes over as they are, without validation.
    explicit CUtf8String(std::string&& raw) noexcept;
    CUtf8String& operator=(std::string&& raw) noexcept;
    /// @}

    /// `n` equal to default_max_utf8_bytes: the acceptance rule; otherwise the longest valid
    /// prefix of at most `n` bytes, nothing replaced.
    CUtf8String(char const* s, unsigned long n = default_max_utf8_bytes);
    /// @{
    /// From UTF-16 / UTF-32 text, then cut to at most `n` bytes on a sequence boundary.
    CUtf8String(char16_t const* s, unsigned long n = default_max_utf8_bytes);
    CUtf8String(char32_t const* s, unsigned long n = default_max_utf8_bytes);
    /// @}

    /// @{
    /// The assignments behind the constructors of the same arguments.
    void _assign(char const* s);
    void _assign(char const* s, unsigned long n);
    void _FromWide(char16_t const* s, unsigned long n);
    void _FromWide(char32_t const* s, unsigned long n);
    /// @}
    /// Cuts after the last whole sequence that ends within the first `n` bytes.
    void _Truncate(unsigned long n);

    /// @{
    /// Appends another value exactly, C text by the acceptance rule, UTF-16 converted.
    CUtf8String& operator+=(CUtf8String const& other);
    CUtf8String& operator+=(char const* s);
    CUtf8String& operator+=(char16_t const* s);
    /// @}

    /// Number of code points (not bytes), stepping by the sequence-length table.
    unsigned long GetLength() const;
    /// strcmp of the content with `s`.
    int Compare(char const* s) const;
    /// strcmp of the lower-cased contents; `s` passes the acceptance rule first. Only the
    /// lower-case table takes part. Allocates nothing.
    int CompareNoCase(char const* s) const;
    /// @{
    /// Maps every code point by the Unicode 9.0 simple case tables, independent of the locale.
    CUtf8String& MakeLower();
    CUtf8String& MakeUpper();
    /// @}

    /// UTF-8 to UTF-16 with surrogate pairs. Only the strictly valid prefix (utf8_check) of the
    /// text is converted; the rest is dropped. Never throws for bad input.
    static std::u16string ToWide(char const* s);
    /// ToWide(c_str()).
    std::u16string ToWide() const;

    /// Overwrites every byte with '@', keeping the byte length.
    void ScrambleText();

    /// The sequence length announced by lead byte `c`: 1 for ASCII, NUL and stray bytes, 2 to 4
    /// for lead bytes (so every walk steps forward).
    static unsigned char GetSequenceLen(char c) {
        return s_sequenceLen[static_cast<unsigned char>(c)];
    }
    /// utf8_private::_wchar(p).
    static char16_t ConvertToUtf16(char const* p) { return utf8_private::_wchar(p); }
    /// Byte length of the longest strictly valid prefix of `s` (up to the first invalid
    /// sequence or the NUL).
    static unsigned long utf8_check(unsigned char* s);

    /// An iterator at the first sequence; the walk ends where it yields 0.
    const_iterator begin() const { return const_iterator(m_str.c_str()); }

    /// The bytes, always followed by a NUL.
    char const* c_str() const noexcept { return m_str.c_str(); }
    /// Byte length (GetLength counts code points).
    unsigned long size() const noexcept { return m_str.size(); }
    /// Whether the byte length is 0.
    bool empty() const noexcept { return m_str.empty(); }
    /// The bytes as a standard string.
    std::string const& str() const noexcept { return m_str; }

    /// The table behind GetSequenceLen, indexed by the lead byte.
    static unsigned char const s_sequenceLen[256];

protected:
    std::string m_str; ///< the bytes
};

namespace zulplatform {

/// CUtf8String with byte-position editing, the storage of zulwin::CString. Positions and counts
/// are unsigned byte counts; callers that start from signed values pass them widened with their
/// sign, so a negative value arrives as a very large one.
class PLATFORM_API _CUtf8String : public CUtf8String {
public:
    /// \cond
    // CUtf8String's constructors and assignments, documented there.
    using CUtf8String::CUtf8String;
    using CUtf8String::operator=;
    /// \endcond
    /// The empty string.
    _CUtf8String() = default;
    /// An exact copy of `other`.
    _CUtf8String(CUtf8String const& other) : CUtf8String(other) {}

    /// Replaces min(length - pos, n) bytes at `pos` with all of `s`; an empty `s` erases from
    /// `pos` to the end. Nothing unless pos < length, s != null and n != 0.
    void ReplaceAt(unsigned long pos, char const* s, unsigned long n);
    /// Erases `n` bytes at `pos`, clamped to the end; nothing unless pos < length and n != 0.
    void RemoveAt(unsigned long pos, unsigned long n);
    /// Inserts `s` raw before byte `pos`; pos == length appends; a larger pos does nothing.
    void InsertAt(unsigned long pos, char const* s);
    /// Searches `s` from byte `pos`; false when `pos` is not less than the code-point count.
    /// On a hit stores the byte index in `pos`.
    bool Find(char const* s, unsigned long& pos) const;

    /// The bytes, writable up to the length.
    char* GetBuffer() { return &m_str[0]; }
    /// Sets the byte length to `n` (new bytes NUL) and returns the bytes.
    char* GetBufferSetLength(unsigned long n);
    /// -1: the length becomes strlen of the buffer; otherwise exactly `n`.
    void ReleaseBuffer(long n);

    /// The bytes for raw editing; nothing validates what is written.
    std::string& raw() noexcept { return m_str; }
};

} // namespace zulplatform
