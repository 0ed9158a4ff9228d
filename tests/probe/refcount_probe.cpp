// Counts the dynamic loader's opens and closes of one file around the loader calls.
//   refcount_probe PATH
// A plug-in can never be seen to unload (the loader pins any object whose symbols a library
// loaded at start-up has looked up), so the reference count is observed at its source: this
// program defines dlopen and dlclose, which the library's calls reach first, counts the calls
// for PATH's handle and passes them on.
#include <platform/platform.h>

#include <dlfcn.h>

#include <cstdio>
#include <cstring>

namespace {
const char* g_path = nullptr;
void* g_handle = nullptr;
int g_opens = 0;
int g_closes = 0;
} // namespace

extern "C" void* dlopen(const char* file, int mode) {
    static auto real = reinterpret_cast<void* (*)(const char*, int)>(dlsym(RTLD_NEXT, "dlopen"));
    void* handle = real(file, mode);
    if (handle != nullptr && g_handle != nullptr && handle == g_handle)
        ++g_opens;
    return handle;
}

extern "C" int dlclose(void* handle) {
    static auto real = reinterpret_cast<int (*)(void*)>(dlsym(RTLD_NEXT, "dlclose"));
    if (g_handle != nullptr && handle == g_handle)
        ++g_closes;
    return real(handle);
}

int main(int argc, char** argv) {
    if (argc != 2)
        return 2;
    g_path = argv[1];
    zulplatform::IModule* module = zulwin::LoadLibrary(g_path);
    if (module == nullptr)
        return 1;
    g_handle = dynamic_cast<zulplatform::ILinkedObject*>(module)->GetHandle();

    for (int i = 0; i < 3; ++i)
        if (zulwin::GetModuleHandle(g_path) != module)
            return 1;
    std::printf("GetModuleHandle x3: opens=%d closes=%d\n", g_opens, g_closes);
    g_opens = g_closes = 0;
    bool const again = zulwin::LoadLibrary(g_path) == module;
    bool const freed = zulwin::FreeLibrary(module);
    std::printf("LoadLibrary+FreeLibrary: %d %d opens=%d closes=%d\n", again, freed, g_opens,
                g_closes);
    return 0;
}
