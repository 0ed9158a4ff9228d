/// \file
/// Paths: CPath, path validation and the canonical form of absolute paths.
///
/// Paths use "/" as the only separator; the length limit is 4096 characters.
#pragma once

#include <platform/cstring.h>

namespace zulplatform {

/// A path split into folder, base name and extension. String-level only.
class PLATFORM_API CPath {
public:
    /// Trims white space on both ends.
    CPath(zulwin::CString path);

    zulwin::CString GetFolder() const;
    zulwin::CString GetFileExtension() const;
    zulwin::CString GetFileBaseName() const;
    bool IsFileName() const;
    bool IsAbsolute() const;
    bool IsRelative() const { return !IsAbsolute(); }
    bool HasInvalidCharacters() const;
    bool IsEmpty() const { return m_path.IsEmpty(); }
    /// `folder` followed directly by the path.
    zulwin::CString GetPath(zulwin::CString folder) const;
    bool IsExist(zulwin::CString folder) const;

    const zulwin::CString& GetText() const { return m_path; }

private:
    zulwin::CString m_path;
};

/// Facts about drives; on this platform there are none to report.
class PLATFORM_API IDriveInfo {
public:
    virtual ~IDriveInfo() = default;
    virtual bool HasDriveLetters() const = 0;
};
PLATFORM_API IDriveInfo& GetDriveInfo();

class PLATFORM_API CPathValidator {
public:
    enum flags : unsigned int { none = 0, allowRelative = 0x10 };
    /// Results: 0 valid, 2 too short, 3 too long, 4 invalid character, 5 not absolute.
    /// Normalises `path` in place whatever the result.
    static unsigned int Validate(zulwin::CString& path, flags f, IDriveInfo& drives);
    static unsigned int ValidateSyntax(zulwin::CString& path, flags f);
    static unsigned int ValidateLength(const zulwin::CString& path);
};

/// Makes an absolute path canonical: removes ".", ".." and empty segments; never ends in "/",
/// and "/" itself gives "". False (path untouched) for an empty or relative path.
PLATFORM_API bool ResolveFullPath(zulwin::CString& path);
/// The current directory; false (out untouched) on failure.
PLATFORM_API bool _GetCurrentDirectory(zulwin::CString& out);

} // namespace zulplatform

/// Resolves `src` like ResolveFullPath into `dst`; null when it fails or when `size` is less
/// than the resolved length (a buffer exactly that long receives one byte more than `size`).
PLATFORM_API char* fullpath(char* dst, const char* src, unsigned long size);
