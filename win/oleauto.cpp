// BSTR and SAFEARRAY memory management.
#include <platform/oleauto.h>
#include <platform/winerror.h>

#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace zulwin {

namespace {

// The 32-bit byte length sits right before the characters.
constexpr std::size_t kPrefix = sizeof(std::uint32_t);
// A string of this many characters or more has a byte length beyond 32 bits.
constexpr unsigned long kMaxChars = 0x80000000UL;

std::uint32_t* Header(char16_t* s) {
    return reinterpret_cast<std::uint32_t*>(reinterpret_cast<char*>(s) - kPrefix);
}

std::size_t Length(char16_t const* text) {
    std::size_t n = 0;
    if (text != nullptr)
        while (text[n] != 0)
            ++n;
    return n;
}

// Block bytes for `n` characters: prefix, text, terminator.
std::size_t BlockSize(std::size_t n) {
    return kPrefix + 2 * n + sizeof(char16_t);
}

char16_t* Text(void* block) {
    return reinterpret_cast<char16_t*>(static_cast<char*>(block) + kPrefix);
}

// Descriptors are preceded by 8 bytes, so that the descriptor's pointer field stays aligned;
// the element type takes the last 4 of them.
constexpr std::size_t kDescriptorPrefix = 8;
constexpr unsigned int kMaxDims = USHRT_MAX;

std::int32_t* Vartype(tagSAFEARRAY* psa) {
    return reinterpret_cast<std::int32_t*>(reinterpret_cast<char*>(psa) - sizeof(std::int32_t));
}

} // namespace

char16_t* SysAllocString(char16_t const* text) {
    std::size_t const n = Length(text);
    if (n >= kMaxChars)
        return nullptr;
    void* const block = std::malloc(BlockSize(n));
    if (block == nullptr)
        return nullptr;
    *static_cast<std::uint32_t*>(block) = static_cast<std::uint32_t>(2 * n);
    char16_t* const s = Text(block);
    if (n != 0)
        std::memcpy(s, text, 2 * n);
    s[n] = 0;
    return s;
}

char16_t* SysAllocStringLen(char16_t const* text, unsigned long length) {
    if (length >= kMaxChars)
        return nullptr;
    void* const block = std::calloc(BlockSize(length), 1);
    if (block == nullptr)
        return nullptr;
    *static_cast<std::uint32_t*>(block) = static_cast<std::uint32_t>(2 * length);
    char16_t* const s = Text(block);
    if (text != nullptr)
        for (unsigned long i = 0; i < length && text[i] != 0; ++i)
            s[i] = text[i];
    return s;
}

void SysFreeString(char16_t* s) {
    if (s != nullptr)
        std::free(Header(s));
}

unsigned int SysStringByteLen(char16_t* s) {
    return s == nullptr ? 0 : *Header(s);
}

int SysReAllocString(char16_t** s, char16_t const* text) {
    if (s == nullptr)
        return 0;
    if (*s == nullptr) {
        char16_t* const fresh = SysAllocString(text);
        if (fresh == nullptr)
            return 0;
        *s = fresh;
        return 1;
    }
    std::size_t const n = Length(text);
    if (n >= kMaxChars)
        return 0;
    std::uint32_t const bytes = static_cast<std::uint32_t>(2 * n);
    // A text taken from the string itself ends at its terminator at the latest, so it is never
    // longer: it is moved to the front first and the block then shrinks around it.
    auto const* start = reinterpret_cast<char const*>(Header(*s));
    auto const* src = reinterpret_cast<char const*>(text);
    bool const inside = text != nullptr && src >= start && src < start + BlockSize(*Header(*s) / 2);
    if (inside && n != 0)
        std::memmove(*s, text, 2 * n);
    if (*Header(*s) != bytes) {
        void* const block = std::realloc(Header(*s), BlockSize(n));
        if (block == nullptr)
            return 0;
        *static_cast<std::uint32_t*>(block) = bytes;
        *s = Text(block);
    }
    if (n != 0 && !inside)
        std::memcpy(*s, text, 2 * n);
    (*s)[n] = 0;
    return 1;
}

int SafeArrayAllocDescriptor(unsigned int cDims, tagSAFEARRAY** out) {
    if (out == nullptr)
        return E_FAIL;
    // No dimensions would ask for a block below the descriptor's own size (the described
    // computation wraps to an impossible size); more than cDims can hold cannot be described.
    if (cDims == 0 || cDims > kMaxDims)
        return E_OUTOFMEMORY;
    std::size_t const size =
        kDescriptorPrefix + sizeof(tagSAFEARRAY) + (cDims - 1) * sizeof(tagSAFEARRAYBOUND);
    void* const block = std::calloc(size, 1);
    if (block == nullptr)
        return E_OUTOFMEMORY;
    auto* const psa =
        reinterpret_cast<tagSAFEARRAY*>(static_cast<char*>(block) + kDescriptorPrefix);
    psa->cDims = static_cast<unsigned short>(cDims);
    *out = psa;
    return S_OK;
}

int SafeArrayAllocData(tagSAFEARRAY* psa) {
    if (psa == nullptr || psa->cbElements == 0)
        return E_FAIL;
    // 32-bit arithmetic, wrapping as it may.
    std::uint32_t count = psa->rgsabound[0].cElements;
    for (unsigned int i = 1; i < psa->cDims; ++i)
        count *= psa->rgsabound[i].cElements;
    std::uint32_t const bytes = psa->cbElements * count;
    void* const data = std::calloc(bytes, 1);
    if (data == nullptr)
        return E_OUTOFMEMORY;
    psa->pvData = data;
    return S_OK;
}

int SafeArrayDestroyData(tagSAFEARRAY* psa) {
    if (psa == nullptr)
        return E_FAIL;
    std::free(psa->pvData);
    psa->pvData = nullptr;
    return S_OK;
}

int SafeArrayDestroyDescriptor(tagSAFEARRAY* psa) {
    if (psa == nullptr)
        return E_FAIL;
    std::free(reinterpret_cast<char*>(psa) - kDescriptorPrefix);
    return S_OK;
}

int SafeArrayGetVartype(tagSAFEARRAY* psa, unsigned short* vt) {
    if (psa == nullptr || vt == nullptr)
        return E_FAIL;
    *vt = static_cast<unsigned short>(*Vartype(psa));
    return S_OK;
}

} // namespace zulwin
