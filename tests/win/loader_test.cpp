// The loader calls of the compatibility layer on real shared objects, version information and
// the executable's and modules' paths.
#include <platform/platform.h>

#include "support/child_process.h"

#include <gtest/gtest.h>

#include <dlfcn.h>

#include <string>

namespace {

using zulplatform::IModule;

IModule* App() {
    return zulplatform::GetAppInstance();
}

std::string Dir(const std::string& path) {
    return path.substr(0, path.rfind('/'));
}

zulplatform::CResourceData g_data;
// A module object that is no linked object and was never loaded.
zulplatform::CModule g_plain(g_data, "/x/plain.so");

bool IsLoaded(const char* path) {
    void* h = dlopen(path, RTLD_LAZY | RTLD_NOLOAD);
    if (h != nullptr)
        dlclose(h);
    return h != nullptr;
}

TEST(LoadLibrary, NamingRules) {
    EXPECT_EQ(zulwin::LoadLibrary(nullptr), nullptr);
    IModule* plugin = zulwin::LoadLibrary(SAMPLE_PLUGIN_PATH);
    ASSERT_NE(plugin, nullptr);
    // No dot in the base name: ".so" is appended (the dots of the directories do not count).
    std::string const bare = Dir(SAMPLE_PLUGIN_PATH) + "/./libsample_plugin";
    EXPECT_EQ(zulwin::LoadLibrary(bare.c_str()), plugin);
    // A versioned name is opened unchanged: its last dot part is the version number.
    std::string const versioned = Dir(SAMPLE_PLUGIN_PATH) + "/libsample_plugin.so.2";
    EXPECT_EQ(zulwin::LoadLibraryEx(versioned.c_str(), nullptr, 0x8), plugin);
    EXPECT_EQ(zulwin::LoadLibrary((Dir(SAMPLE_PLUGIN_PATH) + "/missing").c_str()), nullptr);
    for (int i = 0; i < 3; ++i)
        EXPECT_TRUE(zulwin::FreeLibrary(plugin));
}

TEST(LoadLibrary, RefusesWhatIsNoModuleAndClosesIt) {
    EXPECT_EQ(zulwin::LoadLibrary(NULL_MODULE_PATH), nullptr);
    EXPECT_FALSE(IsLoaded(NULL_MODULE_PATH));
    EXPECT_EQ(zulwin::LoadLibrary(THROWING_MODULE_PATH), nullptr);
    EXPECT_FALSE(IsLoaded(THROWING_MODULE_PATH));
    EXPECT_EQ(zulwin::LoadLibrary("libm.so.6"), nullptr); // loads, but exports no module
}

TEST(LoadLibrary, ExecutableNames) {
    // ".out" in any case names an executable: only the running one, found in its file name,
    // and nothing is opened for it.
    EXPECT_EQ(test_support::RunAndCapture({PLATFORM_PROBE_OUT_PATH, "out", "platform_probe.OUT"}),
              "app\n");
    EXPECT_EQ(test_support::RunAndCapture({PLATFORM_PROBE_OUT_PATH, "out", "other.out"}), "null\n");
    EXPECT_EQ(test_support::RunAndCapture({PLATFORM_PROBE_PATH, "out", "platform_probe.OUT"}),
              "null\n");
    EXPECT_EQ(zulwin::LoadLibrary("win_tests.Out"), nullptr);
}

TEST(LoadLibrary, GetModuleHandleLeavesTheReferenceCount) {
    EXPECT_EQ(zulwin::GetModuleHandle(nullptr), App());
    // Every open GetModuleHandle makes is closed again; LoadLibrary's open is what FreeLibrary
    // closes.
    EXPECT_EQ(
        test_support::RunAndCapture({REFCOUNT_PROBE_PATH, SAMPLE_PLUGIN_PATH}),
        "GetModuleHandle x3: opens=3 closes=3\nLoadLibrary+FreeLibrary: 1 1 opens=1 closes=1\n");
}

TEST(GetProcAddress, Lookups) {
    IModule* plugin = zulwin::LoadLibrary(SAMPLE_PLUGIN_PATH);
    ASSERT_NE(plugin, nullptr);
    EXPECT_EQ(zulwin::GetProcAddress(plugin, "no_such_symbol"), nullptr);
    EXPECT_EQ(zulwin::GetProcAddress(plugin, nullptr), nullptr);
    // The plug-in's own GetModule, not the library's.
    auto getModule = reinterpret_cast<IModule* (*)()>(zulwin::GetProcAddress(plugin, "GetModule"));
    ASSERT_NE(getModule, nullptr);
    EXPECT_EQ(getModule(), plugin);
    // A null module means the main program, whose global scope holds the library's symbols.
    EXPECT_EQ(zulwin::GetProcAddress(nullptr, "GetModule"), reinterpret_cast<void*>(&GetModule));
    EXPECT_EQ(zulwin::GetProcAddress(&g_plain, "GetModule"), nullptr);
    EXPECT_TRUE(zulwin::FreeLibrary(plugin));
}

TEST(FreeLibrary, OnlyRegisteredModules) {
    EXPECT_FALSE(zulwin::FreeLibrary(App()));
    EXPECT_FALSE(zulwin::FreeLibrary(nullptr));
    zulplatform::CSharedObject loose(nullptr, g_data, SAMPLE_PLUGIN_PATH);
    EXPECT_FALSE(zulwin::FreeLibrary(&loose)); // never registered
    EXPECT_FALSE(zulwin::FreeLibrary(&g_plain));
}

TEST(ModuleFileName, BuffersAndPaths) {
    char full[4096];
    std::size_t const n = zulwin::GetModuleFileName(nullptr, full, sizeof full);
    ASSERT_GT(n, 4u);
    char buf[5];
    EXPECT_EQ(zulwin::GetModuleFileName(nullptr, buf, sizeof buf), 4u);
    EXPECT_EQ(std::string(buf), std::string(full, 4)); // a terminated 4-character prefix
    EXPECT_EQ(zulwin::GetModuleFileName(nullptr, nullptr, 10), 0u);
    EXPECT_EQ(zulwin::GetModuleFileName(nullptr, buf, 0), 0u);
    EXPECT_EQ(std::string(full, n), zulwin::_GetAppFullPath().GetString());
    EXPECT_EQ(std::string(full), std::string(App()->GetModuleFileName()));

    std::string const exe = full;
    EXPECT_EQ(std::string(zulplatform::GetAppDir()), Dir(exe) + "/");
    EXPECT_STREQ(zulplatform::GetExeName(), "win_tests");
    // The application's own directories lie under its directory, not under the home directory.
    EXPECT_EQ(zulplatform::GetAppUserDir(), (Dir(exe) + "/.config/").c_str());
    EXPECT_EQ(zulplatform::GetDefaultAppDataDir(), (Dir(exe) + "/user_data/").c_str());
    EXPECT_EQ(zulplatform::GetModuleDir(nullptr), (Dir(exe) + "/").c_str());

    IModule* plugin = zulwin::LoadLibrary(SAMPLE_PLUGIN_PATH);
    ASSERT_NE(plugin, nullptr);
    EXPECT_EQ(zulplatform::GetModuleDir(plugin), (Dir(SAMPLE_PLUGIN_PATH) + "/").c_str());
    EXPECT_TRUE(zulwin::FreeLibrary(plugin));
    zulplatform::CModule nameless(g_data, "nameless");
    EXPECT_TRUE(zulplatform::GetModuleDir(&nameless).IsEmpty());

    EXPECT_EQ(zulwin::SetErrorMode(3), 3u);
    EXPECT_EQ(zulwin::SetErrorMode(0), 0u);
}

TEST(VersionInfo, Records) {
    zulwin::CString text;
    CVersionInfo const library(GetModule());
    library.Format(text);
    EXPECT_EQ(text, "V1.1.271.0");
    EXPECT_EQ(library.m_strInternalName, "libplatform");
    EXPECT_TRUE(library.m_strReserved.IsEmpty());
    EXPECT_FALSE(library.m_bDebug);

    CVersionInfo const plugin(SAMPLE_PLUGIN_PATH);
    plugin.Format(text);
    EXPECT_EQ(text, "V2.3.4.5");
    EXPECT_EQ(plugin.m_wProductVersion[0], 2);
    EXPECT_EQ(plugin.m_wProductVersion[2], 4);
    EXPECT_EQ(plugin.m_strFileDescription, "Sample plug-in of the family");
    EXPECT_EQ(plugin.m_tBuildTime, 1700000000);

    CVersionInfo const missing("no_such_module");
    missing.Format(text);
    EXPECT_EQ(text, "V0.0.0.0");
    EXPECT_TRUE(missing.m_strProductName.IsEmpty());

    CVersionInfo debug(&g_plain); // not a linked object: cleared
    debug.m_bDebug = true;
    debug.Format(text);
    EXPECT_EQ(text, "V0.0.0.0 (Debug)");
    CVersionInfo const host(nullptr); // the application object's record
    host.Format(text);
    EXPECT_EQ(text.Left(1), "V");
}

} // namespace
