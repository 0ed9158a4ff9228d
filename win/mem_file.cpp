// CMemFile: a CFile over a heap block that grows by the granule.
#include <platform/exception.h>
#include <platform/mem_file.h>

#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace zulwin {

namespace {

constexpr int kNullBuffer = -4;
constexpr int kCannotGrow = -2;

// A refused seek: causeBadSeek, OS error -1, an empty (not null) name.
[[noreturn]] void ThrowBadSeek() {
    throw new CFileException(CFileException::causeBadSeek, -1, "");
}

} // namespace

CMemFile::CMemFile(unsigned long granule) : m_nGrowBytes(granule) {}

CMemFile::CMemFile(unsigned char* buffer, unsigned long size, unsigned long growAmount)
    : m_nGrowBytes(1024) {
    Attach(buffer, size, growAmount);
}

CMemFile::~CMemFile() {
    Close();
}

void CMemFile::Attach(unsigned char* buffer, unsigned long size, unsigned long growAmount) {
    if (m_lpBuffer != nullptr && m_bAutoDelete)
        std::free(m_lpBuffer);
    if (buffer == nullptr)
        size = 0;
    m_lpBuffer = buffer;
    m_bAutoDelete = 0;
    m_nBufferSize = size;
    m_nPosition = 0;
    m_nGrowAmount = growAmount;
    m_nFileSize = growAmount == 0 ? size : 0;
}

unsigned char* CMemFile::Detach() {
    unsigned char* const block = m_lpBuffer;
    m_lpBuffer = nullptr;
    m_nBufferSize = 0;
    m_nPosition = 0;
    m_nFileSize = 0;
    m_nGrowAmount = 0;
    m_bAutoDelete = 1;
    return block;
}

void CMemFile::Close() {
    if (m_lpBuffer != nullptr && m_bAutoDelete)
        std::free(m_lpBuffer);
    Detach();
}

unsigned char* CMemFile::_AllocMem(unsigned long size) {
    if (m_nBufferSize >= size)
        return m_lpBuffer;
    if (m_nGrowAmount == 0)
        zulplatform::CException::Throw(kCannotGrow);
    unsigned long newSize = size;
    if (m_nGrowBytes > 1 && (size & (m_nGrowBytes - 1)) != 0) {
        // The next multiple of a power-of-two granule; a size so close to the top that the
        // rounding would wrap cannot be allocated anyway.
        if (size > ULONG_MAX - m_nGrowBytes)
            zulplatform::CException::Throw(kCannotGrow);
        newSize = (size + m_nGrowBytes) & ~(m_nGrowBytes - 1);
    }
    // No allocation can be larger than the address space's signed half; refusing those here
    // keeps absurd sizes away from the allocator.
    if (newSize > static_cast<unsigned long>(PTRDIFF_MAX))
        zulplatform::CException::Throw(kCannotGrow);
    void* const block = std::realloc(m_lpBuffer, newSize);
    if (block == nullptr)
        zulplatform::CException::Throw(kCannotGrow);
    m_lpBuffer = static_cast<unsigned char*>(block);
    m_nBufferSize = newSize;
    return m_lpBuffer;
}

unsigned long CMemFile::GrowFile(unsigned long newLength) {
    return reinterpret_cast<unsigned long>(_AllocMem(newLength));
}

unsigned int CMemFile::Read(void* buffer, unsigned long count) {
    if (count == 0)
        return 0;
    if (buffer == nullptr)
        zulplatform::CException::Throw(kNullBuffer);
    if (m_nPosition >= m_nFileSize)
        return 0;
    unsigned long const available = m_nFileSize - m_nPosition;
    if (count > available)
        count = available;
    std::memcpy(buffer, m_lpBuffer + m_nPosition, count);
    m_nPosition += count;
    return static_cast<unsigned int>(count);
}

void CMemFile::Write(const void* buffer, unsigned long count) {
    if (count == 0)
        return;
    if (buffer == nullptr)
        zulplatform::CException::Throw(kNullBuffer);
    if (count > ULONG_MAX - m_nPosition)
        zulplatform::CException::Throw(kCannotGrow);
    unsigned long const end = m_nPosition + count;
    if (end > m_nBufferSize) {
        GrowFile(end);
        // A derived GrowFile may have grown less than asked.
        if (end > m_nBufferSize || m_lpBuffer == nullptr)
            zulplatform::CException::Throw(kCannotGrow);
    }
    std::memcpy(m_lpBuffer + m_nPosition, buffer, count);
    m_nPosition = end;
    if (m_nPosition > m_nFileSize)
        m_nFileSize = m_nPosition;
}

unsigned long CMemFile::Seek(long offset, unsigned int origin) {
    // Targets are offsets of a file, so they lie between 0 and the largest long.
    unsigned long const kMaxTarget = LONG_MAX;
    // The magnitude of an offset of 0 or below, LONG_MIN included.
    auto const magnitude = [](long v) { return static_cast<unsigned long>(-(v + 1)) + 1; };
    unsigned long target;
    switch (origin) {
    case begin:
        if (offset < 0)
            ThrowBadSeek();
        target = static_cast<unsigned long>(offset);
        break;
    case current:
        if (offset < 0) {
            if (magnitude(offset) > m_nPosition)
                ThrowBadSeek();
            target = m_nPosition - magnitude(offset);
        } else {
            if (m_nPosition > kMaxTarget ||
                static_cast<unsigned long>(offset) > kMaxTarget - m_nPosition)
                ThrowBadSeek();
            target = m_nPosition + static_cast<unsigned long>(offset);
        }
        break;
    case end:
        if (offset > 0)
            ThrowBadSeek();
        if (magnitude(offset) > m_nFileSize)
            ThrowBadSeek();
        target = m_nFileSize - magnitude(offset);
        break;
    default:
        ThrowBadSeek();
    }
    if (target > m_nFileSize)
        GrowFile(target);
    m_nPosition = target;
    return m_nPosition;
}

unsigned long CMemFile::GetPosition() const {
    return m_nPosition;
}

unsigned long CMemFile::GetLength() const {
    return m_nFileSize;
}

} // namespace zulwin
