// The value exception of the library.
#include <platform/exception.h>

namespace zulplatform {

// Out of line so that every thrower shares one definition of the throw and its type info.
void CException::Throw(int code) {
    throw CException(code);
}

} // namespace zulplatform
