// The current resource module for string loading.
#include <platform/module.h>

namespace zulwin {

// No resource module exists until the application object does, and that object is not part of
// this build yet: every lookup through the current resource module finds nothing.
zulplatform::IModule* AfxGetResourceHandle() {
    return nullptr;
}

} // namespace zulwin
