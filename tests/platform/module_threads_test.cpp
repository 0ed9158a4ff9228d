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

zulplatform::CApp* App() {
    return static_cast<zulplatform::CApp*>(zulplatform::GetAppInstance());
}

// Runs `body(t)` on `n` threads at once.
template <class Body> void OnThreads(int n, Body body) {
    std::vector<std::thread> threads;
    for (int t = 0; t < n; ++t)
        threads.emplace_back(body, t);
    for (auto& thread : threads)
        thread.join();
}

// Entry routines call back into the registry while the notification holds its lock.
int CallBackEntry(zulplatform::IModule* module, unsigned, void*) {
    return App()->IsValidSharedObject(dynamic_cast<zulplatform::ISharedObject*>(module));
}

} // namespace

TEST(SharedObject, RegistryFromSeveralThreads) {
    static zulplatform::CResourceData data;
    OnThreads(4, [](int) {
        zulplatform::CSharedObject obj(CallBackEntry, data, nullptr);
        for (int i = 0; i < 100; ++i) {
            App()->AddSharedObject(&obj);
            App()->NotifyApp(zulplatform::AppThreadAttach);
            App()->RemoveSharedObject(&obj);
        }
        EXPECT_FALSE(App()->IsValidSharedObject(&obj));
    });
}

// The process-wide caches are filled by whichever thread asks first; every thread must see one
// complete value (or, with no Java runtime here, the same failure). A fresh process (a
// death-test child) starts with them empty.
TEST(ProcessCaches, FilledOnceFromSeveralThreads) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto race = [] {
        std::vector<std::string> seen(8);
        OnThreads(8, [&seen](int t) {
            try {
                seen[t] = zulplatform::GetJavaPath();
            } catch (const std::runtime_error&) { // no Java runtime: every thread must fail
            }
            seen[t] += std::string("|") + zulplatform::GetAppDir() + zulplatform::GetExeName();
        });
        const bool one = std::set<std::string>(seen.begin(), seen.end()).size() == 1;
        std::exit(one && seen[0].find("/platform_threads_tests") != std::string::npos ? 0 : 1);
    };
    EXPECT_EXIT(race(), ::testing::ExitedWithCode(0), "");
}
