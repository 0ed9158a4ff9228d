/// \file
/// File exceptions: the zulwin::CException base of the exceptions thrown by pointer, and
/// CFileException with its causes and messages.
///
/// The MFC-style classes throw CFileException* (allocated with new; the catcher calls Delete())
/// for file conditions and zulplatform::CException by value for programming and resource errors.
#pragma once

#include <platform/cstring.h>
#include <platform/exception.h>

namespace zulwin {

/// Base of the exceptions thrown by pointer. Only derived classes can be made.
class PLATFORM_API CException {
public:
    CException() = default;
    virtual ~CException() = 0;

    /// Destroys and frees the object; the catcher's way of disposing of a thrown pointer.
    void Delete();
    /// Copies the error text (at most maxChars - 1 bytes, zero-filled behind it, and a zero at
    /// buffer[maxChars - 1]) and returns 1; returns 0 and leaves the buffer alone when there is
    /// no text. maxChars must be at least 1. helpContext is never written.
    virtual int GetErrorMessage(char* buffer, unsigned long maxChars,
                                unsigned int* helpContext = nullptr) const;

protected:
    mutable CString m_strError; ///< the text GetErrorMessage copies
};

/// A file condition: its cause, the OS error and the file's name. Thrown as a pointer made by
/// new; the catcher calls Delete().
class PLATFORM_API CFileException : public CException {
public:
    /// Why a file operation failed; each has a message among the string resources 101 to 115.
    enum FileErrorCause {
        causeNone = 0,              ///< no error occurred
        causeGeneric = 1,           ///< an unspecified error, or an errno without a cause
        causeFileNotFound = 2,      ///< the file was not found
        causeBadPath = 3,           ///< all or part of the path is invalid, or a null name
        causeTooManyOpenFiles = 4,  ///< no descriptor left
        causeAccessDenied = 5,      ///< access was denied
        causeInvalidFile = 6,       ///< use of a closed object, or an Open of an open one
        causeRemoveCurrentDir = 7,  ///< the current directory cannot be removed
        causeDirectoryFull = 8,     ///< no more directory entries
        causeBadSeek = 9,           ///< a seek to an invalid position or with a bad origin
        causeHardIO = 10,           ///< an input or output error
        causeSharingViolation = 11, ///< the file is held by another writer
        causeLockViolation = 12,    ///< a locked region was accessed
        causeDiskFull = 13,         ///< the disk is full, or a stream write failed
        causeEndOfFile = 14,        ///< the end of the file was reached
    };

    /// A null file name stores "an unnamed file".
    explicit CFileException(int cause = causeNone, int osError = -1,
                            const char* fileName = nullptr);
    ~CFileException() override;

    /// Builds the sentence for the cause from the library's string resources (101 to 115), with
    /// the file name in it, then behaves as CException::GetErrorMessage.
    int GetErrorMessage(char* buffer, unsigned long maxChars,
                        unsigned int* helpContext = nullptr) const override;

    /// The cause for an errno value (causeGeneric for values it does not list).
    static int ErrnoToException(int err);
    /// Throws new CFileException(ErrnoToException(err), -1, fileName).
    [[noreturn]] static void ThrowErrno(int err, const char* fileName);

    int m_cause;           ///< a FileErrorCause
    int m_lOsError;        ///< the errno of the failed call where known, else -1
    CString m_strFileName; ///< the file's name, "an unnamed file" when none was given
};

/// `out` becomes the message for `cause` with `fileName` in it ("" when the resource is missing).
PLATFORM_API void _XlatException(int cause, const CString& fileName, CString& out);
/// Fills `e` after a failed open from errno (ENOENT on a name holding '*' or '?' counts as
/// ENOTDIR); OS error -1. Returns the cause.
PLATFORM_API int _PopulateFileException(CFileException& e, const char* fileName);
/// The name of some errno values ("EINTR", "EIO", ...); "" for the others.
PLATFORM_API const char* _ErrnoToString(unsigned int err);

} // namespace zulwin
