// A preload library that makes one chosen call of the C library fail, for the tests of the
// library's saving and copying paths. Loaded with LD_PRELOAD into a probe process; set up by
// the environment:
//
//   FAULT_CALL   open | read | write | rename | fsync: the function whose calls are counted
//   FAULT_NTH    n >= 1: the n-th counted call fails (and only that one); unset or 0: calls are
//                only counted
//   FAULT_ERRNO  ENOSPC | EIO | EINTR: the error the failing call reports (default EIO)
//   FAULT_DIR    only calls on paths below this directory count: the path argument for open
//                and rename (either name), the descriptor's path (/proc/self/fd) for the others
//   FAULT_REPORT a file that receives "calls=<counted> failed=<0|1>" when the process exits
//
// A failing call does nothing and returns -1 with errno set, as the C library does for these
// errors before any effect. open covers open, open64, openat, openat64 and creat; rename covers
// rename, renameat and renameat2; fsync covers fsync and fdatasync.
#include <dlfcn.h>
#include <fcntl.h>
#include <limits.h>
#include <stdarg.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

enum class Call { none, open, read, write, rename, fsync };

struct Settings {
    Call call = Call::none;
    long nth = 0;
    int error = EIO;
    char dir[PATH_MAX] = {};
    std::size_t dirLength = 0;
    char report[PATH_MAX] = {};
};

Settings g_settings;
std::atomic<long> g_counted{0};
std::atomic<bool> g_failed{false};

Call CallNamed(const char* name) {
    if (name == nullptr)
        return Call::none;
    static const struct {
        const char* name;
        Call call;
    } kCalls[] = {{"open", Call::open},
                  {"read", Call::read},
                  {"write", Call::write},
                  {"rename", Call::rename},
                  {"fsync", Call::fsync}};
    for (const auto& c : kCalls)
        if (std::strcmp(name, c.name) == 0)
            return c.call;
    return Call::none;
}

int ErrnoNamed(const char* name) {
    if (name != nullptr && std::strcmp(name, "ENOSPC") == 0)
        return ENOSPC;
    if (name != nullptr && std::strcmp(name, "EINTR") == 0)
        return EINTR;
    return EIO;
}

void CopyText(char (&to)[PATH_MAX], const char* from) {
    if (from != nullptr)
        std::snprintf(to, sizeof to, "%s", from);
}

template <typename F> F Real(const char* name) {
    return reinterpret_cast<F>(dlsym(RTLD_NEXT, name));
}

__attribute__((constructor)) void ReadSettings() {
    g_settings.call = CallNamed(std::getenv("FAULT_CALL"));
    const char* nth = std::getenv("FAULT_NTH");
    g_settings.nth = nth != nullptr ? std::atol(nth) : 0;
    g_settings.error = ErrnoNamed(std::getenv("FAULT_ERRNO"));
    CopyText(g_settings.dir, std::getenv("FAULT_DIR"));
    g_settings.dirLength = std::strlen(g_settings.dir);
    CopyText(g_settings.report, std::getenv("FAULT_REPORT"));
}

__attribute__((destructor)) void WriteReport() {
    if (g_settings.report[0] == 0)
        return;
    static auto realOpen = Real<int (*)(const char*, int, ...)>("open");
    static auto realWrite = Real<ssize_t (*)(int, const void*, size_t)>("write");
    int const fd = realOpen(g_settings.report, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd < 0)
        return;
    char text[64];
    int const n = std::snprintf(text, sizeof text, "calls=%ld failed=%d\n", g_counted.load(),
                                g_failed.load() ? 1 : 0);
    realWrite(fd, text, static_cast<size_t>(n));
    close(fd);
}

bool Below(const char* path) {
    if (g_settings.dirLength == 0)
        return true;
    return path != nullptr && std::strncmp(path, g_settings.dir, g_settings.dirLength) == 0 &&
           (path[g_settings.dirLength] == '/' || path[g_settings.dirLength] == 0);
}

bool DescriptorBelow(int fd) {
    if (g_settings.dirLength == 0)
        return true;
    char link[64];
    std::snprintf(link, sizeof link, "/proc/self/fd/%d", fd);
    char target[PATH_MAX];
    ssize_t const n = readlink(link, target, sizeof target - 1);
    if (n <= 0)
        return false;
    target[n] = 0;
    return Below(target);
}

// For the *at functions: an absolute name by itself, a relative one by its directory.
bool BelowAt(int dirfd, const char* path) {
    return path != nullptr && path[0] == '/' ? Below(path) : DescriptorBelow(dirfd);
}

// Counts a call of `call` that concerns the watched directory; true when this is the one that
// must fail, with errno already set.
bool ShouldFail(Call call, bool concerned) {
    if (g_settings.call != call || !concerned)
        return false;
    long const number = ++g_counted;
    if (number != g_settings.nth)
        return false;
    g_failed = true;
    errno = g_settings.error;
    return true;
}

// The mode argument of the open family exists only with O_CREAT or O_TMPFILE.
bool TakesMode(int flags) {
    return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
}

} // namespace

extern "C" {

int open(const char* path, int flags, ...) {
    static auto real = Real<int (*)(const char*, int, ...)>("open");
    mode_t mode = 0;
    if (TakesMode(flags)) {
        va_list args;
        va_start(args, flags);
        mode = static_cast<mode_t>(va_arg(args, int));
        va_end(args);
    }
    if (ShouldFail(Call::open, Below(path)))
        return -1;
    return real(path, flags, mode);
}

int open64(const char* path, int flags, ...) {
    static auto real = Real<int (*)(const char*, int, ...)>("open64");
    mode_t mode = 0;
    if (TakesMode(flags)) {
        va_list args;
        va_start(args, flags);
        mode = static_cast<mode_t>(va_arg(args, int));
        va_end(args);
    }
    if (ShouldFail(Call::open, Below(path)))
        return -1;
    return real(path, flags, mode);
}

int openat(int dirfd, const char* path, int flags, ...) {
    static auto real = Real<int (*)(int, const char*, int, ...)>("openat");
    mode_t mode = 0;
    if (TakesMode(flags)) {
        va_list args;
        va_start(args, flags);
        mode = static_cast<mode_t>(va_arg(args, int));
        va_end(args);
    }
    // Relative names are judged by the directory descriptor's path.
    bool const concerned = BelowAt(dirfd, path);
    if (ShouldFail(Call::open, concerned))
        return -1;
    return real(dirfd, path, flags, mode);
}

int openat64(int dirfd, const char* path, int flags, ...) {
    static auto real = Real<int (*)(int, const char*, int, ...)>("openat64");
    mode_t mode = 0;
    if (TakesMode(flags)) {
        va_list args;
        va_start(args, flags);
        mode = static_cast<mode_t>(va_arg(args, int));
        va_end(args);
    }
    bool const concerned = BelowAt(dirfd, path);
    if (ShouldFail(Call::open, concerned))
        return -1;
    return real(dirfd, path, flags, mode);
}

int creat(const char* path, mode_t mode) {
    static auto real = Real<int (*)(const char*, mode_t)>("creat");
    if (ShouldFail(Call::open, Below(path)))
        return -1;
    return real(path, mode);
}

ssize_t read(int fd, void* buffer, size_t count) {
    static auto real = Real<ssize_t (*)(int, void*, size_t)>("read");
    if (g_settings.call == Call::read && ShouldFail(Call::read, DescriptorBelow(fd)))
        return -1;
    return real(fd, buffer, count);
}

ssize_t write(int fd, const void* buffer, size_t count) {
    static auto real = Real<ssize_t (*)(int, const void*, size_t)>("write");
    if (g_settings.call == Call::write && ShouldFail(Call::write, DescriptorBelow(fd)))
        return -1;
    return real(fd, buffer, count);
}

int rename(const char* from, const char* to) {
    static auto real = Real<int (*)(const char*, const char*)>("rename");
    if (ShouldFail(Call::rename, Below(from) || Below(to)))
        return -1;
    return real(from, to);
}

int renameat(int fromDir, const char* from, int toDir, const char* to) {
    static auto real = Real<int (*)(int, const char*, int, const char*)>("renameat");
    bool const concerned = BelowAt(fromDir, from) || BelowAt(toDir, to);
    if (ShouldFail(Call::rename, concerned))
        return -1;
    return real(fromDir, from, toDir, to);
}

int renameat2(int fromDir, const char* from, int toDir, const char* to, unsigned int flags) {
    static auto real = Real<int (*)(int, const char*, int, const char*, unsigned int)>("renameat2");
    bool const concerned = BelowAt(fromDir, from) || BelowAt(toDir, to);
    if (ShouldFail(Call::rename, concerned))
        return -1;
    return real(fromDir, from, toDir, to, flags);
}

int fsync(int fd) {
    static auto real = Real<int (*)(int)>("fsync");
    if (ShouldFail(Call::fsync, DescriptorBelow(fd)))
        return -1;
    return real(fd);
}

int fdatasync(int fd) {
    static auto real = Real<int (*)(int)>("fdatasync");
    if (ShouldFail(Call::fsync, DescriptorBelow(fd)))
        return -1;
    return real(fd);
}

} // extern "C"
