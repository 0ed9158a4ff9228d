// SetAppDir fixes the application directory only while nothing has asked for it. Its state is
// once per process, so each case runs in a forked child of a test process that never asks for
// the application directory itself; the child reports the number of its first failed check.
#include <platform/loader.h>
#include <platform/locations.h>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <cstring>
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
        for (std::size_t i = 0; i < checks.size(); ++i)
            if (!checks[i])
                _exit(static_cast<int>(i) + 1);
        _exit(0);
    }
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 100;
}

std::string Str(const char* s) {
    return s != nullptr ? s : "(null)";
}

TEST(SetAppDir, SetsTheDirectoryWhenNothingAskedYet) {
    char cwd[PATH_MAX];
    ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);
    std::pair<std::string, std::string> const cases[] = {
        {"/srv//app/./bin/..", "/srv/app/"},
        {"/", "/"},
        {"relative/dir", std::string(cwd) + "/relative/dir/"}};
    for (const auto& [dir, expected] : cases) {
        SCOPED_TRACE(dir);
        EXPECT_EQ(InChild([&] {
                      return std::vector<bool>{
                          SetAppDir(dir.c_str()), Str(GetAppDir()) == expected,
                          Str(zulplatform::GetDefaultAppDataDir().GetString()) ==
                              expected + "user_data/",
                          // The executable's name is still its own.
                          Str(zulplatform::GetExeName()) == "reg_tests",
                          // Fixed now: a second call changes nothing.
                          !SetAppDir("/elsewhere"), Str(GetAppDir()) == expected};
                  }),
                  0);
    }
    // A refused call does not use up the once-only setting; a call after the directory was
    // computed (here for the executable's name) is refused.
    std::string const tooLong(5000, 'a'), longAfterResolving = "/" + std::string(4094, 'b');
    for (const char* dir : {static_cast<const char*>(nullptr), "", tooLong.c_str(),
                            longAfterResolving.c_str(), "computed"}) {
        SCOPED_TRACE(dir == nullptr ? "null" : std::to_string(std::strlen(dir)));
        EXPECT_EQ(InChild([&] {
                      if (dir != nullptr && std::strcmp(dir, "computed") == 0)
                          return std::vector<bool>{zulplatform::GetExeName() != nullptr,
                                                   !SetAppDir("/srv/app"),
                                                   Str(GetAppDir()) != "/srv/app/"};
                      return std::vector<bool>{!SetAppDir(dir), SetAppDir("/after/refusal"),
                                               Str(GetAppDir()) == "/after/refusal/"};
                  }),
                  0);
    }
}

// Threads racing SetAppDir against GetAppDir: exactly one directory wins, every reader sees
// it, and SetAppDir reports true only when its directory is the one.
TEST(SetAppDir, RacesWithTheFirstReader) {
    for (int round = 0; round < 10; ++round) {
        EXPECT_EQ(InChild([] {
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
                              seen[t] = Str(GetAppDir());
                          });
                      go.store(true);
                      for (std::thread& t : threads)
                          t.join();
                      std::string const final = Str(GetAppDir());
                      return std::vector<bool>{std::count(seen.begin(), seen.end(), final) == 8,
                                               wins.load() <= 1,
                                               (wins.load() == 1) == (final == "/raced/dir/")};
                  }),
                  0);
    }
}

} // namespace
