// A preload library that makes one chosen call of the C library fail, for the tests of the
// library's saving and copying paths. Loaded with LD_PRELOAD into a probe process; set up by
// the environment:
//
//   FAULT_CALL   open | read | write | rename | fsync: the function whose calls are counted
//   FAULT_NTH    n >= 1: the n-th counted call fails (and only that one); unset or 0: calls are
//                only counted
//   FAULT_ERRNO  ENOSPC | EIO | EINTR: the error the failing call reports (default EIO)
//   FAULT_DIR    only calls on this directory or below it count: the path argument for open
//                and rename (either name), the descriptor's path (/proc/self/fd) for the others
//
// At exit it writes "calls=<counted> failed=<0|1>" as a line of its own to standard output.
// A failing call does nothing and returns -1 with errno set, as the C library does for these
// errors before any effect. fsync covers fsync and fdatasync. The tests check how many open,
// read, write and rename calls each operation makes at least, so one made through another
// entry point (open64, openat, pwrite, ...) shows.
#include <dlfcn.h>
#include <fcntl.h>
#include <limits.h>
#include <stdarg.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace {

char g_call[16] = {}, g_dir[PATH_MAX] = {};
long g_nth = 0;
int g_error = EIO;
std::size_t g_dirLength = 0;
std::atomic<long> g_counted{0};
std::atomic<bool> g_failed{false};

const char* Env(const char* name) {
    const char* const value = std::getenv(name);
    return value != nullptr ? value : "";
}

__attribute__((constructor)) void ReadSettings() {
    std::strncpy(g_call, Env("FAULT_CALL"), sizeof g_call - 1);
    g_nth = std::atol(Env("FAULT_NTH"));
    std::string_view const error = Env("FAULT_ERRNO");
    g_error = error == "ENOSPC" ? ENOSPC : error == "EINTR" ? EINTR : EIO;
    g_dirLength = std::strlen(std::strncpy(g_dir, Env("FAULT_DIR"), sizeof g_dir - 1));
}

// The C library's own write inside dprintf is not the wrapper below, so the report is not
// counted.
__attribute__((destructor)) void WriteReport() {
    dprintf(1, "\ncalls=%ld failed=%d\n", g_counted.load(), g_failed.load() ? 1 : 0);
}

bool Below(const char* path) {
    return path != nullptr && std::strncmp(path, g_dir, g_dirLength) == 0 &&
           (path[g_dirLength] == '/' || path[g_dirLength] == 0);
}

bool DescriptorBelow(int fd) {
    char link[64], target[PATH_MAX] = {};
    std::snprintf(link, sizeof link, "/proc/self/fd/%d", fd);
    return readlink(link, target, sizeof target - 1) > 0 && Below(target);
}

// Counts a call of `call` (a FAULT_CALL name) when `concerned()` says it touches the watched
// directory (asked only for the chosen function); true when this is the one that must fail, with
// errno already set.
template <typename Concerned> bool Fails(const char* call, Concerned concerned) {
    if (std::strcmp(g_call, call) != 0 || !concerned() || ++g_counted != g_nth)
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
        static auto real = reinterpret_cast<type(*) params>(dlsym(RTLD_NEXT, #name));              \
        return Fails(call, [&] { return concerned; }) ? -1 : real args;                            \
    }

extern "C" {

// Its mode argument exists only with O_CREAT or O_TMPFILE.
int open(const char* path, int flags, ...) {
    mode_t mode = 0;
    if ((flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE) {
        va_list list;
        va_start(list, flags);
        mode = static_cast<mode_t>(va_arg(list, int));
        va_end(list);
    }
    static auto real = reinterpret_cast<int (*)(const char*, int, ...)>(dlsym(RTLD_NEXT, "open"));
    return Fails("open", [&] { return Below(path); }) ? -1 : real(path, flags, mode);
}
WRAP(ssize_t, read, "read", DescriptorBelow(fd), (int fd, void* buffer, size_t count),
     (fd, buffer, count))
WRAP(ssize_t, write, "write", DescriptorBelow(fd), (int fd, const void* buffer, size_t count),
     (fd, buffer, count))
WRAP(int, rename, "rename", Below(from) || Below(to), (const char* from, const char* to),
     (from, to))
WRAP(int, fsync, "fsync", DescriptorBelow(fd), (int fd), (fd))
WRAP(int, fdatasync, "fsync", DescriptorBelow(fd), (int fd), (fd))

} // extern "C"
