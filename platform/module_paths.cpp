// The directories of the executable and of a module.
#include "platform/internal/limits.h"

#include <platform/loader.h>
#include <platform/path.h>
#include <platform/safe_string.h>

#include <cstring>
#include <mutex>

namespace zulplatform {
namespace {

char g_appDir[kMaxPath];
char g_exeName[kMaxPath];

// The executable's directory and name, split from its canonical full path.
void ComputeAppDir() {
    zulwin::GetModuleFileName(nullptr, g_appDir, sizeof g_appDir - 1);
    char resolved[kMaxPath] = {};
    if (fullpath(resolved, g_appDir, sizeof resolved) != nullptr)
        lstrcpyn(g_appDir, resolved, sizeof g_appDir);
    char* slash = std::strrchr(g_appDir, '/');
    if (slash == nullptr)
        return;
    lstrcpyn(g_exeName, slash + 1, sizeof g_exeName - 1);
    slash[1] = 0;
}

// Fixed once, by the first call of GetAppDir, GetExeName or a successful SetAppDir, from
// whichever thread comes first; the others wait for it.
std::once_flag g_appDirOnce;

void EnsureAppDir() {
    std::call_once(g_appDirOnce, ComputeAppDir);
}

// `dir` made absolute (from the current directory), canonical and ending in "/"; false when
// that cannot be done or does not fit the directory buffer.
bool AbsoluteDir(const char* dir, zulwin::CString& out) {
    zulwin::CString path;
    if (dir[0] != '/') {
        if (!_GetCurrentDirectory(path))
            return false;
        path += "/";
    }
    path += dir;
    if (!ResolveFullPath(path))
        return false;
    path += "/";
    if (static_cast<std::size_t>(path.GetLength()) >= kMaxPath)
        return false;
    out = path;
    return true;
}

} // namespace

zulwin::CString GetModuleDir(IModule* module) {
    char name[kMaxPath] = {};
    zulwin::GetModuleFileName(module, name, sizeof name - 1);
    const char* slash = std::strrchr(name, '/');
    if (slash == nullptr)
        return zulwin::CString();
    return zulwin::CString(name, static_cast<unsigned long>(slash + 1 - name));
}

const char* GetAppDir() {
    EnsureAppDir();
    return g_appDir;
}

const char* GetExeName() {
    EnsureAppDir();
    return g_exeName;
}

bool SetAppDir(const char* dir) {
    if (dir == nullptr || dir[0] == 0 || std::strlen(dir) >= kMaxPath)
        return false;
    zulwin::CString absolute;
    if (!AbsoluteDir(dir, absolute))
        return false;
    bool set = false;
    std::call_once(g_appDirOnce, [&] {
        // The executable's name stays its own; only the directory is the caller's.
        ComputeAppDir();
        lstrcpyn(g_appDir, absolute.GetString(), sizeof g_appDir);
        set = true;
    });
    return set;
}

} // namespace zulplatform
