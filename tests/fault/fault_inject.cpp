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
//
// At exit it writes "calls=<counted> failed=<0|1>" as a line of its own to standard output.
// A failing call does nothing and returns -1 with errno set, as the C library does for these
// errors before any effect. open covers open and open64; fsync covers fsync and
// fdatasync. The tests check how many open, read, write and
// rename calls each operation makes at least, so one made through another entry point shows.
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

Call g_call = Call::none;
long g_nth = 0;
int g_error = EIO;
char g_dir[PATH_MAX] = {};
std::size_t g_dirLength = 0;
std::atomic<long> g_counted{0};
std::atomic<bool> g_failed{false};

template <typename F> F Real(const char* name) {
    return reinterpret_cast<F>(dlsym(RTLD_NEXT, name));
}

bool Is(const char* value, const char* name) {
    return value != nullptr && std::strcmp(value, name) == 0;
}

__attribute__((constructor)) void ReadSettings() {
    const char* const kCalls[] = {"open", "read", "write", "rename", "fsync"};
    for (int i = 0; i < 5; ++i)
        if (Is(std::getenv("FAULT_CALL"), kCalls[i]))
            g_call = static_cast<Call>(i + 1);
    const char* const nth = std::getenv("FAULT_NTH");
    g_nth = nth != nullptr ? std::atol(nth) : 0;
    const char* const error = std::getenv("FAULT_ERRNO");
    g_error = Is(error, "ENOSPC") ? ENOSPC : Is(error, "EINTR") ? EINTR : EIO;
    const char* const dir = std::getenv("FAULT_DIR");
    g_dirLength = static_cast<std::size_t>(
        std::snprintf(g_dir, sizeof g_dir, "%s", dir != nullptr ? dir : ""));
}

__attribute__((destructor)) void WriteReport() {
    char text[64];
    int const n = std::snprintf(text, sizeof text, "\ncalls=%ld failed=%d\n", g_counted.load(),
                                g_failed.load() ? 1 : 0);
    Real<ssize_t (*)(int, const void*, size_t)>("write")(1, text, static_cast<size_t>(n));
}

bool Below(const char* path) {
    return g_dirLength == 0 || (path != nullptr && std::strncmp(path, g_dir, g_dirLength) == 0 &&
                                (path[g_dirLength] == '/' || path[g_dirLength] == 0));
}

bool DescriptorBelow(int fd) {
    if (g_dirLength == 0)
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

// Counts a call of `call` when `concerned()` says it touches the watched directory (asked only
// for the chosen function); true when this is the one that must fail, with errno already set.
template <typename Concerned> bool Fails(Call call, Concerned concerned) {
    if (g_call != call || !concerned() || ++g_counted != g_nth)
        return false;
    g_failed = true;
    errno = g_error;
    return true;
}

} // namespace

// Each function below counts as `call` when `concerned` holds of its arguments, fails when it is
// the chosen call, and otherwise passes its arguments on to the C library's own.
#define WRAP(type, name, call, concerned, params, args)                                            \
    type name params {                                                                             \
        static auto real = Real<type(*) params>(#name);                                            \
        return Fails(call, [&] { return concerned; }) ? -1 : real args;                            \
    }
// The open family; its mode argument exists only with O_CREAT or O_TMPFILE.
#define WRAP_OPEN(name)                                                                            \
    int name(const char* path, int flags, ...) {                                                   \
        mode_t mode = 0;                                                                           \
        if ((flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE) {                          \
            va_list list;                                                                          \
            va_start(list, flags);                                                                 \
            mode = static_cast<mode_t>(va_arg(list, int));                                         \
            va_end(list);                                                                          \
        }                                                                                          \
        static auto real = Real<int (*)(const char*, int, ...)>(#name);                            \
        return Fails(Call::open, [&] { return Below(path); }) ? -1 : real(path, flags, mode);      \
    }

extern "C" {

WRAP_OPEN(open)
WRAP_OPEN(open64)
WRAP(ssize_t, read, Call::read, DescriptorBelow(fd), (int fd, void* buffer, size_t count),
     (fd, buffer, count))
WRAP(ssize_t, write, Call::write, DescriptorBelow(fd), (int fd, const void* buffer, size_t count),
     (fd, buffer, count))
WRAP(int, rename, Call::rename, Below(from) || Below(to), (const char* from, const char* to),
     (from, to))
WRAP(int, fsync, Call::fsync, DescriptorBelow(fd), (int fd), (fd))
WRAP(int, fdatasync, Call::fsync, DescriptorBelow(fd), (int fd), (fd))

} // extern "C"
