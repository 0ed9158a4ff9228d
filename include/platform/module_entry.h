/// \file
/// The module protocol of the family, written once: how a shared library becomes a module.
///
/// A member of the family has its own entry routine, its own resource data, its own instance
/// slot, a load-time constructor that creates and registers its shared object and attaches it,
/// a load-time destructor that detaches and destroys it, and an unmangled `GetModule` export
/// through which zulwin::LoadLibrary finds its module object. In exactly one source file of the
/// module, at namespace scope, write
///
/// \code
/// namespace {
/// zulplatform::CResourceData& Resources() {
///     static zulplatform::CResourceData data;
///     return data;
/// }
/// int DllMain(zulplatform::IModule* module, unsigned int reason, void*) {
///     if (reason == zulplatform::AppProcessAttach)
///         Resources().SetStringTable({{1, "My module"}});
///     return 1;
/// }
/// } // namespace
/// PLATFORM_MODULE_ENTRY(DllMain, Resources)
/// \endcode
///
/// and call zulplatform::ThisModule() anywhere in the module for its own module object.
///
/// What the macro takes care of, and why:
///  - The entry routine and resource function are the module's own even though every module
///    uses the same names: give them internal linkage (an unnamed namespace, as above). A name
///    with external linkage could be bound to another module's definition of the same name.
///  - The instance slot and ThisModule() are hidden symbols, so each module reads its own slot.
///    Do not call ::GetModule() from inside the module for that: the exported name may resolve
///    to another module's export.
///  - The slot is set before the entry routine sees reason 0 (attach), and the entry routine
///    receives the module's shared object as its `module` argument, which it may hand to
///    zulplatform::DisableThreadLibCalls.
///  - A module that cannot be registered (the loader cannot name its file) makes its load fail
///    with zulplatform::CException(-1), as the library's own entry does.
#pragma once

#include <platform/app.h>
#include <platform/exception.h>
#include <platform/module_object.h>
#include <platform/resources.h>

/// This module's instance slot: its module object, null before attach. Each shared object has
/// its own (hidden, so never bound across modules); PLATFORM_MODULE_ENTRY defines it.
extern "C" __attribute__((visibility("hidden"))) zulplatform::IModule* zulplatform_module_instance;

namespace zulplatform {

/// The module object of the module this code is part of; null before its attach.
__attribute__((visibility("hidden"))) inline IModule* ThisModule() noexcept {
    return zulplatform_module_instance;
}

namespace module_entry_detail {

/// The load-time constructor's work: create and register the shared object, set the slot, and
/// call the entry routine with reason 0.
__attribute__((visibility("hidden"))) inline void Attach(EntryRoutine_t entry,
                                                         const CResourceData& data) {
    ISharedObject* obj = CreateSharedObject(entry, data);
    if (obj == nullptr)
        CException::Throw(-1);
    zulplatform_module_instance = obj;
    entry(obj, AppProcessAttach, nullptr);
}

/// The load-time destructor's work: reason 1, then unregister and delete the shared object. The
/// slot keeps its value, as the library's own does.
__attribute__((visibility("hidden"))) inline void Detach(EntryRoutine_t entry) {
    auto* obj = dynamic_cast<ISharedObject*>(zulplatform_module_instance);
    if (obj == nullptr)
        return;
    entry(obj, AppProcessDetach, nullptr);
    DestroySharedObject(obj);
}

} // namespace module_entry_detail
} // namespace zulplatform

/// Exports a function of a module built with hidden visibility (as modules should be, so that
/// only what they mean to offer is visible), for zulwin::GetProcAddress:
///     extern "C" PLATFORM_MODULE_EXPORT int my_function(int);
#define PLATFORM_MODULE_EXPORT __attribute__((visibility("default")))

/// Emits the module protocol for the module whose entry routine is `entryRoutine`
/// (int (IModule*, unsigned int, void*)) and whose resource data `resourceFunction()` returns
/// (a CResourceData& that lives as long as the module: a function-local static). Use once per
/// module, at global namespace scope.
#define PLATFORM_MODULE_ENTRY(entryRoutine, resourceFunction)                                      \
    extern "C" {                                                                                   \
    zulplatform::IModule* zulplatform_module_instance = nullptr;                                   \
    }                                                                                              \
    namespace {                                                                                    \
    __attribute__((constructor)) void zulplatform_module_attach() {                                \
        ::zulplatform::module_entry_detail::Attach(entryRoutine, resourceFunction());              \
    }                                                                                              \
    __attribute__((destructor)) void zulplatform_module_detach() {                                 \
        ::zulplatform::module_entry_detail::Detach(entryRoutine);                                  \
    }                                                                                              \
    }                                                                                              \
    extern "C" PLATFORM_MODULE_EXPORT zulplatform::IModule* GetModule() {                          \
        return zulplatform_module_instance;                                                        \
    }
