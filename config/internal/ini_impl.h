// CIniFileImpl: the sections of a CIniFile, each a table of key/value entries.
#pragma once

#include "config/internal/name_table.h"

#include <platform/cstring.h>
#include <platform/ini_file.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

struct _CIniEntry {
    _CIniEntry(zulwin::CString&& k, zulwin::CString&& v, std::uint32_t h)
        : key(std::move(k)), value(std::move(v)), hash(h) {}
    zulwin::CString key;
    zulwin::CString value;
    std::uint32_t hash;
    zulwin::CString const& Name() const { return key; }
};

struct _CIniSection {
    _CIniSection(zulwin::CString&& n, std::uint32_t h) : name(std::move(n)), hash(h) {}
    zulwin::CString name;
    std::uint32_t hash;
    inifile::_CNameTable<_CIniEntry> entries;
    zulwin::CString const& Name() const { return name; }
};

class CIniFileImpl {
public:
    inifile::_CNameTable<_CIniSection> sections;

    std::size_t GetSectionSize(char const* section) const;

    _CIniSection* FindSection(char const* name) {
        std::size_t const i = sections.Find(name);
        return i == sections.npos ? nullptr : &sections[i];
    }
    _CIniSection const* FindSection(char const* name) const {
        std::size_t const i = sections.Find(name);
        return i == sections.npos ? nullptr : &sections[i];
    }
    // The section's index, added under the spelling given when absent.
    std::size_t FindOrAddSection(zulwin::CString&& name);
    // Sets `key` of section `index` to `value`, adding the entry when absent. True when
    // anything changed (an equal value changes nothing).
    bool Assign(std::size_t index, zulwin::CString&& key, zulwin::CString&& value);
};

namespace inifile {

// The document's text appended to `out`, as ToText writes it.
void _AppendText(CIniFile const& ini, std::string& out);

} // namespace inifile
