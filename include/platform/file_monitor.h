/// \file
/// Change monitors: polling a directory, or one file in it, for changes through inotify.
#pragma once

#include <platform/cstring.h>
#include <platform/export.h>

namespace zulplatform {

/// Watches one directory for modified, created, deleted and moved entries. Attribute changes,
/// opens, closes and accesses are deliberately not watched. Callers poll; nothing blocks.
class PLATFORM_API CDirectoryMonitor {
public:
    /// Throws zulplatform::CException with the current last error (not errno: whatever an
    /// earlier call of the library left there) when the watch cannot be set up, for instance
    /// for a missing directory.
    explicit CDirectoryMonitor(const char* directory);
    CDirectoryMonitor(const CDirectoryMonitor&) = delete;
    CDirectoryMonitor& operator=(const CDirectoryMonitor&) = delete;
    ~CDirectoryMonitor();

    /// Whether a change to the entry `name` (any entry when `name` is empty or null) has been
    /// queued since the last call. Every queued event is consumed, matching or not, so changes
    /// to other entries are forgotten. Returns false at once when nothing is queued.
    bool IsChangePending(const char* name) const;

private:
    int m_fd;
    int m_wd;
};

/// Watches one file through a monitor on its directory.
class PLATFORM_API CFileChangeMonitor {
public:
    /// An empty (or null) path throws zulplatform::CException with the current last error.
    /// Backslashes count as slashes. When the directory cannot be watched (a missing one, or a
    /// path without a directory part or directly under "/") the object is made anyway and never
    /// reports a change.
    explicit CFileChangeMonitor(const char* path);
    CFileChangeMonitor(const CFileChangeMonitor&) = delete;
    CFileChangeMonitor& operator=(const CFileChangeMonitor&) = delete;
    ~CFileChangeMonitor();

    /// Whether the file was modified, created, deleted, or moved to or from its name since the
    /// last call; changes to other files of the directory are consumed and forgotten.
    bool IsChangePending() const;

private:
    zulwin::CString m_strFileName;
    CDirectoryMonitor* m_pMonitor = nullptr;
};

} // namespace zulplatform
