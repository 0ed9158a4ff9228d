// UTF-8 validation, the acceptance rule, the conversion to UTF-16, case mapping, case-insensitive
// comparison and code-point counting against the plain references. The input is split at its
// first 0xFF 0x00 pair into a text and a second text for the comparison.
#include "support/utf8_reference.h"

#include <platform/unicode.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

using namespace test_support;

namespace {

int Sign(int v) {
    return (v > 0) - (v < 0);
}

void Check(bool ok) {
    if (!ok)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string const input(reinterpret_cast<const char*>(data), size);
    std::size_t const split = input.find(std::string("\xFF\0", 2));
    std::string const raw = input.substr(0, split);
    std::string const other = split == std::string::npos ? std::string() : input.substr(split + 2);
    const char* s = raw.c_str(); // up to the first NUL

    Check(utf8_private::IsValidString(s) == RefIsValidString(s));
    Check(CUtf8String(s).str() == RefAccept(s));
    Check(CUtf8String::ToWide(s) == RefToWide(s));
    unsigned long const limit = raw.size() % 37;
    std::size_t const valid = utf8_private::GetValidSize(s, limit);
    Check(valid <= limit && CUtf8String(s, limit).str() == std::string(s, valid));

    // Raw content, embedded NULs and all.
    Check(CUtf8String(std::string(raw)).GetLength() == RefLength(raw));
    Check(CUtf8String(std::string(raw)).MakeLower().str() == RefConvert(raw, true));
    Check(CUtf8String(std::string(raw)).MakeUpper().str() == RefConvert(raw, false));
    Check(Sign(CUtf8String(std::string(raw)).CompareNoCase(other.c_str())) ==
          Sign(std::strcmp(RefConvert(raw, true).c_str(),
                           RefConvert(RefAccept(other.c_str()), true).c_str())));
    return 0;
}
