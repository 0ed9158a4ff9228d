// SetAppDir fixes the application directory only while nothing has asked for it. Its state is
// once per process, so each round runs in a forked child of a test process that never asks for
// the application directory itself; the child's exit status is the number of its first failed
// check.
#include <platform/loader.h>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace {

using zulplatform::GetAppDir;
using zulplatform::SetAppDir;

// Threads racing SetAppDir against GetAppDir: exactly one directory wins, made canonical, every
// reader sees it, and SetAppDir reports true only when its directory is the one (a reader that
// comes first fixes the executable's own). A directory refused before (too long once "/" is
// added) does not use up the once-only setting; the executable's name stays its own.
TEST(SetAppDir, RacesWithTheFirstReader) {
    for (int round = 0; round < 10; ++round) {
        pid_t const pid = fork();
        if (pid == 0) {
            bool const refused = !SetAppDir(("/" + std::string(4094, 'b')).c_str());
            std::atomic<int> go{0}, wins{0};
            std::vector<std::string> seen(8);
            std::vector<std::thread> threads;
            for (int t = 0; t < 8; ++t)
                threads.emplace_back([&, t] {
                    while (!go.load())
                        std::this_thread::yield();
                    if (t % 2 == 0 && SetAppDir("/raced//dir/./x/.."))
                        wins.fetch_add(1);
                    seen[t] = GetAppDir();
                });
            go.store(1);
            for (std::thread& t : threads)
                t.join();
            std::string const final = GetAppDir();
            auto const checks =
                std::vector<bool>{refused,
                                  std::count(seen.begin(), seen.end(), final) == 8,
                                  wins.load() <= 1,
                                  (wins.load() == 1) == (final == "/raced/dir/"),
                                  !SetAppDir("/elsewhere"),
                                  std::string(zulplatform::GetExeName()) == "reg_tests"};
            auto const failed = std::find(checks.begin(), checks.end(), false);
            _exit(failed == checks.end() ? 0 : static_cast<int>(failed - checks.begin()) + 1);
        }
        int status = 0;
        waitpid(pid, &status, 0);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0)
            << "failed check " << WEXITSTATUS(status);
    }
}

} // namespace
