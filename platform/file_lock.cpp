// CFileLock: an exclusive flock on an existing file.
#include <platform/file_lock.h>

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace zulplatform {

CFileLock::CFileLock(const char* path, bool wait) : m_pFd(nullptr) {
    int const fd = path != nullptr ? ::open(path, O_RDONLY | O_CLOEXEC) : -1;
    if (fd < 0)
        throw failure(false);
    if (::flock(fd, wait ? LOCK_EX : LOCK_EX | LOCK_NB) != 0) {
        bool const held = errno == EWOULDBLOCK;
        ::close(fd);
        throw failure(held);
    }
    try {
        m_pFd = new int(fd);
    } catch (...) {
        ::close(fd);
        throw;
    }
}

CFileLock::~CFileLock() {
    (void)::flock(*m_pFd, LOCK_UN);
    (void)::close(*m_pFd);
    delete m_pFd;
}

} // namespace zulplatform
