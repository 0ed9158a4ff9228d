// Files: exceptions and file errors.
#pragma once

#include <platform/strings.h>

namespace zulplatform {

// The value exception of the library: one int code, thrown by value for programming and
// resource errors. Codes in use: -1 a failed platform call, allocation or index misuse; -2 a
// memory file that cannot grow; -3 an INI write error; -4 a null buffer or a formatting
// failure; errno numbers (11, 22, 34); or a last-error value.
class CException {
public:
    explicit CException(int code) noexcept : m_code(code) {}
    int GetCode() const noexcept { return m_code; }
    [[noreturn]] static void Throw(int code);

private:
    int m_code;
};

} // namespace zulplatform
