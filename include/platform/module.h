// Module runtime: resources and string tables, module objects and library entry, the
// application object, dynamic loading, version information and process services.
//
// Every shared library of the family, and the host executable, is represented by a module
// object (IModule). A library builds its own resource record and shared object in a load-time
// constructor, registers it with the process-wide application object, and runs its entry
// routine (DllMain) with reason 0; its load-time destructor runs reason 1 and destroys the
// object. Entry reason codes: 0 attach, 1 detach, 2 thread attach, 3 thread detach.
#pragma once

#include <platform/strings.h>

#include <pthread.h>
#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace zulplatform {

// ---------------------------------------------------------------------------------------------
// Resources

// A module's version record. The field order is part of the interface, so a module can write
// its record as an aggregate.
struct VersionRecord_t {
    const char* szFileVersion; // dotted, such as "1.1.271.0"
    const char* szFileDescription;
    const char* szReserved; // left null by this library
    const char* szCompanyName;
    const char* szProductName;
    const char* szLegalCopyright;
    const char* szInternalName;
    uint16_t wFileVersion[4];    // major, minor, build, revision
    uint16_t wProductVersion[4]; // major, minor, build, revision
    int64_t tBuildTime;          // seconds since 1970-01-01 00:00:00 UTC
};

// One entry of a string table. The text is a static string that the owning module keeps for
// its whole life; tables never copy or free texts.
struct StringEntry_t {
    unsigned int id;
    const char* text;
};

// A module's string table and version record. Each module keeps one as a static object and
// fills it at attach time (its InitResources).
class CResourceData {
public:
    // An empty table and a record of null pointers and zeros.
    CResourceData();
    ~CResourceData();

    // The text of the first entry whose id equals `id`; "" (never null) when there is none.
    const char* GetString(unsigned int id) const;

    // Replaces the string table with `entries`, kept in their order.
    void SetStringTable(std::vector<StringEntry_t> entries);
    // Copies `record` in as the version record.
    void SetVersionInfo(const VersionRecord_t& record);

    const std::vector<StringEntry_t>& GetStringTable() const { return m_strings; }
    const VersionRecord_t* GetVersionInfo() const { return &m_version; }

private:
    std::vector<StringEntry_t> m_strings;
    VersionRecord_t m_version;
};

// Looks strings up in one CResourceData it does not own.
class CResourceManager {
public:
    explicit CResourceManager(const CResourceData& data) : m_data(&data) {}
    const char* LoadString(unsigned int id) const { return m_data->GetString(id); }
    const CResourceData* GetResourceData() const { return m_data; }

private:
    const CResourceData* m_data;
};

// This library's own resource record (each library of the family has a function of this role).
CResourceData& GetResourceData();
// A second record that stays empty unless someone fills it; the application object starts on
// it.
CResourceData& _GetLocalResourceData();
// Fills GetResourceData() with this library's string table (ids 101 to 115, the file-error
// messages) and version record. Throws std::invalid_argument / std::out_of_range ("stol") for
// a malformed build time.
void InitResources();

class IModule;

// Empties `out`; for a non-null module assigns its text for `id`. True when the result is not
// empty.
bool LoadString(zulwin::CString& out, IModule* module, unsigned int id);
// True when the module's file name ends in ".lang" (case-sensitive); false for null.
bool HasLocalizedResources(IModule* module);
// The complement for a non-null module: a code image rather than a language file.
bool IsMappedImage(IModule* module);

// ---------------------------------------------------------------------------------------------
// Module objects

// A module of the family (a shared library or the host executable).
class IModule {
public:
    virtual ~IModule() = default;
    // The text for `id`; "" (never null) when the id is unknown.
    virtual const char* LoadString(unsigned int id) const = 0;
    virtual const char* GetModuleFileName() const = 0;
    virtual const VersionRecord_t* GetVersionInfo() const = 0;
};

// A module backed by loaded code.
class ILinkedObject : public IModule {
public:
    // The dynamic loader's handle (dlopen's result), or null.
    virtual void* GetHandle() const = 0;
};

// A shared library of the family, with its entry routine.
class ISharedObject : public ILinkedObject {
public:
    // Stops EntryPoint from calling the entry routine, for good.
    virtual void DisableAppNotifications() = 0;
    virtual int EntryPoint(IModule* module, unsigned int reason, void* reserved) = 0;
};

// The host executable.
class IApp : public ILinkedObject {};

// A module's entry routine: (module, reason, reserved).
using EntryRoutine_t = int (*)(IModule*, unsigned int, void*);

class CModule : public IModule {
public:
    // A null file name gives an empty name.
    CModule(const CResourceData& data, const char* fileName);
    CModule(const CModule&) = delete;
    CModule& operator=(const CModule&) = delete;
    ~CModule() override;

    const char* LoadString(unsigned int id) const override;
    const char* GetModuleFileName() const override;
    const VersionRecord_t* GetVersionInfo() const override;

    const CResourceData* GetResourceData() const;
    // Installs a new resource manager over `data`.
    void SetResourceData(const CResourceData& data);
    void SetModuleFileName(const char* fileName);

private:
    std::unique_ptr<CResourceManager> m_resources;
    zulwin::CString m_fileName;
};

class CLinkedObject : public ILinkedObject {
public:
    CLinkedObject(const CResourceData& data, const char* fileName);
    // Closes the handle with dlclose when one is set.
    ~CLinkedObject() override;

    const char* LoadString(unsigned int id) const override { return m_module.LoadString(id); }
    const char* GetModuleFileName() const override { return m_module.GetModuleFileName(); }
    const VersionRecord_t* GetVersionInfo() const override { return m_module.GetVersionInfo(); }
    void* GetHandle() const override { return m_handle; }

    // Stores the handle without closing an earlier one.
    void SetHandle(void* handle) { m_handle = handle; }
    void SetModuleFileName(const char* fileName) { m_module.SetModuleFileName(fileName); }
    void SetResourceData(const CResourceData& data) { m_module.SetResourceData(data); }
    const CResourceData* GetResourceData() const { return m_module.GetResourceData(); }

private:
    CModule m_module;
    void* m_handle = nullptr;
};

class CSharedObject : public ISharedObject {
public:
    // With a file name, opens a second reference on that file (dlopen, RTLD_LAZY) and holds it
    // for the life of the object; a failed dlopen leaves the handle null.
    CSharedObject(EntryRoutine_t entry, const CResourceData& data, const char* fileName);
    ~CSharedObject() override;

    const char* LoadString(unsigned int id) const override { return m_linked.LoadString(id); }
    const char* GetModuleFileName() const override { return m_linked.GetModuleFileName(); }
    const VersionRecord_t* GetVersionInfo() const override { return m_linked.GetVersionInfo(); }
    void* GetHandle() const override { return m_linked.GetHandle(); }

    void DisableAppNotifications() override { m_notify = false; }
    // Calls the entry routine with `module` (not this object) while notifications are enabled;
    // otherwise returns 0 without calling anything.
    int EntryPoint(IModule* module, unsigned int reason, void* reserved) override;

private:
    CLinkedObject m_linked;
    EntryRoutine_t m_entry;
    bool m_notify = true;
};

// Creates the shared object of the module that contains `entry` (found with dladdr; its file
// name made absolute and canonical) and registers it with the application object. Null when
// the loader cannot tell which file holds `entry`.
ISharedObject* CreateSharedObject(EntryRoutine_t entry, const CResourceData& data);
// Unregisters `obj` from the application object and deletes it; null is harmless.
void DestroySharedObject(ISharedObject* obj);

// This library's entry routine: 0 stores the module in the instance slot, fills the resources
// and calls InitLib; 1 calls ReleaseLib; 2 ThreadAttachLib; 3 ThreadDetachLib. Returns 1.
int DllMain(IModule* module, unsigned int reason, void* reserved);
// The load-time constructor and destructor of this library.
void init_dll();
void release_dll();
// Hooks of this library's entry routine; empty here.
void InitLib();
void ReleaseLib();
void ThreadAttachLib();
void ThreadDetachLib();

// For a module's entry routine: stops thread notifications to it. `module` must be the shared
// object the routine received. False for null.
bool DisableThreadLibCalls(IModule* module);

// This library's instance slot: its content (null before attach) and its address.
IModule* GetInstance();
void* _GetInstance();

// ---------------------------------------------------------------------------------------------
// Process services

// A recursive POSIX mutex. Construction failure throws zulplatform::CException(-1).
class CZULMutex {
public:
    CZULMutex();
    CZULMutex(const CZULMutex&) = delete;
    CZULMutex& operator=(const CZULMutex&) = delete;
    ~CZULMutex();
    bool Lock();
    bool Unlock();

private:
    pthread_mutex_t m_mutex;
};

// Installs the library's handler for `sig`, remembering the earlier action (a second request
// replaces the remembered action by the library's own). -1 when sigaction fails.
int _RequestSignal(int sig);
// Puts back the action remembered for `sig`; nothing when none is remembered.
void _ReleaseSignal(int sig);

// While it lives, SIGSEGV, SIGBUS, SIGILL and SIGFPE become a thrown int -1 at the faulting
// instruction, SIGTERM sets the termination flag, and SIGPIPE is ignored. Use one scope, from
// one thread, around the main loop. A catch sees such a fault only when the compiler kept it:
// build the code that may fault, and the code that catches, with -fnon-call-exceptions.
class CSignalScope {
public:
    CSignalScope();
    CSignalScope(const CSignalScope&) = delete;
    CSignalScope& operator=(const CSignalScope&) = delete;
    ~CSignalScope();
};

// True once SIGTERM arrived inside a CSignalScope; never reset.
bool IsTerminationRequested();

// Hardware concurrency, or 2 when unknown.
unsigned int GetCpuCount();
pid_t GetProcessID();
// The kernel thread id, cached per thread.
uint64_t GetCurrentThreadIdentifier();
// Always 0: nothing in the library sets it.
uint64_t GetTraceId();
// The first load-time constructor of the library; empty.
void PlatformExceptionInit();

// ---------------------------------------------------------------------------------------------
// Application object

// Handed unchanged to each shared object's entry routine as its reason.
enum AppNotification_t : unsigned int {
    AppProcessAttach = 0,
    AppProcessDetach = 1,
    AppThreadAttach = 2,
    AppThreadDetach = 3,
};

// The host executable as a module, and the registry of the family's loaded shared objects.
class CApp : public IApp {
public:
    CApp();
    CApp(const CApp&) = delete;
    CApp& operator=(const CApp&) = delete;
    ~CApp() override;

    const char* LoadString(unsigned int id) const override { return m_linked.LoadString(id); }
    const char* GetModuleFileName() const override { return m_linked.GetModuleFileName(); }
    const VersionRecord_t* GetVersionInfo() const override { return m_linked.GetVersionInfo(); }
    void* GetHandle() const override { return m_linked.GetHandle(); }

    // Start-up settings; not locked.
    void SetResourceData(const CResourceData& data) { m_linked.SetResourceData(data); }
    void SetSysResource(const IModule& module) { m_resourceModule = const_cast<IModule*>(&module); }
    IModule* GetSysResource() const { return m_resourceModule; }

    // Registry operations, each under the recursive registry lock. Duplicates are allowed.
    void AddSharedObject(ISharedObject* obj);
    void RemoveSharedObject(ISharedObject* obj);
    bool IsValidSharedObject(ISharedObject* obj) const;
    // Whether `module` is a registered shared object, comparing pointers only: safe to ask
    // about a module object that may no longer exist.
    bool IsRegisteredModule(const IModule* module) const;
    // Calls EntryPoint(obj, reason, nullptr) on every registered object in registration order,
    // holding the lock throughout. Registering or unregistering from inside is not supported.
    void NotifyApp(AppNotification_t reason);

    // Single-instance check through a locked pid file in the default application data
    // directory: true when another process holds the lock. Call once, at start-up.
    bool IsRunning();

private:
    CLinkedObject m_linked;
    IModule* m_resourceModule = nullptr;
    int m_pidFile = 0;
    mutable CZULMutex m_lock;
    std::vector<ISharedObject*> m_registry;
};

// The single application object, created on first use and destroyed at process exit.
IApp* GetAppInstance();
// GetAppInstance(), answering LoadString from `data` from now on. Call once from the host.
IApp* GenerateApp(const CResourceData& data);
void NotifyApp(AppNotification_t reason);
bool IsAppInstanceRunning();

// ---------------------------------------------------------------------------------------------
// Module paths

// The module's directory with its trailing "/"; empty when no name is known.
zulwin::CString GetModuleDir(IModule* module);
// The executable's directory with a trailing "/", and its file name. Computed once; call
// during start-up before threads use them.
const char* GetAppDir();
const char* GetExeName();

} // namespace zulplatform

// Every module of the family exports this: its module object (null before attach).
extern "C" zulplatform::IModule* GetModule();

namespace zulwin {

// The current resource module: the one set by AfxSetResourceHandle, else the application
// object.
zulplatform::IModule* AfxGetResourceHandle();
// A null module is ignored.
void AfxSetResourceHandle(zulplatform::IModule* module);
zulplatform::IModule* AfxGetInstanceHandle();

// Copies the module's text for `id` into `buffer` (at most size - 1 characters, always
// terminated); returns the number copied. 0 for a null buffer, size 0 or null module.
std::size_t LoadString(zulplatform::IModule* module, unsigned int id, char* buffer,
                       std::size_t size);
bool DisableThreadLibraryCalls(zulplatform::IModule* module);

// Loads a module of the family by name (".so" appended when the base name has no dot) and
// returns its GetModule object; null when it cannot be loaded or exports no module. A name
// ending in ".out" denotes the executable: the application object when its file name
// contains that name, else null.
zulplatform::IModule* LoadLibrary(const char* name);
zulplatform::IModule* LoadLibraryEx(const char* name, void* reserved, unsigned int flags);
// The symbol in the module (the main program for null); null when not found.
void* GetProcAddress(zulplatform::IModule* module, const char* symbol);
// Drops the reference LoadLibrary took. False for modules not registered with the
// application object and for the application object itself.
bool FreeLibrary(zulplatform::IModule* module);
// The module of that name (the application object for null), leaving the loader's reference
// count as it found it.
zulplatform::IModule* GetModuleHandle(const char* name);
// The module's file name (the executable's full path for null), truncated to size - 1
// characters and terminated; returns the number of characters copied.
std::size_t GetModuleFileName(zulplatform::IModule* module, char* buffer, std::size_t size);
// Stores the mode and returns it (the new mode, not the previous one).
unsigned int SetErrorMode(unsigned int mode);
// The process-wide cache of the executable's full path.
CString& _GetAppFullPath();

} // namespace zulwin

// A module's version record as owned strings and numbers.
class CVersionInfo {
public:
    // The record of `module` (the application object for null). A module that is not an
    // ILinkedObject leaves the fields cleared.
    explicit CVersionInfo(zulplatform::IModule* module);
    explicit CVersionInfo(std::nullptr_t)
        : CVersionInfo(static_cast<zulplatform::IModule*>(nullptr)) {}
    // The record of the module GetModuleHandle(moduleName) finds.
    explicit CVersionInfo(const char* moduleName);

    void _Clear();
    // "V%d.%d.%d.%d" of the file version, plus " (Debug)" for a debug build.
    void Format(zulwin::CString& out) const;

    bool m_bDebug = false;
    uint16_t m_wFileVersion[4] = {};
    uint16_t m_wProductVersion[3] = {};
    zulwin::CString m_strFileDescription;
    zulwin::CString m_strReserved; // no constructor fills it
    zulwin::CString m_strCompanyName;
    zulwin::CString m_strProductName;
    zulwin::CString m_strInternalName;
    zulwin::CString m_strLegalCopyright;
    int64_t m_tBuildTime = 0;
};
