// Plain FILE* text files: opening with a buffer size and the byte-order-mark check, and reading
// one UTF-8 character as a UTF-16 unit.
#include <platform/stdio_file.h>
#include <platform/utf8_string.h>

namespace zulplatform {

namespace {

// Full buffering of `size` bytes; the stream allocates the buffer itself.
void SetBuffering(FILE* stream, unsigned long size) {
    if (stream != nullptr && size != 0)
        (void)::setvbuf(stream, nullptr, _IOFBF, size);
}

} // namespace

FILE* OpenTextFileForRead(const zulwin::CString& path, unsigned long bufferSize) {
    FILE* const stream = ::fopen(path.GetString(), "r");
    if (stream == nullptr)
        return nullptr;
    SetBuffering(stream, bufferSize);
    // Only UTF-8, with or without its mark, and single-byte text are accepted.
    int const first = ::fgetc(stream);
    bool accepted = true;
    if (first == 0xFE || first == 0xFF || first == 0x00) {
        accepted = false; // UTF-16 or UTF-32
    } else if (first == 0xEF) {
        accepted = ::fgetc(stream) == 0xBB && ::fgetc(stream) == 0xBF;
        if (accepted)
            return stream; // behind the mark
    } else {
        ::rewind(stream);
    }
    if (!accepted) {
        ::fclose(stream);
        return nullptr;
    }
    return stream;
}

FILE* _OpenTextFileForWrite(const zulwin::CString& path, unsigned long bufferSize,
                            const char* mode) {
    if (mode == nullptr)
        return nullptr;
    FILE* const stream = ::fopen(path.GetString(), mode);
    SetBuffering(stream, bufferSize);
    return stream;
}

FILE* CreateTextFileForWrite(const zulwin::CString& path, unsigned long bufferSize) {
    return _OpenTextFileForWrite(path, bufferSize, "w");
}

FILE* OpenTextFileForAppend(const zulwin::CString& path, unsigned long bufferSize) {
    return _OpenTextFileForWrite(path, bufferSize, "a");
}

void CloseTextFile(FILE* stream) {
    if (stream != nullptr)
        ::fclose(stream);
}

unsigned short ReadUtf16CharFromTextFile(FILE* stream) {
    if (stream == nullptr)
        return 0xFFFF;
    // EOF (-1) and bytes of 0x80 and above come out sign-extended.
    auto const first = static_cast<signed char>(::fgetc(stream));
    unsigned const len = CUtf8String::GetSequenceLen(static_cast<char>(first));
    if (len < 2)
        return static_cast<unsigned short>(static_cast<short>(first));
    // The lead byte and up to five more; what the end of the file leaves unread stays zero.
    char sequence[6] = {static_cast<char>(first), 0, 0, 0, 0, 0};
    (void)::fread(sequence + 1, 1, len - 1, stream);
    return static_cast<unsigned short>(CUtf8String::ConvertToUtf16(sequence));
}

} // namespace zulplatform
