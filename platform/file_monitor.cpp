// Change monitors over inotify: a non-blocking instance per directory, polled by the caller.
#include <platform/exception.h>
#include <platform/file_monitor.h>
#include <platform/last_error.h>

#include <cstring>
#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

namespace zulplatform {

namespace {

// Content changes and entries appearing, disappearing or moving; no attributes, opens, closes
// or accesses.
constexpr unsigned int kWatchMask = IN_MODIFY | IN_MOVED_FROM | IN_MOVED_TO | IN_CREATE | IN_DELETE;
static_assert(kWatchMask == 0x3C2, "the watched events");

[[noreturn]] void ThrowLastError() {
    CException::Throw(static_cast<int>(zulwin::GetLastError()));
}

} // namespace

CDirectoryMonitor::CDirectoryMonitor(const char* directory) {
    m_fd = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (m_fd < 0)
        ThrowLastError();
    m_wd = directory != nullptr ? ::inotify_add_watch(m_fd, directory, kWatchMask) : -1;
    if (m_wd < 0) {
        ::close(m_fd);
        ThrowLastError();
    }
}

CDirectoryMonitor::~CDirectoryMonitor() {
    (void)::inotify_rm_watch(m_fd, m_wd);
    (void)::close(m_fd);
}

bool CDirectoryMonitor::IsChangePending(const char* name) const {
    pollfd pfd{m_fd, POLLIN, 0};
    if (::poll(&pfd, 1, 0) <= 0 || (pfd.revents & POLLIN) == 0)
        return false;
    bool const any = name == nullptr || *name == '\0';
    bool changed = false;
    // Room for many events per read; one event needs at most its header and a name of 255
    // bytes with its terminator.
    alignas(inotify_event) char buffer[4096];
    static_assert(sizeof buffer >= sizeof(inotify_event) + 256, "one event fits");
    for (;;) {
        ssize_t const got = ::read(m_fd, buffer, sizeof buffer);
        if (got < 1)
            break;
        std::size_t offset = 0;
        while (offset + sizeof(inotify_event) <= static_cast<std::size_t>(got)) {
            auto const* event = reinterpret_cast<const inotify_event*>(buffer + offset);
            if (!changed) {
                // A name, when there is one, is NUL-terminated within its length field.
                changed = any || (event->len != 0 && std::strcmp(event->name, name) == 0);
            }
            offset += sizeof(inotify_event) + event->len;
        }
    }
    return changed;
}

CFileChangeMonitor::CFileChangeMonitor(const char* path) : m_strFileName(path) {
    if (m_strFileName.IsEmpty())
        ThrowLastError();
    m_strFileName.Replace('\\', '/');
    int const slash = m_strFileName.ReverseFind('/');
    zulwin::CString const directory = slash < 0 ? zulwin::CString() : m_strFileName.Left(slash);
    try {
        m_pMonitor = new CDirectoryMonitor(directory.GetString());
    } catch (...) {
        // Not monitored: the object never reports a change.
        m_pMonitor = nullptr;
    }
    m_strFileName = m_strFileName.Right(m_strFileName.GetLength() - slash - 1);
}

CFileChangeMonitor::~CFileChangeMonitor() {
    delete m_pMonitor;
}

bool CFileChangeMonitor::IsChangePending() const {
    return m_pMonitor != nullptr && m_pMonitor->IsChangePending(m_strFileName.GetString());
}

} // namespace zulplatform
