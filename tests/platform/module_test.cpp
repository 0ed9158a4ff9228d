// Resources, module objects, the library's own module and the module protocol as a real
// plug-in follows it.
#include <platform/platform.h>

#include "support/child_process.h"
#include "support/scratch.h"

#include <gtest/gtest.h>

#include <dlfcn.h>

#include <cstdlib>
#include <string>
#include <sys/stat.h>
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
    IModule* own = GetModule();                              // the library's own module
    EXPECT_STREQ(own->LoadString(110), "Seek failed on %s"); // no final full stop, as always
    EXPECT_STREQ(own->LoadString(116), "");
    EXPECT_GT(own->GetVersionInfo()->tBuildTime, 1600000000);
    EXPECT_EQ(CResourceData().GetVersionInfo()->szFileVersion, nullptr);

    static CResourceData data;
    data.SetStringTable({{7, "first"}, {8, "Hello, wide world"}, {7, "second"}, {9, nullptr}});
    zulplatform::CModule module(data, "/opt/x/strings.lang");
    EXPECT_STREQ(module.LoadString(7), "first"); // the earlier of two equal ids
    EXPECT_STREQ(module.LoadString(9), "");
    char buf[5];
    EXPECT_EQ(zulwin::LoadString(&module, 8, buf, sizeof buf), 4u);
    EXPECT_STREQ(buf, "Hell");
    EXPECT_EQ(zulwin::LoadString(nullptr, 8, buf, sizeof buf) +
                  zulwin::LoadString(&module, 8, nullptr, 10) +
                  zulwin::LoadString(&module, 8, buf, 0),
              0u);
    zulwin::CString s;
    EXPECT_TRUE(zulplatform::LoadString(s, &module, 8) && s == "Hello, wide world");
    EXPECT_FALSE(zulplatform::LoadString(s, &module, 99) || zulplatform::LoadString(s, nullptr, 8));

    // Only a lower-case ".lang" ending marks localised resources.
    zulplatform::CModule caps(data, "/opt/x/strings.LANG"), bare(data, "lang");
    EXPECT_TRUE(zulplatform::HasLocalizedResources(&module) &&
                !zulplatform::IsMappedImage(&module));
    EXPECT_TRUE(!zulplatform::HasLocalizedResources(&caps) && zulplatform::IsMappedImage(&caps));
    EXPECT_FALSE(zulplatform::HasLocalizedResources(&bare) ||
                 zulplatform::HasLocalizedResources(nullptr) ||
                 zulplatform::IsMappedImage(nullptr));
}

// The library's own module and the program's: registered, absolute file names, own handles.
TEST(SharedObject, LibraryAndProgramModules) {
    auto* self = dynamic_cast<ISharedObject*>(GetModule());
    ASSERT_NE(self, nullptr);
    EXPECT_TRUE(App()->IsValidSharedObject(self));
    EXPECT_EQ(std::string(self->GetModuleFileName()).rfind("/", 0), 0u);
    EXPECT_NE(std::string(self->GetModuleFileName()).find("libplatform.so"), std::string::npos);
    EXPECT_EQ(dlsym(self->GetHandle(), "GetModule"), reinterpret_cast<void*>(&GetModule));

    static CResourceData data;
    ISharedObject* obj =
        zulplatform::CreateSharedObject([](IModule*, unsigned, void*) { return 1; }, data);
    ASSERT_NE(obj, nullptr);
    // The entry routine lives in this test program: its file is the program's own.
    EXPECT_NE(std::string(obj->GetModuleFileName()).find("/platform_tests"), std::string::npos);
    EXPECT_STREQ(obj->GetModuleFileName(), App()->GetModuleFileName());
    EXPECT_NE(App()->GetHandle(), nullptr);
    EXPECT_TRUE(App()->IsValidSharedObject(obj));
    zulplatform::DestroySharedObject(obj);
    EXPECT_FALSE(App()->IsValidSharedObject(obj));
}

TEST(LibraryModule, ResourceHandle) {
    EXPECT_EQ(zulwin::AfxGetInstanceHandle(), App());
    // Through the current resource module: the host's table once it supplies one.
    static CResourceData host, empty;
    host.SetStringTable({{1, "host text %d"}});
    EXPECT_EQ(zulplatform::GenerateApp(host), App());
    EXPECT_EQ(zulwin::AfxGetResourceHandle(), App());
    zulwin::CString s;
    s.Format(1u, 42);
    EXPECT_EQ(s, "host text 42");
    EXPECT_FALSE(s.LoadString(101));
    zulwin::AfxSetResourceHandle(GetModule());
    zulwin::AfxSetResourceHandle(nullptr); // ignored
    EXPECT_TRUE(s.LoadString(101));
    EXPECT_EQ(s, "No error occurred.");
    App()->SetSysResource(*App());
    zulplatform::GenerateApp(empty);
}

std::vector<std::string>* g_calls = nullptr;

int RecordingEntry(IModule* module, unsigned reason, void*) {
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
    // The routine receives the module argument, not the object it was invoked on.
    EXPECT_EQ(objA.EntryPoint(&objB, 9, nullptr), 5);
    EXPECT_EQ(calls, std::vector<std::string>{"b:9"});

    CApp* app = App();
    for (ISharedObject* obj : std::initializer_list<ISharedObject*>{&objB, &objA, &objB, nullptr})
        app->AddSharedObject(obj);
    calls.clear();
    app->NotifyApp(zulplatform::AppThreadAttach); // in registration order; a null entry is skipped
    EXPECT_EQ(calls, (std::vector<std::string>{"b:2", "a:2", "b:2"}));
    app->RemoveSharedObject(&objB); // the first entry only
    EXPECT_TRUE(app->IsValidSharedObject(&objB) && app->IsValidSharedObject(nullptr));
    EXPECT_FALSE(app->IsRegisteredModule(nullptr));
    EXPECT_FALSE(zulplatform::DisableThreadLibCalls(nullptr));
    EXPECT_TRUE(zulwin::DisableThreadLibraryCalls(&objA));
    calls.clear();
    zulplatform::NotifyApp(zulplatform::AppThreadDetach);
    app->NotifyApp(zulplatform::AppProcessAttach);
    EXPECT_EQ(calls, (std::vector<std::string>{"b:3", "b:0"}));
    for (ISharedObject* obj : std::initializer_list<ISharedObject*>{&objA, &objB, &objB, nullptr})
        app->RemoveSharedObject(obj);
    EXPECT_FALSE(app->IsValidSharedObject(&objA) || app->IsValidSharedObject(&objB) ||
                 app->IsValidSharedObject(nullptr));
    zulplatform::DestroySharedObject(nullptr);
    g_calls = nullptr;
}

TEST(SamplePlugin, LoadsRegistersAndReceivesNotifications) {
    IModule* plugin = zulwin::LoadLibrary(SAMPLE_PLUGIN_PATH);
    ASSERT_NE(plugin, nullptr);
    EXPECT_TRUE(App()->IsValidSharedObject(dynamic_cast<ISharedObject*>(plugin)));
    EXPECT_STREQ(plugin->GetModuleFileName(), SAMPLE_PLUGIN_PATH);
    EXPECT_STREQ(plugin->LoadString(1), "Sample plug-in");
    auto notifications = reinterpret_cast<unsigned (*)(unsigned)>(
        zulwin::GetProcAddress(plugin, "sample_plugin_notifications"));
    auto disable = reinterpret_cast<int (*)()>(
        zulwin::GetProcAddress(plugin, "sample_plugin_disable_thread_calls"));
    ASSERT_TRUE(notifications != nullptr && disable != nullptr);
    EXPECT_EQ(notifications(zulplatform::AppProcessAttach), 1u); // by its own constructor, once
    unsigned const before = notifications(zulplatform::AppThreadAttach);
    zulplatform::NotifyApp(zulplatform::AppThreadAttach);
    EXPECT_EQ(notifications(zulplatform::AppThreadAttach), before + 1);
    EXPECT_EQ(disable(), 1);
    zulplatform::NotifyApp(zulplatform::AppThreadAttach);
    EXPECT_EQ(notifications(zulplatform::AppThreadAttach), before + 1);
    EXPECT_TRUE(zulwin::FreeLibrary(plugin));
}

// Two modules written with PLATFORM_MODULE_ENTRY from one source: the same function names in
// both, built without hidden visibility. Each reaches its own entry routine, resources and slot.
TEST(ModuleEntry, TwinModulesKeepTheirOwnProtocol) {
    IModule* a = zulwin::LoadLibrary(TWIN_MODULE_A_PATH);
    IModule* b = zulwin::LoadLibrary(TWIN_MODULE_B_PATH);
    ASSERT_TRUE(a != nullptr && b != nullptr && a != b);
    EXPECT_STREQ(a->LoadString(1), "twin a");
    EXPECT_STREQ(b->LoadString(1), "twin b");
    for (IModule* m : {a, b}) {
        auto attaches =
            reinterpret_cast<unsigned (*)()>(zulwin::GetProcAddress(m, "twin_attaches"));
        auto self = reinterpret_cast<IModule* (*)()>(zulwin::GetProcAddress(m, "twin_this_module"));
        ASSERT_TRUE(attaches != nullptr && self != nullptr);
        EXPECT_EQ(attaches(), 1u); // its own routine, once, with its own slot already set
        EXPECT_EQ(self(), m);
        EXPECT_TRUE(zulwin::FreeLibrary(m));
    }
    EXPECT_NE(GetModule(), a); // the library's own export is untouched
}

// Detach and unregistration happen when the plug-in's load-time destructor runs, which its own
// reference on its file delays to process exit: watch a child process exit.
TEST(SamplePlugin, DetachesAndUnregistersAtExit) {
    test_support::ScratchDir dir;
    std::string const evidence = dir / "log";
    int status = 0;
    EXPECT_EQ(test_support::RunAndCapture({PLATFORM_PROBE_PATH, "load", SAMPLE_PLUGIN_PATH},
                                          &status, {"SAMPLE_PLUGIN_EVIDENCE=" + evidence}),
              std::string("file=") + SAMPLE_PLUGIN_PATH + "\nregistered=1\n");
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    EXPECT_EQ(test_support::ReadFile(evidence), "attach\ndetach\nunregistered\n");
}

// A module loaded by a relative name is stored as an absolute, canonical path.
TEST(SamplePlugin, RelativeLoadNameBecomesCanonical) {
    std::string const plugin = SAMPLE_PLUGIN_PATH, dir = Dir(plugin);
    test_support::CwdGuard cwd;
    ASSERT_EQ(chdir(dir.c_str()), 0);
    std::string const relative =
        "../" + dir.substr(Dir(dir).size() + 1) + "/./" + plugin.substr(dir.size() + 1);
    EXPECT_EQ(test_support::RunAndCapture({PLATFORM_PROBE_PATH, "load", relative}),
              "file=" + plugin + "\nregistered=1\n");
}

// The single-instance check between real processes of one executable.
TEST(Application, SecondInstanceIsDetected) {
    mkdir((Dir(PLATFORM_PROBE_PATH) + "/user_data").c_str(), 0770);
    {
        test_support::ChildProcess first({PLATFORM_PROBE_PATH, "instance"});
        ASSERT_TRUE(first.Started());
        EXPECT_EQ(first.ReadLine(), "running=0");
        test_support::ChildProcess second({PLATFORM_PROBE_PATH, "instance"});
        EXPECT_EQ(second.ReadLine(), "running=1");
    }
    test_support::ChildProcess third({PLATFORM_PROBE_PATH, "instance"});
    EXPECT_EQ(third.ReadLine(), "running=0");
}

} // namespace
