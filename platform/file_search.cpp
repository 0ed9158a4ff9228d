// File search: the regular files of a directory (optionally of its whole subtree) whose names
// match a wildcard pattern, reported to a callback.

#include "platform/internal/file_search_impl.h"
#include "platform/internal/limits.h"

#include <platform/file.h>
#include <platform/filesystem.h>

#include <fcntl.h>
#include <sys/stat.h>

#include <cstring>

namespace zulplatform {

using zulwin::CString;

namespace {

// Paths and names are handed to the file system byte for byte, so they are stored without the
// text validation of CString's char* routes (which would turn a non-UTF-8 name into one that
// no longer exists).
void AssignRaw(CString& out, const char* text, std::size_t length) {
    char* buffer = out.GetBufferSetLength(static_cast<int>(length));
    if (length != 0)
        std::memcpy(buffer, text, length);
}

bool IsDotOrDotDot(const char* name) {
    return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
}

} // namespace

bool CFileSearch::IFsCallback::OnDirectory(const char*) {
    return false;
}

void CFileSearch::FindFile(const char* directory, const char* pattern, IFsCallback* callback,
                           bool recursive) {
    if (pattern == nullptr || *pattern == '\0' || callback == nullptr)
        return;
    // The search objects close their directories while a callback's exception passes through.
    _CFileSearchImpl search(pattern, callback);
    search.FindFiles(directory, recursive);
}

_CFileSearchImpl::_CFileSearchImpl(const char* pattern, CFileSearch::IFsCallback* callback)
    : m_callback(callback) {
    if (pattern != nullptr)
        AssignRaw(m_pattern, pattern, std::strlen(pattern));
    m_matchesAll = m_pattern == "*" || m_pattern == "*.*";
}

_CFileSearchImpl::~_CFileSearchImpl() {
    // Destructors are noexcept: a failure here ends the process.
    _Close();
}

bool _CFileSearchImpl::_Close() {
    if (m_dir == nullptr)
        return true;
    int const result = ::closedir(m_dir);
    m_dir = nullptr;
    m_entry = nullptr;
    return result == 0;
}

void _CFileSearchImpl::_ComposeEntryPath() {
    // Assigning into the same std::string keeps its capacity: no allocation per entry.
    m_entryPath.assign(m_currentDir.GetString(),
                       static_cast<std::size_t>(m_currentDir.GetLength()));
    m_entryPath.append(m_entry->d_name);
}

bool _CFileSearchImpl::_RetrieveCurrentEntyFileStat() {
    if (m_entry == nullptr)
        return false;
    _ComposeEntryPath();
    // stat of the directory plus the entry's name, following symbolic links: a dangling one
    // fails, and so ends the listing.
    //
    // Once one entry of this listing could be stat'ed, the directory can be searched, so any
    // entry that is no link (its type known from the listing and not DT_LNK) stats too, with
    // the type the listing already gave: only that type is filled in, sparing the system call
    // (the search runs two passes over every directory). Links, unknown types and paths near
    // the length limit are always stat'ed. Stats are asked relative to the open directory,
    // which gives the answer for the full path without the kernel walking that path again;
    // near the length limit the full path itself is used, so that it fails as a too-long name
    // does.
    unsigned char const type = m_entry->d_type;
    bool const longPath = m_entryPath.size() >= kLongPathLength;
    if (m_entriesStatable && type != DT_UNKNOWN && type != DT_LNK && !longPath) {
        m_entryStat = {};
        m_entryStat.st_mode = DTTOIF(type);
        return true;
    }
    int const rc = longPath ? ::stat(m_entryPath.c_str(), &m_entryStat)
                            : ::fstatat(dirfd(m_dir), m_entry->d_name, &m_entryStat, 0);
    if (rc != 0)
        return false;
    m_entriesStatable = true;
    return true;
}

bool _CFileSearchImpl::_ReadNext() {
    if (m_dir == nullptr)
        return false;
    m_entry = ::readdir(m_dir);
    if (m_entry == nullptr)
        return false;
    // An entry that cannot be stat'ed ends the listing as if the directory were exhausted.
    return _RetrieveCurrentEntyFileStat();
}

bool _CFileSearchImpl::_CheckForDir(CString& out) const {
    if (m_entry == nullptr || !_IsCurrentEntryDir() || IsDotOrDotDot(m_entry->d_name))
        return false;
    AssignRaw(out, m_entryPath.data(), m_entryPath.size());
    return true;
}

bool _CFileSearchImpl::_CheckForPatternMatch() const {
    if (m_entry == nullptr)
        return false;
    return m_matchesAll || _MatchWildcard(m_pattern.GetString(), m_entry->d_name);
}

bool _CFileSearchImpl::_MatchWildcard(const char* pattern, const char* name) {
    // Iterative form of the recursive rules (one '*' retried at successive name positions),
    // so that patterns with many stars cannot take exponential time. The rules agree with
    // ordinary wildcard matching except for a trailing run of two or more stars, which needs
    // at least one more name character; a single trailing star accepts the rest, empty or not.
    const char* p = pattern;
    const char* n = name;
    const char* retryPattern = nullptr; // just after the last '*' that was passed
    const char* retryName = nullptr;    // where that '*' will resume consuming the name
    for (;;) {
        if (*p == '*') {
            const char* run = p;
            while (*p == '*')
                ++p;
            if (*p == '\0') {
                if (p - run == 1 || *n != '\0')
                    return true;
                // Two trailing stars at the end of the name fail; an earlier '*' taking
                // more of the name would only leave less.
                return false;
            }
            retryPattern = p;
            retryName = n;
            continue;
        }
        if (*p == '\0') {
            if (*n == '\0')
                return true;
        } else if (*n != '\0' && (*p == '?' || *p == *n)) {
            ++p;
            ++n;
            continue;
        }
        // Mismatch: let the last '*' swallow one more character, if any is left.
        if (retryPattern == nullptr || *retryName == '\0')
            return false;
        ++retryName;
        p = retryPattern;
        n = retryName;
    }
}

bool _CFileSearchImpl::_CheckForLengthExtensionChars(const CString& path) {
    return std::strncmp(path.GetString(), "\\\\?\\", 4) == 0;
}

bool _CFileSearchImpl::GetCurrentDir(CString& out) {
    // The buffer has room for any path getcwd can give, so a current directory that grows
    // between the length query and the copy cannot overrun it.
    char buffer[kPathBufferSize];
    unsigned int const length = zulwin::GetCurrentDirectory(sizeof buffer, buffer);
    if (length == 0 || length >= sizeof buffer)
        return false;
    AssignRaw(out, buffer, length);
    return true;
}

bool _CFileSearchImpl::_FormDirectory(const char* directory, CString& out) const {
    if (directory == nullptr || *directory == '\0') {
        // Without a current directory there is nothing to search; guessing "/" would walk
        // (and for a deleting callback, empty) the whole file system.
        if (!GetCurrentDir(out))
            return false;
    } else {
        AssignRaw(out, directory, std::strlen(directory));
    }
    if (out.IsEmpty() || out[static_cast<unsigned long>(out.GetLength() - 1)] != '/')
        out += '/';
    return true;
}

bool _CFileSearchImpl::IterateLocalFiles(const CString& directory) {
    if (_CheckForLengthExtensionChars(directory))
        return false;
    _Close();
    m_currentDir = directory;
    m_dir = ::opendir(m_currentDir.GetString());
    m_entriesStatable = false;
    if (m_dir == nullptr) {
        m_currentDir.Empty();
        return false;
    }
    while (_ReadNext()) {
        if (_IsCurrentEntryFile() && _CheckForPatternMatch() &&
            m_callback->OnFile(m_entryPath.c_str()))
            return true; // the stream is closed by the destructor
    }
    _Close();
    return false;
}

bool _CFileSearchImpl::FindFiles(const char* directory) {
    CString text;
    if (!_FormDirectory(directory, text))
        return false;
    return IterateLocalFiles(text);
}

bool _CFileSearchImpl::GetFirstDir(const CString& directory, CString& out) {
    _Close();
    out.Empty();
    if (_CheckForLengthExtensionChars(directory))
        return false;
    // The current directory field, as the file pass left it (empty when that pass could not
    // open the directory, which then fails here too).
    m_dir = ::opendir(m_currentDir.GetString());
    m_entriesStatable = false;
    if (m_dir == nullptr)
        return false;
    if (!_ReadNext()) {
        _Close();
        return false;
    }
    if (_CheckForDir(out))
        return true;
    return GetNextDir(out);
}

bool _CFileSearchImpl::GetNextDir(CString& out) {
    if (m_dir == nullptr)
        return false;
    out.Empty();
    for (;;) {
        if (!_ReadNext()) {
            _Close();
            return false;
        }
        if (_CheckForDir(out))
            return true;
    }
}

bool _CFileSearchImpl::FindFiles(const char* directory, bool recursive) {
    bool const stopped = FindFiles(directory);
    if (stopped || !recursive)
        return stopped;

    CString text;
    if (!_FormDirectory(directory, text))
        return false;
    // Subdirectories come from a second listing, after every file of this one was reported.
    CString subdirectory;
    for (bool more = GetFirstDir(text, subdirectory); more; more = GetNextDir(subdirectory)) {
        _CFileSearchImpl child(m_pattern.GetString(), m_callback);
        if (child.FindFiles(subdirectory.GetString(), true))
            return true;
        // Announced after its subtree, so that the callback may remove it.
        if (m_callback->OnDirectory(subdirectory.GetString()))
            return true;
    }
    return false;
}

} // namespace zulplatform
