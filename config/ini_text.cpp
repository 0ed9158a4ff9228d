// The INI text form: a strict line parser (sections and key lines) that is lenient about line
// ends, and a writer of sorted UTF-8 text with line feeds.
#include "config/internal/ini_impl.h"

#include <platform/ini_file.h>
#include <platform/utf8.h>

#include <cctype>
#include <cstring>

using zulwin::CString;

namespace {

// The bytes CString::Trim removes.
bool IsTrimmed(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\b';
}

// The byte length of the white-space character at `p` (before `end`), or 0 when it is not one.
// White space is the C library's isspace of the character's value; characters above U+00FF
// never are.
std::size_t SpaceAt(char const* p, char const* end) {
    auto const b = static_cast<unsigned char>(*p);
    if (b < 0x80)
        return (b == ' ' || (b >= '\t' && b <= '\r')) ? 1 : 0;
    if ((b == 0xC2 || b == 0xC3) && end - p >= 2) {
        int const value = ((b & 0x1F) << 6) | (static_cast<unsigned char>(p[1]) & 0x3F);
        return std::isspace(value) ? 2 : 0;
    }
    return 0;
}

char const* SkipSpace(char const* p, char const* end) {
    while (p < end) {
        std::size_t const n = SpaceAt(p, end);
        if (n == 0)
            break;
        p += n;
    }
    return p;
}

// Parses lines into one document, remembering the current section and whether any write
// changed the document.
class LineParser {
public:
    // `end`: the end of the whole text, for sizing sections ahead.
    LineParser(CIniFileImpl& impl, char const* end) : m_impl(impl), m_textEnd(end) {}

    bool Changed() const { return m_changed; }

    // One line without its line feed and carriage returns. False when the line is malformed.
    // `ascii`: the line is known to be plain ASCII, so its names and values need no validation.
    // `rest`: where the text goes on after the line. A line walked character by character is a
    // copy, so its own end says nothing about the text that follows.
    bool Line(char const* p, char const* end, bool ascii, char const* rest) {
        m_ascii = ascii;
        m_rest = rest;
        p = SkipSpace(p, end);
        if (p == end || *p == ';' || *p == '#')
            return true;
        if (*p == '[')
            return Header(p + 1, end);
        if (m_section == m_impl.sections.npos)
            return true;
        auto const* eq = static_cast<char const*>(std::memchr(p, '=', end - p));
        if (eq == nullptr)
            return false;
        char const* keyEnd = eq;
        while (keyEnd > p && IsTrimmed(keyEnd[-1]))
            --keyEnd;
        char const* value = eq + 1;
        while (value < end && IsTrimmed(*value))
            ++value;
        char const* valueEnd = end;
        while (valueEnd > value && IsTrimmed(valueEnd[-1]))
            --valueEnd;
        m_changed |= m_impl.Assign(m_section, Text(p, keyEnd), Text(value, valueEnd));
        return true;
    }

private:
    bool Header(char const* name, char const* end) {
        auto const* close = static_cast<char const*>(std::memchr(name, ']', end - name));
        if (close == nullptr || close == name || SkipSpace(close + 1, end) != end)
            return false;
        m_section = m_impl.FindOrAddSection(Text(name, close));
        auto& entries = m_impl.sections[m_section].entries;
        if (entries.empty())
            entries.Reserve(LinesBeforeNextHeader(m_rest));
        m_changed |= m_impl.Assign(m_section, CString(), CString());
        return true;
    }

    // The lines from `p` up to the next one that starts with "[": room for the entries of a
    // new section, so that filling it moves nothing. Comments and blank lines make it an
    // overestimate, bounded by the text's size.
    std::size_t LinesBeforeNextHeader(char const* p) const {
        std::size_t lines = 1;
        while (p < m_textEnd) {
            auto const* lf = static_cast<char const*>(
                std::memchr(p, '\n', static_cast<std::size_t>(m_textEnd - p)));
            if (lf == nullptr || lf + 1 == m_textEnd || lf[1] == '[')
                break;
            ++lines;
            p = lf + 1;
        }
        return lines;
    }

    CString Text(char const* p, char const* end) const {
        auto const n = static_cast<unsigned long>(end - p);
        if (!m_ascii)
            return CString(p, n);
        CString text;
        if (n != 0)
            std::memcpy(text.GetBufferSetLength(static_cast<int>(n)), p, n);
        return text;
    }

    CIniFileImpl& m_impl;
    char const* m_textEnd;
    char const* m_rest = nullptr;
    std::size_t m_section = inifile::_CNameTable<_CIniSection>::npos;
    bool m_changed = false;
    bool m_ascii = false;
};

// True when the line needs the character-wise walk: it holds a carriage return or a byte of
// 0x80 and above.
bool NeedsCharacterWalk(char const* p, char const* end) {
    if (std::memchr(p, '\r', static_cast<std::size_t>(end - p)) != nullptr)
        return true;
    std::uint64_t high = 0;
    for (; end - p >= 8; p += 8) {
        std::uint64_t word;
        std::memcpy(&word, p, sizeof word);
        high |= word;
    }
    for (; p < end; ++p)
        high |= static_cast<unsigned char>(*p);
    return (high & 0x8080808080808080ull) != 0;
}

} // namespace

namespace inifile {} // namespace inifile

namespace {

// Parses NUL-terminated text that is valid by the light rule, as a CUtf8String holds it.
bool ParseValidText(CIniFile& ini, char const* p) {
    ini.Reset();
    char const* const end = p + std::strlen(p);
    LineParser parser(ini._GetImpl(), end);
    bool ok = true;
    while (ok && p < end) {
        auto const* lf = static_cast<char const*>(std::memchr(p, '\n', end - p));
        char const* const lineEnd = lf == nullptr ? end : lf;
        if (!NeedsCharacterWalk(p, lineEnd)) {
            ok = parser.Line(p, lineEnd, true, lineEnd);
            p = lf == nullptr ? end : lf + 1;
            continue;
        }
        // Characters as the UTF-16 walk yields them, each turned back into UTF-8, carriage
        // returns dropped. The walk steps by sequence, so it finds the line's end itself.
        // A character that reads as 0 ends the text, as the terminator does.
        CString line;
        CUtf8String::const_iterator it(p);
        char16_t c = *it;
        for (; c != 0 && c != u'\n'; c = *++it) {
            if (c != u'\r')
                line += c;
        }
        ok = parser.Line(line.GetString(), line.GetString() + line.GetLength(), false,
                         it.GetPointer());
        p = c == 0 ? end : it.GetPointer() + 1;
    }
    ini._SetModified(!ok && parser.Changed());
    return ok;
}

} // namespace

namespace inifile {

bool FromText(CIniFile& ini, CUtf8String const& text) {
    return ParseValidText(ini, text.c_str());
}

bool FromText(CIniFile& ini, char const* text) {
    if (text == nullptr)
        text = "";
    // Valid text is what the CUtf8String would hold, so it is parsed in place, without a copy.
    if (utf8_private::IsValidString(text))
        return ParseValidText(ini, text);
    return ParseValidText(ini, CUtf8String(text).c_str());
}

void _AppendText(CIniFile const& ini, std::string& out) {
    auto const& sections = ini._GetImpl().sections;
    for (std::uint32_t i : sections.Sorted()) {
        _CIniSection const& section = sections[i];
        if (!out.empty())
            out += '\n';
        out += '[';
        out.append(section.name.GetString(), section.name.GetLength());
        out += "]\n";
        for (std::uint32_t j : section.entries.Sorted()) {
            _CIniEntry const& entry = section.entries[j];
            if (entry.key.IsEmpty())
                continue;
            out.append(entry.key.GetString(), entry.key.GetLength());
            out += " = ";
            out.append(entry.value.GetString(), entry.value.GetLength());
            out += '\n';
        }
    }
    if (!out.empty())
        out += '\n';
}

void ToText(CIniFile const& ini, CString& text) {
    // The separators depend on whether the text already holds something.
    std::string out(text.IsEmpty() ? "" : "\n");
    _AppendText(ini, out);
    text += out.c_str() + (text.IsEmpty() ? 0 : 1);
}

} // namespace inifile
