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
    mutable CString m_strError;
};

class PLATFORM_API CFileException : public CException {
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

    int m_cause;
    int m_lOsError;
    CString m_strFileName;
};

/// `out` becomes the message for `cause` with `fileName` in it ("" when the resource is missing).
PLATFORM_API void _XlatException(int cause, const CString& fileName, CString& out);
/// Fills `e` after a failed open from errno (ENOENT on a name holding '*' or '?' counts as
/// ENOTDIR); OS error -1. Returns the cause.
PLATFORM_API int _PopulateFileException(CFileException& e, const char* fileName);
/// The name of some errno values ("EINTR", "EIO", ...); "" for the others.
PLATFORM_API const char* _ErrnoToString(unsigned int err);

} // namespace zulwin
