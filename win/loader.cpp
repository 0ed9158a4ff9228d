// The loader calls of the compatibility layer over the POSIX dynamic loader, and the
// executable's path, directory and name. A null module always means the host executable,
// represented by the application object.
#include "platform/app_instance.h"
#include "platform/bounded_copy.h"

#include <platform/files.h>

#include <dlfcn.h>
#include <errno.h>
#include <strings.h>

#include <atomic>
#include <cstdio>
#include <cstring>

namespace {

std::atomic<unsigned int> g_errorMode{0};

const char* AppFullPath() {
    zulwin::CString& path = zulwin::_GetAppFullPath();
    if (path.IsEmpty()) {
        zulwin::CString name(program_invocation_name);
        if (name.Left(2) == ".." || name.GetAt(0) != '/') {
            zulwin::CString full;
            if (zulplatform::_GetCurrentDirectory(full)) {
                full += "/";
                full += name;
                zulplatform::ResolveFullPath(full);
                name = full;
            }
        }
        path = name;
    }
    return path.GetString();
}

} // namespace

namespace zulwin {

CString& _GetAppFullPath() {
    static CString path;
    return path;
}

zulplatform::IModule* LoadLibrary(const char* name) {
    if (name == nullptr)
        return nullptr;
    const char* slash = std::strrchr(name, '/');
    const char* base = slash != nullptr ? slash + 1 : name;
    const char* ext = std::strrchr(base, '.');
    char file[4096];
    const char* toOpen = name;
    if (ext == nullptr) {
        // A name too long for the buffer is not cut into another file's name.
        if (std::snprintf(file, sizeof file, "%s.so", name) >= static_cast<int>(sizeof file))
            return nullptr;
        toOpen = file;
    } else if (strcasecmp(ext, ".out") == 0) {
        // An executable, not a library: only the running one can be answered, and nothing is
        // opened for it.
        zulplatform::CApp* app = zulplatform::_LiveApp();
        if (app != nullptr && std::strstr(app->GetModuleFileName(), base) != nullptr)
            return app;
        return nullptr;
    }
    dlerror();
    void* handle = dlopen(toOpen, RTLD_LAZY);
    if (handle == nullptr)
        return nullptr;
    // A member of the family exports its module object; keep the handle open only for one.
    if (void* symbol = dlsym(handle, "GetModule")) {
        try {
            auto getModule = reinterpret_cast<zulplatform::IModule* (*)()>(symbol);
            if (zulplatform::IModule* module = getModule())
                return module;
        } catch (...) {
        }
    }
    dlclose(handle);
    return nullptr;
}

zulplatform::IModule* LoadLibraryEx(const char* name, void*, unsigned int) {
    return LoadLibrary(name);
}

void* GetProcAddress(zulplatform::IModule* module, const char* symbol) {
    if (symbol == nullptr)
        return nullptr;
    if (module == nullptr)
        module = zulplatform::_LiveApp();
    auto* linked = dynamic_cast<zulplatform::ILinkedObject*>(module);
    if (linked == nullptr || linked->GetHandle() == nullptr)
        return nullptr;
    dlerror();
    return dlsym(linked->GetHandle(), symbol);
}

bool FreeLibrary(zulplatform::IModule* module) {
    // The registry is asked first, by pointer only: the module may have been unloaded.
    zulplatform::CApp* app = zulplatform::_LiveApp();
    if (app == nullptr || module == nullptr || !app->IsRegisteredModule(module))
        return false;
    auto* shared = dynamic_cast<zulplatform::ISharedObject*>(module);
    void* handle = shared->GetHandle();
    return handle != nullptr && dlclose(handle) == 0;
}

zulplatform::IModule* GetModuleHandle(const char* name) {
    if (name == nullptr)
        return zulplatform::_LiveApp();
    char file[1024];
    if (std::strchr(name, '.') == nullptr) {
        if (std::snprintf(file, sizeof file, "%s.so", name) >= static_cast<int>(sizeof file))
            return nullptr;
        name = file;
    }
    zulplatform::IModule* module = LoadLibrary(name);
    if (module != nullptr)
        FreeLibrary(module);
    return module;
}

std::size_t GetModuleFileName(zulplatform::IModule* module, char* buffer, std::size_t size) {
    if (buffer == nullptr || size == 0)
        return 0;
    return zulplatform::_CopyTruncated(
        module != nullptr ? module->GetModuleFileName() : AppFullPath(), buffer, size);
}

unsigned int SetErrorMode(unsigned int mode) {
    g_errorMode.store(mode);
    return mode;
}

} // namespace zulwin

namespace zulplatform {
namespace {

char g_appDir[4096];
char g_exeName[4096];

// Computed on the first call of GetAppDir or GetExeName: the test is whether the directory is
// still empty. Not locked; call during start-up.
void ComputeAppDir() {
    if (g_appDir[0] != 0)
        return;
    zulwin::GetModuleFileName(nullptr, g_appDir, sizeof g_appDir - 1);
    char resolved[4096] = {};
    if (fullpath(resolved, g_appDir, sizeof resolved) != nullptr)
        lstrcpyn(g_appDir, resolved, sizeof g_appDir);
    char* slash = std::strrchr(g_appDir, '/');
    if (slash == nullptr)
        return;
    lstrcpyn(g_exeName, slash + 1, sizeof g_exeName - 1);
    slash[1] = 0;
}

} // namespace

zulwin::CString GetModuleDir(IModule* module) {
    char name[4096] = {};
    zulwin::GetModuleFileName(module, name, sizeof name - 1);
    const char* slash = std::strrchr(name, '/');
    if (slash == nullptr)
        return zulwin::CString();
    return zulwin::CString(name, static_cast<unsigned long>(slash + 1 - name));
}

const char* GetAppDir() {
    ComputeAppDir();
    return g_appDir;
}

const char* GetExeName() {
    ComputeAppDir();
    return g_exeName;
}

} // namespace zulplatform
