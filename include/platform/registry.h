/// \file
/// CRegKey: registry keys kept in INI files. A registry is one file in the application data
/// directory; a key path such as `Settings\Network` is a section of it (each key its own
/// section, named by its whole path); a value is an entry whose name carries a type tag:
/// `<name>@DWORD` (decimal), `<name>@STRING` (as given), `<name>@BINARY` (two lower-case hex
/// digits per byte). Changes stay in memory until Flush or Close saves the file, and only a
/// change that differs from the file rewrites it.
#pragma once

#include <platform/cstring.h>
#include <platform/export.h>
#include <platform/ini_file.h>

namespace zulwin {

/// The file behind a key: its path, the key path values go to, and its content as loaded.
struct PLATFORM_API _CIniFileMapping {
    CString filePath; ///< the registry file
    CString keyPath;  ///< the open key: the section values go to
    CIniFile ini;     ///< the file's content, with the changes not yet saved
    /// The file exists but could not be loaded whole (a read error, text that does not parse):
    /// `ini` then lacks some of its keys, and the key never saves over the file.
    bool unreadable = false;
};

/// A fresh mapping of GetDefaultAppDataDir() + `fileName` (appended as given: separators and
/// ".." are not checked), loaded now; a missing file gives an empty document, one that exists but
/// cannot be read or does not parse an empty or partial one marked `unreadable`. The caller
/// deletes it.
PLATFORM_API _CIniFileMapping* _GetIniFileMapping(char const* fileName);

/// A registry key of an INI-file registry. Two keys on one file hold independent copies; the one
/// saved last decides what differs from the file.
///
/// Result codes: 0 done, 2 value (or key to delete) absent, 3 key absent on Open, 6 key not open,
/// 13 null argument or unusable buffer, 234 buffer too small (the size needed is returned). The
/// file layer's exceptions (a file held by a writer for 10 s, write errors) pass out of Open,
/// Create, Flush, Close and the destructor.
class PLATFORM_API CRegKey {
public:
    CRegKey() = default;
    /// Maps the file with an empty key path; values set through it land in a section with an
    /// empty name, which the text form cannot read back. Open or Create a key instead.
    explicit CRegKey(char const* fileName);
    CRegKey(CRegKey const&) = delete;
    CRegKey& operator=(CRegKey const&) = delete;
    /// Close(): the file layer's exceptions from its save pass out of the destructor too.
    ~CRegKey() noexcept(false);

    /// 3, and the key closed, when the file has no such key. The access mask is ignored.
    int Open(char const* fileName, char const* keyPath, unsigned int access = 0);
    /// Creates the key and every key above it (`A`, `A\B`, ...); an existing key is kept.
    int Create(char const* fileName, char const* keyPath);
    /// Saves when changed (a failed save is silent), then closes. 0 also when already closed.
    /// A key whose file existed but could not be read when the key was made never saves: its
    /// document lacks the file's other keys, which a save would drop.
    int Close();
    /// Saves when changed, as Close does; 0 even when the save failed or was left out, 6 when
    /// not open.
    int Flush();

    /// The value "name@DWORD" read as _ttoui reads it.
    int QueryDWORDValue(char const* name, unsigned int& value);
    /// Copies "name@STRING" with its NUL and sets `*size` to length + 1; without a buffer only
    /// the size. 234 (buffer untouched) when `*size` is not above the length; 13 for a buffer
    /// with `*size` below 2.
    int QueryStringValue(char const* name, char* buffer, unsigned int* size);
    /// Decodes "name@BINARY" into `buffer` and sets `*size` to the byte count (234 when the old
    /// size is smaller); without a buffer only the size. Decoding stops at a pair that is not
    /// hexadecimal, `*size` then counting the bytes decoded.
    int QueryBinaryValue(char const* name, void* buffer, unsigned int* size);
    /// @{
    /// Writes the tagged entry into the key's section (creating it), in memory until Flush or
    /// Close. A null string follows CIniFile::WriteValue: it never deletes.
    int SetDWORDValue(char const* name, unsigned int value);
    int SetStringValue(char const* name, char const* value);
    int SetBinaryValue(char const* name, void const* data, unsigned long length);
    /// @}

    /// Deletes the key path + `\` + `subKey` (2 when it does not exist), then every key whose
    /// path starts with those characters, case-sensitively: deleting `A\B` also deletes `A\Bx`.
    int RecurseDeleteKey(char const* subKey);

private:
    _CIniFileMapping* m_mapping = nullptr;
};

} // namespace zulwin
