// CGrowableBuffer: storage growing by a power-of-two step, hexadecimal text, the binary form.
#include <platform/file.h>
#include <platform/growable_buffer.h>

#include <climits>
#include <cstdint>
#include <cstring>
#include <new>

namespace {

constexpr unsigned long kMaxGrowSize = 8192;
constexpr unsigned long kVectorGrowSize = 16;

// Byte to its two lower-case digits, in memory order.
struct HexPairs {
    char pair[256][2];
    constexpr HexPairs() : pair() {
        constexpr char digits[] = "0123456789abcdef";
        for (int i = 0; i < 256; ++i) {
            pair[i][0] = digits[i >> 4];
            pair[i][1] = digits[i & 15];
        }
    }
};
constexpr HexPairs kHexPairs;

// Digit value, or 0x10 for a byte that is not a hexadecimal digit. isxdigit accepts exactly
// these bytes in every locale of the C library (its xdigit class holds only ASCII digits and
// letters a-f, A-F), so the table stands for it.
struct HexValues {
    unsigned char value[256];
    constexpr HexValues() : value() {
        for (int i = 0; i < 256; ++i)
            value[i] = 0x10;
        for (int i = 0; i < 10; ++i)
            value['0' + i] = static_cast<unsigned char>(i);
        for (int i = 0; i < 6; ++i) {
            value['a' + i] = static_cast<unsigned char>(10 + i);
            value['A' + i] = static_cast<unsigned char>(10 + i);
        }
    }
};
constexpr HexValues kHexValues;

// Decodes `pairs` digit pairs into `out`; false when some character is not a digit.
bool DecodeHex(const unsigned char* text, unsigned char* out, std::size_t pairs) {
    unsigned bad = 0;
    // The check is folded into a running OR and looked at once per block, so the loop has no
    // branch per byte.
    constexpr std::size_t kBlock = 4096;
    while (pairs != 0) {
        std::size_t const n = pairs < kBlock ? pairs : kBlock;
        for (std::size_t i = 0; i < n; ++i) {
            unsigned const hi = kHexValues.value[text[2 * i]];
            unsigned const lo = kHexValues.value[text[2 * i + 1]];
            bad |= hi | lo;
            out[i] = static_cast<unsigned char>((hi << 4) | (lo & 0xF));
        }
        if (bad & 0x10)
            return false;
        text += 2 * n;
        out += n;
        pairs -= n;
    }
    return true;
}

} // namespace

CGrowableBuffer::CGrowableBuffer(unsigned long growSize) {
    SetGrowSize(growSize);
}

CGrowableBuffer::CGrowableBuffer(std::vector<unsigned char> const& v) {
    SetGrowSize(kVectorGrowSize);
    if (!v.empty())
        Assign(v.data(), v.size());
}

CGrowableBuffer::CGrowableBuffer(CGrowableBuffer const& o) {
    SetGrowSize(o.m_nGrowSize);
    *this = o;
}

CGrowableBuffer::~CGrowableBuffer() {
    delete[] m_pData;
}

unsigned long CGrowableBuffer::SetGrowSize(unsigned long n) {
    unsigned long size = 1;
    while (size < n && size < kMaxGrowSize)
        size <<= 1;
    m_nGrowSize = size;
    return size;
}

unsigned char* CGrowableBuffer::AllocMem(unsigned long n, bool keep) {
    if (m_nAllocated < n) {
        unsigned long const g = m_nGrowSize;
        unsigned long newSize = n;
        if ((n & (g - 1)) != 0) {
            newSize = (g + n) & ~(g - 1);
            // Wrapped around the top: no size can hold n.
            if (newSize <= m_nAllocated)
                return nullptr;
        }
        // Larger than any allocation can be; refused the way the allocator would refuse it.
        if (newSize > static_cast<unsigned long>(PTRDIFF_MAX))
            throw std::bad_alloc();
        auto* const block = new unsigned char[newSize];
        std::size_t kept = 0;
        if (m_pData != nullptr) {
            if (keep) {
                std::memcpy(block, m_pData, m_nAllocated);
                kept = m_nAllocated;
            }
            delete[] m_pData;
        }
        // Fresh storage starts zeroed: bytes nobody wrote (the gap an Append past the end
        // leaves, a length AllocMem grows) then read as zeros, never as what the heap held.
        std::memset(block + kept, 0, newSize - kept);
        m_pData = block;
        m_nAllocated = newSize;
    }
    m_nLength = n;
    return m_pData;
}

void CGrowableBuffer::Reset() {
    delete[] m_pData;
    m_pData = nullptr;
    m_nAllocated = 0;
    m_nLength = 0;
}

unsigned long CGrowableBuffer::Assign(unsigned char const* p, unsigned long n) {
    Reset();
    if (n == 0 || p == nullptr)
        return 0;
    if (AllocMem(n, false) != nullptr)
        std::memcpy(m_pData, p, n);
    return m_nLength;
}

void CGrowableBuffer::Append(unsigned long pos, unsigned char const* p, unsigned long n) {
    if (n != 0 && p == nullptr)
        return;
    if (n > ULONG_MAX - pos)
        return; // beyond any storage
    // Bytes taken from this buffer's own storage are found again after it moves.
    bool const own = m_pData != nullptr && p >= m_pData && p < m_pData + m_nAllocated;
    std::size_t const ownOffset = own ? static_cast<std::size_t>(p - m_pData) : 0;
    unsigned long const end = pos + n;
    if (end > m_nLength && AllocMem(end, true) == nullptr)
        return;
    if (own)
        p = m_pData + ownOffset;
    if (n != 0)
        std::memmove(m_pData + pos, p, n);
}

CGrowableBuffer& CGrowableBuffer::operator=(CGrowableBuffer const& o) {
    if (this == &o)
        return *this;
    if (o.m_pData != nullptr && o.m_nLength != 0) {
        if (AllocMem(o.m_nLength, false) == nullptr)
            throw std::bad_alloc();
        std::memcpy(m_pData, o.m_pData, o.m_nLength);
    } else {
        m_nLength = 0;
    }
    return *this;
}

CGrowableBuffer& CGrowableBuffer::operator+=(unsigned char b) {
    if (AllocMem(m_nLength + 1, true) == nullptr)
        throw std::bad_alloc();
    m_pData[m_nLength - 1] = b;
    return *this;
}

CGrowableBuffer& CGrowableBuffer::operator+=(CGrowableBuffer const& o) {
    if (o.m_pData == nullptr || o.m_nLength == 0)
        return *this;
    unsigned long const old = m_nLength;
    unsigned long const add = o.m_nLength; // `o` may be this buffer
    if (add > ULONG_MAX - old || AllocMem(old + add, true) == nullptr)
        throw std::bad_alloc();
    std::memmove(m_pData + old, o.m_pData, add);
    return *this;
}

bool CGrowableBuffer::operator==(CGrowableBuffer const& o) const {
    if (this == &o)
        return true;
    if (m_pData == nullptr)
        return o.m_pData == nullptr;
    if (o.m_pData == nullptr)
        return false;
    return m_nLength == o.m_nLength && std::memcmp(m_pData, o.m_pData, m_nLength) == 0;
}

bool CGrowableBuffer::FromString(char const* hex) {
    Reset();
    if (hex == nullptr)
        return false;
    std::size_t const length = std::strlen(hex);
    if (length == 0 || (length & 1) != 0)
        return false;
    if (AllocMem(length / 2, false) == nullptr)
        return false;
    if (!DecodeHex(reinterpret_cast<const unsigned char*>(hex), m_pData, length / 2)) {
        Reset();
        return false;
    }
    return true;
}

void CGrowableBuffer::ToString(zulwin::CString& out) const {
    if (m_pData == nullptr || m_nLength == 0)
        return;
    // Plain ASCII: written in place, without the acceptance scan of appended text.
    unsigned long const chars = 2 * m_nLength;
    char* p;
    zulwin::CString filled;
    if (chars <= static_cast<unsigned long>(INT_MAX)) {
        p = out.GetBufferSetLength(static_cast<int>(chars));
    } else {
        filled = zulwin::CString('0', chars);
        p = filled.GetBuffer();
    }
    for (unsigned long i = 0; i < m_nLength; ++i)
        std::memcpy(p + 2 * i, kHexPairs.pair[m_pData[i]], 2);
    if (chars > static_cast<unsigned long>(INT_MAX))
        out = std::move(filled);
}

void CGrowableBuffer::ToVector(std::vector<unsigned char>& v) const {
    v.resize(m_nLength);
    if (m_nLength != 0)
        std::memcpy(v.data(), m_pData, m_nLength);
}

unsigned int CGrowableBuffer::Load(zulwin::CFile* f) {
    if (f == nullptr)
        return 0;
    // A short read leaves the bytes that did not arrive at 0.
    std::uint64_t length = 0;
    unsigned int const first = f->Read(&length, sizeof length);
    if (length == 0) {
        m_nLength = 0;
        return first;
    }
    if (AllocMem(length, false) == nullptr)
        return 0;
    // The count comes back cut to 32 bits, so beyond that the bytes are cleared beforehand.
    bool const countFits = length <= UINT_MAX;
    if (!countFits)
        std::memset(m_pData, 0, length);
    unsigned int const got = f->Read(m_pData, length);
    if (countFits && got < length)
        std::memset(m_pData + got, 0, length - got);
    return got;
}

void CGrowableBuffer::Save(zulwin::CFile* f) const {
    if (f == nullptr)
        return;
    std::uint64_t const length = m_nLength;
    f->Write(&length, sizeof length);
    if (length != 0)
        f->Write(m_pData, length);
}
