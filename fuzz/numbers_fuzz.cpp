// The number parsers and the bounded string functions on arbitrary text: the parsers against
// the C library's rules, the copy functions against their contracts, the hash against the
// standard library's.
#include <platform/cstring.h>
#include <platform/exception.h>
#include <platform/safe_string.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>

namespace {

void Check(bool ok) {
    if (!ok)
        std::abort();
}

// Runs a bounded function on an 8-byte buffer padded with guards: nothing outside the buffer
// may change, and the result is 0 or a thrown CException with a listed code.
template <typename F> void Guarded(F f) {
    char block[24];
    std::memset(block, 'G', sizeof block);
    char* const buffer = block + 8;
    try {
        f(buffer);
    } catch (const zulplatform::CException& e) {
        Check(e.GetCode() == 22 || e.GetCode() == 34 || e.GetCode() == -4);
    }
    for (int i = 0; i < 8; ++i)
        Check(block[i] == 'G' && block[16 + i] == 'G');
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string const text(reinterpret_cast<const char*>(data), size);
    const char* s = text.c_str();

    auto const u = s[std::strspn(s, " \t\n\v\f\r")] == '-' ? 0ULL : std::strtoull(s, nullptr, 10);
    long long const ll = std::strtoll(s, nullptr, 10);
    Check(_ttoull(s) == u && _ttoul(s) == u);
    Check(_ttoui(s) == std::min<unsigned long long>(u, UINT_MAX));
    Check(_ttoll(s) == ll && _ttol(s) == ll);
    Check(_ttoi(s) == std::clamp<long long>(ll, INT_MIN, INT_MAX));

    unsigned long const n = size == 0 ? 0 : data[0] % 10;
    Guarded([&](char* b) { strcpy_s(b, std::min(n, 8ul), s); });
    Guarded([&](char* b) { strncpy_s(b, std::min(n, 8ul), s, size % 12); });
    Guarded([&](char* b) {
        std::memcpy(b, "ab", 3);
        strcat_s(b, std::min(n, 8ul), s);
    });
    Guarded([&](char* b) { memcpy_s(b, std::min(n, 8ul), s, std::min<std::size_t>(size, 12)); });
    Guarded([&](char* b) { sprintf_s(b, std::min(n, 8ul), "%s", s); });
    Guarded([&](char* b) { lstrcpyn(b, s, std::min(n, 8ul)); });

    zulwin::CString const a(s), b(text.substr(size / 2).c_str());
    Check(_NaturalCompare(a, a) == 0);
    int const ab = _NaturalCompare(a, b), ba = _NaturalCompare(b, a);
    Check((ab < 0 && ba > 0) || (ab > 0 && ba < 0) || (ab == 0 && ba == 0));
    Check(zulplatform::HashCString(a) == std::hash<std::string>()(a.GetString()));
    return 0;
}
