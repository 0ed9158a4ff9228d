// The INI reader and writer on arbitrary input. The first byte picks how the document is made:
// parsed from text, loaded from a file's raw bytes (every encoding the loader recognises), or
// written value by value. Loading must agree with parsing the text its encoding gives; and any
// document whose names and values the text form can carry must come back equal from its own
// text, spelling and order included.
#include <platform/ini_file.h>
#include <platform/mem_file.h>
#include <platform/utf8_string.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <tuple>
#include <vector>

namespace {

void Check(bool ok) {
    if (!ok)
        std::abort();
}

using Entries = std::vector<std::tuple<std::string, std::string, std::string>>;

// Stands for a section's own line among its entries; no key read from a string holds a NUL.
const std::string kSectionMark(1, '\0');

// Every section and entry, empty keys included, with the spellings kept.
Entries Contents(const CIniFile& ini) {
    Entries entries;
    std::string section;
    ini.Iterate(
        [&](const zulwin::CString& name) {
            section = name.GetString();
            entries.emplace_back(section, kSectionMark, "");
        },
        [&](const zulwin::CString& key, const zulwin::CString& value) {
            entries.emplace_back(section, key.GetString(), value.GetString());
        });
    return entries;
}

bool IsTrimSpace(char c) {
    return c != 0 && std::strchr("\r\n\t\b ", c) != nullptr;
}

bool HasLineBreak(const std::string& s) {
    return s.find_first_of("\r\n") != std::string::npos;
}

// The reader walks the text in 16-bit units and appends each unit back as UTF-8 on its own, so a
// character beyond the Basic Multilingual Plane (a four-byte sequence or longer) comes back as
// "?", an encoded high surrogate (ED A0..AF ..), alone in its append, as nothing, and an overlong
// three-byte form (E0 80..9F ..) in its shortest form. Stored names are valid UTF-8 by the light
// rule, so those byte patterns mark them.
bool ChangedByTheReader(const std::string& s) {
    for (std::size_t i = 0; i < s.size(); ++i) {
        auto const b = static_cast<unsigned char>(s[i]);
        auto const next = i + 1 < s.size() ? static_cast<unsigned char>(s[i + 1]) : 0u;
        if (b >= 0xF0 || (b == 0xED && (next & 0xF0) == 0xA0) || (b == 0xE0 && next < 0xA0))
            return true;
    }
    return false;
}

bool IsTrimmed(const std::string& s) {
    return s.empty() || (!IsTrimSpace(s.front()) && !IsTrimSpace(s.back()));
}

// Whether the text form carries the document unchanged: a header line cannot hold "]" or a
// line break in its name; a key line is read up to its first "=", trimmed, is a comment or a
// header when it starts with ";", "#" or "[", and loses any leading white space the C library
// knows (vertical tab and form feed too, which trimming keeps); values are trimmed; entries with an
// empty key are not written, so only the empty value a header records survives under one; and
// no name or value may hold what the reader changes (see ChangedByTheReader).
bool Survives(const Entries& entries) {
    for (const auto& [section, key, value] : entries) {
        if (section.empty() || HasLineBreak(section) || section.find(']') != std::string::npos)
            return false;
        if (ChangedByTheReader(section) || ChangedByTheReader(key) || ChangedByTheReader(value))
            return false;
        if (key == kSectionMark)
            continue;
        if (key.empty()) {
            if (!value.empty())
                return false;
            continue;
        }
        if (HasLineBreak(key) || key.find('=') != std::string::npos || !IsTrimmed(key) ||
            std::strchr(";#[\v\f", key.front()) != nullptr)
            return false;
        if (HasLineBreak(value) || !IsTrimmed(value))
            return false;
    }
    return true;
}

void CheckRoundTrip(const CIniFile& ini) {
    Entries const before = Contents(ini);
    zulwin::CString text;
    ini.ToText(text);
    Check(before.empty() == text.IsEmpty());
    if (!Survives(before))
        return;
    CIniFile again;
    Check(again.FromText(text.GetString()));
    Check(!again.IsModified());
    Entries const after = Contents(again);
    // A section written without a header entry gains one on the way back.
    Entries expected;
    for (std::size_t i = 0; i < before.size(); ++i) {
        expected.push_back(before[i]);
        bool const header = std::get<1>(before[i]) == kSectionMark;
        bool const hasEmptyKey = i + 1 < before.size() && std::get<1>(before[i + 1]).empty() &&
                                 std::get<0>(before[i + 1]) == std::get<0>(before[i]);
        if (header && !hasEmptyKey)
            expected.emplace_back(std::get<0>(before[i]), "", "");
    }
    Check(after == expected);
    zulwin::CString text2;
    again.ToText(text2);
    Check(text == text2);
}

void FuzzText(const std::string& input) {
    CIniFile ini;
    if (ini.FromText(input.c_str())) {
        Check(!ini.IsModified());
        CheckRoundTrip(ini);
    }
}

// The text each encoding gives the reader, worked out independently of the loader: UTF-16
// big-endian is refused; UTF-16 little-endian is recognised by its mark or by a zero second
// byte; UTF-8 may carry a mark.
bool Decoded(const std::vector<unsigned char>& bytes, CUtf8String& text) {
    std::vector<unsigned char> b(bytes);
    b.resize(b.size() + 4, 0);
    if (b[0] == 0xFE && b[1] == 0xFF)
        return false;
    std::size_t from = 0;
    bool utf16 = false;
    if (b[0] == 0xFF && b[1] == 0xFE) {
        from = 2;
        utf16 = true;
    } else if (b[0] == 0xEF && b[1] == 0xBB && b[2] == 0xBF) {
        from = 3;
    } else if (b[0] != 0 && b[1] == 0) {
        utf16 = true;
    }
    if (utf16) {
        std::u16string units;
        for (std::size_t i = from; i + 1 < b.size(); i += 2) {
            char16_t const unit = static_cast<char16_t>(b[i] | (b[i + 1] << 8));
            if (unit == 0)
                break;
            units.push_back(unit);
        }
        text = CUtf8String(units.c_str());
    } else {
        text = CUtf8String(reinterpret_cast<const char*>(b.data() + from));
    }
    return true;
}

void FuzzLoad(const uint8_t* data, std::size_t size) {
    std::vector<unsigned char> bytes(data, data + size);
    std::vector<unsigned char> image(bytes);
    zulwin::CMemFile file(image.data(), static_cast<unsigned long>(image.size()));
    CIniFile loaded;
    bool const ok = loaded.Load(file);
    Check(file.GetPosition() == 0);

    CUtf8String text;
    CIniFile parsed;
    bool const expectedOk = Decoded(bytes, text) && inifile::FromText(parsed, text);
    Check(ok == expectedOk);
    if (Decoded(bytes, text))
        Check(Contents(loaded) == Contents(parsed));
    if (ok)
        CheckRoundTrip(loaded);
}

// Names and values separated by 0x01, three at a time.
void FuzzWrites(const std::string& input) {
    std::vector<std::string> parts;
    std::size_t start = 0;
    for (;;) {
        std::size_t const end = input.find('\x01', start);
        parts.push_back(input.substr(start, end - start));
        if (end == std::string::npos)
            break;
        start = end + 1;
    }
    CIniFile ini;
    for (std::size_t i = 0; i + 2 < parts.size(); i += 3)
        Check(ini.WriteValue(parts[i].c_str(), parts[i + 1].c_str(), parts[i + 2].c_str()));
    CheckRoundTrip(ini);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0)
        return 0;
    std::string const rest(reinterpret_cast<const char*>(data) + 1, size - 1);
    switch (data[0] % 3) {
    case 0:
        FuzzText(rest);
        break;
    case 1:
        FuzzLoad(data + 1, size - 1);
        break;
    default:
        FuzzWrites(rest);
        break;
    }
    return 0;
}
