// SetAppDir fixes the application directory only while nothing has asked for it. Its state is
// once per process, so each case runs in a forked child of a test process that never asks for
// the application directory itself; the child reports the number of its first failed check.
#include <platform/loader.h>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using zulplatform::GetAppDir;
using zulplatform::SetAppDir;

// The child's exit status: 0 when every check `body` made (in order) held, else the number of
// the first that failed.
int InChild(const std::function<std::vector<bool>()>& body) {
    pid_t const pid = fork();
    if (pid == 0) {
        std::vector<bool> const checks = body();
        auto const failed = std::find(checks.begin(), checks.end(), false);
        _exit(failed == checks.end() ? 0 : static_cast<int>(failed - checks.begin()) + 1);
    }
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 100;
}

TEST(SetAppDir, SetsTheDirectoryWhenNothingAskedYet) {
    // The directory, and what it becomes; "" for one refused (too long once "/" is added), which
    // does not use up the once-only setting.
    std::pair<std::string, std::string> const cases[] = {{"/srv//app/./bin/..", "/srv/app/"},
                                                         {"/" + std::string(4094, 'b'), ""}};
    for (const auto& c : cases) {
        const std::string &dir = c.first, &expected = c.second; // lambdas capture no bindings
        std::string const now = expected.empty() ? "/after/refusal/" : expected;
        // The executable's name stays its own; a second call changes nothing.
        auto const checks = [&] {
            return std::vector<bool>{
                SetAppDir(dir.c_str()) == !expected.empty(),
                expected.empty() ? SetAppDir("/after/refusal") : !SetAppDir("/elsewhere"),
                GetAppDir() == now, zulplatform::GetExeName() == std::string("reg_tests")};
        };
        EXPECT_EQ(InChild(checks), 0) << dir.size();
    }
}

// Threads racing SetAppDir against GetAppDir: exactly one directory wins, every reader sees
// it, and SetAppDir reports true only when its directory is the one (a reader that comes first
// fixes the executable's own).
TEST(SetAppDir, RacesWithTheFirstReader) {
    auto const race = [] {
        std::atomic<bool> go{false};
        std::atomic<int> wins{0};
        std::vector<std::string> seen(8);
        std::vector<std::thread> threads;
        for (int t = 0; t < 8; ++t)
            threads.emplace_back([&, t] {
                while (!go.load())
                    std::this_thread::yield();
                if (t % 2 == 0 && SetAppDir("/raced/dir"))
                    wins.fetch_add(1);
                seen[t] = GetAppDir();
            });
        go.store(true);
        for (std::thread& t : threads)
            t.join();
        std::string const final = GetAppDir();
        return std::vector<bool>{std::count(seen.begin(), seen.end(), final) == 8, wins.load() <= 1,
                                 (wins.load() == 1) == (final == "/raced/dir/")};
    };
    for (int round = 0; round < 10; ++round)
        EXPECT_EQ(InChild(race), 0);
}

} // namespace
