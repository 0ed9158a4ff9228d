// Windows-named file-system functions: 1 for success, 0 for failure, and the last error.
#include "platform/internal/limits.h"
#include "platform/internal/replacement_file.h"

#include <platform/file.h>
#include <platform/filesystem.h>
#include <platform/last_error.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

namespace zulwin {

namespace {

constexpr mode_t kDirectoryMode = 0770;
// The mode of files the library creates, before the umask.
constexpr unsigned int kFileMode = 0664;
constexpr unsigned long kCopyChunk = 16384;
constexpr unsigned int kMoveReplaceExisting = 0x1;

bool IsNullOrEmpty(const char* s) {
    return s == nullptr || *s == '\0';
}

int Fail(unsigned int error) {
    SetLastError(error);
    return 0;
}

int Succeed() {
    SetLastError(ERROR_SUCCESS);
    return 1;
}

// A directory opens for reading like a file but has no contents to copy.
bool IsDirectory(const char* path) {
    struct stat st;
    return stat(path, &st) == 0 && S_ISDIR(st.st_mode);
}

} // namespace

int CreateDirectory(const char* path, _SECURITY_ATTRIBUTES* /*sa*/) {
    if (IsNullOrEmpty(path) || mkdir(path, kDirectoryMode) != 0)
        return Fail(ERROR_PATH_NOT_FOUND);
    return Succeed();
}

int RemoveDirectory(const char* path) {
    if (IsNullOrEmpty(path))
        return Fail(ERROR_INVALID_PARAMETER);
    if (rmdir(path) != 0)
        return Fail(ERROR_PATH_NOT_FOUND);
    return Succeed();
}

unsigned int PathIsDirectory(const char* path) {
    if (IsNullOrEmpty(path))
        return 0;
    struct stat st;
    if (stat(path, &st) != 0)
        return 0;
    return st.st_mode & zulplatform::kDirectoryBit;
}

unsigned int GetCurrentDirectory(unsigned int size, char* buffer) {
    if (size != 0 && buffer == nullptr)
        return static_cast<unsigned int>(Fail(ERROR_INVALID_PARAMETER));
    char cwd[zulplatform::kPathBufferSize];
    if (getcwd(cwd, sizeof cwd) == nullptr)
        return static_cast<unsigned int>(Fail(ERROR_PATH_NOT_FOUND));
    const std::size_t length = std::strlen(cwd);
    // The caller guarantees room for the whole path; `size` is only "length wanted or not".
    if (size != 0)
        std::memcpy(buffer, cwd, length + 1);
    SetLastError(ERROR_SUCCESS);
    return static_cast<unsigned int>(length);
}

namespace {

// True when both paths name one file.
bool SameFile(const char* a, const char* b) {
    struct stat sa, sb;
    return stat(a, &sa) == 0 && stat(b, &sb) == 0 && sa.st_dev == sb.st_dev &&
           sa.st_ino == sb.st_ino;
}

} // namespace

// The copy is written beside the target and renamed over it at the end, so that a failure at
// any step (a full disk, an I/O error, a killed process) leaves the old target as it was and no
// partial file behind; the results and exceptions are those of copying in place.
int CopyFile(const char* from, const char* to, int failIfExists) {
    if (IsNullOrEmpty(from) || IsNullOrEmpty(to))
        return Fail(ERROR_INVALID_DATA);
    if (!zulplatform::FileExists(from))
        return Fail(ERROR_FILE_NOT_FOUND);
    if (IsDirectory(from))
        return Fail(ERROR_ACCESS_DENIED);
    // A dangling link does not exist: the copy goes through it and creates its target, as
    // writing to the link's name does everywhere.
    if (zulplatform::FileExists(to)) {
        if (failIfExists != 0)
            return Fail(ERROR_ALREADY_EXISTS);
        // Copying a file onto itself removes it first, and then there is nothing to copy.
        if (SameFile(from, to)) {
            unlink(to);
            return Fail(ERROR_ACCESS_DENIED);
        }
        // A directory cannot be removed, nor replaced by a file.
        if (IsDirectory(to))
            return Fail(ERROR_ACCESS_DENIED);
    }

    CFile source;
    if (source.Open(from, CFile::openRead, nullptr) == 0)
        return Fail(ERROR_ACCESS_DENIED);
    zulplatform::_CReplacementFile replacement(to);
    if (!replacement.Create(kFileMode))
        return Fail(ERROR_ACCESS_DENIED);
    {
        CFile target;
        if (target.Open(replacement.TempPath().c_str(), CFile::openWrite | CFile::openCreate,
                        nullptr) == 0)
            return Fail(ERROR_ACCESS_DENIED);
        // A short read (end of file or an error) ends the copy; a failing write throws, and the
        // temporary file goes with the unwinding.
        char chunk[kCopyChunk];
        unsigned int got;
        do {
            got = source.Read(chunk, kCopyChunk);
            target.Write(chunk, got);
        } while (got == kCopyChunk);
    }
    if (!replacement.Commit())
        return Fail(ERROR_ACCESS_DENIED);
    return Succeed();
}

int MoveFileEx(const char* from, const char* to, unsigned int flags) {
    const int failIfExists = (flags & kMoveReplaceExisting) == 0 ? 1 : 0;
    if (CopyFile(from, to, failIfExists) == 0)
        return 0;
    // Copy-then-delete, never a rename; a source that cannot be deleted stays behind.
    unlink(from);
    return 1;
}

int MoveFile(const char* from, const char* to) {
    return MoveFileEx(from, to, 0);
}

} // namespace zulwin
