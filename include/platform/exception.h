/// \file
/// The value exception of the library, shared by every family.
#pragma once

#include <platform/export.h>

namespace zulplatform {

/// One int code, thrown by value for programming and resource errors. Codes in use: -1 a failed
/// platform call, allocation or index misuse; -2 a memory file that cannot grow; -3 an INI write
/// error; -4 a null buffer or a formatting failure; errno numbers (11, 22, 34); or a last-error
/// value.
class PLATFORM_API CException {
public:
    /// An exception carrying `code`.
    explicit CException(int code) noexcept : m_code(code) {}
    /// The code it was made with.
    int GetCode() const noexcept { return m_code; }
    /// Out of line, so that every thrower shares one definition of the throw and its type.
    [[noreturn]] static void Throw(int code);

private:
    int m_code;
};

} // namespace zulplatform
