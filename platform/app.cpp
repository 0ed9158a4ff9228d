// The application object: the host executable as a module, the registry of the family's
// shared objects, the current resource module, and the single-instance check.
#include "platform/internal/app_instance.h"
#include "platform/internal/library_entry.h"
#include "platform/internal/limits.h"

#include <platform/app.h>
#include <platform/loader.h>
#include <platform/locations.h>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>

namespace zulplatform {
namespace {

// Whether the application object has been destroyed (constant-initialised, so it is right
// whatever the order of static initialisation and destruction).
std::atomic<bool> g_appDestroyed{false};

// Holds a CZULMutex for a scope, also when an exception leaves it.
class CLockGuard {
public:
    explicit CLockGuard(CZULMutex& mutex) : m_mutex(mutex) { m_mutex.Lock(); }
    CLockGuard(const CLockGuard&) = delete;
    CLockGuard& operator=(const CLockGuard&) = delete;
    ~CLockGuard() { m_mutex.Unlock(); }

private:
    CZULMutex& m_mutex;
};

} // namespace

CApp::CApp() : m_linked(_GetLocalResourceData(), nullptr) {
    dlerror();
    if (void* handle = dlopen(nullptr, RTLD_LAZY))
        m_linked.SetHandle(handle);
    char path[kMaxPath] = {};
    if (zulwin::GetModuleFileName(nullptr, path, sizeof path) != 0)
        m_linked.SetModuleFileName(path);
    m_resourceModule = this;
}

CApp::~CApp() {
    g_appDestroyed.store(true);
    // The descriptor starts as 0, not -1: when IsRunning never ran, descriptor 0 is closed
    // here. That is how the application object has always behaved.
    if (m_pidFile != -1)
        close(m_pidFile);
}

void CApp::AddSharedObject(ISharedObject* obj) {
    CLockGuard lock(m_lock);
    m_registry.push_back(obj);
}

void CApp::RemoveSharedObject(ISharedObject* obj) {
    CLockGuard lock(m_lock);
    auto it = std::find(m_registry.begin(), m_registry.end(), obj);
    if (it != m_registry.end())
        m_registry.erase(it);
}

bool CApp::IsValidSharedObject(ISharedObject* obj) const {
    CLockGuard lock(m_lock);
    return std::find(m_registry.begin(), m_registry.end(), obj) != m_registry.end();
}

void CApp::NotifyApp(AppNotification_t reason) {
    CLockGuard lock(m_lock);
    // By index: an entry routine that registers a module (unsupported, but possible) must not
    // invalidate the walk. A null entry has nobody to notify.
    for (std::size_t i = 0; i < m_registry.size(); ++i)
        if (ISharedObject* obj = m_registry[i])
            obj->EntryPoint(obj, reason, nullptr);
}

bool CApp::IsRegisteredModule(const IModule* module) const {
    CLockGuard lock(m_lock);
    for (ISharedObject* obj : m_registry)
        if (obj != nullptr && static_cast<const IModule*>(obj) == module)
            return true;
    return false;
}

bool CApp::IsRunning() {
    zulwin::CString path = GetDefaultAppDataDir();
    path += GetExeName();
    path += ".pid";
    // The file is never written; only its lock matters. The descriptor stays open (and
    // locked) for the life of the process.
    m_pidFile = open(path.GetString(), O_RDWR | O_CREAT, 0640);
    errno = 0;
    if (flock(m_pidFile, LOCK_EX | LOCK_NB) == 0)
        return false;
    return errno == EWOULDBLOCK;
}

IApp* GetAppInstance() {
    static CApp app;
    return &app;
}

CApp* _LiveApp() {
    if (g_appDestroyed.load())
        return nullptr;
    return static_cast<CApp*>(GetAppInstance());
}

IApp* GenerateApp(const CResourceData& data) {
    auto* app = static_cast<CApp*>(GetAppInstance());
    app->SetResourceData(data);
    return app;
}

void NotifyApp(AppNotification_t reason) {
    if (CApp* app = _LiveApp())
        app->NotifyApp(reason);
}

bool IsAppInstanceRunning() {
    CApp* app = _LiveApp();
    return app != nullptr && app->IsRunning();
}

} // namespace zulplatform
