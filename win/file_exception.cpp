// The exceptions thrown by pointer, the file exception's messages, and the translation of errno
// values into file-error causes.
#include "platform/internal/library_entry.h"

#include <platform/file_exception.h>
#include <platform/module_object.h>

#include <array>
#include <cerrno>
#include <cstring>

namespace zulwin {

namespace {

using Causes = std::array<signed char, 106>;

// errno 0 to 105 -> cause; every value not listed, and everything outside the array, is
// causeGeneric. The pairings are kept as they have always been, odd ones (ENOSPC and ENOMEM as
// a full directory, ENOSYS as a bad seek) included.
constexpr Causes BuildErrnoCauses() {
    Causes causes{};
    for (auto& cause : causes)
        cause = CFileException::causeGeneric;
    causes[0] = CFileException::causeNone;
    causes[EPERM] = CFileException::causeAccessDenied;
    causes[ENOENT] = CFileException::causeFileNotFound;
    causes[EIO] = CFileException::causeHardIO;
    causes[ENXIO] = CFileException::causeInvalidFile;
    causes[EBADF] = CFileException::causeInvalidFile;
    causes[EAGAIN] = CFileException::causeInvalidFile;
    causes[ENOMEM] = CFileException::causeDirectoryFull;
    causes[EACCES] = CFileException::causeAccessDenied;
    causes[EBUSY] = CFileException::causeSharingViolation;
    causes[ENOTDIR] = CFileException::causeBadPath;
    causes[EISDIR] = CFileException::causeAccessDenied;
    causes[ENFILE] = CFileException::causeTooManyOpenFiles;
    causes[EMFILE] = CFileException::causeTooManyOpenFiles;
    causes[ETXTBSY] = CFileException::causeSharingViolation;
    causes[EFBIG] = CFileException::causeInvalidFile;
    causes[ENOSPC] = CFileException::causeDirectoryFull;
    causes[EROFS] = CFileException::causeAccessDenied;
    causes[ENAMETOOLONG] = CFileException::causeBadPath;
    causes[ENOSYS] = CFileException::causeBadSeek;
    causes[ELOOP] = CFileException::causeBadPath;
    causes[EOVERFLOW] = CFileException::causeInvalidFile;
    causes[ENOBUFS] = CFileException::causeTooManyOpenFiles;
    return causes;
}

constexpr Causes kErrnoCauses = BuildErrnoCauses();

// Resource id of the message for causeNone; the other causes follow in order.
constexpr unsigned int kFirstMessageId = 101;

unsigned int MessageIdForCause(int cause) {
    if (cause < CFileException::causeNone || cause > CFileException::causeEndOfFile)
        return kFirstMessageId;
    return kFirstMessageId + static_cast<unsigned int>(cause);
}

// GCC may assume `this` is never null and delete the check; the empty asm hides the pointer's
// origin from the optimiser so that the comparison stays.
template <class T> T* OpaquePointer(T* p) {
    asm("" : "+r"(p));
    return p;
}

} // namespace

CException::~CException() {}

void CException::Delete() {
    CException* self = OpaquePointer(this);
    if (self != nullptr)
        delete self;
}

int CException::GetErrorMessage(char* buffer, unsigned long maxChars, unsigned int*) const {
    if (m_strError.IsEmpty() || buffer == nullptr || maxChars == 0)
        return 0;
    std::strncpy(buffer, m_strError.GetString(), maxChars - 1);
    buffer[maxChars - 1] = '\0';
    return 1;
}

CFileException::CFileException(int cause, int osError, const char* fileName)
    : m_cause(cause), m_lOsError(osError),
      m_strFileName(fileName != nullptr ? fileName : "an unnamed file") {}

CFileException::~CFileException() {}

int CFileException::GetErrorMessage(char* buffer, unsigned long maxChars,
                                    unsigned int* helpContext) const {
    // The sentence is made on demand, so a catcher that never asks for it pays nothing.
    _XlatException(m_cause, m_strFileName, m_strError);
    return CException::GetErrorMessage(buffer, maxChars, helpContext);
}

int CFileException::ErrnoToException(int err) {
    // Unsigned, so that negative values fall outside the table too.
    const auto index = static_cast<unsigned int>(err);
    if (index >= kErrnoCauses.size())
        return causeGeneric;
    return kErrnoCauses[index];
}

void CFileException::ThrowErrno(int err, const char* fileName) {
    throw new CFileException(ErrnoToException(err), -1, fileName);
}

void _XlatException(int cause, const CString& fileName, CString& out) {
    CString format;
    format.LoadString(zulplatform::GetInstance(), MessageIdForCause(cause));
    // A missing resource leaves the format, and so the message, empty.
    out.Format(format.GetString(), fileName.GetString());
}

int _PopulateFileException(CFileException& e, const char* fileName) {
    int err = errno;
    // A wildcard name cannot name a file, so "not found" would mislead: report a bad path.
    if (err == ENOENT && fileName != nullptr && std::strpbrk(fileName, "*?") != nullptr)
        err = ENOTDIR;
    e.m_strFileName = fileName;
    e.m_cause = CFileException::ErrnoToException(err);
    e.m_lOsError = -1;
    return e.m_cause;
}

const char* _ErrnoToString(unsigned int err) {
    switch (err) {
    case 4:
        return "EINTR";
    case 5:
        return "EIO";
    case 6:
        return "ENXIO";
    case 9:
        return "EBADF";
    case 11:
        return "EAGAIN";
    case 12:
        return "ENOMEM";
    case 21:
        return "EISDIR";
    case 22:
        return "EINVAL";
    case 29:
        return "ESPIPE";
    case 38:
        return "ENOSYS";
    case 74:
        return "EBADMSG";
    case 75:
        return "EOVERFLOW";
    case 104:
        return "ECONNRESET";
    case 105:
        return "ENOBUFS";
    case 107:
        return "ENOTCONN";
    case 110:
        return "ETIMEDOUT";
    default:
        return "";
    }
}

} // namespace zulwin
