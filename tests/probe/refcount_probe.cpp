// Counts the dynamic loader's opens and closes of one file around the loader calls.
//   refcount_probe PATH
// A plug-in can never be seen to unload (the loader pins any object whose symbols a library
// loaded at start-up has looked up), so the reference count is observed at its source: this
// program defines dlopen and dlclose, which the library's calls reach first, counts the calls
// for PATH's handle and passes them on.
#include <platform/platform.h>

#include <dlfcn.h>

#include <cstdio>

namespace {
void* g_handle = nullptr;
int g_opens = 0, g_closes = 0;
} // namespace

extern "C" void* dlopen(const char* file, int mode) {
    static auto real = reinterpret_cast<void* (*)(const char*, int)>(dlsym(RTLD_NEXT, "dlopen"));
    void* handle = real(file, mode);
    g_opens += g_handle != nullptr && handle == g_handle;
    return handle;
}

extern "C" int dlclose(void* handle) {
    static auto real = reinterpret_cast<int (*)(void*)>(dlsym(RTLD_NEXT, "dlclose"));
    g_closes += g_handle != nullptr && handle == g_handle;
    return real(handle);
}

int main(int argc, char** argv) {
    zulplatform::IModule* module = argc == 2 ? zulwin::LoadLibrary(argv[1]) : nullptr;
    if (module == nullptr)
        return 1;
    g_handle = dynamic_cast<zulplatform::ILinkedObject*>(module)->GetHandle();
    for (int i = 0; i < 3; ++i)
        if (zulwin::GetModuleHandle(argv[1]) != module)
            return 1;
    std::printf("GetModuleHandle x3: opens=%d closes=%d\n", g_opens, g_closes);
    g_opens = g_closes = 0;
    bool const again = zulwin::LoadLibrary(argv[1]) == module;
    bool const freed = zulwin::FreeLibrary(module);
    std::printf("LoadLibrary+FreeLibrary: %d %d opens=%d closes=%d\n", again, freed, g_opens,
                g_closes);
    return 0;
}
