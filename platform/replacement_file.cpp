// Whole-file replacement through a temporary file and rename.
#include "platform/internal/replacement_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdio>

namespace zulplatform {
namespace {

// The path a write through `path` would reach when `path` is a symbolic link (followed through
// chains of links, within the system's nesting limit) that is dangling or, with `followLinks`,
// any link; `path` itself otherwise.
std::string WriteDestination(const char* path, bool followLinks) {
    std::string current(path);
    for (int depth = 0; depth < 40; ++depth) {
        struct stat st;
        if (lstat(current.c_str(), &st) != 0 || !S_ISLNK(st.st_mode) ||
            (!followLinks && stat(current.c_str(), &st) == 0))
            return current;
        char link[PATH_MAX];
        ssize_t const n = readlink(current.c_str(), link, sizeof link - 1);
        if (n <= 0)
            return current;
        link[n] = 0;
        if (link[0] == '/') {
            current = link;
        } else {
            std::size_t const slash = current.rfind('/');
            current =
                (slash == std::string::npos ? std::string() : current.substr(0, slash + 1)) + link;
        }
    }
    return current;
}

std::atomic<unsigned long> g_sequence{0};

} // namespace

_CReplacementFile::_CReplacementFile(const char* target, bool followLinks)
    : m_target(WriteDestination(target, followLinks)) {}

_CReplacementFile::~_CReplacementFile() {
    if (m_pending)
        unlink(m_temp.c_str());
}

bool _CReplacementFile::Create(unsigned int mode) {
    std::size_t const slash = m_target.rfind('/');
    std::string const dir =
        slash == std::string::npos ? std::string() : m_target.substr(0, slash + 1);
    // The target's name, cut so that the temporary name stays within the system's 255 bytes.
    std::string const base =
        (slash == std::string::npos ? m_target : m_target.substr(slash + 1)).substr(0, 200);
    // A hidden name of the target's own, unique to this process and call; created exclusively,
    // so a name that happens to exist is never overwritten.
    for (int attempt = 0; attempt < 100; ++attempt) {
        char suffix[64];
        std::snprintf(suffix, sizeof suffix, ".%d.%lu.tmp", static_cast<int>(getpid()),
                      g_sequence.fetch_add(1));
        m_temp = dir + "." + base + suffix;
        int const fd = open(m_temp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
        if (fd >= 0) {
            close(fd);
            m_pending = true;
            return true;
        }
        if (errno != EEXIST)
            return false;
    }
    return false;
}

bool _CReplacementFile::Commit() {
    if (!m_pending)
        return false;
    if (rename(m_temp.c_str(), m_target.c_str()) == 0) {
        m_pending = false;
        return true;
    }
    int const saved = errno;
    unlink(m_temp.c_str());
    m_pending = false;
    errno = saved;
    return false;
}

} // namespace zulplatform
