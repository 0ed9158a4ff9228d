// Message texts for error codes, for logs and dialogs.

#include <platform/cstring.h>
#include <platform/last_error.h>

#include <cstdio>
#include <cstring>
#include <unordered_map>

namespace zulplatform {

namespace {

// Keyed by the low 16 bits, so a status code with facility and severity bits (0x80070057)
// finds the same text as the bare number (0x57).
std::unordered_map<unsigned int, char const*> const& KnownErrorTexts() {
    static std::unordered_map<unsigned int, char const*> const table = {
        {0x2030, "There is no such object on the server."},
        {0x4005, "Unspecified error"},
        {0x054F, "An internal error occurred."},
        {0x0104, "One or more input parameters is invalid."},
        {0x3007, "OSS ASN.1 Error: Encode/Decode version mismatch."},
        {0x0057, "The parameter is incorrect."},
        {0x0962, "Active connections still exist."},
    };
    return table;
}

} // namespace

char const* XlatErrorCode(unsigned int code) {
    auto const& table = KnownErrorTexts();
    auto const known = table.find(code & 0xFFFFu);
    if (known != table.end())
        return known->second;

    // The returned text lives until this thread's next call for a code outside the table.
    // Per-thread storage keeps concurrent callers from reallocating one string under each
    // other, which could corrupt the heap rather than merely change the text.
    static thread_local zulwin::CString systemText;
    static thread_local char hexText[32];
    systemText.Format("%s", std::strerror(static_cast<int>(code)));
    if (std::strstr(systemText.GetString(), "Unknown error") != nullptr) {
        std::snprintf(hexText, sizeof hexText, "0x%08x", code);
        return hexText;
    }
    return systemText.GetString();
}

} // namespace zulplatform
