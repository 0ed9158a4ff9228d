// This library as a module of the family: its instance slot, entry routine, and the load-time
// constructor and destructor that create, attach, detach and destroy its shared object.
//
// Load-time constructors of the library run in this order (ELF constructor priorities):
//   101 PlatformExceptionInit, 102 init_dll, 103 the signal table, 104 the invalid path
//   characters.
// So everything init_dll reaches must be constant-initialised or a function-local static.
#include <platform/files.h>
#include <platform/module.h>

namespace zulplatform {
namespace {
IModule* g_instance = nullptr;
} // namespace

IModule* GetInstance() {
    return g_instance;
}

void* _GetInstance() {
    return &g_instance;
}

void InitLib() {}
void ReleaseLib() {}
void ThreadAttachLib() {}
void ThreadDetachLib() {}

int DllMain(IModule* module, unsigned int reason, void* /*reserved*/) {
    switch (reason) {
    case AppProcessAttach:
        g_instance = module;
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
