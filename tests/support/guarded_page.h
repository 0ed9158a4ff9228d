// A mapped page followed by one that may not be touched: bytes copied to end on the page's last
// byte make any read past them fault, however far ahead the code under test reads.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <stdexcept>

namespace test_support {

class GuardedPage {
public:
    GuardedPage() {
        if (m_begin == MAP_FAILED || mprotect(End(), m_size, PROT_NONE) != 0)
            throw std::runtime_error("GuardedPage: mmap or mprotect failed");
    }
    ~GuardedPage() { munmap(m_begin, 2 * m_size); }

    // The first byte that faults.
    char* End() const { return m_begin + m_size; }

private:
    std::size_t const m_size = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    char* const m_begin = static_cast<char*>(
        mmap(nullptr, 2 * m_size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
};

} // namespace test_support
