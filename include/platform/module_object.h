/// \file
/// Module objects: the IModule class tree that represents every shared library of the family
/// and the host executable, and the shared-object lifecycle of a library.
///
/// A library builds its own resource record and shared object in a load-time constructor,
/// registers it with the process-wide application object, and runs its entry routine with
/// reason 0; its load-time destructor runs reason 1 and destroys the object. Entry reason codes:
/// 0 attach, 1 detach, 2 thread attach, 3 thread detach (deliberately not the Windows numbering).
/// <platform/module_entry.h> writes that protocol for a module.
#pragma once

#include <platform/cstring.h>
#include <platform/resources.h>

#include <memory>

namespace zulplatform {

/// A module of the family (a shared library or the host executable).
class PLATFORM_API IModule {
public:
    virtual ~IModule() = default;
    /// The text for `id`; "" (never null) when the id is unknown.
    virtual const char* LoadString(unsigned int id) const = 0;
    /// The module's file name: the canonical absolute path of its shared object or executable.
    virtual const char* GetModuleFileName() const = 0;
    /// The module's version record (its resource data's).
    virtual const VersionRecord_t* GetVersionInfo() const = 0;
};

/// A module backed by loaded code.
class PLATFORM_API ILinkedObject : public IModule {
public:
    /// The dynamic loader's handle (dlopen's result), or null.
    virtual void* GetHandle() const = 0;
};

/// A shared library of the family, with its entry routine.
class PLATFORM_API ISharedObject : public ILinkedObject {
public:
    /// Stops EntryPoint from calling the entry routine, for good.
    virtual void DisableAppNotifications() = 0;
    /// Runs the module's entry routine with `reason` (an AppNotification_t: 0 attach, 1 detach,
    /// 2 and 3 thread attach and detach) and returns its result.
    virtual int EntryPoint(IModule* module, unsigned int reason, void* reserved) = 0;
};

/// The host executable.
class PLATFORM_API IApp : public ILinkedObject {};

/// A module's entry routine: (module, reason, reserved).
using EntryRoutine_t = int (*)(IModule*, unsigned int, void*);

/// A module made of resource data and a file name, without loaded code of its own.
class PLATFORM_API CModule : public IModule {
public:
    /// A null file name gives an empty name.
    CModule(const CResourceData& data, const char* fileName);
    CModule(const CModule&) = delete;
    CModule& operator=(const CModule&) = delete;
    ~CModule() override;

    const char* LoadString(unsigned int id) const override;
    /// The name given (never null).
    const char* GetModuleFileName() const override;
    /// The version record of the resource data.
    const VersionRecord_t* GetVersionInfo() const override;

    /// The resource data the module reads (not owned).
    const CResourceData* GetResourceData() const;
    /// Installs a new resource manager over `data`.
    void SetResourceData(const CResourceData& data);
    /// Replaces the file name (null: empty).
    void SetModuleFileName(const char* fileName);

private:
    std::unique_ptr<CResourceManager> m_resources;
    zulwin::CString m_fileName;
};

/// A module with a loader handle: a CModule plus the handle, which it closes on destruction.
class PLATFORM_API CLinkedObject : public ILinkedObject {
public:
    /// A module over `data` named `fileName`, with no handle yet.
    CLinkedObject(const CResourceData& data, const char* fileName);
    /// Closes the handle with dlclose when one is set.
    ~CLinkedObject() override;

    const char* LoadString(unsigned int id) const override { return m_module.LoadString(id); }
    const char* GetModuleFileName() const override { return m_module.GetModuleFileName(); }
    const VersionRecord_t* GetVersionInfo() const override { return m_module.GetVersionInfo(); }
    void* GetHandle() const override { return m_handle; }

    /// Stores the handle without closing an earlier one.
    void SetHandle(void* handle) { m_handle = handle; }
    /// @{
    /// As CModule's.
    void SetModuleFileName(const char* fileName) { m_module.SetModuleFileName(fileName); }
    void SetResourceData(const CResourceData& data) { m_module.SetResourceData(data); }
    const CResourceData* GetResourceData() const { return m_module.GetResourceData(); }
    /// @}

private:
    CModule m_module;
    void* m_handle = nullptr;
};

/// The shared object of a library of the family: its linked module and its entry routine.
class PLATFORM_API CSharedObject : public ISharedObject {
public:
    /// With a file name, opens a second reference on that file (dlopen, RTLD_LAZY) and holds it
    /// for the life of the object; a failed dlopen leaves the handle null.
    CSharedObject(EntryRoutine_t entry, const CResourceData& data, const char* fileName);
    ~CSharedObject() override;

    const char* LoadString(unsigned int id) const override { return m_linked.LoadString(id); }
    const char* GetModuleFileName() const override { return m_linked.GetModuleFileName(); }
    const VersionRecord_t* GetVersionInfo() const override { return m_linked.GetVersionInfo(); }
    void* GetHandle() const override { return m_linked.GetHandle(); }

    void DisableAppNotifications() override { m_notify = false; }
    /// Calls the entry routine with `module` (not this object) while notifications are enabled;
    /// otherwise returns 0 without calling anything.
    int EntryPoint(IModule* module, unsigned int reason, void* reserved) override;

private:
    CLinkedObject m_linked;
    EntryRoutine_t m_entry;
    bool m_notify = true;
};

/// Creates the shared object of the module that contains `entry` (found with dladdr; its file
/// name made absolute and canonical) and registers it with the application object. Null when
/// the loader cannot tell which file holds `entry`.
PLATFORM_API ISharedObject* CreateSharedObject(EntryRoutine_t entry, const CResourceData& data);
/// Unregisters `obj` from the application object and deletes it; null is harmless.
PLATFORM_API void DestroySharedObject(ISharedObject* obj);

/// For a module's entry routine: stops thread notifications to it. `module` must be the shared
/// object the routine received. False for null.
PLATFORM_API bool DisableThreadLibCalls(IModule* module);

} // namespace zulplatform

namespace zulwin {

/// The same as zulplatform::DisableThreadLibCalls.
PLATFORM_API bool DisableThreadLibraryCalls(zulplatform::IModule* module);

} // namespace zulwin

/// Every module of the family exports this: its module object (null before attach). The loader
/// finds a module's object through exactly this symbol.
extern "C" PLATFORM_API zulplatform::IModule* GetModule();
