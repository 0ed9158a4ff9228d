// Loading and saving INI documents through files and paths. Saving replaces the file as a whole
// (temporary file and rename) under the writers' lock, so no reader or killed writer ever leaves
// or sees a partial file.
#include "config/internal/ini_io.h"
#include "config/internal/ini_impl.h"
#include "platform/internal/replacement_file.h"

#include <platform/calendar.h>
#include <platform/exception.h>
#include <platform/file_exception.h>
#include <platform/ini_file.h>

#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

using zulwin::CFile;
using zulwin::CFileException;

namespace {

constexpr std::uint64_t kWaitLimitMs = 10000;
constexpr unsigned kRetryPauseUs = 10000;

bool WaitedTooLong(std::uint64_t start) {
    // Unsigned arithmetic also copes with a counter that wrapped.
    return zulwin::GetTickCount() - start >= kWaitLimitMs;
}

// Writes `ini` as the whole content of `path`, through a temporary file renamed over it; the
// new file gets the permission bits of the file `locked` holds open. Other hard links to the
// old file keep the old content.
bool ReplaceContent(CIniFile const& ini, char const* path, CFile& locked) {
    struct stat st;
    bool const known = fstat(locked, &st) == 0;
    zulplatform::_CReplacementFile replacement(path, true);
    if (!replacement.Create(0600))
        return false;
    char const* temp = replacement.TempPath().c_str();
    if (chmod(temp, known ? (st.st_mode & 07777) : 0664) != 0)
        return false;
    // Owner and group as well where this process may set them (as root); otherwise a file
    // saved by another user becomes this user's, as any rewrite by replacement does.
    if (known && (st.st_uid != geteuid() || st.st_gid != getegid())) {
        int const ignored = chown(temp, st.st_uid, st.st_gid);
        static_cast<void>(ignored);
    }
    CFile out;
    if (!out.Open(temp, CFile::modeReadWrite))
        return false;
    ini.Save(out);
    out.Close();
    return replacement.Commit();
}

} // namespace

namespace inifile {

bool _OpenIniFile(CFile& file, char const* path, unsigned int flags) {
    std::uint64_t const start = zulwin::GetTickCount();
    for (;;) {
        CFileException error;
        bool const open = file.Open(path, flags, &error) != 0;
        bool retry = false;
        if (!open && error.m_cause == CFileException::causeSharingViolation) {
            usleep(kRetryPauseUs);
            retry = true;
        }
        if (WaitedTooLong(start)) {
            if (retry)
                zulplatform::CException::Throw(11);
            return open;
        }
        if (!retry)
            return open;
    }
}

bool _CIniWriteLock::Acquire(char const* path) {
    std::uint64_t const start = zulwin::GetTickCount();
    for (;;) {
        struct stat before;
        // Created when missing, but never truncated: another writer may have created it and
        // written to it since the test.
        unsigned int const flags =
            CFile::modeReadWrite | CFile::shareExclusive |
            (stat(path, &before) == 0 ? 0u : CFile::modeCreate | CFile::modeNoTruncate);
        if (!_OpenIniFile(m_file, path, flags))
            return false;
        int const fd = m_file;
        while (flock(fd, LOCK_EX | LOCK_NB) != 0) {
            if (errno != EWOULDBLOCK && errno != EINTR)
                return true; // no locking on this file system: go on unguarded
            if (WaitedTooLong(start)) {
                m_file.Close();
                zulplatform::CException::Throw(11);
            }
            usleep(kRetryPauseUs);
        }
        struct stat locked, named;
        if (fstat(fd, &locked) == 0 && stat(path, &named) == 0 && locked.st_dev == named.st_dev &&
            locked.st_ino == named.st_ino)
            return true;
        m_file.Close();
        if (WaitedTooLong(start))
            zulplatform::CException::Throw(11);
    }
}

bool _SaveLocked(CIniFile const& ini, char const* path, CFile& locked) {
    CIniFile scratch;
    locked.Seek(0, CFile::begin);
    if (!scratch.Load(locked))
        return false;
    CIniFile const* write = nullptr;
    if (scratch._GetSectionCount() != ini._GetSectionCount()) {
        write = &ini;
    } else {
        // Merge this document's values into the file's content. The merge keeps sections of
        // the file that this document lacks (with equal counts, a renamed section leaves
        // both); a file section that holds keys this document lacks ends the merge, and this
        // document is written as it is.
        // Entries in stored order: the outcome does not depend on the order.
        auto const& sections = ini._GetImpl().sections;
        for (std::size_t i = 0; i < sections.size(); ++i) {
            _CIniSection const& section = sections[i];
            for (std::size_t j = 0; j < section.entries.size(); ++j) {
                _CIniEntry const& entry = section.entries[j];
                scratch.WriteValue(section.name.GetString(), entry.key.GetString(),
                                   entry.value.GetString());
            }
            if (scratch._GetSectionSize(section.name.GetString()) > section.entries.size()) {
                write = &ini;
                break;
            }
        }
        if (write == nullptr && scratch.IsModified())
            write = &scratch;
    }
    if (write != nullptr && !ReplaceContent(*write, path, locked))
        return false;
    ini._SetModified(false);
    return true;
}

} // namespace inifile

bool CIniFile::Load(CFile& file) {
    unsigned long const length = file.GetLength();
    // Room for the data and two NUL code units after it, so that text of an odd length read as
    // UTF-16 still ends in a whole terminator.
    std::vector<char> data(static_cast<std::size_t>(length) + 4, 0);
    std::size_t got = 0;
    while (got < length) {
        // A read that fails returns 0 as the end does; errno tells them apart.
        errno = 0;
        unsigned int const n = file.Read(data.data() + got, length - got);
        if (n == 0 && errno == EINTR)
            continue;
        if (n == 0)
            break;
        got += n;
    }
    file.Seek(0, CFile::begin);
    // Text that did not all arrive (a read error) is not parsed: a document made from part of
    // a file must never be saved back over the whole of it.
    if (got < length)
        return false;
    std::fill(data.begin() + static_cast<long>(got), data.end(), 0);

    auto const* b = reinterpret_cast<unsigned char const*>(data.data());
    if (b[0] == 0xFE && b[1] == 0xFF)
        return false;
    if (b[0] == 0xFF && b[1] == 0xFE)
        return inifile::FromText(*this, CUtf8String(reinterpret_cast<char16_t const*>(b + 2)));
    if (b[0] == 0xEF && b[1] == 0xBB && b[2] == 0xBF)
        return inifile::FromText(*this, data.data() + 3);
    if (b[0] != 0 && b[1] == 0)
        return inifile::FromText(*this, CUtf8String(reinterpret_cast<char16_t const*>(b)));
    return inifile::FromText(*this, data.data());
}

bool CIniFile::Save(CFile& file) const {
    std::string text;
    inifile::_AppendText(*this, text);
    try {
        file.SetLength(0);
        // A write can stop short (a full disk, the file size limit) without an error: go on
        // until the error shows, so that a cut-off text is never taken for a saved one.
        std::size_t done = 0;
        while (done < text.size()) {
            unsigned long const before = file.GetPosition();
            file.Write(text.data() + done, text.size() - done);
            unsigned long const wrote = file.GetPosition() - before;
            if (wrote == 0)
                zulplatform::CException::Throw(-3);
            done += wrote;
        }
    } catch (CFileException* e) {
        e->Delete();
        zulplatform::CException::Throw(-3);
    }
    return true;
}

bool CIniFile::Load(char const* path) {
    CFile file;
    if (!inifile::_OpenIniFile(file, path, CFile::modeRead | CFile::shareDenyWrite))
        return false;
    // A directory opens for reading, but holds no text.
    struct stat st;
    bool const ok = fstat(file, &st) == 0 && !S_ISDIR(st.st_mode) && Load(file);
    file.Close();
    return ok;
}

bool CIniFile::Save(char const* path) const {
    inifile::_CIniWriteLock lock;
    if (!lock.Acquire(path))
        return false;
    return inifile::_SaveLocked(*this, path, lock.File());
}
