// This library as a module of the family: its instance slot, entry routine, and the load-time
// constructor and destructor that create, attach, detach and destroy its shared object. The
// protocol is the one PLATFORM_MODULE_ENTRY writes for other modules, with the load-time
// priorities the library's own start-up order needs (see library_entry.h).
#include "platform/internal/library_entry.h"

#include <platform/app.h>
#include <platform/exception.h>
#include <platform/module_entry.h>

// The instance slot, shared with ThisModule(); hidden like every module's.
extern "C" {
zulplatform::IModule* zulplatform_module_instance = nullptr;
}

namespace zulplatform {

IModule* GetInstance() {
    return zulplatform_module_instance;
}

void* _GetInstance() {
    return &zulplatform_module_instance;
}

void InitLib() {}
void ReleaseLib() {}
void ThreadAttachLib() {}
void ThreadDetachLib() {}

int DllMain(IModule* module, unsigned int reason, void* /*reserved*/) {
    switch (reason) {
    case AppProcessAttach:
        zulplatform_module_instance = module;
        InitResources();
        InitLib();
        break;
    case AppProcessDetach:
        ReleaseLib();
        break;
    case AppThreadAttach:
        ThreadAttachLib();
        break;
    case AppThreadDetach:
        ThreadDetachLib();
        break;
    default:
        break;
    }
    return 1;
}

void init_dll() {
    ISharedObject* obj = CreateSharedObject(DllMain, GetResourceData());
    if (obj == nullptr)
        CException::Throw(-1);
    DllMain(obj, AppProcessAttach, nullptr);
}

// The instance slot is deliberately left set after detach.
void release_dll() {
    auto* obj = dynamic_cast<ISharedObject*>(GetInstance());
    if (obj == nullptr)
        return;
    DllMain(obj, AppProcessDetach, nullptr);
    DestroySharedObject(obj);
}

namespace {
// GCC drops a priority given on the definition of a function declared earlier without it, so
// the load-time entries are these local functions.
__attribute__((constructor(102))) void RunInitDll() {
    init_dll();
}
__attribute__((destructor(102))) void RunReleaseDll() {
    release_dll();
}
} // namespace

} // namespace zulplatform

extern "C" zulplatform::IModule* GetModule() {
    return zulplatform::GetInstance();
}
