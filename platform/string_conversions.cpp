// CString values built from UTF-8 and UTF-16 text.
#include <platform/cstring.h>

namespace zulplatform {

zulwin::CString CStringFromUtf8String(char const* s) {
    return zulwin::CString(s);
}

zulwin::CString CStringFromUtf8String(CUtf8String const& u) {
    return zulwin::CString(u.c_str());
}

zulwin::CString CStringFromUtf16String(char16_t const* s) {
    const CUtf8String u(s, CUtf8String::default_max_utf8_bytes);
    return zulwin::CString(u.c_str());
}

} // namespace zulplatform
