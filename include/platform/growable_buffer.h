/// \file
/// CGrowableBuffer: a heap byte buffer that grows in multiples of a power of two, with lower-case
/// hexadecimal text, byte vectors and a length-prefixed binary form read and written through a
/// CFile.
#pragma once

#include <platform/cstring.h>
#include <platform/export.h>

#include <vector>

namespace zulwin {
class CFile;
}

/// The storage grows to multiples of the grow size and never shrinks (only the used length
/// does). Bytes between the used length and the allocated size are unspecified.
class PLATFORM_API CGrowableBuffer {
public:
    /// Empty, no storage; SetGrowSize(growSize).
    explicit CGrowableBuffer(unsigned long growSize = 16);
    /// Grow size 16, then the vector's bytes.
    explicit CGrowableBuffer(std::vector<unsigned char> const& v);
    /// The grow size and then the bytes of `o`.
    CGrowableBuffer(CGrowableBuffer const& o);
    virtual ~CGrowableBuffer();

    /// The grow size becomes the smallest power of two not below `n`, between 1 and 8192.
    /// Returns it.
    unsigned long SetGrowSize(unsigned long n);
    /// Makes the used length `n`, first growing the storage to `n` rounded up to the grow size
    /// when it is smaller, keeping the old bytes when `keep` is set. Returns the data, or null
    /// (changing nothing) when the rounded size would wrap around. std::bad_alloc when the
    /// allocation fails.
    unsigned char* AllocMem(unsigned long n, bool keep);
    /// Releases the storage; the grow size stays.
    void Reset();
    /// Reset, then a copy of `n` bytes at `p` (nothing for a null `p` or `n` 0). Returns the
    /// used length.
    unsigned long Assign(unsigned char const* p, unsigned long n);
    /// Writes `n` bytes at byte position `pos`, which may lie inside the data (overwriting) or
    /// beyond its end (the gap keeps whatever the storage held); the length grows to `pos + n`
    /// when that is beyond it. Nothing is written for a null `p` with a count, or when the
    /// storage cannot be grown that far.
    void Append(unsigned long pos, unsigned char const* p, unsigned long n);

    /// Copies the bytes, not the grow size. An empty `o` only sets the length to 0, keeping the
    /// storage. std::bad_alloc when the storage cannot be grown.
    CGrowableBuffer& operator=(CGrowableBuffer const& o);
    /// @{
    /// Appends one byte / the bytes of `o`; std::bad_alloc when the storage cannot be grown.
    CGrowableBuffer& operator+=(unsigned char b);
    CGrowableBuffer& operator+=(CGrowableBuffer const& o);
    /// @}
    /// Equal bytes. A buffer without storage equals only buffers without storage: one with
    /// storage but length 0 is not equal to it.
    bool operator==(CGrowableBuffer const& o) const;
    /// !(*this == o).
    bool operator!=(CGrowableBuffer const& o) const { return !(*this == o); }

    /// Reset, then the bytes of hexadecimal text (both letter cases, two digits a byte). False,
    /// leaving the buffer empty, for null, empty, odd-length or non-hexadecimal text.
    bool FromString(char const* hex);
    /// Two lower-case hexadecimal digits a byte. An empty buffer leaves `out` untouched,
    /// deliberately not emptied.
    void ToString(zulwin::CString& out) const;
    /// `v` becomes a copy of the bytes.
    void ToVector(std::vector<unsigned char>& v) const;

    /// The binary form: the used length as an unsigned 64-bit little-endian number, then the
    /// bytes. Load reads it and returns the count of the last read (the length field's when the
    /// length is 0); counts are not compared with what was asked, and bytes a short read left
    /// out are zero. A length that cannot be allocated leaves the buffer alone and returns 0.
    /// CFile's exceptions pass through. A null file does nothing.
    /// @{
    unsigned int Load(zulwin::CFile* f);
    void Save(zulwin::CFile* f) const;
    /// @}

    /// @{
    /// The bytes; null while there is no storage.
    unsigned char* GetData() noexcept { return m_pData; }
    unsigned char const* GetData() const noexcept { return m_pData; }
    /// @}
    /// The used length.
    unsigned long GetLength() const noexcept { return m_nLength; }
    /// The size of the storage.
    unsigned long GetAllocatedSize() const noexcept { return m_nAllocated; }
    /// The power of two the storage grows by.
    unsigned long GetGrowSize() const noexcept { return m_nGrowSize; }

private:
    unsigned char* m_pData = nullptr;
    unsigned long m_nAllocated = 0;
    unsigned long m_nLength = 0;
    unsigned long m_nGrowSize = 1;
};
