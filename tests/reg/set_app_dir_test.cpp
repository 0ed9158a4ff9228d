// SetAppDir fixes the application directory only while nothing has asked for it. Its state is
// once per process, so each case runs in a forked child of a test process that never asks for
// the application directory itself; the child reports the number of its first failed check.
#include <platform/loader.h>
#include <platform/locations.h>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <climits>
#include <cstring>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace {

// The child's exit status: 0 when every check held, else the failed check's number.
int InChild(const std::function<int()>& body) {
    pid_t const pid = fork();
    if (pid == 0)
        _exit(body());
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 100;
}

std::string Cwd() {
    char buf[PATH_MAX];
    return getcwd(buf, sizeof buf) != nullptr ? buf : "";
}

std::string Str(const char* s) {
    return s != nullptr ? s : "(null)";
}

struct Accepted {
    std::string dir;
    std::string expected; // "<cwd>" stands for the current directory
};

TEST(SetAppDir, SetsTheDirectoryWhenNothingAskedYet) {
    std::string const cwd = Cwd();
    std::vector<Accepted> const cases = {
        {"/srv/app", "/srv/app/"},
        {"/srv/app/", "/srv/app/"},
        {"/srv//app/./bin/..", "/srv/app/"},
        {"/", "/"},
        {"relative/dir", cwd + "/relative/dir/"},
        {".", cwd + "/"},
    };
    for (const Accepted& c : cases) {
        SCOPED_TRACE(c.dir);
        EXPECT_EQ(InChild([&] {
                      if (!zulplatform::SetAppDir(c.dir.c_str()))
                          return 1;
                      if (Str(zulplatform::GetAppDir()) != c.expected)
                          return 2;
                      if (std::string(zulplatform::GetDefaultAppDataDir().GetString()) !=
                          c.expected + "user_data/")
                          return 3;
                      // The executable's name is still its own.
                      if (Str(zulplatform::GetExeName()) != "reg_tests")
                          return 4;
                      // Fixed now: a second call changes nothing.
                      if (zulplatform::SetAppDir("/elsewhere"))
                          return 5;
                      if (Str(zulplatform::GetAppDir()) != c.expected)
                          return 6;
                      return 0;
                  }),
                  0);
    }
}

TEST(SetAppDir, RefusesBadPathsWithoutFixingTheDirectory) {
    std::string const tooLong(5000, 'a');
    std::string const longAfterResolving = "/" + std::string(4094, 'b');
    std::vector<const char*> const refused = {nullptr, "", tooLong.c_str(),
                                              longAfterResolving.c_str()};
    for (const char* dir : refused) {
        SCOPED_TRACE(dir == nullptr ? "null" : std::to_string(std::strlen(dir)));
        EXPECT_EQ(InChild([&] {
                      if (zulplatform::SetAppDir(dir))
                          return 1;
                      // A refused call must not have used up the once-only setting.
                      if (!zulplatform::SetAppDir("/after/refusal"))
                          return 2;
                      return Str(zulplatform::GetAppDir()) == "/after/refusal/" ? 0 : 3;
                  }),
                  0);
    }
}

TEST(SetAppDir, FalseOnceTheDirectoryWasComputed) {
    for (auto const& first : {zulplatform::GetAppDir, zulplatform::GetExeName}) {
        EXPECT_EQ(InChild([&] {
                      first();
                      std::string const computed = Str(zulplatform::GetAppDir());
                      if (computed.empty() || computed.back() != '/')
                          return 1;
                      if (zulplatform::SetAppDir("/srv/app"))
                          return 2;
                      return Str(zulplatform::GetAppDir()) == computed ? 0 : 3;
                  }),
                  0);
    }
}

// Threads racing SetAppDir against GetAppDir: exactly one directory wins, every reader sees
// it, and SetAppDir reports true only when its directory is the one.
TEST(SetAppDir, RacesWithTheFirstReader) {
    for (int round = 0; round < 20; ++round) {
        EXPECT_EQ(InChild([] {
                      std::atomic<bool> go{false};
                      std::atomic<int> wins{0};
                      std::vector<std::string> seen(8);
                      std::vector<std::thread> threads;
                      for (int t = 0; t < 8; ++t)
                          threads.emplace_back([&, t] {
                              while (!go.load())
                                  std::this_thread::yield();
                              if (t % 2 == 0 && zulplatform::SetAppDir("/raced/dir"))
                                  wins.fetch_add(1);
                              seen[t] = Str(zulplatform::GetAppDir());
                          });
                      go.store(true);
                      for (std::thread& t : threads)
                          t.join();
                      std::string const final = Str(zulplatform::GetAppDir());
                      for (const std::string& s : seen)
                          if (s != final)
                              return 1;
                      if (wins.load() > 1)
                          return 2;
                      return (wins.load() == 1) == (final == "/raced/dir/") ? 0 : 3;
                  }),
                  0);
    }
}

} // namespace
