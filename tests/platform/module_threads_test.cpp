// The module runtime's shared state used from several threads at once: the application
// object's registry and the lazily computed paths and locations.
#include <platform/app.h>
#include <platform/loader.h>
#include <platform/locations.h>

#include <gtest/gtest.h>

#include <set>
#include <stdexcept>
#include <string>
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

// A registry that entry routines call back into while the fan-out holds the lock, from
// several threads at once.
int CallBackEntry(IModule* module, unsigned, void*) {
    return App()->IsValidSharedObject(dynamic_cast<ISharedObject*>(module)) ? 1 : 0;
}

TEST(SharedObject, RegistryFromSeveralThreads) {
    static CResourceData data;
    constexpr int kThreads = 4, kRounds = 300;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([] {
            zulplatform::CSharedObject obj(CallBackEntry, data, nullptr);
            for (int i = 0; i < kRounds; ++i) {
                App()->AddSharedObject(&obj);
                EXPECT_TRUE(App()->IsValidSharedObject(&obj));
                App()->NotifyApp(zulplatform::AppThreadAttach);
                App()->RemoveSharedObject(&obj);
            }
            EXPECT_FALSE(App()->IsValidSharedObject(&obj));
        });
    for (auto& t : threads)
        t.join();
}

} // namespace

// The process-wide caches are filled by whichever thread asks first; every thread must see one
// complete value. A fresh process (a death-test child) starts with them empty.
TEST(ProcessCaches, FilledOnceFromSeveralThreads) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto race = [] {
        constexpr int kThreads = 8;
        std::vector<std::string> seen(kThreads);
        std::vector<std::thread> threads;
        for (int t = 0; t < kThreads; ++t)
            threads.emplace_back([&seen, t] {
                char full[4096];
                zulwin::GetModuleFileName(nullptr, full, sizeof full);
                std::string java;
                try {
                    java = zulplatform::GetJavaPath();
                } catch (const std::runtime_error&) {
                    java = "(none)"; // no Java runtime here: every thread must say so
                }
                seen[t] = std::string(zulplatform::GetAppDir()) + "|" + zulplatform::GetExeName() +
                          "|" + full + "|" + zulplatform::GetDefaultAppDataDir().GetString() + "|" +
                          java;
            });
        for (auto& thread : threads)
            thread.join();
        const std::set<std::string> distinct(seen.begin(), seen.end());
        std::exit(distinct.size() == 1 &&
                          seen[0].find("platform_threads_tests") != std::string::npos
                      ? 0
                      : 1);
    };
    EXPECT_EXIT(race(), ::testing::ExitedWithCode(0), "");
}
