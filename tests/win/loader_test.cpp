// The loader calls of the compatibility layer on real shared objects, version information and
// the executable's and modules' paths.
#include <platform/platform.h>

#include "support/child_process.h"

#include <gtest/gtest.h>

#include <dlfcn.h>

#include <string>

namespace {

using zulplatform::IModule;

TEST(LoadLibrary, NamingRules) {
    std::string dir = SAMPLE_PLUGIN_PATH;
    dir.erase(dir.rfind('/'));
    IModule* plugin = zulwin::LoadLibrary(SAMPLE_PLUGIN_PATH);
    ASSERT_NE(plugin, nullptr);
    // No dot in the base name: ".so" is appended (the dots of the directories do not count).
    EXPECT_EQ(zulwin::LoadLibrary((dir + "/./libsample_plugin").c_str()), plugin);
    // A versioned name is opened unchanged: its last dot part is the version number.
    std::string const versioned = dir + "/libsample_plugin.so.2";
    EXPECT_EQ(zulwin::LoadLibraryEx(versioned.c_str(), nullptr, 0x8), plugin);
    EXPECT_TRUE(zulwin::FreeLibrary(plugin) && zulwin::FreeLibrary(plugin) &&
                zulwin::FreeLibrary(plugin));
}

TEST(LoadLibrary, RefusesWhatIsNoModuleAndClosesIt) {
    for (const char* path : {NULL_MODULE_PATH, THROWING_MODULE_PATH}) {
        EXPECT_EQ(zulwin::LoadLibrary(path), nullptr);
        EXPECT_EQ(dlopen(path, RTLD_LAZY | RTLD_NOLOAD), nullptr); // closed again
    }
    EXPECT_EQ(zulwin::LoadLibrary("libm.so.6"), nullptr); // loads, but exports no module
}

TEST(LoadLibrary, ExecutableNames) {
    // ".out" in any case names an executable: only the running one, found in its file name.
    EXPECT_EQ(test_support::RunAndCapture({PLATFORM_PROBE_OUT_PATH, "out", "platform_probe.OUT"}),
              "app\n");
    EXPECT_EQ(test_support::RunAndCapture({PLATFORM_PROBE_OUT_PATH, "out", "other.out"}), "null\n");
}

TEST(LoadLibrary, GetModuleHandleLeavesTheReferenceCount) {
    // Every open GetModuleHandle makes is closed again; LoadLibrary's open is what FreeLibrary
    // closes.
    EXPECT_EQ(
        test_support::RunAndCapture({REFCOUNT_PROBE_PATH, SAMPLE_PLUGIN_PATH}),
        "GetModuleHandle x3: opens=3 closes=3\nLoadLibrary+FreeLibrary: 1 1 opens=1 closes=1\n");
}

TEST(FreeLibrary, OnlyRegisteredModules) {
    static zulplatform::CResourceData data;
    zulplatform::CSharedObject loose(nullptr, data, SAMPLE_PLUGIN_PATH); // never registered
    EXPECT_FALSE(zulwin::FreeLibrary(zulplatform::GetAppInstance()) || zulwin::FreeLibrary(&loose));
}

TEST(ModuleFileName, BuffersAndPaths) {
    char full[4096], buf[5];
    zulwin::GetModuleFileName(nullptr, full, sizeof full);
    EXPECT_EQ(zulwin::GetModuleFileName(nullptr, buf, sizeof buf), 4u);
    EXPECT_EQ(std::string(buf), std::string(full, 4)); // a terminated 4-character prefix
    // SetErrorMode returns the new mode, not the previous one.
    EXPECT_EQ(zulwin::SetErrorMode(3), 3u);
}

} // namespace
