/// \file
/// The application object: the host executable as a module, the registry of the family's
/// loaded shared objects with its notification fan-out, the single-instance check, and the
/// current resource module.
#pragma once

#include <platform/module_object.h>
#include <platform/process.h>

#include <vector>

namespace zulplatform {

/// Handed unchanged to each shared object's entry routine as its reason.
/// The codes are deliberately not the Windows numbering (where detach is 0).
enum AppNotification_t : unsigned int {
    AppProcessAttach = 0, ///< the module was loaded
    AppProcessDetach = 1, ///< the module is being unloaded
    AppThreadAttach = 2,  ///< a thread started (sent by the host through NotifyApp)
    AppThreadDetach = 3,  ///< a thread is ending (sent by the host through NotifyApp)
};

/// The host executable as a module, and the registry of the family's loaded shared objects.
class PLATFORM_API CApp : public IApp {
public:
    CApp();
    CApp(const CApp&) = delete;
    CApp& operator=(const CApp&) = delete;
    ~CApp() override;

    const char* LoadString(unsigned int id) const override { return m_linked.LoadString(id); }
    const char* GetModuleFileName() const override { return m_linked.GetModuleFileName(); }
    const VersionRecord_t* GetVersionInfo() const override { return m_linked.GetVersionInfo(); }
    void* GetHandle() const override { return m_linked.GetHandle(); }

    /// Start-up settings; not locked.
    void SetResourceData(const CResourceData& data) { m_linked.SetResourceData(data); }
    /// Makes `module` the current resource module (see AfxSetResourceHandle).
    void SetSysResource(const IModule& module) { m_resourceModule = const_cast<IModule*>(&module); }
    /// The current resource module; null until one is set.
    IModule* GetSysResource() const { return m_resourceModule; }

    /// @{
    /// Registry operations, each under the recursive registry lock: add (duplicates are
    /// allowed), remove one registration, ask whether `obj` is registered.
    void AddSharedObject(ISharedObject* obj);
    void RemoveSharedObject(ISharedObject* obj);
    bool IsValidSharedObject(ISharedObject* obj) const;
    /// @}
    /// Whether `module` is a registered shared object, comparing pointers only: safe to ask
    /// about a module object that may no longer exist.
    bool IsRegisteredModule(const IModule* module) const;
    /// Calls EntryPoint(obj, reason, nullptr) on every registered object in registration order,
    /// holding the lock throughout. Registering or unregistering from inside is not supported.
    void NotifyApp(AppNotification_t reason);

    /// Single-instance check through a locked pid file in the default application data
    /// directory: true when another process holds the lock. Call once, at start-up.
    bool IsRunning();

private:
    CLinkedObject m_linked;
    IModule* m_resourceModule = nullptr;
    int m_pidFile = 0;
    mutable CZULMutex m_lock;
    std::vector<ISharedObject*> m_registry;
};

/// The single application object, created on first use and destroyed at process exit.
PLATFORM_API IApp* GetAppInstance();
/// GetAppInstance(), answering LoadString from `data` from now on. Call once from the host.
PLATFORM_API IApp* GenerateApp(const CResourceData& data);
/// CApp::NotifyApp of the application object: the host's way to send thread notifications
/// (reasons 2 and 3) to every module.
PLATFORM_API void NotifyApp(AppNotification_t reason);
/// CApp::IsRunning of the application object.
PLATFORM_API bool IsAppInstanceRunning();

} // namespace zulplatform

namespace zulwin {

/// The current resource module: the one set by AfxSetResourceHandle, else the application
/// object.
PLATFORM_API zulplatform::IModule* AfxGetResourceHandle();
/// A null module is ignored.
PLATFORM_API void AfxSetResourceHandle(zulplatform::IModule* module);
/// The application object.
PLATFORM_API zulplatform::IModule* AfxGetInstanceHandle();

} // namespace zulwin
