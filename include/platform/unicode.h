// Unicode text: UTF-8 validation and coding, the CUtf8String value and its conversions to and
// from UTF-16 and UTF-32, and locale-independent Unicode case mapping and composition.
//
// Conventions of this header:
//  - Code points travel as `unsigned int`, UTF-16 units as `char16_t`, byte counts as
//    `unsigned long`.
//  - Every loop that walks UTF-8 text steps by the sequence-length table of the lead byte
//    (see CUtf8String::GetSequenceLen) and stops at a NUL lead byte.
//  - Two validators exist on purpose. The light one (IsValidCodePoint and its users) decides
//    what a string may hold: it accepts overlong three- and four-byte forms, encoded surrogates
//    and F4 90..F4 BF. The strict one (CUtf8String::utf8_check) guards the conversion to UTF-16.
#pragma once

#include <string>

namespace utf8_private {

// Checks the sequence at `p` with the light rule. Sets `len` to 0 first; on success stores the
// sequence length (1 to 4) in `len` and returns true. The lead byte must be 01..7F or C2..F4 and
// each following byte of the sequence must be 80..BF. False for null and for a NUL byte.
bool IsValidCodePoint(char const* p, unsigned long& len);

// True when every sequence up to the terminating NUL passes IsValidCodePoint; true for null
// and for the empty string.
bool IsValidString(char const* s);

// Length of the longest prefix of `s` made of whole valid sequences that is at most `n` bytes
// long. Stops at the first invalid sequence or NUL.
unsigned long GetValidSize(char const* s, unsigned long n);

// Decodes a sequence of `len` bytes without checking it. Lengths 0 and 1 give the byte
// sign-extended; lengths 2 to 4 the usual bit assembly; any other length gives 0.
unsigned int GetCodePoint(char const* p, unsigned long len);

// Appends the UTF-8 form of `cp`; values above 0x10FFFF append nothing. Surrogate values are
// encoded like any other three-byte value.
void SetCodePoint(std::string& out, unsigned int cp);

// One UTF-16 unit for the sequence at `p`: 0 for null or NUL, the decoded value truncated to
// 16 bits for sequences of 1 to 3 bytes, and '?' for longer ones (no surrogate pairs here).
char16_t _wchar(char const* p);

// Appends the UTF-8 form of the NUL-terminated UTF-16 text `s`. A high surrogate is combined
// with whatever unit follows it; a high surrogate right before the terminator appends nothing.
void _AppendUtf16(char16_t const* s, std::string& out);

// Simple (one-to-one) case mapping of Unicode 9.0: upper-case letters to lower case, lower-case
// letters to upper case. Any other code point is returned unchanged.
unsigned int tolower(unsigned int cp);
unsigned int toupper(unsigned int cp);

// Canonical composition of `base` with one combining mark of U+0300..U+0345; 0 when there is
// none. The key is formed in 32 bits as (base << 16) | mark.
unsigned int normalize(unsigned int base, unsigned int mark);

} // namespace utf8_private

// A UTF-8 byte string. Its validated entry routes follow the acceptance rule: text that is valid
// by the light rule is taken as it is; any other text has every byte of 0x80 and above replaced
// by '?' (all of them, not per bad sequence). The raw routes (std::string&&, and the position
// operations of zulplatform::_CUtf8String) take bytes as they come.
class CUtf8String {
public:
    // Passed as a byte limit: no limit, and the request for the validated, replacing route.
    static constexpr unsigned long default_max_utf8_bytes = ~0UL;

    // Walks the text by code point, yielding one UTF-16 unit per sequence (see _wchar):
    // characters beyond the Basic Multilingual Plane read as '?', the end reads as 0.
    class const_iterator {
    public:
        explicit const_iterator(char const* p) : m_p(p), m_unit(utf8_private::_wchar(p)) {}
        const char16_t& operator*() {
            m_unit = utf8_private::_wchar(m_p);
            return m_unit;
        }
        // Steps by the sequence length of the lead byte; a sequence cut short by the
        // terminator ends on the terminator, so nothing past it is read.
        const_iterator& operator++() {
            if (m_p != nullptr && *m_p != 0) {
                unsigned n = GetSequenceLen(*m_p);
                do
                    ++m_p;
                while (--n != 0 && *m_p != 0);
            }
            return *this;
        }
        const_iterator operator++(int) {
            const_iterator old = *this;
            ++*this;
            return old;
        }
        char const* GetPointer() const { return m_p; }

    private:
        char const* m_p;
        char16_t m_unit;
    };

    CUtf8String() = default;
    CUtf8String(CUtf8String const&) = default;
    CUtf8String(CUtf8String&& other) noexcept;
    CUtf8String& operator=(CUtf8String const&) = default;
    CUtf8String& operator=(CUtf8String&& other) noexcept;

    // Takes the bytes over as they are, without validation.
    explicit CUtf8String(std::string&& raw) noexcept;
    CUtf8String& operator=(std::string&& raw) noexcept;

    // `n` equal to default_max_utf8_bytes: the acceptance rule; otherwise the longest valid
    // prefix of at most `n` bytes, nothing replaced.
    CUtf8String(char const* s, unsigned long n = default_max_utf8_bytes);
    // From UTF-16 / UTF-32 text, then cut to at most `n` bytes on a sequence boundary.
    CUtf8String(char16_t const* s, unsigned long n = default_max_utf8_bytes);
    CUtf8String(char32_t const* s, unsigned long n = default_max_utf8_bytes);

    void _assign(char const* s);
    void _assign(char const* s, unsigned long n);
    void _FromWide(char16_t const* s, unsigned long n);
    void _FromWide(char32_t const* s, unsigned long n);
    // Cuts after the last whole sequence that ends within the first `n` bytes.
    void _Truncate(unsigned long n);

    CUtf8String& operator+=(CUtf8String const& other);
    CUtf8String& operator+=(char const* s);
    CUtf8String& operator+=(char16_t const* s);

    // Number of code points (not bytes), stepping by the sequence-length table.
    unsigned long GetLength() const;
    int Compare(char const* s) const;
    // strcmp of the lower-cased contents; `s` passes the acceptance rule first. Only the
    // lower-case table takes part. Allocates nothing.
    int CompareNoCase(char const* s) const;
    CUtf8String& MakeLower();
    CUtf8String& MakeUpper();

    // UTF-8 to UTF-16 with surrogate pairs. Only the strictly valid prefix (utf8_check) of the
    // text is converted; the rest is dropped. Never throws for bad input.
    static std::u16string ToWide(char const* s);
    std::u16string ToWide() const;

    // Overwrites every byte with '@', keeping the byte length.
    void ScrambleText();

    static unsigned char GetSequenceLen(char c) {
        return s_sequenceLen[static_cast<unsigned char>(c)];
    }
    static char16_t ConvertToUtf16(char const* p) { return utf8_private::_wchar(p); }
    // Byte length of the longest strictly valid prefix of `s` (up to the first invalid
    // sequence or the NUL).
    static unsigned long utf8_check(unsigned char* s);

    const_iterator begin() const { return const_iterator(m_str.c_str()); }

    // The bytes, always followed by a NUL.
    char const* c_str() const noexcept { return m_str.c_str(); }
    // Byte length (GetLength counts code points).
    unsigned long size() const noexcept { return m_str.size(); }
    bool empty() const noexcept { return m_str.empty(); }
    std::string const& str() const noexcept { return m_str; }

    static unsigned char const s_sequenceLen[256];

protected:
    std::string m_str;
};

namespace zulplatform {

// CUtf8String with byte-position editing, the storage of zulwin::CString. Positions and counts
// are unsigned byte counts; callers that start from signed values pass them widened with their
// sign, so a negative value arrives as a very large one.
class _CUtf8String : public CUtf8String {
public:
    using CUtf8String::CUtf8String;
    using CUtf8String::operator=;
    _CUtf8String() = default;
    _CUtf8String(CUtf8String const& other) : CUtf8String(other) {}

    // Replaces min(length - pos, n) bytes at `pos` with all of `s`; an empty `s` erases from
    // `pos` to the end. Nothing unless pos < length, s != null and n != 0.
    void ReplaceAt(unsigned long pos, char const* s, unsigned long n);
    // Erases `n` bytes at `pos`, clamped to the end; nothing unless pos < length and n != 0.
    void RemoveAt(unsigned long pos, unsigned long n);
    // Inserts `s` raw before byte `pos`; pos == length appends; a larger pos does nothing.
    void InsertAt(unsigned long pos, char const* s);
    // Searches `s` from byte `pos`; false when `pos` is not less than the code-point count.
    // On a hit stores the byte index in `pos`.
    bool Find(char const* s, unsigned long& pos) const;

    char* GetBuffer() { return &m_str[0]; }
    char* GetBufferSetLength(unsigned long n);
    // -1: the length becomes strlen of the buffer; otherwise exactly `n`.
    void ReleaseBuffer(long n);

    std::string& raw() noexcept { return m_str; }
};

} // namespace zulplatform
