// The Java runtime search.
#include <platform/system.h>

#include "support/scratch.h"

#include <gtest/gtest.h>

#include <sys/wait.h>

#include <stdexcept>
#include <vector>

using namespace test_support;

namespace {

// The outcomes of GetJavaPath, one line per call, in a child process of its own (a found root
// is kept for the life of a process). Before call i "LD_LIBRARY_PATH" is set to libraryPaths[i]
// (unset for null); "PATH" is `path` throughout.
std::string JavaSearch(const std::vector<const char*>& libraryPaths, const std::string& path) {
    ScratchDir dir;
    if (fork() == 0) {
        setenv("PATH", path.c_str(), 1);
        std::string out;
        for (const char* entries : libraryPaths) {
            entries ? setenv("LD_LIBRARY_PATH", entries, 1) : unsetenv("LD_LIBRARY_PATH");
            try {
                out += zulplatform::GetJavaPath() + std::string("\n");
            } catch (const std::runtime_error& e) {
                out += e.what() + std::string("\n");
            }
        }
        WriteFile(dir / "out", out);
        _exit(0);
    }
    wait(nullptr);
    return ReadFile(dir / "out");
}

} // namespace

TEST(GetJavaPath, SearchesLibraryPathThenTheJavaOnThePath) {
    // dir/jvm/java-17/bin holds java; dir holds a link to it and libjvm.so, with no ancestor
    // named "...jvm".
    ScratchDir dir;
    const std::string runtime = dir / "jvm/java-17/", java = runtime + "bin/java";
    std::filesystem::create_directories(runtime + "bin");
    WriteFile(java, "#!/bin/sh\n");
    WriteFile(dir / "libjvm.so", "");
    ASSERT_EQ(chmod(java.c_str(), 0755), 0);
    std::filesystem::create_symlink(java, dir / "java");

    // A failure leaves nothing behind. The first entry holding libjvm.so wins (the empty one
    // looks at the root); without a "...jvm" ancestor the root is the shortest ancestor longer
    // than three characters. A found root is kept even when nothing could be found.
    EXPECT_EQ(JavaSearch({nullptr, ("/a::" + dir.path()).c_str(), nullptr}, dir / "none"),
              "Error caught trying to parse root jre location.\n/tmp/\n/tmp/\n");
    // The java on the path, its links resolved: one level below the "...jvm" ancestor.
    EXPECT_EQ(JavaSearch({nullptr}, dir.path() + ":/usr/bin:/bin"), runtime + "\n");
}
