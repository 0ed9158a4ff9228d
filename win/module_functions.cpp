// Module functions of the compatibility layer: the current resource module, string loading into
// a caller's buffer, and stopping thread notifications.
#include "platform/internal/app_instance.h"
#include "platform/internal/bounded_copy.h"

#include <platform/app.h>
#include <platform/module_object.h>
#include <platform/resources.h>

namespace zulwin {

zulplatform::IModule* AfxGetResourceHandle() {
    zulplatform::CApp* app = zulplatform::_LiveApp();
    return app != nullptr ? app->GetSysResource() : nullptr;
}

void AfxSetResourceHandle(zulplatform::IModule* module) {
    zulplatform::CApp* app = zulplatform::_LiveApp();
    if (module != nullptr && app != nullptr)
        app->SetSysResource(*module);
}

zulplatform::IModule* AfxGetInstanceHandle() {
    return zulplatform::_LiveApp();
}

std::size_t LoadString(zulplatform::IModule* module, unsigned int id, char* buffer,
                       std::size_t size) {
    if (buffer == nullptr || size == 0 || module == nullptr)
        return 0;
    return zulplatform::_CopyTruncated(module->LoadString(id), buffer, size);
}

bool DisableThreadLibraryCalls(zulplatform::IModule* module) {
    return zulplatform::DisableThreadLibCalls(module);
}

} // namespace zulwin
