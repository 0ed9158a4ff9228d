// The worker behind CFileSearch: one instance per directory level of a search.
#pragma once

#include <platform/cstring.h>
#include <platform/file_search.h>

#include <dirent.h>
#include <string>
#include <sys/stat.h>

namespace zulplatform {

class _CFileSearchImpl {
public:
    _CFileSearchImpl(const char* pattern, CFileSearch::IFsCallback* callback);
    _CFileSearchImpl(const _CFileSearchImpl&) = delete;
    _CFileSearchImpl& operator=(const _CFileSearchImpl&) = delete;
    ~_CFileSearchImpl();

    // The file pass over `directory` (or the current directory when empty), then, with
    // `recursive`, every subdirectory depth first, each announced after its subtree. True when
    // a callback stopped the search.
    bool FindFiles(const char* directory, bool recursive);
    // The file pass alone.
    bool FindFiles(const char* directory);
    // Reports the matching regular files of `directory`, which ends in "/".
    bool IterateLocalFiles(const zulwin::CString& directory);
    // Lists the current directory field again and yields its subdirectories one by one.
    bool GetFirstDir(const zulwin::CString& directory, zulwin::CString& out);
    bool GetNextDir(zulwin::CString& out);

    // False when the current directory cannot be determined.
    static bool GetCurrentDir(zulwin::CString& out);
    // The "\\?\" prefix of extended-length paths, which are refused.
    static bool _CheckForLengthExtensionChars(const zulwin::CString& path);
    // '*' and '?' against a name, byte for byte and case-sensitive. A '*' that is not the last
    // pattern character never matches at the empty end of the name, so "a**" does not match
    // "a" and "*x" never matches an empty remainder.
    static bool _MatchWildcard(const char* pattern, const char* name);

    bool _Close();
    bool _ReadNext();
    bool _RetrieveCurrentEntyFileStat();
    bool _IsCurrentEntryDir() const { return S_ISDIR(m_entryStat.st_mode); }
    bool _IsCurrentEntryFile() const { return S_ISREG(m_entryStat.st_mode); }
    bool _CheckForDir(zulwin::CString& out) const;
    bool _CheckForPatternMatch() const;

private:
    // The directory text of FindFiles: the current directory for an empty one, "/" appended.
    bool _FormDirectory(const char* directory, zulwin::CString& out) const;
    // Makes m_entryPath the current directory followed by the current entry's name.
    void _ComposeEntryPath();

    DIR* m_dir = nullptr;
    CFileSearch::IFsCallback* m_callback;
    zulwin::CString m_pattern;
    zulwin::CString m_currentDir;
    dirent* m_entry = nullptr;
    struct stat m_entryStat {};
    // Scratch for "current directory + entry name", reused for every entry of the listing.
    std::string m_entryPath;
    // Whether the pattern accepts every name ("*" or "*.*").
    bool m_matchesAll = false;
    // Whether an entry of the open listing has been stat'ed successfully.
    bool m_entriesStatable = false;
    // Entry paths from this length on are stat'ed by their full path: the system's limit (4096
    // with the terminator) decides about them.
    static constexpr std::size_t kLongPathLength = 4000;
};

} // namespace zulplatform
