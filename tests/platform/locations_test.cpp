// The Java runtime search.
#include <platform/system.h>

#include "support/scratch.h"

#include <gtest/gtest.h>

#include <sys/wait.h>

#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

// The outcomes of GetJavaPath, one line per call, in a child process of its own (a found root
// is kept for the life of a process). Before call i "LD_LIBRARY_PATH" is set to libraryPaths[i]
// (unset for null); "PATH" is `path` throughout. A call that returns the pointer of the call
// before it reports "same".
std::string JavaSearch(const std::vector<const char*>& libraryPaths, const std::string& path) {
    test_support::ScratchDir dir;
    if (fork() == 0) {
        setenv("PATH", path.c_str(), 1);
        std::string out;
        const char* previous = nullptr;
        for (const char* entries : libraryPaths) {
            entries ? setenv("LD_LIBRARY_PATH", entries, 1) : unsetenv("LD_LIBRARY_PATH");
            try {
                const char* root = zulplatform::GetJavaPath();
                out += root == previous ? "same" : root;
                previous = root;
            } catch (const std::runtime_error& e) {
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

    // A failure leaves nothing behind. The first entry holding libjvm.so wins (the empty one
    // looks at the root); a found root is kept even when nothing could be found.
    EXPECT_EQ(JavaSearch({nullptr, ("/no::" + bin + "/:" + dir.path()).c_str(), nullptr}, none),
              "Error caught trying to parse root jre location.\n" + runtime + "\nsame\n");
    // Without a "...jvm" ancestor: the shortest ancestor longer than three characters.
    EXPECT_EQ(JavaSearch({("/a:" + dir.path()).c_str()}, none), "/tmp/\n");
    EXPECT_EQ(JavaSearch({nullptr}, dir.path() + ":/usr/bin:/bin"), runtime + "\n");
}
