// Normalisation and judgement of user-supplied paths.
#include "platform/internal/limits.h"

#include <platform/path.h>

#include <cstring>
#include <vector>

using zulwin::CString;

namespace zulplatform {

namespace {

constexpr long kMinPathLength = 2;

enum : unsigned int {
    resultValid = 0,
    resultTooShort = 2,
    resultTooLong = 3,
    resultInvalidCharacter = 4,
    resultNotAbsolute = 5,
    // 1 and 6 to 9 are drive-related results, reserved in the same numbering.
    resultLastSyntax = 9,
};

// Characters no validated path may hold. ':' and '\' are absent: '\' has become '/' by the time
// the table is consulted. Built at load, after the library's own start-up constructors.
std::vector<char> _invalidPathChars
    __attribute__((init_priority(104))) = {'?', '>', '<', '|', '*', '"'};

bool HoldsInvalidCharacter(const CString& path) {
    const char* text = path.GetString();
    const std::size_t length = static_cast<std::size_t>(path.GetLength());
    for (char c : _invalidPathChars) {
        if (std::memchr(text, c, length) != nullptr)
            return true;
    }
    return false;
}

// Turns '\' into '/', then folds each "//" into "/" in one left-to-right pass (a run of three
// slashes keeps two), then drops trailing slashes. Only shrinks, so it works in place.
void NormaliseSeparators(CString& path) {
    const long length = path.GetLength();
    char* text = path.GetBuffer();
    auto slashed = [text](long i) { return text[i] == '\\' ? '/' : text[i]; };
    long out = 0;
    for (long in = 0; in < length; ++in) {
        const char c = slashed(in);
        if (c == '/' && in + 1 < length && slashed(in + 1) == '/')
            ++in;
        text[out++] = c;
    }
    while (out > 0 && text[out - 1] == '/')
        --out;
    path.ReleaseBuffer(static_cast<int>(out));
}

} // namespace

unsigned int CPathValidator::Validate(CString& path, flags f, IDriveInfo& /*drives*/) {
    path.Trim();
    NormaliseSeparators(path);
    if (path.GetLength() < kMinPathLength)
        return resultTooShort;
    if (path.GetLength() > static_cast<long>(kMaxPath))
        return resultTooLong;
    if (HoldsInvalidCharacter(path))
        return resultInvalidCharacter;
    if (path[0] != '/')
        return (f & allowRelative) != 0 ? resultValid : resultNotAbsolute;
    return resultValid;
}

unsigned int CPathValidator::ValidateSyntax(CString& path, flags f) {
    const unsigned int result = Validate(path, f, GetDriveInfo());
    // Only the syntax results pass; drive results (1, 6) and unknown values read as valid.
    switch (result) {
    case resultTooShort:
    case resultTooLong:
    case resultInvalidCharacter:
    case resultNotAbsolute:
    case 7:
    case 8:
    case resultLastSyntax:
        return result;
    default:
        return resultValid;
    }
}

unsigned int CPathValidator::ValidateLength(const CString& path) {
    if (path.GetLength() < kMinPathLength)
        return resultTooShort;
    if (path.GetLength() > static_cast<long>(kMaxPath))
        return resultTooLong;
    return resultValid;
}

} // namespace zulplatform
