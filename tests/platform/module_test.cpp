// Resources, module objects, the library's own module and the module protocol as a real
// plug-in follows it.
#include <platform/platform.h>

#include "support/child_process.h"
#include "support/scratch.h"

#include <gtest/gtest.h>

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <vector>

namespace {

using zulplatform::CApp;
using zulplatform::CResourceData;
using zulplatform::IModule;
using zulplatform::ISharedObject;

CApp* App() {
    return static_cast<CApp*>(zulplatform::GetAppInstance());
}

std::string Dir(const std::string& path) {
    return path.substr(0, path.rfind('/'));
}

TEST(Resources, TablesAndLookups) {
    IModule* own = GetModule(); // the library's own module
    ASSERT_NE(own, nullptr);
    EXPECT_STREQ(own->LoadString(101), "No error occurred.");
    EXPECT_STREQ(own->LoadString(110), "Seek failed on %s"); // no final full stop, as always
    EXPECT_STREQ(own->LoadString(100), "");
    EXPECT_STREQ(own->LoadString(116), "");
    const zulplatform::VersionRecord_t* v = own->GetVersionInfo();
    EXPECT_STREQ(v->szFileVersion, "1.1.271.0");
    EXPECT_STREQ(v->szInternalName, "libplatform");
    EXPECT_EQ(v->szReserved, nullptr);
    EXPECT_TRUE(v->wFileVersion[2] == 271 && v->wProductVersion[0] == 1);
    EXPECT_GT(v->tBuildTime, 1600000000);
    EXPECT_EQ(CResourceData().GetVersionInfo()->szFileVersion, nullptr);

    static CResourceData data;
    data.SetStringTable({{7, "first"}, {8, "Hello, wide world"}, {7, "second"}});
    zulplatform::CModule module(data, "/opt/x/strings.lang");
    EXPECT_STREQ(module.LoadString(7), "first"); // the earlier of two equal ids
    EXPECT_STREQ(module.LoadString(99), "");
    char buf[5];
    EXPECT_EQ(zulwin::LoadString(&module, 8, buf, sizeof buf), 4u);
    EXPECT_STREQ(buf, "Hell");
    char big[64];
    EXPECT_EQ(zulwin::LoadString(&module, 8, big, sizeof big), 17u);
    EXPECT_STREQ(big, "Hello, wide world");
    EXPECT_EQ(zulwin::LoadString(nullptr, 8, big, sizeof big) +
                  zulwin::LoadString(&module, 8, nullptr, 10) +
                  zulwin::LoadString(&module, 8, big, 0),
              0u);
    zulwin::CString s;
    EXPECT_TRUE(zulplatform::LoadString(s, &module, 8) && s == "Hello, wide world");
    EXPECT_FALSE(zulplatform::LoadString(s, &module, 99) || zulplatform::LoadString(s, nullptr, 8));

    zulplatform::CModule caps(data, "/opt/x/strings.LANG");
    EXPECT_TRUE(zulplatform::HasLocalizedResources(&module) &&
                !zulplatform::IsMappedImage(&module));
    EXPECT_TRUE(!zulplatform::HasLocalizedResources(&caps) && zulplatform::IsMappedImage(&caps));
    EXPECT_FALSE(zulplatform::HasLocalizedResources(nullptr));
    EXPECT_STREQ(zulplatform::CModule(data, nullptr).GetModuleFileName(), "");
}

TEST(LibraryModule, RegisteredAtLoad) {
    IModule* self = GetModule();
    ASSERT_NE(self, nullptr);
    auto* shared = dynamic_cast<ISharedObject*>(self);
    ASSERT_NE(shared, nullptr);
    EXPECT_TRUE(App()->IsValidSharedObject(shared));
    // Its own file, absolute, and a handle of its own on it.
    std::string const file = self->GetModuleFileName();
    EXPECT_EQ(file.front(), '/');
    EXPECT_NE(file.find("libplatform.so"), std::string::npos);
    EXPECT_NE(shared->GetHandle(), nullptr);
    EXPECT_EQ(dlsym(shared->GetHandle(), "GetModule"), reinterpret_cast<void*>(&GetModule));
}

TEST(LibraryModule, ResourceHandle) {
    EXPECT_EQ(zulwin::AfxGetResourceHandle(), App());
    EXPECT_EQ(zulwin::AfxGetInstanceHandle(), App());

    // Through the current resource module: the host's table once it supplies one.
    static CResourceData host;
    host.SetStringTable({{1, "host text %d"}});
    EXPECT_EQ(zulplatform::GenerateApp(host), App());
    zulwin::CString s;
    EXPECT_TRUE(s.LoadString(1));
    EXPECT_EQ(s, "host text %d");
    s.Format(1u, 42);
    EXPECT_EQ(s, "host text 42");
    s.AppendFormat(1u, 7);
    EXPECT_EQ(s, "host text 42host text 7");
    EXPECT_FALSE(s.LoadString(101));

    zulwin::AfxSetResourceHandle(GetModule());
    EXPECT_TRUE(s.LoadString(101));
    EXPECT_EQ(s, "No error occurred.");
    zulwin::AfxSetResourceHandle(nullptr); // ignored
    EXPECT_EQ(zulwin::AfxGetResourceHandle(), GetModule());
    App()->SetSysResource(*App());
    static CResourceData empty;
    zulplatform::GenerateApp(empty);
}

std::vector<std::string>* g_calls = nullptr;

int RecordingEntry(IModule* module, unsigned reason, void*) {
    if (g_calls != nullptr)
        g_calls->push_back(std::string(module->LoadString(1)) + ":" + std::to_string(reason));
    return 5;
}

TEST(SharedObject, EntryPointAndNotifications) {
    static CResourceData a, b;
    a.SetStringTable({{1, "a"}});
    b.SetStringTable({{1, "b"}});
    std::vector<std::string> calls;
    g_calls = &calls;
    zulplatform::CSharedObject objA(RecordingEntry, a, nullptr);
    zulplatform::CSharedObject objB(RecordingEntry, b, "/no/such/library.so");
    EXPECT_EQ(objB.GetHandle(), nullptr); // a failed dlopen is accepted
    EXPECT_STREQ(objB.GetModuleFileName(), "/no/such/library.so");

    // The routine receives the module argument, not the object it was invoked on.
    EXPECT_EQ(objA.EntryPoint(&objB, 9, nullptr), 5);
    EXPECT_EQ(calls, std::vector<std::string>{"b:9"});

    CApp* app = App();
    app->AddSharedObject(&objB);
    app->AddSharedObject(&objA);
    app->AddSharedObject(&objB);
    calls.clear();
    app->NotifyApp(zulplatform::AppThreadAttach);
    EXPECT_EQ(calls, (std::vector<std::string>{"b:2", "a:2", "b:2"}));

    app->RemoveSharedObject(&objB); // removes the first entry only
    EXPECT_TRUE(app->IsValidSharedObject(&objB));
    calls.clear();
    zulplatform::NotifyApp(zulplatform::AppThreadDetach);
    EXPECT_EQ(calls, (std::vector<std::string>{"a:3", "b:3"}));

    EXPECT_FALSE(zulplatform::DisableThreadLibCalls(nullptr));
    EXPECT_TRUE(zulwin::DisableThreadLibraryCalls(&objA));
    calls.clear();
    app->NotifyApp(zulplatform::AppThreadAttach);
    app->NotifyApp(zulplatform::AppProcessAttach);
    EXPECT_EQ(calls, (std::vector<std::string>{"b:2", "b:0"}));

    app->RemoveSharedObject(&objA);
    app->RemoveSharedObject(&objB);
    app->RemoveSharedObject(&objB); // not registered: nothing
    EXPECT_FALSE(app->IsValidSharedObject(&objA));
    EXPECT_FALSE(app->IsValidSharedObject(&objB));
    EXPECT_FALSE(app->IsValidSharedObject(nullptr));
    app->AddSharedObject(nullptr);
    EXPECT_TRUE(app->IsValidSharedObject(nullptr));
    app->NotifyApp(zulplatform::AppThreadAttach); // a null entry has nobody to notify
    EXPECT_FALSE(app->IsRegisteredModule(nullptr));
    app->RemoveSharedObject(nullptr);
    zulplatform::DestroySharedObject(nullptr);
    g_calls = nullptr;
}

TEST(SharedObject, CreateAndDestroy) {
    static CResourceData data;
    ISharedObject* obj = zulplatform::CreateSharedObject(RecordingEntry, data);
    ASSERT_NE(obj, nullptr);
    // The entry routine lives in this test program: its file is the program's own.
    std::string const file = obj->GetModuleFileName();
    EXPECT_EQ(file.front(), '/');
    EXPECT_NE(file.find("platform_tests"), std::string::npos);
    // The application object is the executable's module, with a handle of its own.
    EXPECT_EQ(file, App()->GetModuleFileName());
    EXPECT_NE(App()->GetHandle(), nullptr);
    EXPECT_TRUE(App()->IsValidSharedObject(obj));
    zulplatform::DestroySharedObject(obj);
    EXPECT_FALSE(App()->IsValidSharedObject(reinterpret_cast<ISharedObject*>(obj)));
}

// --- The sample plug-in -------------------------------------------------------------------

using NotificationsFn = unsigned (*)(unsigned);

TEST(SamplePlugin, LoadsRegistersAndReceivesNotifications) {
    IModule* plugin = zulwin::LoadLibrary(SAMPLE_PLUGIN_PATH);
    ASSERT_NE(plugin, nullptr);
    auto* shared = dynamic_cast<ISharedObject*>(plugin);
    ASSERT_NE(shared, nullptr);
    EXPECT_TRUE(App()->IsValidSharedObject(shared));
    EXPECT_STREQ(plugin->GetModuleFileName(), SAMPLE_PLUGIN_PATH);
    EXPECT_STREQ(plugin->LoadString(1), "Sample plug-in");
    EXPECT_STREQ(plugin->GetVersionInfo()->szFileVersion, "2.3.4.5");

    auto notifications = reinterpret_cast<NotificationsFn>(
        zulwin::GetProcAddress(plugin, "sample_plugin_notifications"));
    auto disable = reinterpret_cast<int (*)()>(
        zulwin::GetProcAddress(plugin, "sample_plugin_disable_thread_calls"));
    ASSERT_NE(notifications, nullptr);
    ASSERT_NE(disable, nullptr);
    EXPECT_EQ(notifications(0), 1u); // attached once, by its own constructor

    unsigned const before = notifications(2);
    zulplatform::NotifyApp(zulplatform::AppThreadAttach);
    EXPECT_EQ(notifications(2), before + 1);
    EXPECT_EQ(disable(), 1);
    zulplatform::NotifyApp(zulplatform::AppThreadAttach);
    EXPECT_EQ(notifications(2), before + 1);

    char greeting[64];
    auto greet = reinterpret_cast<int (*)(const char*, char*, unsigned long)>(
        zulwin::GetProcAddress(plugin, "sample_plugin_greet"));
    ASSERT_NE(greet, nullptr);
    greet("tester", greeting, sizeof greeting);
    EXPECT_STREQ(greeting, "Hello, tester, from the sample plug-in.");
    EXPECT_TRUE(zulwin::FreeLibrary(plugin));
}

// Two modules written with PLATFORM_MODULE_ENTRY from one source: the same function names in
// both, built without hidden visibility. Each reaches its own entry routine, resources and slot.
TEST(ModuleEntry, TwinModulesKeepTheirOwnProtocol) {
    IModule* a = zulwin::LoadLibrary(TWIN_MODULE_A_PATH);
    IModule* b = zulwin::LoadLibrary(TWIN_MODULE_B_PATH);
    ASSERT_TRUE(a != nullptr && b != nullptr);
    EXPECT_NE(a, b);
    EXPECT_STREQ(a->LoadString(1), "twin a");
    EXPECT_STREQ(b->LoadString(1), "twin b");
    for (IModule* m : {a, b}) {
        auto attaches =
            reinterpret_cast<unsigned (*)()>(zulwin::GetProcAddress(m, "twin_attaches"));
        auto self = reinterpret_cast<IModule* (*)()>(zulwin::GetProcAddress(m, "twin_this_module"));
        ASSERT_TRUE(attaches != nullptr && self != nullptr);
        EXPECT_EQ(attaches(), 1u); // its own routine, once, with its own slot already set
        EXPECT_EQ(self(), m);
        EXPECT_TRUE(App()->IsValidSharedObject(dynamic_cast<ISharedObject*>(m)));
        EXPECT_TRUE(zulwin::FreeLibrary(m));
    }
    EXPECT_NE(GetModule(), a); // the library's own export is untouched
}

// Detach and unregistration happen when the plug-in's load-time destructor runs, which its own
// reference on its file delays to process exit: watch a child process exit.
TEST(SamplePlugin, DetachesAndUnregistersAtExit) {
    test_support::ScratchDir dir;
    std::string const evidence = dir / "log";
    setenv("SAMPLE_PLUGIN_EVIDENCE", evidence.c_str(), 1);
    int status = 0;
    std::string const out =
        test_support::RunAndCapture({PLATFORM_PROBE_PATH, "load", SAMPLE_PLUGIN_PATH}, &status);
    unsetenv("SAMPLE_PLUGIN_EVIDENCE");
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    EXPECT_NE(out.find("registered=1"), std::string::npos) << out;
    EXPECT_EQ(test_support::ReadFile(evidence), "attach\ndetach\nunregistered\n");
}

// A module reported relative to the current directory is stored as an absolute, canonical
// path.
TEST(SamplePlugin, RelativeLoadNameBecomesCanonical) {
    std::string const plugin = SAMPLE_PLUGIN_PATH;
    std::string const dir = Dir(plugin);
    std::string const base = plugin.substr(dir.size() + 1);
    test_support::CwdGuard cwd;
    ASSERT_EQ(chdir(dir.c_str()), 0);
    std::string const viaDot =
        test_support::RunAndCapture({PLATFORM_PROBE_PATH, "load", "./" + base});
    std::string const viaParent = test_support::RunAndCapture(
        {PLATFORM_PROBE_PATH, "load", "../" + dir.substr(Dir(dir).size() + 1) + "/./" + base});
    EXPECT_EQ(viaDot, "file=" + plugin + "\nregistered=1\n");
    EXPECT_EQ(viaParent, "file=" + plugin + "\nregistered=1\n");
}

// The single-instance check between real processes of one executable.
TEST(Application, SecondInstanceIsDetected) {
    std::string const dataDir = Dir(PLATFORM_PROBE_PATH) + "/user_data";
    mkdir(dataDir.c_str(), 0770);
    {
        test_support::ChildProcess first({PLATFORM_PROBE_PATH, "instance"});
        ASSERT_TRUE(first.Started());
        EXPECT_EQ(first.ReadLine(), "running=0");
        {
            test_support::ChildProcess second({PLATFORM_PROBE_PATH, "instance"});
            EXPECT_EQ(second.ReadLine(), "running=1");
        }
        first.CloseInput();
        first.Wait();
    }
    test_support::ChildProcess third({PLATFORM_PROBE_PATH, "instance"});
    EXPECT_EQ(third.ReadLine(), "running=0");
}

} // namespace
