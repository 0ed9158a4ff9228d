// String-level path handling: CPath, the canonical form of absolute paths, the current
// directory and the (empty) drive information of this platform.
#include "platform/internal/limits.h"
#include "platform/internal/path_util.h"

#include <platform/filesystem.h>
#include <platform/path.h>

#include <algorithm>
#include <cstring>
#include <utility>

using zulwin::CString;

namespace zulplatform {

namespace {

// There are no drive letters on this platform; the validator receives this and ignores it.
class drive_info_t final : public IDriveInfo {
public:
    bool HasDriveLetters() const override { return false; }
};

} // namespace

IDriveInfo& GetDriveInfo() {
    static drive_info_t info;
    return info;
}

// ---------------------------------------------------------------------------------------------
// CPath

CPath::CPath(CString path) : m_path(std::move(path)) {
    m_path.Trim();
}

CString CPath::GetFolder() const {
    const int slash = m_path.ReverseFind('/');
    if (slash < 0)
        return CString();
    if (slash == 0)
        return CString("/");
    return m_path.Left(slash);
}

CString CPath::GetFileExtension() const {
    const int dot = m_path.ReverseFind('.');
    const int slash = m_path.ReverseFind('/');
    if (dot < 0 || dot < slash)
        return CString();
    return m_path.Mid(dot + 1, m_path.GetLength());
}

CString CPath::GetFileBaseName() const {
    const int dot = m_path.ReverseFind('.');
    const int slash = m_path.ReverseFind('/');
    const int nameStart = slash + 1;
    // A dot at position 0 (".cfg") belongs to the name; so does one before the last slash.
    CString name = dot <= std::max(slash, 0) ? m_path.Mid(nameStart, m_path.GetLength())
                                             : m_path.Mid(nameStart, dot - nameStart);
    name.Trim();
    return name;
}

bool CPath::IsFileName() const {
    return GetFolder().IsEmpty() && !GetFileBaseName().IsEmpty();
}

bool CPath::IsAbsolute() const {
    const CString folder = GetFolder();
    if (folder.IsEmpty())
        return false;
    if (folder[0] == '/')
        return true;
    // A home-relative folder: "~/" begins the folder itself. "~/x" has the folder "~" and so
    // is not absolute by this rule, which takes precedence over the wish that it were.
    return folder.GetLength() >= 2 && folder[0] == '~' && folder[1] == '/';
}

bool CPath::HasInvalidCharacters() const {
    return std::strpbrk(m_path.GetString(), "*?:|<>\"\\") != nullptr ||
           std::strstr(m_path.GetString(), "..") != nullptr;
}

CString CPath::GetPath(CString folder) const {
    folder += m_path;
    return folder;
}

bool CPath::IsExist(CString folder) const {
    return FileExists(GetPath(std::move(folder)).GetString());
}

// ---------------------------------------------------------------------------------------------
// Canonical absolute paths

bool ResolveFullPath(CString& path) {
    const unsigned long length = static_cast<unsigned long>(path.GetLength());
    if (length == 0 || path[0] != '/')
        return false;

    // One pass, in place: the output ("/seg" for each retained segment) never overtakes the
    // input, because every input segment is preceded by at least one slash of its own.
    char* text = path.GetBuffer();
    unsigned long out = 0;
    unsigned long pos = 0;
    while (pos < length) {
        while (pos < length && text[pos] == '/')
            ++pos;
        const unsigned long start = pos;
        while (pos < length && text[pos] != '/')
            ++pos;
        const unsigned long size = pos - start;
        if (size == 0 || (size == 1 && text[start] == '.'))
            continue;
        if (size == 2 && text[start] == '.' && text[start + 1] == '.') {
            // Drop the last retained segment; at the root there is nothing to drop.
            while (out > 0 && text[--out] != '/') {
            }
            continue;
        }
        text[out++] = '/';
        std::memmove(text + out, text + start, size);
        out += size;
    }
    path.ReleaseBuffer(static_cast<int>(out));
    return true;
}

bool _GetCurrentDirectory(CString& out) {
    char buffer[kPathBufferSize];
    if (zulwin::GetCurrentDirectory(kMaxPath, buffer) == 0)
        return false;
    out = buffer;
    return true;
}

bool _MakeAbsolute(CString& path) {
    if (!path.IsEmpty() && path[0] == '/')
        return true;
    CString full;
    if (!_GetCurrentDirectory(full))
        return false;
    full += "/";
    full += path;
    ResolveFullPath(full);
    path = std::move(full);
    return true;
}

} // namespace zulplatform

char* fullpath(char* dst, const char* src, unsigned long size) {
    CString path(src);
    if (dst == nullptr || !zulplatform::ResolveFullPath(path))
        return nullptr;
    const unsigned long length = static_cast<unsigned long>(path.GetLength());
    // The room test leaves out the terminator: callers allow one byte more than `size`.
    if (size < length)
        return nullptr;
    std::memcpy(dst, path.GetString(), length + 1);
    return dst;
}
