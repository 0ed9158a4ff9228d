/// \file
/// CRegKey: registry keys kept in INI files. A registry is one file in the application data
/// directory; a key path such as "Settings\Network" is a section of it (each key its own
/// section, named by its whole path); a value is an entry whose name carries a type tag:
/// "<name>@DWORD" (decimal), "<name>@STRING" (as given), "<name>@BINARY" (two lower-case hex
/// digits per byte). Changes stay in memory until Flush or Close saves the file, and only a
/// change that differs from the file rewrites it.
#pragma once

#include <platform/cstring.h>
#include <platform/export.h>
#include <platform/ini_file.h>

namespace zulwin {

/// The file behind a key: its path, the key path values go to, and its content as loaded.
struct PLATFORM_API _CIniFileMapping {
    CString filePath;
    CString keyPath;
    CIniFile ini;
};

/// A fresh mapping of GetDefaultAppDataDir() + `fileName` (appended as given: separators and
/// ".." are not checked), loaded now; a missing file or one that does not parse gives an empty or
/// partial document. The caller deletes it.
PLATFORM_API _CIniFileMapping* _GetIniFileMapping(char const* fileName);

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
    /// Creates the key and every key above it ("A", "A\B", ...); an existing key is kept.
    int Create(char const* fileName, char const* keyPath);
    /// Saves when changed (a failed save is silent), then closes. 0 also when already closed.
    int Close();
    int Flush();

    int QueryDWORDValue(char const* name, unsigned int& value);
    int QueryStringValue(char const* name, char* buffer, unsigned int* size);
    int QueryBinaryValue(char const* name, void* buffer, unsigned int* size);
    int SetDWORDValue(char const* name, unsigned int value);
    int SetStringValue(char const* name, char const* value);
    int SetBinaryValue(char const* name, void const* data, unsigned long length);

    /// Deletes the key path + "\" + `subKey` (2 when it does not exist), then every key whose
    /// path starts with those characters, case-sensitively: deleting "A\B" also deletes "A\Bx".
    int RecurseDeleteKey(char const* subKey);

private:
    _CIniFileMapping* m_mapping = nullptr;
};

} // namespace zulwin
