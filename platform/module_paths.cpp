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

// Computed once, on the first call of GetAppDir or GetExeName, from whichever thread comes
// first; the others wait for it.
void EnsureAppDir() {
    static std::once_flag once;
    std::call_once(once, ComputeAppDir);
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

} // namespace zulplatform
