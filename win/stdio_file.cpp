// CStdioFile: a CFile that reads and writes through a C stream in text mode.
#include <platform/stdio_file.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace zulwin {

namespace {

// Every error of this class carries the errno of the failed call (-1 when the object is
// closed and no call was made).
[[noreturn]] void ThrowCause(int cause, int osError, const CString& path) {
    throw new CFileException(cause, osError, path.GetString());
}

// Descriptor 0 stands for "closed" in CFile, so a stream that landed on it (stdin was closed)
// is moved to a higher descriptor. The open file description, with its append flag, is kept.
FILE* AvoidDescriptorZero(FILE* stream, const char* mode) {
    if (stream == nullptr || ::fileno(stream) != 0)
        return stream;
    int const moved = ::fcntl(0, F_DUPFD, 1);
    ::fclose(stream);
    if (moved < 0)
        return nullptr;
    FILE* const reopened = ::fdopen(moved, mode);
    if (reopened == nullptr)
        ::close(moved);
    return reopened;
}

} // namespace

int _XlatStdioOpenFlags(unsigned int openFlags, char* mode) {
    if (mode == nullptr)
        return 0;
    bool const create = (openFlags & CFile::openCreate) != 0;
    bool const keep = (openFlags & CFile::openNoTruncate) != 0;
    const char* base;
    // Read-write is tested before write-only, unlike the descriptor translation.
    if (openFlags & CFile::openReadWrite) {
        if (create && keep)
            return 0;
        base = create ? "w+" : "r+";
    } else if (openFlags & CFile::openWrite) {
        base = !create ? "r+" : keep ? "a" : "w";
    } else {
        if (create)
            return 0;
        base = "r";
    }
    std::size_t n = std::strlen(base);
    std::memcpy(mode, base, n);
    if (openFlags & CStdioFile::openText)
        mode[n++] = 't';
    else if (openFlags & CStdioFile::openBinary)
        mode[n++] = 'b';
    mode[n] = '\0';
    return 1;
}

CStdioFile::CStdioFile() = default;

CStdioFile::CStdioFile(const char* fileName, unsigned int openFlags) {
    CFileException error(CFileException::causeNone, -1, nullptr);
    if (!CStdioFile::Open(fileName, openFlags, &error))
        throw new CFileException(error.m_cause, error.m_lOsError, fileName);
}

CStdioFile::~CStdioFile() {
    // Destructors are noexcept: anything escaping Close ends the process.
    if (m_bCloseOnDelete)
        Close();
}

int CStdioFile::Open(const char* fileName, unsigned int openFlags, CFileException* error) {
    if (m_pStream != nullptr) {
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
    // Always text mode.
    openFlags = (openFlags & ~static_cast<unsigned int>(openBinary)) | openText;
    char mode[4];
    if (!_XlatStdioOpenFlags(openFlags, mode))
        return 0;
    FILE* const stream = AvoidDescriptorZero(::fopen(fileName, mode), mode);
    if (stream == nullptr) {
        if (error != nullptr)
            _PopulateFileException(*error, fileName);
        m_hFile = hFileNull;
        return 0;
    }
    m_pStream = stream;
    m_hFile = ::fileno(stream);
    m_bCloseOnDelete = 1;
    return 1;
}

int CStdioFile::ReadString(CString& line) {
    line.Empty();
    if (m_pStream == nullptr)
        return 0;
    // fgets stores a NUL after what it read, so the buffer needs no clearing: the piece is the
    // text up to the first NUL either way.
    char piece[128];
    for (;;) {
        errno = 0;
        if (::fgets(piece, sizeof piece, m_pStream) == nullptr) {
            if (!::feof(m_pStream)) {
                int const err = errno;
                ::clearerr(m_pStream);
                ThrowCause(CFileException::causeGeneric, err, GetFilePath());
            }
            break;
        }
        std::size_t const n = std::strlen(piece);
        if (n == 0)
            break;
        if (piece[n - 1] == '\n') {
            piece[n - 1] = '\0';
            line += piece;
            break;
        }
        line += piece;
    }
    return line.IsEmpty() ? 0 : 1;
}

void CStdioFile::WriteString(const char* text) {
    if (m_pStream == nullptr || text == nullptr)
        return;
    errno = 0;
    if (::fputs(text, m_pStream) == EOF)
        ThrowCause(CFileException::causeDiskFull, errno, GetFilePath());
}

unsigned long CStdioFile::Seek(long offset, unsigned int origin) {
    if (m_pStream == nullptr)
        ThrowCause(CFileException::causeInvalidFile, -1, GetFilePath());
    errno = 0;
    if (::fseek(m_pStream, offset, static_cast<int>(origin)) != 0)
        ThrowCause(CFileException::causeBadSeek, errno, GetFilePath());
    errno = 0;
    long const pos = ::ftell(m_pStream);
    if (pos < 0)
        ThrowCause(CFileException::causeInvalidFile, errno, GetFilePath());
    return static_cast<unsigned long>(pos);
}

unsigned long CStdioFile::GetPosition() const {
    if (m_pStream == nullptr)
        ThrowCause(CFileException::causeInvalidFile, -1, GetFilePath());
    errno = 0;
    long const pos = ::ftell(m_pStream);
    if (pos < 0)
        ThrowCause(CFileException::causeInvalidFile, errno, GetFilePath());
    return static_cast<unsigned long>(pos);
}

unsigned long CStdioFile::GetLength() const {
    if (m_pStream == nullptr)
        ThrowCause(CFileException::causeInvalidFile, -1, GetFilePath());
    errno = 0;
    long const current = ::ftell(m_pStream);
    if (current < 0)
        ThrowCause(CFileException::causeInvalidFile, errno, GetFilePath());
    errno = 0;
    if (::fseek(m_pStream, 0, SEEK_END) != 0)
        ThrowCause(CFileException::causeBadSeek, errno, GetFilePath());
    errno = 0;
    long const length = ::ftell(m_pStream);
    if (length < 0)
        ThrowCause(CFileException::causeInvalidFile, errno, GetFilePath());
    errno = 0;
    if (::fseek(m_pStream, current, SEEK_SET) != 0)
        ThrowCause(CFileException::causeBadSeek, errno, GetFilePath());
    return static_cast<unsigned long>(length);
}

void CStdioFile::Flush() {
    if (m_pStream == nullptr)
        return;
    errno = 0;
    if (::fflush(m_pStream) != 0)
        ThrowCause(CFileException::causeDiskFull, errno, GetFilePath());
}

void CStdioFile::Close() {
    if (m_pStream != nullptr)
        (void)::fclose(m_pStream);
    m_pStream = nullptr;
    m_hFile = hFileNull;
    m_strFileName.Empty();
    m_bCloseOnDelete = 0;
}

} // namespace zulwin
