/// \file
/// CMemFile, a CFile whose contents live in a heap block.
#pragma once

#include <platform/file.h>

namespace zulwin {

/// Writes grow the block, reads copy out of it, and the block can be adopted from or handed to
/// the caller. Null buffers (code -4) and blocks that cannot grow (code -2) throw
/// zulplatform::CException; refused seeks throw CFileException* with causeBadSeek and an empty
/// file name. The descriptor is never used: Open, SetLength and Flush are CFile's and do not
/// apply to a memory file.
class PLATFORM_API CMemFile : public CFile {
public:
    /// No block yet; growth is rounded up to multiples of `granule`, which must be a power of
    /// two (other values give masked sizes).
    explicit CMemFile(unsigned long granule = 1024);
    /// Granule 1024, then Attach(buffer, size, growAmount).
    CMemFile(unsigned char* buffer, unsigned long size, unsigned long growAmount = 0);
    /// Close().
    ~CMemFile() override;

    /// Adopts `buffer` without taking ownership, at position 0. With `growAmount` 0 the block is
    /// fixed and its `size` bytes are the contents; otherwise it is empty space (length 0) that
    /// may be grown with realloc, so it must come from malloc. A null block counts as no block
    /// (size 0). A block the object owned before is freed.
    void Attach(unsigned char* buffer, unsigned long size, unsigned long growAmount = 0);
    /// Returns the block and forgets it, leaving an empty object that owns its next block but
    /// cannot grow (writes throw -2) until the next Attach.
    unsigned char* Detach();

    /// The position in the block; never throws.
    unsigned long GetPosition() const override;
    /// Origin 0 takes offsets of 0 and above, origin 2 offsets of 0 and below, origin 1 any
    /// offset; a target below 0 (or above the largest long) or any other origin throws
    /// causeBadSeek. A target beyond the end grows the block to it through GrowFile and leaves
    /// the length alone; a later Write fills the gap's length with whatever the block held.
    /// Returns the new position.
    unsigned long Seek(long offset, unsigned int origin) override;
    /// The length of the contents.
    unsigned long GetLength() const override;
    /// Copies up to `count` bytes from the position (0 at or beyond the end); the count is
    /// returned cut to 32 bits. A null buffer with a count throws -4.
    unsigned int Read(void* buffer, unsigned long count) override;
    /// Copies at the position, growing the block through GrowFile when it is too small, and
    /// raises the length to the new position. A null buffer with a count throws -4; a block
    /// that does not grow far enough throws -2 and leaves the file as it was.
    void Write(const void* buffer, unsigned long count) override;
    /// Frees an owned block, then Detach().
    void Close() override;

    /// Grows the block to hold at least `newLength` bytes (see _AllocMem) and returns its
    /// address. A derived class can take growth over.
    virtual unsigned long GrowFile(unsigned long newLength);

protected:
    /// Returns the block unchanged when it holds `size` bytes already. Otherwise, with growth
    /// allowed, reallocates it to `size` rounded up to the granule (no doubling); throws -2 when
    /// growth is not allowed or the allocation fails, leaving everything as it was.
    unsigned char* _AllocMem(unsigned long size);

    unsigned char* m_lpBuffer = nullptr; ///< the block, null before the first growth
    int m_bAutoDelete = 1;               ///< whether Close frees the block
    unsigned long m_nGrowBytes;          ///< the granule growth is rounded up to
    unsigned long m_nBufferSize = 0;     ///< the block's size
    unsigned long m_nPosition = 0;       ///< the current position
    unsigned long m_nFileSize = 0;       ///< the length of the contents
    /// 0: the block must not grow.
    unsigned long m_nGrowAmount = 1024;
};

} // namespace zulwin
