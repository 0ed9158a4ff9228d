// A sample plug-in module of the family. It follows the module protocol:
//  - its own resource record (string table and version record), filled at attach;
//  - its own entry routine (DllMain) and instance slot;
//  - a load-time constructor that creates, registers and attaches its shared object, and a
//    load-time destructor that detaches and destroys it;
//  - the unmangled GetModule export through which LoadLibrary finds its module object.
// Its per-module functions have internal linkage so that they can never be confused with the
// library's functions of the same names and roles.
//
// For demonstration and tests it also exports a few plain functions, and, when the environment
// variable SAMPLE_PLUGIN_EVIDENCE names a file, appends a line there for each attach and detach.
#include <platform/platform.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace sample_plugin {
namespace {

zulplatform::IModule* g_instance = nullptr;
std::atomic<unsigned> g_notifications[4];

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
        g_instance = module;
        InitResources();
        LeaveEvidence("attach");
    } else if (reason == zulplatform::AppProcessDetach) {
        LeaveEvidence("detach");
    }
    return 1;
}

__attribute__((constructor)) void init_dll() {
    zulplatform::ISharedObject* obj = zulplatform::CreateSharedObject(DllMain, GetResourceData());
    if (obj == nullptr)
        zulplatform::CException::Throw(-1);
    // Qualified: the arguments would otherwise also find the library's DllMain.
    sample_plugin::DllMain(obj, zulplatform::AppProcessAttach, nullptr);
}

__attribute__((destructor)) void release_dll() {
    auto* obj = dynamic_cast<zulplatform::ISharedObject*>(g_instance);
    if (obj == nullptr)
        return;
    sample_plugin::DllMain(obj, zulplatform::AppProcessDetach, nullptr);
    zulplatform::DestroySharedObject(obj);
    auto* app = static_cast<zulplatform::CApp*>(zulplatform::GetAppInstance());
    LeaveEvidence(app->IsValidSharedObject(obj) ? "still registered" : "unregistered");
}

} // namespace
} // namespace sample_plugin

using sample_plugin::g_instance;
using sample_plugin::g_notifications;

extern "C" {

zulplatform::IModule* GetModule() {
    return g_instance;
}

// Formats the plug-in's greeting (string 2) for `name` into `out`.
int sample_plugin_greet(const char* name, char* out, unsigned long size) {
    zulwin::CString format, text;
    format.LoadString(g_instance, 2);
    text.Format(format.GetString(), name);
    return static_cast<int>(lstrcpyn(out, text.GetString(), size) != nullptr ? text.GetLength()
                                                                             : 0);
}

// How many times the entry routine saw `reason`.
unsigned sample_plugin_notifications(unsigned reason) {
    return reason < 4 ? g_notifications[reason].load() : 0;
}

// What a plug-in's attach branch would do to stop thread notifications.
int sample_plugin_disable_thread_calls() {
    return zulplatform::DisableThreadLibCalls(g_instance) ? 1 : 0;
}

} // extern "C"
