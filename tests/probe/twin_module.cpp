// A module of the family written with PLATFORM_MODULE_ENTRY, built twice (TWIN_NAME "a" and
// "b"). Both builds define the same function names; each must reach its own.
#include <platform/module.h>

namespace {

unsigned g_attaches = 0; // written by the load-time constructor only

zulplatform::CResourceData& Resources() {
    static zulplatform::CResourceData data;
    return data;
}

int DllMain(zulplatform::IModule* module, unsigned int reason, void*) {
    if (reason == zulplatform::AppProcessAttach) {
        // The slot is already set when the entry routine sees the attach.
        g_attaches += zulplatform::ThisModule() == module;
        Resources().SetStringTable({{1, "twin " TWIN_NAME}});
    }
    return 1;
}

} // namespace

PLATFORM_MODULE_ENTRY(DllMain, Resources)

// How many attaches this module's own entry routine saw with its own module object.
extern "C" PLATFORM_MODULE_EXPORT unsigned twin_attaches() {
    return g_attaches;
}

// This module's object as its own code sees it.
extern "C" PLATFORM_MODULE_EXPORT zulplatform::IModule* twin_this_module() {
    return zulplatform::ThisModule();
}
