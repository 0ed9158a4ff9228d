// A shared object that exports GetModule but is no proper member of the family: built once
// returning null and once throwing, to see the loader refuse it and close it again.
#include <platform/module.h>

#include <stdexcept>

extern "C" zulplatform::IModule* GetModule() {
#ifdef ODD_MODULE_THROWS
    throw std::runtime_error("no module here");
#else
    return nullptr;
#endif
}
