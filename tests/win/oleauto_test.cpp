// BSTR and SAFEARRAY: the length prefix and terminator, copies cut at a NUL, reallocation
// from its own characters, and data sized by every dimension.
#include <platform/system.h>

#include <gtest/gtest.h>

#include <cstring>
#include <string>

using namespace zulwin;
using namespace std::string_literals;

namespace {

// The characters through the terminator, as many as the 32-bit prefix counts, then frees s.
std::u16string Take(char16_t* s) {
    std::u16string const contents(s, SysStringByteLen(s) / 2 + 1);
    SysFreeString(s);
    return contents;
}

} // namespace

TEST(Bstr, AllocationLayoutAndCopies) {
    EXPECT_EQ(Take(SysAllocString(u"abc")), u"abc\0"s);
    // The copy stops at a NUL; the length is always the one asked for.
    EXPECT_EQ(Take(SysAllocStringLen(u"ab\0cd", 5)), u"ab\0\0\0\0"s);
    // A length whose byte count does not fit the 32-bit prefix is refused without allocating.
    EXPECT_EQ(SysAllocStringLen(u"a", 0x80000000UL), nullptr);
    char16_t* s = SysAllocString(u"one");
    EXPECT_EQ(SysReAllocString(&s, u"a much longer text"), 1);
    EXPECT_EQ(SysReAllocString(&s, s + 2), 1); // from its own characters
    EXPECT_EQ(Take(s), u"much longer text\0"s);
}

TEST(SafeArray, DescriptorsDataAndResultCodes) {
    tagSAFEARRAY* psa = nullptr;
    ASSERT_EQ(SafeArrayAllocDescriptor(2, &psa), S_OK);
    psa->cbElements = 4;
    psa->rgsabound[0].cElements = 3;
    psa->rgsabound[1].cElements = 5;
    ASSERT_EQ(SafeArrayAllocData(psa), S_OK);
    unsigned char const zeros[60] = {};
    EXPECT_EQ(std::memcmp(psa->pvData, zeros, 60), 0); // writable and zeroed, 60 bytes
    EXPECT_EQ(SafeArrayDestroyData(psa), S_OK);
    EXPECT_EQ(SafeArrayDestroyDescriptor(psa), S_OK);
    EXPECT_EQ(SafeArrayAllocDescriptor(65536, &psa), E_OUTOFMEMORY); // beyond what cDims holds
}
