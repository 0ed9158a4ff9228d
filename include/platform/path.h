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

    /// The text before the last "/" ("a/b/c" gives "a/b", "/c" gives "/", "c" gives "").
    zulwin::CString GetFolder() const;
    /// The text after the last "." when it lies after the last "/", without the dot; else "".
    zulwin::CString GetFileExtension() const;
    /// The name after the last "/" without its extension, trimmed; a leading dot is no
    /// extension (".cfg" gives ".cfg").
    zulwin::CString GetFileBaseName() const;
    /// True when there is no folder but a base name.
    bool IsFileName() const;
    /// True when the folder starts with "/" or "~/"; a bare name, even "~", is not absolute.
    bool IsAbsolute() const;
    /// !IsAbsolute().
    bool IsRelative() const { return !IsAbsolute(); }
    /// True for any of the characters `*`, `?`, `:`, `|`, `<`, `>`, the double quote and the
    /// backslash, or for the substring "..".
    bool HasInvalidCharacters() const;
    /// Whether the path is empty.
    bool IsEmpty() const { return m_path.IsEmpty(); }
    /// `folder` followed directly by the path.
    zulwin::CString GetPath(zulwin::CString folder) const;
    /// FileExists of GetPath(folder).
    bool IsExist(zulwin::CString folder) const;

    /// The path as stored (trimmed).
    const zulwin::CString& GetText() const { return m_path; }

private:
    zulwin::CString m_path;
};

/// Facts about drives; on this platform there are none to report.
class PLATFORM_API IDriveInfo {
public:
    virtual ~IDriveInfo() = default;
    /// Whether paths may start with a drive letter; false here.
    virtual bool HasDriveLetters() const = 0;
};
/// The process-wide drive information, made on first use.
PLATFORM_API IDriveInfo& GetDriveInfo();

/// Normalises a user-supplied path and judges it. Results 1 and 6 to 9 are reserved for drive
/// checks and never returned here.
class PLATFORM_API CPathValidator {
public:
    /// Validation options.
    enum flags : unsigned int {
        none = 0,            ///< only absolute paths are valid
        allowRelative = 0x10 ///< a path not starting with "/" is valid too
    };
    /// Results: 0 valid, 2 too short, 3 too long, 4 invalid character, 5 not absolute.
    /// Normalises `path` in place whatever the result.
    static unsigned int Validate(zulwin::CString& path, flags f, IDriveInfo& drives);
    /// Validate with GetDriveInfo(), passing on only the syntax results (others become 0).
    static unsigned int ValidateSyntax(zulwin::CString& path, flags f);
    /// 2 below 2 characters, 3 above 4096, else 0; no normalisation.
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
