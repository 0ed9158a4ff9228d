/// \file
/// CIniFile, the in-memory INI document behind every configuration facility, and the inifile
/// text reader and writer.
///
/// Section and key names are matched without regard to letter case (the spelling first inserted
/// is kept) and always enumerated in case-insensitive sorted order; values compare exactly. A
/// document is meant for one thread at a time, const calls included (enumeration keeps a sorted
/// view that it refreshes on demand).
///
/// Saving to a path never writes the file in place: the new text goes to a temporary file in the
/// same directory that is then renamed over the target (over the target of a symbolic link, not
/// the link), keeping the target's permission bits. A reader, or a process killed at any instant,
/// sees either the old or the new complete file. There is no fsync: a power cut can still lose
/// the newest content. Writers of one file exclude one another with an exclusive flock, threads
/// and processes alike; readers take no lock.
#pragma once

#include <platform/cstring.h>
#include <platform/export.h>

#include <cstddef>
#include <functional>
#include <vector>

namespace zulwin {
class CFile;
}

class CIniFileImpl;

namespace inifile {

/// Case-insensitive strict weak order of names: CString::CompareNoCase below zero.
struct PLATFORM_API compare_no_case_t {
    /// Whether `a` sorts before `b`, letter case ignored.
    bool operator()(zulwin::CString const& a, zulwin::CString const& b) const;
};

} // namespace inifile

/// An INI document in memory: sections of key/value entries, names compared without regard to
/// letter case, with a modified flag that saving relies on.
class PLATFORM_API CIniFile {
public:
    /// An empty, unmodified document.
    CIniFile();
    CIniFile(CIniFile const&) = delete;
    CIniFile& operator=(CIniFile const&) = delete;
    ~CIniFile();

    /// Removes every section and clears the modified flag.
    void Reset();
    /// Whether a section of that name exists.
    bool HasSection(char const* section) const;
    /// True and `value` assigned when the section and key exist; `value` untouched otherwise.
    /// Allocates nothing beyond what the assignment to `value` needs.
    bool ReadValue(char const* section, char const* key, zulwin::CString& value) const;
    /// A null value never deletes: it sets an existing key to "" and is ignored for a missing
    /// one. Writing the value already stored leaves the document unmodified.
    bool WriteValue(char const* section, char const* key, char const* value);
    /// Null section: every section. Null key: the whole section. False only for a missing
    /// section; removing a missing key of an existing section still counts as a change.
    bool RemoveValue(char const* section, char const* key);
    /// @{
    /// Replaces the vector's content with the section's keys (a section made from a header line
    /// alone yields one empty key) or every section name, in case-insensitive sorted order. The
    /// pointers stay valid until the document next changes or is destroyed.
    void QueryKeys(char const* section, std::vector<char const*>& keys) const;
    void QuerySections(std::vector<char const*>& sections) const;
    /// @}
    /// Every section in order, each followed by its entries in order (the empty key included).
    void Iterate(std::function<void(zulwin::CString const&)> onSection,
                 std::function<void(zulwin::CString const&, zulwin::CString const&)> onKey) const;

    /// Set by every effective WriteValue or RemoveValue; cleared by Reset, a successful parse
    /// and a successful Save(char const*).
    bool IsModified() const { return m_modified; }
    /// The number of sections.
    std::size_t _GetSectionCount() const;
    /// The number of entries of the section, the empty key included; 0 when it is absent.
    std::size_t _GetSectionSize(char const* section) const;

    /// @{
    /// The text form: see inifile::FromText and inifile::ToText.
    bool FromText(char const* text);
    void ToText(zulwin::CString& text) const;
    /// @}

    /// Whole-file read and write through an open file. Load detects UTF-8 (with or without a
    /// byte-order mark) and UTF-16 little-endian; UTF-16 big-endian is refused (false). Save
    /// writes UTF-8 with line feeds from the current position after emptying the file; a write
    /// failure throws zulplatform::CException(-3).
    /// @{
    bool Load(zulwin::CFile& file);
    bool Save(zulwin::CFile& file) const;
    /// @}
    /// Load: false for a file that cannot be opened or does not parse. Save: writes only when
    /// the file's content would change, merging this document's values into what the file
    /// holds, and never overwrites a file that does not parse (false). A file held by another
    /// writer for 10 s throws zulplatform::CException(11).
    /// @{
    bool Load(char const* path);
    bool Save(char const* path) const;
    /// @}

    /// The implementation object, for the library's own readers and writers.
    CIniFileImpl& _GetImpl() const { return *m_impl; }
    /// Sets the modified flag; const because saving a const document clears it.
    void _SetModified(bool modified) const { m_modified = modified; }

private:
    mutable bool m_modified = false;
    CIniFileImpl* m_impl;
};

namespace inifile {

/// Parses `text` into `ini` (which is reset first). False at the first bad line: an unclosed
/// "[", anything but white space after "]", "[]", or a key line without "="; what was read
/// before it stays. Carriage returns are dropped wherever they stand.
/// @{
PLATFORM_API bool FromText(CIniFile& ini, CUtf8String const& text);
PLATFORM_API bool FromText(CIniFile& ini, char const* text);
/// @}
/// Appends the document as sorted text ("[section]", "key = value" lines, a blank line after
/// each section) to `text`. Entries with an empty key are not written.
PLATFORM_API void ToText(CIniFile const& ini, zulwin::CString& text);

} // namespace inifile
