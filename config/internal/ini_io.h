// Opening INI files by path and holding the writers' lock on one.
#pragma once

#include <platform/file.h>
#include <platform/ini_file.h>

namespace inifile {

// CFile::Open with the retry on sharing violations: every 10 ms for up to 10 s, after which
// zulplatform::CException(11) is thrown. Otherwise the result of the last attempt.
bool _OpenIniFile(zulwin::CFile& file, char const* path, unsigned int flags);

// The exclusive writer's hold on an INI file: an exclusive flock on the file opened read-write.
// Every writer of the file takes it, so load-modify-save sequences never interleave, between
// threads or processes. Released by destruction.
class _CIniWriteLock {
public:
    // Opens `path` read-write (creating it empty when missing), then waits for the lock and
    // makes sure `path` still names the locked file (a writer that renamed a new file over it
    // meanwhile means starting again). False when the file cannot be opened; a lock held
    // elsewhere for 10 s throws zulplatform::CException(11).
    bool Acquire(char const* path);
    zulwin::CFile& File() { return m_file; }

private:
    zulwin::CFile m_file;
};

// CIniFile::Save(path) for a caller that holds the writers' lock on `path` through `locked`.
bool _SaveLocked(CIniFile const& ini, char const* path, zulwin::CFile& locked);

} // namespace inifile
