// Counts the program's heap allocations, for tests that prove a hot path allocates nothing.
// The header replaces the global operator new and delete: include it in exactly one source file
// of a test program.
#pragma once

#include <atomic>
#include <cstdlib>
#include <new>

namespace test_support {

inline std::atomic<long> g_allocations{0};

// Allocations made so far by this program, in every thread.
inline long Allocations() {
    return g_allocations.load();
}

} // namespace test_support

// These replace the global allocation functions, so malloc and free are the right pair here;
// the compiler's new/delete mismatch check cannot tell.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
void* operator new(std::size_t size) {
    test_support::g_allocations.fetch_add(1, std::memory_order_relaxed);
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
