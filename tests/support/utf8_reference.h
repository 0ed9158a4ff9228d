// Plain reference implementations of the UTF-8 rules, written as the rules read, for checking
// the library's fast paths in tests and fuzz targets.
#pragma once

#include <platform/unicode.h>

#include <codecvt>
#include <cstring>
#include <iterator>
#include <locale>
#include <random>
#include <string>

namespace test_support {

// The light rule, sequence by sequence up to the terminator.
inline bool RefIsValidString(const char* s) {
    unsigned long len;
    for (; *s != 0; s += len)
        if (!utf8_private::IsValidCodePoint(s, len))
            return false;
    return true;
}

// The acceptance rule: valid text as it is, else every byte of 0x80 and above as '?'.
inline std::string RefAccept(const char* s) {
    std::string out(s);
    if (!RefIsValidString(s))
        for (char& c : out)
            c = static_cast<unsigned char>(c) >= 0x80 ? '?' : c;
    return out;
}

// The case walk over raw content, on a copy padded with NULs so that the unchecked decoder may
// read past the end.
inline std::string RefConvert(const std::string& in, bool lower) {
    std::string const padded = in + std::string(8, '\0');
    std::string out;
    for (std::size_t pos = 0, len; pos < in.size(); pos += len) {
        if ((len = CUtf8String::GetSequenceLen(padded[pos])) == 0)
            break;
        unsigned const cp = utf8_private::GetCodePoint(padded.data() + pos, len);
        utf8_private::SetCodePoint(out,
                                   lower ? utf8_private::tolower(cp) : utf8_private::toupper(cp));
    }
    return out;
}

// The code-point count of raw content: steps by the sequence-length table until a NUL lead
// byte; a sequence cut by the end counts once.
inline unsigned long RefLength(const std::string& s) {
    unsigned long count = 0;
    for (std::size_t pos = 0, len; pos < s.size(); pos += len, ++count)
        if ((len = CUtf8String::GetSequenceLen(s[pos])) == 0)
            break;
    return count;
}

// The search of CString's editing loops on raw content `b`, from byte `pos`: nothing from a
// position at or past the code-point count (positions and counts mix there, as in the class); a
// single character by strchr, anything else by strstr. Moves `pos` to the hit.
inline bool RefFindFrom(const std::string& b, const char* s, unsigned long& pos) {
    if (s == nullptr || pos >= RefLength(b))
        return false;
    const char* const base = b.c_str();
    const char* const hit =
        (s[0] != 0 && s[1] == 0) ? std::strchr(base + pos, s[0]) : std::strstr(base + pos, s);
    if (hit != nullptr)
        pos = static_cast<unsigned long>(hit - base);
    return hit != nullptr;
}

// The strictly valid prefix through the standard converter.
inline std::u16string RefToWide(std::string s) {
    unsigned long const n = CUtf8String::utf8_check(reinterpret_cast<unsigned char*>(&s[0]));
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    std::wstring_convert<std::codecvt_utf8_utf16<char16_t, 0x10FFFF>, char16_t> conv;
    return conv.from_bytes(s.data(), s.data() + n);
#pragma GCC diagnostic pop
}

// Random text: mostly valid sequences of every length, or mostly the byte patterns scanners get
// wrong (stray continuations, cut sequences, C0/C1, F5..FF, 5- and 6-byte leads, overlong and
// surrogate forms); with `allowNul`, NULs among them.
inline std::string RandomText(std::mt19937& rng, std::size_t maxLen, bool allowNul = false) {
    // clang-format off
    static const char* const pieces[] = {"a", "Z", " ", "\xC3\xA9", "\xC3\x89", "\xCE\xA3",
        "\xC4\xB1", "\xC8\xBA", "\xE4\xB8\xAD", "\xE2\x84\xAA", "\xF0\x9F\x98\x80",
        "\xF0\x90\x90\x80", "\xF4\x8F\xBF\xBF", "\x80", "\xBF", "\xC0\x80", "\xC1\xBF", "\xC3",
        "\xE4\xB8", "\xF0\x9F\x98", "\xF5\x80\x80\x80", "\xF8\x88\x80\x80\x80",
        "\xFC\x84\x80\x80\x80\x80", "\xFE", "\xFF", "\xE0\x80\x80", "\xED\xA0\x80",
        "\xF4\x90\x80\x80"};
    // clang-format on
    std::size_t const n = rng() % (maxLen + 1);
    bool const mostlyValid = rng() % 2 == 0;
    std::string s;
    while (s.size() < n) {
        s += pieces[mostlyValid && rng() % 8 != 0 ? rng() % 13 : rng() % std::size(pieces)];
        if (allowNul && rng() % 32 == 0)
            s.push_back('\0');
    }
    return s;
}

} // namespace test_support
