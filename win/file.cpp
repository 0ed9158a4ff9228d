// CFile: an unbuffered binary file over one POSIX descriptor that throws CFileException*.
#include "platform/internal/path_util.h"

#include <platform/file.h>
#include <platform/filesystem.h>
#include <platform/path.h>

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace zulwin {

namespace {

// Every error of this class is thrown by pointer with OS error -1.
[[noreturn]] void ThrowCause(int cause, const char* fileName) {
    throw new CFileException(cause, -1, fileName);
}

// Descriptor 0 stands for "closed", so a file that lands on it (stdin was closed) is moved to a
// higher descriptor instead of being lost.
int AvoidDescriptorZero(int fd) {
    if (fd != 0)
        return fd;
    int const moved = ::fcntl(fd, F_DUPFD, 1);
    ::close(fd);
    return moved;
}

} // namespace

const int CFile::hFileNull = 0;

CFile::CFile() = default;

CFile::CFile(const char* fileName, unsigned int openFlags) : m_strFileName(fileName) {
    CFileException error(CFileException::causeNone, -1, nullptr);
    if (!CFile::Open(fileName, openFlags, &error))
        throw new CFileException(error.m_cause, error.m_lOsError, fileName);
}

CFile::~CFile() {
    // Destructors are noexcept: anything escaping Close ends the process.
    if (m_bCloseOnDelete)
        Close();
}

int _XlatOpenFlags(unsigned int openFlags, int* oflag, unsigned int* mode) {
    // The write-only bit wins over the read-write bit.
    int const access = (openFlags & CFile::openWrite)       ? O_WRONLY
                       : (openFlags & CFile::openReadWrite) ? O_RDWR
                                                            : O_RDONLY;
    int flags = access;
    unsigned int createMode = 0;
    // A read-only open never creates, whatever the other bits say.
    if (access != O_RDONLY && (openFlags & CFile::openCreate)) {
        flags |= O_CREAT;
        if (!(openFlags & CFile::openNoTruncate))
            flags |= O_TRUNC;
        createMode = 0664;
    }
    if (oflag != nullptr)
        *oflag = flags;
    if (mode != nullptr)
        *mode = createMode;
    return 1;
}

void CFile::_SetCanonicalFileSpec(const char* fileName) {
    m_strFileName = fileName;
    // Without a current directory the name is taken from the root.
    if (!zulplatform::_MakeAbsolute(m_strFileName))
        m_strFileName = "/" + m_strFileName;
    zulplatform::ResolveFullPath(m_strFileName);
}

int CFile::Open(const char* fileName, unsigned int openFlags, CFileException* error) {
    if (m_hFile != hFileNull) {
        if (error != nullptr) {
            error->m_cause = CFileException::causeInvalidFile;
            error->m_lOsError = -1;
        }
        return 0;
    }
    if (fileName == nullptr) {
        if (error != nullptr) {
            error->m_cause = CFileException::causeBadPath;
            error->m_lOsError = -1;
        }
        return 0;
    }
    _SetCanonicalFileSpec(fileName);

    errno = 0;
    int oflag = 0;
    unsigned int mode = 0;
    _XlatOpenFlags(openFlags, &oflag, &mode);
    // The name as given: a relative name resolves against the current directory of the moment.
    int const fd = AvoidDescriptorZero(::open(fileName, oflag, mode));
    if (fd < 0) {
        if (error != nullptr)
            _PopulateFileException(*error, fileName);
        m_hFile = hFileNull;
        return 0;
    }
    m_hFile = fd;
    m_bCloseOnDelete = 1;
    return 1;
}

unsigned int CFile::Read(void* buffer, unsigned long count) {
    if (buffer == nullptr || count == 0 || m_hFile == hFileNull)
        return 0;
    errno = 0;
    ssize_t const got = ::read(m_hFile, buffer, count);
    return got < 0 ? 0u : static_cast<unsigned int>(got);
}

void CFile::Write(const void* buffer, unsigned long count) {
    if (count == 0)
        return;
    if (m_hFile == hFileNull)
        ThrowCause(CFileException::causeGeneric, nullptr);
    if (buffer == nullptr)
        ThrowCause(CFileException::causeGeneric, m_strFileName.GetString());
    errno = 0;
    if (::write(m_hFile, buffer, count) < 0) {
        int const err = errno;
        ThrowCause(err == EINVAL ? CFileException::causeInvalidFile
                                 : CFileException::ErrnoToException(err),
                   m_strFileName.GetString());
    }
}

unsigned long CFile::Seek(long offset, unsigned int origin) {
    if (m_hFile == hFileNull)
        ThrowCause(CFileException::causeInvalidFile, m_strFileName.GetString());
    if (origin > end)
        ThrowCause(CFileException::causeBadSeek, m_strFileName.GetString());
    errno = 0;
    off_t const pos = ::lseek(m_hFile, offset, static_cast<int>(origin));
    if (pos < 0) {
        int const err = errno;
        ThrowCause(err == EOVERFLOW ? CFileException::causeBadSeek
                                    : CFileException::ErrnoToException(err),
                   m_strFileName.GetString());
    }
    return static_cast<unsigned long>(pos);
}

unsigned long CFile::GetPosition() const {
    if (m_hFile == hFileNull)
        ThrowCause(CFileException::causeInvalidFile, m_strFileName.GetString());
    errno = 0;
    off_t const pos = ::lseek(m_hFile, 0, SEEK_CUR);
    if (pos < 0)
        CFileException::ThrowErrno(errno, m_strFileName.GetString());
    return static_cast<unsigned long>(pos);
}

unsigned long CFile::GetLength() const {
    if (m_hFile == hFileNull)
        ThrowCause(CFileException::causeInvalidFile, m_strFileName.GetString());
    // The length is the offset of the end; the position is put back afterwards.
    errno = 0;
    off_t const current = ::lseek(m_hFile, 0, SEEK_CUR);
    if (current < 0)
        CFileException::ThrowErrno(errno, m_strFileName.GetString());
    errno = 0;
    off_t const length = ::lseek(m_hFile, 0, SEEK_END);
    if (length < 0)
        CFileException::ThrowErrno(errno, m_strFileName.GetString());
    errno = 0;
    if (::lseek(m_hFile, current, SEEK_SET) < 0)
        CFileException::ThrowErrno(errno, m_strFileName.GetString());
    return static_cast<unsigned long>(length);
}

void CFile::SetLength(unsigned long length) {
    // The truncation's result is not looked at; the seek reports a closed object. Descriptor 0
    // is never truncated: it is not ours.
    if (m_hFile != hFileNull)
        (void)::ftruncate(m_hFile, static_cast<off_t>(length));
    Seek(0, end);
}

void CFile::Flush() {
    if (m_hFile != hFileNull)
        (void)::fdatasync(m_hFile);
}

void CFile::Close() {
    if (m_hFile != hFileNull) {
        (void)::close(m_hFile);
        m_hFile = hFileNull;
    }
    m_strFileName.Empty();
}

void CFile::Abort() {
    Close();
}

CString CFile::GetFileName() const {
    int const slash = m_strFileName.ReverseFind('/');
    if (slash < 0)
        return m_strFileName;
    return m_strFileName.Right(m_strFileName.GetLength() - slash - 1);
}

CString CFile::GetFilePath() const {
    return m_strFileName;
}

void CFile::SetFilePath(const char* path) {
    m_strFileName = path;
}

void CFile::Rename(const char* oldName, const char* newName) {
    // The move's own reason is not known here; every failure reads as a bad target path.
    if (!MoveFileEx(oldName, newName, 0))
        ThrowCause(CFileException::causeBadPath, newName);
}

void CFile::Remove(const char* fileName) {
    if (fileName == nullptr)
        ThrowCause(CFileException::causeBadPath, nullptr);
    errno = 0;
    if (::unlink(fileName) != 0)
        CFileException::ThrowErrno(errno, fileName);
}

} // namespace zulwin
