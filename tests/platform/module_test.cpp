// Module objects, their registration and notifications, and the module protocol as real
// plug-ins follow it.
#include <platform/platform.h>

#include "support/child_process.h"
#include "support/scratch.h"

#include <gtest/gtest.h>

#include <string>
#include <sys/stat.h>

namespace {

using zulplatform::IModule;

std::string g_calls; // "<module's string 1><reason> " a call

int RecordingEntry(IModule* module, unsigned reason, void*) {
    g_calls += module->LoadString(1) + std::to_string(reason) + " ";
    return 5;
}

TEST(SharedObject, EntryPointAndNotifications) {
    static zulplatform::CResourceData a, b;
    a.SetStringTable({{1, "a"}});
    b.SetStringTable({{1, "b"}});
    zulplatform::CSharedObject objA(RecordingEntry, a, nullptr);
    zulplatform::CSharedObject objB(RecordingEntry, b, "/no/such/library.so");
    // The routine receives the module argument, not the object it was invoked on.
    EXPECT_EQ(objA.EntryPoint(&objB, 9, nullptr), 5);
    auto* app = static_cast<zulplatform::CApp*>(zulplatform::GetAppInstance());
    for (zulplatform::ISharedObject* obj : {&objA, &objB, &objB})
        app->AddSharedObject(obj);
    app->NotifyApp(zulplatform::AppThreadAttach); // in registration order
    app->RemoveSharedObject(&objB);               // one of its two entries
    EXPECT_TRUE(zulwin::DisableThreadLibraryCalls(&objA));
    zulplatform::NotifyApp(zulplatform::AppThreadDetach);
    EXPECT_EQ(g_calls, "b9 a2 b2 b2 b3 ");
    app->RemoveSharedObject(&objA);
    app->RemoveSharedObject(&objB);
}

TEST(SamplePlugin, LoadsRegistersAndReceivesNotifications) {
    IModule* plugin = zulwin::LoadLibrary(SAMPLE_PLUGIN_PATH);
    ASSERT_NE(plugin, nullptr);
    auto notifications = reinterpret_cast<unsigned (*)(unsigned)>(
        zulwin::GetProcAddress(plugin, "sample_plugin_notifications"));
    ASSERT_NE(notifications, nullptr);
    EXPECT_EQ(notifications(zulplatform::AppProcessAttach), 1u); // by its own constructor, once
    unsigned const before = notifications(zulplatform::AppThreadAttach);
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
    for (IModule* m : {a, b}) {
        EXPECT_EQ(m->LoadString(1), std::string("twin ") + (m == a ? "a" : "b"));
        auto attaches =
            reinterpret_cast<unsigned (*)()>(zulwin::GetProcAddress(m, "twin_attaches"));
        auto self = reinterpret_cast<IModule* (*)()>(zulwin::GetProcAddress(m, "twin_this_module"));
        ASSERT_TRUE(attaches != nullptr && self != nullptr);
        EXPECT_EQ(attaches(), 1u); // its own routine, once, with its own slot already set
        EXPECT_EQ(self(), m);
        EXPECT_TRUE(zulwin::FreeLibrary(m));
    }
}

// Detach and unregistration happen when the plug-in's load-time destructor runs, which its own
// reference on its file delays to process exit: watch a child process exit.
TEST(SamplePlugin, DetachesAndUnregistersAtExit) {
    test_support::ScratchDir scratch;
    std::string const evidence = scratch / "log", plugin = SAMPLE_PLUGIN_PATH;
    int status = 0;
    EXPECT_EQ(test_support::RunAndCapture({PLATFORM_PROBE_PATH, "load", plugin}, &status,
                                          {"SAMPLE_PLUGIN_EVIDENCE=" + evidence}),
              "file=" + plugin + "\nregistered=1\n");
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    EXPECT_EQ(test_support::ReadFile(evidence), "attach\ndetach\nunregistered\n");
}

// The single-instance check between real processes of one executable.
TEST(Application, SecondInstanceIsDetected) {
    std::string const probe = PLATFORM_PROBE_PATH;
    mkdir((probe.substr(0, probe.rfind('/')) + "/user_data").c_str(), 0770);
    test_support::ChildProcess first({PLATFORM_PROBE_PATH, "instance"});
    EXPECT_EQ(first.ReadLine(), "running=0");
    test_support::ChildProcess second({PLATFORM_PROBE_PATH, "instance"});
    EXPECT_EQ(second.ReadLine(), "running=1");
}

} // namespace
