// A sample plug-in module of the family. It follows the module protocol, written for it by
// PLATFORM_MODULE_ENTRY (<platform/module_entry.h>):
//  - its own resource record (string table and version record), filled at attach;
//  - its own entry routine (DllMain), with internal linkage like every per-module function, so
//    that it can never be confused with another module's function of the same name and role;
//  - the instance slot, the load-time constructor and destructor, and the unmangled GetModule
//    export through which LoadLibrary finds its module object.
//
// For demonstration and tests it also exports a few plain functions, and, when the environment
// variable SAMPLE_PLUGIN_EVIDENCE names a file, appends a line there for each attach and detach
// and says whether its shared object is still registered once its destructor has run.
#include <platform/platform.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

std::atomic<unsigned> g_notifications[4];
// The module's shared object, as its entry routine received it at attach.
zulplatform::ISharedObject* g_shared = nullptr;

zulplatform::CResourceData& GetResourceData() {
    static zulplatform::CResourceData data;
    return data;
}

void InitResources() {
    GetResourceData().SetStringTable({
        {1, "Sample plug-in"},
        {2, "Hello, %s, from the sample plug-in."},
    });
    GetResourceData().SetVersionInfo({
        "2.3.4.5",
        "Sample plug-in of the family",
        nullptr,
        "The libplatform developers",
        "libplatform examples",
        "Copyright (c) The libplatform developers",
        "sample_plugin",
        {2, 3, 4, 5},
        {2, 3, 4, 0},
        1700000000,
    });
}

void LeaveEvidence(const char* line) {
    const char* path = std::getenv("SAMPLE_PLUGIN_EVIDENCE");
    if (path == nullptr)
        return;
    if (std::FILE* f = std::fopen(path, "a")) {
        std::fprintf(f, "%s\n", line);
        std::fclose(f);
    }
}

int DllMain(zulplatform::IModule* module, unsigned int reason, void*) {
    if (reason < 4)
        g_notifications[reason].fetch_add(1);
    if (reason == zulplatform::AppProcessAttach) {
        g_shared = dynamic_cast<zulplatform::ISharedObject*>(module);
        InitResources();
        LeaveEvidence("attach");
    } else if (reason == zulplatform::AppProcessDetach) {
        LeaveEvidence("detach");
    }
    return 1;
}

// Runs after the module's own load-time destructor (a destructor of smaller priority runs
// later), when its shared object has been destroyed: is it still in the application object's
// registry? At process exit the application object is gone before the modules, and then
// nothing is registered.
__attribute__((destructor(1000))) void WitnessUnregistration() {
    auto* app = static_cast<zulplatform::CApp*>(zulwin::AfxGetInstanceHandle());
    bool const registered = app != nullptr && app->IsValidSharedObject(g_shared);
    LeaveEvidence(registered ? "still registered" : "unregistered");
}

} // namespace

PLATFORM_MODULE_ENTRY(DllMain, GetResourceData)

extern "C" {

// Formats the plug-in's greeting (string 2) for `name` into `out`.
PLATFORM_MODULE_EXPORT int sample_plugin_greet(const char* name, char* out, unsigned long size) {
    zulwin::CString format, text;
    format.LoadString(zulplatform::ThisModule(), 2);
    text.Format(format.GetString(), name);
    return static_cast<int>(lstrcpyn(out, text.GetString(), size) != nullptr ? text.GetLength()
                                                                             : 0);
}

// How many times the entry routine saw `reason`.
PLATFORM_MODULE_EXPORT unsigned sample_plugin_notifications(unsigned reason) {
    return reason < 4 ? g_notifications[reason].load() : 0;
}

// What a plug-in's attach branch would do to stop thread notifications.
PLATFORM_MODULE_EXPORT int sample_plugin_disable_thread_calls() {
    return zulplatform::DisableThreadLibCalls(zulplatform::ThisModule()) ? 1 : 0;
}

} // extern "C"
