// CompareNoCase sits on the configuration lookup path: it must not allocate. This program's
// global operator new counts allocations so the test can see any.
#include <platform/unicode.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace {
std::atomic<long> g_allocations{0};
}

// These replace the global allocation functions, so malloc and free are the right pair here;
// the compiler's new/delete mismatch check cannot tell.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
void* operator new(std::size_t size) {
    g_allocations.fetch_add(1, std::memory_order_relaxed);
    if (void* p = std::malloc(size ? size : 1))
        return p;
    throw std::bad_alloc();
}
void operator delete(void* p) noexcept {
    std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
    std::free(p);
}
#pragma GCC diagnostic pop

namespace {

TEST(CompareNoCase, AllocatesNothing) {
    CUtf8String const ascii("The Quick Brown Fox Jumps Over The Lazy Dog, Twice Over Again");
    CUtf8String const mixed("Stra\xC3\x9F"
                            "e \xCE\xA3\xCE\xBF\xCF\x86\xCE\xAF\xCE\xB1 "
                            "\xD0\x9C\xD0\xBE\xD1\x81\xD0\xBA\xD0\xB2\xD0\xB0 \xF0\x9F\x98\x80");
    const char* others[] = {"the quick brown fox jumps over the lazy dog, twice over again",
                            "STRASSE",
                            "stra\xC3\x9F"
                            "E \xCF\x83\xCE\xBF\xCF\x86\xCE\xAF\xCE\xB1",
                            "invalid \xFF\xFE text",
                            "",
                            nullptr};
    long const before = g_allocations.load();
    int sink = 0;
    for (const char* other : others) {
        sink += ascii.CompareNoCase(other);
        sink += mixed.CompareNoCase(other);
    }
    EXPECT_EQ(g_allocations.load(), before);
    EXPECT_EQ(ascii.CompareNoCase(others[0]), 0);
    EXPECT_NE(sink, 0);
}

} // namespace
