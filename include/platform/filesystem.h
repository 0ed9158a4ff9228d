/// \file
/// File-system operations of both families.
///
/// The Windows-named functions of zulwin return 1 for success and 0 for failure and set the last
/// error; the zulplatform utilities return a boolean or the POSIX result and set no last error.
#pragma once

#include <platform/cstring.h>

namespace zulwin {

struct _SECURITY_ATTRIBUTES;

/// mkdir with mode 0770; failure sets last error 3.
PLATFORM_API int CreateDirectory(const char* path, _SECURITY_ATTRIBUTES* sa);
/// 87 for a null or empty path, 3 when rmdir fails.
PLATFORM_API int RemoveDirectory(const char* path);
/// The 0x4000 bit of the path's st_mode; 0 when it cannot be stat'ed.
PLATFORM_API unsigned int PathIsDirectory(const char* path);
/// The current directory's length. With size 0 only the length; otherwise the whole path and a
/// terminator are copied into `buffer`, which must have room for it (up to 4097 bytes).
PLATFORM_API unsigned int GetCurrentDirectory(unsigned int size, char* buffer);
/// Copies contents only. failIfExists != 0 refuses an existing target (183).
PLATFORM_API int CopyFile(const char* from, const char* to, int failIfExists);
/// Copy, then unlink the source; never a rename. Flag 0x1 replaces an existing target.
PLATFORM_API int MoveFileEx(const char* from, const char* to, unsigned int flags);
/// MoveFileEx(from, to, 0): an existing target is refused.
PLATFORM_API int MoveFile(const char* from, const char* to);

} // namespace zulwin

namespace zulplatform {

/// @{
/// Something (FileExists) or a directory (DirectoryExists) exists at `path`. Trailing slashes
/// are ignored; "/" alone is false.
PLATFORM_API bool FileExists(const char* path) noexcept;
PLATFORM_API bool DirectoryExists(const char* path) noexcept;
/// @}
/// rename(2).
PLATFORM_API bool FileMove(const char* from, const char* to);
/// 0 when the file is gone (deleted or never there), -1 when it could not be deleted.
PLATFORM_API int FileDelete(const char* path);
/// The file's size in bytes; 0 for a null or empty path or when it cannot be stat'ed.
PLATFORM_API long FileSize(const char* path);
/// Creates the directory and every missing parent.
PLATFORM_API bool CreatePath(const char* path) noexcept;
/// True when the directory holds no regular file (subdirectories do not count).
PLATFORM_API bool IsDirectoryEmpty(const char* path) noexcept;
/// Removes the tree; a file that cannot be removed throws its CFileException*.
PLATFORM_API bool DeleteDirectory(const zulwin::CString& path);
/// @{
/// chmod to 0660 (writeable for owner and group) or 0400 (readable by the owner only); the
/// POSIX result, 0 when nothing exists at `path`.
PLATFORM_API int FileMakeWriteable(const char* path);
PLATFORM_API int FileMakeReadOnly(const char* path);
/// @}
/// umask(007); returns the previous mask.
PLATFORM_API unsigned int SetProcessFileCreateMask();
/// Bytes available to an unprivileged user; all ones when statvfs fails.
PLATFORM_API unsigned long GetFreeDiskSpaceFromPath(const zulwin::CString& path);
/// The file's modification time as FILETIME ticks (whole seconds); 0 when stat fails.
PLATFORM_API unsigned long GetLastModificationTime(const char* path) noexcept;
/// A share root written "//server\share".
PLATFORM_API bool IsPathUNCShare(const char* path) noexcept;

} // namespace zulplatform
