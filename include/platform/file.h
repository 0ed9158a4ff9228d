/// \file
/// CFile, the unbuffered binary file of the compatibility layer.
#pragma once

#include <platform/cstring.h>
#include <platform/file_exception.h>

namespace zulwin {

/// An unbuffered binary file over one descriptor. Descriptor 0 means "no file open".
class PLATFORM_API CFile {
public:
    /// Open-mode bits. Only the read/write bits, openCreate and openNoTruncate are looked at;
    /// the share, inheritance and text/binary bits are accepted and ignored.
    enum OpenFlags : unsigned int {
        openRead = 0x0000,
        openWrite = 0x0001,
        openReadWrite = 0x0002,
        openCreate = 0x1000,
        openNoTruncate = 0x2000,
        /// Accepted for source compatibility; no effect.
        modeRead = openRead,
        modeWrite = openWrite,
        modeReadWrite = openReadWrite,
        modeCreate = openCreate,
        modeNoTruncate = openNoTruncate,
        shareCompat = 0x0000,
        shareExclusive = 0x0010,
        shareDenyWrite = 0x0020,
        shareDenyRead = 0x0030,
        shareDenyNone = 0x0040,
        modeNoInherit = 0x0080,
        typeText = 0x4000,
        typeBinary = 0x8000,
    };
    /// Seek origins, handed to lseek as SEEK_SET, SEEK_CUR and SEEK_END.
    enum SeekPosition : unsigned int {
        begin = 0,   ///< from the start of the file
        current = 1, ///< from the current position
        end = 2      ///< from the end of the file
    };

    /// 0, the descriptor of a closed object: a file is never usable on descriptor 0.
    static const int hFileNull;

    CFile();
    /// Opens or throws a CFileException* naming `fileName` as given.
    CFile(const char* fileName, unsigned int openFlags);
    CFile(const CFile&) = delete;
    CFile& operator=(const CFile&) = delete;
    /// Closes when some Open succeeded on this object.
    virtual ~CFile();

    /// The current offset (lseek). Throws a CFileException* (causeInvalidFile when closed).
    virtual unsigned long GetPosition() const;
    /// The part of the path after its last "/".
    virtual CString GetFileName() const;
    /// A copy of the path; empty after Close.
    virtual CString GetFilePath() const;
    /// Sets the path as given, without canonicalising.
    virtual void SetFilePath(const char* path);
    /// 1 on success, 0 on failure (reported in `error` when given); never throws for a failed
    /// open. Fails with causeInvalidFile when a file is already open.
    virtual int Open(const char* fileName, unsigned int openFlags, CFileException* error = nullptr);
    /// Moves to `offset` from `origin` (a SeekPosition) and returns the new position. Throws
    /// causeInvalidFile when closed, causeBadSeek for an origin of 3 or more or an overflow.
    virtual unsigned long Seek(long offset, unsigned int origin);
    /// Truncates or extends, then leaves the position at the new end.
    virtual void SetLength(unsigned long length);
    /// The file's length, measured by seeking to the end and back.
    virtual unsigned long GetLength() const;
    /// One read call; end of file and errors both read as 0. Never throws.
    virtual unsigned int Read(void* buffer, unsigned long count);
    /// One write call; a short write is not retried.
    virtual void Write(const void* buffer, unsigned long count);
    /// Close().
    virtual void Abort();
    /// fdatasync when a file is open; its result is not checked.
    virtual void Flush();
    /// Never throws; empties the path.
    virtual void Close();

    /// The descriptor (hFileNull when closed).
    operator int() const { return m_hFile; }

    /// MoveFileEx(oldName, newName, 0); failure throws causeBadPath naming newName.
    static void Rename(const char* oldName, const char* newName);
    /// unlink; failure throws the errno cause naming `fileName`, a null name causeBadPath.
    static void Remove(const char* fileName);

protected:
    /// The path made absolute (against the current directory) and canonical.
    void _SetCanonicalFileSpec(const char* fileName);

    int m_hFile = 0;          ///< the descriptor; 0 when closed
    int m_bCloseOnDelete = 0; ///< set by a successful Open: the destructor closes
    CString m_strFileName;    ///< the path, canonical after a successful Open
};

/// The open(2) flags and creation mode for an open-mode word. Always returns 1.
PLATFORM_API int _XlatOpenFlags(unsigned int openFlags, int* oflag, unsigned int* mode);

} // namespace zulwin

namespace zulplatform {

/// True when `file` has a descriptor open.
PLATFORM_API bool IsValidFile(const zulwin::CFile& file);

} // namespace zulplatform
