// Sets the process's TZ for one scope and puts the old value (or its absence) back at the end,
// so that tests which read the C library's zone never leave it changed for the next test.
#pragma once

#include <time.h>

#include <cstdlib>
#include <string>

namespace test_support {

class ScopedTz {
public:
    explicit ScopedTz(const std::string& value) {
        const char* const old = std::getenv("TZ");
        m_had = old != nullptr;
        if (m_had)
            m_old = old;
        setenv("TZ", value.c_str(), 1);
        tzset();
    }
    ScopedTz(const ScopedTz&) = delete;
    ScopedTz& operator=(const ScopedTz&) = delete;
    ~ScopedTz() {
        if (m_had)
            setenv("TZ", m_old.c_str(), 1);
        else
            unsetenv("TZ");
        tzset();
    }

private:
    bool m_had = false;
    std::string m_old;
};

} // namespace test_support
