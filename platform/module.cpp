// Module objects: CModule, CLinkedObject, CSharedObject, and the shared-object lifecycle.
#include "platform/internal/app_instance.h"
#include "platform/internal/path_util.h"

#include <platform/module_object.h>

#include <dlfcn.h>

namespace zulplatform {

CModule::CModule(const CResourceData& data, const char* fileName)
    : m_resources(std::make_unique<CResourceManager>(data)), m_fileName(fileName) {}

CModule::~CModule() = default;

const char* CModule::LoadString(unsigned int id) const {
    return m_resources->LoadString(id);
}

const char* CModule::GetModuleFileName() const {
    return m_fileName.GetString();
}

const VersionRecord_t* CModule::GetVersionInfo() const {
    return m_resources->GetResourceData()->GetVersionInfo();
}

const CResourceData* CModule::GetResourceData() const {
    return m_resources->GetResourceData();
}

void CModule::SetResourceData(const CResourceData& data) {
    m_resources = std::make_unique<CResourceManager>(data);
}

void CModule::SetModuleFileName(const char* fileName) {
    m_fileName = fileName;
}

CLinkedObject::CLinkedObject(const CResourceData& data, const char* fileName)
    : m_module(data, fileName) {}

CLinkedObject::~CLinkedObject() {
    if (m_handle != nullptr)
        dlclose(m_handle);
}

CSharedObject::CSharedObject(EntryRoutine_t entry, const CResourceData& data, const char* fileName)
    : m_linked(data, fileName), m_entry(entry) {
    if (fileName != nullptr) {
        // A second reference on the module's own file, held for the life of this object, so
        // that symbol lookups through the module have a handle to work with.
        dlerror();
        if (void* handle = dlopen(fileName, RTLD_LAZY))
            m_linked.SetHandle(handle);
    }
}

CSharedObject::~CSharedObject() = default;

int CSharedObject::EntryPoint(IModule* module, unsigned int reason, void* reserved) {
    if (m_entry == nullptr || !m_notify)
        return 0;
    return m_entry(module, reason, reserved);
}

ISharedObject* CreateSharedObject(EntryRoutine_t entry, const CResourceData& data) {
    Dl_info info{};
    if (dladdr(reinterpret_cast<void*>(entry), &info) == 0 || info.dli_fname == nullptr)
        return nullptr;
    zulwin::CString name(info.dli_fname);
    // A module loaded through a relative name is reported relative to the current directory;
    // when that cannot be read, the name stays as reported.
    _MakeAbsolute(name);
    auto* obj = new CSharedObject(entry, data, name.GetString());
    if (CApp* app = _LiveApp())
        app->AddSharedObject(obj);
    return obj;
}

void DestroySharedObject(ISharedObject* obj) {
    if (CApp* app = _LiveApp())
        app->RemoveSharedObject(obj);
    delete obj;
}

bool DisableThreadLibCalls(IModule* module) {
    if (module == nullptr)
        return false;
    // The entry routine's module argument is its shared object; anything else has no
    // notifications to disable.
    if (auto* shared = dynamic_cast<ISharedObject*>(module))
        shared->DisableAppNotifications();
    return true;
}

} // namespace zulplatform
