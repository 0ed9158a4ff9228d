// Sets the process's TZ for one scope and puts the old value (or its absence) back at the end,
// so that tests which read the C library's zone never leave it changed for the next test.
#pragma once

#include <time.h>

#include <cstdlib>
#include <optional>
#include <string>

namespace test_support {

class ScopedTz {
public:
    explicit ScopedTz(const std::string& value) {
        if (const char* const old = std::getenv("TZ"))
            m_old = old;
        Set(value.c_str());
    }
    ScopedTz(const ScopedTz&) = delete;
    ScopedTz& operator=(const ScopedTz&) = delete;
    ~ScopedTz() { Set(m_old ? m_old->c_str() : nullptr); }

private:
    static void Set(const char* value) {
        (void)(value ? setenv("TZ", value, 1) : unsetenv("TZ"));
        tzset();
    }
    std::optional<std::string> m_old;
};

} // namespace test_support
