// The loader calls of the compatibility layer over the POSIX dynamic loader, and the
// executable's full path. A null module always means the host executable, represented by the
// application object.
#include "platform/internal/app_instance.h"
#include "platform/internal/bounded_copy.h"
#include "platform/internal/limits.h"
#include "platform/internal/path_util.h"

#include <platform/loader.h>

#include <dlfcn.h>
#include <errno.h>
#include <strings.h>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <mutex>

namespace {

std::atomic<unsigned int> g_errorMode{0};

// The executable's full path, kept in _GetAppFullPath(): the invocation name, made absolute
// against the current directory when it is relative. Computed when the cache is empty, under a
// lock so that threads asking at the same time compute it once.
const char* AppFullPath() {
    static std::atomic<bool> filled{false};
    static std::mutex fillLock;
    zulwin::CString& path = zulwin::_GetAppFullPath();
    if (!filled.load(std::memory_order_acquire) || path.IsEmpty()) {
        std::lock_guard<std::mutex> lock(fillLock);
        if (path.IsEmpty()) {
            zulwin::CString name(program_invocation_name);
            zulplatform::_MakeAbsolute(name);
            path = name;
        }
        filled.store(true, std::memory_order_release);
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
    char file[zulplatform::kMaxPath];
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
    char file[zulplatform::kModuleNameBufferSize];
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
