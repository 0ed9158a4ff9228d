// Files: exceptions and file errors, CFile, file-system operations, paths and path validation,
// file search.
//
// Error styles: the MFC-style classes throw CFileException* (allocated with new; the catcher
// calls Delete()) for file conditions and zulplatform::CException by value for programming and
// resource errors. The Windows-named functions of zulwin return 1/0 and set the last error; the
// zulplatform utilities return a boolean or the POSIX result and set no last error.
// Paths use "/" as the only separator; the length limit is 4096 characters.
#pragma once

#include <platform/strings.h>

namespace zulplatform {

// The value exception of the library: one int code, thrown by value for programming and
// resource errors. Codes in use: -1 a failed platform call, allocation or index misuse; -2 a
// memory file that cannot grow; -3 an INI write error; -4 a null buffer or a formatting
// failure; errno numbers (11, 22, 34); or a last-error value.
class CException {
public:
    explicit CException(int code) noexcept : m_code(code) {}
    int GetCode() const noexcept { return m_code; }
    [[noreturn]] static void Throw(int code);

private:
    int m_code;
};

} // namespace zulplatform

namespace zulwin {

// ---------------------------------------------------------------------------------------------
// Exceptions

// Base of the exceptions thrown by pointer. Only derived classes can be made.
class CException {
public:
    CException() = default;
    virtual ~CException() = 0;

    // Destroys and frees the object; the catcher's way of disposing of a thrown pointer.
    void Delete();
    // Copies the error text (at most maxChars - 1 bytes, zero-filled behind it, and a zero at
    // buffer[maxChars - 1]) and returns 1; returns 0 and leaves the buffer alone when there is
    // no text. maxChars must be at least 1. helpContext is never written.
    virtual int GetErrorMessage(char* buffer, unsigned long maxChars,
                                unsigned int* helpContext = nullptr) const;

protected:
    mutable CString m_strError;
};

class CFileException : public CException {
public:
    enum FileErrorCause {
        causeNone = 0,
        causeGeneric = 1,
        causeFileNotFound = 2,
        causeBadPath = 3,
        causeTooManyOpenFiles = 4,
        causeAccessDenied = 5,
        causeInvalidFile = 6,
        causeRemoveCurrentDir = 7,
        causeDirectoryFull = 8,
        causeBadSeek = 9,
        causeHardIO = 10,
        causeSharingViolation = 11,
        causeLockViolation = 12,
        causeDiskFull = 13,
        causeEndOfFile = 14,
    };

    // A null file name stores "an unnamed file".
    explicit CFileException(int cause = causeNone, int osError = -1,
                            const char* fileName = nullptr);
    ~CFileException() override;

    // Builds the sentence for the cause from the library's string resources (101 to 115), with
    // the file name in it, then behaves as CException::GetErrorMessage.
    int GetErrorMessage(char* buffer, unsigned long maxChars,
                        unsigned int* helpContext = nullptr) const override;

    // The cause for an errno value (causeGeneric for values it does not list).
    static int ErrnoToException(int err);
    // Throws new CFileException(ErrnoToException(err), -1, fileName).
    [[noreturn]] static void ThrowErrno(int err, const char* fileName);

    int m_cause;
    int m_lOsError;
    CString m_strFileName;
};

// `out` becomes the message for `cause` with `fileName` in it ("" when the resource is missing).
void _XlatException(int cause, const CString& fileName, CString& out);
// Fills `e` after a failed open from errno (ENOENT on a name holding '*' or '?' counts as
// ENOTDIR); OS error -1. Returns the cause.
int _PopulateFileException(CFileException& e, const char* fileName);
// The name of some errno values ("EINTR", "EIO", ...); "" for the others.
const char* _ErrnoToString(unsigned int err);

// ---------------------------------------------------------------------------------------------
// CFile

// An unbuffered binary file over one descriptor. Descriptor 0 means "no file open".
class CFile {
public:
    // Open-mode bits. Only the read/write bits, openCreate and openNoTruncate are looked at;
    // the share, inheritance and text/binary bits are accepted and ignored.
    enum OpenFlags : unsigned int {
        openRead = 0x0000,
        openWrite = 0x0001,
        openReadWrite = 0x0002,
        openCreate = 0x1000,
        openNoTruncate = 0x2000,
        // Accepted for source compatibility; no effect.
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
    enum SeekPosition : unsigned int { begin = 0, current = 1, end = 2 };

    static const int hFileNull;

    CFile();
    // Opens or throws a CFileException* naming `fileName` as given.
    CFile(const char* fileName, unsigned int openFlags);
    CFile(const CFile&) = delete;
    CFile& operator=(const CFile&) = delete;
    // Closes when some Open succeeded on this object.
    virtual ~CFile();

    virtual unsigned long GetPosition() const;
    // The part of the path after its last "/".
    virtual CString GetFileName() const;
    virtual CString GetFilePath() const;
    // Sets the path as given, without canonicalising.
    virtual void SetFilePath(const char* path);
    // 1 on success, 0 on failure (reported in `error` when given); never throws for a failed
    // open. Fails with causeInvalidFile when a file is already open.
    virtual int Open(const char* fileName, unsigned int openFlags, CFileException* error = nullptr);
    virtual unsigned long Seek(long offset, unsigned int origin);
    // Truncates or extends, then leaves the position at the new end.
    virtual void SetLength(unsigned long length);
    virtual unsigned long GetLength() const;
    // One read call; end of file and errors both read as 0. Never throws.
    virtual unsigned int Read(void* buffer, unsigned long count);
    // One write call; a short write is not retried.
    virtual void Write(const void* buffer, unsigned long count);
    virtual void Abort();
    virtual void Flush();
    // Never throws; empties the path.
    virtual void Close();

    operator int() const { return m_hFile; }

    // MoveFileEx(oldName, newName, 0); failure throws causeBadPath naming newName.
    static void Rename(const char* oldName, const char* newName);
    static void Remove(const char* fileName);

protected:
    // The path made absolute (against the current directory) and canonical.
    void _SetCanonicalFileSpec(const char* fileName);

    int m_hFile = 0;
    int m_bCloseOnDelete = 0;
    CString m_strFileName;
};

// The open(2) flags and creation mode for an open-mode word. Always returns 1.
int _XlatOpenFlags(unsigned int openFlags, int* oflag, unsigned int* mode);

// ---------------------------------------------------------------------------------------------
// File-system operations (Windows-named; 1 for success, 0 for failure, last error set)

struct _SECURITY_ATTRIBUTES;

// mkdir with mode 0770; failure sets last error 3.
int CreateDirectory(const char* path, _SECURITY_ATTRIBUTES* sa);
// 87 for a null or empty path, 3 when rmdir fails.
int RemoveDirectory(const char* path);
// The 0x4000 bit of the path's st_mode; 0 when it cannot be stat'ed.
unsigned int PathIsDirectory(const char* path);
// The current directory's length. With size 0 only the length; otherwise the whole path and a
// terminator are copied into `buffer`, which must have room for it (up to 4097 bytes).
unsigned int GetCurrentDirectory(unsigned int size, char* buffer);
// Copies contents only. failIfExists != 0 refuses an existing target (183).
int CopyFile(const char* from, const char* to, int failIfExists);
// Copy, then unlink the source; never a rename. Flag 0x1 replaces an existing target.
int MoveFileEx(const char* from, const char* to, unsigned int flags);
int MoveFile(const char* from, const char* to);

} // namespace zulwin

namespace zulplatform {

bool IsValidFile(const zulwin::CFile& file);

// ---------------------------------------------------------------------------------------------
// File-system operations (no last error)

// Something exists at `path`. Trailing slashes are ignored; "/" alone is false.
bool FileExists(const char* path) noexcept;
bool DirectoryExists(const char* path) noexcept;
// rename(2).
bool FileMove(const char* from, const char* to);
// 0 when the file is gone (deleted or never there), -1 when it could not be deleted.
int FileDelete(const char* path);
long FileSize(const char* path);
// Creates the directory and every missing parent.
bool CreatePath(const char* path) noexcept;
// True when the directory holds no regular file (subdirectories do not count).
bool IsDirectoryEmpty(const char* path) noexcept;
// Removes the tree; a file that cannot be removed throws its CFileException*.
bool DeleteDirectory(const zulwin::CString& path);
int FileMakeWriteable(const char* path);
int FileMakeReadOnly(const char* path);
// umask(007); returns the previous mask.
unsigned int SetProcessFileCreateMask();
// Bytes available to an unprivileged user; all ones when statvfs fails.
unsigned long GetFreeDiskSpaceFromPath(const zulwin::CString& path);
// The file's modification time as FILETIME ticks (whole seconds); 0 when stat fails.
unsigned long GetLastModificationTime(const char* path) noexcept;
// A share root written "//server\share".
bool IsPathUNCShare(const char* path) noexcept;

// ---------------------------------------------------------------------------------------------
// Paths

// A path split into folder, base name and extension. String-level only.
class CPath {
public:
    // Trims white space on both ends.
    CPath(zulwin::CString path);

    zulwin::CString GetFolder() const;
    zulwin::CString GetFileExtension() const;
    zulwin::CString GetFileBaseName() const;
    bool IsFileName() const;
    bool IsAbsolute() const;
    bool IsRelative() const { return !IsAbsolute(); }
    bool HasInvalidCharacters() const;
    bool IsEmpty() const { return m_path.IsEmpty(); }
    // `folder` followed directly by the path.
    zulwin::CString GetPath(zulwin::CString folder) const;
    bool IsExist(zulwin::CString folder) const;

    const zulwin::CString& GetText() const { return m_path; }

private:
    zulwin::CString m_path;
};

// Facts about drives; on this platform there are none to report.
class IDriveInfo {
public:
    virtual ~IDriveInfo() = default;
    virtual bool HasDriveLetters() const = 0;
};
IDriveInfo& GetDriveInfo();

class CPathValidator {
public:
    enum flags : unsigned int { none = 0, allowRelative = 0x10 };
    // Results: 0 valid, 2 too short, 3 too long, 4 invalid character, 5 not absolute.
    // Normalises `path` in place whatever the result.
    static unsigned int Validate(zulwin::CString& path, flags f, IDriveInfo& drives);
    static unsigned int ValidateSyntax(zulwin::CString& path, flags f);
    static unsigned int ValidateLength(const zulwin::CString& path);
};

// Makes an absolute path canonical: removes ".", ".." and empty segments; never ends in "/",
// and "/" itself gives "". False (path untouched) for an empty or relative path.
bool ResolveFullPath(zulwin::CString& path);
// The current directory; false (out untouched) on failure.
bool _GetCurrentDirectory(zulwin::CString& out);

// ---------------------------------------------------------------------------------------------
// File search

class CFileSearch {
public:
    // Its two virtual operations are its whole table; it is never deleted through this type.
    class IFsCallback {
    public:
        // A matching regular file; returning true stops the whole search.
        virtual bool OnFile(const char* path) = 0;
        // A subdirectory of a recursive search, after its subtree; true stops the search.
        virtual bool OnDirectory(const char* path);

    protected:
        ~IFsCallback() = default;
    };

    // Reports the regular files of `directory` (the current directory when empty) whose names
    // match `pattern` ('*' and '?', case-sensitive), and with `recursive` those of every
    // subdirectory, depth first, announcing each subdirectory after its contents.
    void FindFile(const char* directory, const char* pattern, IFsCallback* callback,
                  bool recursive);
};

} // namespace zulplatform

// Resolves `src` like ResolveFullPath into `dst`; null when it fails or when `size` is less
// than the resolved length (a buffer exactly that long receives one byte more than `size`).
char* fullpath(char* dst, const char* src, unsigned long size);
