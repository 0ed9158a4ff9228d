// Windows-named file-system functions: 1 for success, 0 for failure, and the last error.
#include "platform/internal/limits.h"

#include <platform/file.h>
#include <platform/filesystem.h>
#include <platform/last_error.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

namespace zulwin {

namespace {

constexpr mode_t kDirectoryMode = 0770;
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
        if (unlink(to) != 0)
            return Fail(ERROR_ACCESS_DENIED);
    }

    CFile source;
    if (source.Open(from, CFile::openRead, nullptr) == 0)
        return Fail(ERROR_ACCESS_DENIED);
    CFile target;
    if (target.Open(to, CFile::openWrite | CFile::openCreate, nullptr) == 0)
        return Fail(ERROR_ACCESS_DENIED);

    // A short read (end of file or an error) ends the copy; a failing write throws.
    char chunk[kCopyChunk];
    unsigned int got;
    do {
        got = source.Read(chunk, kCopyChunk);
        target.Write(chunk, got);
    } while (got == kCopyChunk);
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
