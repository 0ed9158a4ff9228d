// CIniFile: the document model. Lookups hash the name given instead of building a CString from
// it, so reading a value allocates nothing.
#include "config/internal/ini_impl.h"

#include <platform/ini_file.h>

#include <cstring>
#include <new>

using zulwin::CString;

namespace {

// A null name is the empty name, as a CString built from it would be.
char const* OrEmpty(char const* name) {
    return name == nullptr ? "" : name;
}

} // namespace

namespace inifile {

bool compare_no_case_t::operator()(CString const& a, CString const& b) const {
    return _NameLess(a, b);
}

} // namespace inifile

std::size_t CIniFileImpl::GetSectionSize(char const* section) const {
    _CIniSection const* s = FindSection(section);
    return s == nullptr ? 0 : s->entries.size();
}

std::size_t CIniFileImpl::FindOrAddSection(CString&& name) {
    std::size_t const len = static_cast<std::size_t>(name.GetLength());
    std::uint32_t const hash = inifile::_NameHash(name.GetString(), len);
    std::size_t const found = sections.Find(name.GetString(), len, hash);
    if (found != sections.npos)
        return found;
    return sections.Add(std::move(name), hash);
}

bool CIniFileImpl::Assign(std::size_t index, CString&& key, CString&& value) {
    auto& entries = sections[index].entries;
    std::size_t const len = static_cast<std::size_t>(key.GetLength());
    std::uint32_t const hash = inifile::_NameHash(key.GetString(), len);
    std::size_t const found = entries.Find(key.GetString(), len, hash);
    if (found == entries.npos) {
        entries.Add(std::move(key), std::move(value), hash);
        return true;
    }
    CString& stored = entries[found].value;
    if (stored.Compare(value.GetString()) == 0)
        return false;
    stored = std::move(value);
    return true;
}

CIniFile::CIniFile() : m_impl(new CIniFileImpl) {}

CIniFile::~CIniFile() {
    delete m_impl;
}

void CIniFile::Reset() {
    m_impl->sections.Clear();
    m_modified = false;
}

bool CIniFile::HasSection(char const* section) const {
    return m_impl->FindSection(OrEmpty(section)) != nullptr;
}

bool CIniFile::ReadValue(char const* section, char const* key, CString& value) const {
    _CIniSection const* s = m_impl->FindSection(OrEmpty(section));
    if (s == nullptr)
        return false;
    std::size_t const i = s->entries.Find(OrEmpty(key));
    if (i == s->entries.npos)
        return false;
    try {
        value = s->entries[i].value;
    } catch (std::bad_alloc const&) {
        return false;
    }
    return true;
}

bool CIniFile::WriteValue(char const* section, char const* key, char const* value) {
    section = OrEmpty(section);
    key = OrEmpty(key);
    try {
        std::size_t index = m_impl->sections.Find(section);
        if (index == m_impl->sections.npos) {
            if (value == nullptr)
                return true;
            index = m_impl->FindOrAddSection(CString(section));
        } else if (value == nullptr && m_impl->sections[index].entries.Find(key) ==
                                           m_impl->sections[index].entries.npos) {
            return true;
        }
        if (m_impl->Assign(index, CString(key), CString(value)))
            m_modified = true;
    } catch (std::bad_alloc const&) {
        return false;
    }
    return true;
}

bool CIniFile::RemoveValue(char const* section, char const* key) {
    if (section == nullptr) {
        m_impl->sections.Clear();
        m_modified = true;
        return true;
    }
    std::size_t const index = m_impl->sections.Find(section);
    if (index == m_impl->sections.npos)
        return false;
    if (key == nullptr) {
        m_impl->sections.RemoveAt(index);
    } else {
        auto& entries = m_impl->sections[index].entries;
        std::size_t const entry = entries.Find(key);
        if (entry != entries.npos)
            entries.RemoveAt(entry);
    }
    m_modified = true;
    return true;
}

void CIniFile::QueryKeys(char const* section, std::vector<char const*>& keys) const {
    keys.clear();
    _CIniSection const* s = m_impl->FindSection(OrEmpty(section));
    if (s == nullptr)
        return;
    for (std::uint32_t i : s->entries.Sorted())
        keys.push_back(s->entries[i].key.GetString());
}

void CIniFile::QuerySections(std::vector<char const*>& sections) const {
    sections.clear();
    auto const& all = m_impl->sections;
    for (std::uint32_t i : all.Sorted())
        sections.push_back(all[i].name.GetString());
}

void CIniFile::Iterate(std::function<void(CString const&)> onSection,
                       std::function<void(CString const&, CString const&)> onKey) const {
    auto const& all = m_impl->sections;
    for (std::uint32_t i : all.Sorted()) {
        _CIniSection const& s = all[i];
        onSection(s.name);
        for (std::uint32_t j : s.entries.Sorted())
            onKey(s.entries[j].key, s.entries[j].value);
    }
}

std::size_t CIniFile::_GetSectionCount() const {
    return m_impl->sections.size();
}

std::size_t CIniFile::_GetSectionSize(char const* section) const {
    return m_impl->GetSectionSize(OrEmpty(section));
}

bool CIniFile::FromText(char const* text) {
    return inifile::FromText(*this, text);
}

void CIniFile::ToText(CString& text) const {
    inifile::ToText(*this, text);
}
