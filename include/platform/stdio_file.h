/// \file
/// CStdioFile, the buffered text file of the compatibility layer, and the plain FILE* text-file
/// helpers with their byte-order-mark check.
#pragma once

#include <platform/cstring.h>
#include <platform/file.h>

#include <cstdio>

namespace zulwin {

/// A CFile that reads and writes through a C stream, always in text mode, with line-oriented
/// ReadString and WriteString. Read, Write and SetLength are CFile's and act on the descriptor
/// directly, bypassing the stream's buffer: do not mix them with the string operations.
///
/// Every failure is thrown as a CFileException* made by new, with the errno of the failed call
/// as OS error and the canonical path as the file name.
class PLATFORM_API CStdioFile : public CFile {
public:
    /// Stream type bits of the open-mode word (CFile's bits apply too).
    enum StdioFlags : unsigned int { openText = 0x4000, openBinary = 0x8000 };

    CStdioFile();
    /// Opens or throws a CFileException* naming `fileName` as given. A mode combination that has
    /// no stream equivalent throws causeNone ("No error occurred."): do not pass one.
    CStdioFile(const char* fileName, unsigned int openFlags);
    /// Closes when the file is still open from a successful Open.
    ~CStdioFile() override;

    /// The stream's position (ftell); causeInvalidFile when closed.
    unsigned long GetPosition() const override;
    /// Opens in text mode whatever the type bits say. Returns 0 with causeInvalidFile when a
    /// stream is open, causeBadPath for a null name, and without touching `error` when the mode
    /// word has no stream equivalent (see _XlatStdioOpenFlags).
    int Open(const char* fileName, unsigned int openFlags,
             CFileException* error = nullptr) override;
    /// fseek then ftell; the origin is handed to fseek unchecked. causeInvalidFile when closed,
    /// causeBadSeek when fseek fails.
    unsigned long Seek(long offset, unsigned int origin) override;
    /// Measured by seeking the stream to its end and back.
    unsigned long GetLength() const override;
    /// fflush; a failure throws causeDiskFull.
    void Flush() override;
    /// fclose (its result ignored); clears the close-on-delete flag. Never throws.
    void Close() override;

    /// fputs of `text`, no line-ending conversion; a failure throws causeDiskFull. Nothing
    /// happens without a stream or for a null text.
    virtual void WriteString(const char* text);
    /// Reads one line without its line feed (a carriage return before it stays). Returns 1 when
    /// the line is not empty and 0 otherwise, so an empty line reads exactly like the end of
    /// the file; tell them apart with feof on the stream. The line is read in pieces of at most
    /// 127 bytes, each taken into the string by the acceptance rule on its own. A read error
    /// throws causeGeneric.
    virtual int ReadString(CString& line);

    /// The stream, null when closed.
    FILE* m_pStream = nullptr;
};

/// Writes the fopen mode for an open-mode word into `mode` (room for 4 characters) and returns
/// 1, or returns 0 when the word has no stream equivalent. Read-write wins over write-only;
/// write-only without create opens "r+", create with no-truncate appends ("a"), and read-write
/// with both is refused. Then 't' is appended for openText, else 'b' for openBinary.
PLATFORM_API int _XlatStdioOpenFlags(unsigned int openFlags, char* mode);

} // namespace zulwin

namespace zulplatform {

/// fopen(path, "r"), with full buffering of `bufferSize` bytes when it is not 0, and the
/// byte-order-mark check: a file starting with 0xFE, 0xFF or 0x00 (UTF-16 or UTF-32) or with
/// 0xEF not followed by 0xBB 0xBF is closed and null returned; after a UTF-8 mark the stream
/// stands behind it; otherwise it stands at the start. Null when the file cannot be opened.
PLATFORM_API FILE* OpenTextFileForRead(const zulwin::CString& path, unsigned long bufferSize);
/// fopen(path, mode) with full buffering of `bufferSize` bytes when it is not 0. No mark is
/// written.
PLATFORM_API FILE* _OpenTextFileForWrite(const zulwin::CString& path, unsigned long bufferSize,
                                         const char* mode);
/// _OpenTextFileForWrite with mode "w".
PLATFORM_API FILE* CreateTextFileForWrite(const zulwin::CString& path, unsigned long bufferSize);
/// _OpenTextFileForWrite with mode "a".
PLATFORM_API FILE* OpenTextFileForAppend(const zulwin::CString& path, unsigned long bufferSize);
/// fclose unless null.
PLATFORM_API void CloseTextFile(FILE* stream);
/// Reads one UTF-8 sequence and returns it as one UTF-16 unit. A byte that starts no multi-byte
/// sequence is returned sign-extended: end of file reads as 0xFFFF, a stray byte b >= 0x80 as
/// 0xFF00 | b. Continuation bytes are not checked; a sequence cut short by the end of the file
/// is decoded with zeros in place of its missing bytes. A null stream reads as end of file.
PLATFORM_API unsigned short ReadUtf16CharFromTextFile(FILE* stream);

} // namespace zulplatform
