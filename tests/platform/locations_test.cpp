#include <platform/files.h>
#include <platform/system.h>

#include <gtest/gtest.h>

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

using zulwin::CString;

namespace {

std::string Str(const CString& s) {
    return std::string(s.GetString(), static_cast<std::size_t>(s.GetLength()));
}

// Sets or unsets a variable for the life of the object, then puts the old value back.
class EnvOverride {
public:
    EnvOverride(const char* name, const char* value) : m_name(name) {
        if (const char* old = std::getenv(name))
            m_saved = old;
        if (value != nullptr)
            setenv(name, value, 1);
        else
            unsetenv(name);
    }
    ~EnvOverride() {
        if (m_saved)
            setenv(m_name.c_str(), m_saved->c_str(), 1);
        else
            unsetenv(m_name.c_str());
    }

private:
    std::string m_name;
    std::optional<std::string> m_saved;
};

// A fake Java installation under a fresh directory:
//   usr/lib/jvm/java-17/{bin/java, lib/server/libjvm.so}, bin/java -> that java,
//   opt/jdk/lib/server/libjvm.so (no ancestor named "...jvm"), and an empty empty-bin/.
class FakeJavaTree {
public:
    FakeJavaTree() {
        char name[] = "/tmp/loc-test-XXXXXX";
        if (mkdtemp(name) == nullptr)
            return;
        m_root = name;
        namespace fs = std::filesystem;
        fs::create_directories(runtime() + "bin");
        fs::create_directories(runtime() + "lib/server");
        fs::create_directories(m_root + "/opt/jdk/lib/server");
        fs::create_directories(m_root + "/bin");
        fs::create_directories(emptyBin());
        std::ofstream(runtime() + "lib/server/libjvm.so").put('\0');
        std::ofstream(m_root + "/opt/jdk/lib/server/libjvm.so").put('\0');
        std::ofstream(runtime() + "bin/java") << "#!/bin/sh\nexit 0\n";
        chmod((runtime() + "bin/java").c_str(), 0755);
        fs::create_symlink(runtime() + "bin/java", m_root + "/bin/java");
    }
    ~FakeJavaTree() {
        if (!m_root.empty())
            std::filesystem::remove_all(m_root);
    }
    bool ok() const { return !m_root.empty(); }
    std::string runtime() const { return m_root + "/usr/lib/jvm/java-17/"; }
    std::string runtimeServer() const { return runtime() + "lib/server"; }
    std::string optServer() const { return m_root + "/opt/jdk/lib/server"; }
    std::string javaBin() const { return m_root + "/bin"; }
    std::string emptyBin() const { return m_root + "/empty-bin"; }

private:
    std::string m_root;
};

// The outcome of one GetJavaPath call: its text, or the exception's message after "error: ".
template <class Call> std::string Outcome(Call call) {
    try {
        return call();
    } catch (const std::runtime_error& e) {
        return std::string("error: ") + e.what();
    }
}

std::string CallGetJavaPath(const char** pointer = nullptr) {
    return Outcome([pointer]() -> std::string {
        const char* path = zulplatform::GetJavaPath();
        if (pointer != nullptr)
            *pointer = path;
        return path;
    });
}

// Ends a child process: status 0 when `got` is `want`, else a message and status 1.
void Expect(const std::string& got, const std::string& want) {
    if (got != want) {
        std::fprintf(stderr, "got \"%s\", want \"%s\"\n", got.c_str(), want.c_str());
        std::exit(1);
    }
}

const char* const kParseError = "error: Error caught trying to parse root jre location.";

} // namespace

// -------------------------------------------------------------------------------------------
// Environment and country code

TEST(GetEnvironmentString, SetUnsetAndEmpty) {
    CString value("stale");
    {
        EnvOverride env("ZULPLATFORM_LOCATIONS_TEST", "some value");
        EXPECT_TRUE(
            zulplatform::GetEnvironmentString(value, CString("ZULPLATFORM_LOCATIONS_TEST")));
        EXPECT_EQ(Str(value), "some value");
    }
    {
        EnvOverride env("ZULPLATFORM_LOCATIONS_TEST", "");
        value = "stale";
        EXPECT_TRUE(
            zulplatform::GetEnvironmentString(value, CString("ZULPLATFORM_LOCATIONS_TEST")));
        EXPECT_EQ(Str(value), "");
    }
    {
        EnvOverride env("ZULPLATFORM_LOCATIONS_TEST", nullptr);
        value = "stale";
        EXPECT_FALSE(
            zulplatform::GetEnvironmentString(value, CString("ZULPLATFORM_LOCATIONS_TEST")));
        EXPECT_TRUE(value.IsEmpty());
    }
    value = "stale";
    EXPECT_FALSE(zulplatform::GetEnvironmentString(value, CString("")));
    EXPECT_TRUE(value.IsEmpty());
}

TEST(GetIso3166CountryName, TwoCharactersBeforeTheFirstDot) {
    struct Case {
        const char* lang;
        const char* country;
    } const cases[] = {
        {"de_DE.UTF-8", "DE"},
        {"en_US.UTF-8", "US"},
        {"pt_BR.ISO-8859-1@euro", "BR"},
        {"en_US", ""},
        {"C", ""},
        {"C.UTF-8", "C"},
        {".UTF-8", ""},
        {"", ""},
        {"x_12.a.b", "12"},
        {nullptr, ""},
    };
    for (const Case& c : cases) {
        EnvOverride env("LANG", c.lang);
        EXPECT_EQ(Str(zulplatform::GetIso3166CountryName()), c.country)
            << (c.lang ? c.lang : "(unset)");
    }
}

// -------------------------------------------------------------------------------------------
// Application directories

TEST(AppDirectories, LieUnderTheExecutablesDirectory) {
    const std::string exeDir =
        std::filesystem::read_symlink("/proc/self/exe").parent_path().string() + "/";
    EXPECT_EQ(Str(zulplatform::GetAppUserDir()), exeDir + ".config/");
    EXPECT_EQ(Str(zulplatform::GetDefaultAppDataDir()), exeDir + "user_data/");
}

// -------------------------------------------------------------------------------------------
// Java runtime search. The result is cached for the life of the process, so every scenario
// runs in a child of its own.

class GetJavaPathTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(tree.ok()); }
    FakeJavaTree tree;
};

TEST_F(GetJavaPathTest, FindsLibjvmThroughLibraryPath) {
    EXPECT_EXIT(
        {
            setenv("LD_LIBRARY_PATH", ("/nonexistent::" + tree.runtimeServer()).c_str(), 1);
            setenv("PATH", tree.emptyBin().c_str(), 1);
            Expect(CallGetJavaPath(), tree.runtime());
            std::exit(0);
        },
        ::testing::ExitedWithCode(0), "");
}

TEST_F(GetJavaPathTest, FirstMatchingEntryWins) {
    EXPECT_EXIT(
        {
            setenv("LD_LIBRARY_PATH", (tree.runtimeServer() + "/:" + tree.optServer()).c_str(), 1);
            Expect(CallGetJavaPath(), tree.runtime());
            std::exit(0);
        },
        ::testing::ExitedWithCode(0), "");
}

TEST_F(GetJavaPathTest, WithoutAJvmAncestorTakesTheShortestAncestor) {
    // The tree lies under /tmp, the shortest ancestor longer than three characters.
    EXPECT_EXIT(
        {
            setenv("LD_LIBRARY_PATH", ("/a:" + tree.optServer()).c_str(), 1);
            Expect(CallGetJavaPath(), "/tmp/");
            std::exit(0);
        },
        ::testing::ExitedWithCode(0), "");
}

TEST_F(GetJavaPathTest, FallsBackToTheJavaOnTheSearchPath) {
    EXPECT_EXIT(
        {
            unsetenv("LD_LIBRARY_PATH");
            const char* path = std::getenv("PATH");
            setenv("PATH", (tree.javaBin() + ":" + (path ? path : "/usr/bin:/bin")).c_str(), 1);
            Expect(CallGetJavaPath(), tree.runtime());
            std::exit(0);
        },
        ::testing::ExitedWithCode(0), "");
}

TEST_F(GetJavaPathTest, SecondCallReturnsTheCachedPointer) {
    EXPECT_EXIT(
        {
            setenv("LD_LIBRARY_PATH", tree.runtimeServer().c_str(), 1);
            const char* first = nullptr;
            Expect(CallGetJavaPath(&first), tree.runtime());
            // Nothing can be found any more: only the cache can answer.
            unsetenv("LD_LIBRARY_PATH");
            setenv("PATH", tree.emptyBin().c_str(), 1);
            const char* second = nullptr;
            Expect(CallGetJavaPath(&second), tree.runtime());
            Expect(first == second ? "same" : "different", "same");
            std::exit(0);
        },
        ::testing::ExitedWithCode(0), "");
}

TEST_F(GetJavaPathTest, NothingFoundThrowsAndALaterCallSearchesAgain) {
    EXPECT_EXIT(
        {
            unsetenv("LD_LIBRARY_PATH");
            setenv("PATH", tree.emptyBin().c_str(), 1);
            Expect(CallGetJavaPath(), kParseError);
            setenv("LD_LIBRARY_PATH", ":", 1); // empty entries look at the root
            Expect(CallGetJavaPath(), kParseError);
            setenv("LD_LIBRARY_PATH", tree.runtimeServer().c_str(), 1);
            Expect(CallGetJavaPath(), tree.runtime());
            std::exit(0);
        },
        ::testing::ExitedWithCode(0), "");
}

TEST_F(GetJavaPathTest, CommandThatCannotStartThrows) {
    EXPECT_EXIT(
        {
            unsetenv("LD_LIBRARY_PATH");
            // Use up every descriptor so that popen cannot make its pipe.
            rlimit limit{};
            getrlimit(RLIMIT_NOFILE, &limit);
            limit.rlim_cur = 64;
            setrlimit(RLIMIT_NOFILE, &limit);
            std::vector<int> spent;
            spent.reserve(64);
            for (int fd = dup(2); fd >= 0; fd = dup(2))
                spent.push_back(fd);
            std::exception_ptr failure;
            try {
                zulplatform::GetJavaPath();
            } catch (...) {
                failure = std::current_exception();
            }
            // The exception is looked at only once descriptors are back: sanitizer checks of
            // the virtual call need a pipe of their own.
            for (int fd : spent)
                close(fd);
            Expect(Outcome([&]() -> std::string {
                       if (failure)
                           std::rethrow_exception(failure);
                       return "no exception";
                   }),
                   "error: Failed to execute external command");
            std::exit(0);
        },
        ::testing::ExitedWithCode(0), "");
}
