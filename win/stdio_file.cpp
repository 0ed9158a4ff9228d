// CStdioFile: a CFile that reads and writes through a C stream in text mode.
#include <platform/stdio_file.h>

#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstring>
#include <emmintrin.h>
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

namespace {

constexpr std::size_t kPieceSize = 128; // fgets buffer: up to 127 bytes and the NUL

bool IsAscii(const char* p, std::size_t n) {
    std::uint64_t bits = 0;
    std::size_t i = 0;
    for (; i + 8 <= n; i += 8) {
        std::uint64_t word;
        std::memcpy(&word, p + i, 8);
        bits |= word;
    }
    for (; i < n; ++i)
        bits |= static_cast<unsigned char>(p[i]);
    return (bits & 0x8080808080808080ull) == 0;
}

// Appends `n` bytes that are known to be valid text as they stand. They go straight onto the
// string's storage (the caller's string is not const, so casting the view back is sound):
// going through GetBufferSetLength would zero-fill the new bytes first and copy them with an
// inlined `rep movs`, which together cost more than reading the line.
bool AppendRaw(CString& line, const char* text, std::size_t n) {
    unsigned long const old = static_cast<unsigned long>(line.GetLength());
    if (old + n > static_cast<unsigned long>(INT_MAX))
        return false;
    const_cast<zulplatform::_CUtf8String&>(line.GetUtf8()).raw().append(text, n);
    return true;
}

// Appends one piece of a line by the acceptance rule of CString, applied to the piece alone.
// Plain ASCII is valid as it stands and is copied without the full check.
void AppendPiece(CString& line, const char* piece, std::size_t n) {
    if (!IsAscii(piece, n) || !AppendRaw(line, piece, n))
        line += piece;
}

// The common piece, taken straight from the stream's buffer: a line feed among the next 127
// buffered bytes with only ASCII text before it (no NUL, nothing of 0x80 and above). fgets would
// copy exactly those bytes out of the buffer without reading the file, and the acceptance rule
// would keep them unchanged, so the result is the same. Returns false, consuming nothing, for
// every other case. This relies on glibc's FILE layout (the read pointers that its getc_unlocked
// macro uses), which is part of its ABI.
bool TakeBufferedLine(FILE* stream, CString& line) {
    if (stream->_mode > 0)
        return false; // wide-oriented
    const char* const p = stream->_IO_read_ptr;
    std::size_t const avail = static_cast<std::size_t>(stream->_IO_read_end - p);
    std::size_t const limit = avail < kPieceSize - 1 ? avail : kPieceSize - 1;
    std::size_t length = 0;
    bool found = false;
    std::size_t i = 0;
    __m128i const feed = _mm_set1_epi8('\n');
    __m128i const zero = _mm_setzero_si128();
    for (; i + 16 <= limit; i += 16) {
        __m128i const v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i));
        unsigned const feeds = static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(v, feed)));
        unsigned const bad =
            static_cast<unsigned>(_mm_movemask_epi8(_mm_or_si128(v, _mm_cmpeq_epi8(v, zero))));
        if (feeds != 0) {
            unsigned const at = static_cast<unsigned>(__builtin_ctz(feeds));
            if ((bad & ((1u << at) - 1)) != 0)
                return false;
            length = i + at;
            found = true;
            break;
        }
        if (bad != 0)
            return false;
    }
    for (; !found && i < limit; ++i) {
        auto const c = static_cast<unsigned char>(p[i]);
        if (c == '\n') {
            length = i;
            found = true;
        } else if (c == 0 || c >= 0x80) {
            return false;
        }
    }
    if (!found || !AppendRaw(line, p, length))
        return false;
    stream->_IO_read_ptr += length + 1;
    return true;
}

} // namespace

int CStdioFile::ReadString(CString& line) {
    line.Empty();
    if (m_pStream == nullptr)
        return 0;
    // fgets stores a NUL after what it read, so the buffer needs no clearing: the piece is the
    // text up to the first NUL either way. The stream belongs to this object and its one
    // thread, so it is read without the stream lock.
    char piece[kPieceSize];
    for (;;) {
        if (TakeBufferedLine(m_pStream, line))
            break;
        errno = 0;
        if (::fgets_unlocked(piece, sizeof piece, m_pStream) == nullptr) {
            if (!::feof(m_pStream)) {
                int const err = errno;
                ::clearerr(m_pStream);
                ThrowCause(CFileException::causeGeneric, err, GetFilePath());
            }
            break;
        }
        std::size_t n = std::strlen(piece);
        if (n == 0)
            break;
        bool const lineEnd = piece[n - 1] == '\n';
        if (lineEnd)
            piece[--n] = '\0';
        AppendPiece(line, piece, n);
        if (lineEnd)
            break;
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
