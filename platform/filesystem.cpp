// File-system utilities of the library's own family: boolean or POSIX-style results, no last
// error.
#include "platform/internal/limits.h"

#include <platform/file.h>
#include <platform/file_search.h>
#include <platform/filesystem.h>
#include <platform/safe_string.h>
#include <platform/time_stamp.h>

#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string>

using zulwin::CString;

namespace zulplatform {

namespace {

// CreatePath works on copies cut to this many characters.
constexpr std::size_t kCreatePathCopyLength = kMaxPath - 1;

bool StatSucceeds(const char* path) {
    struct stat st;
    return stat(path, &st) == 0;
}

// "C:/" and the like: a drive root, tested as it stands.
bool IsDriveRoot(const char* path) {
    return std::strlen(path) == 3 && std::isalpha(static_cast<unsigned char>(path[0])) != 0 &&
           path[1] == ':';
}

// Kept out of line so that its buffer does not land in the frames of callers that recurse.
__attribute__((noinline)) bool ExistsWithoutTrailingSlashes(const char* path, std::size_t length) {
    if (length > kMaxPath)
        return false;
    char trimmed[kMaxPath + 1];
    std::memcpy(trimmed, path, length + 1);
    std::size_t end = length - 1;
    while (end > 0 && trimmed[end] == '/')
        trimmed[end--] = '\0';
    // Nothing but slashes ("/" included) is deliberately not an existing path.
    if (end == 0 && trimmed[0] == '/')
        return false;
    return StatSucceeds(trimmed);
}

class FirstFileFinder final : public CFileSearch::IFsCallback {
public:
    bool OnFile(const char* /*path*/) override {
        m_found = true;
        return true;
    }
    bool Found() const { return m_found; }

private:
    bool m_found = false;
};

// Removes every file as it is reported and every directory after its contents.
class TreeRemover final : public CFileSearch::IFsCallback {
public:
    bool OnFile(const char* path) override {
        zulwin::CFile::Remove(path);
        return false;
    }
    bool OnDirectory(const char* path) override {
        zulwin::RemoveDirectory(path);
        return false;
    }
};

} // namespace

bool IsValidFile(const zulwin::CFile& file) {
    return static_cast<int>(file) != zulwin::CFile::hFileNull;
}

bool FileExists(const char* path) noexcept {
    if (path == nullptr || *path == '\0')
        return false;
    if (IsDriveRoot(path))
        return StatSucceeds(path);
    const std::size_t length = std::strlen(path);
    if (path[length - 1] != '/' || IsPathUNCShare(path))
        return StatSucceeds(path);

    return ExistsWithoutTrailingSlashes(path, length);
}

bool DirectoryExists(const char* path) noexcept {
    CString text(path);
    if (!text.IsEmpty() && text[text.GetLength() - 1] == '/')
        text.Truncate(static_cast<int>(text.GetLength() - 1));
    if (access_s(text.GetString(), 0) != 0)
        return false;
    struct stat st;
    if (stat(text.GetString(), &st) != 0)
        return false;
    // The single bit, as PathIsDirectory tests it.
    return (st.st_mode & kDirectoryBit) != 0;
}

bool FileMove(const char* from, const char* to) {
    if (from == nullptr || to == nullptr)
        return false;
    return std::rename(from, to) == 0;
}

int FileDelete(const char* path) {
    if (!FileExists(path))
        return 0;
    FileMakeWriteable(path);
    return unlink(path);
}

long FileSize(const char* path) {
    if (path == nullptr || *path == '\0')
        return 0;
    struct stat st;
    if (stat(path, &st) != 0)
        return 0;
    return st.st_size;
}

bool CreatePath(const char* path) noexcept {
    if (path == nullptr || *path == '\0' || FileExists(path))
        return FileExists(path);

    if (std::strchr(path, '/') != nullptr) {
        // The parent comes first. The copy lives on the heap: a path of many short segments
        // recurses once per segment.
        std::string parent(path, strnlen(path, kCreatePathCopyLength));
        const std::size_t slash = parent.rfind('/');
        if (slash != std::string::npos) {
            parent.resize(slash);
            CreatePath(parent.c_str());
        }
    }
    // "a/b/" names the directory the recursion has just made.
    if (path[std::strlen(path) - 1] == '/')
        return true;
    return zulwin::CreateDirectory(path, nullptr) != 0;
}

bool IsDirectoryEmpty(const char* path) noexcept {
    if (path == nullptr || *path == '\0' || !FileExists(path))
        return true;
    FirstFileFinder finder;
    CFileSearch().FindFile(path, "*.*", &finder, false);
    return !finder.Found();
}

bool DeleteDirectory(const CString& path) {
    // An empty name would make the search walk the current directory: remove nothing then.
    if (!path.IsEmpty()) {
        TreeRemover remover;
        CFileSearch().FindFile(path.GetString(), "*.*", &remover, true);
    }
    zulwin::RemoveDirectory(path.GetString());
    return true;
}

int FileMakeWriteable(const char* path) {
    if (!FileExists(path))
        return 0;
    return chmod(path, 0660);
}

int FileMakeReadOnly(const char* path) {
    if (!FileExists(path))
        return 0;
    return chmod(path, 0400);
}

unsigned int SetProcessFileCreateMask() {
    return umask(007);
}

unsigned long GetFreeDiskSpaceFromPath(const CString& path) {
    struct statvfs fs;
    if (statvfs(path.GetString(), &fs) != 0)
        return std::numeric_limits<unsigned long>::max();
    return fs.f_bsize * fs.f_bavail;
}

unsigned long GetLastModificationTime(const char* path) noexcept {
    if (path == nullptr)
        return 0;
    struct stat st;
    if (stat(path, &st) != 0)
        return 0;
    // Whole seconds only; times before 1970 read as huge unsigned values and clamp too.
    const long seconds = st.st_mtim.tv_sec;
    return zulplatform::CTimeStamp(seconds).GetFileTime();
}

bool IsPathUNCShare(const char* path) noexcept {
    if (path == nullptr || std::strlen(path) <= 4 || path[0] != '/' || path[1] != '/')
        return false;
    // Trailing backslashes go; any run of backslashes counts as one.
    std::string text(path);
    while (!text.empty() && text.back() == '\\')
        text.pop_back();
    std::string folded;
    folded.reserve(text.size());
    for (char c : text) {
        if (c != '\\' || folded.empty() || folded.back() != '\\')
            folded += c;
    }
    const std::size_t serverEnd = folded.find('\\', 1);
    if (serverEnd == std::string::npos)
        return false;
    // A share root has nothing below the share name.
    return folded.find('\\', serverEnd + 1) == std::string::npos;
}

} // namespace zulplatform
