// CRegKey on real registry files, each test in a fresh directory under the application data
// directory.
#include <platform/ini_file.h>
#include <platform/locations.h>
#include <platform/registry.h>

#include "support/child_process.h"
#include "support/scratch.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <string>

using namespace std::string_literals;
using namespace test_support;
using zulwin::CRegKey;

namespace {

class Registry : public testing::Test {
protected:
    static std::string DataDir() {
        std::string dir = zulplatform::GetDefaultAppDataDir().GetString();
        mkdir(dir.c_str(), 0770);
        return dir;
    }
    // The registry name relative to the data directory, as CRegKey takes it.
    std::string Name(char const* file = "reg.ini") const {
        return m_dir.path().substr(m_dir.path().rfind('/') + 1) + "/" + file;
    }
    std::string Path(char const* file = "reg.ini") const { return m_dir / file; }
    ScratchDir m_dir{DataDir().c_str()};
};

// A program copied into a fresh directory keeps its registry in that directory's "user_data/",
// and finds there what its previous run left.
TEST(RegistryLocation, RegistryFilesLiveInTheApplicationDataDirectory) {
    ScratchDir app;
    std::string const probe = app / "registry_probe";
    std::filesystem::copy_file(REGISTRY_PROBE_PATH, probe);
    ASSERT_EQ(mkdir((app / "user_data").c_str(), 0770), 0);
    for (int run = 1; run <= 2; ++run)
        EXPECT_EQ(RunAndCapture({probe, "counter.reg", "Probe\\Runs"}),
                  "datadir=" + app.path() + "/user_data/\nruns=" + std::to_string(run) + "\n");
}

TEST_F(Registry, TypedValuesRoundTrip) {
    {
        CRegKey key; // creates every key on the path
        ASSERT_EQ(key.Create(Name().c_str(), "A\\B"), 0);
        EXPECT_EQ(key.SetDWORDValue("Port", 502) + key.SetStringValue("Port", "text") +
                      key.SetBinaryValue("B", "\x01\xAB", 2) + key.SetBinaryValue("E", nullptr, 9),
                  0);
    }
    EXPECT_EQ(ReadFile(Path()), "[A]\n\n[A\\B]\nB@BINARY = 01ab\nE@BINARY = \nPort@DWORD = "
                                "502\nPort@STRING = text\n\n");
    CRegKey key; // names ignore case
    unsigned int size = 4;
    ASSERT_EQ(key.Open(Name().c_str(), "a\\b", 0), 0);
    // A buffer too small learns the size needed and gets nothing; then it gets the value.
    char buffer[8] = "";
    EXPECT_EQ(key.QueryStringValue("port", buffer, &size), 234);
    EXPECT_EQ(key.QueryStringValue("Port", buffer, &size), 0);
    EXPECT_EQ(buffer + std::to_string(size), "text5");
    EXPECT_EQ(key.QueryBinaryValue("b", buffer, &(size = 2)), 0);
    EXPECT_EQ(std::string(buffer, size), "\x01\xAB"s);
    // Binary text is decoded pair by pair up to the first bad one ("1z" reads as 1); an odd
    // last digit is ignored.
    WriteFile(Path(), "[K]\nb@BINARY = 0a1zzz33\nodd@BINARY = abc\n");
    ASSERT_EQ(key.Open(Name().c_str(), "K", 0), 0);
    EXPECT_EQ(key.QueryBinaryValue("b", buffer, &(size = 4)), 0);
    EXPECT_EQ(std::string(buffer, size), "\x0A\x01"s);
    EXPECT_EQ(key.QueryBinaryValue("odd", buffer, &(size = 4)), 0);
    EXPECT_EQ(std::string(buffer, size), "\xAB"s);
}

TEST_F(Registry, RecurseDeleteKeyUsesACharacterPrefix) {
    WriteFile(Path(), "[K]\n[K\\A]\n[K\\A\\B]\n[K\\Ax]\n[K\\a\\c]\n[K\\B]\n");
    CRegKey key;
    ASSERT_EQ(key.Open(Name().c_str(), "K", 0), 0);
    EXPECT_EQ(key.RecurseDeleteKey("X"), 2);
    EXPECT_EQ(key.RecurseDeleteKey("A"), 0);
    EXPECT_EQ(key.Close(), 0);
    // The sibling "K\Ax" goes with "K\A"; "K\a\c" differs in case from the prefix and stays.
    EXPECT_EQ(ReadFile(Path()), "[K]\n\n[K\\a\\c]\n\n[K\\B]\n\n");
}

// A registry name with a separator and ".." reaches where it says.
TEST_F(Registry, OddNamesAreStoredAsGiven) {
    CRegKey key;
    mkdir((m_dir / "sub").c_str(), 0770);
    ASSERT_EQ(key.Create((Name("sub") + "/../other.ini").c_str(), "K"), 0);
    key.SetDWORDValue("v", 1);
    key.Close();
    EXPECT_EQ(ReadFile(Path("other.ini")), "[K]\nv@DWORD = 1\n\n");
}

TEST_F(Registry, KeysHoldIndependentCopiesAndOnlyChangesAreSaved) {
    CRegKey first, second;
    ASSERT_EQ(first.Create(Name().c_str(), "K"), 0);
    first.SetDWORDValue("a", 1);
    ASSERT_EQ(first.Flush(), 0);
    ASSERT_EQ(second.Open(Name().c_str(), "K", 0), 0);
    second.SetDWORDValue("b", 2);
    first.SetDWORDValue("a", 3);
    EXPECT_EQ(first.Close() + second.Close(), 0);
    // The second key's save merges its values into the file the first one wrote.
    EXPECT_EQ(ReadFile(Path()), "[K]\na@DWORD = 1\nb@DWORD = 2\n\n");
    // Setting a value to what it is changes nothing: the file is not replaced.
    struct stat before = {}, after = {};
    stat(Path().c_str(), &before);
    ASSERT_EQ(first.Open(Name().c_str(), "K", 0) + first.SetDWORDValue("b", 2) + first.Close(), 0);
    stat(Path().c_str(), &after);
    EXPECT_EQ(before.st_ino, after.st_ino);
}

// A file that does not parse is never written over: the key reads the part before the bad
// line, and its document lacks the rest of the file. Once the file reads again, saving that
// document would replace the file's other keys by nothing, so neither Flush nor Close writes.
TEST_F(Registry, AKeyOnAFileItCouldNotReadNeverSavesOverItLater) {
    WriteFile(Path(), "[K]\nbroken line\n");
    CRegKey key;
    ASSERT_EQ(key.Open(Name().c_str(), "K", 0), 0);
    std::string const repaired = "[K]\nold@DWORD = 7\n\n[Other]\nx@STRING = kept\n\n";
    WriteFile(Path(), repaired);
    EXPECT_EQ(key.SetDWORDValue("v", 2) + key.Flush() + key.Close(), 0);
    EXPECT_EQ(ReadFile(Path()), repaired);
}

// Processes creating, setting and closing keys in one registry file at the same time: the file
// parses at every moment. Keys hold independent copies and the last one closed decides, so a
// stale copy may drop another process's key: the file must parse, not hold everything.
TEST_F(Registry, ConcurrentProcessesNeverLeaveABrokenFile) {
    pid_t children[6];
    for (pid_t& child : children) {
        if ((child = fork()) == 0) {
            std::string const keyPath = "Proc\\" + std::to_string(getpid());
            for (unsigned int round = 0; round < 30; ++round) {
                CRegKey key;
                key.Create(Name().c_str(), keyPath.c_str());
                key.SetDWORDValue("Round", round);
            }
            _exit(0);
        }
    }
    int unreadable = 0;
    for (int check = 0; check < 150; ++check, usleep(1000))
        unreadable += access(Path().c_str(), F_OK) == 0 && !CIniFile().Load(Path().c_str());
    for (pid_t child : children) {
        int status = -1;
        EXPECT_TRUE(child > 0 && waitpid(child, &status, 0) == child && status == 0);
    }
    EXPECT_EQ(unreadable, 0);
    EXPECT_TRUE(CIniFile().Load(Path().c_str()));
}

} // namespace
