// The loader calls of the compatibility layer on real shared objects, version information and
// the executable's and modules' paths.
#include <platform/platform.h>

#include "support/child_process.h"

#include <gtest/gtest.h>

#include <dlfcn.h>

#include <string>

namespace {

using zulplatform::IModule;

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
    EXPECT_EQ(zulwin::LoadLibrary((Dir(SAMPLE_PLUGIN_PATH) + "/./libsample_plugin").c_str()),
              plugin);
    // A versioned name is opened unchanged: its last dot part is the version number.
    std::string const versioned = Dir(SAMPLE_PLUGIN_PATH) + "/libsample_plugin.so.2";
    EXPECT_EQ(zulwin::LoadLibraryEx(versioned.c_str(), nullptr, 0x8), plugin);
    EXPECT_EQ(zulwin::LoadLibrary((Dir(SAMPLE_PLUGIN_PATH) + "/missing").c_str()), nullptr);
    for (int i = 0; i < 3; ++i)
        EXPECT_TRUE(zulwin::FreeLibrary(plugin));
}

TEST(LoadLibrary, RefusesWhatIsNoModuleAndClosesIt) {
    for (const char* path : {NULL_MODULE_PATH, THROWING_MODULE_PATH}) {
        EXPECT_EQ(zulwin::LoadLibrary(path), nullptr);
        EXPECT_FALSE(IsLoaded(path));
    }
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
}

TEST(LoadLibrary, GetModuleHandleLeavesTheReferenceCount) {
    EXPECT_EQ(zulwin::GetModuleHandle(nullptr), zulplatform::GetAppInstance());
    // Every open GetModuleHandle makes is closed again; LoadLibrary's open is what FreeLibrary
    // closes.
    EXPECT_EQ(
        test_support::RunAndCapture({REFCOUNT_PROBE_PATH, SAMPLE_PLUGIN_PATH}),
        "GetModuleHandle x3: opens=3 closes=3\nLoadLibrary+FreeLibrary: 1 1 opens=1 closes=1\n");
}

TEST(GetProcAddress, Lookups) {
    EXPECT_EQ(zulwin::GetProcAddress(nullptr, nullptr), nullptr);
    // A null module means the main program, whose global scope holds the library's symbols.
    EXPECT_EQ(zulwin::GetProcAddress(nullptr, "GetModule"), reinterpret_cast<void*>(&GetModule));
    EXPECT_EQ(zulwin::GetProcAddress(&g_plain, "GetModule"), nullptr);
}

TEST(FreeLibrary, OnlyRegisteredModules) {
    zulplatform::CSharedObject loose(nullptr, g_data, SAMPLE_PLUGIN_PATH); // never registered
    for (IModule* module :
         std::initializer_list<IModule*>{zulplatform::GetAppInstance(), &loose, &g_plain, nullptr})
        EXPECT_FALSE(zulwin::FreeLibrary(module));
}

TEST(ModuleFileName, BuffersAndPaths) {
    char full[4096], buf[5];
    std::size_t const n = zulwin::GetModuleFileName(nullptr, full, sizeof full);
    EXPECT_EQ(zulwin::GetModuleFileName(nullptr, buf, sizeof buf), 4u);
    EXPECT_EQ(std::string(buf), std::string(full, 4)); // a terminated 4-character prefix
    EXPECT_EQ(zulwin::GetModuleFileName(nullptr, nullptr, 10), 0u);
    EXPECT_EQ(zulwin::GetModuleFileName(nullptr, buf, 0), 0u);
    EXPECT_EQ(std::string(full, n), zulplatform::GetAppInstance()->GetModuleFileName());
    std::string const dir = Dir(full) + "/";
    EXPECT_EQ(std::string(zulplatform::GetAppDir()), dir);
    EXPECT_STREQ(zulplatform::GetExeName(), "win_tests");
    EXPECT_EQ(zulplatform::GetModuleDir(nullptr), dir.c_str());
    EXPECT_EQ(zulplatform::GetAppUserDir(), (dir + ".config/").c_str()); // not under the home
    zulplatform::CModule nameless(g_data, "nameless");
    EXPECT_TRUE(zulplatform::GetModuleDir(&nameless).IsEmpty());
    // SetErrorMode returns the new mode, not the previous one.
    EXPECT_EQ(zulwin::SetErrorMode(3), 3u);
    EXPECT_EQ(zulwin::SetErrorMode(0), 0u);
}

// {record, its text}: the library's, the plug-in's, a missing one and a cleared one marked debug.
TEST(VersionInfo, Records) {
    CVersionInfo const plugin(SAMPLE_PLUGIN_PATH);
    CVersionInfo debug(&g_plain); // not a linked object: cleared
    debug.m_bDebug = true;
    for (auto [info, text] : {std::pair{CVersionInfo(GetModule()), "V1.1.271.0"},
                              {plugin, "V2.3.4.5"},
                              {CVersionInfo("no_such_module"), "V0.0.0.0"},
                              {debug, "V0.0.0.0 (Debug)"}}) {
        zulwin::CString formatted;
        info.Format(formatted);
        EXPECT_EQ(formatted, text);
    }
    EXPECT_EQ(plugin.m_strFileDescription, "Sample plug-in of the family");
    EXPECT_EQ(plugin.m_tBuildTime, 1700000000);
}

} // namespace
