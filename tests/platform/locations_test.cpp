// The environment lookup, the country code and the Java runtime search.
#include <platform/system.h>

#include "support/scratch.h"

#include <gtest/gtest.h>

#include <sys/resource.h>
#include <sys/wait.h>

#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

// The outcomes of GetJavaPath, one line per call, in a child process of its own (a found root
// is kept for the life of a process). Before call i "LD_LIBRARY_PATH" is set to libraryPaths[i]
// (unset for null); "PATH" is `path` throughout. A call that returns the pointer of the call
// before it reports "same". With `noDescriptors` no descriptor can be opened during the calls.
std::string JavaSearch(const std::vector<const char*>& libraryPaths, const std::string& path,
                       bool noDescriptors = false) {
    test_support::ScratchDir dir;
    if (fork() == 0) {
        setenv("PATH", path.c_str(), 1);
        rlimit saved{};
        getrlimit(RLIMIT_NOFILE, &saved);
        const rlimit none{0, saved.rlim_max};
        std::string out;
        const char* previous = nullptr;
        for (const char* entries : libraryPaths) {
            entries ? setenv("LD_LIBRARY_PATH", entries, 1) : unsetenv("LD_LIBRARY_PATH");
            setrlimit(RLIMIT_NOFILE, noDescriptors ? &none : &saved);
            try {
                const char* root = zulplatform::GetJavaPath();
                out += root == previous ? "same" : root;
                previous = root;
            } catch (const std::runtime_error& e) {
                setrlimit(RLIMIT_NOFILE, &saved); // the sanitizers' checks of what() need some
                out += e.what();
            }
            out += "\n";
        }
        test_support::WriteFile(dir / "out", out);
        _exit(0);
    }
    wait(nullptr);
    return test_support::ReadFile(dir / "out");
}

} // namespace

TEST(Environment, CountryCodeIsTheLastTwoCharactersBeforeTheFirstDot) {
    const std::string saved = std::getenv("LANG") != nullptr ? std::getenv("LANG") : "";
    std::string got;
    // No dot at all ("en_US") gives nothing.
    for (const char* lang : {"de_DE.UTF-8", "C.UTF-8", "x_12.a.b", "en_US"}) {
        setenv("LANG", lang, 1);
        got += std::string(zulplatform::GetIso3166CountryName().GetString()) + ",";
    }
    unsetenv("LANG");
    EXPECT_EQ(got + zulplatform::GetIso3166CountryName().GetString(), "DE,C,12,,");
    zulwin::CString value("stale"); // an unset variable empties the value
    EXPECT_FALSE(zulplatform::GetEnvironmentString(value, "LANG"));
    EXPECT_TRUE(value.IsEmpty());
    setenv("LANG", saved.c_str(), 1);
}

TEST(GetJavaPath, SearchesLibraryPathThenTheJavaOnThePath) {
    // dir/jvm/java-17/bin holds libjvm.so and java; dir holds a link to that java and another
    // libjvm.so, with no ancestor named "...jvm".
    test_support::ScratchDir dir;
    const std::string runtime = dir / "jvm/java-17/", bin = runtime + "bin", none = dir / "none";
    std::filesystem::create_directories(bin);
    for (const std::string& file : {bin + "/libjvm.so", dir / "libjvm.so", bin + "/java"})
        test_support::WriteFile(file, "#!/bin/sh\n");
    ASSERT_EQ(chmod((bin + "/java").c_str(), 0755), 0);
    std::filesystem::create_symlink(bin + "/java", dir / "java");
    const char* const kParseError = "Error caught trying to parse root jre location.\n";

    // The first entry holding libjvm.so wins; the empty entry looks at the root.
    EXPECT_EQ(JavaSearch({("/no::" + bin + "/:" + dir.path()).c_str()}, none), runtime + "\n");
    // Without a "...jvm" ancestor: the shortest ancestor longer than three characters.
    EXPECT_EQ(JavaSearch({("/a:" + dir.path()).c_str()}, none), "/tmp/\n");
    EXPECT_EQ(JavaSearch({nullptr}, dir.path() + ":/usr/bin:/bin"), runtime + "\n");
    // Failures leave nothing behind; a found root is kept even when nothing could be found.
    EXPECT_EQ(JavaSearch({nullptr, ":", bin.c_str(), nullptr}, none),
              std::string(kParseError) + kParseError + runtime + "\nsame\n");
    EXPECT_EQ(JavaSearch({nullptr}, none, true), "Failed to execute external command\n");
}
