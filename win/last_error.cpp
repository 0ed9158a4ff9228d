// The per-thread last-error cell of the compatibility layer.

#include <platform/last_error.h>

namespace zulwin {

unsigned int& _lasterror() {
    // Zero-initialised in every new thread; only SetLastError writes it.
    static thread_local unsigned int cell = 0;
    return cell;
}

void SetLastError(unsigned int code) {
    _lasterror() = code;
}

unsigned int GetLastError() {
    return _lasterror();
}

} // namespace zulwin
