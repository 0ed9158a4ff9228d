// GUID text on arbitrary input: GuidFromString against sscanf with the documented format, and
// every parsed GUID printed again and parsed back to the same value.
#include <platform/guid.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

void Check(bool ok) {
    if (!ok)
        std::abort();
}

// The plain rule: sscanf's conversions, all eleven of them.
bool ReferenceParse(const std::string& text, _GUID& g) {
    unsigned int d1 = 0;
    unsigned short d2 = 0, d3 = 0;
    unsigned char d4[8] = {};
    int const fields = std::sscanf(
        text.c_str(), "%08x-%04hx-%04hx-%02hhx%02hhx-%02hhx%02hhx%02hhx%02hhx%02hhx%02hhx", &d1,
        &d2, &d3, &d4[0], &d4[1], &d4[2], &d4[3], &d4[4], &d4[5], &d4[6], &d4[7]);
    if (fields != 11)
        return false;
    g.Data1 = d1;
    g.Data2 = d2;
    g.Data3 = d3;
    std::memcpy(g.Data4, d4, sizeof d4);
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string const text(reinterpret_cast<const char*>(data), size);
    _GUID parsed;
    std::memset(&parsed, 0xA5, sizeof parsed);
    _GUID const untouched = parsed;
    _GUID expected{};
    bool const ok = zulplatform::GuidFromString(text, parsed);
    Check(ok == ReferenceParse(text, expected));
    if (!ok) {
        Check(std::memcmp(&parsed, &untouched, sizeof parsed) == 0);
        return 0;
    }
    Check(std::memcmp(&parsed, &expected, sizeof parsed) == 0);

    zulplatform::guid_t const value(parsed);
    zulwin::CString printed = value.ToString();
    Check(printed.GetLength() == 36);
    zulwin::CString into("reused storage");
    value.ToString(into);
    Check(into == printed);
    _GUID again{};
    Check(zulplatform::GuidFromString(printed.GetString(), again));
    Check(zulplatform::guid_t(again) == value);
    return 0;
}
